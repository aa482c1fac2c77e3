// White Pro-Mist: a wide halo of the bright parts, plus a milky veil that
// follows the brightness around each pixel and of the whole frame.
#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "fx/nebbia.h"
#include "render/parallelo.h"

namespace varno {

void fx_mistw(Immagine& img, const Piano& luma, const Quadro& q, float mistw) {
  const int64_t w = q.larghezza;
  const int64_t h = q.altezza;
  if (w <= 0 || h <= 0) return;

  const MisuraNebbia misura = misura_nebbia(q);
  const size_t n = static_cast<size_t>(w * h);

  Piano velo(luma.begin(), luma.begin() + static_cast<int64_t>(n));
  blur_su_ridotta(velo, q.larghezza, q.altezza, misura.raggio, misura.riduzione);

  // Frame mean in double on one thread, in index order, so it never depends
  // on how rows are split.
  double somma = 0.0;
  for (size_t i = 0; i < n; ++i) somma += static_cast<double>(luma[i]);
  const float media = static_cast<float>(somma / static_cast<double>(n));

  parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
    const int64_t base = static_cast<int64_t>(yy) * w;
    for (int64_t x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(base + x);
      velo[i] = velo[i] * 0.5f + media * 0.5f;
    }
  });

  // The halo comes from luma, not from the veil.
  const std::array<Piano, 3> alone = alone_colorato(img, luma, q, 0.35f, 0.65f, misura);

  parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
    const int64_t base = static_cast<int64_t>(yy) * w;
    for (int64_t x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(base + x);
      const float v = mistw * 0.22f * velo[i];
      for (int c = 0; c < 3; ++c) {
        float hv = alone[c][i] * mistw * 1.3f;
        if (hv > 1.0f) hv = 1.0f;
        float& canale = img[i * 3 + static_cast<size_t>(c)];
        const float s = schermo(hv, canale);
        // A second screen, of a neutral veil; this filter alone clamps its result.
        canale = limita01(s + v * (1.0f - s));
      }
    }
  });
}

}  // namespace varno
