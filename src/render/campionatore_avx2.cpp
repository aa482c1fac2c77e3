// The sampler, two pixels per AVX2 register: each 128-bit half holds one
// pixel's r, g, b (and alpha, unused), each lane doing the one-pixel rule's
// operations in its order.
#include <immintrin.h>

#include "render/campionatore.h"
#include "render/cpu.h"

namespace varno::interno {

namespace {

struct Costanti {
  __m256 f, passi_f;
  __m256i ultimo, passi_i;
};

VARNO_AVX2 __attribute__((always_inline)) inline Costanti costanti(int32_t N) {
  Costanti k;
  const int32_t u = N - 1;
  k.f = _mm256_set1_ps(static_cast<float>(u));
  k.ultimo = _mm256_set1_epi32(u);
  k.passi_i = _mm256_setr_epi32(3, 3 * N, 3 * N * N, 0, 3, 3 * N, 3 * N * N, 0);
  k.passi_f = _mm256_cvtepi32_ps(k.passi_i);
  return k;
}

VARNO_AVX2 __attribute__((always_inline)) inline __m256 due_angoli(const float* a, const float* b) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(a)), _mm_loadu_ps(b), 1);
}

VARNO_AVX2 __attribute__((always_inline)) inline __m256 lerp(__m256 a, __m256 ua, __m256 b, __m256 tb) {
  return _mm256_add_ps(_mm256_mul_ps(a, ua), _mm256_mul_ps(b, tb));
}

// The graded r, g, b of the two pixels in v, in lanes 0-2 and 4-6.
VARNO_AVX2 __attribute__((always_inline)) inline __m256 due_pixel(const float* S, __m256 v, const Costanti& k) {
  const __m256 zero = _mm256_setzero_ps(), uno = _mm256_set1_ps(1.0f);
  const __m256 dentro = _mm256_and_ps(_mm256_cmp_ps(v, zero, _CMP_GT_OQ), _mm256_cmp_ps(v, uno, _CMP_LT_OQ));
  const __m256 sopra = _mm256_cmp_ps(v, uno, _CMP_GE_OQ);
  const __m256 p = _mm256_or_ps(_mm256_and_ps(dentro, _mm256_mul_ps(v, k.f)), _mm256_and_ps(sopra, k.f));
  const __m256i i0 = _mm256_cvttps_epi32(p);
  const __m256 t = _mm256_sub_ps(p, _mm256_cvtepi32_ps(i0));
  const __m256i i1 = _mm256_min_epi32(_mm256_add_epi32(i0, _mm256_set1_epi32(1)), k.ultimo);
  alignas(32) int32_t base[8], passo[8];
  _mm256_store_si256(reinterpret_cast<__m256i*>(base), _mm256_mullo_epi32(i0, k.passi_i));
  _mm256_store_si256(reinterpret_cast<__m256i*>(passo), _mm256_and_si256(_mm256_cmpgt_epi32(i1, i0), k.passi_i));
  const float* a = S + (static_cast<int64_t>(base[0]) + base[1] + base[2]);
  const float* b = S + (static_cast<int64_t>(base[4]) + base[5] + base[6]);
  const int64_t ar = passo[0], ag = passo[1], ab = passo[2];
  const int64_t br = passo[4], bg = passo[5], bb = passo[6];
  const __m256 u = _mm256_sub_ps(uno, t);
  const __m256 tr = _mm256_shuffle_ps(t, t, 0x00), ur = _mm256_shuffle_ps(u, u, 0x00);
  const __m256 tg = _mm256_shuffle_ps(t, t, 0x55), ug = _mm256_shuffle_ps(u, u, 0x55);
  const __m256 tb = _mm256_shuffle_ps(t, t, 0xAA), ub = _mm256_shuffle_ps(u, u, 0xAA);
  const __m256 c00 = lerp(due_angoli(a, b), ur, due_angoli(a + ar, b + br), tr);
  const __m256 c10 = lerp(due_angoli(a + ag, b + bg), ur, due_angoli(a + ag + ar, b + bg + br), tr);
  const __m256 c01 = lerp(due_angoli(a + ab, b + bb), ur, due_angoli(a + ab + ar, b + bb + br), tr);
  const __m256 c11 = lerp(due_angoli(a + ab + ag, b + bb + bg), ur, due_angoli(a + ab + ag + ar, b + bb + bg + br), tr);
  const __m256 c0 = lerp(c00, ug, c10, tg);
  const __m256 c1 = lerp(c01, ug, c11, tg);
  return lerp(c0, ub, c1, tb);
}

// The eight corners of each cell, as offsets from its first sample: a whole
// step along each axis, which is what every pixel has unless one of its
// channels sits on the table's last point.
struct Angoli {
  int64_t g, b, gb;  // green, blue, both (red is 3 on top of each)
};

// As due_pixel, for two pixels whose cells all have whole steps; false (and
// nothing done) otherwise, for due_pixel to take them.
VARNO_AVX2 __attribute__((always_inline)) inline bool due_pixel_interni(const float* S, __m256 v, const Costanti& k,
                                                                         const Angoli& an, __m256& esito) {
  const __m256 zero = _mm256_setzero_ps(), uno = _mm256_set1_ps(1.0f);
  const __m256 dentro = _mm256_and_ps(_mm256_cmp_ps(v, zero, _CMP_GT_OQ), _mm256_cmp_ps(v, uno, _CMP_LT_OQ));
  const __m256 sopra = _mm256_cmp_ps(v, uno, _CMP_GE_OQ);
  const __m256 p = _mm256_or_ps(_mm256_and_ps(dentro, _mm256_mul_ps(v, k.f)), _mm256_and_ps(sopra, k.f));
  const __m256i i0 = _mm256_cvttps_epi32(p);
  // Every r, g, b below the last point: whole steps everywhere.
  const __m256i basso = _mm256_cmpgt_epi32(k.ultimo, i0);
  if ((_mm256_movemask_ps(_mm256_castsi256_ps(basso)) & 0x77) != 0x77) return false;
  const __m256 t = _mm256_sub_ps(p, _mm256_cvtepi32_ps(i0));
  // The first sample of each cell: r0 * 3 + g0 * 3N + b0 * 3N^2, summed across lanes.
  __m256i o = _mm256_mullo_epi32(i0, k.passi_i);
  o = _mm256_add_epi32(o, _mm256_shuffle_epi32(o, _MM_SHUFFLE(2, 3, 0, 1)));
  o = _mm256_add_epi32(o, _mm256_shuffle_epi32(o, _MM_SHUFFLE(1, 0, 3, 2)));
  const float* a = S + static_cast<uint32_t>(_mm256_cvtsi256_si32(o));
  const float* b = S + static_cast<uint32_t>(_mm_cvtsi128_si32(_mm256_extracti128_si256(o, 1)));
  const __m256 u = _mm256_sub_ps(uno, t);
  const __m256 tr = _mm256_shuffle_ps(t, t, 0x00), ur = _mm256_shuffle_ps(u, u, 0x00);
  const __m256 tg = _mm256_shuffle_ps(t, t, 0x55), ug = _mm256_shuffle_ps(u, u, 0x55);
  const __m256 tb = _mm256_shuffle_ps(t, t, 0xAA), ub = _mm256_shuffle_ps(u, u, 0xAA);
  const __m256 c00 = lerp(due_angoli(a, b), ur, due_angoli(a + 3, b + 3), tr);
  const __m256 c10 = lerp(due_angoli(a + an.g, b + an.g), ur, due_angoli(a + an.g + 3, b + an.g + 3), tr);
  const __m256 c01 = lerp(due_angoli(a + an.b, b + an.b), ur, due_angoli(a + an.b + 3, b + an.b + 3), tr);
  const __m256 c11 = lerp(due_angoli(a + an.gb, b + an.gb), ur, due_angoli(a + an.gb + 3, b + an.gb + 3), tr);
  const __m256 c0 = lerp(c00, ug, c10, tg);
  const __m256 c1 = lerp(c01, ug, c11, tg);
  esito = lerp(c0, ub, c1, tb);
  return true;
}

// Four pixels of four floats each, as rows, turned into four columns (each
// 128-bit half on its own); turning them again gives the rows back.
VARNO_AVX2 __attribute__((always_inline)) inline void trasponi(__m256& a, __m256& b, __m256& c, __m256& d) {
  const __m256 t0 = _mm256_unpacklo_ps(a, b), t1 = _mm256_unpackhi_ps(a, b);
  const __m256 t2 = _mm256_unpacklo_ps(c, d), t3 = _mm256_unpackhi_ps(c, d);
  a = _mm256_shuffle_ps(t0, t2, _MM_SHUFFLE(1, 0, 1, 0));
  b = _mm256_shuffle_ps(t0, t2, _MM_SHUFFLE(3, 2, 3, 2));
  c = _mm256_shuffle_ps(t1, t3, _MM_SHUFFLE(1, 0, 1, 0));
  d = _mm256_shuffle_ps(t1, t3, _MM_SHUFFLE(3, 2, 3, 2));
}

inline Angoli angoli(int32_t N) {
  const int64_t g = 3 * static_cast<int64_t>(N), b = g * N;
  return {g, b, g + b};
}

// Eight pixels, channel by channel (a lane a pixel), when all of them fall in
// one cell of the table with whole steps, as runs of a smooth picture do: the
// cell's corners are loaded once and each pixel's weights do the rest, in the
// one-pixel rule's order. False, with nothing written, otherwise.
VARNO_AVX2 __attribute__((always_inline)) inline bool otto_in_una_cella(const float* S, const float* s, float* rgba,
                                                                         const Costanti& k, const Angoli& an) {
  __m256 canale[4] = {_mm256_loadu_ps(s), _mm256_loadu_ps(s + 8), _mm256_loadu_ps(s + 16), _mm256_loadu_ps(s + 24)};
  trasponi(canale[0], canale[1], canale[2], canale[3]);  // r, g, b, a of pixels 0 2 4 6 | 1 3 5 7
  const __m256 zero = _mm256_setzero_ps(), uno = _mm256_set1_ps(1.0f);
  __m256 t[3];
  int32_t cella[3];
  for (int c = 0; c < 3; ++c) {
    const __m256 v = canale[c];
    const __m256 dentro = _mm256_and_ps(_mm256_cmp_ps(v, zero, _CMP_GT_OQ), _mm256_cmp_ps(v, uno, _CMP_LT_OQ));
    const __m256 sopra = _mm256_cmp_ps(v, uno, _CMP_GE_OQ);
    const __m256 p = _mm256_or_ps(_mm256_and_ps(dentro, _mm256_mul_ps(v, k.f)), _mm256_and_ps(sopra, k.f));
    const __m256i i0 = _mm256_cvttps_epi32(p);
    cella[c] = _mm256_cvtsi256_si32(i0);
    const __m256i uguale = _mm256_cmpeq_epi32(i0, _mm256_set1_epi32(cella[c]));
    const __m256i basso = _mm256_cmpgt_epi32(k.ultimo, i0);
    if (_mm256_movemask_ps(_mm256_castsi256_ps(_mm256_and_si256(uguale, basso))) != 0xFF) return false;
    t[c] = _mm256_sub_ps(p, _mm256_cvtepi32_ps(i0));
  }
  const float* q = S + (static_cast<int64_t>(cella[0]) * 3 + static_cast<int64_t>(cella[1]) * an.g +
                        static_cast<int64_t>(cella[2]) * an.b);
  const __m256 tr = t[0], ur = _mm256_sub_ps(uno, t[0]);
  const __m256 tg = t[1], ug = _mm256_sub_ps(uno, t[1]);
  const __m256 tb = t[2], ub = _mm256_sub_ps(uno, t[2]);
  for (int c = 0; c < 3; ++c) {
    const float* a = q + c;
    const __m256 c00 = lerp(_mm256_broadcast_ss(a), ur, _mm256_broadcast_ss(a + 3), tr);
    const __m256 c10 = lerp(_mm256_broadcast_ss(a + an.g), ur, _mm256_broadcast_ss(a + an.g + 3), tr);
    const __m256 c01 = lerp(_mm256_broadcast_ss(a + an.b), ur, _mm256_broadcast_ss(a + an.b + 3), tr);
    const __m256 c11 = lerp(_mm256_broadcast_ss(a + an.gb), ur, _mm256_broadcast_ss(a + an.gb + 3), tr);
    const __m256 c0 = lerp(c00, ug, c10, tg);
    const __m256 c1 = lerp(c01, ug, c11, tg);
    canale[c] = lerp(c0, ub, c1, tb);
  }
  trasponi(canale[0], canale[1], canale[2], canale[3]);  // alpha as it came
  for (int j = 0; j < 4; ++j) _mm256_storeu_ps(rgba + 8 * j, canale[j]);
  return true;
}

// Four RGBA pixels in two pairs, for the processor to overlap.
VARNO_AVX2 __attribute__((always_inline)) inline void due_coppie(const float* S, const float* s, float* rgba,
                                                                  const Costanti& k, const Angoli& an) {
  const __m256 v = _mm256_loadu_ps(s), w = _mm256_loadu_ps(s + 8);
  __m256 r, q;
  if (!due_pixel_interni(S, v, k, an, r)) r = due_pixel(S, v, k);
  if (!due_pixel_interni(S, w, k, an, q)) q = due_pixel(S, w, k);
  _mm256_storeu_ps(rgba, _mm256_blend_ps(r, v, 0x88));
  _mm256_storeu_ps(rgba + 8, _mm256_blend_ps(q, w, 0x88));
}

}  // namespace

VARNO_AVX2 void campiona_riga_avx2(const Lut3D& lut, const float* s, int64_t n, float* rgb, float* alfa) {
  // Graded as RGBA a block at a time into the cache, where the whole-cell and
  // paired paths apply, then split into the triples and the alphas.
  constexpr int64_t kBlocco = 64;
  alignas(32) float blocco[kBlocco * 4];
  for (int64_t i = 0; i < n; i += kBlocco) {
    const int64_t m = n - i < kBlocco ? n - i : kBlocco;
    campiona_riga_rgba_avx2(lut, s + 4 * i, m, blocco);
    float* d = rgb + 3 * i;
    // Each pixel's 4-float store has its fourth float overwritten by the next
    // pixel's, so the row's last pixel goes out on its own.
    const int64_t pieni = i + m < n ? m : m - 1;
    for (int64_t j = 0; j < pieni; ++j) {
      _mm_storeu_ps(d + 3 * j, _mm_load_ps(blocco + 4 * j));
      alfa[i + j] = blocco[4 * j + 3];
    }
    for (int64_t j = pieni; j < m; ++j) {
      for (int c = 0; c < 3; ++c) d[3 * j + c] = blocco[4 * j + c];
      alfa[i + j] = blocco[4 * j + 3];
    }
  }
}

VARNO_AVX2 void campiona_riga_rgba_avx2(const Lut3D& lut, const float* s, int64_t n, float* rgba) {
  const Costanti k = costanti(lut.N);
  const Angoli an = angoli(lut.N);
  const float* S = lut.dati.data();
  int64_t i = 0;
  for (; i + 8 <= n; i += 8)
    if (!otto_in_una_cella(S, s + 4 * i, rgba + 4 * i, k, an)) {
      due_coppie(S, s + 4 * i, rgba + 4 * i, k, an);
      due_coppie(S, s + 4 * i + 16, rgba + 4 * i + 16, k, an);
    }
  for (; i + 4 <= n; i += 4) due_coppie(S, s + 4 * i, rgba + 4 * i, k, an);
  for (; i + 2 <= n; i += 2) {
    const __m256 v = _mm256_loadu_ps(s + 4 * i);
    __m256 r;
    if (!due_pixel_interni(S, v, k, an, r)) r = due_pixel(S, v, k);
    _mm256_storeu_ps(rgba + 4 * i, _mm256_blend_ps(r, v, 0x88));
  }
  campiona_riga_rgba_sse2(lut, s + 4 * i, n - i, rgba + 4 * i);
}

}  // namespace varno::interno
