#include "fx/piani.h"

#include <algorithm>
#include <cmath>

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

// Columns go in groups of whole vectors (and of whole blocks of `multiplo`
// columns), never so wide that a plane of sixteen groups or more would run on
// one thread.
template <class Corpo>
void per_gruppi(const Nuclei& k, int64_t w, Corpo&& corpo, int64_t multiplo = 1) {
  const int64_t n = k.corsie * multiplo;
  const int64_t gruppo = std::clamp<int64_t>(w / 16 / n * n, n, kColonneVerticali / n * n);
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
  const int64_t bande = p.prossima != nullptr               ? p.prossima->h2
                        : p.ingrandimento.riduzione > 0 ? p.ingrandimento.h2
                                                        : p.altezza;
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
  p.prossima = poi.prossima;
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
  per_gruppi(
      k, w, [&](int64_t x, int64_t colonne) { k.verticale_componi(p, scratch.data(), x, colonne, raggio); },
      poi.prossima != nullptr ? poi.prossima->riduzione : 1);
}

Ridotti::Ridotti(Maschera m, const Quadro& q, int32_t riduzione, int64_t bordo)
    : m_(m),
      piani_(m == Maschera::alone_bianco ? 4 : (m == Maschera::alone_nero ? 3 : 1)),
      f_(riduzione),
      w2_(lato_ridotto(q.larghezza, riduzione)),
      h2_(lato_ridotto(q.altezza, riduzione)),
      passo_(w2_ + 2 * bordo) {
  // Room past the end for the kernels' whole-vector reads (four vectors
  // for the star's).
  const int64_t righe = h2_ + 2 * bordo;
  for (int i = 0; i < piani_; ++i) {
    Prestito& p = p_[i].emplace(static_cast<size_t>(passo_ * righe + 4 * kMarginePiano));
    origine_[i] = p.data() + bordo * passo_ + bordo;
    if (bordo == 0) continue;
    float* const inizio = p.data();
    std::fill(inizio, origine_[i], 0.0f);
    for (int64_t y = 0; y < h2_; ++y) std::fill(origine_[i] + y * passo_ + w2_, origine_[i] + y * passo_ + passo_, 0.0f);
    std::fill(origine_[i] + h2_ * passo_ - bordo, inizio + p->size(), 0.0f);
  }
  if (m == Maschera::alone_bianco) {
    const int64_t per_riga = (int64_t{q.larghezza} + kBloccoSomma - 1) / kBloccoSomma;
    blocchi_.emplace(static_cast<size_t>(int64_t{q.altezza} * per_riga * kFloatBlocco));
  }
}

Prossima Ridotti::prossima(bool luma_dal_piano, bool blocchi) {
  Prossima p;
  p.maschera = m_;
  p.riduzione = f_;
  p.w2 = w2_;
  p.h2 = h2_;
  for (int i = 0; i < piani_; ++i) p.uscite[i] = origine_[i];
  p.passo = passo_;
  p.luma_dal_piano = luma_dal_piano;
  if (blocchi && blocchi_) {
    p.blocchi = blocchi_->data();
    blocchi_fatti_ = true;
  }
  return p;
}

void Ridotti::riduci(const Nuclei& k, const Piano& luma, const Immagine& img, const Quadro& q) {
  ParamRiduzione p;
  p.maschera = m_;
  p.luma = luma.data();
  p.img = img.data();
  p.larghezza = q.larghezza;
  p.altezza = q.altezza;
  p.riduzione = f_;
  p.w2 = w2_;
  for (int i = 0; i < piani_; ++i) p.uscite[i] = origine_[i];
  p.passo = passo_;
  if (!blocchi_) return varno::riduci(k, p, h2_);
  // White Pro-Mist sums its frame mean's blocks of the rows each item reads.
  const int64_t w = q.larghezza, h = q.altezza, per_riga = (w + kBloccoSomma - 1) / kBloccoSomma;
  float* const b = blocchi_->data();
  parallel_for(static_cast<uint64_t>(h2_), [&](uint64_t yy) {
    const int64_t Y = static_cast<int64_t>(yy);
    k.riduci(p, Y);
    const int64_t fine = Y == h2_ - 1 ? h : std::min(h, (Y + 1) * f_);
    for (int64_t y = Y * f_; y < fine; ++y) k.somme(luma.data() + y * w, w, b + y * per_riga * kFloatBlocco);
  });
  blocchi_fatti_ = true;
}

float* Ridotti::blocchi(const Nuclei& k, const Piano& luma, const Quadro& q) {
  if (!blocchi_) return nullptr;
  if (!blocchi_fatti_) {
    const int64_t w = q.larghezza, per_riga = (w + kBloccoSomma - 1) / kBloccoSomma;
    float* const b = blocchi_->data();
    parallel_for(static_cast<uint64_t>(q.altezza), [&](uint64_t y) {
      k.somme(luma.data() + static_cast<int64_t>(y) * w, w, b + static_cast<int64_t>(y) * per_riga * kFloatBlocco);
    });
    blocchi_fatti_ = true;
  }
  return blocchi_->data();
}

int64_t mezza_stella(const Quadro& q) {
  // Reach follows the width alone, so a tall frame gets rays sized to its narrow side.
  const long m = std::lround((static_cast<double>(q.larghezza) * 0.09) / static_cast<double>(q.riduzione));
  return m < 3 ? 3 : m;
}

Bagliore bagliore_di(int i, const Quadro& q) {
  const int32_t nebbia = std::max(3, arrotonda_raggio(0.035 * q.lato_max));
  const int32_t f = q.riduzione;
  switch (i) {
    case 2: return {Maschera::halation, Composto::halation, std::max(1, f), std::max<int32_t>(2, q.raggio_halation), false, f >= 2};
    case 3: return {Maschera::bloom, Composto::bloom, std::max(1, f), std::max<int32_t>(1, q.raggio_bloom), false, f >= 2};
    // The width alone sets the streak's length, also on a portrait frame; it
    // goes through a copy even at factor 1.
    case 4: return {Maschera::streak, Composto::streak, std::max(1, f), std::max(4, arrotonda_raggio(0.1 * q.larghezza)), true, true};
    case 5: return {Maschera::alone_nero, Composto::promist, std::max(2, f), nebbia, false, true};
    case 6: return {Maschera::stella, Composto::stella, f, 0, false, true};
    case 7: return {Maschera::alone_bianco, Composto::mistw, std::max(2, f), nebbia, false, true};
    // Glimmerglass: the reduction as it stands, so a frame under 1920 blurs at full size.
    default: return {Maschera::glimmer, Composto::glimmer, std::max(1, f), std::max(2, arrotonda_raggio(0.008 * q.lato_max)), false, f >= 2};
  }
}

void completa(int i, Ridotti& r, Immagine& img, const Piano& luma, const Quadro& q, const FxRicetta& ricetta,
              const Seguito& poi) {
  if (i == 6) return completa_stella(r, img, q, ricetta.stella, ricetta.punte, poi);
  if (i == 7) return completa_mistw(r, img, luma, q, ricetta.mistw, poi);
  const Nuclei& k = nuclei();
  const Bagliore b = bagliore_di(i, q);
  const int64_t w2 = r.w2(), h2 = r.h2();
  const int32_t raggio = b.riduzione < 2 ? b.raggio : std::max(1, b.raggio / b.riduzione);
  for (int p = 0; p < r.piani(); ++p) {
    if (b.orizzontale)
      passate_orizzontali(k, r.piano(p), w2, h2, raggio, 3);
    else
      box_blur(k, r.piano(p), w2, h2, raggio, 3);
  }
  const float quanti[9] = {0, 0, ricetta.halation, ricetta.bloom, ricetta.streak, ricetta.promist, 0, 0, ricetta.glimmer};
  ParamComposto c = composto(b.composto, img, q, quanti[i], poi);
  for (int p = 0; p < r.piani(); ++p) c.piani[p] = r.piano(p);
  // Bloom leaves luma as it was: a reduction riding on it reads the plane.
  c.luma = luma.data();
  std::optional<Tabella> t;
  if (b.ingrandisce) c.ingrandimento = t.emplace(k, q.larghezza, b.riduzione, w2, h2).ingrandimento();
  componi(k, c);
}

void bagliore(int i, Immagine& img, const Piano& luma, const Quadro& q, const FxRicetta& ricetta,
              const Seguito& poi) {
  if (q.larghezza < 1 || q.altezza < 1) return;
  const Bagliore b = bagliore_di(i, q);
  Ridotti r(b.maschera, q, b.riduzione, i == 6 ? mezza_stella(q) : 0);
  r.riduci(nuclei(), luma, img, q);
  completa(i, r, img, luma, q, ricetta, poi);
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
