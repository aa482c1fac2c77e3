#include "fx/fx.h"
namespace varno {
void fx_grana(Immagine&, const Quadro&, float, int32_t) {}
}  // namespace varno
