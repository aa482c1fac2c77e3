#include "fx/piani.h"

#include <algorithm>

#include "render/parallelo.h"

namespace varno {

namespace {

// A plane that no cache holds: passes over it stream.
bool grande(int64_t w, int64_t h) { return w * h >= (int64_t{1} << 22); }

// Rows go in bands of one per lane; each band turns through a borrowed scratch.
void orizzontale(const Nuclei& k, const float* src, float* dst, int64_t w, int64_t h, int64_t raggio) {
  const int64_t banda = k.corsie;
  parallel_for(static_cast<uint64_t>((h + banda - 1) / banda), [&](uint64_t b) {
    const int64_t y = static_cast<int64_t>(b) * banda;
    Prestito appoggio(static_cast<size_t>(2 * w * banda));
    k.orizzontale(src + y * w, dst + y * w, w, std::min(banda, h - y), w, raggio, appoggio.data());
  });
}

// Columns go in groups of whole vectors, never so wide that a plane of
// sixteen vectors or more would run on one thread.
template <class Corpo>
void per_gruppi(const Nuclei& k, int64_t w, Corpo&& corpo) {
  const int64_t n = k.corsie;
  const int64_t gruppo = std::clamp<int64_t>(w / 16 / n * n, n, kColonneVerticali);
  parallel_for(static_cast<uint64_t>((w + gruppo - 1) / gruppo), [&](uint64_t g) {
    const int64_t x = static_cast<int64_t>(g) * gruppo;
    corpo(x, std::min(gruppo, w - x));
  });
}

void verticale(const Nuclei& k, const float* src, float* dst, int64_t w, int64_t h, int64_t raggio) {
  per_gruppi(k, w, [&](int64_t x, int64_t colonne) { k.verticale(src + x, dst + x, w, h, colonne, raggio, grande(w, h)); });
}

}  // namespace

Tabella::Tabella(const Nuclei& k, int64_t larghezza, int32_t riduzione, int64_t w2, int64_t h2) {
  const int64_t n = k.corsie;
  const int64_t colonne = (larghezza + n - 1) / n * n;
  base_.assign(static_cast<size_t>(colonne / n), 0);
  indice0_.assign(static_cast<size_t>(colonne), 0);
  indice1_.assign(static_cast<size_t>(colonne), 0);
  tx_.assign(static_cast<size_t>(colonne), 0.0f);
  const float f = static_cast<float>(riduzione);
  for (int64_t x = 0; x < larghezza; ++x) {
    const float fx = static_cast<float>(x) / f;
    const int64_t x0 = std::min<int64_t>(w2 - 1, static_cast<int64_t>(fx));
    const int64_t x1 = std::min<int64_t>(w2 - 1, x0 + 1);
    if (x % n == 0) base_[static_cast<size_t>(x / n)] = static_cast<int32_t>(x0);
    const int64_t b = base_[static_cast<size_t>(x / n)];
    indice0_[static_cast<size_t>(x)] = static_cast<int32_t>(x0 - b);
    indice1_[static_cast<size_t>(x)] = static_cast<int32_t>(x1 - b);
    tx_[static_cast<size_t>(x)] = fx - static_cast<float>(x0);
  }
  g_.riduzione = riduzione;
  g_.w2 = w2;
  g_.h2 = h2;
  g_.base = base_.data();
  g_.indice0 = indice0_.data();
  g_.indice1 = indice1_.data();
  g_.tx = tx_.data();
}

CodaCatena::CodaCatena(const Nuclei& k, const Quadro& q, float vignetta, float grana, int32_t fotogramma) {
  if (q.larghezza < 1 || q.altezza < 1) return;
  if (vignetta > 0.0f) {
    maschera_ = vignetta_mask(q.larghezza, q.altezza);
    c_.vignetta = maschera_->data();
    c_.quanto_vignetta = vignetta;
  }
  if (grana > 0.0f) {
    // The grain keeps its cell of 2 pixels at any frame size.
    const int64_t wg = (int64_t{q.larghezza} + 1) / 2, hg = (int64_t{q.altezza} + 1) / 2;
    rumore_.emplace(wg, hg);
    float* r = rumore_->dati();
    const uint32_t f = static_cast<uint32_t>(fotogramma);
    parallel_for(static_cast<uint64_t>(hg),
                 [&](uint64_t y) { k.rumore(r + static_cast<int64_t>(y) * wg, wg, static_cast<uint32_t>(y), f); });
    celle_.emplace(k, q.larghezza, 2, wg, hg);
    c_.rumore = r;
    c_.celle = celle_->ingrandimento();
    c_.grana = grana;
  }
}

void riduci(const Nuclei& k, const ParamRiduzione& p, int64_t h2) {
  parallel_for(static_cast<uint64_t>(h2), [&](uint64_t Y) { k.riduci(p, static_cast<int64_t>(Y)); });
}

void componi(const Nuclei& k, const ParamComposto& p) {
  const int64_t bande = p.ingrandimento.riduzione > 0 ? p.ingrandimento.h2 : p.altezza;
  parallel_for(static_cast<uint64_t>(bande), [&](uint64_t b) { k.componi(p, static_cast<int64_t>(b)); });
}

void riduci_maschera(const Nuclei& k, Maschera m, const Piano& luma, const Immagine* img, const Quadro& q,
                     int32_t riduzione, float* const* uscite, int64_t passo) {
  ParamRiduzione p;
  p.maschera = m;
  p.luma = luma.data();
  p.img = img != nullptr ? img->data() : nullptr;
  p.larghezza = q.larghezza;
  p.altezza = q.altezza;
  p.riduzione = riduzione;
  p.w2 = lato_ridotto(q.larghezza, riduzione);
  for (int i = 0; i < 4; ++i) p.uscite[i] = uscite[i];
  p.passo = passo;
  riduci(k, p, lato_ridotto(q.altezza, riduzione));
}

ParamComposto composto(Composto tipo, Immagine& img, const Quadro& q, float quanto, const Seguito& poi) {
  ParamComposto p;
  p.tipo = tipo;
  p.img = img.data();
  p.larghezza = q.larghezza;
  p.altezza = q.altezza;
  p.quanto = quanto;
  p.luma_nuova = poi.luma != nullptr ? poi.luma->data() : nullptr;
  if (poi.coda != nullptr) p.coda = *poi.coda;
  return p;
}

void dettaglio_locale(Composto tipo, Immagine& img, const Piano& luma, const Quadro& q, int32_t raggio, float quanto,
                      const Seguito& poi) {
  if (q.larghezza < 1 || q.altezza < 1) return;
  const Nuclei& k = nuclei();
  const int64_t w = q.larghezza, h = q.altezza;
  // Five passes of the blur between two planes; the sixth feeds the composite.
  PianoPrestato sfocata(w, h);
  Prestito scratch(static_cast<size_t>(w * h));
  const float* sorgente = luma.data();
  for (int i = 0; i < 2; ++i) {
    orizzontale(k, sorgente, scratch.data(), w, h, raggio);
    verticale(k, scratch.data(), sfocata.dati(), w, h, raggio);
    sorgente = sfocata.dati();
  }
  orizzontale(k, sorgente, scratch.data(), w, h, raggio);
  ParamComposto p = composto(tipo, img, q, quanto, poi);
  p.luma = luma.data();
  per_gruppi(k, w, [&](int64_t x, int64_t colonne) { k.verticale_componi(p, scratch.data(), x, colonne, raggio); });
}

void bagliore(Maschera m, Composto tipo, Immagine& img, const Piano& luma, const Quadro& q, int32_t raggio,
              int32_t riduzione, float quanto, const Seguito& poi) {
  if (q.larghezza < 1 || q.altezza < 1) return;
  const Nuclei& k = nuclei();
  const int piani = m == Maschera::alone_nero ? 3 : 1;
  const int32_t f = riduzione < 2 ? 1 : riduzione;
  const int64_t w2 = lato_ridotto(q.larghezza, f), h2 = lato_ridotto(q.altezza, f);
  std::optional<PianoPrestato> p[3];
  float* uscite[4] = {};
  for (int i = 0; i < piani; ++i) uscite[i] = p[i].emplace(w2, h2).dati();
  riduci_maschera(k, m, luma, &img, q, f, uscite, w2);
  for (int i = 0; i < piani; ++i) box_blur(k, uscite[i], w2, h2, f < 2 ? raggio : std::max(1, raggio / f), 3);
  ParamComposto c = composto(tipo, img, q, quanto, poi);
  for (int i = 0; i < piani; ++i) c.piani[i] = uscite[i];
  std::optional<Tabella> t;
  if (f >= 2) c.ingrandimento = t.emplace(k, q.larghezza, f, w2, h2).ingrandimento();
  componi(k, c);
}

void box_blur(const Nuclei& k, float* piano, int64_t w, int64_t h, int64_t raggio, int32_t passate,
              const float* sorgente) {
  if (raggio < 1 || w < 1 || h < 1 || passate < 1) return;
  Prestito scratch(static_cast<size_t>(w * h));
  for (int32_t i = 0; i < passate; ++i) {
    orizzontale(k, i == 0 && sorgente != nullptr ? sorgente : piano, scratch.data(), w, h, raggio);
    verticale(k, scratch.data(), piano, w, h, raggio);
  }
}

void passate_orizzontali(const Nuclei& k, float* piano, int64_t w, int64_t h, int64_t raggio, int32_t passate) {
  for (int32_t i = 0; i < passate; ++i) orizzontale(k, piano, piano, w, h, raggio);
}

}  // namespace varno
