#include <cmath>
#include <limits>

#include "fx/fx.h"
#include "render/parallelo.h"

namespace varno {

int32_t arrotonda_raggio(double prodotto) {
  const double r = std::round(prodotto);  // halves away from zero
  if (!(r > static_cast<double>(std::numeric_limits<int32_t>::min()))) return std::numeric_limits<int32_t>::min();
  if (r >= static_cast<double>(std::numeric_limits<int32_t>::max())) return std::numeric_limits<int32_t>::max();
  return static_cast<int32_t>(r);
}

int32_t calcola_riduzione(int32_t lato_max) {
  if (lato_max < 1920) return 1;
  if (lato_max < 3840) return lato_max / 960;
  return 4;
}

Quadro calcola_quadro(int32_t larghezza, int32_t altezza) {
  Quadro q;
  q.larghezza = larghezza;
  q.altezza = altezza;
  q.lato_max = larghezza > altezza ? larghezza : altezza;
  q.raggio_enhance = arrotonda_raggio(0.012 * q.lato_max);
  q.raggio_halation = arrotonda_raggio(0.018 * q.lato_max);
  q.raggio_bloom = arrotonda_raggio(0.01 * q.lato_max);
  q.riduzione = calcola_riduzione(q.lato_max);
  return q;
}

void aggiorna_luma(const Immagine& img, Piano& luma, const Quadro& q) {
  const int64_t w = q.larghezza;
  parallel_for(static_cast<uint64_t>(q.altezza), [&](uint64_t y) {
    const int64_t base = static_cast<int64_t>(y) * w;
    for (int64_t x = 0; x < w; ++x) luma[static_cast<size_t>(base + x)] = luma_pixel(&img[static_cast<size_t>((base + x) * 3)]);
  });
}

void applica_fx(Immagine&, int32_t, int32_t, const FxRicetta&) {}

}  // namespace varno
