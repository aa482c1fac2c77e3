// The vector vocabulary of the effect kernels: N floats at a time, every
// operation the one-pixel rule's own, lane by lane, in the same order (no
// fused multiply-add, selects where the rule branches), so a lane gives the
// bits the rule gives.
//
// Included only by the variant files nuclei_*.cpp, after they define
// VARNO_VARIANTE (their target attribute, empty for the baseline) and
// VARNO_CORSIE (floats a vector). Everything here is internal to that file, so
// code built for one instruction set never meets another's.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>
#include <utility>

#define NUCLEO VARNO_VARIANTE inline __attribute__((always_inline))

namespace varno {
namespace {

constexpr int N = VARNO_CORSIE;
typedef float VF __attribute__((vector_size(N * 4)));
typedef int32_t VI __attribute__((vector_size(N * 4)));
typedef uint32_t VU __attribute__((vector_size(N * 4)));

template <size_t... I>
NUCLEO VF prima_ovunque(VF v, std::index_sequence<I...>) {
  return __builtin_shufflevector(v, v, (static_cast<int>(I) * 0)...);
}
// x in every lane: one broadcast.
NUCLEO VF uguali(float x) {
  const VF v = {x};
  return prima_ovunque(v, std::make_index_sequence<N>{});
}

NUCLEO VF carica(const float* p) {
  VF v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
NUCLEO void salva(float* p, VF v) { std::memcpy(p, &v, sizeof v); }
// The first n lanes (n <= N); the rest read as 0 and are never stored.
NUCLEO VF carica(const float* p, int64_t n) {
  if (n >= N) return carica(p);
  VF v = {};
  for (int64_t i = 0; i < n; ++i) v[i] = p[i];
  return v;
}
NUCLEO void salva(float* p, VF v, int64_t n) {
  if (n >= N) return salva(p, v);
  for (int64_t i = 0; i < n; ++i) p[i] = v[i];
}

// A store that bypasses the caches, for planes far larger than them that the
// next pass reads from memory anyway: it saves reading each line before
// writing it. Unaligned addresses take the plain store. The writer orders
// them with barriera_flusso before anyone else may read.
NUCLEO void salva_flusso(float* p, VF v) {
  if ((reinterpret_cast<uintptr_t>(p) & (sizeof(VF) - 1)) != 0) return salva(p, v);
#if VARNO_CORSIE == 16
  _mm512_stream_ps(p, reinterpret_cast<__m512>(v));
#elif VARNO_CORSIE == 8
  _mm256_stream_ps(p, reinterpret_cast<__m256>(v));
#else
  _mm_stream_ps(p, reinterpret_cast<__m128>(v));
#endif
}
NUCLEO void barriera_flusso() { _mm_sfence(); }

// Asks for n floats from p ahead of their use, a cache line at a time. Passes
// that work a few rows at once read short runs far apart, which the processor
// does not fetch ahead by itself.
NUCLEO void anticipa(const float* p, int64_t n) {
  for (int64_t i = 0; i < n; i += 16) __builtin_prefetch(p + i);
}

// The lane index 0, 1, ..., N - 1.
NUCLEO VI corsie() {
  VI v;
  for (int i = 0; i < N; ++i) v[i] = i;
  return v;
}

// std::min and std::max, lane by lane: the second operand only if strictly
// less (more), so a NaN first operand stays.
NUCLEO VF minimo(VF a, VF b) { return b < a ? b : a; }
NUCLEO VF massimo(VF a, VF b) { return a < b ? b : a; }

// Above 0 becomes min(v, 1); anything else, not-a-number included, becomes 0.
NUCLEO VF limita01(VF v) {
  const VF zero = {}, uno = uguali(1.0f);
  return v > zero ? (v < uno ? v : uno) : zero;
}

NUCLEO VF luminanza(VF r, VF g, VF b) { return r * 0.2126f + g * 0.7152f + b * 0.0722f; }

// Screen of h over c.
NUCLEO VF schermo(VF h, VF c) { return 1.0f - (1.0f - h) * (1.0f - c); }

// Highlight ramp: (l - inizio) / ampiezza held to 0..1, a NaN to 0.
NUCLEO VF rampa(VF l, float inizio, float ampiezza) {
  const VF t = (l - inizio) / ampiezza;
  const VF zero = {}, uno = uguali(1.0f);
  return t > zero ? (t < uno ? t : uno) : zero;
}

// Rational stand-in for tanh(d)/3 that meets +-1/3 with zero slope at d = +-3.
NUCLEO VF dettaglio(VF differenza) {
  const VF d = differenza * 3.0f;
  const VF curva = ((d * d + 27.0f) * d / (d * d * 9.0f + 27.0f)) / 3.0f;
  return d > uguali(3.0f) ? uguali(0.33333334f) : (d < uguali(-3.0f) ? uguali(-0.33333334f) : curva);
}

// A new luminance n carried to the channels as a ratio to the old one, l.
NUCLEO void porta_rapporto(VF& r, VF& g, VF& b, VF l, VF n) {
  const VF soglia = uguali(0.000001f);
  n = n > soglia ? minimo(n, uguali(1.0f)) : soglia;
  const VF q = n / massimo(soglia, l);
  r = limita01(r * q);
  g = limita01(g * q);
  b = limita01(b * q);
}

// --- Shuffles -----------------------------------------------------------------

// Stream C of stride S (S <= 4) from the S vectors at p: lane i is p[S i + C].
constexpr int elemento(int s, int c, int i) { return s * i + c; }
template <int S, int C, size_t... I>
NUCLEO VF flusso_primi(VF a, VF b, std::index_sequence<I...>) {
  return __builtin_shufflevector(a, b, (elemento(S, C, I) < 2 * N ? elemento(S, C, I) : 0)...);
}
template <int S, int C, int K, size_t... I>
NUCLEO VF flusso_poi(VF t, VF v, std::index_sequence<I...>) {
  return __builtin_shufflevector(t, v, (elemento(S, C, I) / N == K ? N + elemento(S, C, I) % N : int(I))...);
}
template <int S, int C>
NUCLEO VF flusso(const VF* v) {
  if constexpr (S == 1) {
    return v[0];
  } else {
    VF t = flusso_primi<S, C>(v[0], v[1], std::make_index_sequence<N>{});
    if constexpr (S > 2) t = flusso_poi<S, C, 2>(t, v[2], std::make_index_sequence<N>{});
    if constexpr (S > 3) t = flusso_poi<S, C, 3>(t, v[3], std::make_index_sequence<N>{});
    return t;
  }
}

// All four streams of stride 4 from the four vectors at v, by two rounds of
// splitting into even and odd lanes: eight shuffles rather than twelve.
NUCLEO void flussi4(const VF* v, VF* s) {
  const VF a[2] = {flusso<2, 0>(v), flusso<2, 0>(v + 2)};  // lanes 0, 2, 4, ...
  const VF b[2] = {flusso<2, 1>(v), flusso<2, 1>(v + 2)};  // lanes 1, 3, 5, ...
  s[0] = flusso<2, 0>(a);
  s[1] = flusso<2, 0>(b);
  s[2] = flusso<2, 1>(a);
  s[3] = flusso<2, 1>(b);
}

// The inverse for three streams: vector K of the interleaved sequence.
constexpr int intreccio(int k, int i, int canale_cercato) {
  return (k * N + i) % 3 == canale_cercato ? (k * N + i) / 3 : -1;
}
template <int K, size_t... I>
NUCLEO VF intreccia(VF r, VF g, VF b, std::index_sequence<I...>) {
  const VF rg = __builtin_shufflevector(
      r, g, (intreccio(K, I, 0) >= 0 ? intreccio(K, I, 0) : intreccio(K, I, 1) >= 0 ? N + intreccio(K, I, 1) : 0)...);
  return __builtin_shufflevector(rg, b, (intreccio(K, I, 2) >= 0 ? N + intreccio(K, I, 2) : int(I))...);
}

// n interleaved RGB pixels (n <= N) to three channel vectors, and back.
NUCLEO void leggi_rgb(const float* p, VF& r, VF& g, VF& b, int64_t n = N) {
  VF v[3];
  if (n >= N) {
    v[0] = carica(p);
    v[1] = carica(p + N);
    v[2] = carica(p + 2 * N);
  } else {
    const int64_t k = 3 * n;
    v[0] = carica(p, k);
    v[1] = carica(p + N, k - N);
    v[2] = carica(p + 2 * N, k - 2 * N);
  }
  r = flusso<3, 0>(v);
  g = flusso<3, 1>(v);
  b = flusso<3, 2>(v);
}
NUCLEO void scrivi_rgb(float* p, VF r, VF g, VF b, int64_t n = N) {
  const VF v0 = intreccia<0>(r, g, b, std::make_index_sequence<N>{});
  const VF v1 = intreccia<1>(r, g, b, std::make_index_sequence<N>{});
  const VF v2 = intreccia<2>(r, g, b, std::make_index_sequence<N>{});
  if (n >= N) {
    salva(p, v0);
    salva(p + N, v1);
    salva(p + 2 * N, v2);
  } else {
    const int64_t k = 3 * n;
    salva(p, v0, k);
    salva(p + N, v1, k - N);
    salva(p + 2 * N, v2, k - 2 * N);
  }
}

// In-place transpose of the N x N block held as N vectors, by swapping ever
// larger off-diagonal blocks.
template <int B, size_t... I>
NUCLEO VF blocco_alto(VF a, VF c, std::index_sequence<I...>) {
  return __builtin_shufflevector(a, c, ((I & B) ? int(N + I - B) : int(I))...);
}
template <int B, size_t... I>
NUCLEO VF blocco_basso(VF a, VF c, std::index_sequence<I...>) {
  return __builtin_shufflevector(a, c, ((I & B) ? int(N + I) : int(I + B))...);
}
template <int B>
NUCLEO void scambia_blocchi(VF* v) {
  for (int i = 0; i < N; ++i)
    if (!(i & B)) {
      const VF a = blocco_alto<B>(v[i], v[i + B], std::make_index_sequence<N>{});
      const VF c = blocco_basso<B>(v[i], v[i + B], std::make_index_sequence<N>{});
      v[i] = a;
      v[i + B] = c;
    }
}
// Sixteen lanes: per 128-bit lane, pairs of floats and then of pairs
// interleave, and whole lanes regroup last. The swaps above would become
// general two-source shuffles there, which take about twice as long.
template <size_t... I>
NUCLEO VF intreccia_1(VF a, VF c, bool alto, std::index_sequence<I...>) {
  return alto ? __builtin_shufflevector(a, c, int(I / 4 * 4 + 2 + I % 4 / 2 + (I % 2) * N)...)
              : __builtin_shufflevector(a, c, int(I / 4 * 4 + I % 4 / 2 + (I % 2) * N)...);
}
template <size_t... I>
NUCLEO VF intreccia_2(VF a, VF c, bool alto, std::index_sequence<I...>) {
  return alto ? __builtin_shufflevector(a, c, int(I / 4 * 4 + 2 + I % 2 + (I % 4 / 2) * N)...)
              : __builtin_shufflevector(a, c, int(I / 4 * 4 + I % 2 + (I % 4 / 2) * N)...);
}
// Lanes 0 and 2 (dispari: 1 and 3) of a, then the same of c.
template <size_t... I>
NUCLEO VF corsie_alterne(VF a, VF c, bool dispari, std::index_sequence<I...>) {
  return dispari ? __builtin_shufflevector(a, c, int((I / 8) * N + ((I / 4) % 2 * 2 + 1) * 4 + I % 4)...)
                 : __builtin_shufflevector(a, c, int((I / 8) * N + ((I / 4) % 2 * 2) * 4 + I % 4)...);
}

NUCLEO void trasponi(VF* v) {
#if VARNO_CORSIE == 16
  constexpr auto S = std::make_index_sequence<N>{};
  VF t[16], u[16];
  for (int i = 0; i < 16; i += 2) {
    t[i] = intreccia_1(v[i], v[i + 1], false, S);
    t[i + 1] = intreccia_1(v[i], v[i + 1], true, S);
  }
  for (int i = 0; i < 16; i += 4)
    for (int j = 0; j < 2; ++j) {
      u[i + 2 * j] = intreccia_2(t[i + j], t[i + j + 2], false, S);
      u[i + 2 * j + 1] = intreccia_2(t[i + j], t[i + j + 2], true, S);
    }
  // u[4k + j] holds, in its 128-bit lane l, column 4l + j of rows 4k .. 4k + 3.
  for (int j = 0; j < 4; ++j) {
    const VF ab0 = corsie_alterne(u[j], u[4 + j], false, S), ab1 = corsie_alterne(u[j], u[4 + j], true, S);
    const VF cd0 = corsie_alterne(u[8 + j], u[12 + j], false, S), cd1 = corsie_alterne(u[8 + j], u[12 + j], true, S);
    v[j] = corsie_alterne(ab0, cd0, false, S);
    v[j + 8] = corsie_alterne(ab0, cd0, true, S);
    v[j + 4] = corsie_alterne(ab1, cd1, false, S);
    v[j + 12] = corsie_alterne(ab1, cd1, true, S);
  }
#else
  scambia_blocchi<1>(v);
  scambia_blocchi<2>(v);
  if constexpr (N > 4) scambia_blocchi<4>(v);
#endif
}

// Lanes picked from one vector by index (each below N), or from two (below 2N).
NUCLEO VF scegli(VF v, VI indici) { return __builtin_shuffle(v, indici); }
NUCLEO VF scegli(VF a, VF b, VI indici) { return __builtin_shuffle(a, b, indici); }

// Whether every lane of a comparison's result is false.
NUCLEO bool nessuna(VI m) {
#if VARNO_CORSIE == 16
  return _mm512_test_epi32_mask(reinterpret_cast<__m512i>(m), reinterpret_cast<__m512i>(m)) == 0;
#elif VARNO_CORSIE == 8
  return _mm256_testz_si256(reinterpret_cast<__m256i>(m), reinterpret_cast<__m256i>(m)) != 0;
#else
  return _mm_movemask_epi8(reinterpret_cast<__m128i>(m)) == 0;
#endif
}

}  // namespace
}  // namespace varno
