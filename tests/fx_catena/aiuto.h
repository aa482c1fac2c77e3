// Helpers shared by the chain's tests.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "fx/fx.h"

namespace aiuto {

using varno::Immagine;

// n random floats in [lo, hi): a plane, or an RGB picture with n = 3 * pixels.
inline std::vector<float> casuali(size_t n, uint32_t seme, float lo = 0.0f, float hi = 1.0f) {
  std::mt19937 gen(seme);
  std::uniform_real_distribution<float> d(lo, hi);
  std::vector<float> v(n);
  for (auto& x : v) x = d(gen);
  return v;
}

inline Immagine piatta(int w, int h, float r, float g, float b) {
  Immagine img;
  for (int i = 0; i < w * h; ++i) img.insert(img.end(), {r, g, b});
  return img;
}

inline varno::Piano luma_di(const Immagine& img, const varno::Quadro& q) {
  varno::Piano l(static_cast<size_t>(q.larghezza) * static_cast<size_t>(q.altezza), 0.0f);
  varno::aggiorna_luma(img, l, q);
  return l;
}

// Every stage on at a strong amount.
inline varno::FxRicetta tutto(int32_t punte) {
  varno::FxRicetta r;
  r.enhance = r.halation = r.bloom = r.streak = r.ca = r.vignetta = r.grana = 0.6f;
  r.pelle = r.promist = r.mistw = r.glimmer = 0.55f;
  r.stella = 1.0f;
  r.fotogramma = -11;
  r.punte = punte;
  return r;
}

inline bool stessi_bit(const Immagine& a, const Immagine& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// Slow double-precision blur: block means of the samples inside, three direct-sum
// passes with replicated ends (both ways or horizontal), copy sample k at k * f.
using Rif = std::vector<double>;

inline Rif passata_rif(const Rif& in, int w, int h, int r, bool orizz) {
  Rif out(in.size());
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      for (int k = -r; k <= r; ++k)
        out[y * w + x] += (orizz ? in[y * w + std::clamp(x + k, 0, w - 1)] : in[std::clamp(y + k, 0, h - 1) * w + x]) / (2 * r + 1);
  return out;
}

inline Rif blur_rif(const Rif& p, int w, int h, int r, int f, bool solo_orizz) {
  const int w2 = std::max(1, w / f), h2 = std::max(1, h / f), r2 = std::max(1, r / f);
  Rif c(static_cast<size_t>(w2 * h2)), n(c.size()), out(p.size());
  for (int y = 0; y < std::min(h, h2 * f); ++y)
    for (int x = 0; x < std::min(w, w2 * f); ++x) {
      c[y / f * w2 + x / f] += p[y * w + x];
      n[y / f * w2 + x / f] += 1;
    }
  for (size_t i = 0; i < c.size(); ++i) c[i] /= n[i];
  for (int i = 0; i < 3; ++i) {
    c = passata_rif(c, w2, h2, r2, true);
    if (!solo_orizz) c = passata_rif(c, w2, h2, r2, false);
  }
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const int y0 = std::min(h2 - 1, y / f), x0 = std::min(w2 - 1, x / f);
      const int y1 = std::min(h2 - 1, y0 + 1), x1 = std::min(w2 - 1, x0 + 1);
      const double ty = static_cast<double>(y) / f - y0, tx = static_cast<double>(x) / f - x0;
      out[y * w + x] = (1 - ty) * ((1 - tx) * c[y0 * w2 + x0] + tx * c[y0 * w2 + x1]) +
                       ty * ((1 - tx) * c[y1 * w2 + x0] + tx * c[y1 * w2 + x1]);
    }
  return out;
}

}  // namespace aiuto
