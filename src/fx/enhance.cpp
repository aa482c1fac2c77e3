#include <algorithm>

#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/scorta.h"

namespace varno {

// Local contrast on luminance alone, carried to the channels as a ratio so
// their proportions hold until one of them clamps.
void fx_enhance(Immagine& img, const Piano& luma, const Quadro& q, float enhance) {
  Prestito prestito(luma.size());
  Piano& sfocata = *prestito;
  std::copy(luma.begin(), luma.end(), sfocata.begin());
  box_blur(sfocata, q.larghezza, q.altezza, std::max<int32_t>(1, q.raggio_enhance), 3);
  per_pixel(q, [&](size_t i) {
    const float L = luma[i];
    porta_rapporto(&img[i * 3], L, L + 2.0f * (dettaglio(L - sfocata[i]) * enhance));
  });
}

}  // namespace varno
