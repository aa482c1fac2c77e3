#include "fx/fx.h"
namespace varno {
void fx_vignetta(Immagine&, const Quadro&, float) {}
}  // namespace varno
