// Black Pro-Mist: bright areas bleed a wide soft halo in their own colour;
// dark areas stay dark, with no veil.
#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/parallelo.h"

namespace varno {

void fx_promist(Immagine& img, const Piano& luma, const Quadro& q, float promist) {
  const int64_t w = q.larghezza;
  const int64_t h = q.altezza;
  if (w <= 0 || h <= 0) return;

  int32_t raggio = arrotonda_raggio(0.035 * q.lato_max);
  if (raggio < 3) raggio = 3;
  // Never at full size, not even on a small frame: the radius is wide.
  const int32_t rid = q.riduzione < 2 ? 2 : q.riduzione;

  const size_t n = static_cast<size_t>(w * h);
  Piano alone[3] = {Piano(n), Piano(n), Piano(n)};
  parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
    const int64_t base = static_cast<int64_t>(yy) * w;
    for (int64_t x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(base + x);
      const float t = (luma[i] - 0.45f) / 0.55f;
      float peso = 0.0f;
      if (t > 0.0f) peso = t >= 1.0f ? 1.0f : t * t;
      // The halo keeps the colour of the highlight that casts it.
      for (int c = 0; c < 3; ++c) alone[c][i] = img[i * 3 + static_cast<size_t>(c)] * peso;
    }
  });
  for (Piano& a : alone) blur_su_ridotta(a, q.larghezza, q.altezza, raggio, rid);

  parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
    const int64_t base = static_cast<int64_t>(yy) * w;
    for (int64_t x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(base + x);
      for (int c = 0; c < 3; ++c) {
        float hv = alone[c][i] * promist * 1.5f;
        if (hv > 1.0f) hv = 1.0f;
        float& v = img[i * 3 + static_cast<size_t>(c)];
        v = schermo(hv, v);
      }
    }
  });
}

}  // namespace varno
