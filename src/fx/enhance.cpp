#include "fx/fx.h"
namespace varno {
void fx_enhance(Immagine&, const Piano&, const Quadro&, float) {}
}  // namespace varno
