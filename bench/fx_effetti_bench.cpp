// Each of the twelve optical effects alone on a 3840x2160 frame, beside the
// floor measured in the same iterations (fx_misura.h).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "fx/fx.h"
#include "fx_misura.h"

namespace {

using namespace varno;

constexpr int32_t kLarghezza = 3840;
constexpr int32_t kAltezza = 2160;

// A smooth frame with a sprinkling of highlights, so every threshold is crossed.
struct Scena {
  Quadro q = calcola_quadro(kLarghezza, kAltezza);
  Immagine sorgente;
  Piano luma;

  Scena() {
    const size_t n = static_cast<size_t>(kLarghezza) * kAltezza;
    sorgente.resize(n * 3);
    luma.resize(n);
    for (int32_t y = 0; y < kAltezza; ++y)
      for (int32_t x = 0; x < kLarghezza; ++x) {
        float* p = &sorgente[(static_cast<size_t>(y) * kLarghezza + x) * 3];
        const float u = static_cast<float>(x) / kLarghezza, v = static_cast<float>(y) / kAltezza;
        const bool luce = (x % 97 == 13) && (y % 61 == 7);
        p[0] = luce ? 1.2f : 0.6f * u + 0.2f * std::sin(7.0f * v);
        p[1] = luce ? 1.1f : 0.5f * v + 0.1f;
        p[2] = luce ? 1.0f : 0.3f * (u + v);
      }
    aggiorna_luma(sorgente, luma, q);
  }
};

const Scena& scena() {
  static const Scena s;
  return s;
}

template <class Stadio>
void misura(benchmark::State& st, Stadio stadio) {
  const Scena& s = scena();
  Immagine img = s.sorgente;
  varno_bench::con_pavimento(
      st, kLarghezza, kAltezza, [&] { std::memcpy(img.data(), s.sorgente.data(), img.size() * sizeof(float)); },
      [&] { stadio(img, s); });
}

// Amounts are the parameters' defaults, the four grades scaled by 0.55.
void BM_Effetto_Enhance(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_enhance(img, s.luma, s.q, 0.06f); });
}
void BM_Effetto_Pelle(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_pelle(img, s.luma, s.q, 0.1375f); });
}
void BM_Effetto_Halation(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_halation(img, s.luma, s.q, 0.28f); });
}
void BM_Effetto_Bloom(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_bloom(img, s.luma, s.q, 0.16f); });
}
void BM_Effetto_Streak(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_streak(img, s.luma, s.q, 0.15f); });
}
void BM_Effetto_ProMist(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_promist(img, s.luma, s.q, 0.1375f); });
}
void BM_Effetto_Stella(benchmark::State& st) {
  const int32_t punte = static_cast<int32_t>(st.range(0));
  misura(st, [punte](Immagine& img, const Scena& s) { fx_stella(img, s.luma, s.q, 0.3f, punte); });
}
void BM_Effetto_MistW(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_mistw(img, s.luma, s.q, 0.1375f); });
}
void BM_Effetto_Glimmer(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_glimmer(img, s.luma, s.q, 0.1375f); });
}
void BM_Effetto_Aberrazione(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_aberrazione(img, s.q, 0.1f); });
}
void BM_Effetto_Vignetta(benchmark::State& st) {
  vignetta_mask(kLarghezza, kAltezza);  // built once per size, not per frame
  misura(st, [](Immagine& img, const Scena& s) { fx_vignetta(img, s.q, 0.1f); });
}
void BM_Effetto_Grana(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_grana(img, s.q, 0.12f, 42); });
}

}  // namespace

BENCHMARK(BM_Effetto_Enhance)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_Effetto_Pelle)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_Effetto_Halation)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_Effetto_Bloom)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_Effetto_Streak)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_Effetto_ProMist)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_Effetto_Stella)->ArgName("punte")->Arg(4)->Arg(6)->Arg(8)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_Effetto_MistW)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_Effetto_Glimmer)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_Effetto_Aberrazione)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_Effetto_Vignetta)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_Effetto_Grana)->Unit(benchmark::kMillisecond)->UseManualTime();
