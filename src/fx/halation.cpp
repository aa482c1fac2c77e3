#include "fx/fx.h"
#include "fx/piani.h"

namespace varno {

// Highlights spread wide and laid back over the picture in a warm red-orange:
// a ramp from 0.62 to the power 1.6, each channel's weight applied before the
// clamp of the screen.
void fx_halation(Immagine& img, const Piano& luma, const Quadro& q, float halation, const Seguito& poi) {
  FxRicetta r;
  r.halation = halation;
  bagliore(2, img, luma, q, r, poi);
}

}  // namespace varno
