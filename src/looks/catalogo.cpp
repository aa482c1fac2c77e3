#include <cstring>

#include "looks/looks.h"

namespace varno {

namespace {

// Fields of the print pipeline; the grade fields stay at their defaults.
LookDef stampa(const char* nome, float spalla, float bianco, float contrasto, float miscela,
               float sollevamento, const Palette& pal) {
  LookDef l;
  l.nome = nome;
  l.tipo = 1;
  l.spalla = spalla;
  l.bianco = bianco;
  l.contrasto = contrasto;
  l.miscela = miscela;
  l.gamma = 1.0f;
  l.sollevamento = sollevamento;
  l.pal = pal;
  return l;
}

Palette palette(float diafonia, RGB canale, RGB bilancio, float desat_soglia,
                float desat_quantita, const float (&sat)[7], RGB ombre, RGB luci) {
  Palette p;
  p.diafonia = diafonia;
  p.diafonia_canale = canale;
  p.bilancio = bilancio;
  p.desat_soglia = desat_soglia;
  p.desat_quantita = desat_quantita;
  std::memcpy(p.sat_tinte, sat, sizeof p.sat_tinte);
  p.stampa_ombre = ombre;
  p.stampa_luci = luci;
  return p;
}

struct Grado {
  const char* nome;
  float spalla, bianco, contrasto, miscela, gamma, sollevamento;
  RGB tinta_ombre, tinta_luci;
  float ombre_fine, luci_inizio, protezione_pelle;
  float saturazione, saturazione_luci, saturazione_ombre;
  RGB guadagno;
  bool viraggio;
  float ginocchio;
};

LookDef grado(const Grado& d) {
  LookDef l;
  l.nome = d.nome;
  l.tipo = 0;
  l.spalla = d.spalla;
  l.bianco = d.bianco;
  l.contrasto = d.contrasto;
  l.miscela = d.miscela;
  l.gamma = d.gamma;
  l.sollevamento = d.sollevamento;
  l.tinta_ombre = d.tinta_ombre;
  l.tinta_luci = d.tinta_luci;
  l.ombre_fine = d.ombre_fine;
  l.luci_inizio = d.luci_inizio;
  l.protezione_pelle = d.protezione_pelle;
  l.saturazione = d.saturazione;
  l.saturazione_luci = d.saturazione_luci;
  l.saturazione_ombre = d.saturazione_ombre;
  l.guadagno = d.guadagno;
  l.viraggio = d.viraggio;
  l.ginocchio = d.ginocchio;
  return l;
}

// Effect amounts on the parameter scale: the 0.55 of the filter grades is the render's business.
struct Ricetta {
  const char* nome;
  float halation, bloom, vignetta, promist, streak, ca, mistw, glimmer, pelle;
};

constexpr Ricetta kRicette[] = {
    {"Nordic", 0.28f, 0.16f, 0.1f, 0, 0, 0, 0, 0.125f, 0},
    {"Cinema Print", 0.38f, 0.2f, 0.16f, 0.25f, 0, 0, 0, 0, 0},
    {"Midnight", 0.42f, 0.26f, 0.22f, 0.5f, 0.18f, 0, 0, 0, 0},
    {"Daylight", 0.24f, 0.18f, 0.12f, 0, 0, 0, 0.125f, 0, 0},
    {"Linen", 0, 0.08f, 0.06f, 0, 0, 0, 0, 0, 0},
    {"Amber", 0.45f, 0.2f, 0.14f, 0, 0, 0, 0.125f, 0, 0},
    {"Ember", 0.3f, 0.15f, 0.18f, 0.125f, 0, 0, 0, 0, 0},
    {"Amalfi", 0.12f, 0.22f, 0.1f, 0, 0, 0, 0, 0.125f, 0},
    {"Velvet", 0.38f, 0.28f, 0.26f, 0.25f, 0.15f, 0, 0, 0, 0},
    {"Brass", 0.42f, 0.3f, 0.2f, 0.125f, 0.1f, 0, 0, 0, 0},
    {"Silk", 0.22f, 0.34f, 0.08f, 0, 0, 0, 0.25f, 0, 0.25f},
    {"Olive", 0.16f, 0.14f, 0.16f, 0, 0, 0.05f, 0, 0, 0},
};

}  // namespace

std::vector<LookDef> catalogo() {
  std::vector<LookDef> v;
  v.reserve(12);

  v.push_back(stampa("Nordic", 0.78f, 17.0f, 1.08f, 0.35f, 0.0f,
                     palette(0.055f, {1.0f, 1.0f, 1.0f}, {1.004f, 1.0f, 0.996f}, 0.72f, 0.5f,
                             {1.05f, 1.02f, 0.86f, 0.8f, 0.84f, 1.02f, 0.94f}, {0.0f, 0.0f, 0.0f},
                             {0.0f, 0.0f, 0.0f})));
  v.push_back(stampa("Cinema Print", 0.72f, 15.0f, 1.14f, 0.4f, 0.006f,
                     palette(0.07f, {1.1f, 0.95f, 1.05f}, {1.008f, 1.0f, 0.988f}, 0.68f, 0.6f,
                             {1.08f, 1.03f, 0.82f, 0.74f, 0.78f, 1.05f, 0.9f}, {-2.5f, 0.0f, 3.0f},
                             {3.5f, 1.2f, -2.5f})));
  v.push_back(stampa("Midnight", 0.85f, 14.0f, 1.18f, 0.32f, 0.004f,
                     palette(0.06f, {1.0f, 1.0f, 1.0f}, {1.0f, 0.998f, 1.006f}, 0.66f, 0.58f,
                             {1.03f, 1.0f, 0.8f, 0.7f, 0.76f, 1.06f, 0.88f}, {-3.0f, 0.0f, 3.5f},
                             {2.5f, 1.0f, -1.5f})));
  v.push_back(stampa("Daylight", 0.78f, 18.0f, 1.08f, 0.28f, 0.0f,
                     palette(0.06f, {1.0f, 1.0f, 1.0f}, {1.006f, 1.0f, 0.994f}, 0.72f, 0.55f,
                             {1.05f, 1.02f, 0.78f, 0.68f, 0.8f, 0.98f, 0.94f}, {0.0f, 0.0f, 0.0f},
                             {2.5f, 0.8f, -2.0f})));

  // nome, spalla, bianco, contrasto, miscela, gamma, sollevamento, tinta_ombre, tinta_luci,
  // ombre_fine, luci_inizio, protezione_pelle, saturazione, _luci, _ombre, guadagno,
  // viraggio, ginocchio
  const Grado gradi[] = {
      {"Linen", 0.85f, 18.0f, 1.0f, 0.18f, 1.0f, 0.004f, {0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f},
       0.0f, 0.0f, 0.0f, 1.04f, 0.96f, 1.0f, {1.0f, 1.0f, 1.0f}, false, 0.88f},
      {"Amber", 0.62f, 15.0f, 1.02f, 0.45f, 1.0f, 0.042f, {-0.03f, 0.015f, 0.075f},
       {0.05f, 0.015f, -0.05f}, 0.08f, 0.45f, 0.65f, 0.84f, 0.8f, 0.9f,
       {1.008f, 0.996f, 0.978f}, true, 0.88f},
      {"Ember", 0.88f, 20.0f, 1.1f, 0.35f, 1.0f, 0.01f, {-0.05f, -0.005f, 0.09f},
       {0.06f, 0.01f, -0.06f}, 0.1f, 0.42f, 0.55f, 1.06f, 0.78f, 0.98f, {1.012f, 1.0f, 0.988f},
       true, 0.88f},
      {"Amalfi", 0.8f, 17.0f, 1.06f, 0.22f, 1.0f, 0.006f, {-0.04f, 0.02f, 0.065f},
       {0.01f, 0.025f, 0.01f}, 0.12f, 0.5f, 0.72f, 1.16f, 0.94f, 1.02f, {0.996f, 1.01f, 1.004f},
       true, 0.88f},
      {"Velvet", 0.95f, 16.0f, 1.24f, 0.3f, 1.08f, 0.022f, {-0.1f, 0.0f, 0.13f},
       {0.025f, -0.01f, -0.035f}, 0.22f, 0.38f, 0.5f, 0.98f, 0.66f, 0.78f, {1.0f, 1.0f, 1.0f},
       true, 0.88f},
      {"Brass", 0.98f, 30.0f, 1.06f, 0.3f, 1.0f, 0.008f, {-0.115f, -0.045f, 0.175f},
       {0.07f, 0.026f, -0.08f}, 0.2f, 0.4f, 0.55f, 1.05f, 0.52f, 1.1f, {1.01f, 1.0f, 0.986f},
       true, 0.76f},
      {"Silk", 0.62f, 14.0f, 0.86f, 0.46f, 1.0f, 0.044f, {0.03f, 0.008f, 0.06f},
       {0.09f, 0.038f, -0.045f}, 0.18f, 0.42f, 0.8f, 0.86f, 0.78f, 0.9f, {1.012f, 1.0f, 0.998f},
       true, 0.88f},
      {"Olive", 0.86f, 23.0f, 1.1f, 0.24f, 1.0f, 0.012f, {-0.09f, 0.085f, 0.02f},
       {0.095f, 0.05f, -0.085f}, 0.18f, 0.48f, 0.68f, 1.1f, 0.66f, 1.22f, {0.99f, 1.022f, 0.974f},
       true, 0.8f},
  };
  for (const Grado& d : gradi) v.push_back(grado(d));

  // Second pass: the effect amounts, matched by name.
  for (LookDef& l : v) {
    for (const Ricetta& r : kRicette) {
      if (l.nome != r.nome) continue;
      l.ricetta.halation = r.halation;
      l.ricetta.bloom = r.bloom;
      l.ricetta.vignetta = r.vignetta;
      l.ricetta.promist = r.promist;
      l.ricetta.streak = r.streak;
      l.ricetta.ca = r.ca;
      l.ricetta.mistw = r.mistw;
      l.ricetta.glimmer = r.glimmer;
      l.ricetta.pelle = r.pelle;
    }
  }
  return v;
}

}  // namespace varno
