// Black Pro-Mist: bright areas bleed a wide soft halo in their own colour;
// dark areas stay dark, with no veil.
#include "fx/fx.h"
#include "fx/nebbia.h"
#include "fx/piani.h"

namespace varno {

void fx_promist(Immagine& img, const Piano& luma, const Quadro& q, float promist, const Seguito& poi) {
  const MisuraNebbia m = misura_nebbia(q);
  bagliore(Maschera::alone_nero, Composto::promist, img, luma, q, m.raggio, m.riduzione, promist, poi);
}

}  // namespace varno
