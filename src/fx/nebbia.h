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

}  // namespace varno
