// A fixed set of renders through the built bundle, each named, whose output
// bits are recorded in impronte.txt. Any change of a bit in any of them is a
// change of the plug-in's behaviour, wanted or not.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "ofx_host.h"

namespace golden {

// A parameter value as a user would set it: a number, or a choice's option text.
using Valore = std::variant<double, std::string>;

struct Scenario {
  std::string famiglia;  // which test renders it
  std::string nome;
  std::vector<std::pair<std::string, Valore>> parametri;  // applied in order on a fresh instance
  OfxRectI finestra{0, 0, 64, 36};
  OfxRectI sorgente{0, 0, 64, 36};
  OfxRectI uscita{0, 0, 64, 36};
  long rb_sorgente = 0;  // 0: packed; negative: bottom-up rows
  long rb_uscita = 0;
  double tempo = 0.0;
  bool ostile = false;  // NaN, infinities and negatives among the source's values
};

// ---------------------------------------------------------------------------
// The source picture: integer hashes and plain float arithmetic only, so it is
// the same on every machine. Gradients, colour patches, fine texture and a
// scatter of code values near the top of the range (lights far above white
// in the log formats), plus a few larger lights for the star and streak.

inline uint32_t mescola(uint32_t x) {
  x ^= x >> 16;
  x *= 0x7feb352dU;
  x ^= x >> 15;
  x *= 0x846ca68bU;
  x ^= x >> 16;
  return x;
}

inline float caso(int x, int y, uint32_t seme) {
  const uint32_t h = mescola(static_cast<uint32_t>(x) * 0x9E3779B1U ^ mescola(static_cast<uint32_t>(y) + seme));
  return static_cast<float>(h >> 8) / 16777216.0f;
}

inline void riempi(ofxhost::Image& img, bool ostile) {
  const OfxRectI b = img.bounds();
  const int w = img.width(), h = img.height();
  static const float toppe[8][3] = {{0.62f, 0.45f, 0.38f}, {0.55f, 0.42f, 0.36f}, {0.30f, 0.52f, 0.36f},
                                    {0.35f, 0.38f, 0.62f}, {0.68f, 0.30f, 0.30f}, {0.60f, 0.58f, 0.30f},
                                    {0.41f, 0.41f, 0.41f}, {0.20f, 0.22f, 0.25f}};
  for (int y = b.y1; y < b.y2; ++y)
    for (int x = b.x1; x < b.x2; ++x) {
      const int lx = x - b.x1, ly = y - b.y1;
      const float u = (static_cast<float>(lx) + 0.5f) / static_cast<float>(w);
      const float v = (static_cast<float>(ly) + 0.5f) / static_cast<float>(h);
      const float n = (caso(x, y, 1) - 0.5f) * 0.08f;
      float* p = img.pixel(x, y);
      p[0] = u * 0.9f + n;
      p[1] = v * 0.85f + 0.05f - n;
      p[2] = (1.0f - u) * 0.5f + v * 0.3f + n * 0.5f;
      const int blocco = ((lx / 6) + 3 * (ly / 6)) % 11;
      if (blocco < 8 && ((lx / 6 + ly / 6) & 1) == 0) {
        p[0] = toppe[blocco][0] + n;
        p[1] = toppe[blocco][1] + n;
        p[2] = toppe[blocco][2] + n;
      }
      const float luce = caso(x, y, 2);
      if (luce < 0.03f) {
        const float top = 0.88f + luce * 4.0f;  // 0.88 to 1.0
        p[0] = top;
        p[1] = top - 0.02f;
        p[2] = top - 0.05f * caso(x, y, 3);
      }
      // A few larger lights, placed by the frame's own size.
      for (int k = 0; k < 3; ++k) {
        const int cx = w * (k + 1) / 4, cy = h * (2 * k + 1) / 6;
        const int dx = lx - cx, dy = ly - cy;
        if (dx * dx + dy * dy <= 4) p[0] = p[1] = p[2] = 0.97f;
      }
      p[3] = 0.15f + 0.85f * caso(x, y, 4);
      if (ostile) {
        const float c = caso(x, y, 5);
        const int canale = static_cast<int>(caso(x, y, 6) * 4.0f) & 3;
        if (c < 0.02f) p[canale] = std::numeric_limits<float>::quiet_NaN();
        else if (c < 0.04f) p[canale] = std::numeric_limits<float>::infinity();
        else if (c < 0.06f) p[canale] = -std::numeric_limits<float>::infinity();
        else if (c < 0.10f) p[canale] = -0.5f - c;
        else if (c < 0.12f) p[canale] = 1e30f;
        else if (c < 0.13f) p[canale] = std::numeric_limits<float>::denorm_min();
        else if (c < 0.14f) p[canale] = -0.0f;
        else if (c < 0.16f) p[canale] = 3.5f;
      }
    }
}

// ---------------------------------------------------------------------------
// The list.

inline const char* const kInterruttori[] = {"halation_on", "bloom_on",  "enhance_on", "vignetta_on",
                                            "promist_on",  "mistw_on",  "glimmer_on", "pelle_on",
                                            "streak_on",   "ca_on",     "grana_on",   "stella_on"};
// Amount parameter of each switch, its default and its largest value. A look
// writes its own amounts when it is selected, so scenarios set them after it.
struct Quantita {
  const char* nome;
  double predefinita, massima;
};
inline const Quantita kQuantita[] = {{"halation", 0.28, 0.6}, {"bloom", 0.16, 0.6},  {"enhance", 0.06, 0.6},
                                     {"vignetta", 0.1, 0.6},  {"promist", 0.25, 1.0}, {"mistw", 0.25, 1.0},
                                     {"glimmer", 0.25, 1.0},  {"pelle", 0.25, 1.0},  {"streak", 0.15, 0.6},
                                     {"ca", 0.1, 0.6},        {"grana", 0.12, 0.6},  {"stella", 0.3, 1.0}};

inline std::string testo(double v) { return ofxhost::format_double(v); }

inline std::vector<std::pair<std::string, Valore>> spenti() {
  std::vector<std::pair<std::string, Valore>> p;
  for (const char* s : kInterruttori) p.emplace_back(s, 0.0);
  return p;
}

inline std::vector<std::pair<std::string, Valore>> tutti_accesi(int punte) {
  std::vector<std::pair<std::string, Valore>> p;
  for (const char* s : kInterruttori) p.emplace_back(s, 1.0);
  for (const Quantita& q : kQuantita) p.emplace_back(q.nome, q.predefinita);
  p.emplace_back("punte", std::to_string(punte));
  return p;
}

inline void aggiungi(std::vector<std::pair<std::string, Valore>>& a,
                     const std::vector<std::pair<std::string, Valore>>& b) {
  a.insert(a.end(), b.begin(), b.end());
}

inline void dimensioni(Scenario& s, int w, int h) { s.finestra = s.sorgente = s.uscita = OfxRectI{0, 0, w, h}; }

inline std::vector<Scenario> scenari() {
  std::vector<Scenario> v;
  auto nuovo = [&](const std::string& famiglia, const std::string& nome) -> Scenario& {
    v.push_back(Scenario{});
    v.back().famiglia = famiglia;
    v.back().nome = famiglia + "/" + nome;
    return v.back();
  };
  // Log footage with lights far above white, through a grade look: what the
  // effects' thresholds need to show.
  const std::vector<std::pair<std::string, Valore>> base_effetti = {{"formato", std::string("Sony S-Log3")},
                                                                    {"look", std::string("Linen")}};

  // Every format and colour-space choice, grade only.
  struct Formato {
    const char* nome;
    const char* scelta;
    std::vector<const char*> opzioni;
  };
  const std::vector<Formato> formati = {
      {"Sony S-Log3", "cs_sony3",
       {"S-Gamut3.Cine", "S-Gamut3", "S-Gamut", "BT.2020", "709", "Venice S-Gamut3", "Venice S-Gamut3.Cine"}},
      {"Sony S-Log2", "cs_sony2", {"S-Gamut", "BT.2020", "709"}},
      {"ARRI LogC3", nullptr, {}},
      {"ARRI LogC4", nullptr, {}},
      {"Canon Log 3", "cs_canon", {"Cinema Gamut", "BT.2020", "BT.709"}},
      {"Panasonic V-Log", nullptr, {}},
      {"Fujifilm F-Log", nullptr, {}},
      {"Fujifilm F-Log2", nullptr, {}},
      {"RED Log3G10", nullptr, {}},
      {"Nikon N-Log", nullptr, {}},
      {"DJI D-Log", nullptr, {}},
      {"Apple Log", "cs_apple", {"Rec.2020", "P3-D65", "Rec.709"}},
      {"Canon Log 2", "cs_canon", {"Cinema Gamut", "BT.2020", "BT.709"}},
      {"Fujifilm F-Log2 C", nullptr, {}},
      {"Leica L-Log", nullptr, {}},
      {"Apple Log 2", nullptr, {}},
      {"Rec.709 (No Log)", nullptr, {}},
      {"sRGB (No Log)", nullptr, {}},
  };
  for (const Formato& f : formati) {
    std::vector<const char*> opzioni = f.opzioni;
    if (opzioni.empty()) opzioni.push_back(nullptr);
    for (const char* o : opzioni) {
      Scenario& s = nuovo("formati", std::string(f.nome) + (o ? std::string("/") + o : std::string()));
      s.parametri = {{"formato", std::string(f.nome)}, {"look", std::string("Linen")}};
      if (o) s.parametri.emplace_back(f.scelta, std::string(o));
      aggiungi(s.parametri, spenti());
    }
  }

  // Every look at three strengths, grade only, on the analytic and on a table decode.
  const char* const looks[] = {"Nordic", "Cinema Print", "Midnight", "Daylight", "Linen", "Amber",
                               "Ember",  "Amalfi",       "Velvet",   "Brass",    "Silk",  "Olive"};
  for (const char* l : looks)
    for (double forza : {0.0, 0.5, 1.0}) {
      Scenario& s = nuovo("looks", std::string(l) + "/" + testo(forza));
      s.parametri = {{"formato", std::string(forza == 0.5 ? "ARRI LogC3" : "Sony S-Log3")},
                     {"look", std::string(l)},
                     {"forza", forza}};
      aggiungi(s.parametri, spenti());
    }

  // Exposure and white balance away from 0, on a print and a grade look, at
  // full and part strength.
  struct Grado {
    double ev, temp, tinta;
  };
  const Grado gradi[] = {{-2, 0, 0},    {-0.7, 0, 0}, {1.3, 0, 0},    {2, 0, 0},     {0, -1, 0},   {0, 0.4, 0},
                         {0, 1, 0},     {0, 0, -1},   {0, 0, -0.3},   {0, 0, 0.8},   {0.6, -0.35, 0.45}};
  for (const char* l : {"Cinema Print", "Amber"})
    for (const Grado& g : gradi) {
      Scenario& s = nuovo("grado", std::string(l) + "/ev " + testo(g.ev) + " temp " + testo(g.temp) + " tinta " +
                                       testo(g.tinta));
      s.parametri = {{"formato", std::string("Panasonic V-Log")},
                     {"look", std::string(l)},
                     {"forza", l[0] == 'A' ? 0.75 : 1.0},
                     {"ev", g.ev},
                     {"temp", g.temp},
                     {"tinta", g.tinta}};
      aggiungi(s.parametri, spenti());
    }

  // Each effect alone at its default and its largest amount, on a small frame
  // (no reduction) and a thin one 1920 wide (blurs on a half-size copy).
  const std::pair<int, int> misure_effetti[] = {{160, 90}, {1920, 12}};
  for (size_t e = 0; e < sizeof kInterruttori / sizeof kInterruttori[0]; ++e)
    for (const auto& [w, h] : misure_effetti)
      for (bool massimo : {false, true}) {
        const Quantita& q = kQuantita[e];
        const double quanto = massimo ? q.massima : q.predefinita;
        const std::string misura = std::to_string(w) + "x" + std::to_string(h);
        Scenario& s = nuovo("effetti", std::string(q.nome) + "/" + testo(quanto) + "/" + misura);
        dimensioni(s, w, h);
        s.parametri = base_effetti;
        aggiungi(s.parametri, spenti());
        s.parametri.emplace_back(kInterruttori[e], 1.0);
        s.parametri.emplace_back(q.nome, quanto);
        s.tempo = 5;
      }
  for (const auto& [w, h] : misure_effetti) {
    Scenario& s = nuovo("effetti", "nessuno/" + std::to_string(w) + "x" + std::to_string(h));
    dimensioni(s, w, h);
    s.parametri = base_effetti;
    aggiungi(s.parametri, spenti());
  }
  for (int punte : {4, 6, 8})
    for (const auto& [w, h] : misure_effetti) {
      Scenario& s = nuovo("effetti", "stella/" + std::to_string(punte) + " punte/" + std::to_string(w) + "x" +
                                         std::to_string(h));
      dimensioni(s, w, h);
      s.parametri = base_effetti;
      aggiungi(s.parametri, spenti());
      s.parametri.emplace_back("stella_on", 1.0);
      s.parametri.emplace_back("stella", 0.8);
      s.parametri.emplace_back("punte", std::to_string(punte));
    }

  // All twelve on, each star count, at sizes where the reduction factor of the
  // blurs is 1, 2, 3 and 4, landscape and portrait; and the defaults as a user
  // first sees them.
  const std::pair<int, int> misure_catena[] = {{160, 90}, {90, 160}, {400, 225}, {1920, 12},
                                               {2880, 10}, {3840, 8},  {8, 3840}};
  for (int punte : {4, 6, 8})
    for (const auto& [w, h] : misure_catena) {
      if (punte != 8 && w != 160 && w != 1920) continue;
      Scenario& s = nuovo("catena", "tutti/" + std::to_string(punte) + " punte/" + std::to_string(w) + "x" +
                                        std::to_string(h));
      dimensioni(s, w, h);
      s.parametri = base_effetti;
      aggiungi(s.parametri, tutti_accesi(punte));
      s.tempo = 12;
    }
  for (const auto& [w, h] : {std::pair<int, int>{160, 90}, {640, 360}, {3840, 8}}) {
    Scenario& s = nuovo("catena", "predefinito/" + std::to_string(w) + "x" + std::to_string(h));
    dimensioni(s, w, h);
  }
  {
    Scenario& s = nuovo("catena", "look Midnight con la sua ricetta/160x90");
    dimensioni(s, 160, 90);
    s.parametri = {{"formato", std::string("Sony S-Log3")}, {"look", std::string("Midnight")}};
  }

  // Grain alone at several times: whole, fractional, negative, far and hostile.
  const double tempi[] = {0,     1,    2.5,  24,  -0.5, -7.9, 1e6, 3e9, -3e9, std::nan(""),
                          std::numeric_limits<double>::infinity()};
  for (double t : tempi) {
    Scenario& s = nuovo("grana", "t " + testo(t));
    dimensioni(s, 96, 54);
    s.parametri = base_effetti;
    aggiungi(s.parametri, spenti());
    s.parametri.emplace_back("grana_on", 1.0);
    s.parametri.emplace_back("grana", 0.45);
    s.tempo = t;
  }

  // Odd, thin and tiny sizes, with the defaults and with everything on.
  const std::pair<int, int> misure[] = {{1, 1},  {2, 1},  {1, 2},  {3, 3},   {15, 16}, {16, 15},
                                        {17, 17}, {37, 23}, {1, 40}, {40, 1}, {5, 333}, {333, 5}};
  for (const auto& [w, h] : misure)
    for (bool tutto : {false, true}) {
      Scenario& s = nuovo("misure", std::to_string(w) + "x" + std::to_string(h) + (tutto ? "/tutti" : "/predefinito"));
      dimensioni(s, w, h);
      s.parametri = base_effetti;
      if (tutto) aggiungi(s.parametri, tutti_accesi(6));
      s.tempo = 3;
    }

  // Windows inside larger images, with their own bounds and row bytes, and
  // windows that reach past the source or the output.
  struct Geometria {
    const char* nome;
    OfxRectI finestra, sorgente, uscita;
    long rb_s, rb_u;
  };
  const Geometria geometrie[] = {
      {"dentro", {10, 6, 74, 42}, {0, 0, 96, 60}, {0, 0, 96, 60}, 0, 0},
      {"limiti diversi", {-20, -10, 44, 26}, {-32, -16, 50, 30}, {-24, -12, 60, 40}, 0, 0},
      {"righe rovesciate e larghe", {3, 2, 67, 38}, {0, 0, 80, 48}, {-5, -5, 75, 45}, -(80 * 16 + 48), 80 * 16 + 64},
      {"oltre la sorgente", {0, 0, 64, 36}, {16, 8, 48, 28}, {0, 0, 64, 36}, 0, 0},
      {"oltre l'uscita", {0, 0, 64, 36}, {0, 0, 64, 36}, {8, 4, 40, 30}, 0, 0},
      {"altrove", {1000, 2000, 1064, 2036}, {990, 1990, 1080, 2050}, {1000, 2000, 1064, 2036}, 0, 0},
  };
  for (const Geometria& g : geometrie)
    for (bool tutto : {false, true}) {
      Scenario& s = nuovo("finestre", std::string(g.nome) + (tutto ? "/tutti" : "/predefinito"));
      s.finestra = g.finestra;
      s.sorgente = g.sorgente;
      s.uscita = g.uscita;
      s.rb_sorgente = g.rb_s;
      s.rb_uscita = g.rb_u;
      s.parametri = base_effetti;
      if (tutto) aggiungi(s.parametri, tutti_accesi(8));
      s.tempo = 7;
    }

  // Not-a-number, infinities, negatives and huge values in the source, on the
  // analytic decode and on a table decode.
  for (const char* formato : {"Sony S-Log3", "RED Log3G10"})
    for (int caso_ : {0, 1, 2}) {
      const char* nomi[] = {"solo grado", "predefinito", "tutti"};
      Scenario& s = nuovo("ostile", std::string(formato) + "/" + nomi[caso_]);
      dimensioni(s, 96, 54);
      s.ostile = true;
      s.parametri = {{"formato", std::string(formato)}, {"look", std::string("Linen")}};
      if (caso_ == 0) aggiungi(s.parametri, spenti());
      if (caso_ == 2) aggiungi(s.parametri, tutti_accesi(4));
      s.tempo = 2;
    }
  return v;
}

// ---------------------------------------------------------------------------
// Rendering one and taking its digest.

inline void applica(ofxhost::Instance& inst, const std::pair<std::string, Valore>& p) {
  if (const double* d = std::get_if<double>(&p.second))
    inst.set(p.first, *d);
  else
    inst.set_choice(p.first, std::get<std::string>(p.second));
}

// 64-bit FNV-1a.
inline uint64_t fnv(const void* dati, size_t n, uint64_t h = 0xcbf29ce484222325ULL) {
  const unsigned char* b = static_cast<const unsigned char*>(dati);
  for (size_t k = 0; k < n; ++k) {
    h ^= b[k];
    h *= 0x100000001b3ULL;
  }
  return h;
}

struct Esito {
  OfxStatus stato = -1;
  uint64_t impronta = 0;
};

// Renders the scenario on a fresh instance of the plug-in. The output starts
// as a fixed pattern, so what the render leaves alone is part of the digest.
inline Esito esegui(ofxhost::Plugin& plugin, const Scenario& s) {
  ofxhost::Instance inst = plugin.create_instance();
  for (const auto& p : s.parametri) applica(inst, p);
  ofxhost::Image src(s.sorgente, s.rb_sorgente), dst(s.uscita, s.rb_uscita);
  riempi(src, s.ostile);
  dst.fill(-7.0f, 0.25f, 3.0f, -1.0f);
  Esito e;
  e.stato = inst.render(s.tempo, s.finestra, src, dst);
  uint64_t h = 0xcbf29ce484222325ULL;
  for (int y = s.uscita.y1; y < s.uscita.y2; ++y)
    h = fnv(dst.pixel(s.uscita.x1, y), static_cast<size_t>(dst.width()) * 16, h);
  e.impronta = h;
  return e;
}

}  // namespace golden
