// The sampler, four pixels per AVX-512 register: each 128-bit quarter holds
// one pixel's r, g, b (and alpha, unused), each lane doing the one-pixel
// rule's operations in its order.
// GCC 12 warns inside its own AVX-512 header about the deliberately undefined
// upper lanes of some intrinsics (its bug 105593); nothing of ours is at fault.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop

#include "render/campionatore.h"
#include "render/cpu.h"

namespace varno::interno {

namespace {

struct Costanti {
  __m512 f, passi_f;
  __m512i ultimo, passi_i;
};

VARNO_AVX512 __attribute__((always_inline)) inline Costanti costanti(int32_t N) {
  Costanti k;
  const int32_t u = N - 1;
  k.f = _mm512_set1_ps(static_cast<float>(u));
  k.ultimo = _mm512_set1_epi32(u);
  k.passi_i = _mm512_broadcast_i32x4(_mm_setr_epi32(3, 3 * N, 3 * N * N, 0));
  k.passi_f = _mm512_cvtepi32_ps(k.passi_i);
  return k;
}

VARNO_AVX512 __attribute__((always_inline)) inline __m512 quattro_angoli(const float* a, const float* b, const float* c, const float* d) {
  __m512 z = _mm512_castps128_ps512(_mm_loadu_ps(a));
  z = _mm512_insertf32x4(z, _mm_loadu_ps(b), 1);
  z = _mm512_insertf32x4(z, _mm_loadu_ps(c), 2);
  return _mm512_insertf32x4(z, _mm_loadu_ps(d), 3);
}

// One corner of the cell for each of the four pixels: a step along red, green
// and blue where r, g, b are 1.
VARNO_AVX512 __attribute__((always_inline)) inline __m512 angolo(const float* const* q, const int64_t* dr, const int64_t* dg, const int64_t* db,
                                  int r, int g, int b) {
  const float* o[4];
  for (int j = 0; j < 4; ++j) o[j] = q[j] + (r ? dr[j] : 0) + (g ? dg[j] : 0) + (b ? db[j] : 0);
  return quattro_angoli(o[0], o[1], o[2], o[3]);
}

VARNO_AVX512 __attribute__((always_inline)) inline __m512 lerp(__m512 a, __m512 ua, __m512 b, __m512 tb) {
  return _mm512_add_ps(_mm512_mul_ps(a, ua), _mm512_mul_ps(b, tb));
}

// The graded r, g, b of the four pixels in v, in lanes 0-2, 4-6, 8-10, 12-14.
VARNO_AVX512 __attribute__((always_inline)) inline __m512 quattro_pixel(const float* S, __m512 v, const Costanti& k) {
  const __m512 uno = _mm512_set1_ps(1.0f);
  const __mmask16 dentro = _mm512_cmp_ps_mask(v, _mm512_setzero_ps(), _CMP_GT_OQ) & _mm512_cmp_ps_mask(v, uno, _CMP_LT_OQ);
  const __mmask16 sopra = _mm512_cmp_ps_mask(v, uno, _CMP_GE_OQ);
  __m512 p = _mm512_maskz_mul_ps(dentro, v, k.f);
  p = _mm512_mask_mov_ps(p, sopra, k.f);
  const __m512i i0 = _mm512_cvttps_epi32(p);
  const __m512 t = _mm512_sub_ps(p, _mm512_cvtepi32_ps(i0));
  const __m512i i1 = _mm512_min_epi32(_mm512_add_epi32(i0, _mm512_set1_epi32(1)), k.ultimo);
  alignas(64) int32_t base[16], passo[16];
  _mm512_store_si512(base, _mm512_mullo_epi32(i0, k.passi_i));
  _mm512_store_si512(passo, _mm512_maskz_mov_epi32(_mm512_cmpgt_epi32_mask(i1, i0), k.passi_i));
  const float* q[4];
  int64_t dr[4], dg[4], db[4];
  for (int j = 0; j < 4; ++j) {
    q[j] = S + (static_cast<int64_t>(base[4 * j]) + base[4 * j + 1] + base[4 * j + 2]);
    dr[j] = passo[4 * j];
    dg[j] = passo[4 * j + 1];
    db[j] = passo[4 * j + 2];
  }
  const __m512 u = _mm512_sub_ps(uno, t);
  const __m512 tr = _mm512_shuffle_ps(t, t, 0x00), ur = _mm512_shuffle_ps(u, u, 0x00);
  const __m512 tg = _mm512_shuffle_ps(t, t, 0x55), ug = _mm512_shuffle_ps(u, u, 0x55);
  const __m512 tb = _mm512_shuffle_ps(t, t, 0xAA), ub = _mm512_shuffle_ps(u, u, 0xAA);
  const __m512 c00 = lerp(angolo(q, dr, dg, db, 0, 0, 0), ur, angolo(q, dr, dg, db, 1, 0, 0), tr);
  const __m512 c10 = lerp(angolo(q, dr, dg, db, 0, 1, 0), ur, angolo(q, dr, dg, db, 1, 1, 0), tr);
  const __m512 c01 = lerp(angolo(q, dr, dg, db, 0, 0, 1), ur, angolo(q, dr, dg, db, 1, 0, 1), tr);
  const __m512 c11 = lerp(angolo(q, dr, dg, db, 0, 1, 1), ur, angolo(q, dr, dg, db, 1, 1, 1), tr);
  const __m512 c0 = lerp(c00, ug, c10, tg);
  const __m512 c1 = lerp(c01, ug, c11, tg);
  return lerp(c0, ub, c1, tb);
}

// The eight corners of each cell, as offsets from its first sample: a whole
// step along each axis, which is what every pixel has unless one of its
// channels sits on the table's last point.
struct Angoli {
  int64_t g, b, gb;  // green, blue, both (red is 3 on top of each)
};

inline Angoli angoli(int32_t N) {
  const int64_t g = 3 * static_cast<int64_t>(N), b = g * N;
  return {g, b, g + b};
}

VARNO_AVX512 __attribute__((always_inline)) inline __m512 quattro_da(const float* const* q, int64_t d) {
  return quattro_angoli(q[0] + d, q[1] + d, q[2] + d, q[3] + d);
}

// As quattro_pixel, for four pixels whose cells all have whole steps; false
// (and nothing done) otherwise, for quattro_pixel to take them.
VARNO_AVX512 __attribute__((always_inline)) inline bool quattro_pixel_interni(const float* S, __m512 v,
                                                                               const Costanti& k, const Angoli& an,
                                                                               __m512& esito) {
  const __m512 uno = _mm512_set1_ps(1.0f);
  const __mmask16 dentro = _mm512_cmp_ps_mask(v, _mm512_setzero_ps(), _CMP_GT_OQ) & _mm512_cmp_ps_mask(v, uno, _CMP_LT_OQ);
  const __mmask16 sopra = _mm512_cmp_ps_mask(v, uno, _CMP_GE_OQ);
  __m512 p = _mm512_maskz_mul_ps(dentro, v, k.f);
  p = _mm512_mask_mov_ps(p, sopra, k.f);
  const __m512i i0 = _mm512_cvttps_epi32(p);
  if ((_mm512_cmpgt_epi32_mask(k.ultimo, i0) & 0x7777) != 0x7777) return false;
  const __m512 t = _mm512_sub_ps(p, _mm512_cvtepi32_ps(i0));
  __m512i o = _mm512_mullo_epi32(i0, k.passi_i);
  o = _mm512_add_epi32(o, _mm512_shuffle_epi32(o, _MM_PERM_CDAB));
  o = _mm512_add_epi32(o, _mm512_shuffle_epi32(o, _MM_PERM_BADC));
  // Lane 0 of each quarter holds its pixel's first sample.
  const float* q[4] = {S + static_cast<uint32_t>(_mm_cvtsi128_si32(_mm512_castsi512_si128(o))),
                       S + static_cast<uint32_t>(_mm_cvtsi128_si32(_mm512_extracti32x4_epi32(o, 1))),
                       S + static_cast<uint32_t>(_mm_cvtsi128_si32(_mm512_extracti32x4_epi32(o, 2))),
                       S + static_cast<uint32_t>(_mm_cvtsi128_si32(_mm512_extracti32x4_epi32(o, 3)))};
  const __m512 u = _mm512_sub_ps(uno, t);
  const __m512 tr = _mm512_shuffle_ps(t, t, 0x00), ur = _mm512_shuffle_ps(u, u, 0x00);
  const __m512 tg = _mm512_shuffle_ps(t, t, 0x55), ug = _mm512_shuffle_ps(u, u, 0x55);
  const __m512 tb = _mm512_shuffle_ps(t, t, 0xAA), ub = _mm512_shuffle_ps(u, u, 0xAA);
  const __m512 c00 = lerp(quattro_da(q, 0), ur, quattro_da(q, 3), tr);
  const __m512 c10 = lerp(quattro_da(q, an.g), ur, quattro_da(q, an.g + 3), tr);
  const __m512 c01 = lerp(quattro_da(q, an.b), ur, quattro_da(q, an.b + 3), tr);
  const __m512 c11 = lerp(quattro_da(q, an.gb), ur, quattro_da(q, an.gb + 3), tr);
  const __m512 c0 = lerp(c00, ug, c10, tg);
  const __m512 c1 = lerp(c01, ug, c11, tg);
  esito = lerp(c0, ub, c1, tb);
  return true;
}

}  // namespace

VARNO_AVX512 void campiona_riga_avx512(const Lut3D& lut, const float* s, int64_t n, float* rgb, float* alfa) {
  const Costanti k = costanti(lut.N);
  const Angoli an = angoli(lut.N);
  const float* S = lut.dati.data();
  int64_t i = 0;
  // Each pixel's three values go out with a 4-float store that the next pixel
  // overwrites, so a group runs only while a pixel follows it in the row.
  for (; i + 4 < n; i += 4) {
    const __m512 v = _mm512_loadu_ps(s + 4 * i);
    __m512 r;
    if (!quattro_pixel_interni(S, v, k, an, r)) r = quattro_pixel(S, v, k);
    _mm_storeu_ps(rgb + 3 * i, _mm512_extractf32x4_ps(r, 0));
    _mm_storeu_ps(rgb + 3 * i + 3, _mm512_extractf32x4_ps(r, 1));
    _mm_storeu_ps(rgb + 3 * i + 6, _mm512_extractf32x4_ps(r, 2));
    _mm_storeu_ps(rgb + 3 * i + 9, _mm512_extractf32x4_ps(r, 3));
    // Alphas are lanes 3, 7, 11 and 15.
    const __m512i indici = _mm512_setr_epi32(3, 7, 11, 15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    _mm_storeu_ps(alfa + i, _mm512_castps512_ps128(_mm512_permutexvar_ps(indici, v)));
  }
  campiona_riga_avx2(lut, s + 4 * i, n - i, rgb + 3 * i, alfa + i);
}

VARNO_AVX512 void campiona_riga_rgba_avx512(const Lut3D& lut, const float* s, int64_t n, float* rgba) {
  const Costanti k = costanti(lut.N);
  const Angoli an = angoli(lut.N);
  const float* S = lut.dati.data();
  int64_t i = 0;
  // Two groups at a time: independent work for the processor to overlap.
  for (; i + 8 <= n; i += 8) {
    const __m512 v = _mm512_loadu_ps(s + 4 * i), w = _mm512_loadu_ps(s + 4 * i + 16);
    __m512 r, q;
    if (!quattro_pixel_interni(S, v, k, an, r)) r = quattro_pixel(S, v, k);
    if (!quattro_pixel_interni(S, w, k, an, q)) q = quattro_pixel(S, w, k);
    _mm512_storeu_ps(rgba + 4 * i, _mm512_mask_blend_ps(0x8888, r, v));
    _mm512_storeu_ps(rgba + 4 * i + 16, _mm512_mask_blend_ps(0x8888, q, w));
  }
  for (; i + 4 <= n; i += 4) {
    const __m512 v = _mm512_loadu_ps(s + 4 * i);
    __m512 r;
    if (!quattro_pixel_interni(S, v, k, an, r)) r = quattro_pixel(S, v, k);
    _mm512_storeu_ps(rgba + 4 * i, _mm512_mask_blend_ps(0x8888, r, v));
  }
  campiona_riga_rgba_avx2(lut, s + 4 * i, n - i, rgba + 4 * i);
}

}  // namespace varno::interno
