#include "fx/blur.h"

#include <cstddef>
#include <utility>

#include "fx/campiona.h"
#include "render/parallelo.h"

namespace varno {

namespace {

// One running-sum pass over a line of n samples read at stride `passo` from
// src and written at the same stride into dst. The window never shrinks at the
// edges: positions past an end read the end sample, also when the window is
// wider than the line. The sum is carried in single precision along the whole
// line and never refreshed, so its drift is part of the result.
inline void passata(const float* src, float* dst, int64_t n, int64_t passo, int64_t raggio) {
  const float finestra = static_cast<float>(2 * raggio + 1);
  const int64_t ultimo = n - 1;
  float somma = 0.0f;
  for (int64_t k = -raggio; k <= raggio; ++k) {
    const int64_t i = k < 0 ? 0 : (k > ultimo ? ultimo : k);
    somma += src[i * passo];
  }
  for (int64_t x = 0; x < n; ++x) {
    dst[x * passo] = somma / finestra;
    const int64_t entra = x + raggio + 1 < ultimo ? x + raggio + 1 : ultimo;
    const int64_t esce = x - raggio > 0 ? x - raggio : 0;
    somma = somma + (src[entra * passo] - src[esce * passo]);
  }
}

// Sizes of the reduced copy: integer division, at least one sample per axis.
inline int32_t lato_ridotto(int32_t lato, int32_t riduzione) {
  const int32_t r = lato / riduzione;
  return r > 1 ? r : 1;
}

// Bilinear enlargement of the reduced copy back over the whole plane.
void ingrandisci(const Piano& copia, int32_t w2, int32_t h2, Piano& piano, int32_t larghezza, int32_t altezza,
                 int32_t riduzione) {
  const int64_t w = larghezza;
  parallel_for(static_cast<uint64_t>(altezza), [&](uint64_t yy) {
    const int64_t y = static_cast<int64_t>(yy);
    float* riga = &piano[static_cast<size_t>(y * w)];
    for (int64_t x = 0; x < w; ++x) riga[x] = campiona_ridotta(copia, w2, h2, x, y, riduzione);
  });
}

}  // namespace

void box_blur(Piano& piano, int32_t larghezza, int32_t altezza, int32_t raggio, int32_t passate) {
  if (raggio < 1 || larghezza < 1 || altezza < 1 || passate < 1) return;
  const int64_t w = larghezza;
  const int64_t h = altezza;
  const int64_t r = raggio;
  Piano scratch(static_cast<size_t>(w * h), 0.0f);
  float* p = piano.data();
  float* s = scratch.data();
  for (int32_t i = 0; i < passate; ++i) {
    parallel_for(static_cast<uint64_t>(h), [&](uint64_t y) {
      const int64_t base = static_cast<int64_t>(y) * w;
      passata(p + base, s + base, w, 1, r);
    });
    parallel_for(static_cast<uint64_t>(w), [&](uint64_t x) {
      passata(s + static_cast<int64_t>(x), p + static_cast<int64_t>(x), h, w, r);
    });
  }
}

void blur_su_ridotta(Piano& piano, int32_t larghezza, int32_t altezza, int32_t raggio, int32_t riduzione) {
  if (riduzione < 2) {
    box_blur(piano, larghezza, altezza, raggio, 3);
    return;
  }
  if (larghezza < 1 || altezza < 1) return;
  const int32_t w2 = lato_ridotto(larghezza, riduzione);
  const int32_t h2 = lato_ridotto(altezza, riduzione);
  Piano copia(static_cast<size_t>(static_cast<int64_t>(w2) * h2), 0.0f);
  riduci_blocchi(piano, larghezza, altezza, riduzione, copia, w2, h2);
  const int32_t r2 = raggio / riduzione;
  box_blur(copia, w2, h2, r2 > 1 ? r2 : 1, 3);
  ingrandisci(copia, w2, h2, piano, larghezza, altezza, riduzione);
}

void blur_orizz_su_ridotta(Piano& piano, int32_t larghezza, int32_t altezza, int32_t raggio,
                           int32_t riduzione) {
  // The streak goes through a copy even at factor 1; a factor below 1 has no
  // meaning and is taken as 1 rather than divided by.
  if (riduzione < 1) riduzione = 1;
  if (larghezza < 1 || altezza < 1) return;
  const int32_t w2 = lato_ridotto(larghezza, riduzione);
  const int32_t h2 = lato_ridotto(altezza, riduzione);
  const size_t n2 = static_cast<size_t>(static_cast<int64_t>(w2) * h2);
  Piano copia(n2, 0.0f);
  Piano altra(n2, 0.0f);
  riduci_blocchi(piano, larghezza, altezza, riduzione, copia, w2, h2);
  const int32_t r2q = raggio / riduzione;
  const int64_t r2 = r2q > 1 ? r2q : 1;
  const int64_t w = w2;
  for (int i = 0; i < 3; ++i) {
    const float* src = copia.data();
    float* dst = altra.data();
    parallel_for(static_cast<uint64_t>(h2), [&](uint64_t y) {
      const int64_t base = static_cast<int64_t>(y) * w;
      passata(src + base, dst + base, w, 1, r2);
    });
    std::swap(copia, altra);
  }
  ingrandisci(copia, w2, h2, piano, larghezza, altezza, riduzione);
}

}  // namespace varno
