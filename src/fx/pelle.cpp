// Skin diffusion: takes fine local detail out of luminance, the mirror of
// enhance at a smaller radius. No skin detection: the radius alone confines it.
#include <algorithm>

#include "fx/fx.h"
#include "fx/piani.h"

namespace varno {

void fx_pelle(Immagine& img, const Piano& luma, const Quadro& q, float pelle, const Seguito& poi) {
  dettaglio_locale(Composto::pelle, img, luma, q, std::max<int32_t>(1, arrotonda_raggio(0.007 * q.lato_max)), pelle,
                   poi);
}

}  // namespace varno
