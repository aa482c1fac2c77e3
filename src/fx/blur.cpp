#include "fx/blur.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "fx/campiona.h"
#include "render/parallelo.h"
#include "render/scorta.h"

namespace varno {

namespace {

// One running-sum pass along a row of n samples, from src into dst. The
// window never shrinks at the edges: positions past an end read the end
// sample, also when the window is wider than the line. The sum is carried in single precision along the whole
// line and never refreshed, so its drift is part of the result.
inline void passata(const float* src, float* dst, int64_t n, int64_t raggio) {
  const float finestra = static_cast<float>(2 * raggio + 1);
  const int64_t ultimo = n - 1;
  float somma = 0.0f;
  for (int64_t k = -raggio; k <= raggio; ++k) {
    const int64_t i = k < 0 ? 0 : (k > ultimo ? ultimo : k);
    somma += src[i];
  }
  for (int64_t x = 0; x < n; ++x) {
    dst[x] = somma / finestra;
    const int64_t entra = x + raggio + 1 < ultimo ? x + raggio + 1 : ultimo;
    const int64_t esce = x - raggio > 0 ? x - raggio : 0;
    somma = somma + (src[entra] - src[esce]);
  }
}

// The same pass down a group of n adjacent columns at once: each column gets
// exactly the arithmetic it would get alone, but every row of the group is one
// contiguous read instead of a stride per sample.
constexpr int64_t kGruppoMax = 64;

inline void passata_colonne(const float* src, float* dst, int64_t n, int64_t passo, int64_t raggio,
                            int64_t colonne) {
  const float finestra = static_cast<float>(2 * raggio + 1);
  const int64_t ultimo = n - 1;
  float somma[kGruppoMax];
  for (int64_t j = 0; j < colonne; ++j) somma[j] = 0.0f;
  for (int64_t k = -raggio; k <= raggio; ++k) {
    const float* riga = src + (k < 0 ? 0 : (k > ultimo ? ultimo : k)) * passo;
    for (int64_t j = 0; j < colonne; ++j) somma[j] += riga[j];
  }
  for (int64_t y = 0; y < n; ++y) {
    const int64_t entra = y + raggio + 1 < ultimo ? y + raggio + 1 : ultimo;
    const int64_t esce = y - raggio > 0 ? y - raggio : 0;
    const float* a = src + entra * passo;
    const float* b = src + esce * passo;
    float* d = dst + y * passo;
    for (int64_t j = 0; j < colonne; ++j) {
      d[j] = somma[j] / finestra;
      somma[j] = somma[j] + (a[j] - b[j]);
    }
  }
}

// Sizes of the reduced copy: integer division, at least one sample per axis.
inline int32_t lato_ridotto(int32_t lato, int32_t riduzione) {
  const int32_t r = lato / riduzione;
  return r > 1 ? r : 1;
}

// Bilinear enlargement of the reduced copy back over the whole plane. It gives
// the same bits as campiona_ridotta at every pixel; the columns' sample pairs
// and weights are worked out once per call instead of once per pixel.
void ingrandisci(const Piano& copia, int32_t w2, int32_t h2, Piano& piano, int32_t larghezza, int32_t altezza,
                 int32_t riduzione) {
  const int64_t w = larghezza;
  const float f = static_cast<float>(riduzione);
  std::vector<int64_t> x0(static_cast<size_t>(w)), x1(static_cast<size_t>(w));
  std::vector<float> tx(static_cast<size_t>(w));
  for (int64_t x = 0; x < w; ++x) {
    const float fx = static_cast<float>(x) / f;
    const int64_t a = std::min<int64_t>(w2 - 1, static_cast<int64_t>(fx));
    x0[static_cast<size_t>(x)] = a;
    x1[static_cast<size_t>(x)] = std::min<int64_t>(w2 - 1, a + 1);
    tx[static_cast<size_t>(x)] = fx - static_cast<float>(a);
  }
  parallel_for(static_cast<uint64_t>(altezza), [&](uint64_t yy) {
    const int64_t y = static_cast<int64_t>(yy);
    const float fy = static_cast<float>(y) / f;
    const int64_t y0 = std::min<int64_t>(h2 - 1, static_cast<int64_t>(fy));
    const int64_t y1 = std::min<int64_t>(h2 - 1, y0 + 1);
    const float ty = fy - static_cast<float>(y0);
    const float* r0 = &copia[static_cast<size_t>(y0 * w2)];
    const float* r1 = &copia[static_cast<size_t>(y1 * w2)];
    float* riga = &piano[static_cast<size_t>(y * w)];
    for (int64_t x = 0; x < w; ++x) {
      const int64_t a = x0[static_cast<size_t>(x)], b = x1[static_cast<size_t>(x)];
      const float t = tx[static_cast<size_t>(x)];
      riga[x] = (r0[a] * (1.0f - t) + r0[b] * t) * (1.0f - ty) + (r1[a] * (1.0f - t) + r1[b] * t) * ty;
    }
  });
}

}  // namespace

void box_blur(Piano& piano, int32_t larghezza, int32_t altezza, int32_t raggio, int32_t passate) {
  if (raggio < 1 || larghezza < 1 || altezza < 1 || passate < 1) return;
  const int64_t w = larghezza;
  const int64_t h = altezza;
  const int64_t r = raggio;
  Prestito prestito(static_cast<size_t>(w * h));
  Piano& scratch = *prestito;
  float* p = piano.data();
  float* s = scratch.data();
  // Columns go in groups, but never fewer groups than threads, nor so few
  // that a plane of 16 columns or more would run the pass on one thread.
  const int64_t minimo_gruppi = thread_hardware() > 16 ? thread_hardware() : 16;
  const int64_t gruppo = w / minimo_gruppi < 1 ? 1 : (w / minimo_gruppi > kGruppoMax ? kGruppoMax : w / minimo_gruppi);
  const uint64_t gruppi = static_cast<uint64_t>((w + gruppo - 1) / gruppo);
  for (int32_t i = 0; i < passate; ++i) {
    parallel_for(static_cast<uint64_t>(h), [&](uint64_t y) {
      const int64_t base = static_cast<int64_t>(y) * w;
      passata(p + base, s + base, w, r);
    });
    parallel_for(gruppi, [&](uint64_t g) {
      const int64_t x = static_cast<int64_t>(g) * gruppo;
      passata_colonne(s + x, p + x, h, w, r, x + gruppo < w ? gruppo : w - x);
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
  Prestito prestito(static_cast<size_t>(static_cast<int64_t>(w2) * h2));
  Piano& copia = *prestito;
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
  Prestito prestito_copia(n2), prestito_altra(n2);
  Piano& copia = *prestito_copia;
  Piano& altra = *prestito_altra;
  riduci_blocchi(piano, larghezza, altezza, riduzione, copia, w2, h2);
  const int32_t r2q = raggio / riduzione;
  const int64_t r2 = r2q > 1 ? r2q : 1;
  const int64_t w = w2;
  for (int i = 0; i < 3; ++i) {
    const float* src = copia.data();
    float* dst = altra.data();
    parallel_for(static_cast<uint64_t>(h2), [&](uint64_t y) {
      const int64_t base = static_cast<int64_t>(y) * w;
      passata(src + base, dst + base, w, r2);
    });
    std::swap(copia, altra);
  }
  ingrandisci(copia, w2, h2, piano, larghezza, altezza, riduzione);
}

}  // namespace varno
