#include "render/lut.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "colore/profili.h"
#include "render/parallelo.h"

namespace varno {

namespace {

// The current table and a few built before it, most recent first, each with
// the key it was built from. Instances with different grades that take turns
// find theirs here instead of rebuilding on every frame.
constexpr size_t kTabelleRecenti = 6;

struct Voce {
  ChiaveLut chiave;
  std::shared_ptr<const Lut3D> lut;
};

struct TabellaCorrente {
  std::mutex mutex_lut;
  std::vector<Voce> recenti;
  uint64_t costruzioni = 0;
};

// Exact comparison: a NaN never matches, and a last-bit change rebuilds.
bool stessa_chiave(const ChiaveLut& c, const ChiaveLut& k) {
  return c.look == k.look && c.profilo == k.profilo && c.forza == k.forza && c.ev == k.ev && c.temp == k.temp &&
         c.tinta == k.tinta;
}

TabellaCorrente gLut;

}  // namespace

void Lut3D::costruisci(const Contesto& contesto, int n) {
  N = n;
  const uint64_t nn = static_cast<uint64_t>(n);
  dati.resize(nn * nn * nn * 3);
  const float passo = 1.0f / static_cast<float>(n - 1);
  // A channel's curve depends on its own code value alone, and every axis has
  // the same coordinates: one curve value per coordinate serves all points.
  std::vector<float> lineare(nn);
  for (uint64_t i = 0; i < nn; ++i) lineare[i] = linearizza(static_cast<float>(i) * passo, contesto.profilo);
  const float e = guadagno_esposizione(contesto);
  parallel_for(nn * nn, [&](uint64_t i) {
    const uint64_t B = i / nn;
    const uint64_t G = i % nn;
    float* riga = &dati[(B * nn + G) * nn * 3];
    for (uint64_t R = 0; R < nn; ++R) {
      const RGB dec = a_rec709(RGB{lineare[R], lineare[G], lineare[B]}, contesto.profilo);
      const RGB v = applica_colore_lineare(esposizione(dec, e, contesto), contesto);
      riga[R * 3 + 0] = v.r;
      riga[R * 3 + 1] = v.g;
      riga[R * 3 + 2] = v.b;
    }
  });
}

std::shared_ptr<const Lut3D> aggiorna_lut(const ChiaveLut& k, const Contesto& contesto) {
  std::lock_guard<std::mutex> guardia(gLut.mutex_lut);
  std::vector<Voce>& r = gLut.recenti;
  for (size_t i = 0; i < r.size(); ++i)
    if (stessa_chiave(r[i].chiave, k) && r[i].lut->N > 0) {
      std::rotate(r.begin(), r.begin() + static_cast<std::ptrdiff_t>(i), r.begin() + static_cast<std::ptrdiff_t>(i) + 1);
      return r.front().lut;
    }
  auto nuova = std::make_shared<Lut3D>();
  nuova->costruisci(contesto, 81);
  // Kept only after a complete build; the oldest makes room. A render still
  // grading from it holds its own pointer.
  if (r.size() == kTabelleRecenti) r.pop_back();
  r.insert(r.begin(), Voce{k, std::move(nuova)});
  ++gLut.costruzioni;
  return r.front().lut;
}

uint64_t lut_costruzioni() {
  std::lock_guard<std::mutex> guardia(gLut.mutex_lut);
  return gLut.costruzioni;
}

}  // namespace varno
