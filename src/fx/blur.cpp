#include "fx/blur.h"

#include <algorithm>

#include "fx/piani.h"
#include "render/parallelo.h"

namespace varno {

namespace {

// The plane reduced by `riduzione` into a borrowed copy, blurred there by
// `sfoca`, then enlarged back over the whole plane.
template <class Sfoca>
void su_ridotta(Piano& piano, int32_t larghezza, int32_t altezza, int32_t riduzione, Sfoca&& sfoca) {
  const Nuclei& k = nuclei();
  const int64_t w = larghezza, h = altezza;
  const int64_t w2 = lato_ridotto(w, riduzione), h2 = lato_ridotto(h, riduzione);
  PianoPrestato copia(w2, h2);
  ParamRiduzione p;
  p.luma = piano.data();
  p.larghezza = w;
  p.altezza = h;
  p.riduzione = riduzione;
  p.w2 = w2;
  p.uscite[0] = copia.dati();
  p.passo = w2;
  riduci(k, p, h2);
  sfoca(k, copia.dati(), w2, h2);
  const Tabella t(k, w, riduzione, w2, h2);
  parallel_for(static_cast<uint64_t>(h), [&](uint64_t y) {
    k.ingrandisci(t.ingrandimento(), copia.dati(), piano.data() + static_cast<int64_t>(y) * w, w,
                  static_cast<int64_t>(y));
  });
}

}  // namespace

void box_blur(Piano& piano, int32_t larghezza, int32_t altezza, int32_t raggio, int32_t passate) {
  box_blur(nuclei(), piano.data(), larghezza, altezza, raggio, passate);
}

void blur_su_ridotta(Piano& piano, int32_t larghezza, int32_t altezza, int32_t raggio, int32_t riduzione) {
  if (riduzione < 2) {
    box_blur(piano, larghezza, altezza, raggio, 3);
    return;
  }
  if (larghezza < 1 || altezza < 1) return;
  const int32_t r2 = std::max(1, raggio / riduzione);
  su_ridotta(piano, larghezza, altezza, riduzione,
             [r2](const Nuclei& k, float* copia, int64_t w2, int64_t h2) { box_blur(k, copia, w2, h2, r2, 3); });
}

void blur_orizz_su_ridotta(Piano& piano, int32_t larghezza, int32_t altezza, int32_t raggio,
                           int32_t riduzione) {
  // The streak goes through a copy even at factor 1; a factor below 1 has no
  // meaning and is taken as 1 rather than divided by.
  if (riduzione < 1) riduzione = 1;
  if (larghezza < 1 || altezza < 1) return;
  const int32_t r2 = std::max(1, raggio / riduzione);
  su_ridotta(piano, larghezza, altezza, riduzione, [r2](const Nuclei& k, float* copia, int64_t w2, int64_t h2) {
    passate_orizzontali(k, copia, w2, h2, r2, 3);
  });
}

}  // namespace varno
