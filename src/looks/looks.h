// The fixed catalogue of looks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fx/ricetta.h"
#include "tipi.h"

namespace varno {

// Settings of the print pipeline.
struct Palette {
  float diafonia = 0.0f;
  RGB diafonia_canale{0.0f, 0.0f, 0.0f};
  RGB bilancio{0.0f, 0.0f, 0.0f};
  float desat_soglia = 0.0f;
  float desat_quantita = 0.0f;
  float sat_tinte[7] = {0, 0, 0, 0, 0, 0, 0};
  RGB stampa_ombre{0.0f, 0.0f, 0.0f};
  RGB stampa_luci{0.0f, 0.0f, 0.0f};
};

struct LookDef {
  std::string nome;
  int32_t tipo = 0;  // 1: print pipeline, anything else: grade pipeline
  float spalla = 0.0f;
  float bianco = 0.0f;
  float contrasto = 0.0f;
  float miscela = 0.0f;
  float gamma = 0.0f;
  float sollevamento = 0.0f;
  RGB tinta_ombre{0.0f, 0.0f, 0.0f};
  RGB tinta_luci{0.0f, 0.0f, 0.0f};
  float ombre_fine = 0.0f;
  float luci_inizio = 0.0f;
  float protezione_pelle = 0.0f;
  float saturazione = 0.0f;
  float saturazione_luci = 0.0f;
  float saturazione_ombre = 0.0f;
  RGB guadagno{0.0f, 0.0f, 0.0f};
  bool viraggio = false;
  float ginocchio = 0.88f;
  Palette pal;
  FxRicetta ricetta;
};

// The twelve looks, in their fixed order; the position is the value of `look`.
std::vector<LookDef> catalogo();

}  // namespace varno
