// Film grain: monochrome noise from a stateless hash of the cell and the frame
// number, on cells of 2 by 2 pixels, strongest in the midtones.
#include "fx/fx.h"
#include "fx/piani.h"

namespace varno {

float hash_grana(uint32_t x, uint32_t y, uint32_t f) {
  // Unsigned arithmetic wraps modulo 2^32 and shifts are logical.
  uint32_t h = x * 374761393u + y * 668265263u + f * 2246822519u + 2654435769u;
  h = (h ^ (h >> 13)) * 1274126177u;
  h = h ^ (h >> 16);
  return static_cast<float>(h & 0xFFFFFFu) * 5.9604645e-8f;
}

void fx_grana(Immagine& img, const Quadro& q, float grana, int32_t fotogramma) {
  const Nuclei& k = nuclei();
  const CodaCatena coda(k, q, 0.0f, grana, fotogramma);
  if (!coda.vuota()) componi(k, composto(Composto::nessuno, img, q, 0.0f, Seguito{nullptr, &coda.coda()}));
}

}  // namespace varno
