// Each of eight optical effects alone on a 3840x2160 frame, beside a plain
// read-and-write pass over a frame of the same size measured in the same run.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "fx/fx.h"
#include "render/parallelo.h"

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

// Baseline: the frame's floats read once and written once, by rows through
// parallel_for as the stages' passes are.
void BM_FxEffetti_Base(benchmark::State& st) {
  const Scena& s = scena();
  Immagine img(s.sorgente.size());
  const size_t riga = static_cast<size_t>(kLarghezza) * 3;
  for (auto _ : st) {
    parallel_for(static_cast<uint64_t>(kAltezza), [&](uint64_t y) {
      std::memcpy(&img[y * riga], &s.sorgente[y * riga], riga * sizeof(float));
    });
    benchmark::DoNotOptimize(img.data());
    benchmark::ClobberMemory();
  }
}

// The picture is restored outside the timing before each run of a stage.
template <class Stadio>
void misura(benchmark::State& st, Stadio stadio) {
  const Scena& s = scena();
  Immagine img = s.sorgente;
  for (auto _ : st) {
    st.PauseTiming();
    std::memcpy(img.data(), s.sorgente.data(), img.size() * sizeof(float));
    st.ResumeTiming();
    stadio(img, s);
    benchmark::DoNotOptimize(img.data());
    benchmark::ClobberMemory();
  }
}

void BM_FxEffetti_Pelle(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_pelle(img, s.luma, s.q, 0.1375f); });
}
void BM_FxEffetti_Streak(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_streak(img, s.luma, s.q, 0.15f); });
}
void BM_FxEffetti_ProMist(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_promist(img, s.luma, s.q, 0.1375f); });
}
void BM_FxEffetti_Stella(benchmark::State& st) {
  const int32_t punte = static_cast<int32_t>(st.range(0));
  misura(st, [punte](Immagine& img, const Scena& s) { fx_stella(img, s.luma, s.q, 0.3f, punte); });
}
void BM_FxEffetti_MistW(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_mistw(img, s.luma, s.q, 0.1375f); });
}
void BM_FxEffetti_Glimmer(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_glimmer(img, s.luma, s.q, 0.1375f); });
}
void BM_FxEffetti_Aberrazione(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_aberrazione(img, s.q, 0.1f); });
}
void BM_FxEffetti_Grana(benchmark::State& st) {
  misura(st, [](Immagine& img, const Scena& s) { fx_grana(img, s.q, 0.12f, 42); });
}

}  // namespace

BENCHMARK(BM_FxEffetti_Base)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FxEffetti_Pelle)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FxEffetti_Streak)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FxEffetti_ProMist)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FxEffetti_Stella)->Arg(4)->Arg(8)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FxEffetti_MistW)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FxEffetti_Glimmer)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FxEffetti_Aberrazione)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FxEffetti_Grana)->Unit(benchmark::kMillisecond)->UseRealTime();
