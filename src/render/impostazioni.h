// A frame's settings, read from the parameters at the frame's time.
#pragma once

#include <cstdint>
#include <vector>

#include "colore/colore.h"
#include "fx/ricetta.h"
#include "host/ofx_abi.h"
#include "looks/looks.h"
#include "render/lut.h"

namespace varno {

struct Impostazioni {
  FxRicetta ricetta;
  Contesto contesto;
  ChiaveLut chiave;
};

// Values as read from the host, before any validation.
struct ValoriParametri {
  double tempo = 0.0;
  int32_t look = 0;
  double forza = 0.0, ev = 0.0, temp = 0.0, tinta = 0.0;
  int32_t formato = 0;
  int32_t cs_sony3 = 0, cs_sony2 = 0, cs_canon = 0, cs_apple = 0;
  int32_t punte = 0;
  // enable, amount; the amount is read only when the enable is nonzero
  int32_t enhance_on = 0, halation_on = 0, bloom_on = 0, vignetta_on = 0, promist_on = 0, streak_on = 0, ca_on = 0,
          grana_on = 0, mistw_on = 0, glimmer_on = 0, pelle_on = 0, stella_on = 0;
  double enhance = 0, halation = 0, bloom = 0, vignetta = 0, promist = 0, streak = 0, ca = 0, grana = 0, mistw = 0,
         glimmer = 0, pelle = 0, stella = 0;
};

// Reads every parameter at the time through the host's parameter suite.
ValoriParametri leggi_parametri(OfxParamSetHandle set, double tempo);
// Validates and resolves: the recipe, the grading context and the table's key.
Impostazioni calcola_impostazioni(const ValoriParametri& v);

// The process-wide look list that render uses.
const std::vector<LookDef>& looks();

// Time truncated toward zero to 32 bits; NaN gives 0, beyond the range saturates.
int32_t numero_fotogramma(double tempo);

}  // namespace varno
