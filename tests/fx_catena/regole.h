// The effect chain as its rules state it, one pixel and one sample at a time
// in 32-bit float, in the rules' order: what every kernel variant must match.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "fx/fx.h"

namespace regola {

using varno::FxRicetta;
using varno::Quadro;
using Piano = std::vector<float>;
using Immagine = std::vector<float>;

inline float luma(const float* p) { return p[0] * 0.2126f + p[1] * 0.7152f + p[2] * 0.0722f; }
inline float limita(float v) { return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f; }
inline float schermo(float h, float c) { return 1.0f - (1.0f - h) * (1.0f - c); }
inline float rampa(float l, float inizio, float ampiezza) {
  float t = (l - inizio) / ampiezza;
  if (!(t > 0.0f)) t = 0.0f;
  if (!(t < 1.0f)) t = 1.0f;
  return t;
}
inline Piano luma_di(const Immagine& img) {
  Piano l(img.size() / 3);
  for (size_t i = 0; i < l.size(); ++i) l[i] = luma(&img[i * 3]);
  return l;
}

// One running-sum pass along a line of n samples `passo` apart.
inline void passata(const float* in, float* out, int64_t n, int64_t passo, int64_t r) {
  auto a = [&](int64_t i) { return in[std::clamp<int64_t>(i, 0, n - 1) * passo]; };
  float s = 0.0f;
  for (int64_t k = -r; k <= r; ++k) s += a(k);
  for (int64_t x = 0; x < n; ++x) {
    out[x * passo] = s / static_cast<float>(2 * r + 1);
    s = s + (a(x + r + 1) - a(x - r));
  }
}

inline void box(Piano& p, int64_t w, int64_t h, int64_t r) {
  if (r < 1) return;
  Piano t(p.size());
  for (int i = 0; i < 3; ++i) {
    for (int64_t y = 0; y < h; ++y) passata(&p[y * w], &t[y * w], w, 1, r);
    for (int64_t x = 0; x < w; ++x) passata(&t[x], &p[x], h, w, r);
  }
}

struct Ridotta {
  Piano c;
  int64_t w2, h2;
  int32_t f;
};

inline Ridotta riduci(const Piano& p, int64_t w, int64_t h, int32_t f) {
  Ridotta r{{}, std::max<int64_t>(1, w / f), std::max<int64_t>(1, h / f), f};
  r.c.resize(static_cast<size_t>(r.w2 * r.h2));
  for (int64_t Y = 0; Y < r.h2; ++Y)
    for (int64_t X = 0; X < r.w2; ++X) {
      float s = 0.0f;
      int n = 0;
      for (int64_t y = Y * f; y < (Y + 1) * f && y < h; ++y)
        for (int64_t x = X * f; x < (X + 1) * f && x < w; ++x, ++n) s += p[y * w + x];
      r.c[Y * r.w2 + X] = s / static_cast<float>(std::max(1, n));
    }
  return r;
}

// Sample k of the copy stands at k * f; past the last one the edge is held.
inline float campiona(const Ridotta& r, int64_t x, int64_t y) {
  const float fy = static_cast<float>(y) / static_cast<float>(r.f);
  const int64_t y0 = std::min<int64_t>(r.h2 - 1, static_cast<int64_t>(fy)), y1 = std::min(r.h2 - 1, y0 + 1);
  const float ty = fy - static_cast<float>(y0);
  const float fx = static_cast<float>(x) / static_cast<float>(r.f);
  const int64_t x0 = std::min<int64_t>(r.w2 - 1, static_cast<int64_t>(fx)), x1 = std::min(r.w2 - 1, x0 + 1);
  const float tx = fx - static_cast<float>(x0);
  const float* a = &r.c[y0 * r.w2];
  const float* b = &r.c[y1 * r.w2];
  return ((1.0f - tx) * b[x0] + tx * b[x1]) * ty + ((1.0f - tx) * a[x0] + tx * a[x1]) * (1.0f - ty);
}

inline void ingrandisci(const Ridotta& r, Piano& p, int64_t w, int64_t h) {
  for (int64_t y = 0; y < h; ++y)
    for (int64_t x = 0; x < w; ++x) p[y * w + x] = campiona(r, x, y);
}

inline void blur_ridotta(Piano& p, int64_t w, int64_t h, int32_t r, int32_t f) {
  if (f < 2) return box(p, w, h, r);
  Ridotta c = riduci(p, w, h, f);
  box(c.c, c.w2, c.h2, std::max(1, r / f));
  ingrandisci(c, p, w, h);
}

inline void blur_orizz(Piano& p, int64_t w, int64_t h, int32_t r, int32_t f) {
  f = std::max(1, f);
  Ridotta c = riduci(p, w, h, f);
  Piano t(c.c.size());
  for (int i = 0; i < 3; ++i) {
    for (int64_t y = 0; y < c.h2; ++y) passata(&c.c[y * c.w2], &t[y * c.w2], c.w2, 1, std::max(1, r / f));
    std::swap(c.c, t);
  }
  ingrandisci(c, p, w, h);
}

// --- The stages ----------------------------------------------------------------

inline void dettaglio(Immagine& img, const Piano& l, const Quadro& q, int32_t raggio, float quanto, bool enhance) {
  Piano b = l;
  box(b, q.larghezza, q.altezza, std::max(1, raggio));
  for (size_t i = 0; i < l.size(); ++i) {
    const float d = (l[i] - b[i]) * 3.0f;
    const float t = d > 3.0f ? 0.33333334f : d < -3.0f ? -0.33333334f : ((d * d + 27.0f) * d / (d * d * 9.0f + 27.0f)) / 3.0f;
    float n = enhance ? l[i] + 2.0f * (t * quanto) : l[i] - t * quanto * 1.6f;
    n = n > 0.000001f ? (n < 1.0f ? n : 1.0f) : 0.000001f;
    const float k = n / (l[i] > 0.000001f ? l[i] : 0.000001f);
    for (int c = 0; c < 3; ++c) img[i * 3 + c] = limita(img[i * 3 + c] * k);
  }
}

// The glows: a mask from luma, blurred, and a per-pixel blend of it.
template <class Maschera, class Fondi>
void bagliore(Immagine& img, const Piano& l, const Quadro& q, Maschera m, int32_t raggio, int32_t f, bool orizz,
              Fondi fondi) {
  Piano p(l.size());
  for (size_t i = 0; i < l.size(); ++i) p[i] = m(l[i]);
  (orizz ? blur_orizz : blur_ridotta)(p, q.larghezza, q.altezza, raggio, f);
  for (size_t i = 0; i < l.size(); ++i) fondi(&img[i * 3], p[i]);
}

inline int32_t raggio_nebbia(const Quadro& q) { return std::max(3, varno::arrotonda_raggio(0.035 * q.lato_max)); }

inline void nebbia(Immagine& img, const Piano& l, const Quadro& q, float quanto, bool bianca) {
  const int32_t r = raggio_nebbia(q), f = std::max(2, q.riduzione);
  const size_t n = l.size();
  Piano velo = l;
  float media = 0.0f;
  if (bianca) {
    blur_ridotta(velo, q.larghezza, q.altezza, r, f);
    double s = 0.0;
    for (float v : l) s += static_cast<double>(v);
    media = static_cast<float>(s / static_cast<double>(n));
    for (float& v : velo) v = v * 0.5f + media * 0.5f;
  }
  Piano alone[3];
  for (int c = 0; c < 3; ++c) {
    alone[c].resize(n);
    for (size_t i = 0; i < n; ++i) {
      const float t = bianca ? (l[i] - 0.35f) / 0.65f : (l[i] - 0.45f) / 0.55f;
      const float peso = t > 0.0f ? (t >= 1.0f ? 1.0f : t * t) : 0.0f;
      alone[c][i] = img[i * 3 + c] * peso;
    }
    blur_ridotta(alone[c], q.larghezza, q.altezza, r, f);
  }
  for (size_t i = 0; i < n; ++i)
    for (int c = 0; c < 3; ++c) {
      float& v = img[i * 3 + c];
      if (!bianca) {
        v = schermo(std::min(alone[c][i] * quanto * 1.5f, 1.0f), v);
        continue;
      }
      const float s = schermo(std::min(alone[c][i] * quanto * 1.3f, 1.0f), v);
      const float w = quanto * 0.22f * velo[i];
      v = limita(s + w * (1.0f - s));
    }
}

inline void stella(Immagine& img, const Piano& l, const Quadro& q, float quanto, int32_t punte) {
  const int64_t w = q.larghezza, h = q.altezza, f = q.riduzione;
  Piano m(l.size());
  for (size_t i = 0; i < l.size(); ++i) {
    const float t = (l[i] - 0.85f) / 0.15f;
    m[i] = t > 0.0f ? (t >= 1.0f ? l[i] : t * t * l[i]) : 0.0f;
  }
  const Ridotta r = riduci(m, w, h, static_cast<int32_t>(f));
  const int32_t direzioni = punte >= 8 ? 4 : (punte >= 6 ? 3 : 2);
  const float angolo0 = punte == 4 ? 0.7853982f : 0.0f;
  const int64_t mezza = std::max(3L, std::lround((static_cast<double>(w) * 0.09) / static_cast<double>(f)));
  float totale = 0.0f;
  for (int64_t k = -mezza; k <= mezza; ++k) totale += 1.0f - static_cast<float>(std::abs(k)) / static_cast<float>(mezza + 1);
  Ridotta a{Piano(r.c.size(), 0.0f), r.w2, r.h2, r.f};
  for (int32_t d = 0; d < direzioni; ++d) {
    const float th = static_cast<float>(d) * 3.1415927f / static_cast<float>(direzioni) + angolo0;
    const float s = std::sin(th), c = std::cos(th);
    for (int64_t y = 0; y < r.h2; ++y)
      for (int64_t x = 0; x < r.w2; ++x) {
        float somma = 0.0f;
        for (int64_t k = -mezza; k <= mezza; ++k) {
          const int64_t tx = x + std::lround(static_cast<float>(k) * c), ty = y + std::lround(static_cast<float>(k) * s);
          if (tx < 0 || ty < 0 || tx >= r.w2 || ty >= r.h2) continue;
          somma += (1.0f - static_cast<float>(std::abs(k)) / static_cast<float>(mezza + 1)) * r.c[ty * r.w2 + tx];
        }
        a.c[y * r.w2 + x] += somma / totale;
      }
  }
  for (int64_t y = 0; y < h; ++y)
    for (int64_t x = 0; x < w; ++x) {
      const float v = std::min(campiona(a, x, y) * quanto * 2.4f, 1.0f);
      for (int c = 0; c < 3; ++c) img[(y * w + x) * 3 + c] = schermo(v, img[(y * w + x) * 3 + c]);
    }
}

inline void aberrazione(Immagine& img, const Quadro& q, float quanto) {
  const int64_t w = q.larghezza, h = q.altezza;
  const Immagine copia = img;
  const float cx = static_cast<float>(w) * 0.5f, cy = static_cast<float>(h) * 0.5f;
  const float lx = static_cast<float>(w) - 1.001f, ly = static_cast<float>(h) - 1.001f;
  auto tieni = [](float v, float lim) { return std::min(v >= 0.0f ? v : 0.0f, lim); };
  auto campione = [&](float sx, float sy, int c) {
    const int64_t ix = std::min<int64_t>(static_cast<int64_t>(sx), w - 1), iy = std::min<int64_t>(static_cast<int64_t>(sy), h - 1);
    const float tx = sx - static_cast<float>(ix), ty = sy - static_cast<float>(iy);
    const int64_t ix1 = std::min(ix + 1, w - 1), iy1 = std::min(iy + 1, h - 1);
    auto at = [&](int64_t yy, int64_t xx) { return copia[(yy * w + xx) * 3 + c]; };
    return (at(iy, ix) * (1.0f - tx) + at(iy, ix1) * tx) * (1.0f - ty) + (at(iy1, ix) * (1.0f - tx) + at(iy1, ix1) * tx) * ty;
  };
  for (int64_t y = 0; y < h; ++y)
    for (int64_t x = 0; x < w; ++x) {
      const float dx = static_cast<float>(x) - cx, dy = static_cast<float>(y) - cy;
      const float k = ((dx / cx) * (dx / cx) + (dy / cy) * (dy / cy)) * (quanto * 0.008f);
      float* p = &img[(y * w + x) * 3];
      p[0] = campione(tieni(dx * (1.0f - k) + cx, lx), tieni(dy * (1.0f - k) + cy, ly), 0);
      p[2] = campione(tieni(dx * (1.0f + k) + cx, lx), tieni(dy * (1.0f + k) + cy, ly), 2);
    }
}

inline void vignetta(Immagine& img, const Quadro& q, float quanto) {
  const auto m = varno::vignetta_mask(q.larghezza, q.altezza);
  for (size_t i = 0; i < m->size(); ++i)
    for (int c = 0; c < 3; ++c) img[i * 3 + c] = limita(img[i * 3 + c] * (1.0f - (*m)[i] * quanto));
}

inline void grana(Immagine& img, const Quadro& q, float quanto, int32_t fotogramma) {
  const int64_t w = q.larghezza, h = q.altezza;
  Ridotta r{{}, (w + 1) / 2, (h + 1) / 2, 2};
  r.c.resize(static_cast<size_t>(r.w2 * r.h2));
  const uint32_t f = static_cast<uint32_t>(fotogramma);
  for (int64_t y = 0; y < r.h2; ++y)
    for (int64_t x = 0; x < r.w2; ++x) {
      const uint32_t ux = static_cast<uint32_t>(x), uy = static_cast<uint32_t>(y);
      r.c[y * r.w2 + x] = varno::hash_grana(ux, uy, f) + varno::hash_grana(ux + 7919u, uy + 104729u, f) - 1.0f;
    }
  for (int64_t y = 0; y < h; ++y)
    for (int64_t x = 0; x < w; ++x) {
      float* p = &img[(y * w + x) * 3];
      const float l = luma(p);
      const float d = campiona(r, x, y) * quanto * 0.14f * (l * (1.0f - l) * 4.0f);
      for (int c = 0; c < 3; ++c) p[c] = limita(p[c] + d);
    }
}

// Stage i of the chain (in its order) on img, reading luma l.
inline void stadio(int i, Immagine& img, const Piano& l, const Quadro& q, const FxRicetta& r) {
  const int32_t lato = q.lato_max;
  switch (i) {
    case 0: return dettaglio(img, l, q, q.raggio_enhance, r.enhance, true);
    case 1: return dettaglio(img, l, q, varno::arrotonda_raggio(0.007 * lato), r.pelle, false);
    case 2:
      return bagliore(img, l, q, [](float v) { return std::pow(rampa(v, 0.62f, 0.38f), 1.6f); }, std::max(2, q.raggio_halation),
                      q.riduzione, false, [&](float* p, float m) {
                        const float a = m * r.halation, peso[3] = {1.0f, 0.36f, 0.12f};
                        for (int c = 0; c < 3; ++c) p[c] = schermo(std::min(peso[c] * a, 1.0f), p[c]);
                      });
    case 3:
      return bagliore(img, l, q, [](float v) { const float t = rampa(v, 0.72f, 0.28f); return v * t * t; },
                      std::max(1, q.raggio_bloom), q.riduzione, false, [&](float* p, float m) {
                        const float s = std::min(r.bloom * m, 1.0f);
                        for (int c = 0; c < 3; ++c) p[c] = schermo(s, p[c]);
                      });
    case 4:
      return bagliore(img, l, q, [](float v) { const float t = rampa(v, 0.8f, 0.2f); return t * t * v; },
                      std::max(4, varno::arrotonda_raggio(0.1 * q.larghezza)), q.riduzione, true, [&](float* p, float m) {
                        const float s = std::min(m * r.streak * 2.2f, 1.0f), peso[3] = {0.3f, 0.55f, 1.0f};
                        for (int c = 0; c < 3; ++c) p[c] = schermo(peso[c] * s, p[c]);
                      });
    case 5: return nebbia(img, l, q, r.promist, false);
    case 6: return stella(img, l, q, r.stella, r.punte);
    case 7: return nebbia(img, l, q, r.mistw, true);
    case 8:
      return bagliore(img, l, q,
                      [](float v) { const float t = (v - 0.55f) / 0.45f; return t > 0.0f ? (t >= 1.0f ? v : v * t) : 0.0f; },
                      std::max(2, varno::arrotonda_raggio(0.008 * lato)), q.riduzione, false, [&](float* p, float m) {
                        const float s = std::min(m * r.glimmer * 1.4f, 1.0f);
                        for (int c = 0; c < 3; ++c) p[c] = schermo(s, p[c]);
                      });
    case 9: return aberrazione(img, q, r.ca);
    case 10: return vignetta(img, q, r.vignetta);
    default: return grana(img, q, r.grana, r.fotogramma);
  }
}

inline float quanto(int i, const FxRicetta& r) {
  const float v[12] = {r.enhance, r.pelle,   r.halation, r.bloom, r.streak,   r.promist,
                       r.stella,  r.mistw,   r.glimmer,  r.ca,    r.vignetta, r.grana};
  return v[i];
}

// The chain: luma filled at the start and refreshed after every stage that
// reads it, but bloom.
inline void catena(Immagine& img, int32_t w, int32_t h, const FxRicetta& r) {
  const Quadro q = varno::calcola_quadro(w, h);
  Piano l = luma_di(img);
  for (int i = 0; i < 12; ++i) {
    if (!(quanto(i, r) > 0.0f)) continue;
    stadio(i, img, l, q, r);
    if (i < 9 && i != 3) l = luma_di(img);
  }
}

}  // namespace regola
