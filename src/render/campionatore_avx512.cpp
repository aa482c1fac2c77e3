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

// A cell's corner d and its neighbour along red, three floats on, for the four
// pixels: one 256-bit load a pixel holds both, spread to the two registers.
VARNO_AVX512 __attribute__((always_inline)) inline void coppia_da(const float* const* q, int64_t d, __m512& a,
                                                                   __m512& b) {
  const __m512 z01 = _mm512_insertf32x8(_mm512_castps256_ps512(_mm256_loadu_ps(q[0] + d)), _mm256_loadu_ps(q[1] + d), 1);
  const __m512 z23 = _mm512_insertf32x8(_mm512_castps256_ps512(_mm256_loadu_ps(q[2] + d)), _mm256_loadu_ps(q[3] + d), 1);
  a = _mm512_permutex2var_ps(z01, _mm512_setr_epi32(0, 1, 2, 3, 8, 9, 10, 11, 16, 17, 18, 19, 24, 25, 26, 27), z23);
  b = _mm512_permutex2var_ps(z01, _mm512_setr_epi32(3, 4, 5, 6, 11, 12, 13, 14, 19, 20, 21, 22, 27, 28, 29, 30), z23);
}

VARNO_AVX512 __attribute__((always_inline)) inline __m512 lerp_rosso(const float* const* q, int64_t d, __m512 ur,
                                                                     __m512 tr) {
  __m512 a, b;
  coppia_da(q, d, a, b);
  return lerp(a, ur, b, tr);
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
  const __m512 c00 = lerp_rosso(q, 0, ur, tr);
  const __m512 c10 = lerp_rosso(q, an.g, ur, tr);
  const __m512 c01 = lerp_rosso(q, an.b, ur, tr);
  const __m512 c11 = lerp_rosso(q, an.gb, ur, tr);
  const __m512 c0 = lerp(c00, ug, c10, tg);
  const __m512 c1 = lerp(c01, ug, c11, tg);
  esito = lerp(c0, ub, c1, tb);
  return true;
}

// Sixteen pixels, channel by channel (a lane a pixel), when all of them fall
// in one cell of the table with whole steps, as runs of a smooth picture do:
// the cell's eight corners are loaded once and each pixel's weights do the
// rest, in the one-pixel rule's order. False, with nothing written, otherwise.
VARNO_AVX512 __attribute__((always_inline)) inline bool sedici_in_una_cella(const float* S, const float* s,
                                                                             float* rgba, const Costanti& k,
                                                                             const Angoli& an) {
  const __m512 p0 = _mm512_loadu_ps(s), p1 = _mm512_loadu_ps(s + 16), p2 = _mm512_loadu_ps(s + 32),
               p3 = _mm512_loadu_ps(s + 48);
  const __m512i rg = _mm512_setr_epi32(0, 4, 8, 12, 16, 20, 24, 28, 1, 5, 9, 13, 17, 21, 25, 29);
  const __m512i ba = _mm512_setr_epi32(2, 6, 10, 14, 18, 22, 26, 30, 3, 7, 11, 15, 19, 23, 27, 31);
  const __m512 rg0 = _mm512_permutex2var_ps(p0, rg, p1), rg1 = _mm512_permutex2var_ps(p2, rg, p3);
  const __m512 ba0 = _mm512_permutex2var_ps(p0, ba, p1), ba1 = _mm512_permutex2var_ps(p2, ba, p3);
  const __m512 canale[3] = {_mm512_shuffle_f32x4(rg0, rg1, _MM_SHUFFLE(1, 0, 1, 0)),
                            _mm512_shuffle_f32x4(rg0, rg1, _MM_SHUFFLE(3, 2, 3, 2)),
                            _mm512_shuffle_f32x4(ba0, ba1, _MM_SHUFFLE(1, 0, 1, 0))};
  const __m512 alfa = _mm512_shuffle_f32x4(ba0, ba1, _MM_SHUFFLE(3, 2, 3, 2));
  const __m512 uno = _mm512_set1_ps(1.0f);
  __m512 t[3];
  int32_t cella[3];
  for (int c = 0; c < 3; ++c) {
    const __m512 v = canale[c];
    const __mmask16 dentro = _mm512_cmp_ps_mask(v, _mm512_setzero_ps(), _CMP_GT_OQ) & _mm512_cmp_ps_mask(v, uno, _CMP_LT_OQ);
    __m512 p = _mm512_maskz_mul_ps(dentro, v, k.f);
    p = _mm512_mask_mov_ps(p, _mm512_cmp_ps_mask(v, uno, _CMP_GE_OQ), k.f);
    const __m512i i0 = _mm512_cvttps_epi32(p);
    cella[c] = _mm_cvtsi128_si32(_mm512_castsi512_si128(i0));
    // One cell for all, below the last point, so every step is whole.
    if (_mm512_cmpneq_epi32_mask(i0, _mm512_set1_epi32(cella[c])) != 0 ||
        _mm512_cmpgt_epi32_mask(k.ultimo, i0) != 0xFFFF)
      return false;
    t[c] = _mm512_sub_ps(p, _mm512_cvtepi32_ps(i0));
  }
  const float* q = S + (static_cast<int64_t>(cella[0]) * 3 + static_cast<int64_t>(cella[1]) * an.g +
                        static_cast<int64_t>(cella[2]) * an.b);
  const __m512 tr = t[0], ur = _mm512_sub_ps(uno, t[0]);
  const __m512 tg = t[1], ug = _mm512_sub_ps(uno, t[1]);
  const __m512 tb = t[2], ub = _mm512_sub_ps(uno, t[2]);
  __m512 esito[3];
  for (int c = 0; c < 3; ++c) {
    const float* a = q + c;
    const __m512 c00 = lerp(_mm512_set1_ps(a[0]), ur, _mm512_set1_ps(a[3]), tr);
    const __m512 c10 = lerp(_mm512_set1_ps(a[an.g]), ur, _mm512_set1_ps(a[an.g + 3]), tr);
    const __m512 c01 = lerp(_mm512_set1_ps(a[an.b]), ur, _mm512_set1_ps(a[an.b + 3]), tr);
    const __m512 c11 = lerp(_mm512_set1_ps(a[an.gb]), ur, _mm512_set1_ps(a[an.gb + 3]), tr);
    const __m512 c0 = lerp(c00, ug, c10, tg);
    const __m512 c1 = lerp(c01, ug, c11, tg);
    esito[c] = lerp(c0, ub, c1, tb);
  }
  // Back to four RGBA pixels a register, alpha as it came.
  const __m512 lo_rg = _mm512_shuffle_f32x4(esito[0], esito[1], _MM_SHUFFLE(1, 0, 1, 0));
  const __m512 hi_rg = _mm512_shuffle_f32x4(esito[0], esito[1], _MM_SHUFFLE(3, 2, 3, 2));
  const __m512 lo_ba = _mm512_shuffle_f32x4(esito[2], alfa, _MM_SHUFFLE(1, 0, 1, 0));
  const __m512 hi_ba = _mm512_shuffle_f32x4(esito[2], alfa, _MM_SHUFFLE(3, 2, 3, 2));
  const __m512i primi = _mm512_setr_epi32(0, 8, 16, 24, 1, 9, 17, 25, 2, 10, 18, 26, 3, 11, 19, 27);
  const __m512i secondi = _mm512_setr_epi32(4, 12, 20, 28, 5, 13, 21, 29, 6, 14, 22, 30, 7, 15, 23, 31);
  _mm512_storeu_ps(rgba, _mm512_permutex2var_ps(lo_rg, primi, lo_ba));
  _mm512_storeu_ps(rgba + 16, _mm512_permutex2var_ps(lo_rg, secondi, lo_ba));
  _mm512_storeu_ps(rgba + 32, _mm512_permutex2var_ps(hi_rg, primi, hi_ba));
  _mm512_storeu_ps(rgba + 48, _mm512_permutex2var_ps(hi_rg, secondi, hi_ba));
  return true;
}

// Eight RGBA pixels in two groups of four, for the processor to overlap.
VARNO_AVX512 __attribute__((always_inline)) inline void due_gruppi(const float* S, const float* s, float* rgba,
                                                                    const Costanti& k, const Angoli& an) {
  const __m512 v = _mm512_loadu_ps(s), w = _mm512_loadu_ps(s + 16);
  __m512 r, q;
  if (!quattro_pixel_interni(S, v, k, an, r)) r = quattro_pixel(S, v, k);
  if (!quattro_pixel_interni(S, w, k, an, q)) q = quattro_pixel(S, w, k);
  _mm512_storeu_ps(rgba, _mm512_mask_blend_ps(0x8888, r, v));
  _mm512_storeu_ps(rgba + 16, _mm512_mask_blend_ps(0x8888, q, w));
}

// Sixteen RGBA pixels to sixteen RGB triples and sixteen alphas.
VARNO_AVX512 __attribute__((always_inline)) inline void separa_sedici(const float* rgba, float* rgb, float* alfa) {
  const __m512 p0 = _mm512_load_ps(rgba), p1 = _mm512_load_ps(rgba + 16), p2 = _mm512_load_ps(rgba + 32),
               p3 = _mm512_load_ps(rgba + 48);
  // Output float k is pixel k / 3's channel k % 3, taken from the pair of
  // registers that holds it.
  const __m512i a = _mm512_setr_epi32(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 16, 17, 18, 20);
  const __m512i b = _mm512_setr_epi32(5, 6, 8, 9, 10, 12, 13, 14, 16, 17, 18, 20, 21, 22, 24, 25);
  const __m512i c = _mm512_setr_epi32(10, 12, 13, 14, 16, 17, 18, 20, 21, 22, 24, 25, 26, 28, 29, 30);
  _mm512_storeu_ps(rgb, _mm512_permutex2var_ps(p0, a, p1));
  _mm512_storeu_ps(rgb + 16, _mm512_permutex2var_ps(p1, b, p2));
  _mm512_storeu_ps(rgb + 32, _mm512_permutex2var_ps(p2, c, p3));
  const __m512i alfe = _mm512_setr_epi32(3, 7, 11, 15, 19, 23, 27, 31, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m256 basse = _mm512_castps512_ps256(_mm512_permutex2var_ps(p0, alfe, p1));
  const __m256 alte = _mm512_castps512_ps256(_mm512_permutex2var_ps(p2, alfe, p3));
  _mm512_storeu_ps(alfa, _mm512_insertf32x8(_mm512_castps256_ps512(basse), alte, 1));
}

}  // namespace

VARNO_AVX512 void campiona_riga_avx512(const Lut3D& lut, const float* s, int64_t n, float* rgb, float* alfa) {
  // Graded as RGBA a block at a time into the cache, where the whole-cell and
  // paired paths apply, then split into the triples and the alphas.
  constexpr int64_t kBlocco = 64;
  alignas(64) float blocco[kBlocco * 4];
  for (int64_t i = 0; i < n; i += kBlocco) {
    const int64_t m = n - i < kBlocco ? n - i : kBlocco;
    campiona_riga_rgba_avx512(lut, s + 4 * i, m, blocco);
    int64_t j = 0;
    for (; j + 16 <= m; j += 16) separa_sedici(blocco + 4 * j, rgb + 3 * (i + j), alfa + i + j);
    for (; j < m; ++j) {
      for (int c = 0; c < 3; ++c) rgb[3 * (i + j) + c] = blocco[4 * j + c];
      alfa[i + j] = blocco[4 * j + 3];
    }
  }
}

VARNO_AVX512 void campiona_riga_rgba_avx512(const Lut3D& lut, const float* s, int64_t n, float* rgba) {
  const Costanti k = costanti(lut.N);
  const Angoli an = angoli(lut.N);
  const float* S = lut.dati.data();
  int64_t i = 0;
  for (; i + 16 <= n; i += 16)
    if (!sedici_in_una_cella(S, s + 4 * i, rgba + 4 * i, k, an)) {
      due_gruppi(S, s + 4 * i, rgba + 4 * i, k, an);
      due_gruppi(S, s + 4 * i + 32, rgba + 4 * i + 32, k, an);
    }
  for (; i + 8 <= n; i += 8) due_gruppi(S, s + 4 * i, rgba + 4 * i, k, an);
  for (; i + 4 <= n; i += 4) {
    const __m512 v = _mm512_loadu_ps(s + 4 * i);
    __m512 r;
    if (!quattro_pixel_interni(S, v, k, an, r)) r = quattro_pixel(S, v, k);
    _mm512_storeu_ps(rgba + 4 * i, _mm512_mask_blend_ps(0x8888, r, v));
  }
  campiona_riga_rgba_avx2(lut, s + 4 * i, n - i, rgba + 4 * i);
}

}  // namespace varno::interno
