#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

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

namespace {

// Whether the pass before stage `ordine[pos]` must leave luma in its plane:
// enhance and skin diffusion read the plane, White Pro-Mist's frame mean
// reads it where its blocks do not add without rounding, and a stage after
// bloom, which leaves luma as it was, takes its masks' luma from it.
bool serve_piano(const int* ordine, int n, int pos) {
  const int i = ordine[pos];
  return i == 0 || i == 1 || i == 7 || (i == 3 && pos + 1 < n);
}

}  // namespace

bool luma_prima(const FxRicetta& ricetta) { return ricetta.enhance > 0.0f || ricetta.pelle > 0.0f; }

bool applica_fx(Immagine& img, int32_t larghezza, int32_t altezza, const FxRicetta& ricetta, Piano* luma_data,
                const Uscita* uscita) {
  if (larghezza < 1 || altezza < 1) return false;
  const int64_t pixel = static_cast<int64_t>(larghezza) * altezza;
  // The caller owes a picture of this size; one that is short is left alone
  // rather than read past its end.
  if (img.size() / 3 < static_cast<uint64_t>(pixel)) return false;

  const Quadro q = calcola_quadro(larghezza, altezza);
  const Nuclei& k = nuclei();

  // The nine stages that read luma, in the chain's order. Each amount is its
  // own switch: 0, negative and not-a-number all skip.
  const float quanti[9] = {ricetta.enhance, ricetta.pelle,   ricetta.halation, ricetta.bloom,  ricetta.streak,
                           ricetta.promist, ricetta.stella,  ricetta.mistw,    ricetta.glimmer};
  int ordine[9];
  int n = 0;
  for (int i = 0; i < 9; ++i)
    if (quanti[i] > 0.0f) ordine[n++] = i;

  // The vignette and the grain ride on the last pass that writes the picture
  // before them: aberration's if it runs, else the last stage's composite.
  CodaCatena coda(k, q, ricetta.vignetta, ricetta.grana, ricetta.fotogramma);
  coda.scrivi_in(uscita);
  const bool aberrazione = ricetta.ca > 0.0f;

  if (n > 0) {
    const bool luma_pronta = ordine[0] < 2 && luma_data != nullptr && luma_data->size() >= static_cast<uint64_t>(pixel);
    std::optional<Prestito> prestito;
    if (!luma_pronta) prestito.emplace(static_cast<size_t>(pixel));
    Piano& luma = luma_pronta ? *luma_data : **prestito;
    // Every stage's luma is the picture's as the stage before it left it,
    // except after bloom, which leaves luma as it was: what follows builds its
    // mask from the picture before the bloom, which keeps the streak from
    // feeding on the glow. Each glow stage's reduction rides on the pass that
    // writes the pixels before it (or, for the first stage, on the pass that
    // first reads them), and luma goes into its plane only where a later stage
    // reads the plane.
    std::optional<Ridotti> ridotti[2];
    Prossima prossima;
    auto prepara = [&](int pos, bool dal_piano, bool blocchi) -> const Prossima* {
      const int i = ordine[pos];
      std::optional<Ridotti>& r = ridotti[pos % 2];
      r.reset();
      if (i < 2) return nullptr;
      const Bagliore b = bagliore_di(i, q);
      r.emplace(b.maschera, q, b.riduzione, i == 6 ? mezza_stella(q) : 0);
      prossima = r->prossima(dal_piano, blocchi);
      return &prossima;
    };
    ParamComposto lettura;
    lettura.img = img.data();
    lettura.larghezza = larghezza;
    lettura.altezza = altezza;
    lettura.scrivi = false;
    lettura.luma_nuova = serve_piano(ordine, n, 0) ? luma.data() : nullptr;
    lettura.prossima = prepara(0, false, true);
    if (!luma_pronta) componi(k, lettura);

    for (int pos = 0; pos < n; ++pos) {
      const int i = ordine[pos];
      Seguito poi;
      if (pos + 1 < n) {
        // Skin diffusion and enhance end in passes down columns, which cannot
        // sum a frame mean's blocks along rows.
        poi.prossima = prepara(pos + 1, i == 3, i >= 2);
        if (i != 3 && serve_piano(ordine, n, pos + 1)) poi.luma = &luma;
      } else if (!coda.vuota() && !aberrazione) {
        poi.coda = &coda.coda();
      }
      if (i == 0) {
        dettaglio_locale(Composto::enhance, img, luma, q, std::max<int32_t>(1, q.raggio_enhance), ricetta.enhance, poi);
      } else if (i == 1) {
        dettaglio_locale(Composto::pelle, img, luma, q, std::max<int32_t>(1, arrotonda_raggio(0.007 * q.lato_max)),
                         ricetta.pelle, poi);
      } else {
        completa(i, *ridotti[pos % 2], img, luma, q, ricetta, poi);
      }
    }
  }

  if (aberrazione) {
    fx_aberrazione(img, q, ricetta.ca, coda.vuota() ? nullptr : &coda.coda());
  } else if (!coda.vuota() && n == 0) {
    componi(k, composto(Composto::nessuno, img, q, 0.0f, Seguito{nullptr, &coda.coda()}));
  }
  return uscita != nullptr;
}

}  // namespace varno
