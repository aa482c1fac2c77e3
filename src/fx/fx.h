// The effect chain over a graded frame, and its stages.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "fx/ricetta.h"
#include "tipi.h"

namespace varno {

// Frame-size values worked out once by the chain and read by the stages.
struct Quadro {
  int32_t larghezza = 0;
  int32_t altezza = 0;
  int32_t lato_max = 0;
  int32_t riduzione = 1;
  int32_t raggio_enhance = 0;
  int32_t raggio_halation = 0;
  int32_t raggio_bloom = 0;
};

// Round to nearest, halves away from zero, of a product taken in double;
// saturates to the 32-bit range.
int32_t arrotonda_raggio(double prodotto);
int32_t calcola_riduzione(int32_t lato_max);
Quadro calcola_quadro(int32_t larghezza, int32_t altezza);

inline float luma_pixel(const float* p) { return luminanza(p[0], p[1], p[2]); }
// Recomputes the whole plane from the live picture.
void aggiorna_luma(const Immagine& img, Piano& luma, const Quadro& q);

// Whether the chain's first pass over the picture only takes its luma (enhance
// or skin diffusion runs first): the caller may then work the plane out as it
// writes the picture and hand it to applica_fx, which skips that pass.
bool luma_prima(const FxRicetta& ricetta);

struct Uscita;
// Runs the twelve stages in order on img, in place. luma, when given and
// luma_prima holds, is the picture's luma and becomes the chain's plane.
// With uscita, the last pass writes the render's output instead of the
// picture (which is then left part way); true when it did.
bool applica_fx(Immagine& img, int32_t larghezza, int32_t altezza, const FxRicetta& ricetta, Piano* luma = nullptr,
                const Uscita* uscita = nullptr);

struct Coda;
struct Prossima;
// What a stage adds to the last pass over its pixels: luma refreshed from what
// it writes, the chain's closing per-pixel stages laid over them, or the next
// stage's reduction of them.
struct Seguito {
  Piano* luma = nullptr;
  const Coda* coda = nullptr;
  const Prossima* prossima = nullptr;
};

// The stages. Each reads the picture as the previous stage left it and writes
// it back; luma is the plane it reads, which `poi.luma` may be too.
void fx_enhance(Immagine& img, const Piano& luma, const Quadro& q, float enhance, const Seguito& poi = {});
void fx_pelle(Immagine& img, const Piano& luma, const Quadro& q, float pelle, const Seguito& poi = {});
void fx_halation(Immagine& img, const Piano& luma, const Quadro& q, float halation, const Seguito& poi = {});
void fx_bloom(Immagine& img, const Piano& luma, const Quadro& q, float bloom, const Seguito& poi = {});
void fx_streak(Immagine& img, const Piano& luma, const Quadro& q, float streak, const Seguito& poi = {});
void fx_promist(Immagine& img, const Piano& luma, const Quadro& q, float promist, const Seguito& poi = {});
void fx_stella(Immagine& img, const Piano& luma, const Quadro& q, float stella, int32_t punte,
               const Seguito& poi = {});
void fx_mistw(Immagine& img, const Piano& luma, const Quadro& q, float mistw, const Seguito& poi = {});
void fx_glimmer(Immagine& img, const Piano& luma, const Quadro& q, float glimmer, const Seguito& poi = {});
void fx_aberrazione(Immagine& img, const Quadro& q, float ca, const Coda* coda = nullptr);
void fx_vignetta(Immagine& img, const Quadro& q, float vignetta);
void fx_grana(Immagine& img, const Quadro& q, float grana, int32_t fotogramma);

// Film grain's hash of a cell and a frame number: a value in 0 up to 1.
float hash_grana(uint32_t x, uint32_t y, uint32_t f);

// The vignette's mask for a frame size: one per process, shared by every
// instance, rebuilt only when the size changes. The pointer keeps the mask
// alive for whoever holds it, even if another size replaces it meanwhile.
std::shared_ptr<const std::vector<float>> vignetta_mask(int32_t larghezza, int32_t altezza);
// Number of times the mask has been built since the process started.
uint64_t vignetta_costruzioni();

}  // namespace varno
