// Glimmerglass: a tight neutral glow over the bright parts, one luminance
// plane and a linear ramp.
#include "fx/fx.h"
#include "fx/piani.h"

namespace varno {

void fx_glimmer(Immagine& img, const Piano& luma, const Quadro& q, float glimmer, const Seguito& poi) {
  int32_t raggio = arrotonda_raggio(0.008 * q.lato_max);
  if (raggio < 2) raggio = 2;
  // The reduction as it stands: a frame under 1920 blurs at full size.
  bagliore(Maschera::glimmer, Composto::glimmer, img, luma, q, raggio, q.riduzione, glimmer, poi);
}

}  // namespace varno
