// The row kernels of the effect chain. Each instruction-set variant
// (nuclei_sse2.cpp, nuclei_avx2.cpp, nuclei_avx512.cpp) fills one table from
// one body; nuclei() hands out the widest the processor has (or a test
// allowed), and every variant gives the bits of the one-pixel rules.
#pragma once

#include <cstdint>

#include "render/cpu.h"

namespace varno {

// Floats of room a plane read by the kernels keeps past its last sample: the
// enlargement reads a whole vector from any sample on, aberration two.
constexpr int64_t kMarginePiano = 32;
// Widest column group one vertical pass takes.
constexpr int64_t kColonneVerticali = 256;
// Values of one block of the frame mean's sum.
constexpr int64_t kBloccoSomma = 256;

// What a reduction builds from luma (and the picture) before taking block means.
enum class Maschera : int32_t {
  luma,          // the plane itself
  halation,      // ramp from 0.62 to the power 1.6
  bloom,         // L t t, from 0.72
  streak,        // t t L, from 0.8
  stella,        // t t l, from 0.85, l itself from t = 1
  glimmer,       // l t, from 0.55
  alone_nero,    // each channel times t t, from 0.45: three planes
  alone_bianco,  // luma, then each channel times t t from 0.35: four planes
};

struct ParamRiduzione {
  Maschera maschera = Maschera::luma;
  const float* luma = nullptr;
  const float* img = nullptr;
  int64_t larghezza = 0, altezza = 0;
  int32_t riduzione = 1;
  int64_t w2 = 0;
  float* uscite[4] = {};     // one plane per output, row Y at uscite[k] + Y * passo
  int64_t passo = 0;
};

// A plane a composite reads: as it stands (riduzione 0) or enlarged from a
// copy reduced by riduzione, whose columns' samples and weights are in tabella.
struct Ingrandimento {
  int32_t riduzione = 0;
  int64_t w2 = 0, h2 = 0;
  const int32_t* base = nullptr;    // first sample of each vector of columns
  const int32_t* indice0 = nullptr; // per column: x0 - base of its vector
  const int32_t* indice1 = nullptr; // per column: x1 - base of its vector
  const float* tx = nullptr;        // per column
};

// Where the frame's last pass leaves its pixels when they are the render's
// output: frame row y is the host image's row at dati + (y + dy) * row_bytes,
// column x its pixel x + dx (four floats), for rows ya .. yb - 1 and columns
// xa .. xb - 1 of the frame, which lie inside the image; alpha comes from
// the plane the grading set aside, a float a frame pixel.
struct Uscita {
  char* dati = nullptr;
  int64_t row_bytes = 0;
  int64_t dx = 0, dy = 0;
  int64_t xa = 0, xb = 0, ya = 0, yb = 0;
  const float* alfa = nullptr;
};

// The per-pixel stages at the end of the chain, laid over a composite's
// pixels after it: the vignette's mask, then the grain's noise grid; then,
// when given, the output written in place of the picture.
struct Coda {
  const float* vignetta = nullptr;
  float quanto_vignetta = 0.0f;
  const float* rumore = nullptr;  // cells of 2 x 2
  Ingrandimento celle;
  float grana = 0.0f;
  const Uscita* uscita = nullptr;
};

// A stage's reduction done by the pass that writes the picture before it: the
// stage's masks of the pixels as that pass leaves them, reduced by riduzione
// into w2 x h2 planes. The pass then walks the frame in bands of riduzione rows.
struct Prossima {
  Maschera maschera = Maschera::luma;
  int32_t riduzione = 1;
  int64_t w2 = 0, h2 = 0;
  float* uscite[4] = {};
  int64_t passo = 0;
  // The pass leaves luma as it was (bloom): the masks read it from the plane.
  bool luma_dal_piano = false;
  // White Pro-Mist's frame mean: the blocks of the luma its masks use.
  float* blocchi = nullptr;
};

enum class Composto : int32_t { nessuno, enhance, pelle, halation, bloom, streak, promist, stella, mistw, glimmer };

struct ParamComposto {
  Composto tipo = Composto::nessuno;
  float* img = nullptr;
  int64_t larghezza = 0, altezza = 0;
  const float* luma = nullptr;   // enhance and skin diffusion read it
  float* luma_nuova = nullptr;   // refreshed here when given
  float quanto = 0.0f;
  float media = 0.0f;            // White Pro-Mist's frame mean
  const float* piani[4] = {};
  Ingrandimento ingrandimento;   // how the planes are read
  Coda coda;
  const Prossima* prossima = nullptr;  // never together with a tail
  bool scrivi = true;                  // false: the pass only reads the picture
};

struct ParamAberrazione {
  float* img = nullptr;
  int64_t larghezza = 0, altezza = 0;
  const float* colonna_dx = nullptr;   // x - cx
  const float* colonna_nx2 = nullptr;  // ((x - cx) / cx)^2
  float cx = 0, cy = 0, lx = 0, ly = 0, forza = 0;
  Coda coda;
};

// One block of the frame mean: its sum in double (in any order), the sum of
// magnitudes, the exponent of the finest unit among its non-zero values, and
// whether all are finite. Kept as kFloatBlocco floats a block.
struct BloccoSomma {
  double somma = 0.0;
  double modulo = 0.0;
  int32_t unita = 0;
  int32_t finito = 1;
};
constexpr int64_t kFloatBlocco = 6;
void scrivi_blocco(const BloccoSomma& b, float* f);
BloccoSomma leggi_blocco(const float* f);

struct Nuclei {
  Isa isa;
  int32_t corsie;  // floats a vector: the row count of a horizontal pass's band
  // Luminance of n RGB pixels.
  void (*luma)(const float* rgb, float* luma, int64_t n);
  // Running sums along `righe` (at most corsie) rows of n samples, src to dst,
  // rows `passo` apart; `appoggio` holds 2 * n * corsie floats.
  void (*orizzontale)(const float* src, float* dst, int64_t passo, int64_t righe, int64_t n, int64_t raggio,
                      float* appoggio);
  // Running sums down `colonne` (at most kColonneVerticali) adjacent columns of
  // h rows. `flusso`: dst is far larger than the caches, so its stores bypass them.
  void (*verticale)(const float* src, float* dst, int64_t passo, int64_t h, int64_t colonne, int64_t raggio,
                    bool flusso);
  // Reduced row Y of every output.
  void (*riduci)(const ParamRiduzione& p, int64_t Y);
  // Band b of the picture: the rows of the next stage's reduced row b when a
  // reduction rides on the pass; else row b where the planes are read as they
  // stand, or the rows that share reduced rows b and b + 1 where they are
  // enlarged. The last band reaches the frame's foot.
  void (*componi)(const ParamComposto& p, int64_t b);
  // Enhance and skin diffusion: the last vertical pass of their blur, down
  // `colonne` (at most kColonneVerticali, a multiple of the next stage's
  // reduction if one rides on the pass) columns from x0 of the frame-sized
  // src, its sums going straight into the composite.
  void (*verticale_componi)(const ParamComposto& p, const float* src, int64_t x0, int64_t colonne, int64_t raggio);
  // Full-size row y of a reduced plane, w samples.
  void (*ingrandisci)(const Ingrandimento& g, const float* copia, float* riga, int64_t w, int64_t y);
  // Row y of the picture, red and blue sampled from copies of the picture's
  // rows as they were: rosso[r] and blu[r] hold row r's, with 2 * corsie
  // floats of room past its end, for every row within the reach of row y.
  void (*aberrazione)(const ParamAberrazione& p, const float* const* rosso, const float* const* blu, int64_t y);
  // Red and blue of n RGB pixels into planes of their own; `flusso`: the
  // planes are far larger than the caches, so the stores bypass them.
  void (*separa)(const float* rgb, float* rosso, float* blu, int64_t n, bool flusso);
  // Reduced rows y to y + righe - 1 (righe 1 or 2) of the star, into riga,
  // w2 floats a row: `piano` is the reduced mask with a zero border of mezza
  // samples all round, rows `passo` apart, pointing at sample (0, 0);
  // spostamenti hold each line's tap offsets x then y, taps of them per line.
  void (*stella)(const float* piano, int64_t passo, int64_t w2, int64_t y, int64_t righe, int32_t direzioni,
                 int64_t taps, const int32_t* spostamenti, const float* pesi, float peso_totale, float* riga);
  // Noise of the cells of grain row y.
  void (*rumore)(float* riga, int64_t wg, uint32_t y, uint32_t fotogramma);
  // The blocks of kBloccoSomma values in x[0, n), kFloatBlocco floats each.
  void (*somme)(const float* x, int64_t n, float* blocchi);
  // t^1.6 of n values, as the C library's powf gives it (the halation mask's).
  void (*potenza)(const float* t, float* r, int64_t n);
};

const Nuclei& nuclei();
// A variant by name, or null when this processor lacks it (tests).
const Nuclei* nuclei_di(Isa isa);

const Nuclei& nuclei_sse2();
const Nuclei& nuclei_avx2();
const Nuclei& nuclei_avx512();

}  // namespace varno
