// White Pro-Mist: a wide halo of the bright parts, plus a milky veil that
// follows the brightness around each pixel and of the whole frame.
#include <algorithm>

#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "fx/nebbia.h"
#include "render/scorta.h"

namespace varno {

void fx_mistw(Immagine& img, const Piano& luma, const Quadro& q, float mistw) {
  if (q.larghezza <= 0 || q.altezza <= 0) return;
  const MisuraNebbia misura = misura_nebbia(q);
  const size_t n = static_cast<size_t>(q.larghezza) * static_cast<size_t>(q.altezza);

  Prestito prestito_velo(n);
  Piano& velo = *prestito_velo;
  std::copy(luma.begin(), luma.begin() + static_cast<std::ptrdiff_t>(n), velo.begin());
  blur_su_ridotta(velo, q.larghezza, q.altezza, misura.raggio, misura.riduzione);

  // Frame mean in double on one thread, in index order, so it never depends
  // on how rows are split.
  double somma = 0.0;
  for (size_t i = 0; i < n; ++i) somma += static_cast<double>(luma[i]);
  const float media = static_cast<float>(somma / static_cast<double>(n));

  per_pixel(q, [&](size_t i) { velo[i] = velo[i] * 0.5f + media * 0.5f; });

  // The halo comes from luma, not from the veil.
  Prestito r(n), g(n), b(n);
  Piano* const alone[3] = {&*r, &*g, &*b};
  alone_colorato(img, luma, q, 0.35f, 0.65f, misura, alone);

  per_pixel(q, [&](size_t i) {
    const float v = mistw * 0.22f * velo[i];
    for (int c = 0; c < 3; ++c) {
      float hv = (*alone[c])[i] * mistw * 1.3f;
      if (hv > 1.0f) hv = 1.0f;
      float& canale = img[i * 3 + static_cast<size_t>(c)];
      const float s = schermo(hv, canale);
      // A second screen, of a neutral veil; this filter alone clamps its result.
      canale = limita01(s + v * (1.0f - s));
    }
  });
}

}  // namespace varno
