#include "colore/colore.h"
namespace varno {
Curva normalizza_curva(float s, float, float c, float g) { return Curva{1, 1, 0.18f, s, c, g}; }
RGB tonemap_ratio(RGB c, const Curva&, float) { return c; }
}  // namespace varno
