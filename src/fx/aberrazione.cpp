// Chromatic aberration: red sampled a little nearer the centre, blue a little
// further out, by an amount growing with the square of the distance. Green stays.
#include <vector>

#include "fx/fx.h"
#include "fx/piani.h"
#include "render/parallelo.h"

namespace varno {

void fx_aberrazione(Immagine& img, const Quadro& q, float ca, const Coda* coda) {
  const int64_t w = q.larghezza;
  const int64_t h = q.altezza;
  if (w <= 0 || h <= 0) return;
  const Nuclei& k = nuclei();

  // Red and blue are read from copies of their own while the picture is written.
  PianoPrestato rosso(w, h), blu(w, h);
  parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
    const int64_t y = static_cast<int64_t>(yy);
    k.separa(img.data() + y * w * 3, rosso.dati() + y * w, blu.dati() + y * w, w, w * h >= (int64_t{1} << 22));
  });

  ParamAberrazione p;
  p.img = img.data();
  p.rosso = rosso.dati();
  p.blu = blu.dati();
  p.larghezza = w;
  p.altezza = h;
  p.cx = static_cast<float>(q.larghezza) * 0.5f;
  p.cy = static_cast<float>(q.altezza) * 0.5f;
  p.lx = static_cast<float>(q.larghezza) - 1.001f;
  p.ly = static_cast<float>(q.altezza) - 1.001f;
  p.forza = ca * 0.008f;
  if (coda != nullptr) p.coda = *coda;

  // dx and (dx / cx)^2 depend on the column alone: worked out once, the same values.
  const int64_t colonne = (w + k.corsie - 1) / k.corsie * k.corsie;
  std::vector<float> colonna_dx(static_cast<size_t>(colonne)), colonna_nx2(static_cast<size_t>(colonne));
  for (int64_t x = 0; x < w; ++x) {
    const float dx = static_cast<float>(x) - p.cx;
    const float nx = dx / p.cx;
    colonna_dx[static_cast<size_t>(x)] = dx;
    colonna_nx2[static_cast<size_t>(x)] = nx * nx;
  }
  p.colonna_dx = colonna_dx.data();
  p.colonna_nx2 = colonna_nx2.data();
  parallel_for(static_cast<uint64_t>(h), [&](uint64_t y) { k.aberrazione(p, static_cast<int64_t>(y)); });
}

}  // namespace varno
