// t^1.6 over a vector of floats by the C library's own steps (potenza.h), in
// double lanes, half a vector at a time: the same products and sums in the
// same order, rounded to float once at the end, so every lane is what powf
// returns. Lanes outside powf's usual path go to powf itself: at this
// exponent those are exactly the ones where |1.6 log2 t| reaches 126 (t not a
// positive normal float gives at least 1.6 * 126). Part of the kernels' body:
// included after vettore.h by nuclei_corpo.h.
#pragma once

#include <cmath>

#include "fx/potenza.h"
#include "fx/vettore.h"

namespace varno {
namespace {

constexpr int M = N / 2;  // doubles a half
typedef double VD __attribute__((vector_size(M * 8)));
typedef uint64_t VQ __attribute__((vector_size(M * 8)));
typedef float VF2 __attribute__((vector_size(M * 4)));
typedef int32_t VI2 __attribute__((vector_size(M * 4)));

template <size_t... I>
NUCLEO VF2 meta_f(VF v, int h, std::index_sequence<I...>) {
  return h == 0 ? __builtin_shufflevector(v, v, static_cast<int>(I)...)
                : __builtin_shufflevector(v, v, static_cast<int>(M + I)...);
}
template <size_t... I>
NUCLEO VI2 meta_i(VI v, int h, std::index_sequence<I...>) {
  return h == 0 ? __builtin_shufflevector(v, v, static_cast<int>(I)...)
                : __builtin_shufflevector(v, v, static_cast<int>(M + I)...);
}
template <class H, size_t... I>
NUCLEO auto unisci(H a, H b, std::index_sequence<I...>) {
  return __builtin_shufflevector(a, b, static_cast<int>(I)...);
}
NUCLEO VD tutti_d(double x) {
  VD v;
  for (int i = 0; i < M; ++i) v[i] = x;
  return v;
}

// Entries i of a table of 16 doubles, and of 32 words (by the low five bits
// of i): permutes of the table held in registers with AVX-512; loads of one
// lane at a time otherwise, which beat AVX2's gathers.
NUCLEO VD da_16(const double* tab, VI2 i) {
#if VARNO_CORSIE == 16
  const __m512i j = reinterpret_cast<__m512i>(__builtin_convertvector(i, VQ));
  return reinterpret_cast<VD>(_mm512_permutex2var_pd(_mm512_loadu_pd(tab), j, _mm512_loadu_pd(tab + 8)));
#else
  VD v;
  for (int j = 0; j < M; ++j) v[j] = tab[i[j]];
  return v;
#endif
}
NUCLEO VQ da_32(const uint64_t* tab, VQ i) {
#if VARNO_CORSIE == 16
  const __m512i j = reinterpret_cast<__m512i>(i);
  const __m512i bassi = _mm512_permutex2var_epi64(_mm512_loadu_si512(tab), j, _mm512_loadu_si512(tab + 8));
  const __m512i alti = _mm512_permutex2var_epi64(_mm512_loadu_si512(tab + 16), j, _mm512_loadu_si512(tab + 24));
  return reinterpret_cast<VQ>(_mm512_mask_blend_epi64(_mm512_test_epi64_mask(j, _mm512_set1_epi64(16)), bassi, alti));
#else
  VQ v;
  for (int j = 0; j < M; ++j) v[j] = tab[i[j] & 31];
  return v;
#endif
}

// log2 and exp2 of half a vector: i the lanes' intervals, z their mantissas
// brought into the interval's range, k their exponents. Returns powf's double
// before its rounding, and flags lanes whose |y log2 x| reaches 126.
NUCLEO VD potenza_meta(VI2 i, VF2 z, VI2 k, VI2& fuori) {
  namespace p = potenza;
  const VD invc = da_16(p::kInvC, i), logc = da_16(p::kLog2C, i);
  const VD r = __builtin_convertvector(z, VD) * invc + tutti_d(-1.0);
  const VD y0 = __builtin_convertvector(k, VD) + logc;
  VD y = r * p::kLog2[0] + p::kLog2[1];
  const VD a = r * p::kLog2[2] + p::kLog2[3];
  const VD r2 = r * r;
  VD q = r * p::kLog2[4] + y0;
  const VD r4 = r2 * r2;
  q = r2 * a + q;
  y = y * r4 + q;
  const VD ylogx = static_cast<double>(1.6f) * y;

  VQ bit;
  std::memcpy(&bit, &ylogx, sizeof bit);
  fuori = __builtin_convertvector(((bit >> 47) & 0xffffu) >= 0x80bfu, VI2);
  VD kd = ylogx + p::kSpinta;
  VQ ki;
  std::memcpy(&ki, &kd, sizeof ki);
  kd = kd - p::kSpinta;
  const VD s0 = ylogx - kd;
  const VQ t = da_32(p::kPassi, ki) + (ki << 47);
  VD scala;
  std::memcpy(&scala, &t, sizeof scala);
  const VD c = s0 * p::kEsp2[0] + p::kEsp2[1];
  const VD s2 = s0 * s0;
  VD e = s0 * p::kEsp2[2] + tutti_d(1.0);
  e = c * s2 + e;
  return e * scala;
}

// t^1.6, lane by lane, as powf(t, 1.6f) gives it. Two doubles a vector do
// not beat powf itself, which SSE2 calls lane by lane.
NUCLEO VF potenza_1_6(VF t) {
#if VARNO_CORSIE == 4
  VF r;
  for (int j = 0; j < N; ++j) r[j] = std::pow(t[j], 1.6f);
  return r;
#else
  VU ix;
  std::memcpy(&ix, &t, sizeof ix);
  const VU scarto = ix - 0x3f330000u;
  const VI i = (VI)((scarto >> 19) & 15u);
  const VU alto = scarto & 0xff800000u;
  const VU iz = ix - alto;
  const VI k = (VI)alto >> 23;
  VF z;
  std::memcpy(&z, &iz, sizeof z);
  VI2 f[2];  // lanes for powf
  VF2 v[2];
  for (int h = 0; h < 2; ++h)
    v[h] = __builtin_convertvector(potenza_meta(meta_i(i, h, std::make_index_sequence<M>{}),
                                                meta_f(z, h, std::make_index_sequence<M>{}),
                                                meta_i(k, h, std::make_index_sequence<M>{}), f[h]),
                                   VF2);
  VF r = unisci(v[0], v[1], std::make_index_sequence<N>{});
  const VI fuori = unisci(f[0], f[1], std::make_index_sequence<N>{});
  if (!nessuna(fuori))
    for (int j = 0; j < N; ++j)
      if (fuori[j]) r[j] = std::pow(t[j], 1.6f);
  return r;
#endif
}

}  // namespace
}  // namespace varno
