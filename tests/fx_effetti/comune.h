// Helpers shared by the effect tests: a frame with its size values and luma.
#pragma once

#include <cstdint>
#include <random>

#include "fx/blur.h"
#include "fx/fx.h"

namespace varno::prova {

struct Fotogramma {
  Quadro q;
  Immagine img;
  Piano luma;

  Fotogramma(int32_t w, int32_t h, float r, float g, float b) : q(calcola_quadro(w, h)) {
    const size_t n = static_cast<size_t>(w) * static_cast<size_t>(h);
    img.resize(n * 3);
    for (size_t i = 0; i < n; ++i) {
      img[i * 3 + 0] = r;
      img[i * 3 + 1] = g;
      img[i * 3 + 2] = b;
    }
    luma.resize(n);
    aggiorna();
  }

  float* px(int64_t x, int64_t y) { return &img[static_cast<size_t>((y * q.larghezza + x) * 3)]; }
  void imposta(int64_t x, int64_t y, float r, float g, float b) {
    float* p = px(x, y);
    p[0] = r;
    p[1] = g;
    p[2] = b;
  }
  void aggiorna() { aggiorna_luma(img, luma, q); }
};

// Screen of h over c, as the rules write it.
inline float schermo(float h, float c) { return 1.0f - (1.0f - h) * (1.0f - c); }

// A frame of uniform noise in lo..hi, the same for a given seed.
inline Fotogramma casuale(int32_t w, int32_t h, uint32_t seme, float lo, float hi) {
  Fotogramma f(w, h, 0.0f, 0.0f, 0.0f);
  std::mt19937 gen(seme);
  std::uniform_real_distribution<float> dist(lo, hi);
  for (float& v : f.img) v = dist(gen);
  f.aggiorna();
  return f;
}

// Black frame with a white 5x5 square at a third of each side: a halo
// falls on black, where the output is its screen over 0.
inline Fotogramma quadrato(int32_t w, int32_t h) {
  Fotogramma f(w, h, 0.0f, 0.0f, 0.0f);
  for (int32_t y = h / 3; y < h / 3 + 5 && y < h; ++y)
    for (int32_t x = w / 3; x < w / 3 + 5 && x < w; ++x) f.imposta(x, y, 1.0f, 1.0f, 1.0f);
  f.aggiorna();
  return f;
}

// The highlight plane of a frame under a ramp from `inizio` over `ampiezza`
// (t squared, or luma times t, reaching 1 or luma), blurred with the radius
// and reduction a frame size should give.
inline Piano alone_atteso(const Fotogramma& f, float inizio, float ampiezza, bool quadratico, int32_t raggio,
                          int32_t riduzione) {
  Piano p(f.luma.size());
  for (size_t i = 0; i < p.size(); ++i) {
    const float l = f.luma[i], t = (l - inizio) / ampiezza;
    p[i] = t > 0.0f ? (t >= 1.0f ? (quadratico ? 1.0f : l) : (quadratico ? t * t : l * t)) : 0.0f;
  }
  blur_su_ridotta(p, f.q.larghezza, f.q.altezza, raggio, riduzione);
  return p;
}

}  // namespace varno::prova
