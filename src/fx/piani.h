// What the stages share around the kernels: borrowed planes, the enlargement
// tables, the tail of the chain, and the row loops that hand rows to the
// kernels through parallel_for.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "fx/fx.h"
#include "fx/nuclei.h"
#include "render/scorta.h"

namespace varno {

// A borrowed plane of w x h floats with the room the kernels read past its end.
class PianoPrestato {
 public:
  PianoPrestato(int64_t w, int64_t h) : w_(w), h_(h), p_(static_cast<size_t>(w * h + kMarginePiano)) {}
  float* dati() { return p_.data(); }
  int64_t w() const { return w_; }
  int64_t h() const { return h_; }

 private:
  int64_t w_, h_;
  Prestito p_;
};

// Reduced size of a side: integer division, at least one sample.
inline int64_t lato_ridotto(int64_t lato, int32_t riduzione) {
  const int64_t r = lato / riduzione;
  return r > 1 ? r : 1;
}

// Where each vector of full-size columns finds its samples in a plane reduced
// by `riduzione` to w2 x h2, for the kernels of `k`.
class Tabella {
 public:
  Tabella(const Nuclei& k, int64_t larghezza, int32_t riduzione, int64_t w2, int64_t h2);
  const Ingrandimento& ingrandimento() const { return g_; }

 private:
  std::vector<int32_t> base_, indice0_, indice1_;
  std::vector<float> tx_;
  Ingrandimento g_;
};

// The vignette and the grain, laid over the pixels of whichever pass writes
// the picture last before them.
class CodaCatena {
 public:
  CodaCatena(const Nuclei& k, const Quadro& q, float vignetta, float grana, int32_t fotogramma);
  bool vuota() const { return c_.vignetta == nullptr && c_.rumore == nullptr && c_.uscita == nullptr; }
  // The last pass writes the output rather than the picture.
  void scrivi_in(const Uscita* u) { c_.uscita = u; }
  const Coda& coda() const { return c_; }

 private:
  std::shared_ptr<const std::vector<float>> maschera_;
  std::optional<PianoPrestato> rumore_;
  std::optional<Tabella> celle_;
  Coda c_;
};

// Reduced rows 0 .. h2 - 1 through the kernel, spread over threads.
void riduci(const Nuclei& k, const ParamRiduzione& p, int64_t h2);
// Every row of the picture through the composite kernel, spread over threads.
void componi(const Nuclei& k, const ParamComposto& p);

// The blurs on bare planes of w x h floats; box_blur's first pass may read
// another plane than the one it leaves its result in.
void box_blur(const Nuclei& k, float* piano, int64_t w, int64_t h, int64_t raggio, int32_t passate,
              const float* sorgente = nullptr);
void passate_orizzontali(const Nuclei& k, float* piano, int64_t w, int64_t h, int64_t raggio, int32_t passate);

// A mask of luma (and the picture) reduced by `riduzione` into the planes
// `uscite`, rows `passo` apart.
void riduci_maschera(const Nuclei& k, Maschera m, const Piano& luma, const Immagine* img, const Quadro& q,
                     int32_t riduzione, float* const* uscite, int64_t passo);

// A glow stage's reduced planes, borrowed before the pass that reduces into
// them runs: the stage's own reduction, or in the chain the last pass of the
// stage before it. A border of `bordo` zeros runs all round each plane (the
// star's taps fall on it off the plane). White Pro-Mist also keeps the blocks
// of its frame mean.
class Ridotti {
 public:
  Ridotti(Maschera m, const Quadro& q, int32_t riduzione, int64_t bordo = 0);
  Ridotti(const Ridotti&) = delete;
  Ridotti& operator=(const Ridotti&) = delete;

  // A pass reducing into these planes: the masks read luma from the plane
  // when the pass leaves it as it was; `blocchi`: the pass sums the frame
  // mean's blocks too.
  Prossima prossima(bool luma_dal_piano, bool blocchi);
  // The reduction as a pass of its own.
  void riduci(const Nuclei& k, const Piano& luma, const Immagine& img, const Quadro& q);
  // The frame mean's blocks summed from the luma plane, where the pass that
  // reduced could not.
  float* blocchi(const Nuclei& k, const Piano& luma, const Quadro& q);

  Maschera maschera() const { return m_; }
  int piani() const { return piani_; }
  int32_t riduzione() const { return f_; }
  int64_t w2() const { return w2_; }
  int64_t h2() const { return h2_; }
  int64_t passo() const { return passo_; }
  float* piano(int i) { return origine_[i]; }

 private:
  Maschera m_;
  int piani_;
  int32_t f_;
  int64_t w2_, h2_, passo_;
  std::optional<Prestito> p_[4];
  std::optional<Prestito> blocchi_;
  bool blocchi_fatti_ = false;
  float* origine_[4] = {};
};

// The stages made of a reduced mask, a blur and a composite: which mask, how
// far it is reduced, the blur's radius (on full-size pixels), whether it
// blurs along rows only and whether the composite enlarges the planes.
struct Bagliore {
  Maschera maschera;
  Composto composto;
  int32_t riduzione;
  int32_t raggio;
  bool orizzontale;
  bool ingrandisce;
};
// Stage i of the chain's order (halation 2, bloom 3, streak 4, Black Pro-Mist
// 5, the star 6, White Pro-Mist 7, Glimmerglass 8) on a frame.
Bagliore bagliore_di(int i, const Quadro& q);
// The star's reach on each side of a source, in reduced samples.
int64_t mezza_stella(const Quadro& q);

// A glow stage once its planes hold its reduction: its blur and composite
// (the star's rays, White Pro-Mist's frame mean with them).
void completa(int i, Ridotti& r, Immagine& img, const Piano& luma, const Quadro& q, const FxRicetta& ricetta,
              const Seguito& poi);
void completa_stella(Ridotti& r, Immagine& img, const Quadro& q, float stella, int32_t punte, const Seguito& poi);
void completa_mistw(Ridotti& r, Immagine& img, const Piano& luma, const Quadro& q, float mistw, const Seguito& poi);

// Enhance and skin diffusion: luma blurred at full size, the detail between
// them carried to the picture.
void dettaglio_locale(Composto tipo, Immagine& img, const Piano& luma, const Quadro& q, int32_t raggio, float quanto,
                      const Seguito& poi);

// Glow stage i by itself: its reduction as a pass of its own, then the rest.
void bagliore(int i, Immagine& img, const Piano& luma, const Quadro& q, const FxRicetta& ricetta,
              const Seguito& poi);

// The sum of the w x h values at x in index order in double, as one thread
// adding value after value gets it, from the blocks the kernels summed (rows
// of kBloccoSomma values, kFloatBlocco floats each); and the same with the
// blocks summed here.
double somma_in_ordine(const float* x, int64_t w, int64_t h, const float* blocchi);
double somma_in_ordine(const Nuclei& k, const float* x, int64_t w, int64_t h);

// The composite's frame, refresh and tail from a stage's Seguito.
ParamComposto composto(Composto tipo, Immagine& img, const Quadro& q, float quanto, const Seguito& poi);

}  // namespace varno
