// Helpers shared by the colour tests.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "colore/colore.h"
#include "looks/looks.h"

namespace varno {

// Distance in representable floats between two values of the same sign.
inline int64_t passi_float(float a, float b) {
  int32_t ia, ib;
  std::memcpy(&ia, &a, 4);
  std::memcpy(&ib, &b, 4);
  if (ia < 0) ia = INT32_MIN - ia;
  if (ib < 0) ib = INT32_MIN - ib;
  return std::llabs(static_cast<int64_t>(ia) - ib);
}

// A frame's context as the render builds it: temp and tinta 0, profile row 0.
inline Contesto contesto_per(const LookDef& look, float forza, float ev = 0.0f) {
  Contesto c;
  c.look = &look;
  c.curva_look = normalizza_curva(look.spalla, look.bianco, look.contrasto, look.gamma);
  c.forza = forza;
  c.ev = ev;
  c.guadagno = RGB{1.0f, 1.0f, 1.0f};
  c.curva_neutra = normalizza_curva(0.9f, 18.0f, 1.0f, 1.0f);
  c.profilo = 0;
  return c;
}

}  // namespace varno
