// The body of the effect kernels, written once over N-float vectors and built
// by each variant file with its own target (see vettore.h). Each kernel does
// what the one-pixel rule does, lane by lane, in the rule's order.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

#include "fx/nuclei.h"
#include "fx/potenza_corpo.h"
#include "fx/vettore.h"

namespace varno {
namespace {

NUCLEO int64_t minore(int64_t a, int64_t b) { return a < b ? a : b; }
NUCLEO int64_t maggiore(int64_t a, int64_t b) { return a > b ? a : b; }

template <class T>
NUCLEO T carica_t(const T* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// --- Luminance -----------------------------------------------------------------

VARNO_VARIANTE void k_luma(const float* rgb, float* luma, int64_t n) {
  for (int64_t x = 0; x < n; x += N) {
    const int64_t k = minore(N, n - x);
    VF r, g, b;
    leggi_rgb(rgb + 3 * x, r, g, b, k);
    salva(luma + x, luminanza(r, g, b), k);
  }
}

// t^1.6 for n values, as powf gives it.
VARNO_VARIANTE void k_potenza(const float* t, float* r, int64_t n) {
  for (int64_t x = 0; x < n; x += N) {
    const int64_t k = minore(N, n - x);
    salva(r + x, potenza_1_6(carica(t + x, k)), k);
  }
}

// --- Running sums --------------------------------------------------------------

// The band's rows from columns xb on, k of them, turned into the columns of girata.
NUCLEO void gira_dentro(const float* fascia, float* girata, int64_t n, int64_t righe, int64_t xb, int64_t k) {
  VF v[N];
  for (int i = 0; i < N; ++i) v[i] = i < righe ? carica(fascia + i * n + xb, k) : VF{};
  trasponi(v);
  for (int64_t j = 0; j < k; ++j) salva(girata + (xb + j) * N, v[j]);
}

// k steps of the sum down the turned band from column xb, the results turned
// back into the band's rows.
NUCLEO void somma_giu(const float* girata, float* fascia, int64_t n, int64_t righe, int64_t xb, int64_t k,
                      int64_t raggio, float finestra, VF& somma) {
  const int64_t ultimo = n - 1;
  VF blocco[N];
  for (int64_t j = 0; j < k; ++j) {
    const int64_t x = xb + j;
    blocco[j] = somma / finestra;
    const int64_t entra = x + raggio + 1 < ultimo ? x + raggio + 1 : ultimo;
    const int64_t esce = x - raggio > 0 ? x - raggio : 0;
    somma = somma + (carica(girata + entra * N) - carica(girata + esce * N));
  }
  for (int64_t j = k; j < N; ++j) blocco[j] = VF{};
  trasponi(blocco);
  for (int64_t i = 0; i < righe; ++i) salva(fascia + i * n + xb, blocco[i], k);
}

// Along rows: the band is copied row by row into scratch, turned so that each
// lane carries one row, the sum runs down the turned band exactly as it would
// along each row, and the results are turned back and copied out row by row.
// Each row streams on its own rather than sixteen at once. Reads the whole
// band before writing, so src may be dst. Whole blocks of a whole band take
// fixed counts, so their vectors stay in registers.
VARNO_VARIANTE void k_orizzontale(const float* src, float* dst, int64_t passo, int64_t righe, int64_t n,
                                  int64_t raggio, float* appoggio) {
  float* const fascia = appoggio;         // the band, n a row
  float* const girata = appoggio + n * N;  // column x at girata + x * N
  for (int64_t i = 0; i < righe; ++i) std::memcpy(fascia + i * n, src + i * passo, static_cast<size_t>(n) * sizeof(float));
  const int64_t intere = righe == N ? n / N * N : 0;
  for (int64_t xb = 0; xb < intere; xb += N) gira_dentro(fascia, girata, n, N, xb, N);
  for (int64_t xb = intere; xb < n; xb += N) gira_dentro(fascia, girata, n, righe, xb, minore(N, n - xb));
  const float finestra = static_cast<float>(2 * raggio + 1);
  const int64_t ultimo = n - 1;
  VF somma = {};
  for (int64_t k = -raggio; k <= raggio; ++k) somma += carica(girata + (k < 0 ? 0 : (k > ultimo ? ultimo : k)) * N);
  for (int64_t xb = 0; xb < intere; xb += N) somma_giu(girata, fascia, n, N, xb, N, raggio, finestra, somma);
  for (int64_t xb = intere; xb < n; xb += N) somma_giu(girata, fascia, n, righe, xb, minore(N, n - xb), raggio, finestra, somma);
  for (int64_t i = 0; i < righe; ++i) std::memcpy(dst + i * passo, fascia + i * n, static_cast<size_t>(n) * sizeof(float));
}

// Down adjacent columns, one lane a column.
VARNO_VARIANTE void k_verticale(const float* src, float* dst, int64_t passo, int64_t h, int64_t colonne,
                                int64_t raggio, bool flusso) {
  constexpr int64_t kMax = kColonneVerticali / N;
  const int64_t intere = colonne / N;
  const int64_t resto = colonne - intere * N;
  const int64_t nv = intere + (resto > 0 ? 1 : 0);
  VF somma[kMax];
  for (int64_t j = 0; j < nv; ++j) somma[j] = VF{};
  const int64_t ultimo = h - 1;
  for (int64_t k = -raggio; k <= raggio; ++k) {
    const float* riga = src + (k < 0 ? 0 : (k > ultimo ? ultimo : k)) * passo;
    for (int64_t j = 0; j < intere; ++j) somma[j] += carica(riga + j * N);
    if (resto > 0) somma[intere] += carica(riga + intere * N, resto);
  }
  const float finestra = static_cast<float>(2 * raggio + 1);
  for (int64_t y = 0; y < h; ++y) {
    const int64_t entra = y + raggio + 1 < ultimo ? y + raggio + 1 : ultimo;
    const int64_t esce = y - raggio > 0 ? y - raggio : 0;
    const float* a = src + entra * passo;
    const float* b = src + esce * passo;
    float* d = dst + y * passo;
    if (flusso) {
      anticipa(src + minore(entra + 16, ultimo) * passo, colonne);
      for (int64_t j = 0; j < intere; ++j) {
        salva_flusso(d + j * N, somma[j] / finestra);
        somma[j] = somma[j] + (carica(a + j * N) - carica(b + j * N));
      }
    } else {
      for (int64_t j = 0; j < intere; ++j) {
        salva(d + j * N, somma[j] / finestra);
        somma[j] = somma[j] + (carica(a + j * N) - carica(b + j * N));
      }
    }
    if (resto > 0) {
      salva(d + intere * N, somma[intere] / finestra, resto);
      somma[intere] = somma[intere] + (carica(a + intere * N, resto) - carica(b + intere * N, resto));
    }
  }
  if (flusso) barriera_flusso();
}

// --- Masks and block means -------------------------------------------------------

constexpr int piani_di(Maschera m) {
  return m == Maschera::alone_bianco ? 4 : (m == Maschera::alone_nero ? 3 : 1);
}

// Where a mask starts: luma at or below it gives 0 (or -0, which adds nothing
// to a block's sum).
constexpr float inizio_di(Maschera m) {
  return m == Maschera::halation ? 0.62f
         : m == Maschera::bloom ? 0.72f
         : m == Maschera::streak ? 0.8f
         : m == Maschera::stella ? 0.85f
         : m == Maschera::glimmer ? 0.55f
         : m == Maschera::alone_nero ? 0.45f
                                     : 0.35f;
}

// The mask values of a vector of pixels from their luma l and channels r, g,
// b (read by the halo masks only). A vector whose luma is all finite and at
// or below the mask's start skips the ramp: its masks are zeros. (A finite
// luma means finite channels; an infinite one gives NaN through the ramp.)
template <Maschera M>
NUCLEO void valori_maschera(VF l, VF r, VF g, VF b, VF* m) {
  if constexpr (M == Maschera::luma) {
    m[0] = l;
    return;
  }
  constexpr int primo = M == Maschera::alone_bianco ? 1 : 0;
  if constexpr (primo == 1) m[0] = l;
  if (nessuna(~((l <= uguali(inizio_di(M))) & (l >= uguali(-3.4028235e38f))))) {
    for (int k = primo; k < piani_di(M); ++k) m[k] = VF{};
    return;
  }
  if constexpr (M == Maschera::halation) {
    const VF t = rampa(l, 0.62f, 0.38f);
    // 0 and 1 are their own powers.
    const VI dentro = (t > VF{}) & (t < uguali(1.0f));
    m[0] = nessuna(dentro) ? t : (dentro ? potenza_1_6(dentro ? t : uguali(0.5f)) : t);
  } else if constexpr (M == Maschera::bloom) {
    const VF t = rampa(l, 0.72f, 0.28f);
    m[0] = l * t * t;
  } else if constexpr (M == Maschera::streak) {
    const VF t = rampa(l, 0.8f, 0.2f);
    m[0] = t * t * l;
  } else if constexpr (M == Maschera::stella) {
    const VF t = rampa(l, 0.85f, 0.15f);
    m[0] = t > VF{} ? (t >= uguali(1.0f) ? l : t * t * l) : VF{};
  } else if constexpr (M == Maschera::glimmer) {
    const VF t = rampa(l, 0.55f, 0.45f);
    m[0] = t > VF{} ? (t >= uguali(1.0f) ? l : l * t) : VF{};
  } else {
    const VF t = M == Maschera::alone_bianco ? rampa(l, 0.35f, 0.65f) : rampa(l, 0.45f, 0.55f);
    const VF peso = t * t;
    m[primo + 0] = r * peso;
    m[primo + 1] = g * peso;
    m[primo + 2] = b * peso;
  }
}

// Reduced columns a group of block sums covers.
constexpr int64_t kGruppoRidotto = 4 * N;

// One row's masks added to the block sums of a group of reduced columns: l,
// r, g, b hold the row's luma and channels from the group's first column,
// zeros past the frame, vettori * N * F of each; somma holds the K planes'
// sums, vettori vectors each. Each block adds its samples from 0, row after
// row and left to right along a row; zeros past the frame's last column add
// nothing to a sum that is never -0.
template <Maschera M, int F>
VARNO_VARIANTE void accumula(const float* l, const float* r, const float* g, const float* b, int64_t vettori,
                             VF* somma) {
  constexpr int K = piani_di(M);
  for (int64_t v = 0; v < vettori; ++v) {
    VF m[K][F];
    for (int i = 0; i < F; ++i) {
      const int64_t x = (v * F + i) * N;
      VF mi[K];
      valori_maschera<M>(carica(l + x), carica(r + x), carica(g + x), carica(b + x), mi);
      for (int k = 0; k < K; ++k) m[k][i] = mi[k];
    }
    for (int k = 0; k < K; ++k) {
      VF a = somma[k * vettori + v];
      if constexpr (F == 4) {
        VF s[4];
        flussi4(m[k], s);
        a = a + s[0];
        a = a + s[1];
        a = a + s[2];
        a = a + s[3];
      } else {
        a = a + flusso<F, 0>(m[k]);
        if constexpr (F > 1) a = a + flusso<F, 1>(m[k]);
        if constexpr (F > 2) a = a + flusso<F, 2>(m[k]);
      }
      somma[k * vettori + v] = a;
    }
  }
}

using Accumula = void (*)(const float*, const float*, const float*, const float*, int64_t, VF*);

template <Maschera M>
Accumula accumula_per(int32_t f) {
  switch (f) {
    case 1: return accumula<M, 1>;
    case 2: return accumula<M, 2>;
    case 3: return accumula<M, 3>;
    default: return accumula<M, 4>;
  }
}

// The accumulation of a mask at a factor 1 to 4.
inline Accumula accumula_di(Maschera m, int32_t f) {
  switch (m) {
    case Maschera::luma: return accumula_per<Maschera::luma>(f);
    case Maschera::halation: return accumula_per<Maschera::halation>(f);
    case Maschera::bloom: return accumula_per<Maschera::bloom>(f);
    case Maschera::streak: return accumula_per<Maschera::streak>(f);
    case Maschera::stella: return accumula_per<Maschera::stella>(f);
    case Maschera::glimmer: return accumula_per<Maschera::glimmer>(f);
    case Maschera::alone_nero: return accumula_per<Maschera::alone_nero>(f);
    default: return accumula_per<Maschera::alone_bianco>(f);
  }
}

// The block means of a group of reduced columns from Xa: sums divided by the
// count of samples each block has inside the frame.
NUCLEO void salva_medie(int K, const VF* somma, int64_t vettori, float conta, float* const* uscite, int64_t riga,
                        int64_t Xa, int64_t nX) {
  for (int k = 0; k < K; ++k)
    for (int64_t v = 0; v < vettori && v * N < nX; ++v)
      salva(uscite[k] + riga + Xa + v * N, somma[k * vettori + v] / conta, minore(N, nX - v * N));
}

// Reduced row Y from the frame's luma (and picture): groups of reduced columns
// whose rows of inputs fit on the stack.
VARNO_VARIANTE void k_riduci(const ParamRiduzione& p, int64_t Y) {
  const int64_t f = p.riduzione, w = p.larghezza;
  const int64_t y0 = Y * f, y1 = minore(y0 + f, p.altezza);
  const int K = piani_di(p.maschera);
  const bool canali = K > 1;
  const Accumula somma_righe = accumula_di(p.maschera, p.riduzione);
  const float conta = static_cast<float>((y1 - y0) * minore(f, w));
  alignas(64) float l[kGruppoRidotto * 4], r[kGruppoRidotto * 4], g[kGruppoRidotto * 4], b[kGruppoRidotto * 4];
  for (int64_t Xa = 0; Xa < p.w2; Xa += kGruppoRidotto) {
    const int64_t nX = minore(kGruppoRidotto, p.w2 - Xa);
    const int64_t vettori = (nX + N - 1) / N;
    const int64_t xa = Xa * f, larghi = vettori * N * f;
    const int64_t nx = minore(larghi, w - xa);
    VF somma[4 * kGruppoRidotto / N];
    for (int64_t i = 0; i < K * vettori; ++i) somma[i] = VF{};
    // The next group's runs of the band's rows.
    const int64_t dopo = minore(w, xa + larghi), n_dopo = minore(w, dopo + larghi) - dopo;
    for (int64_t y = y0; y < y1; ++y) {
      anticipa(p.luma + y * w + dopo, n_dopo);
      if (canali) anticipa(p.img + (y * w + dopo) * 3, 3 * n_dopo);
    }
    for (int64_t y = y0; y < y1; ++y) {
      const float* riga = p.luma + y * w + xa;
      for (int64_t x = 0; x < larghi; x += N) salva(l + x, carica(riga + x, nx - x));
      if (canali) {
        const float* rgb = p.img + (y * w + xa) * 3;
        for (int64_t x = 0; x < larghi; x += N) {
          VF R, G, B;
          leggi_rgb(rgb + 3 * x, R, G, B, nx - x);
          salva(r + x, R);
          salva(g + x, G);
          salva(b + x, B);
        }
      }
      somma_righe(l, canali ? r : l, canali ? g : l, canali ? b : l, vettori, somma);
    }
    salva_medie(K, somma, vettori, conta, p.uscite, Y * p.passo, Xa, nX);
  }
}

// Any other factor, one sample at a time in the same order.
template <Maschera M>
VARNO_VARIANTE void k_riduci_lento(const ParamRiduzione& p, int64_t Y) {
  constexpr int K = piani_di(M);
  const int64_t f = p.riduzione, w = p.larghezza;
  const int64_t y0 = Y * f, y1 = minore(y0 + f, p.altezza);
  for (int64_t X = 0; X < p.w2; ++X) {
    float somma[K] = {};
    int64_t conta = 0;
    for (int64_t y = y0; y < y1; ++y)
      for (int64_t x = X * f; x < (X + 1) * f && x < w; ++x) {
        const int64_t i = y * w + x;
        VF v[K], R = {}, G = {}, B = {};
        if (K > 1) leggi_rgb(p.img + 3 * i, R, G, B, 1);
        valori_maschera<M>(carica(p.luma + i, 1), R, G, B, v);
        for (int k = 0; k < K; ++k) somma[k] += v[k][0];
        ++conta;
      }
    for (int k = 0; k < K; ++k)
      p.uscite[k][Y * p.passo + X] = somma[k] / static_cast<float>(conta > 1 ? conta : 1);
  }
}

VARNO_VARIANTE void k_riduci_tutte(const ParamRiduzione& p, int64_t Y) {
  if (p.riduzione >= 1 && p.riduzione <= 4) return k_riduci(p, Y);
  switch (p.maschera) {
    case Maschera::luma: return k_riduci_lento<Maschera::luma>(p, Y);
    case Maschera::halation: return k_riduci_lento<Maschera::halation>(p, Y);
    case Maschera::bloom: return k_riduci_lento<Maschera::bloom>(p, Y);
    case Maschera::streak: return k_riduci_lento<Maschera::streak>(p, Y);
    case Maschera::stella: return k_riduci_lento<Maschera::stella>(p, Y);
    case Maschera::glimmer: return k_riduci_lento<Maschera::glimmer>(p, Y);
    case Maschera::alone_nero: return k_riduci_lento<Maschera::alone_nero>(p, Y);
    case Maschera::alone_bianco: return k_riduci_lento<Maschera::alone_bianco>(p, Y);
  }
}

// --- Enlargement ---------------------------------------------------------------------

// Rows y0 and y1 of a reduced plane and the weight of y1 for full-size row y:
// sample k stands at k * riduzione, the edge held past the last.
struct RigheRidotte {
  int64_t y0 = 0, y1 = 0;
  float ty = 0.0f;
};
NUCLEO RigheRidotte righe_ridotte(const Ingrandimento& g, int64_t y) {
  RigheRidotte r;
  const float fy = static_cast<float>(y) / static_cast<float>(g.riduzione);
  r.y0 = static_cast<int64_t>(fy);
  if (r.y0 > g.h2 - 1) r.y0 = g.h2 - 1;
  r.y1 = r.y0 + 1 < g.h2 - 1 ? r.y0 + 1 : g.h2 - 1;
  r.ty = fy - static_cast<float>(r.y0);
  return r;
}

// Reduced row `a` at full-size columns x .. x + N - 1, interpolated along the
// row: the samples come from one load and a lane shuffle; at factor 1 the
// right neighbour is the next load, held at the last column.
NUCLEO VF lungo_riga(const Ingrandimento& g, const float* a, int64_t x) {
  const VF tx = carica(g.tx + x);
  VF a0, a1;
  if (g.riduzione == 1) {
    a0 = carica(a + x);
    const VI ultima = (corsie() + static_cast<int32_t>(x)) >= static_cast<int32_t>(g.w2 - 1);
    a1 = ultima ? a0 : carica(a + x + 1);
  } else {
    const VF va = carica(a + g.base[x / N]);
    a0 = scegli(va, carica_t<VI>(reinterpret_cast<const VI*>(g.indice0 + x)));
    a1 = scegli(va, carica_t<VI>(reinterpret_cast<const VI*>(g.indice1 + x)));
  }
  return a0 * (1.0f - tx) + a1 * tx;
}

// The bilinear sample at full-size columns x .. x + N - 1 between reduced rows
// a and c.
NUCLEO VF ingrandito(const Ingrandimento& g, const float* a, const float* c, VF ty, int64_t x) {
  return lungo_riga(g, a, x) * (1.0f - ty) + lungo_riga(g, c, x) * ty;
}

VARNO_VARIANTE void k_ingrandisci(const Ingrandimento& g, const float* copia, float* riga, int64_t w, int64_t y) {
  const RigheRidotte r = righe_ridotte(g, y);
  const float* a = copia + r.y0 * g.w2;
  const float* c = copia + r.y1 * g.w2;
  const VF ty = uguali(r.ty);
  for (int64_t x = 0; x < w; x += N) salva(riga + x, ingrandito(g, a, c, ty, x), minore(N, w - x));
}

// --- Composites --------------------------------------------------------------------

// The vignette, then the grain, on n pixels of row y from column x.
struct RigheCoda {
  const float* vignetta = nullptr;
  const float* a = nullptr;
  const float* c = nullptr;
  VF ty;
};
NUCLEO RigheCoda righe_coda(const Coda& k, int64_t w, int64_t y) {
  RigheCoda r;
  if (k.vignetta != nullptr) r.vignetta = k.vignetta + y * w;
  if (k.rumore != nullptr) {
    const RigheRidotte rr = righe_ridotte(k.celle, y);
    r.a = k.rumore + rr.y0 * k.celle.w2;
    r.c = k.rumore + rr.y1 * k.celle.w2;
    r.ty = uguali(rr.ty);
  }
  return r;
}
NUCLEO void applica_coda(const Coda& k, const RigheCoda& r, int64_t x, int64_t n, VF& R, VF& G, VF& B) {
  if (r.vignetta != nullptr) {
    const VF v = 1.0f - carica(r.vignetta + x, n) * k.quanto_vignetta;
    R = limita01(R * v);
    G = limita01(G * v);
    B = limita01(B * v);
  }
  if (r.a != nullptr) {
    const VF rumore = ingrandito(k.celle, r.a, r.c, r.ty, x);
    const VF l = luminanza(R, G, B);
    // Vanishes at black and white; outside 0..1 it turns sign, which is accepted.
    const VF d = rumore * k.grana * 0.14f * (l * (1.0f - l) * 4.0f);
    R = limita01(R + d);
    G = limita01(G + d);
    B = limita01(B + d);
  }
}

// R, G, B and A as RGBA pixels: vector K of the interleaved sequence.
constexpr int intreccio4(int k, int i) { return (k * N + i) / 4; }
template <int K, size_t... I>
NUCLEO VF intreccia4(VF r, VF g, VF b, VF a, std::index_sequence<I...>) {
  const VF rg = __builtin_shufflevector(r, g, ((K * N + I) % 4 == 1 ? N + intreccio4(K, I) : intreccio4(K, I))...);
  const VF ba = __builtin_shufflevector(b, a, ((K * N + I) % 4 == 3 ? N + intreccio4(K, I) : intreccio4(K, I))...);
  return __builtin_shufflevector(rg, ba, ((K * N + I) % 4 >= 2 ? int(N + I) : int(I))...);
}

// n pixels of frame row y from column x to the output, where they fall inside
// it, with their alpha.
NUCLEO void scrivi_uscita(const Uscita& u, int64_t w, int64_t y, int64_t x, int64_t n, VF R, VF G, VF B) {
  if (y < u.ya || y >= u.yb) return;
  const int64_t da = x > u.xa ? x : u.xa, a = x + n < u.xb ? x + n : u.xb;
  if (a <= da) return;
  float* riga = reinterpret_cast<float*>(u.dati + (y + u.dy) * u.row_bytes);
  const float* alfa = u.alfa + y * w;
  if (da == x && a - x == N) {
    const VF A = carica(alfa + x);
    float* d = riga + (x + u.dx) * 4;
    const VF v[4] = {intreccia4<0>(R, G, B, A, std::make_index_sequence<N>{}),
                     intreccia4<1>(R, G, B, A, std::make_index_sequence<N>{}),
                     intreccia4<2>(R, G, B, A, std::make_index_sequence<N>{}),
                     intreccia4<3>(R, G, B, A, std::make_index_sequence<N>{})};
    // Nothing here reads the output again: aligned rows bypass the cache.
    if (reinterpret_cast<uintptr_t>(d) % sizeof(VF) == 0)
      for (int k = 0; k < 4; ++k) salva_flusso(d + k * N, v[k]);
    else
      for (int k = 0; k < 4; ++k) salva(d + k * N, v[k]);
    return;
  }
  for (int64_t c = da; c < a; ++c) {
    const float px[4] = {R[c - x], G[c - x], B[c - x], alfa[c]};
    std::memcpy(riga + (c + u.dx) * 4, px, sizeof px);
  }
}

// Floats a row of a pass's outputs for the next stage's masks holds: luma,
// then red, green and blue, this far apart.
constexpr int64_t kRigaUscita = kColonneVerticali + 4 * N;

constexpr int piani_composto(Composto c) {
  return c == Composto::mistw ? 4 : (c == Composto::promist ? 3 : (c == Composto::nessuno ? 0 : 1));
}

// The stage's blend on one vector of pixels of row y from column x, given the
// values e of its planes there; then the refresh of luma and the tail.
template <Composto E>
NUCLEO void componi_vettore(const ParamComposto& p, const RigheCoda& coda, int64_t y, int64_t x, int64_t n,
                            const VF* e, float* uscita = nullptr) {
  const int64_t w = p.larghezza;
  float* pixel = p.img + (y * w + x) * 3;
  const float q = p.quanto;
  VF R, G, B;
  leggi_rgb(pixel, R, G, B, n);
  if constexpr (E == Composto::enhance || E == Composto::pelle) {
    const VF L = carica(p.luma + y * w + x, n);
    const VF t = dettaglio(L - e[0]);
    porta_rapporto(R, G, B, L, E == Composto::enhance ? L + 2.0f * (t * q) : L - t * q * 1.6f);
  } else if constexpr (E == Composto::halation) {
    // The weight goes in before the clamp; the screen itself is not clamped.
    const VF s = e[0] * q;
    const VF uno = uguali(1.0f);
    R = schermo(minimo(1.0f * s, uno), R);
    G = schermo(minimo(0.36f * s, uno), G);
    B = schermo(minimo(0.12f * s, uno), B);
  } else if constexpr (E == Composto::bloom) {
    const VF s = minimo(q * e[0], uguali(1.0f));
    R = schermo(s, R);
    G = schermo(s, G);
    B = schermo(s, B);
  } else if constexpr (E == Composto::streak) {
    // Clamped before the colour weight, so blue can reach s and red only 0.3 s.
    const VF s = minimo(e[0] * q * 2.2f, uguali(1.0f));
    R = schermo(0.3f * s, R);
    G = schermo(0.55f * s, G);
    B = schermo(1.0f * s, B);
  } else if constexpr (E == Composto::promist) {
    const VF uno = uguali(1.0f);
    R = schermo(minimo(e[0] * q * 1.5f, uno), R);
    G = schermo(minimo(e[1] * q * 1.5f, uno), G);
    B = schermo(minimo(e[2] * q * 1.5f, uno), B);
  } else if constexpr (E == Composto::mistw) {
    const VF uno = uguali(1.0f);
    const VF v = q * 0.22f * (e[0] * 0.5f + p.media * 0.5f);
    VF* canali[3] = {&R, &G, &B};
    for (int k = 0; k < 3; ++k) {
      const VF s = schermo(minimo(e[k + 1] * q * 1.3f, uno), *canali[k]);
      // A second screen, of a neutral veil; this filter alone clamps its result.
      *canali[k] = limita01(s + v * (1.0f - s));
    }
  } else if constexpr (E == Composto::glimmer || E == Composto::stella) {
    const VF h = minimo(e[0] * q * (E == Composto::glimmer ? 1.4f : 2.4f), uguali(1.0f));
    R = schermo(h, R);
    G = schermo(h, G);
    B = schermo(h, B);
  }
  if (p.luma_nuova != nullptr || uscita != nullptr) {
    const VF l = luminanza(R, G, B);
    if (p.luma_nuova != nullptr) salva(p.luma_nuova + y * w + x, l, n);
    if (uscita != nullptr) {
      // What the next stage's masks read, zeros past the frame.
      const VI vive = corsie() < static_cast<int32_t>(n);
      salva(uscita, vive ? l : VF{});
      salva(uscita + kRigaUscita, vive ? R : VF{});
      salva(uscita + 2 * kRigaUscita, vive ? G : VF{});
      salva(uscita + 3 * kRigaUscita, vive ? B : VF{});
    }
  }
  applica_coda(p.coda, coda, x, n, R, G, B);
  if (p.coda.uscita != nullptr)
    scrivi_uscita(*p.coda.uscita, w, y, x, n, R, G, B);
  else if (p.scrivi)
    scrivi_rgb(pixel, R, G, B, n);
}

// The reduction that rides on a pass: which masks, how the rows of block
// sums fill, and where the pass's pixels are waiting for it.
struct InCoda {
  const Prossima* p = nullptr;
  Accumula somma_righe = nullptr;
  int K = 0;
  int64_t f = 1;
  int64_t righe = 0;  // full-size rows inside blocks
  alignas(64) float uscita[4 * kRigaUscita];
};

NUCLEO void prepara_coda(InCoda& c, const ParamComposto& p) {
  c.p = p.prossima;
  if (c.p == nullptr) return;
  c.somma_righe = accumula_di(c.p->maschera, c.p->riduzione);
  c.K = piani_di(c.p->maschera);
  c.f = c.p->riduzione;
  c.righe = minore(p.altezza, c.p->h2 * c.f);
}

// One row of pixels from column xa, composed into c.uscita, added to the
// block sums of reduced columns from xa / f: n pixels were composed, in
// vectors; the rest up to the group's span reads as zeros.
NUCLEO void somma_riga(InCoda& c, const ParamComposto& p, int64_t y, int64_t xa, int64_t n, int64_t vettori,
                       VF* somma) {
  const int64_t larghi = vettori * N * c.f;
  for (int64_t x = (n + N - 1) / N * N; x < larghi; x += N)
    for (int k = 0; k < 4; ++k) salva(c.uscita + k * kRigaUscita + x, VF{});
  if (c.p->luma_dal_piano) {
    const float* l = p.luma + y * p.larghezza + xa;
    for (int64_t x = 0; x < larghi; x += N) salva(c.uscita + x, carica(l + x, n - x));
  }
  c.somma_righe(c.uscita, c.uscita + kRigaUscita, c.uscita + 2 * kRigaUscita, c.uscita + 3 * kRigaUscita, vettori,
                somma);
}

// The luma the riding masks read, summed in blocks for the frame mean, for
// rows ya .. yb - 1.
NUCLEO void somma_blocchi(const InCoda& c, const ParamComposto& p, int64_t ya, int64_t yb);

// Band b of the picture: the rows of the next stage's reduced row b when a
// reduction rides on the pass; else row b where the planes are read as they
// stand, or the full-size rows that share the same two reduced rows where
// they are enlarged. The last band reaches the frame's foot. Columns go in
// groups; enlarged planes are interpolated along their reduced rows once
// for a group of the band.
template <Composto E>
VARNO_VARIANTE void k_componi(const ParamComposto& p, int64_t b) {
  constexpr int K = piani_composto(E) > 0 ? piani_composto(E) : 1;
  const int64_t w = p.larghezza, h = p.altezza;
  const Ingrandimento& g = p.ingrandimento;
  const bool ingrandisce = g.riduzione > 0 && piani_composto(E) > 0;
  InCoda rid;
  prepara_coda(rid, p);
  const int64_t alto = rid.p != nullptr ? rid.f : (ingrandisce ? g.riduzione : 1);
  const int64_t bande = rid.p != nullptr ? rid.p->h2 : (ingrandisce ? g.h2 : h);
  const int64_t ya = b * alto;
  const int64_t yb = b == bande - 1 ? h : minore(h, ya + alto);
  const int64_t yr = rid.p != nullptr ? minore(yb, rid.righe) : ya;  // rows that go into blocks
  RigheRidotte banda;
  const float* a[K] = {};
  const float* c[K] = {};
  if (ingrandisce) {
    banda = righe_ridotte(g, ya);
    for (int k = 0; k < K; ++k) {
      a[k] = p.piani[k] + banda.y0 * g.w2;
      c[k] = p.piani[k] + banda.y1 * g.w2;
    }
  }
  const int64_t gruppo = rid.p != nullptr ? kGruppoRidotto * rid.f : 16 * N;
  alignas(64) float sopra[K][16 * N], sotto[K][16 * N];
  for (int64_t xa = 0; xa < w; xa += gruppo) {
    const int64_t nx = minore(gruppo, w - xa);
    if (ingrandisce)
      for (int k = 0; k < K; ++k)
        for (int64_t x = 0; x < nx; x += N) {
          salva(&sopra[k][x], lungo_riga(g, a[k], xa + x));
          salva(&sotto[k][x], lungo_riga(g, c[k], xa + x));
        }
    const int64_t Xa = xa / rid.f;
    const int64_t nX = rid.p != nullptr ? minore(kGruppoRidotto, rid.p->w2 - Xa) : 0;
    const int64_t vettori = (nX + N - 1) / N;
    VF somma[4 * kGruppoRidotto / N];
    for (int64_t i = 0; i < rid.K * vettori; ++i) somma[i] = VF{};
    // The next group's runs of the band's rows, of everything read at full size.
    const int64_t dopo = minore(w, xa + gruppo), n_dopo = minore(w, dopo + gruppo) - dopo;
    for (int64_t y = ya; y < yb; ++y) {
      const int64_t i = y * w + dopo;
      anticipa(p.img + i * 3, 3 * n_dopo);
      if (p.coda.uscita != nullptr) anticipa(p.coda.uscita->alfa + i, n_dopo);
      if (p.coda.vignetta != nullptr) anticipa(p.coda.vignetta + i, n_dopo);
      if (rid.p != nullptr && rid.p->luma_dal_piano) anticipa(p.luma + i, n_dopo);
      if (!ingrandisce)
        for (int k = 0; k < piani_composto(E); ++k) anticipa(p.piani[k] + i, n_dopo);
    }
    for (int64_t y = ya; y < yb; ++y) {
      const bool accumula_riga = y < yr && nX > 0;
      const RigheRidotte r = ingrandisce ? righe_ridotte(g, y) : RigheRidotte{};
      const bool condivise = r.y0 == banda.y0 && r.y1 == banda.y1;
      const VF ty = uguali(r.ty), umty = 1.0f - ty;
      const RigheCoda coda = righe_coda(p.coda, w, y);
      for (int64_t x = 0; x < nx; x += N) {
        const int64_t n = minore(N, nx - x);
        VF e[K] = {};
        for (int k = 0; k < piani_composto(E); ++k) {
          if (!ingrandisce)
            e[k] = carica(p.piani[k] + y * w + xa + x, n);
          else
            e[k] = condivise ? carica(&sopra[k][x]) * umty + carica(&sotto[k][x]) * ty
                             : ingrandito(g, p.piani[k] + r.y0 * g.w2, p.piani[k] + r.y1 * g.w2, ty, xa + x);
        }
        componi_vettore<E>(p, coda, y, xa + x, n, e, accumula_riga ? rid.uscita + x : nullptr);
      }
      if (accumula_riga) somma_riga(rid, p, y, xa, nx, vettori, somma);
    }
    if (nX > 0)
      salva_medie(rid.K, somma, vettori, static_cast<float>((yr - ya) * minore(rid.f, w)), rid.p->uscite,
                  b * rid.p->passo, Xa, nX);
  }
  if (rid.p != nullptr && rid.p->blocchi != nullptr) somma_blocchi(rid, p, ya, yb);
  if (p.coda.uscita != nullptr) barriera_flusso();
}

// The last vertical pass of a full-size blur down `colonne` columns from x0
// of src, each row's sums laid straight into the stage's composite instead of
// a plane (enhance and skin diffusion), with the next stage's reduction
// riding on it where there is one. The picture's and luma's rows ahead are
// fetched as the sums' are.
template <Composto E>
VARNO_VARIANTE void k_verticale_componi(const ParamComposto& p, const float* src, int64_t x0, int64_t colonne,
                                        int64_t raggio) {
  constexpr int64_t kMax = kColonneVerticali / N;
  const int64_t w = p.larghezza, h = p.altezza;
  const int64_t nv = (colonne + N - 1) / N;
  VF somma[kMax];
  for (int64_t j = 0; j < nv; ++j) somma[j] = VF{};
  const int64_t ultimo = h - 1;
  const float* const colonna = src + x0;
  for (int64_t k = -raggio; k <= raggio; ++k) {
    const float* riga = colonna + (k < 0 ? 0 : (k > ultimo ? ultimo : k)) * w;
    for (int64_t j = 0; j < nv; ++j) somma[j] += carica(riga + j * N, minore(N, colonne - j * N));
  }
  InCoda rid;
  prepara_coda(rid, p);
  const int64_t Xa = x0 / rid.f;
  const int64_t nX = rid.p != nullptr ? minore((colonne + rid.f - 1) / rid.f, rid.p->w2 - Xa) : 0;
  const int64_t vettori = (nX + N - 1) / N;
  VF blocchi[4 * kMax];
  for (int64_t i = 0; i < rid.K * vettori; ++i) blocchi[i] = VF{};
  const float finestra = static_cast<float>(2 * raggio + 1);
  for (int64_t y = 0; y < h; ++y) {
    const int64_t entra = y + raggio + 1 < ultimo ? y + raggio + 1 : ultimo;
    const int64_t esce = y - raggio > 0 ? y - raggio : 0;
    const float* a = colonna + entra * w;
    const float* b = colonna + esce * w;
    const int64_t avanti = minore(y + 8, ultimo);
    anticipa(colonna + minore(entra + 16, ultimo) * w, colonne);
    anticipa(p.luma + avanti * w + x0, colonne);
    anticipa(p.img + (avanti * w + x0) * 3, 3 * colonne);
    const RigheCoda coda = righe_coda(p.coda, w, y);
    const bool accumula_riga = y < rid.righe && nX > 0;
    for (int64_t j = 0; j < nv; ++j) {
      const int64_t n = minore(N, colonne - j * N);
      const VF e[1] = {somma[j] / finestra};
      componi_vettore<E>(p, coda, y, x0 + j * N, n, e, accumula_riga ? rid.uscita + j * N : nullptr);
      somma[j] = somma[j] + (carica(a + j * N, n) - carica(b + j * N, n));
    }
    if (!accumula_riga) continue;
    somma_riga(rid, p, y, x0, colonne, vettori, blocchi);
    // A block row ends with its f-th row, or with the last row inside blocks.
    const int64_t Y = y / rid.f;
    if (y + 1 == minore((Y + 1) * rid.f, rid.righe)) {
      salva_medie(rid.K, blocchi, vettori, static_cast<float>((y + 1 - Y * rid.f) * minore(rid.f, w)),
                  rid.p->uscite, Y * rid.p->passo, Xa, nX);
      for (int64_t i = 0; i < rid.K * vettori; ++i) blocchi[i] = VF{};
    }
  }
  if (p.coda.uscita != nullptr) barriera_flusso();
}

VARNO_VARIANTE void k_verticale_componi_tutti(const ParamComposto& p, const float* src, int64_t x0, int64_t colonne,
                                              int64_t raggio) {
  if (p.tipo == Composto::enhance) return k_verticale_componi<Composto::enhance>(p, src, x0, colonne, raggio);
  k_verticale_componi<Composto::pelle>(p, src, x0, colonne, raggio);
}

VARNO_VARIANTE void k_componi_tutti(const ParamComposto& p, int64_t y) {
  switch (p.tipo) {
    case Composto::nessuno: return k_componi<Composto::nessuno>(p, y);
    case Composto::enhance: return k_componi<Composto::enhance>(p, y);
    case Composto::pelle: return k_componi<Composto::pelle>(p, y);
    case Composto::halation: return k_componi<Composto::halation>(p, y);
    case Composto::bloom: return k_componi<Composto::bloom>(p, y);
    case Composto::streak: return k_componi<Composto::streak>(p, y);
    case Composto::promist: return k_componi<Composto::promist>(p, y);
    case Composto::stella: return k_componi<Composto::stella>(p, y);
    case Composto::mistw: return k_componi<Composto::mistw>(p, y);
    case Composto::glimmer: return k_componi<Composto::glimmer>(p, y);
  }
}

// --- Chromatic aberration ---------------------------------------------------------

// Clamp to 0..limite; a position that is not a number lands on 0.
NUCLEO VF tieni(VF v, float limite) {
  v = v >= VF{} ? v : VF{};
  const VF l = uguali(limite);
  return v > l ? l : v;
}

// Bilinear samples of one channel plane at n positions. The neighbour index is
// held to the last pixel, so a frame 1 wide or high never reads outside. The
// lanes of a vector sample neighbouring places: each row they reach is read
// with two loads and its samples picked by lane; lanes spread wider than that
// take the samples one at a time. Each row keeps 2N floats of room past its end.
NUCLEO VF campiona_piano(const float* const* righe, int64_t w, int64_t h, VF sx, VF sy, int64_t n) {
  const VI wm1 = VI{} + static_cast<int32_t>(w - 1), hm1 = VI{} + static_cast<int32_t>(h - 1);
  VI ix = __builtin_convertvector(sx, VI);
  VI iy = __builtin_convertvector(sy, VI);
  ix = ix > wm1 ? wm1 : ix;
  iy = iy > hm1 ? hm1 : iy;
  const VF tx = sx - __builtin_convertvector(ix, VF);
  const VF ty = sy - __builtin_convertvector(iy, VF);
  const VI ix1 = ix + 1 < VI{} + static_cast<int32_t>(w) ? ix + 1 : wm1;
  const VI iy1 = iy + 1 < VI{} + static_cast<int32_t>(h) ? iy + 1 : hm1;
  const int32_t x0 = ix[0] > 0 ? ix[0] - 1 : 0;
  const int32_t y0 = iy[0] < iy[n - 1] ? iy[0] : iy[n - 1];
  const VI fuori = (corsie() < static_cast<int32_t>(n)) &
                   ((ix < VI{} + x0) | (ix1 - x0 >= 2 * N) | (iy < VI{} + y0) | (iy > VI{} + (y0 + 1)));
  VF v00, v01, v10, v11;
  if (nessuna(fuori)) {
    VF a[3], b[3];
    for (int r = 0; r < 3; ++r) {
      const float* riga = righe[minore(y0 + r, h - 1)] + x0;
      const VF lo = carica(riga), hi = carica(riga + N);
      a[r] = scegli(lo, hi, ix - x0);
      b[r] = scegli(lo, hi, ix1 - x0);
    }
    const VI alta = iy == VI{} + y0;
    v00 = alta ? a[0] : a[1];
    v01 = alta ? b[0] : b[1];
    const VI b0 = iy1 == VI{} + y0, b1 = iy1 == VI{} + (y0 + 1);
    v10 = b0 ? a[0] : (b1 ? a[1] : a[2]);
    v11 = b0 ? b[0] : (b1 ? b[1] : b[2]);
  } else {
    for (int64_t i = 0; i < N; ++i) {
      // Idle lanes read the sampled row of lane 0.
      const float* r0 = righe[iy[i < n ? i : 0]];
      const float* r1 = righe[iy1[i < n ? i : 0]];
      const int64_t c0 = i < n ? ix[i] : 0, c1 = i < n ? ix1[i] : 0;
      v00[i] = r0[c0];
      v01[i] = r0[c1];
      v10[i] = r1[c0];
      v11[i] = r1[c1];
    }
  }
  return (v00 * (1.0f - tx) + v01 * tx) * (1.0f - ty) + (v10 * (1.0f - tx) + v11 * tx) * ty;
}

// Red and blue of n pixels into planes of their own; `flusso`: the planes are
// far larger than the caches, so the stores bypass them.
VARNO_VARIANTE void k_separa(const float* rgb, float* rosso, float* blu, int64_t n, bool flusso) {
  int64_t x = 0;
  if (flusso)
    for (; x + N <= n; x += N) {
      VF r, g, b;
      leggi_rgb(rgb + 3 * x, r, g, b);
      salva_flusso(rosso + x, r);
      salva_flusso(blu + x, b);
    }
  for (; x < n; x += N) {
    const int64_t k = minore(N, n - x);
    VF r, g, b;
    leggi_rgb(rgb + 3 * x, r, g, b, k);
    salva(rosso + x, r, k);
    salva(blu + x, b, k);
  }
  if (flusso) barriera_flusso();
}

VARNO_VARIANTE void k_aberrazione(const ParamAberrazione& p, const float* const* rosso, const float* const* blu,
                                  int64_t y) {
  const int64_t w = p.larghezza, h = p.altezza;
  float* riga = p.img + y * w * 3;
  const float dy = static_cast<float>(y) - p.cy;
  const float ny = dy / p.cy;
  const float ny2 = ny * ny;
  const RigheCoda coda = righe_coda(p.coda, w, y);
  for (int64_t x = 0; x < w; x += N) {
    const int64_t n = minore(N, w - x);
    const VF dx = carica(p.colonna_dx + x, n);
    const VF k = (carica(p.colonna_nx2 + x, n) + ny2) * p.forza;
    const VF ar = 1.0f - k;
    const VF ab = 1.0f + k;
    const VF DY = uguali(dy);
    VF R, G, B;
    leggi_rgb(riga + 3 * x, R, G, B, n);
    R = campiona_piano(rosso, w, h, tieni(dx * ar + p.cx, p.lx), tieni(DY * ar + p.cy, p.ly), n);
    B = campiona_piano(blu, w, h, tieni(dx * ab + p.cx, p.lx), tieni(DY * ab + p.cy, p.ly), n);
    applica_coda(p.coda, coda, x, n, R, G, B);
    if (p.coda.uscita != nullptr)
      scrivi_uscita(*p.coda.uscita, w, y, x, n, R, G, B);
    else
      scrivi_rgb(riga + 3 * x, R, G, B, n);
  }
  if (p.coda.uscita != nullptr) barriera_flusso();
}

// --- Star ----------------------------------------------------------------------------

// B vectors of R reduced rows from column x, side by side so that the adds'
// latency is hidden. On a line that runs down the frame a tap's samples for
// the second row are, or lie beside, the first row's some taps on, so a pair
// of rows reads each cache line about once. Each pixel sums
// its taps from 0 in ascending order, weight times sample; taps off the plane
// land on the zero border, and adding +0 to a sum of non-negative terms
// changes nothing. The lines' sums, each divided by the total weight, are
// added in order.
template <int64_t R, int64_t B>
NUCLEO void stella_blocco(const float* piano, int64_t passo, int64_t w2, int64_t y, int64_t x, int32_t direzioni,
                          int64_t taps, const int32_t* spostamenti, const float* pesi, float peso_totale, float* riga) {
  VF somma[R][B] = {};
  for (int32_t d = 0; d < direzioni; ++d) {
    const int32_t* ox = spostamenti + static_cast<int64_t>(d) * 2 * taps;
    const int32_t* oy = ox + taps;
    VF linea[R][B] = {};
    for (int64_t i = 0; i < taps; ++i) {
      const float* s = piano + (y + oy[i]) * passo + x + ox[i];
      const VF peso = uguali(pesi[i]);
      for (int64_t r = 0; r < R; ++r)
        for (int64_t b = 0; b < B; ++b) linea[r][b] = linea[r][b] + peso * carica(s + r * passo + b * N);
    }
    for (int64_t r = 0; r < R; ++r)
      for (int64_t b = 0; b < B; ++b) somma[r][b] = somma[r][b] + linea[r][b] / peso_totale;
  }
  for (int64_t r = 0; r < R; ++r)
    for (int64_t b = 0; b < B && x + b * N < w2; ++b)
      salva(riga + r * w2 + x + b * N, somma[r][b], minore(N, w2 - x - b * N));
}

// Twelve vectors at a time (six for narrower vectors, which have half the
// registers), the row's end in fours, reading at most three vectors past it.
template <int64_t R>
NUCLEO void stella_righe(const float* piano, int64_t passo, int64_t w2, int64_t y, int32_t direzioni, int64_t taps,
                         const int32_t* spostamenti, const float* pesi, float peso_totale, float* riga) {
  constexpr int64_t B = N == 16 || R == 1 ? 12 : 6;
  int64_t x = 0;
  for (; x + B * N <= w2; x += B * N)
    stella_blocco<R, B>(piano, passo, w2, y, x, direzioni, taps, spostamenti, pesi, peso_totale, riga);
  for (; x < w2; x += 4 * N)
    stella_blocco<R, 4>(piano, passo, w2, y, x, direzioni, taps, spostamenti, pesi, peso_totale, riga);
}

// Rows y and y + 1 (or y alone, where righe is 1), into riga and riga + w2.
VARNO_VARIANTE void k_stella(const float* piano, int64_t passo, int64_t w2, int64_t y, int64_t righe, int32_t direzioni,
                             int64_t taps, const int32_t* spostamenti, const float* pesi, float peso_totale,
                             float* riga) {
  if (righe >= 2) return stella_righe<2>(piano, passo, w2, y, direzioni, taps, spostamenti, pesi, peso_totale, riga);
  stella_righe<1>(piano, passo, w2, y, direzioni, taps, spostamenti, pesi, peso_totale, riga);
}

// --- Grain -------------------------------------------------------------------------

NUCLEO VF hash_grana(VU x, VU y, uint32_t f) {
  VU h = x * 374761393u + y * 668265263u + f * 2246822519u + 2654435769u;
  h = (h ^ (h >> 13)) * 1274126177u;
  h = h ^ (h >> 16);
  return __builtin_convertvector(h & 0xFFFFFFu, VF) * 5.9604645e-8f;
}

VARNO_VARIANTE void k_rumore(float* riga, int64_t wg, uint32_t y, uint32_t f) {
  const VU yv = VU{} + y;
  for (int64_t x = 0; x < wg; x += N) {
    const VU xv = (VU)corsie() + static_cast<uint32_t>(x);
    // Two uniform values make a triangular distribution around 0.
    salva(riga + x, hash_grana(xv, yv, f) + hash_grana(xv + 7919u, yv + 104729u, f) - 1.0f, minore(N, wg - x));
  }
}

// --- Frame mean ----------------------------------------------------------------------

typedef double VD __attribute__((vector_size(N * 4)));
typedef float VF2 __attribute__((vector_size(N * 2)));

template <size_t... I>
NUCLEO VF2 meta_bassa(VF v, std::index_sequence<I...>) {
  return __builtin_shufflevector(v, v, int(I)...);
}
template <size_t... I>
NUCLEO VF2 meta_alta(VF v, std::index_sequence<I...>) {
  return __builtin_shufflevector(v, v, int(I + N / 2)...);
}

VARNO_VARIANTE void k_somme(const float* x, int64_t n, float* blocchi) {
  for (int64_t inizio = 0, b = 0; inizio < n; inizio += kBloccoSomma, ++b) {
    const int64_t fine = minore(n, inizio + kBloccoSomma);
    VD somma = {}, modulo = {};
    VI unita = VI{} + (1 << 20);
    VI finito = ~VI{};
    for (int64_t i = inizio; i < fine; i += N) {
      const VF v = carica(x + i, minore(N, fine - i));
      const VF a = v < VF{} ? -v : v;
      const VD lo = __builtin_convertvector(meta_bassa(v, std::make_index_sequence<N / 2>{}), VD);
      const VD hi = __builtin_convertvector(meta_alta(v, std::make_index_sequence<N / 2>{}), VD);
      somma = somma + lo + hi;
      modulo = modulo + __builtin_convertvector(meta_bassa(a, std::make_index_sequence<N / 2>{}), VD) +
               __builtin_convertvector(meta_alta(a, std::make_index_sequence<N / 2>{}), VD);
      const VI bit = (VI)v;  // the bits, not a conversion
      const VI esponente = (bit >> 23) & 0xFF;
      // A non-zero float is a whole multiple of 2^(max(e, 1) - 150).
      const VI u = (esponente > VI{} ? esponente : VI{} + 1) - 150;
      const VI nonzero = (bit & 0x7FFFFFFF) != VI{};
      unita = nonzero & (u < unita) ? u : unita;
      finito &= esponente != VI{} + 255;
    }
    BloccoSomma o;
    o.somma = 0.0;
    o.modulo = 0.0;
    o.unita = 1 << 20;
    o.finito = 1;
    for (int i = 0; i < N / 2; ++i) {
      o.somma += somma[i];
      o.modulo += modulo[i];
    }
    for (int i = 0; i < N; ++i) {
      if (unita[i] < o.unita) o.unita = unita[i];
      if (!finito[i]) o.finito = 0;
    }
    scrivi_blocco(o, blocchi + b * kFloatBlocco);
  }
}

NUCLEO void somma_blocchi(const InCoda& c, const ParamComposto& p, int64_t ya, int64_t yb) {
  const float* luma = c.p->luma_dal_piano ? p.luma : p.luma_nuova;
  const int64_t w = p.larghezza, per_riga = (w + kBloccoSomma - 1) / kBloccoSomma;
  for (int64_t y = ya; y < yb; ++y) k_somme(luma + y * w, w, c.p->blocchi + y * per_riga * kFloatBlocco);
}

// --- The table -----------------------------------------------------------------------

Nuclei crea_nuclei(Isa isa) {
  Nuclei k;
  k.isa = isa;
  k.corsie = N;
  k.luma = k_luma;
  k.orizzontale = k_orizzontale;
  k.verticale = k_verticale;
  k.riduci = k_riduci_tutte;
  k.componi = k_componi_tutti;
  k.verticale_componi = k_verticale_componi_tutti;
  k.ingrandisci = k_ingrandisci;
  k.aberrazione = k_aberrazione;
  k.separa = k_separa;
  k.stella = k_stella;
  k.rumore = k_rumore;
  k.somme = k_somme;
  k.potenza = k_potenza;
  return k;
}

}  // namespace
}  // namespace varno
