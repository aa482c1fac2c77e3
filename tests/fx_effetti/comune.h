// Small helpers shared by the effect tests: frames, luma, thread count.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>

#include "fx/fx.h"
#include "render/parallelo.h"

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

// A frame of uniform noise in lo..hi, the same for a given seed.
inline Fotogramma casuale(int32_t w, int32_t h, uint32_t seme, float lo = 0.0f, float hi = 1.0f) {
  Fotogramma f(w, h, 0.0f, 0.0f, 0.0f);
  std::mt19937 gen(seme);
  std::uniform_real_distribution<float> dist(lo, hi);
  for (float& v : f.img) v = dist(gen);
  f.aggiorna();
  return f;
}

inline bool stessi_bit(const Immagine& a, const Immagine& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// Forces a hardware thread count for the life of the object.
struct ConThread {
  explicit ConThread(unsigned n) { imposta_thread_hardware(n); }
  ~ConThread() { imposta_thread_hardware(0); }
  ConThread(const ConThread&) = delete;
  ConThread& operator=(const ConThread&) = delete;
};

}  // namespace varno::prova
