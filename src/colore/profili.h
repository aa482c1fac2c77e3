// The 32 camera profiles: a transfer curve as 4096 samples and a matrix to
// linear Rec.709, per row.
#pragma once

#include <cstdint>

#include "tipi.h"

namespace varno {

constexpr int kCampioniCurva = 4096;
constexpr int kNumeroProfili = 32;

struct ProfiloCamera {
  const char* nome;
  float matrice[9];  // row-major, camera RGB to Rec.709
  const float* curva;  // kCampioniCurva samples, generated at build time
};

extern const ProfiloCamera PROFILI[kNumeroProfili];

// Decodes a code value through row `profilo` (row 0 analytically) to linear
// Rec.709: each channel through the curve, then the three through the matrix.
RGB decodifica(RGB codice, int32_t profilo);
// The curve alone, for one channel.
float linearizza(float codice, int32_t profilo);
// The matrix alone, from the camera's linear RGB.
RGB a_rec709(RGB lineare, int32_t profilo);

// Row of PROFILI for a `formato` and its colour-space choices; a format not
// in the table resolves to formato - 1 (saturating). Not clamped to 0..31.
int32_t risolvi_profilo(int32_t formato, int32_t cs_sony3, int32_t cs_sony2, int32_t cs_canon,
                        int32_t cs_apple);

}  // namespace varno
