#include "fx/nebbia.h"

namespace varno {

MisuraNebbia misura_nebbia(const Quadro& q) {
  int32_t raggio = arrotonda_raggio(0.035 * q.lato_max);
  if (raggio < 3) raggio = 3;
  return {raggio, q.riduzione < 2 ? 2 : q.riduzione};
}

}  // namespace varno
