// The sampler, one pixel per SSE register: lanes r, g, b (and alpha, unused),
// each lane doing the one-pixel rule's operations in its order.
#include <emmintrin.h>

#include "render/campionatore.h"

namespace varno::interno {

namespace {

struct Costanti {
  __m128 f, passi_f;
  __m128i ultimo, passi_i;
  explicit Costanti(int32_t N) {
    const int32_t u = N - 1;
    f = _mm_set1_ps(static_cast<float>(u));
    ultimo = _mm_set1_epi32(u);
    passi_i = _mm_setr_epi32(3, 3 * N, 3 * N * N, 0);
    passi_f = _mm_cvtepi32_ps(passi_i);
  }
};

// The graded r, g, b of the pixel v in lanes 0 to 2.
__attribute__((always_inline)) inline __m128 un_pixel(const float* S, __m128 v, const Costanti& k) {
  const __m128 zero = _mm_setzero_ps(), uno = _mm_set1_ps(1.0f);
  const __m128 dentro = _mm_and_ps(_mm_cmpgt_ps(v, zero), _mm_cmplt_ps(v, uno));
  const __m128 sopra = _mm_cmpge_ps(v, uno);
  const __m128 p = _mm_or_ps(_mm_and_ps(dentro, _mm_mul_ps(v, k.f)), _mm_and_ps(sopra, k.f));
  const __m128i i0 = _mm_cvttps_epi32(p);
  const __m128 t = _mm_sub_ps(p, _mm_cvtepi32_ps(i0));
  __m128i i1 = _mm_add_epi32(i0, _mm_set1_epi32(1));
  i1 = _mm_add_epi32(i1, _mm_cmpgt_epi32(i1, k.ultimo));  // min(i0 + 1, last)
  // Offsets of the base corner and of a step along each axis; the products
  // are exact in float far beyond a table's size.
  alignas(16) int32_t base[4], passo[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(base), _mm_cvttps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(i0), k.passi_f)));
  _mm_store_si128(reinterpret_cast<__m128i*>(passo), _mm_and_si128(_mm_cmpgt_epi32(i1, i0), k.passi_i));
  const float* s000 = S + (static_cast<int64_t>(base[0]) + base[1] + base[2]);
  const int64_t dr = passo[0], dg = passo[1], db = passo[2];
  const __m128 u = _mm_sub_ps(uno, t);
  const __m128 tr = _mm_shuffle_ps(t, t, 0x00), ur = _mm_shuffle_ps(u, u, 0x00);
  const __m128 tg = _mm_shuffle_ps(t, t, 0x55), ug = _mm_shuffle_ps(u, u, 0x55);
  const __m128 tb = _mm_shuffle_ps(t, t, 0xAA), ub = _mm_shuffle_ps(u, u, 0xAA);
  auto lerp = [](__m128 a, __m128 ua, __m128 b, __m128 tb_) { return _mm_add_ps(_mm_mul_ps(a, ua), _mm_mul_ps(b, tb_)); };
  const __m128 c00 = lerp(_mm_loadu_ps(s000), ur, _mm_loadu_ps(s000 + dr), tr);
  const __m128 c10 = lerp(_mm_loadu_ps(s000 + dg), ur, _mm_loadu_ps(s000 + dg + dr), tr);
  const __m128 c01 = lerp(_mm_loadu_ps(s000 + db), ur, _mm_loadu_ps(s000 + db + dr), tr);
  const __m128 c11 = lerp(_mm_loadu_ps(s000 + db + dg), ur, _mm_loadu_ps(s000 + db + dg + dr), tr);
  const __m128 c0 = lerp(c00, ug, c10, tg);
  const __m128 c1 = lerp(c01, ug, c11, tg);
  return lerp(c0, ub, c1, tb);
}

// r, g, b of `rgb` with the alpha lane of `v`.
__attribute__((always_inline)) inline __m128 con_alfa(__m128 rgb, __m128 v) {
  const __m128 alto = _mm_unpackhi_ps(rgb, v);  // rgb.b, v.b, rgb.x, v.a
  return _mm_shuffle_ps(rgb, alto, _MM_SHUFFLE(3, 0, 1, 0));
}

}  // namespace

void campiona_riga_sse2(const Lut3D& lut, const float* s, int64_t n, float* rgb, float* alfa) {
  if (n <= 0) return;
  const Costanti k(lut.N);
  const float* S = lut.dati.data();
  // Four floats stored a pixel, the fourth overwritten by the next one; the
  // last pixel stores exactly three.
  for (int64_t i = 0; i < n - 1; ++i) {
    const __m128 v = _mm_loadu_ps(s + 4 * i);
    _mm_storeu_ps(rgb + 3 * i, un_pixel(S, v, k));
    _mm_store_ss(alfa + i, _mm_shuffle_ps(v, v, 0xFF));
  }
  const int64_t i = n - 1;
  const __m128 v = _mm_loadu_ps(s + 4 * i);
  const __m128 r = un_pixel(S, v, k);
  _mm_storel_pi(reinterpret_cast<__m64*>(rgb + 3 * i), r);
  _mm_store_ss(rgb + 3 * i + 2, _mm_movehl_ps(r, r));
  _mm_store_ss(alfa + i, _mm_shuffle_ps(v, v, 0xFF));
}

void campiona_riga_rgba_sse2(const Lut3D& lut, const float* s, int64_t n, float* rgba) {
  const Costanti k(lut.N);
  const float* S = lut.dati.data();
  for (int64_t i = 0; i < n; ++i) {
    const __m128 v = _mm_loadu_ps(s + 4 * i);
    _mm_storeu_ps(rgba + 4 * i, con_alfa(un_pixel(S, v, k), v));
  }
}

}  // namespace varno::interno
