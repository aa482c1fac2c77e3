// Anamorphic streak: a long, thin, blue horizontal flare through the
// brightest points.
#include <algorithm>

#include "fx/fx.h"
#include "fx/piani.h"

namespace varno {

void fx_streak(Immagine& img, const Piano& luma, const Quadro& q, float streak, const Seguito& poi) {
  if (q.larghezza <= 0 || q.altezza <= 0) return;
  const Nuclei& k = nuclei();
  // Through a reduced copy even at factor 1, three passes along its rows; the
  // mask comes from the luma handed in, which may predate bloom.
  const int32_t f = std::max(1, q.riduzione);
  const int64_t w2 = lato_ridotto(q.larghezza, f), h2 = lato_ridotto(q.altezza, f);
  PianoPrestato copia(w2, h2);
  float* uscite[4] = {copia.dati()};
  riduci_maschera(k, Maschera::streak, luma, nullptr, q, f, uscite, w2);
  // The width alone sets the length, also on a portrait frame.
  const int32_t raggio = std::max(4, arrotonda_raggio(0.1 * q.larghezza));
  passate_orizzontali(k, copia.dati(), w2, h2, std::max(1, raggio / f), 3);
  const Tabella t(k, q.larghezza, f, w2, h2);
  ParamComposto c = composto(Composto::streak, img, q, streak, poi);
  c.piani[0] = copia.dati();
  c.ingrandimento = t.ingrandimento();
  componi(k, c);
}

}  // namespace varno
