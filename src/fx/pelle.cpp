// Skin diffusion: takes fine local detail out of luminance, the mirror of
// enhance at a smaller radius. No skin detection: the radius alone confines it.
#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/parallelo.h"

namespace varno {

void fx_pelle(Immagine& img, const Piano& luma, const Quadro& q, float pelle) {
  const int64_t w = q.larghezza;
  const int64_t h = q.altezza;
  if (w <= 0 || h <= 0) return;

  int32_t raggio = arrotonda_raggio(0.007 * q.lato_max);
  if (raggio < 1) raggio = 1;
  Piano sfocata(luma.begin(), luma.begin() + w * h);
  box_blur(sfocata, q.larghezza, q.altezza, raggio, 3);

  parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
    const int64_t base = static_cast<int64_t>(yy) * w;
    for (int64_t x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(base + x);
      const float l = luma[i];
      const float t = dettaglio(l - sfocata[i]);
      float n = l - t * pelle * 1.6f;
      n = n > 0.000001f ? (n < 1.0f ? n : 1.0f) : 0.000001f;
      const float rapporto = n / (l > 0.000001f ? l : 0.000001f);
      float* p = &img[i * 3];
      p[0] = limita01(p[0] * rapporto);
      p[1] = limita01(p[1] * rapporto);
      p[2] = limita01(p[2] * rapporto);
    }
  });
}

}  // namespace varno
