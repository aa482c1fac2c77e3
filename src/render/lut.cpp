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
  // The last build's renderings, for the next build to start from.
  Rese rese;
  uint64_t costruzioni = 0;
};

// Exact comparisons: a NaN never matches, and a last-bit change rebuilds.
// The same light: the footage decoded, exposed and balanced alike.
bool stessa_luce_di(const ChiaveLut& c, const ChiaveLut& k) {
  return c.profilo == k.profilo && c.ev == k.ev && c.temp == k.temp && c.tinta == k.tinta;
}
bool stessa_chiave(const ChiaveLut& c, const ChiaveLut& k) {
  return stessa_luce_di(c, k) && c.look == k.look && c.forza == k.forza;
}

RGB leggi(const float* p) { return RGB{p[0], p[1], p[2]}; }
void scrivi(float* p, RGB v) {
  p[0] = v.r;
  p[1] = v.g;
  p[2] = v.b;
}

TabellaCorrente gLut;

}  // namespace

void Lut3D::costruisci(const Contesto& contesto, int n, const ChiaveLut* chiave, Rese* rese) {
  Rese proprie;
  const bool tiene = chiave != nullptr && rese != nullptr;
  Rese& r = tiene ? *rese : proprie;
  const bool stessa_luce = tiene && r.valide && r.N == n && stessa_luce_di(r.chiave, *chiave);
  const bool stesso_look = stessa_luce && r.chiave.look == chiave->look;
  const bool con_look = contesto.look != nullptr;
  r.valide = false;  // until both renderings are whole again

  N = n;
  const uint64_t nn = static_cast<uint64_t>(n);
  const size_t valori = static_cast<size_t>(nn * nn * nn * 3);
  dati.resize(valori);
  r.neutra.resize(valori);
  r.look.resize(con_look ? valori : 0);
  if (!stesso_look && (con_look || !stessa_luce)) {
    const float passo = 1.0f / static_cast<float>(n - 1);
    // A channel's curve depends on its own code value alone, and every axis has
    // the same coordinates: one curve value per coordinate serves all points.
    std::vector<float> lineare(nn);
    for (uint64_t i = 0; i < nn; ++i) lineare[i] = linearizza(static_cast<float>(i) * passo, contesto.profilo);
    const float e = guadagno_esposizione(contesto);
    parallel_for(nn * nn, [&](uint64_t i) {
      const uint64_t B = i / nn;
      const uint64_t G = i % nn;
      for (uint64_t R = 0; R < nn; ++R) {
        const size_t j = static_cast<size_t>((i * nn + R) * 3);
        const RGB dec = a_rec709(RGB{lineare[R], lineare[G], lineare[B]}, contesto.profilo);
        const RGB lin = esposizione(dec, e, contesto);
        if (!stessa_luce) scrivi(&r.neutra[j], neutra_lineare(lin, contesto));
        if (con_look) scrivi(&r.look[j], look_lineare(lin, contesto));
      }
    });
  }
  // The look at its strength over the neutral rendering, as the grade of one
  // pixel mixes them.
  parallel_for(nn * nn, [&](uint64_t i) {
    for (size_t j = static_cast<size_t>(i * nn * 3), fine = j + static_cast<size_t>(nn * 3); j < fine; j += 3) {
      const RGB neutra = leggi(&r.neutra[j]);
      scrivi(&dati[j], con_look ? con_forza(leggi(&r.look[j]), neutra, contesto.forza) : neutra);
    }
  });
  if (tiene) {
    r.N = n;
    r.chiave = *chiave;
    r.valide = true;
  }
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
  nuova->costruisci(contesto, 81, &k, &gLut.rese);
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
