// Film grain: monochrome noise from a stateless hash of the cell and the frame
// number, on cells of 2 by 2 pixels, strongest in the midtones.
#include "fx/campiona.h"
#include "fx/fx.h"
#include "render/parallelo.h"
#include "render/scorta.h"

namespace varno {

float hash_grana(uint32_t x, uint32_t y, uint32_t f) {
  // Unsigned arithmetic wraps modulo 2^32 and shifts are logical.
  uint32_t h = x * 374761393u + y * 668265263u + f * 2246822519u + 2654435769u;
  h = (h ^ (h >> 13)) * 1274126177u;
  h = h ^ (h >> 16);
  return static_cast<float>(h & 0xFFFFFFu) * 5.9604645e-8f;
}

void fx_grana(Immagine& img, const Quadro& q, float grana, int32_t fotogramma) {
  const int64_t w = q.larghezza;
  const int64_t h = q.altezza;
  if (w <= 0 || h <= 0) return;

  // The grain keeps its cell of 2 pixels at any frame size.
  const int32_t cella = 2;
  const int32_t wg = static_cast<int32_t>((w + 1) / 2);
  const int32_t hg = static_cast<int32_t>((h + 1) / 2);
  const uint32_t f = static_cast<uint32_t>(fotogramma);

  Prestito prestito(static_cast<size_t>(int64_t{wg} * hg));
  Piano& rumore = *prestito;
  parallel_for(static_cast<uint64_t>(hg), [&](uint64_t yy) {
    const uint32_t y = static_cast<uint32_t>(yy);
    float* riga = &rumore[static_cast<size_t>(yy * static_cast<uint64_t>(wg))];
    for (int32_t xi = 0; xi < wg; ++xi) {
      const uint32_t x = static_cast<uint32_t>(xi);
      // Two uniform values make a triangular distribution around 0.
      riga[xi] = hash_grana(x, y, f) + hash_grana(x + 7919u, y + 104729u, f) - 1.0f;
    }
  });

  parallel_for(static_cast<uint64_t>(h), [&](uint64_t yy) {
    const int64_t y = static_cast<int64_t>(yy);
    float* riga = &img[static_cast<size_t>(y * w * 3)];
    for (int64_t x = 0; x < w; ++x) {
      const float n = campiona_ridotta(rumore, wg, hg, x, y, cella);
      float* p = &riga[x * 3];
      const float l = luma_pixel(p);
      // Vanishes at black and white; outside 0..1 it turns sign, which is accepted.
      const float d = n * grana * 0.14f * (l * (1.0f - l) * 4.0f);
      p[0] = limita01(p[0] + d);
      p[1] = limita01(p[1] + d);
      p[2] = limita01(p[2] + d);
    }
  });
}

}  // namespace varno
