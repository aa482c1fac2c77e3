// Small helpers shared by the chain's tests.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "fx/fx.h"
#include "render/parallelo.h"

namespace aiuto {

// Random RGB picture with channels in [lo, hi).
inline varno::Immagine immagine(int w, int h, uint32_t seme, float lo = 0.0f, float hi = 1.0f) {
  std::mt19937 gen(seme);
  std::uniform_real_distribution<float> d(lo, hi);
  varno::Immagine img(static_cast<size_t>(w) * static_cast<size_t>(h) * 3);
  for (auto& v : img) v = d(gen);
  return img;
}

inline varno::Immagine piatta(int w, int h, float r, float g, float b) {
  varno::Immagine img;
  for (int i = 0; i < w * h; ++i) img.insert(img.end(), {r, g, b});
  return img;
}

inline varno::Piano luma_di(const varno::Immagine& img, const varno::Quadro& q) {
  varno::Piano l(static_cast<size_t>(q.larghezza) * static_cast<size_t>(q.altezza), 0.0f);
  varno::aggiorna_luma(img, l, q);
  return l;
}

// Sets the reported hardware thread count for one scope.
struct Thread {
  explicit Thread(unsigned n) { varno::imposta_thread_hardware(n); }
  ~Thread() { varno::imposta_thread_hardware(0); }
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
};

// Frame-size rules as stated, kept apart from the code under test.
inline int riduzione_attesa(int lato) { return lato < 1920 ? 1 : lato < 3840 ? lato / 960 : 4; }

}  // namespace aiuto
