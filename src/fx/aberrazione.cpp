// Chromatic aberration: red sampled a little nearer the centre, blue a little
// further out, by an amount growing with the square of the distance. Green stays.
#include <algorithm>
#include <cmath>
#include <vector>

#include "fx/fx.h"
#include "fx/piani.h"
#include "render/parallelo.h"

namespace varno {

namespace {

// Rows of the frame held for a band: how far from its own row a row's samples
// can reach, and how tall the bands are.
constexpr int64_t kBandaMinima = 64;
// Beyond this reach a band's rows would not stay in the cache: whole planes.
constexpr int64_t kPortataMassima = 64;

// The furthest any output row's red or blue samples reach from it, in rows,
// counting the third row the vector sampler loads. Worked out with the
// kernel's own float operations at the columns nearest and furthest from the
// centre: positions move monotonically with the column's weight in between.
// -1 when the strength is not finite.
int64_t portata(const ParamAberrazione& p, float nx2_min, float nx2_max) {
  if (!std::isfinite(p.forza)) return -1;
  const int64_t h = p.altezza;
  int64_t m = 0;
  for (int64_t y = 0; y < h; ++y) {
    const float dy = static_cast<float>(y) - p.cy;
    const float ny = dy / p.cy;
    const float ny2 = ny * ny;
    int64_t lo = y, hi = y;
    for (const float nx2 : {nx2_min, nx2_max}) {
      const float k = (nx2 + ny2) * p.forza;
      for (const float a : {1.0f - k, 1.0f + k}) {
        float v = dy * a + p.cy;
        v = v >= 0.0f ? v : 0.0f;
        v = v > p.ly ? p.ly : v;
        const int64_t iy = std::min<int64_t>(static_cast<int32_t>(v), h - 1);
        lo = std::min(lo, iy);
        hi = std::max(hi, std::min(iy + 2, h - 1));
      }
    }
    m = std::max({m, y - lo, hi - y});
  }
  return m;
}

}  // namespace

void fx_aberrazione(Immagine& img, const Quadro& q, float ca, const Coda* coda) {
  const int64_t w = q.larghezza;
  const int64_t h = q.altezza;
  if (w <= 0 || h <= 0) return;
  const Nuclei& k = nuclei();

  ParamAberrazione p;
  p.img = img.data();
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
  float nx2_min = 0.0f, nx2_max = 0.0f;
  for (int64_t x = 0; x < w; ++x) {
    const float dx = static_cast<float>(x) - p.cx;
    const float nx = dx / p.cx;
    colonna_dx[static_cast<size_t>(x)] = dx;
    colonna_nx2[static_cast<size_t>(x)] = nx * nx;
    nx2_min = x == 0 ? nx * nx : std::min(nx2_min, nx * nx);
    nx2_max = x == 0 ? nx * nx : std::max(nx2_max, nx * nx);
  }
  p.colonna_dx = colonna_dx.data();
  p.colonna_nx2 = colonna_nx2.data();

  // Red and blue are read from copies of the rows as they were while the
  // picture is written in place.
  const int64_t m = portata(p, nx2_min, nx2_max);
  const int64_t passo = w + kMarginePiano;  // room past each row for the sampler's loads
  if (m < 0 || m > kPortataMassima || 4 * m >= h) {
    // Whole planes: every row copied first, then every row written.
    PianoPrestato rosso(w, h), blu(w, h);
    parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
      const int64_t y = static_cast<int64_t>(yy);
      k.separa(img.data() + y * w * 3, rosso.dati() + y * w, blu.dati() + y * w, w, w * h >= (int64_t{1} << 22));
    });
    std::vector<const float*> righe_r(static_cast<size_t>(h)), righe_b(static_cast<size_t>(h));
    for (int64_t y = 0; y < h; ++y) {
      righe_r[static_cast<size_t>(y)] = rosso.dati() + y * w;
      righe_b[static_cast<size_t>(y)] = blu.dati() + y * w;
    }
    parallel_for(static_cast<uint64_t>(h),
                 [&](uint64_t y) { k.aberrazione(p, righe_r.data(), righe_b.data(), static_cast<int64_t>(y)); });
    return;
  }

  // Bands of rows, each worked top to bottom by one thread with the rows its
  // samples reach copied into a ring just before it overwrites them. Rows
  // beyond its ends belong to the bands beside it, which may already have
  // written them: each band's first and last m rows are copied first.
  const int64_t alta = std::max(kBandaMinima, 4 * m);
  const int64_t bande = (h + alta - 1) / alta;
  const int64_t bordo = std::max<int64_t>(m, 1);
  PianoPrestato bordi_r(passo, bande * 2 * bordo), bordi_b(passo, bande * 2 * bordo);
  auto riga_bordo = [&](PianoPrestato& piano, int64_t y) {
    const int64_t b = y / alta, ya = b * alta, yb = std::min(h, ya + alta);
    const int64_t slot = y - ya < bordo ? y - ya : bordo + (y - (yb - bordo));
    return piano.dati() + (b * 2 * bordo + slot) * passo;
  };
  auto nel_bordo = [&](int64_t y) {
    const int64_t ya = y / alta * alta, yb = std::min(h, ya + alta);
    return y - ya < bordo || y >= yb - bordo;
  };
  parallel_for(static_cast<uint64_t>(bande), [&](uint64_t bb) {
    const int64_t ya = static_cast<int64_t>(bb) * alta, yb = std::min(h, ya + alta);
    for (int64_t y = ya; y < yb; ++y)
      if (nel_bordo(y)) k.separa(img.data() + y * w * 3, riga_bordo(bordi_r, y), riga_bordo(bordi_b, y), w, false);
  });

  const int64_t giro = 2 * m + 1;  // rows y - m .. y + m
  parallel_for(static_cast<uint64_t>(bande), [&](uint64_t bb) {
    const int64_t ya = static_cast<int64_t>(bb) * alta, yb = std::min(h, ya + alta);
    PianoPrestato anello_r(passo, giro), anello_b(passo, giro);
    std::vector<const float*> righe_r(static_cast<size_t>(h)), righe_b(static_cast<size_t>(h));
    for (int64_t y = std::max<int64_t>(0, ya - m); y < std::min(h, yb + m); ++y)
      if (y < ya || y >= yb) {
        righe_r[static_cast<size_t>(y)] = riga_bordo(bordi_r, y);
        righe_b[static_cast<size_t>(y)] = riga_bordo(bordi_b, y);
      }
    int64_t copiate = ya;  // rows of the band below this are in the ring
    for (int64_t y = ya; y < yb; ++y) {
      for (; copiate < yb && copiate <= y + m; ++copiate) {
        float* r = anello_r.dati() + copiate % giro * passo;
        float* b = anello_b.dati() + copiate % giro * passo;
        k.separa(img.data() + copiate * w * 3, r, b, w, false);
        righe_r[static_cast<size_t>(copiate)] = r;
        righe_b[static_cast<size_t>(copiate)] = b;
      }
      k.aberrazione(p, righe_r.data(), righe_b.data(), y);
    }
  });
}

}  // namespace varno
