// Anamorphic streak: a long, thin, blue horizontal flare through the
// brightest points.
#include "fx/fx.h"
#include "fx/piani.h"

namespace varno {

void fx_streak(Immagine& img, const Piano& luma, const Quadro& q, float streak, const Seguito& poi) {
  FxRicetta r;
  r.streak = streak;
  bagliore(4, img, luma, q, r, poi);
}

}  // namespace varno
