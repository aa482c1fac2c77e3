// Anamorphic streak: a long, thin, blue horizontal flare through the
// brightest points.
#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/scorta.h"

namespace varno {

void fx_streak(Immagine& img, const Piano& luma, const Quadro& q, float streak) {
  if (q.larghezza <= 0 || q.altezza <= 0) return;
  // The mask comes from the luma handed in, which may predate bloom.
  Prestito prestito(static_cast<size_t>(q.larghezza) * static_cast<size_t>(q.altezza));
  Piano& maschera = *prestito;
  per_pixel(q, [&](size_t i) {
    const float l = luma[i];
    const float t = rampa(l, 0.8f, 0.2f);
    maschera[i] = t * t * l;
  });

  // The width alone sets the length, also on a portrait frame.
  int32_t raggio = arrotonda_raggio(0.1 * q.larghezza);
  if (raggio < 4) raggio = 4;
  blur_orizz_su_ridotta(maschera, q.larghezza, q.altezza, raggio, q.riduzione);

  per_pixel(q, [&](size_t i) {
    float s = maschera[i] * streak * 2.2f;
    if (s > 1.0f) s = 1.0f;
    // Clamped before the colour weight, so blue can reach s and red only 0.3 s.
    float* p = &img[i * 3];
    p[0] = schermo(0.3f * s, p[0]);
    p[1] = schermo(0.55f * s, p[1]);
    p[2] = schermo(1.0f * s, p[2]);
  });
}

}  // namespace varno
