#include "render/impostazioni.h"

#include <cmath>
#include <limits>

#include "colore/profili.h"
#include "host/host.h"

namespace varno {

namespace {

int32_t satura(int64_t v) {
  if (v < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
  if (v > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
  return static_cast<int32_t>(v);
}

OfxParamHandle maniglia(OfxParamSetHandle set, const char* nome) {
  OfxParamHandle h = nullptr;
  gParm->paramGetHandle(set, nome, &h, nullptr);
  return h;
}

int32_t leggi_intero(OfxParamSetHandle set, const char* nome, double tempo) {
  int v = 0;
  if (OfxParamHandle h = maniglia(set, nome)) gParm->paramGetValueAtTime(h, tempo, &v);
  return v;
}

double leggi_reale(OfxParamSetHandle set, const char* nome, double tempo) {
  double v = 0.0;
  if (OfxParamHandle h = maniglia(set, nome)) gParm->paramGetValueAtTime(h, tempo, &v);
  return v;
}

float quantita(int32_t attivo, double valore) { return attivo != 0 ? static_cast<float>(valore) : 0.0f; }

}  // namespace

const std::vector<LookDef>& looks() {
  static const std::vector<LookDef> lista = catalogo();
  return lista;
}

int32_t numero_fotogramma(double tempo) {
  if (std::isnan(tempo)) return 0;
  if (tempo <= static_cast<double>(std::numeric_limits<int32_t>::min())) return std::numeric_limits<int32_t>::min();
  if (tempo >= static_cast<double>(std::numeric_limits<int32_t>::max())) return std::numeric_limits<int32_t>::max();
  return static_cast<int32_t>(tempo);
}

ValoriParametri leggi_parametri(OfxParamSetHandle set, double t) {
  ValoriParametri v;
  v.tempo = t;
  v.look = leggi_intero(set, "look", t);
  v.forza = leggi_reale(set, "forza", t);
  v.ev = leggi_reale(set, "ev", t);
  v.temp = leggi_reale(set, "temp", t);
  v.tinta = leggi_reale(set, "tinta", t);
  struct Effetto {
    const char* attivo;
    const char* nome;
    int32_t* on;
    double* valore;
  };
  const Effetto effetti[] = {
      {"enhance_on", "enhance", &v.enhance_on, &v.enhance},   {"halation_on", "halation", &v.halation_on, &v.halation},
      {"bloom_on", "bloom", &v.bloom_on, &v.bloom},           {"vignetta_on", "vignetta", &v.vignetta_on, &v.vignetta},
      {"promist_on", "promist", &v.promist_on, &v.promist},   {"streak_on", "streak", &v.streak_on, &v.streak},
      {"ca_on", "ca", &v.ca_on, &v.ca},                       {"grana_on", "grana", &v.grana_on, &v.grana},
      {"mistw_on", "mistw", &v.mistw_on, &v.mistw},           {"glimmer_on", "glimmer", &v.glimmer_on, &v.glimmer},
      {"pelle_on", "pelle", &v.pelle_on, &v.pelle},           {"stella_on", "stella", &v.stella_on, &v.stella},
  };
  for (const Effetto& e : effetti) {
    *e.on = leggi_intero(set, e.attivo, t);
    if (*e.on != 0) *e.valore = leggi_reale(set, e.nome, t);
  }
  v.punte = leggi_intero(set, "punte", t);
  v.formato = leggi_intero(set, "formato", t);
  // Only the chooser the format names is read.
  switch (v.formato) {
    case 0: v.cs_sony3 = leggi_intero(set, "cs_sony3", t); break;
    case 1: v.cs_sony2 = leggi_intero(set, "cs_sony2", t); break;
    case 4:
    case 12: v.cs_canon = leggi_intero(set, "cs_canon", t); break;
    case 11: v.cs_apple = leggi_intero(set, "cs_apple", t); break;
    default: break;
  }
  return v;
}

Impostazioni calcola_impostazioni(const ValoriParametri& v) {
  Impostazioni s;
  FxRicetta& r = s.ricetta;
  r = FxRicetta{};
  r.enhance = quantita(v.enhance_on, v.enhance);
  r.halation = quantita(v.halation_on, v.halation);
  r.bloom = quantita(v.bloom_on, v.bloom);
  r.vignetta = quantita(v.vignetta_on, v.vignetta);
  r.promist = quantita(v.promist_on, v.promist) * 0.55f;
  r.streak = quantita(v.streak_on, v.streak);
  r.ca = quantita(v.ca_on, v.ca);
  r.grana = quantita(v.grana_on, v.grana);
  r.fotogramma = numero_fotogramma(v.tempo);
  r.mistw = quantita(v.mistw_on, v.mistw) * 0.55f;
  r.glimmer = quantita(v.glimmer_on, v.glimmer) * 0.55f;
  r.pelle = quantita(v.pelle_on, v.pelle) * 0.55f;
  r.stella = quantita(v.stella_on, v.stella);
  r.punte = satura(2 * static_cast<int64_t>(v.punte) + 4);

  const std::vector<LookDef>& lista = looks();
  const int32_t look = (v.look < 0 || static_cast<size_t>(v.look) >= lista.size()) ? 0 : v.look;
  const LookDef& ld = lista[static_cast<size_t>(look)];
  const int32_t profilo = risolvi_profilo(v.formato, v.cs_sony3, v.cs_sony2, v.cs_canon, v.cs_apple);

  Contesto& c = s.contesto;
  c.look = &ld;
  c.curva_look = normalizza_curva(ld.spalla, ld.bianco, ld.contrasto, ld.gamma);
  c.forza = static_cast<float>(v.forza);
  c.ev = static_cast<float>(v.ev);
  const float x = static_cast<float>(v.tinta);
  const float t = static_cast<float>(v.temp) * 0.25f;
  const float u = 0.1f * x;
  c.guadagno = RGB{(1.0f + t) - u, x * 0.2f + 1.0f, (1.0f - t) - u};
  c.curva_neutra = normalizza_curva(0.9f, 18.0f, 1.0f, 1.0f);
  c.profilo = profilo < 0 ? 0 : (profilo > kNumeroProfili - 1 ? kNumeroProfili - 1 : profilo);

  s.chiave = ChiaveLut{look, profilo, v.forza, v.ev, v.temp, v.tinta};
  return s;
}

}  // namespace varno
