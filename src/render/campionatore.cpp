#include "render/campionatore.h"

#include "render/cpu.h"

namespace varno {

namespace {

// Position on an axis: inside 0..1 scaled, 1 and above on the last point,
// anything else (NaN included) on the first.
inline float posizione(float v, float f) {
  if (v > 0.0f && v < 1.0f) return v * f;
  if (v >= 1.0f) return f;
  return 0.0f;
}

}  // namespace

void campiona_pixel(const Lut3D& lut, const float* px, float* rgb) {
  const int32_t N = lut.N;
  const float* S = lut.dati.data();
  const int32_t ultimo = N - 1;
  const float f = static_cast<float>(ultimo);
  const float pr = posizione(px[0], f), pg = posizione(px[1], f), pb = posizione(px[2], f);
  const int32_t r0 = static_cast<int32_t>(pr), g0 = static_cast<int32_t>(pg), b0 = static_cast<int32_t>(pb);
  const int32_t r1 = r0 + 1 < ultimo ? r0 + 1 : ultimo;
  const int32_t g1 = g0 + 1 < ultimo ? g0 + 1 : ultimo;
  const int32_t b1 = b0 + 1 < ultimo ? b0 + 1 : ultimo;
  const float tr = pr - static_cast<float>(r0), tg = pg - static_cast<float>(g0), tb = pb - static_cast<float>(b0);
  const auto campione = [&](int32_t i, int32_t j, int32_t k) {
    return S + ((static_cast<int64_t>(k) * N + j) * N + i) * 3;
  };
  const float* s000 = campione(r0, g0, b0);
  const float* s100 = campione(r1, g0, b0);
  const float* s010 = campione(r0, g1, b0);
  const float* s110 = campione(r1, g1, b0);
  const float* s001 = campione(r0, g0, b1);
  const float* s101 = campione(r1, g0, b1);
  const float* s011 = campione(r0, g1, b1);
  const float* s111 = campione(r1, g1, b1);
  for (int c = 0; c < 3; ++c) {
    const float c00 = s000[c] * (1.0f - tr) + s100[c] * tr;
    const float c10 = s010[c] * (1.0f - tr) + s110[c] * tr;
    const float c01 = s001[c] * (1.0f - tr) + s101[c] * tr;
    const float c11 = s011[c] * (1.0f - tr) + s111[c] * tr;
    const float c0 = c00 * (1.0f - tg) + c10 * tg;
    const float c1 = c01 * (1.0f - tg) + c11 * tg;
    rgb[c] = c0 * (1.0f - tb) + c1 * tb;
  }
}

void campiona_riga(const Lut3D& lut, const float* s, int64_t n, float* rgb, float* alfa) {
  switch (isa_attiva()) {
    case Isa::avx512: return interno::campiona_riga_avx512(lut, s, n, rgb, alfa);
    case Isa::avx2: return interno::campiona_riga_avx2(lut, s, n, rgb, alfa);
    default: return interno::campiona_riga_sse2(lut, s, n, rgb, alfa);
  }
}

void campiona_riga_rgba(const Lut3D& lut, const float* s, int64_t n, float* rgba) {
  switch (isa_attiva()) {
    case Isa::avx512: return interno::campiona_riga_rgba_avx512(lut, s, n, rgba);
    case Isa::avx2: return interno::campiona_riga_rgba_avx2(lut, s, n, rgba);
    default: return interno::campiona_riga_rgba_sse2(lut, s, n, rgba);
  }
}

}  // namespace varno
