// One frame, from the host's render call to the return.
#pragma once

#include <cstdint>

#include "fx/nuclei.h"
#include "fx/ricetta.h"
#include "host/ofx_abi.h"
#include "render/lut.h"
#include "tipi.h"

namespace varno {

OfxStatus render(OfxImageEffectHandle handle, OfxPropertySetHandle inArgs);

// A host image as plain values: the first pixel of its bounds, the signed
// distance in bytes between rows, and its bounds (x2, y2 exclusive).
struct VistaImmagine {
  char* dati = nullptr;
  int64_t row_bytes = 0;
  OfxRectI bounds{0, 0, 0, 0};
};

// Largest window the render accepts; beyond it the buffers cannot be had.
constexpr int64_t kPixelMassimi = int64_t{1} << 28;

// Samples the table for every pixel of the window into immagine (W*H*3) and
// sets the alpha aside in alfa (W*H); with luma (W*H), also the luma of each
// graded pixel, while its row is in the cache. Pixels outside the source's
// bounds read as transparent black.
void passata_colore(const VistaImmagine& src, const OfxRectI& finestra, const Lut3D& lut, Immagine& immagine,
                    Piano& alfa, float* luma = nullptr);
// Grades the window straight into the output where it lies inside the
// output's bounds, when no effect runs: the same bits as passata_colore then
// passata_scrittura.
void passata_diretta(const VistaImmagine& src, const VistaImmagine& out, const OfxRectI& finestra, const Lut3D& lut);
// Copies immagine and alfa into the window of the output, where it lies inside
// the output's bounds; nothing else of the output is touched. (With effects
// on, their last pass writes the output itself; this is what it stands for.)
void passata_scrittura(const VistaImmagine& out, const OfxRectI& finestra, const Immagine& immagine,
                       const Piano& alfa);
// Where the effects' last pass writes the same pixels as passata_scrittura
// would, with alfa as their alpha.
Uscita uscita_di(const VistaImmagine& out, const OfxRectI& finestra, const Piano& alfa);

}  // namespace varno
