// The effect chain (applica_fx) with the default effects and with all twelve,
// at 1920x1080 and 3840x2160, and the three blurs on a 3840x2160 plane, each
// beside the floor measured in the same iterations (fx_misura.h).
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "fx/blur.h"
#include "fx/fx.h"
#include "fx_misura.h"

namespace {

using namespace varno;

std::vector<float> casuale(size_t n) {
  std::vector<float> v(n);
  std::mt19937 g(5);
  std::uniform_real_distribution<float> d(0.0f, 1.0f);
  for (auto& x : v) x = d(g);
  return v;
}

// The parameters' default amounts: the four effects that are on by default,
// or (tutti = 1) all twelve, the four grades scaled by 0.55 as the render
// does and 8 star points.
void BM_Catena(benchmark::State& st) {
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
  varno_bench::con_pavimento(
      st, w, h, [&] { std::memcpy(img.data(), sorgente.data(), img.size() * sizeof(float)); },
      [&] { applica_fx(img, w, h, r); });
}
BENCHMARK(BM_Catena)
    ->ArgNames({"w", "h", "tutti"})
    ->Args({1920, 1080, 0})
    ->Args({3840, 2160, 0})
    ->Args({1920, 1080, 1})
    ->Args({3840, 2160, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();

// The blurs on a 3840x2160 plane with the radii the chain gives them there:
// enhance's full-size box blur (46), halation's reduced blur (69, factor 4),
// the streak's horizontal blur (384, factor 4).
constexpr int32_t kW = 3840, kH = 2160;

template <class Blur>
void blur_4k(benchmark::State& st, Blur blur) {
  const Piano sorgente = casuale(static_cast<size_t>(kW) * kH);
  Piano p = sorgente;
  varno_bench::con_pavimento(
      st, kW, kH, [&] { std::memcpy(p.data(), sorgente.data(), p.size() * sizeof(float)); }, [&] { blur(p); });
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
BENCHMARK(BM_BoxBlur_4K_r46)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_BlurSuRidotta_4K_r69_f4)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_BlurOrizzSuRidotta_4K_r384_f4)->Unit(benchmark::kMillisecond)->UseManualTime();

}  // namespace
