// Star filter: thin white rays through the brightest points, drawn on a
// reduced copy of a highlight mask, one straight line per direction.
#include <algorithm>
#include <cmath>
#include <vector>

#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/parallelo.h"
#include "render/scorta.h"

namespace varno {

void fx_stella(Immagine& img, const Piano& luma, const Quadro& q, float stella, int32_t punte) {
  const int64_t w = q.larghezza;
  const int64_t h = q.altezza;
  const int32_t rid = q.riduzione;
  if (w <= 0 || h <= 0 || rid <= 0) return;

  // Highlight mask: the luminance itself under a squared ramp from 0.85 to 1.
  Prestito prestito_maschera(static_cast<size_t>(w * h));
  Piano& maschera = *prestito_maschera;
  per_pixel(q, [&](size_t i) {
    const float l = luma[i];
    const float t = rampa(l, 0.85f, 0.15f);
    maschera[i] = t > 0.0f ? (t >= 1.0f ? l : t * t * l) : 0.0f;
  });

  const int32_t w2 = q.larghezza / rid > 1 ? q.larghezza / rid : 1;
  const int32_t h2 = q.altezza / rid > 1 ? q.altezza / rid : 1;
  const size_t n2 = static_cast<size_t>(int64_t{w2} * h2);
  Prestito prestito_ridotta(n2);
  Piano& ridotta = *prestito_ridotta;
  riduci_blocchi(maschera, q.larghezza, q.altezza, rid, ridotta, w2, h2);

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

  // Tap weights fade linearly; taps that fall outside still count in the total,
  // so rays weaken towards the frame's edges.
  std::vector<float> peso(static_cast<size_t>(taps));
  float peso_totale = 0.0f;
  for (int64_t k = -mezza; k <= mezza; ++k) {
    const int64_t a = k < 0 ? -k : k;
    const float p = 1.0f - static_cast<float>(a) / static_cast<float>(mezza + 1);
    peso[static_cast<size_t>(k + mezza)] = p;
    peso_totale += p;
  }

  Prestito prestito_accumulo(n2), prestito_somma(n2);
  Piano& accumulo = *prestito_accumulo;
  std::fill(accumulo.begin(), accumulo.end(), 0.0f);
  // Per-row running sums: each pixel still adds its taps in ascending k, but
  // one tap at a time across the whole row, which keeps the inner loop flat.
  Piano& somma = *prestito_somma;
  std::vector<int64_t> sx(static_cast<size_t>(taps)), sy(static_cast<size_t>(taps));

  for (int32_t d = 0; d < direzioni; ++d) {
    const float theta = static_cast<float>(d) * 3.1415927f / static_cast<float>(direzioni) + angolo0;
    const float s = std::sin(theta);
    const float c = std::cos(theta);
    for (int64_t k = -mezza; k <= mezza; ++k) {
      const float fk = static_cast<float>(k);
      sx[static_cast<size_t>(k + mezza)] = std::lround(fk * c);
      sy[static_cast<size_t>(k + mezza)] = std::lround(fk * s);
    }
    parallel_for(static_cast<uint64_t>(h2), [&](uint64_t yy) {
      const int64_t y = static_cast<int64_t>(yy);
      float* riga = &somma[static_cast<size_t>(y * w2)];
      for (int64_t x = 0; x < w2; ++x) riga[x] = 0.0f;
      for (int64_t i = 0; i < taps; ++i) {
        const int64_t ty = y + sy[static_cast<size_t>(i)];
        if (ty < 0 || ty >= h2) continue;
        const int64_t ox = sx[static_cast<size_t>(i)];
        // x + ox must land in 0..w2-1.
        const int64_t x0 = ox < 0 ? -ox : 0;
        const int64_t x1 = ox > 0 ? w2 - ox : w2;
        if (x0 >= x1) continue;
        const float p = peso[static_cast<size_t>(i)];
        const float* src = &ridotta[static_cast<size_t>(ty * w2)];
        for (int64_t x = x0; x < x1; ++x) riga[x] += p * src[x + ox];
      }
      float* acc = &accumulo[static_cast<size_t>(y * w2)];
      for (int64_t x = 0; x < w2; ++x) acc[x] += riga[x] / peso_totale;
    });
  }

  parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
    const int64_t y = static_cast<int64_t>(yy);
    for (int64_t x = 0; x < w; ++x) {
      const float a = campiona_ridotta(accumulo, w2, h2, x, y, rid);
      float hv = a * stella * 2.4f;
      if (hv > 1.0f) hv = 1.0f;
      float* p = &img[static_cast<size_t>((y * w + x) * 3)];
      // One value for all channels: the rays are white whatever their source.
      p[0] = schermo(hv, p[0]);
      p[1] = schermo(hv, p[1]);
      p[2] = schermo(hv, p[2]);
    }
  });
}

}  // namespace varno
