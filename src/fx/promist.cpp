#include "fx/fx.h"
namespace varno {
void fx_promist(Immagine&, const Piano&, const Quadro&, float) {}
}  // namespace varno
