// Anamorphic streak: a long, thin, blue horizontal flare through the
// brightest points.
#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/parallelo.h"

namespace varno {

void fx_streak(Immagine& img, const Piano& luma, const Quadro& q, float streak) {
  const int64_t w = q.larghezza;
  const int64_t h = q.altezza;
  if (w <= 0 || h <= 0) return;

  // The mask comes from the luma handed in, which may predate bloom.
  Piano maschera(static_cast<size_t>(w * h), 0.0f);
  parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
    const int64_t base = static_cast<int64_t>(yy) * w;
    for (int64_t x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(base + x);
      const float l = luma[i];
      float t = (l - 0.8f) / 0.2f;
      if (!(t > 0.0f)) t = 0.0f;
      if (!(t < 1.0f)) t = 1.0f;
      maschera[i] = t * t * l;
    }
  });

  // The width alone sets the length, also on a portrait frame.
  int32_t raggio = arrotonda_raggio(0.1 * q.larghezza);
  if (raggio < 4) raggio = 4;
  blur_orizz_su_ridotta(maschera, q.larghezza, q.altezza, raggio, q.riduzione);

  parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
    const int64_t base = static_cast<int64_t>(yy) * w;
    for (int64_t x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(base + x);
      float s = maschera[i] * streak * 2.2f;
      if (s > 1.0f) s = 1.0f;
      // Clamped before the colour weight, so blue can reach s and red only 0.3 s.
      float* p = &img[i * 3];
      p[0] = schermo(0.3f * s, p[0]);
      p[1] = schermo(0.55f * s, p[1]);
      p[2] = schermo(1.0f * s, p[2]);
    }
  });
}

}  // namespace varno
