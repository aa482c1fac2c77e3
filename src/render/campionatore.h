// The table's sampler: a camera code value looked up trilinearly in a Lut3D.
// Red is interpolated first, then green, then blue, in 32-bit float; values
// outside 0..1 sit on the table's edge and a NaN reads as 0. The vector
// variants do the same operations in the same order for each pixel.
#pragma once

#include <cstdint>

#include "render/lut.h"

namespace varno {

// One pixel by the rule: rgba in (alpha unread), rgb out.
void campiona_pixel(const Lut3D& lut, const float* rgba, float* rgb);

// n source pixels (RGBA, four floats each) to n RGB triples and n alphas.
void campiona_riga(const Lut3D& lut, const float* sorgente, int64_t n, float* rgb, float* alfa);

// n source pixels to n RGBA pixels, alpha carried bit for bit. The two rows
// may be the same memory, not partly overlapping.
void campiona_riga_rgba(const Lut3D& lut, const float* sorgente, int64_t n, float* rgba);

namespace interno {
// The variants behind the two row functions.
void campiona_riga_sse2(const Lut3D& lut, const float* s, int64_t n, float* rgb, float* alfa);
void campiona_riga_rgba_sse2(const Lut3D& lut, const float* s, int64_t n, float* rgba);
void campiona_riga_avx2(const Lut3D& lut, const float* s, int64_t n, float* rgb, float* alfa);
void campiona_riga_rgba_avx2(const Lut3D& lut, const float* s, int64_t n, float* rgba);
void campiona_riga_avx512(const Lut3D& lut, const float* s, int64_t n, float* rgb, float* alfa);
void campiona_riga_rgba_avx512(const Lut3D& lut, const float* s, int64_t n, float* rgba);
}  // namespace interno

}  // namespace varno
