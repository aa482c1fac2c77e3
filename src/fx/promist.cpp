// Black Pro-Mist: bright areas bleed a wide soft halo in their own colour;
// dark areas stay dark, with no veil.
#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx/fx.h"
#include "fx/nebbia.h"
#include "render/parallelo.h"

namespace varno {

void fx_promist(Immagine& img, const Piano& luma, const Quadro& q, float promist) {
  const int64_t w = q.larghezza;
  const int64_t h = q.altezza;
  if (w <= 0 || h <= 0) return;

  const std::array<Piano, 3> alone = alone_colorato(img, luma, q, 0.45f, 0.55f, misura_nebbia(q));

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
