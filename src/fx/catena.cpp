#include <cmath>
#include <limits>

#include "fx/fx.h"
#include "fx/piani.h"
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
  const Nuclei& k = nuclei();
  const int64_t w = q.larghezza;
  parallel_for(static_cast<uint64_t>(q.altezza), [&](uint64_t y) {
    const int64_t i = static_cast<int64_t>(y) * w;
    k.luma(img.data() + i * 3, luma.data() + i, w);
  });
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

  // The nine stages that read luma, in the chain's order. Each amount is its
  // own switch: 0, negative and not-a-number all skip.
  const float accesi[9] = {ricetta.enhance, ricetta.pelle,   ricetta.halation, ricetta.bloom,  ricetta.streak,
                           ricetta.promist, ricetta.stella,  ricetta.mistw,    ricetta.glimmer};
  int ultimo = -1;
  for (int i = 0; i < 9; ++i)
    if (accesi[i] > 0.0f) ultimo = i;

  // The vignette and the grain ride on the last pass that writes the picture
  // before them: aberration's if it runs, else the last stage's composite.
  const CodaCatena coda(nuclei(), q, ricetta.vignetta, ricetta.grana, ricetta.fotogramma);
  const bool aberrazione = ricetta.ca > 0.0f;
  const Coda* coda_fusa = coda.vuota() || aberrazione ? nullptr : &coda.coda();

  // Each stage refreshes luma in its last pass when a later stage will read
  // it; bloom never does, so what follows builds its mask from the picture
  // before the bloom, which keeps the streak from feeding on the glow.
  auto seguito = [&](int i) {
    return Seguito{i < ultimo && i != 3 ? &luma : nullptr, i == ultimo ? coda_fusa : nullptr};
  };
  if (accesi[0] > 0.0f) fx_enhance(img, luma, q, ricetta.enhance, seguito(0));
  if (accesi[1] > 0.0f) fx_pelle(img, luma, q, ricetta.pelle, seguito(1));
  if (accesi[2] > 0.0f) fx_halation(img, luma, q, ricetta.halation, seguito(2));
  if (accesi[3] > 0.0f) fx_bloom(img, luma, q, ricetta.bloom, seguito(3));
  if (accesi[4] > 0.0f) fx_streak(img, luma, q, ricetta.streak, seguito(4));
  if (accesi[5] > 0.0f) fx_promist(img, luma, q, ricetta.promist, seguito(5));
  if (accesi[6] > 0.0f) fx_stella(img, luma, q, ricetta.stella, ricetta.punte, seguito(6));
  if (accesi[7] > 0.0f) fx_mistw(img, luma, q, ricetta.mistw, seguito(7));
  if (accesi[8] > 0.0f) fx_glimmer(img, luma, q, ricetta.glimmer, seguito(8));
  if (aberrazione) {
    fx_aberrazione(img, q, ricetta.ca, coda.vuota() ? nullptr : &coda.coda());
  } else if (!coda.vuota() && ultimo < 0) {
    componi(nuclei(), composto(Composto::nessuno, img, q, 0.0f, Seguito{nullptr, &coda.coda()}));
  }
}

}  // namespace varno
