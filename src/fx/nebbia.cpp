#include "fx/nebbia.h"

#include "fx/blur.h"
#include "fx/campiona.h"

namespace varno {

MisuraNebbia misura_nebbia(const Quadro& q) {
  int32_t raggio = arrotonda_raggio(0.035 * q.lato_max);
  if (raggio < 3) raggio = 3;
  return {raggio, q.riduzione < 2 ? 2 : q.riduzione};
}

void alone_colorato(const Immagine& img, const Piano& luma, const Quadro& q, float inizio, float ampiezza,
                    const MisuraNebbia& m, Piano* const alone[3]) {
  per_pixel(q, [&](size_t i) {
    const float t = rampa(luma[i], inizio, ampiezza);
    const float peso = t * t;
    for (int c = 0; c < 3; ++c) (*alone[c])[i] = img[i * 3 + static_cast<size_t>(c)] * peso;
  });
  for (int c = 0; c < 3; ++c) blur_su_ridotta(*alone[c], q.larghezza, q.altezza, m.raggio, m.riduzione);
}

}  // namespace varno
