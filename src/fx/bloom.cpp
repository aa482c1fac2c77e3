#include <algorithm>

#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/scorta.h"

namespace varno {

// A neutral glow from the highest highlights, weighted by their brightness.
void fx_bloom(Immagine& img, const Piano& luma, const Quadro& q, float bloom) {
  Prestito prestito(luma.size());
  Piano& maschera = *prestito;
  per_pixel(q, [&](size_t i) {
    const float L = luma[i];
    const float t = rampa(L, 0.72f, 0.28f);
    maschera[i] = L * t * t;
  });
  blur_su_ridotta(maschera, q.larghezza, q.altezza, std::max<int32_t>(1, q.raggio_bloom), q.riduzione);
  per_pixel(q, [&](size_t i) {
    const float s = std::min(bloom * maschera[i], 1.0f);
    float* p = &img[i * 3];
    for (int c = 0; c < 3; ++c) p[c] = schermo(s, p[c]);
  });
}

}  // namespace varno
