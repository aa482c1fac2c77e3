// The parameter table: names, labels, defaults, ranges, options and hints.
#pragma once

namespace varno {

enum class TipoParametro { Scelta, Booleano, Reale };

struct DefParametro {
  const char* nome;
  TipoParametro tipo;
  const char* etichetta;
  double predefinito;
  double minimo;  // reals only
  double massimo;
};

constexpr int kNumeroParametri = 35;
extern const DefParametro PARAMETRI[kNumeroParametri];

// Options of the fixed choices (the look's come from the catalogue).
extern const char* const OPZIONI_FORMATO[18];
extern const char* const OPZIONI_CS_SONY3[7];
extern const char* const OPZIONI_CS_SONY2[3];
extern const char* const OPZIONI_CS_CANON[3];
extern const char* const OPZIONI_CS_APPLE[3];
extern const char* const OPZIONI_PUNTE[3];

}  // namespace varno
