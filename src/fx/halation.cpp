#include <algorithm>
#include <cmath>

#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/scorta.h"

namespace varno {

// Highlights spread wide and laid back over the picture in a warm red-orange.
void fx_halation(Immagine& img, const Piano& luma, const Quadro& q, float halation) {
  Prestito prestito(luma.size());
  Piano& maschera = *prestito;
  per_pixel(q, [&](size_t i) { maschera[i] = std::pow(rampa(luma[i], 0.62f, 0.38f), 1.6f); });
  blur_su_ridotta(maschera, q.larghezza, q.altezza, std::max<int32_t>(2, q.raggio_halation), q.riduzione);
  static constexpr float colore[3] = {1.0f, 0.36f, 0.12f};
  per_pixel(q, [&](size_t i) {
    const float a = maschera[i] * halation;
    float* p = &img[i * 3];
    // The weight goes in before the clamp; the screen itself is not clamped.
    for (int c = 0; c < 3; ++c) p[c] = schermo(std::min(colore[c] * a, 1.0f), p[c]);
  });
}

}  // namespace varno
