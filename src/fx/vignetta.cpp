#include <cmath>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "fx/fx.h"
#include "fx/piani.h"

namespace varno {

namespace {

// One mask for the whole process. Instances that render different sizes at
// once take turns under the mutex; a reader holds its own pointer, so a
// rebuild never changes a mask that someone is still reading.
struct CacheMaschera {
  std::mutex guardia;
  std::shared_ptr<const std::vector<float>> m = std::make_shared<const std::vector<float>>();
  int32_t mw = 0;
  int32_t mh = 0;
  uint64_t costruzioni = 0;
};

CacheMaschera& cache() {
  static CacheMaschera c;
  return c;
}

// Radial falloff from 78% of the way to the corner, full at the corner (0, 0).
// Each axis is normalised by its own half size, and the centre is the half
// size rather than (W - 1) / 2, so the far corner stays a little below 1.
std::vector<float> costruisci(int32_t larghezza, int32_t altezza) {
  if (larghezza < 1 || altezza < 1) return {};
  const int64_t w = larghezza;
  std::vector<float> m(static_cast<size_t>(w * altezza), 0.0f);
  const float cx = static_cast<float>(larghezza) * 0.5f;
  const float cy = static_cast<float>(altezza) * 0.5f;
  for (int64_t y = 0; y < altezza; ++y) {
    const float vy = (static_cast<float>(y) - cy) / cy;
    const float a = vy * vy;
    for (int64_t x = 0; x < w; ++x) {
      const float vx = (static_cast<float>(x) - cx) / cx;
      const float b = vx * vx;
      const float d = std::sqrt(b + a) / 1.4142135f;
      const float t = (d - 0.78f) / 0.22f;
      const float base = t > 0.0f ? (t < 1.0f ? t : 1.0f) : 0.0f;
      m[static_cast<size_t>(y * w + x)] = std::pow(base, 2.2f);
    }
  }
  return m;
}

}  // namespace

std::shared_ptr<const std::vector<float>> vignetta_mask(int32_t larghezza, int32_t altezza) {
  CacheMaschera& c = cache();
  std::lock_guard<std::mutex> lock(c.guardia);
  if (c.mw == larghezza && c.mh == altezza) return c.m;
  // Built before the key moves, so a failed allocation leaves the old mask whole.
  auto nuova = std::make_shared<const std::vector<float>>(costruisci(larghezza, altezza));
  c.m = std::move(nuova);
  c.mw = larghezza;
  c.mh = altezza;
  ++c.costruzioni;
  return c.m;
}

uint64_t vignetta_costruzioni() {
  CacheMaschera& c = cache();
  std::lock_guard<std::mutex> lock(c.guardia);
  return c.costruzioni;
}

void fx_vignetta(Immagine& img, const Quadro& q, float vignetta) {
  const Nuclei& k = nuclei();
  const CodaCatena coda(k, q, vignetta, 0.0f, 0);
  if (!coda.vuota()) componi(k, composto(Composto::nessuno, img, q, 0.0f, Seguito{nullptr, &coda.coda()}));
}

}  // namespace varno
