#include "fx/fx.h"
namespace varno {
void fx_glimmer(Immagine&, const Piano&, const Quadro&, float) {}
}  // namespace varno
