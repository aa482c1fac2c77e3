#include <cmath>
#include <limits>

#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/parallelo.h"
#include "render/scorta.h"

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
  per_pixel(q, [&](size_t i) { luma[i] = luma_pixel(&img[i * 3]); });
}

void applica_fx(Immagine& img, int32_t larghezza, int32_t altezza, const FxRicetta& ricetta) {
  if (larghezza < 1 || altezza < 1) return;
  const int64_t pixel = static_cast<int64_t>(larghezza) * altezza;
  // The caller owes a picture of this size; one that is short is left alone
  // rather than read past its end.
  if (img.size() / 3 < static_cast<uint64_t>(pixel)) return;

  const Quadro q = calcola_quadro(larghezza, altezza);
  Prestito prestito(static_cast<size_t>(pixel));
  Piano& luma = *prestito;
  aggiorna_luma(img, luma, q);

  // Each amount is its own switch: 0, negative and not-a-number all skip.
  if (ricetta.enhance > 0.0f) {
    fx_enhance(img, luma, q, ricetta.enhance);
    aggiorna_luma(img, luma, q);
  }
  if (ricetta.pelle > 0.0f) {
    fx_pelle(img, luma, q, ricetta.pelle);
    aggiorna_luma(img, luma, q);
  }
  if (ricetta.halation > 0.0f) {
    fx_halation(img, luma, q, ricetta.halation);
    aggiorna_luma(img, luma, q);
  }
  // No refresh after bloom: what follows builds its mask from the picture
  // before the bloom, which keeps the streak from feeding on the glow.
  if (ricetta.bloom > 0.0f) fx_bloom(img, luma, q, ricetta.bloom);
  if (ricetta.streak > 0.0f) {
    fx_streak(img, luma, q, ricetta.streak);
    aggiorna_luma(img, luma, q);
  }
  if (ricetta.promist > 0.0f) {
    fx_promist(img, luma, q, ricetta.promist);
    aggiorna_luma(img, luma, q);
  }
  if (ricetta.stella > 0.0f) {
    fx_stella(img, luma, q, ricetta.stella, ricetta.punte);
    aggiorna_luma(img, luma, q);
  }
  if (ricetta.mistw > 0.0f) {
    fx_mistw(img, luma, q, ricetta.mistw);
    aggiorna_luma(img, luma, q);
  }
  if (ricetta.glimmer > 0.0f) {
    fx_glimmer(img, luma, q, ricetta.glimmer);
    aggiorna_luma(img, luma, q);
  }
  if (ricetta.ca > 0.0f) fx_aberrazione(img, q, ricetta.ca);
  if (ricetta.vignetta > 0.0f) fx_vignetta(img, q, ricetta.vignetta);
  if (ricetta.grana > 0.0f) fx_grana(img, q, ricetta.grana, ricetta.fotogramma);
}

}  // namespace varno
