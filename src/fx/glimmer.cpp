// Glimmerglass: a tight neutral glow over the bright parts, one luminance
// plane and a linear ramp.
#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/scorta.h"

namespace varno {

void fx_glimmer(Immagine& img, const Piano& luma, const Quadro& q, float glimmer) {
  if (q.larghezza <= 0 || q.altezza <= 0) return;
  int32_t raggio = arrotonda_raggio(0.008 * q.lato_max);
  if (raggio < 2) raggio = 2;

  Prestito prestito(static_cast<size_t>(q.larghezza) * static_cast<size_t>(q.altezza));
  Piano& brillio = *prestito;
  per_pixel(q, [&](size_t i) {
    const float l = luma[i];
    const float t = rampa(l, 0.55f, 0.45f);
    brillio[i] = t > 0.0f ? (t >= 1.0f ? l : l * t) : 0.0f;
  });
  // The reduction as it stands: a frame under 1920 blurs at full size.
  blur_su_ridotta(brillio, q.larghezza, q.altezza, raggio, q.riduzione);

  per_pixel(q, [&](size_t i) {
    float hv = brillio[i] * glimmer * 1.4f;
    if (hv > 1.0f) hv = 1.0f;
    // One value for the three channels: the glow is neutral.
    float* p = &img[i * 3];
    for (int c = 0; c < 3; ++c) p[c] = schermo(hv, p[c]);
  });
}

}  // namespace varno
