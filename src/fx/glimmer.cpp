// Glimmerglass: a tight neutral glow over the bright parts, one luminance
// plane and a linear ramp.
#include "fx/fx.h"
#include "fx/piani.h"

namespace varno {

void fx_glimmer(Immagine& img, const Piano& luma, const Quadro& q, float glimmer, const Seguito& poi) {
  FxRicetta r;
  r.glimmer = glimmer;
  bagliore(8, img, luma, q, r, poi);
}

}  // namespace varno
