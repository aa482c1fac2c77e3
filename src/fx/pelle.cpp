// Skin diffusion: takes fine local detail out of luminance, the mirror of
// enhance at a smaller radius. No skin detection: the radius alone confines it.
#include <algorithm>

#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/scorta.h"

namespace varno {

void fx_pelle(Immagine& img, const Piano& luma, const Quadro& q, float pelle) {
  if (q.larghezza <= 0 || q.altezza <= 0) return;
  const size_t n = static_cast<size_t>(q.larghezza) * static_cast<size_t>(q.altezza);
  Prestito prestito(n);
  Piano& sfocata = *prestito;
  std::copy(luma.begin(), luma.begin() + static_cast<std::ptrdiff_t>(n), sfocata.begin());
  box_blur(sfocata, q.larghezza, q.altezza, std::max<int32_t>(1, arrotonda_raggio(0.007 * q.lato_max)), 3);
  per_pixel(q, [&](size_t i) {
    const float l = luma[i];
    porta_rapporto(&img[i * 3], l, l - dettaglio(l - sfocata[i]) * pelle * 1.6f);
  });
}

}  // namespace varno
