#include <algorithm>
#include <cstddef>

#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/parallelo.h"

namespace varno {

// Local contrast on luminance alone, carried to the channels as a ratio so
// their proportions hold until one of them clamps.
void fx_enhance(Immagine& img, const Piano& luma, const Quadro& q, float enhance) {
  Piano sfocata = luma;
  box_blur(sfocata, q.larghezza, q.altezza, std::max<int32_t>(1, q.raggio_enhance), 3);
  const int64_t w = q.larghezza;
  parallel_for(static_cast<uint64_t>(q.altezza), [&](uint64_t y) {
    const int64_t base = static_cast<int64_t>(y) * w;
    for (int64_t i = base; i < base + w; ++i) {
      const float L = luma[static_cast<size_t>(i)];
      const float t = dettaglio(L - sfocata[static_cast<size_t>(i)]);
      float n = L + 2.0f * (t * enhance);
      n = n > 0.000001f ? std::min(n, 1.0f) : 0.000001f;
      // A black pixel keeps q = 1 rather than dividing by zero.
      const float r = n / std::max(0.000001f, L);
      float* p = &img[static_cast<size_t>(i * 3)];
      for (int c = 0; c < 3; ++c) p[c] = limita01(p[c] * r);
    }
  });
}

}  // namespace varno
