// Star filter: thin white rays through the brightest points, drawn on a
// reduced copy of a highlight mask, one straight line per direction.
#include <algorithm>
#include <cmath>
#include <vector>

#include "fx/fx.h"
#include "fx/piani.h"
#include "render/parallelo.h"

namespace varno {

void fx_stella(Immagine& img, const Piano& luma, const Quadro& q, float stella, int32_t punte, const Seguito& poi) {
  const int64_t w = q.larghezza;
  const int64_t h = q.altezza;
  const int32_t rid = q.riduzione;
  if (w <= 0 || h <= 0 || rid <= 0) return;
  const Nuclei& k = nuclei();

  int32_t direzioni = 2;
  float angolo0 = 0.0f;
  if (punte == 4) {
    angolo0 = 0.7853982f;
  } else if (punte >= 8) {
    direzioni = 4;
  } else if (punte >= 6) {
    direzioni = 3;
  }

  // Reach follows the width alone, so a tall frame gets rays sized to its narrow side.
  long ml = std::lround((static_cast<double>(q.larghezza) * 0.09) / static_cast<double>(rid));
  if (ml < 3) ml = 3;
  const int64_t mezza = ml;
  const int64_t taps = 2 * mezza + 1;

  // The highlight mask (the luminance itself under a squared ramp from 0.85)
  // reduced into a plane with a zero border as wide as a ray's reach: a tap
  // that falls off the plane reads +0 there instead of being skipped. The
  // kernel reads up to eight vectors past a row's end.
  const int64_t w2 = lato_ridotto(w, rid), h2 = lato_ridotto(h, rid);
  const int64_t passo = w2 + 2 * mezza;
  const int64_t righe = h2 + 2 * mezza;
  Prestito bordato(static_cast<size_t>(passo * righe + 8 * 16));
  float* const origine = bordato.data() + mezza * passo + mezza;
  std::fill(bordato.data(), origine, 0.0f);
  parallel_for(static_cast<uint64_t>(h2), [&](uint64_t y) {
    float* r = origine + static_cast<int64_t>(y) * passo + w2;
    std::fill(r, r + 2 * mezza, 0.0f);
  });
  std::fill(origine + h2 * passo - mezza, bordato.data() + bordato->size(), 0.0f);
  float* uscite[4] = {origine};
  riduci_maschera(k, Maschera::stella, luma, nullptr, q, rid, uscite, passo);

  // Tap weights fade linearly; taps that fall outside still count in the total,
  // so rays weaken towards the frame's edges. Offsets per line, x then y.
  std::vector<float> peso(static_cast<size_t>(taps));
  float peso_totale = 0.0f;
  for (int64_t t = -mezza; t <= mezza; ++t) {
    const float p = 1.0f - static_cast<float>(t < 0 ? -t : t) / static_cast<float>(mezza + 1);
    peso[static_cast<size_t>(t + mezza)] = p;
    peso_totale += p;
  }
  std::vector<int32_t> spostamenti(static_cast<size_t>(direzioni * 2 * taps));
  for (int32_t d = 0; d < direzioni; ++d) {
    const float theta = static_cast<float>(d) * 3.1415927f / static_cast<float>(direzioni) + angolo0;
    const float s = std::sin(theta);
    const float c = std::cos(theta);
    int32_t* ox = &spostamenti[static_cast<size_t>(d * 2 * taps)];
    for (int64_t t = -mezza; t <= mezza; ++t) {
      const float ft = static_cast<float>(t);
      ox[t + mezza] = static_cast<int32_t>(std::lround(ft * c));
      ox[taps + t + mezza] = static_cast<int32_t>(std::lround(ft * s));
    }
  }

  PianoPrestato accumulo(w2, h2);
  parallel_for(static_cast<uint64_t>(h2), [&](uint64_t y) {
    k.stella(origine, passo, w2, static_cast<int64_t>(y), direzioni, taps, spostamenti.data(), peso.data(),
             peso_totale, accumulo.dati() + static_cast<int64_t>(y) * w2);
  });

  const Tabella t(k, w, rid, w2, h2);
  ParamComposto c = composto(Composto::stella, img, q, stella, poi);
  c.piani[0] = accumulo.dati();
  c.ingrandimento = t.ingrandimento();
  componi(k, c);
}

}  // namespace varno
