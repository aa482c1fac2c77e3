#include "fx/fx.h"
namespace varno {
void fx_halation(Immagine&, const Piano&, const Quadro&, float) {}
}  // namespace varno
