#include "fx/fx.h"
namespace varno {
void fx_bloom(Immagine&, const Piano&, const Quadro&, float) {}
}  // namespace varno
