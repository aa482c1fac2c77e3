// Glimmerglass: a tight neutral glow over the bright parts, one luminance
// plane and a linear ramp.
#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/parallelo.h"

namespace varno {

void fx_glimmer(Immagine& img, const Piano& luma, const Quadro& q, float glimmer) {
  const int64_t w = q.larghezza;
  const int64_t h = q.altezza;
  if (w <= 0 || h <= 0) return;

  int32_t raggio = arrotonda_raggio(0.008 * q.lato_max);
  if (raggio < 2) raggio = 2;

  Piano brillio(static_cast<size_t>(w * h));
  parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
    const int64_t base = static_cast<int64_t>(yy) * w;
    for (int64_t x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(base + x);
      const float l = luma[i];
      const float t = (l - 0.55f) / 0.45f;
      float b = 0.0f;
      if (t > 0.0f) b = t >= 1.0f ? l : l * t;
      brillio[i] = b;
    }
  });
  // The reduction as it stands: a frame under 1920 blurs at full size.
  blur_su_ridotta(brillio, q.larghezza, q.altezza, raggio, q.riduzione);

  parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
    const int64_t base = static_cast<int64_t>(yy) * w;
    for (int64_t x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(base + x);
      float hv = brillio[i] * glimmer * 1.4f;
      if (hv > 1.0f) hv = 1.0f;
      // One value for the three channels: the glow is neutral.
      float* p = &img[i * 3];
      p[0] = schermo(hv, p[0]);
      p[1] = schermo(hv, p[1]);
      p[2] = schermo(hv, p[2]);
    }
  });
}

}  // namespace varno
