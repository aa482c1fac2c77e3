#include "render/lut.h"

#include <mutex>

#include "render/parallelo.h"

namespace varno {

namespace {

struct TabellaCorrente {
  std::mutex mutex_lut;
  std::shared_ptr<const Lut3D> lut;
  ChiaveLut chiave;
  uint64_t costruzioni = 0;
};

TabellaCorrente gLut;

}  // namespace

void Lut3D::costruisci(const Contesto& contesto, int n) {
  N = n;
  const uint64_t nn = static_cast<uint64_t>(n);
  dati.assign(nn * nn * nn * 3, 0.0f);
  const float passo = 1.0f / static_cast<float>(n - 1);
  parallel_for(nn * nn, [&](uint64_t i) {
    const uint64_t B = i / nn;
    const uint64_t G = i % nn;
    float* riga = &dati[(B * nn + G) * nn * 3];
    for (uint64_t R = 0; R < nn; ++R) {
      const RGB codice{static_cast<float>(R) * passo, static_cast<float>(G) * passo, static_cast<float>(B) * passo};
      const RGB v = applica_colore(codice, contesto);
      riga[R * 3 + 0] = v.r;
      riga[R * 3 + 1] = v.g;
      riga[R * 3 + 2] = v.b;
    }
  });
}

std::shared_ptr<const Lut3D> aggiorna_lut(const ChiaveLut& k, const Contesto& contesto) {
  std::lock_guard<std::mutex> guardia(gLut.mutex_lut);
  const ChiaveLut& c = gLut.chiave;
  // Exact comparison: a NaN never matches, and a last-bit change rebuilds.
  const bool uguale = c.look == k.look && c.profilo == k.profilo && c.forza == k.forza && c.ev == k.ev &&
                      c.temp == k.temp && c.tinta == k.tinta && gLut.lut && gLut.lut->N > 0;
  if (!uguale) {
    auto nuova = std::make_shared<Lut3D>();
    nuova->costruisci(contesto, 81);
    gLut.lut = std::move(nuova);
    gLut.chiave = k;  // only after a complete build
    ++gLut.costruzioni;
  }
  return gLut.lut;
}

uint64_t lut_costruzioni() {
  std::lock_guard<std::mutex> guardia(gLut.mutex_lut);
  return gLut.costruzioni;
}

}  // namespace varno
