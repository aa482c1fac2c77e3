#include "looks/looks.h"
namespace varno {
std::vector<LookDef> catalogo() {
  std::vector<LookDef> v(12);
  const char* nomi[12] = {"Nordic", "Cinema Print", "Midnight", "Daylight", "Linen", "Amber",
                          "Ember", "Amalfi", "Velvet", "Brass", "Silk", "Olive"};
  for (int i = 0; i < 12; ++i) v[i].nome = nomi[i];
  return v;
}
}  // namespace varno
