#include <algorithm>

#include "fx/fx.h"
#include "fx/piani.h"

namespace varno {

// A neutral glow from the highest highlights, weighted by their brightness.
// It leaves luma as it found it: see applica_fx.
void fx_bloom(Immagine& img, const Piano& luma, const Quadro& q, float bloom, const Seguito& poi) {
  bagliore(Maschera::bloom, Composto::bloom, img, luma, q, std::max<int32_t>(1, q.raggio_bloom), q.riduzione, bloom,
           poi);
}

}  // namespace varno
