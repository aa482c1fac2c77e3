// What the two mist filters share: their size and the halo in the highlights'
// own colour.
#pragma once

#include <cstdint>

#include "fx/fx.h"

namespace varno {

struct MisuraNebbia {
  int32_t raggio;     // 3.5% of the longer side, at least 3
  int32_t riduzione;  // the frame's, at least 2: the radius is too wide for full size
};

MisuraNebbia misura_nebbia(const Quadro& q);

// Each channel weighted by a squared ramp of luma from `inizio` over
// `ampiezza`, then blurred on a reduced copy: the halo keeps the colour of the
// highlight that casts it. Fills the three planes of `alone`, each a frame.
void alone_colorato(const Immagine& img, const Piano& luma, const Quadro& q, float inizio, float ampiezza,
                    const MisuraNebbia& m, Piano* const alone[3]);

}  // namespace varno
