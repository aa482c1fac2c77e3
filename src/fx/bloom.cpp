#include "fx/fx.h"
#include "fx/piani.h"

namespace varno {

// A neutral glow from the highest highlights, weighted by their brightness.
// It leaves luma as it found it: see applica_fx.
void fx_bloom(Immagine& img, const Piano& luma, const Quadro& q, float bloom, const Seguito& poi) {
  FxRicetta r;
  r.bloom = bloom;
  bagliore(3, img, luma, q, r, poi);
}

}  // namespace varno
