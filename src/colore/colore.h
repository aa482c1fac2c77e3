// Colour science: from a camera code value to a display code value.
#pragma once

#include <cstdint>

#include "tipi.h"

namespace varno {

struct LookDef;

// Shape and normalisation of a tone curve.
struct Curva {
  float scala = 0.0f;
  float norma = 0.0f;
  float grigio = 0.0f;
  float spalla = 0.0f;
  float contrasto = 0.0f;
  float gamma = 0.0f;
};

// The grading context of one frame.
struct Contesto {
  const LookDef* look = nullptr;
  Curva curva_look;
  float forza = 0.0f;
  float ev = 0.0f;
  RGB guadagno{1.0f, 1.0f, 1.0f};
  Curva curva_neutra;
  int32_t profilo = 0;
};

// Solves scala, norma and grigio by geometric bisection for shoulder s,
// white point w, contrast c and gamma g.
Curva normalizza_curva(float s, float w, float c, float g);
// Scene-linear to display-linear 0..1; miscela 0 keeps ratios, 1 maps per channel.
RGB tonemap_ratio(RGB c, const Curva& k, float miscela);
// Code value in the footage's encoding to the graded display code value:
// the decode, then esposizione, then applica_colore_lineare.
RGB applica_colore(RGB codice, const Contesto& ctx);
// Exposure and white balance on decoded linear light, negatives cut to 0.
RGB esposizione(RGB decodificato, const Contesto& ctx);
// The same with the exposure's gain, 2^ev, worked out once by the caller.
RGB esposizione(RGB decodificato, float guadagno, const Contesto& ctx);
float guadagno_esposizione(const Contesto& ctx);
// The rest of the grade, from exposed linear light: the look at its
// strength over the neutral rendering (con_forza), or the neutral rendering
// alone when no look is set.
RGB applica_colore_lineare(RGB lin, const Contesto& ctx);
// Its parts: the neutral rendering, and the look's own (a look must be set).
RGB neutra_lineare(RGB lin, const Contesto& ctx);
RGB look_lineare(RGB lin, const Contesto& ctx);
inline RGB con_forza(RGB look, RGB neutra, float forza) {
  const float resto = 1.0f - forza;
  return RGB{look.r * forza + resto * neutra.r, look.g * forza + resto * neutra.g, look.b * forza + resto * neutra.b};
}

}  // namespace varno
