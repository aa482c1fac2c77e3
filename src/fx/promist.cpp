// Black Pro-Mist: bright areas bleed a wide soft halo in their own colour;
// dark areas stay dark, with no veil.
#include "fx/campiona.h"
#include "fx/fx.h"
#include "fx/nebbia.h"
#include "render/scorta.h"

namespace varno {

void fx_promist(Immagine& img, const Piano& luma, const Quadro& q, float promist) {
  if (q.larghezza <= 0 || q.altezza <= 0) return;
  const size_t n = static_cast<size_t>(q.larghezza) * static_cast<size_t>(q.altezza);
  Prestito r(n), g(n), b(n);
  Piano* const alone[3] = {&*r, &*g, &*b};
  alone_colorato(img, luma, q, 0.45f, 0.55f, misura_nebbia(q), alone);

  per_pixel(q, [&](size_t i) {
    for (int c = 0; c < 3; ++c) {
      float hv = (*alone[c])[i] * promist * 1.5f;
      if (hv > 1.0f) hv = 1.0f;
      float& v = img[i * 3 + static_cast<size_t>(c)];
      v = schermo(hv, v);
    }
  });
}

}  // namespace varno
