#include "fx/fx.h"
namespace varno {
void fx_pelle(Immagine&, const Piano&, const Quadro&, float) {}
}  // namespace varno
