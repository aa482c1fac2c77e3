// The 3D table that bakes the whole grade, and the one process-wide current
// table with its key.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "colore/colore.h"

namespace varno {

struct Lut3D {
  int32_t N = 0;
  std::vector<float> dati;  // blue slowest, then green, red, channel

  void costruisci(const Contesto& contesto, int n);
};

// The settings a table was built from: the look as validated, the profile as
// resolved, the four doubles as the host gave them.
struct ChiaveLut {
  int32_t look = -1;
  int32_t profilo = -1;
  double forza = -1.0;
  double ev = -99.0;
  double temp = -99.0;
  double tinta = -99.0;
};

// Brings the current table up to date for this key and returns it. Each build
// is a new immutable table, so a render keeps grading from the one it got while
// another instance swaps in its own.
std::shared_ptr<const Lut3D> aggiorna_lut(const ChiaveLut& chiave, const Contesto& contesto);

// Number of complete builds so far in this process.
uint64_t lut_costruzioni();

}  // namespace varno
