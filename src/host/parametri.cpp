#include "host/parametri.h"

#include <cstring>
#include <iterator>

#include "host/host.h"
#include "looks/looks.h"

namespace varno {

namespace {
constexpr TipoParametro S = TipoParametro::Scelta;
constexpr TipoParametro B = TipoParametro::Booleano;
constexpr TipoParametro D = TipoParametro::Reale;

const char* const kHintSony3 =
    "Mirrorless (FX3/a7S III...) default to S-Gamut3.Cine; S-Gamut3 is the full gamut; Venice cameras have "
    "their own primaries";
const char* const kHintGrado = "Filter grade: 0.125 = 1/8, 0.25 = 1/4, 0.5 = 1/2, 1 = full strength";
}  // namespace

// The four colour-space labels differ by trailing blanks so that hosts keyed on
// labels keep them apart.
const DefParametro PARAMETRI[kNumeroParametri] = {
    {"formato", S, "Log Format", 16, 0, 0},
    {"cs_sony3", S, "Color Space", 0, 0, 0},
    {"cs_sony2", S, "Color Space ", 0, 0, 0},
    {"cs_canon", S, "Color Space  ", 0, 0, 0},
    {"cs_apple", S, "Color Space   ", 0, 0, 0},
    {"look", S, "Look", 0, 0, 0},
    {"forza", D, "Look Strength", 1, 0, 1},
    {"ev", D, "Exposure (EV)", 0, -2, 2},
    {"temp", D, "Temperature", 0, -1, 1},
    {"tinta", D, "Tint", 0, -1, 1},
    {"halation_on", B, "Halation", 1, 0, 0},
    {"halation", D, "Halation Amount", 0.28, 0, 0.6},
    {"bloom_on", B, "Bloom", 1, 0, 0},
    {"bloom", D, "Bloom Amount", 0.16, 0, 0.6},
    {"enhance_on", B, "Enhance", 1, 0, 0},
    {"enhance", D, "Enhance Amount", 0.06, 0, 0.6},
    {"vignetta_on", B, "Vignette", 1, 0, 0},
    {"vignetta", D, "Vignette Amount", 0.1, 0, 0.6},
    {"promist_on", B, "Black Pro-Mist", 0, 0, 0},
    {"promist", D, "Black Mist Grade", 0.25, 0, 1},
    {"mistw_on", B, "White Pro-Mist", 0, 0, 0},
    {"mistw", D, "White Mist Grade", 0.25, 0, 1},
    {"glimmer_on", B, "Glimmerglass", 0, 0, 0},
    {"glimmer", D, "Glimmer Grade", 0.25, 0, 1},
    {"pelle_on", B, "Skin Diffusion", 0, 0, 0},
    {"pelle", D, "Skin Diffusion Grade", 0.25, 0, 1},
    {"streak_on", B, "Anamorphic Streak", 0, 0, 0},
    {"streak", D, "Streak Amount", 0.15, 0, 0.6},
    {"ca_on", B, "Chromatic Aberration", 0, 0, 0},
    {"ca", D, "Aberration Amount", 0.1, 0, 0.6},
    {"grana_on", B, "Film Grain", 0, 0, 0},
    {"grana", D, "Grain Amount", 0.12, 0, 0.6},
    {"stella_on", B, "Star Filter", 0, 0, 0},
    {"stella", D, "Star Amount", 0.3, 0, 1},
    {"punte", S, "Star Points", 0, 0, 0},
};

const char* const OPZIONI_FORMATO[18] = {
    "Sony S-Log3",   "Sony S-Log2",      "ARRI LogC3",       "ARRI LogC4",       "Canon Log 3",  "Panasonic V-Log",
    "Fujifilm F-Log", "Fujifilm F-Log2", "RED Log3G10",      "Nikon N-Log",      "DJI D-Log",    "Apple Log",
    "Canon Log 2",   "Fujifilm F-Log2 C", "Leica L-Log",     "Apple Log 2",      "Rec.709 (No Log)", "sRGB (No Log)"};
const char* const OPZIONI_CS_SONY3[7] = {"S-Gamut3.Cine", "S-Gamut3", "S-Gamut", "BT.2020",
                                         "709", "Venice S-Gamut3", "Venice S-Gamut3.Cine"};
const char* const OPZIONI_CS_SONY2[3] = {"S-Gamut", "BT.2020", "709"};
const char* const OPZIONI_CS_CANON[3] = {"Cinema Gamut", "BT.2020", "BT.709"};
const char* const OPZIONI_CS_APPLE[3] = {"Rec.2020", "P3-D65", "Rec.709"};
const char* const OPZIONI_PUNTE[3] = {"4", "6", "8"};

namespace {

void defDouble(OfxParamSetHandle set, const char* name, const char* label, double def, double min, double max) {
  OfxPropertySetHandle p = nullptr;
  gParm->paramDefine(set, kOfxParamTypeDouble, name, &p);
  if (p == nullptr) return;
  gProp->propSetString(p, kOfxPropLabel, 0, label);
  gProp->propSetDouble(p, kOfxParamPropDefault, 0, def);
  gProp->propSetDouble(p, kOfxParamPropMin, 0, min);
  gProp->propSetDouble(p, kOfxParamPropMax, 0, max);
  gProp->propSetDouble(p, kOfxParamPropDisplayMin, 0, min);
  gProp->propSetDouble(p, kOfxParamPropDisplayMax, 0, max);
  gProp->propSetString(p, kOfxParamPropDoubleType, 0, kOfxParamDoubleTypePlain);
}

void defBool(OfxParamSetHandle set, const char* name, const char* label, int def) {
  OfxPropertySetHandle p = nullptr;
  gParm->paramDefine(set, kOfxParamTypeBoolean, name, &p);
  if (p == nullptr) return;
  gProp->propSetString(p, kOfxPropLabel, 0, label);
  gProp->propSetInt(p, kOfxParamPropDefault, 0, def);
}

template <class Testi>
void defChoice(OfxParamSetHandle set, const char* name, const char* label, const Testi& opzioni, size_t n, int def,
               const char* hint) {
  OfxPropertySetHandle p = nullptr;
  gParm->paramDefine(set, kOfxParamTypeChoice, name, &p);
  if (p == nullptr) return;
  gProp->propSetString(p, kOfxPropLabel, 0, label);
  for (size_t i = 0; i < n; ++i) gProp->propSetString(p, kOfxParamPropChoiceOption, static_cast<int>(i), opzioni(i));
  gProp->propSetInt(p, kOfxParamPropDefault, 0, def);
  if (hint != nullptr) gProp->propSetString(p, kOfxParamPropHint, 0, hint);
}

template <size_t N>
void defChoice(OfxParamSetHandle set, const DefParametro& d, const char* const (&opzioni)[N], const char* hint) {
  defChoice(set, d.nome, d.etichetta, [&](size_t i) { return opzioni[i]; }, N, static_cast<int>(d.predefinito),
            hint);
}

bool e_grado(const char* nome) {
  for (const char* g : {"promist", "mistw", "glimmer", "pelle"})
    if (std::strcmp(nome, g) == 0) return true;
  return false;
}

}  // namespace

void definisci_parametri(OfxParamSetHandle set) {
  for (const DefParametro& d : PARAMETRI) {
    if (d.tipo == TipoParametro::Reale) {
      defDouble(set, d.nome, d.etichetta, d.predefinito, d.minimo, d.massimo);
      if (e_grado(d.nome)) {
        OfxParamHandle h = nullptr;
        OfxPropertySetHandle p = nullptr;
        if (gParm->paramGetHandle(set, d.nome, &h, &p) == kOfxStatOK && p != nullptr)
          gProp->propSetString(p, kOfxParamPropHint, 0, kHintGrado);
      }
    } else if (d.tipo == TipoParametro::Booleano) {
      defBool(set, d.nome, d.etichetta, static_cast<int>(d.predefinito));
    } else if (std::strcmp(d.nome, "formato") == 0) {
      defChoice(set, d, OPZIONI_FORMATO, nullptr);
    } else if (std::strcmp(d.nome, "cs_sony3") == 0) {
      defChoice(set, d, OPZIONI_CS_SONY3, kHintSony3);
    } else if (std::strcmp(d.nome, "cs_sony2") == 0) {
      defChoice(set, d, OPZIONI_CS_SONY2, nullptr);
    } else if (std::strcmp(d.nome, "cs_canon") == 0) {
      defChoice(set, d, OPZIONI_CS_CANON, nullptr);
    } else if (std::strcmp(d.nome, "cs_apple") == 0) {
      defChoice(set, d, OPZIONI_CS_APPLE, nullptr);
    } else if (std::strcmp(d.nome, "punte") == 0) {
      defChoice(set, d, OPZIONI_PUNTE, nullptr);
    } else {  // look: a fresh list, freed at once
      const std::vector<LookDef> lista = catalogo();
      defChoice(set, d.nome, d.etichetta, [&](size_t i) { return lista[i].nome.c_str(); }, lista.size(),
                static_cast<int>(d.predefinito), nullptr);
    }
  }
}

}  // namespace varno
