// White Pro-Mist: a wide halo of the bright parts, plus a milky veil that
// follows the brightness around each pixel and of the whole frame.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

#include "fx/fx.h"
#include "fx/piani.h"
#include "render/parallelo.h"

namespace varno {

namespace {

// Exponent of the lowest set bit of a non-zero double.
int32_t unita_di(double s) {
  uint64_t bit;
  std::memcpy(&bit, &s, sizeof bit);
  const int32_t e = static_cast<int32_t>((bit >> 52) & 0x7FF);
  const uint64_t frazione = bit & ((uint64_t{1} << 52) - 1);
  if (e == 0) return -1074 + __builtin_ctzll(frazione);
  return e - 1075 + __builtin_ctzll(frazione | (uint64_t{1} << 52));
}

// Whether adding the block's values one by one to s rounds nowhere: s and the
// values are whole multiples of 2^q and no partial sum can reach 2^(53 + q).
// Then its sum, taken beforehand in any order, is what one-by-one adding gives.
bool senza_arrotondamento(double s, const BloccoSomma& b) {
  if (!b.finito) return false;
  if (b.modulo == 0.0) return true;
  int32_t q = b.unita;
  if (s != 0.0) q = std::min(q, unita_di(s));
  // The sum of magnitudes was itself rounded: a margin far above its error.
  return std::fabs(s) + b.modulo * (1.0 + 0x1p-20) <= std::ldexp(1.0, 53 + q);
}

}  // namespace

double somma_in_ordine(const float* x, int64_t w, int64_t h, const float* blocchi) {
  const int64_t per_riga = (w + kBloccoSomma - 1) / kBloccoSomma;
  double s = 0.0;
  for (int64_t y = 0; y < h; ++y)
    for (int64_t j = 0; j < per_riga; ++j) {
      const BloccoSomma b = leggi_blocco(blocchi + (y * per_riga + j) * kFloatBlocco);
      if (senza_arrotondamento(s, b)) {
        s += b.somma;
        continue;
      }
      const float* v = x + y * w + j * kBloccoSomma;
      const int64_t n = std::min(kBloccoSomma, w - j * kBloccoSomma);
      for (int64_t i = 0; i < n; ++i) s += static_cast<double>(v[i]);
    }
  return s;
}

double somma_in_ordine(const Nuclei& k, const float* x, int64_t w, int64_t h) {
  const int64_t per_riga = (w + kBloccoSomma - 1) / kBloccoSomma;
  Prestito blocchi(static_cast<size_t>(h * per_riga * kFloatBlocco));
  parallel_for(static_cast<uint64_t>(h), [&](uint64_t y) {
    k.somme(x + static_cast<int64_t>(y) * w, w, blocchi.data() + static_cast<int64_t>(y) * per_riga * kFloatBlocco);
  });
  return somma_in_ordine(x, w, h, blocchi.data());
}

void fx_mistw(Immagine& img, const Piano& luma, const Quadro& q, float mistw, const Seguito& poi) {
  FxRicetta r;
  r.mistw = mistw;
  bagliore(7, img, luma, q, r, poi);
}

// The veil's local brightness from luma and the halo of each channel, four
// reduced planes, and the blocks of the frame mean, all from one pass.
void completa_mistw(Ridotti& r, Immagine& img, const Piano& luma, const Quadro& q, float mistw, const Seguito& poi) {
  const Nuclei& k = nuclei();
  const int64_t w = q.larghezza, h = q.altezza;
  // Frame mean in double, in index order, as one thread adding value after
  // value gets it: the result never depends on how rows are split.
  const double somma = somma_in_ordine(luma.data(), w, h, r.blocchi(k, luma, q));
  const float media = static_cast<float>(somma / static_cast<double>(w * h));

  const int64_t w2 = r.w2(), h2 = r.h2();
  const int32_t raggio = std::max(1, bagliore_di(7, q).raggio / r.riduzione());
  for (int i = 0; i < 4; ++i) box_blur(k, r.piano(i), w2, h2, raggio, 3);
  const Tabella t(k, w, r.riduzione(), w2, h2);
  ParamComposto c = composto(Composto::mistw, img, q, mistw, poi);
  for (int i = 0; i < 4; ++i) c.piani[i] = r.piano(i);
  c.ingrandimento = t.ingrandimento();
  c.media = media;
  c.luma = luma.data();
  componi(k, c);
}

}  // namespace varno
