// The instance's two reactions: a change of format shows its colour-space
// choice, a change of look loads the look's effect settings.
#include <cstring>
#include <vector>

#include "host/host.h"
#include "looks/looks.h"

namespace varno {

namespace {

const std::vector<LookDef>& lks() {
  static const std::vector<LookDef> lista = catalogo();
  return lista;
}

}  // namespace

void istanza_cambiata(OfxImageEffectHandle handle, OfxPropertySetHandle inArgs) {
  if (inArgs == nullptr) return;
  char* nome = nullptr;
  gProp->propGetString(inArgs, kOfxPropName, 0, &nome);
  if (nome == nullptr) return;
  if (std::strcmp(nome, "formato") == 0) {
    aggiorna_tendina_colorspace(handle);
  } else if (std::strcmp(nome, "look") == 0) {
    applica_look(handle);
  }
}

void aggiorna_tendina_colorspace(OfxImageEffectHandle handle) {
  OfxParamSetHandle set = nullptr;
  gEff->getParamSet(handle, &set);
  OfxParamHandle h = nullptr;
  if (gParm->paramGetHandle(set, "formato", &h, nullptr) != kOfxStatOK) return;
  int f = 0;
  gParm->paramGetValue(h, &f);
  struct Voce {
    const char* nome;
    bool visibile;
  };
  const Voce voci[4] = {{"cs_sony3", f == 0}, {"cs_sony2", f == 1}, {"cs_canon", f == 4 || f == 12}, {"cs_apple", f == 11}};
  for (const Voce& v : voci) {
    OfxParamHandle ph = nullptr;
    OfxPropertySetHandle p = nullptr;
    if (gParm->paramGetHandle(set, v.nome, &ph, &p) == kOfxStatOK && p != nullptr)
      gProp->propSetInt(p, kOfxParamPropSecret, 0, v.visibile ? 0 : 1);
  }
}

void applica_look(OfxImageEffectHandle handle) {
  OfxParamSetHandle set = nullptr;
  gEff->getParamSet(handle, &set);
  OfxParamHandle h = nullptr;
  if (gParm->paramGetHandle(set, "look", &h, nullptr) != kOfxStatOK) return;
  int indice = 0;
  gParm->paramGetValue(h, &indice);
  const std::vector<LookDef>& lista = lks();
  if (indice < 0 || static_cast<size_t>(indice) >= lista.size()) return;
  const FxRicetta& r = lista[static_cast<size_t>(indice)].ricetta;
  struct Voce {
    const char* quantita;
    const char* attivo;
    float valore;
  };
  // Grain and the star filter are the user's own; a look leaves them alone.
  const Voce voci[10] = {{"halation", "halation_on", r.halation}, {"bloom", "bloom_on", r.bloom},
                         {"enhance", "enhance_on", r.enhance},    {"vignetta", "vignetta_on", r.vignetta},
                         {"promist", "promist_on", r.promist},    {"mistw", "mistw_on", r.mistw},
                         {"glimmer", "glimmer_on", r.glimmer},    {"pelle", "pelle_on", r.pelle},
                         {"streak", "streak_on", r.streak},       {"ca", "ca_on", r.ca}};
  for (const Voce& v : voci) {
    OfxParamHandle ph = nullptr;
    if (gParm->paramGetHandle(set, v.quantita, &ph, nullptr) == kOfxStatOK)
      gParm->paramSetValue(ph, static_cast<double>(v.valore));
    if (gParm->paramGetHandle(set, v.attivo, &ph, nullptr) == kOfxStatOK)
      gParm->paramSetValue(ph, v.valore > 0.0f ? 1 : 0);
  }
}

}  // namespace varno
