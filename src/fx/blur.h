// Blurs of one-channel planes, in place. Sizes are 32-bit; the plane holds
// larghezza * altezza floats and the caller owes that.
#pragma once

#include <cstdint>

#include "tipi.h"

namespace varno {

// Box filter repeated `passate` times, horizontal then vertical each time.
void box_blur(Piano& piano, int32_t larghezza, int32_t altezza, int32_t raggio, int32_t passate);
// box_blur (3 repeats) on a copy reduced by `riduzione`, enlarged back bilinearly.
void blur_su_ridotta(Piano& piano, int32_t larghezza, int32_t altezza, int32_t raggio, int32_t riduzione);
// Three horizontal passes on a reduced copy, enlarged back on both axes.
void blur_orizz_su_ridotta(Piano& piano, int32_t larghezza, int32_t altezza, int32_t raggio,
                           int32_t riduzione);

}  // namespace varno
