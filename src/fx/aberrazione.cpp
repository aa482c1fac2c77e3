// Chromatic aberration: red sampled a little nearer the centre, blue a little
// further out, by an amount growing with the square of the distance. Green stays.
#include <algorithm>
#include <vector>

#include "fx/fx.h"
#include "render/parallelo.h"
#include "render/scorta.h"

namespace varno {

namespace {

// Clamp to 0..limite; a position that is not a number lands on 0.
inline float tieni(float v, float limite) {
  if (!(v >= 0.0f)) v = 0.0f;
  if (v > limite) v = limite;
  return v;
}

// Bilinear sample of one channel of the copy. The neighbour index is held to
// the last pixel: on a frame 1 wide or high the formula's ix + 1 would leave it.
inline float campiona(const Immagine& copia, int64_t w, int64_t h, float sx, float sy, int canale) {
  int64_t ix = static_cast<int64_t>(sx);
  int64_t iy = static_cast<int64_t>(sy);
  if (ix > w - 1) ix = w - 1;
  if (iy > h - 1) iy = h - 1;
  const float tx = sx - static_cast<float>(ix);
  const float ty = sy - static_cast<float>(iy);
  const int64_t ix1 = ix + 1 < w ? ix + 1 : w - 1;
  const int64_t iy1 = iy + 1 < h ? iy + 1 : h - 1;
  const float* r0 = &copia[static_cast<size_t>(iy * w * 3 + canale)];
  const float* r1 = &copia[static_cast<size_t>(iy1 * w * 3 + canale)];
  return (r0[ix * 3] * (1.0f - tx) + r0[ix1 * 3] * tx) * (1.0f - ty) +
         (r1[ix * 3] * (1.0f - tx) + r1[ix1 * 3] * tx) * ty;
}

}  // namespace

void fx_aberrazione(Immagine& img, const Quadro& q, float ca) {
  const int64_t w = q.larghezza;
  const int64_t h = q.altezza;
  if (w <= 0 || h <= 0) return;

  Prestito prestito(static_cast<size_t>(w * h * 3));
  const Immagine& copia = *prestito;
  std::copy(img.begin(), img.begin() + w * h * 3, prestito->begin());
  const float cx = static_cast<float>(q.larghezza) * 0.5f;
  const float cy = static_cast<float>(q.altezza) * 0.5f;
  const float lx = static_cast<float>(q.larghezza) - 1.001f;
  const float ly = static_cast<float>(q.altezza) - 1.001f;
  const float forza = ca * 0.008f;

  // dx and (dx / cx)^2 depend on the column alone: worked out once, the same values.
  std::vector<float> colonna_dx(static_cast<size_t>(w)), colonna_nx2(static_cast<size_t>(w));
  for (int64_t x = 0; x < w; ++x) {
    const float dx = static_cast<float>(x) - cx;
    const float nx = dx / cx;
    colonna_dx[static_cast<size_t>(x)] = dx;
    colonna_nx2[static_cast<size_t>(x)] = nx * nx;
  }

  parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
    const int64_t y = static_cast<int64_t>(yy);
    const float dy = static_cast<float>(y) - cy;
    const float ny = dy / cy;
    const float ny2 = ny * ny;
    float* riga = &img[static_cast<size_t>(y * w * 3)];
    for (int64_t x = 0; x < w; ++x) {
      const float dx = colonna_dx[static_cast<size_t>(x)];
      const float k = (colonna_nx2[static_cast<size_t>(x)] + ny2) * forza;
      const float ar = 1.0f - k;
      const float ab = 1.0f + k;
      const float rx = tieni(dx * ar + cx, lx);
      const float ry = tieni(dy * ar + cy, ly);
      const float bx = tieni(dx * ab + cx, lx);
      const float by = tieni(dy * ab + cy, ly);
      riga[x * 3 + 0] = campiona(copia, w, h, rx, ry, 0);
      riga[x * 3 + 2] = campiona(copia, w, h, bx, by, 2);
    }
  });
}

}  // namespace varno
