#include <algorithm>

#include "fx/fx.h"
#include "fx/piani.h"

namespace varno {

// Local contrast on luminance alone, carried to the channels as a ratio so
// their proportions hold until one of them clamps.
void fx_enhance(Immagine& img, const Piano& luma, const Quadro& q, float enhance, const Seguito& poi) {
  dettaglio_locale(Composto::enhance, img, luma, q, std::max<int32_t>(1, q.raggio_enhance), enhance, poi);
}

}  // namespace varno
