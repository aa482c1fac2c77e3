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
  bool vuota() const { return c_.vignetta == nullptr && c_.rumore == nullptr; }
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

// Enhance and skin diffusion: luma blurred at full size, the detail between
// them carried to the picture.
void dettaglio_locale(Composto tipo, Immagine& img, const Piano& luma, const Quadro& q, int32_t raggio, float quanto,
                      const Seguito& poi);

// A glow: `piani` masks of luma (and the picture) reduced by `riduzione` (kept
// at full size below 2), blurred at raggio / riduzione, laid over the picture.
void bagliore(Maschera m, Composto tipo, Immagine& img, const Piano& luma, const Quadro& q, int32_t raggio,
              int32_t riduzione, float quanto, const Seguito& poi);

// The sum of the w x h values at x in index order in double, as one thread
// adding value after value gets it, from the blocks the kernels summed (rows
// of kBloccoSomma values, kFloatBlocco floats each); and the same with the
// blocks summed here.
double somma_in_ordine(const float* x, int64_t w, int64_t h, const float* blocchi);
double somma_in_ordine(const Nuclei& k, const float* x, int64_t w, int64_t h);

// The composite's frame, refresh and tail from a stage's Seguito.
ParamComposto composto(Composto tipo, Immagine& img, const Quadro& q, float quanto, const Seguito& poi);

}  // namespace varno
