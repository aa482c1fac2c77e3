#include "fx/fx.h"
namespace varno {
void fx_streak(Immagine&, const Piano&, const Quadro&, float) {}
}  // namespace varno
