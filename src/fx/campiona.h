// Pieces that several stages share: the per-pixel loop over a frame, the
// highlight ramp, the detail limiter, the ratio-and-clamp body, block
// reduction, the uncentred bilinear enlargement and the screen blend.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "fx/fx.h"
#include "render/parallelo.h"
#include "tipi.h"

namespace varno {

// Calls corpo(i) for every pixel index of the frame, rows spread over threads.
template <class Corpo>
void per_pixel(const Quadro& q, Corpo&& corpo) {
  const size_t w = static_cast<size_t>(q.larghezza);
  parallel_for(static_cast<uint64_t>(q.altezza), [&](uint64_t y) {
    const size_t base = static_cast<size_t>(y) * w;
    for (size_t i = base; i < base + w; ++i) corpo(i);
  });
}

// Highlight ramp: (l - inizio) / ampiezza held to 0..1, a NaN to 0. Each
// stage gives it its own shape.
inline float rampa(float l, float inizio, float ampiezza) {
  const float t = (l - inizio) / ampiezza;
  return t > 0.0f ? (t < 1.0f ? t : 1.0f) : 0.0f;
}

// Rational stand-in for tanh(d)/3 that meets +-1/3 with zero slope at d = +-3.
inline float dettaglio(float differenza) {
  const float d = differenza * 3.0f;
  if (d > 3.0f) return 0.33333334f;
  if (d < -3.0f) return -0.33333334f;
  return ((d * d + 27.0f) * d / (d * d * 9.0f + 27.0f)) / 3.0f;
}

// A new luminance n carried to the pixel's channels as a ratio to the old one,
// l, so their proportions hold until one clamps: n held to 1e-6..1, the divisor
// to at least 1e-6 (a black pixel keeps ratio 1), each channel to 0..1.
inline void porta_rapporto(float* p, float l, float n) {
  n = n > 0.000001f ? std::min(n, 1.0f) : 0.000001f;
  const float r = n / std::max(0.000001f, l);
  for (int c = 0; c < 3; ++c) p[c] = limita01(p[c] * r);
}

// Mean of each riduzione x riduzione block (row after row), counting only the
// samples inside the plane. dst must hold w2 * h2 floats.
inline void riduci_blocchi(const Piano& src, int32_t larghezza, int32_t altezza, int32_t riduzione, Piano& dst,
                           int32_t w2, int32_t h2) {
  parallel_for(static_cast<uint64_t>(h2), [&](uint64_t yy) {
    const int64_t Y = static_cast<int64_t>(yy);
    for (int64_t X = 0; X < w2; ++X) {
      float somma = 0.0f;
      int32_t conta = 0;
      for (int64_t y = Y * riduzione; y < (Y + 1) * riduzione && y < altezza; ++y)
        for (int64_t x = X * riduzione; x < (X + 1) * riduzione && x < larghezza; ++x) {
          somma += src[static_cast<size_t>(y * larghezza + x)];
          ++conta;
        }
      dst[static_cast<size_t>(Y * w2 + X)] = somma / static_cast<float>(conta > 1 ? conta : 1);
    }
  });
}

// Sample of a reduced plane at full-size pixel (x, y): copy sample k stands at
// full-size position k * riduzione, with no half-pixel correction; past the
// last sample the edge value is held.
inline float campiona_ridotta(const Piano& p, int32_t w2, int32_t h2, int64_t x, int64_t y, int32_t riduzione) {
  const float fy = static_cast<float>(y) / static_cast<float>(riduzione);
  int64_t y0 = static_cast<int64_t>(fy);
  if (y0 > h2 - 1) y0 = h2 - 1;
  const int64_t y1 = y0 + 1 < h2 - 1 ? y0 + 1 : h2 - 1;
  const float ty = fy - static_cast<float>(y0);
  const float fx = static_cast<float>(x) / static_cast<float>(riduzione);
  int64_t x0 = static_cast<int64_t>(fx);
  if (x0 > w2 - 1) x0 = w2 - 1;
  const int64_t x1 = x0 + 1 < w2 - 1 ? x0 + 1 : w2 - 1;
  const float tx = fx - static_cast<float>(x0);
  const float* r0 = &p[static_cast<size_t>(y0 * w2)];
  const float* r1 = &p[static_cast<size_t>(y1 * w2)];
  return (r0[x0] * (1.0f - tx) + r0[x1] * tx) * (1.0f - ty) + (r1[x0] * (1.0f - tx) + r1[x1] * tx) * ty;
}

// Screen of h over c.
inline float schermo(float h, float c) { return 1.0f - (1.0f - h) * (1.0f - c); }

}  // namespace varno
