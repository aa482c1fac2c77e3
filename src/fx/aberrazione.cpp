#include "fx/fx.h"
namespace varno {
void fx_aberrazione(Immagine&, const Quadro&, float) {}
}  // namespace varno
