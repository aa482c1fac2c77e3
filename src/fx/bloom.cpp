#include <algorithm>
#include <cstddef>

#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/parallelo.h"

namespace varno {

// A neutral glow from the highest highlights, weighted by their brightness.
void fx_bloom(Immagine& img, const Piano& luma, const Quadro& q, float bloom) {
  const int64_t w = q.larghezza;
  const uint64_t righe = static_cast<uint64_t>(q.altezza);
  Piano maschera(luma.size(), 0.0f);
  parallel_for(righe, [&](uint64_t y) {
    const int64_t base = static_cast<int64_t>(y) * w;
    for (int64_t i = base; i < base + w; ++i) {
      const float L = luma[static_cast<size_t>(i)];
      float t = (L - 0.72f) / 0.28f;
      if (!(t > 0.0f)) t = 0.0f;
      if (!(t < 1.0f)) t = 1.0f;
      maschera[static_cast<size_t>(i)] = L * t * t;
    }
  });
  blur_su_ridotta(maschera, q.larghezza, q.altezza, std::max<int32_t>(1, q.raggio_bloom), q.riduzione);
  parallel_for(righe, [&](uint64_t y) {
    const int64_t base = static_cast<int64_t>(y) * w;
    for (int64_t i = base; i < base + w; ++i) {
      const float s = std::min(bloom * maschera[static_cast<size_t>(i)], 1.0f);
      float* p = &img[static_cast<size_t>(i * 3)];
      for (int c = 0; c < 3; ++c) p[c] = schermo(s, p[c]);
    }
  });
}

}  // namespace varno
