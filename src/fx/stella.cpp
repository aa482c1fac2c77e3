#include "fx/fx.h"
namespace varno {
void fx_stella(Immagine&, const Piano&, const Quadro&, float, int32_t) {}
}  // namespace varno
