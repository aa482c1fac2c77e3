#include <algorithm>
#include <cmath>

#include "colore/colore.h"

namespace varno {

namespace {

// The raw rational curve with its shoulder s.
inline float grezza(float x, float s) {
  const float a = s * 2.51f;
  const float b = s * 2.43f;
  return ((x * a + 0.03f) * x) / ((x * b + 0.59f) * x + 0.14f);
}

// Mapped value of a scalar v >= 0.
inline float mappa(float v, const Curva& k) {
  const float x = v * k.scala;
  float y = grezza(x, k.spalla) / k.norma;
  y = std::max(1e-9f, y) / std::max(1e-9f, k.grigio);
  // The pivot is the raw grigio, not the floored one. y is positive and finite
  // here, and powf(y, 1) is y exactly: the neutral curve needs no call.
  y = (k.contrasto != 1.0f ? powf(y, k.contrasto) : y) * k.grigio;
  if (k.gamma != 1.0f) y = powf(y >= 0.0f ? y : 0.0f, k.gamma);
  return y;
}

}  // namespace

Curva normalizza_curva(float s, float w, float c, float g) {
  // Geometric bisection over eight decades: grey 0.18 must land at 0.409^2.4 of white.
  float lo = 0.0001f;
  float hi = 10000.0f;
  for (int i = 0; i < 60; ++i) {
    const float m = sqrtf(hi * lo);
    const float ratio = grezza(0.18f * m, s) / std::max(1e-12f, grezza(w * m, s));
    if (ratio < 0.11698655f)
      lo = m;
    else
      hi = m;  // also for a ratio that is not a number
  }
  Curva k;
  k.scala = sqrtf(hi * lo);
  k.norma = grezza(w * k.scala, s);
  k.grigio = grezza(0.18f * k.scala, s) / k.norma;
  k.spalla = s;
  k.contrasto = c;
  k.gamma = g;
  return k;
}

RGB tonemap_ratio(RGB c, const Curva& k, float miscela) {
  const float lc = std::max(1e-9f, luminanza(c.r, c.g, c.b));
  const float t = mappa(lc, k);
  // Past 1 the ratio path stops following the curve: a bright colour clips, not the curve.
  const float m = (t > 0.0f && t < 1.0f) ? t : (t >= 1.0f ? 1.0f : 0.0f);
  const float qr = limita01((c.r * m) / lc);
  const float qg = limita01((c.g * m) / lc);
  const float qb = limita01((c.b * m) / lc);
  // Both results are in 0..1, never -0: at miscela 0 the blend gives q to the
  // bit (p * 0 is +0), so the per-channel curve need not run.
  if (miscela == 0.0f) return RGB{qr, qg, qb};
  auto per_canale = [&k](float v) { return limita01(mappa(v >= 0.0f ? v : 0.0f, k)); };
  const float pr = per_canale(c.r);
  const float pg = per_canale(c.g);
  const float pb = per_canale(c.b);
  const float resto = 1.0f - miscela;
  return RGB{pr * miscela + resto * qr, pg * miscela + resto * qg, pb * miscela + resto * qb};
}

}  // namespace varno
