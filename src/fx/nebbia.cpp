#include "fx/nebbia.h"

#include "fx/blur.h"
#include "render/parallelo.h"

namespace varno {

MisuraNebbia misura_nebbia(const Quadro& q) {
  int32_t raggio = arrotonda_raggio(0.035 * q.lato_max);
  if (raggio < 3) raggio = 3;
  return {raggio, q.riduzione < 2 ? 2 : q.riduzione};
}

std::array<Piano, 3> alone_colorato(const Immagine& img, const Piano& luma, const Quadro& q, float inizio,
                                    float ampiezza, const MisuraNebbia& m) {
  const int64_t w = q.larghezza;
  const size_t n = static_cast<size_t>(w * q.altezza);
  std::array<Piano, 3> alone = {Piano(n), Piano(n), Piano(n)};
  parallel_for(static_cast<uint64_t>(q.altezza), [&](uint64_t yy) {
    const int64_t base = static_cast<int64_t>(yy) * w;
    for (int64_t x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(base + x);
      const float t = (luma[i] - inizio) / ampiezza;
      float peso = 0.0f;  // a NaN falls here too
      if (t > 0.0f) peso = t >= 1.0f ? 1.0f : t * t;
      for (int c = 0; c < 3; ++c) alone[c][i] = img[i * 3 + static_cast<size_t>(c)] * peso;
    }
  });
  for (Piano& a : alone) blur_su_ridotta(a, q.larghezza, q.altezza, m.raggio, m.riduzione);
  return alone;
}

}  // namespace varno
