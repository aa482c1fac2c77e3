// The effect chain at its default amounts and the three blurs at 3840x2160,
// each beside a plain read-and-write pass over a buffer of the same size,
// measured in the same run.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "fx/blur.h"
#include "fx/fx.h"
#include "render/parallelo.h"

namespace {

using namespace varno;

std::vector<float> casuale(size_t n) {
  std::vector<float> v(n);
  std::mt19937 g(5);
  std::uniform_real_distribution<float> d(0.0f, 1.0f);
  for (auto& x : v) x = d(g);
  return v;
}

// Baseline: every float of a buffer of `canali` floats a pixel read once and
// written once, by rows through parallel_for, as the chain's passes are.
void BM_Base_LetturaScrittura(benchmark::State& st) {
  const int64_t w = st.range(0), h = st.range(1), canali = st.range(2);
  const std::vector<float> a = casuale(static_cast<size_t>(w * h * canali));
  std::vector<float> b(a.size());
  const size_t riga = static_cast<size_t>(w * canali);
  for (auto _ : st) {
    parallel_for(static_cast<uint64_t>(h), [&](uint64_t y) {
      std::memcpy(&b[y * riga], &a[y * riga], riga * sizeof(float));
    });
    benchmark::DoNotOptimize(b.data());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Base_LetturaScrittura)
    ->ArgNames({"w", "h", "canali"})
    ->Args({1920, 1080, 3})
    ->Args({3840, 2160, 3})
    ->Args({3840, 2160, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The chain with the parameters' default amounts: the four effects that are on
// by default, or (tutti = 1) all twelve, the four grades scaled by 0.55 as the
// render does and 8 star points. The picture is restored outside the timing.
void BM_Catena_Predefinita(benchmark::State& st) {
  const int32_t w = static_cast<int32_t>(st.range(0)), h = static_cast<int32_t>(st.range(1));
  const Immagine sorgente = casuale(static_cast<size_t>(w) * static_cast<size_t>(h) * 3);
  Immagine img = sorgente;
  FxRicetta r;
  r.enhance = 0.06f;
  r.halation = 0.28f;
  r.bloom = 0.16f;
  r.vignetta = 0.1f;
  if (st.range(2)) {
    r.promist = r.mistw = r.glimmer = r.pelle = 0.25f * 0.55f;
    r.streak = 0.15f;
    r.ca = 0.1f;
    r.grana = 0.12f;
    r.fotogramma = 7;
    r.stella = 0.3f;
    r.punte = 8;
  }
  vignetta_mask(w, h);  // the mask is built once per size, not per frame
  for (auto _ : st) {
    st.PauseTiming();
    std::memcpy(img.data(), sorgente.data(), img.size() * sizeof(float));
    st.ResumeTiming();
    applica_fx(img, w, h, r);
    benchmark::DoNotOptimize(img.data());
  }
}
BENCHMARK(BM_Catena_Predefinita)
    ->ArgNames({"w", "h", "tutti"})
    ->Args({1920, 1080, 0})
    ->Args({3840, 2160, 0})
    ->Args({1920, 1080, 1})
    ->Args({3840, 2160, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The blurs on a 3840x2160 plane with the radii the chain gives them there:
// enhance's full-size box blur (46), halation's reduced blur (69, factor 4),
// the streak's horizontal blur (384, factor 4).
constexpr int32_t kW = 3840, kH = 2160;

template <class Blur>
void blur_4k(benchmark::State& st, Blur blur) {
  const Piano sorgente = casuale(static_cast<size_t>(kW) * kH);
  Piano p = sorgente;
  for (auto _ : st) {
    st.PauseTiming();
    std::memcpy(p.data(), sorgente.data(), p.size() * sizeof(float));
    st.ResumeTiming();
    blur(p);
    benchmark::DoNotOptimize(p.data());
  }
}

void BM_BoxBlur_4K_r46(benchmark::State& st) {
  blur_4k(st, [](Piano& p) { box_blur(p, kW, kH, 46, 3); });
}
void BM_BlurSuRidotta_4K_r69_f4(benchmark::State& st) {
  blur_4k(st, [](Piano& p) { blur_su_ridotta(p, kW, kH, 69, 4); });
}
void BM_BlurOrizzSuRidotta_4K_r384_f4(benchmark::State& st) {
  blur_4k(st, [](Piano& p) { blur_orizz_su_ridotta(p, kW, kH, 384, 4); });
}
BENCHMARK(BM_BoxBlur_4K_r46)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BlurSuRidotta_4K_r69_f4)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BlurOrizzSuRidotta_4K_r384_f4)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

