#include "colore/colore.h"

#include <cmath>

#include "colore/profili.h"
#include "looks/looks.h"

namespace varno {

namespace {

// powf of a clamped value, with a positive exponent that is not an odd
// integer: at 0 and 1 the result is 0 and 1 exactly, with no call. Clipped
// colours are common at a table's lattice points.
inline float potenza01(float x, float y) { return x == 0.0f ? 0.0f : (x == 1.0f ? 1.0f : powf(x, y)); }

// Display gamma 1/2.4 on a clamped value.
inline float codifica(float v) { return potenza01(limita01(v), 0.41666666f); }

inline RGB codifica(RGB v) { return RGB{codifica(v.r), codifica(v.g), codifica(v.b)}; }

inline float lum(RGB v) { return luminanza(v.r, v.g, v.b); }

// Soft clip above knee n; below it only negatives are cut.
inline float morbido(float v, float n, float sopra) {
  if (v > n) {
    const float d = (v - n) / sopra;
    return (d / (d + 1.0f)) * sopra + n;
  }
  return v > 0.0f ? v : 0.0f;
}

// Highlight desaturation, per-hue saturation and print tint, on display-encoded values.
RGB palette(RGB v, const Palette& p) {
  // Centres of the hue sectors, in the order of sat_tinte.
  static constexpr float centri[7] = {0.0f, 0.52f, 1.05f, 2.09f, 3.14f, -2.09f, -1.05f};
  constexpr double kPi = 3.14159265358979323846;

  float L = lum(v);
  const float u = limita01((L - p.desat_soglia) / std::fmax(1.0f - p.desat_soglia, 1e-6f));
  const float k = 1.0f - p.desat_quantita * potenza01(u, 1.8f);
  v.r = limita01((v.r - L) * k + L);
  v.g = limita01((v.g - L) * k + L);
  v.b = limita01((v.b - L) * k + L);

  const float hue = atan2f((v.g - v.b) * 1.7320508f, ((v.r + v.r) - v.g) - v.b);
  L = lum(v);
  float W = 0.0f;
  float V = 0.0f;
  for (int i = 0; i < 7; ++i) {
    // The wrap runs in double and narrows after each step.
    float d = hue - centri[i];
    while (static_cast<double>(d) > kPi) d = static_cast<float>(static_cast<double>(d) - 2.0 * kPi);
    while (static_cast<double>(d) < -kPi) d = static_cast<float>(static_cast<double>(d) + 2.0 * kPi);
    const float w = expf(-(d * d) / 0.7688f);
    W += w;
    V += p.sat_tinte[i] * w;
  }
  const float S = W > 1e-6f ? V / W : 1.0f;
  v.r = limita01((v.r - L) * S + L);
  v.g = limita01((v.g - L) * S + L);
  v.b = limita01((v.b - L) * S + L);

  const RGB& o = p.stampa_ombre;
  const RGB& l = p.stampa_luci;
  if (o.r != 0.0f || o.g != 0.0f || o.b != 0.0f || l.r != 0.0f || l.g != 0.0f || l.b != 0.0f) {
    L = lum(v);
    const float t = 1.0f - L / 0.4f;
    float s = 0.0f;
    float h = 0.0f;
    if (t > 0.0f) {
      s = t < 1.0f ? powf(t, 1.4f) : 1.0f;
    } else {
      h = potenza01(limita01((L - 0.55f) / 0.45f), 1.2f);
    }
    // Stated in 8-bit code values.
    v.r = v.r + (l.r * h + o.r * s) / 255.0f;
    v.g = v.g + (l.g * h + o.g * s) / 255.0f;
    v.b = v.b + (l.b * h + o.b * s) / 255.0f;
  }
  return v;
}

RGB stampa(RGB lin, const LookDef& look, const Curva& curva) {
  const Palette& p = look.pal;
  const float R = lin.r * p.bilancio.r;
  const float G = lin.g * p.bilancio.g;
  const float B = lin.b * p.bilancio.b;
  const float ar = p.diafonia * p.diafonia_canale.r;
  const float ag = p.diafonia * p.diafonia_canale.g;
  const float ab = p.diafonia * p.diafonia_canale.b;
  // Each dye layer gives up twice its share and takes one of either neighbour. The clamp
  // holds scene light to 1 ahead of the curve: the flat ceiling of a print.
  const RGB x{limita01((1.0f - (ar + ar)) * R + G * ar + B * ar),
              limita01((1.0f - (ag + ag)) * G + R * ag + B * ag),
              limita01(R * ab + G * ab + (1.0f - (ab + ab)) * B)};

  RGB v = codifica(tonemap_ratio(x, curva, look.miscela));
  v = palette(v, p);

  const float sl = look.sollevamento;
  float* c[3] = {&v.r, &v.g, &v.b};
  for (float* q : c) {
    *q = limita01(*q);
    if (sl != 0.0f) *q = limita01(*q * (1.0f - sl) + sl);
    // Fixed knee: the look's own knee belongs to the grade pipeline.
    *q = morbido(*q, 0.88f, 0.120000005f);
  }
  return v;
}

RGB grado(RGB lin, const LookDef& look, const Curva& curva) {
  RGB v = tonemap_ratio(lin, curva, look.miscela);

  if (look.viraggio) {
    const float L = lum(v);
    const float s = potenza01(limita01(1.0f - L / look.ombre_fine), 1.5f);
    const float h = potenza01(limita01((L - look.luci_inizio) / (1.0f - look.luci_inizio)), 1.2f);
    const RGB& to = look.tinta_ombre;
    const RGB& tl = look.tinta_luci;
    // Multipliers around 1: black stays black.
    const RGB tonato{((to.r * s + 1.0f) * v.r) * (tl.r * h + 1.0f),
                     ((to.g * s + 1.0f) * v.g) * (tl.g * h + 1.0f),
                     ((to.b * s + 1.0f) * v.b) * (tl.b * h + 1.0f)};
    if (!(look.protezione_pelle > 0.0f)) {
      v = tonato;
    } else {
      // Spare skin tones: two gaussians around the skin chroma ratios.
      float p = 0.0f;
      if (v.r > v.g && v.g > v.b) {
        const float lc = std::fmax(1e-6f, L);
        const float a = limita01((v.r - v.g) / lc) - 0.26f;
        const float b = limita01((v.g - v.b) / lc) - 0.18f;
        p = limita01(expf(-powf(a, 2.0f) / 0.0512f) * expf(-powf(b, 2.0f) / 0.0392f));
      }
      const float q = 1.0f - look.protezione_pelle * p;
      v.r = v.r + (tonato.r - v.r) * q;
      v.g = v.g + (tonato.g - v.g) * q;
      v.b = v.b + (tonato.b - v.b) * q;
    }
  }

  const float L = lum(v);
  float* c[3] = {&v.r, &v.g, &v.b};
  for (float* q : c) *q = (*q - L) * look.saturazione + L;
  if (look.saturazione_luci != 1.0f) {
    const float t = limita01((L - 0.35f) / 0.65f);
    for (float* q : c) *q = *q * (1.0f - t) + ((*q - L) * look.saturazione_luci + L) * t;
  }
  if (look.saturazione_ombre != 1.0f) {
    const float t = limita01(1.0f - L / 0.12f);
    for (float* q : c) *q = *q * (1.0f - t) + ((*q - L) * look.saturazione_ombre + L) * t;
  }

  v.r = v.r * look.guadagno.r;
  v.g = v.g * look.guadagno.g;
  v.b = v.b * look.guadagno.b;

  const float n = look.ginocchio;
  const float sl = look.sollevamento;
  for (float* q : c) {
    *q = codifica(morbido(*q, n, 1.0f - n));
    // The lift follows the clip here, where the print pipeline has it before.
    if (sl != 0.0f) *q = limita01(*q * (1.0f - sl) + sl);
  }
  return v;
}

}  // namespace

float guadagno_esposizione(const Contesto& ctx) { return powf(2.0f, ctx.ev); }

RGB esposizione(RGB dec, const Contesto& ctx) { return esposizione(dec, guadagno_esposizione(ctx), ctx); }

RGB esposizione(RGB dec, float e, const Contesto& ctx) {
  // Exposure and white balance are gains on linear light; what the matrix pushed below
  // zero dies here. Not a number passes on to the clamps of the tone curve.
  RGB lin{(e * dec.r) * ctx.guadagno.r, (e * dec.g) * ctx.guadagno.g,
          (e * dec.b) * ctx.guadagno.b};
  if (lin.r < 0.0f) lin.r = 0.0f;
  if (lin.g < 0.0f) lin.g = 0.0f;
  if (lin.b < 0.0f) lin.b = 0.0f;
  return lin;
}

RGB applica_colore(RGB codice, const Contesto& ctx) {
  return applica_colore_lineare(esposizione(decodifica(codice, ctx.profilo), ctx), ctx);
}

RGB neutra_lineare(RGB lin, const Contesto& ctx) { return codifica(tonemap_ratio(lin, ctx.curva_neutra, 0.0f)); }

RGB look_lineare(RGB lin, const Contesto& ctx) {
  return ctx.look->tipo == 1 ? stampa(lin, *ctx.look, ctx.curva_look) : grado(lin, *ctx.look, ctx.curva_look);
}

RGB applica_colore_lineare(RGB lin, const Contesto& ctx) {
  const RGB N = neutra_lineare(lin, ctx);
  if (!ctx.look) return N;
  return con_forza(look_lineare(lin, ctx), N, ctx.forza);
}

}  // namespace varno
