#include "fx/fx.h"
namespace varno {
int32_t arrotonda_raggio(double p) { return static_cast<int32_t>(p); }
int32_t calcola_riduzione(int32_t) { return 1; }
Quadro calcola_quadro(int32_t w, int32_t h) { Quadro q; q.larghezza = w; q.altezza = h; return q; }
void aggiorna_luma(const Immagine&, Piano&, const Quadro&) {}
void applica_fx(Immagine&, int32_t, int32_t, const FxRicetta&) {}
}  // namespace varno
