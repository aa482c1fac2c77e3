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
  FxRicetta r;
  r.stella = stella;
  r.punte = punte;
  bagliore(6, img, luma, q, r, poi);
}

// The highlight mask (the luminance itself under a squared ramp from 0.85) is
// reduced into a plane with a zero border as wide as a ray's reach: a tap
// that falls off the plane reads +0 there instead of being skipped.
void completa_stella(Ridotti& r, Immagine& img, const Quadro& q, float stella, int32_t punte, const Seguito& poi) {
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
  const int64_t mezza = mezza_stella(q);
  const int64_t taps = 2 * mezza + 1;

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

  const int64_t w2 = r.w2(), h2 = r.h2();
  PianoPrestato accumulo(w2, h2);
  // Rows in pairs, which share most of the cache lines their taps read.
  parallel_for(static_cast<uint64_t>((h2 + 1) / 2), [&](uint64_t i) {
    const int64_t y = 2 * static_cast<int64_t>(i);
    k.stella(r.piano(0), r.passo(), w2, y, std::min<int64_t>(2, h2 - y), direzioni, taps, spostamenti.data(),
             peso.data(), peso_totale, accumulo.dati() + y * w2);
  });

  const Tabella t(k, q.larghezza, r.riduzione(), w2, h2);
  ParamComposto c = composto(Composto::stella, img, q, stella, poi);
  c.piani[0] = accumulo.dati();
  c.ingrandimento = t.ingrandimento();
  componi(k, c);
}

}  // namespace varno
