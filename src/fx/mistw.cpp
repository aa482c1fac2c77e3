// White Pro-Mist: a wide halo of the bright parts, plus a milky veil that
// follows the brightness around each pixel and of the whole frame.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

#include "fx/fx.h"
#include "fx/nebbia.h"
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
  if (q.larghezza <= 0 || q.altezza <= 0) return;
  const Nuclei& k = nuclei();
  const MisuraNebbia misura = misura_nebbia(q);
  const int32_t f = misura.riduzione;
  const int64_t w = q.larghezza, h = q.altezza;
  const int64_t w2 = lato_ridotto(w, f), h2 = lato_ridotto(h, f);

  // The veil's local brightness from luma and the halo of each channel, all
  // four reduced in one pass, which also sums the blocks of the frame mean.
  std::optional<PianoPrestato> piani[4];
  ParamRiduzione p;
  p.maschera = Maschera::alone_bianco;
  p.luma = luma.data();
  p.img = img.data();
  p.larghezza = w;
  p.altezza = h;
  p.riduzione = f;
  p.w2 = w2;
  for (int i = 0; i < 4; ++i) p.uscite[i] = piani[i].emplace(w2, h2).dati();
  p.passo = w2;
  const int64_t per_riga = (w + kBloccoSomma - 1) / kBloccoSomma;
  Prestito blocchi(static_cast<size_t>(h * per_riga * kFloatBlocco));
  parallel_for(static_cast<uint64_t>(h2), [&](uint64_t yy) {
    const int64_t Y = static_cast<int64_t>(yy);
    k.riduci(p, Y);
    const int64_t fine = Y == h2 - 1 ? h : std::min(h, (Y + 1) * f);
    for (int64_t y = Y * f; y < fine; ++y) k.somme(luma.data() + y * w, w, blocchi.data() + y * per_riga * kFloatBlocco);
  });
  for (int i = 0; i < 4; ++i) box_blur(k, p.uscite[i], w2, h2, std::max(1, misura.raggio / f), 3);

  // Frame mean in double, in index order, as one thread adding value after
  // value gets it: the result never depends on how rows are split.
  const double somma = somma_in_ordine(luma.data(), w, h, blocchi.data());
  const float media = static_cast<float>(somma / static_cast<double>(w * h));

  const Tabella t(k, w, f, w2, h2);
  ParamComposto c = composto(Composto::mistw, img, q, mistw, poi);
  for (int i = 0; i < 4; ++i) c.piani[i] = p.uscite[i];
  c.ingrandimento = t.ingrandimento();
  c.media = media;
  componi(k, c);
}

}  // namespace varno
