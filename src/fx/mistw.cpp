#include "fx/fx.h"
namespace varno {
void fx_mistw(Immagine&, const Piano&, const Quadro&, float) {}
}  // namespace varno
