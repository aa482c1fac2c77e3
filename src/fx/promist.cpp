// Black Pro-Mist: bright areas bleed a wide soft halo in their own colour;
// dark areas stay dark, with no veil.
#include "fx/fx.h"
#include "fx/piani.h"

namespace varno {

void fx_promist(Immagine& img, const Piano& luma, const Quadro& q, float promist, const Seguito& poi) {
  FxRicetta r;
  r.promist = promist;
  bagliore(5, img, luma, q, r, poi);
}

}  // namespace varno
