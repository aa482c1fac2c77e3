#include <algorithm>
#include <cmath>
#include <cstddef>

#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/parallelo.h"

namespace varno {

// Highlights spread wide and laid back over the picture in a warm red-orange.
void fx_halation(Immagine& img, const Piano& luma, const Quadro& q, float halation) {
  const int64_t w = q.larghezza;
  const uint64_t righe = static_cast<uint64_t>(q.altezza);
  Piano maschera(luma.size(), 0.0f);
  parallel_for(righe, [&](uint64_t y) {
    const int64_t base = static_cast<int64_t>(y) * w;
    for (int64_t i = base; i < base + w; ++i) {
      float t = (luma[static_cast<size_t>(i)] - 0.62f) / 0.38f;
      t = t > 0.0f ? (t > 1.0f ? 1.0f : t) : 0.0f;
      maschera[static_cast<size_t>(i)] = std::pow(t, 1.6f);
    }
  });
  blur_su_ridotta(maschera, q.larghezza, q.altezza, std::max<int32_t>(2, q.raggio_halation), q.riduzione);
  static constexpr float colore[3] = {1.0f, 0.36f, 0.12f};
  parallel_for(righe, [&](uint64_t y) {
    const int64_t base = static_cast<int64_t>(y) * w;
    for (int64_t i = base; i < base + w; ++i) {
      const float a = maschera[static_cast<size_t>(i)] * halation;
      float* p = &img[static_cast<size_t>(i * 3)];
      // The weight goes in before the clamp; the screen itself is not clamped.
      for (int c = 0; c < 3; ++c) p[c] = schermo(std::min(colore[c] * a, 1.0f), p[c]);
    }
  });
}

}  // namespace varno
