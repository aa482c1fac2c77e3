#include "fx/blur.h"
namespace varno {
void box_blur(Piano&, int32_t, int32_t, int32_t, int32_t) {}
void blur_su_ridotta(Piano&, int32_t, int32_t, int32_t, int32_t) {}
void blur_orizz_su_ridotta(Piano&, int32_t, int32_t, int32_t, int32_t) {}
}  // namespace varno
