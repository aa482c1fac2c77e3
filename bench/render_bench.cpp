// The table rebuild and the grading pass, each beside a plain read-and-write
// pass over buffers of the same size, measured in the same run.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "render/impostazioni.h"
#include "render/lut.h"
#include "render/parallelo.h"
#include "render/render.h"

namespace {

using namespace varno;

constexpr int kW = 3840, kH = 2160;

Impostazioni impostazioni_demo() {
  ValoriParametri v;
  v.formato = 0;
  v.look = 1;  // a print look: the dearer pipeline
  v.forza = 1.0;
  return calcola_impostazioni(v);
}

// A smooth frame, as footage mostly is: neighbouring pixels share table cells.
std::vector<float> sorgente_liscia() {
  std::vector<float> s(static_cast<size_t>(kW) * kH * 4);
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kW; ++x) {
      float* p = &s[(static_cast<size_t>(y) * kW + x) * 4];
      p[0] = static_cast<float>(x) / kW;
      p[1] = static_cast<float>(y) / kH;
      p[2] = 0.5f * (p[0] + p[1]);
      p[3] = 1.0f;
    }
  return s;
}

// Noise: every pixel lands in a different part of the table (the worst case).
std::vector<float> sorgente_casuale() {
  std::vector<float> s(static_cast<size_t>(kW) * kH * 4);
  std::mt19937 g(3);
  std::uniform_real_distribution<float> d(0.0f, 1.0f);
  for (auto& v : s) v = d(g);
  return s;
}

void BM_TabellaCostruzione(benchmark::State& st) {
  const Impostazioni s = impostazioni_demo();
  for (auto _ : st) {
    Lut3D t;
    t.costruisci(s.contesto, 81);
    benchmark::DoNotOptimize(t.dati.data());
  }
}
BENCHMARK(BM_TabellaCostruzione)->Unit(benchmark::kMillisecond)->UseRealTime();

// Baseline for the rebuild: read and write the table's 6.4 MB once.
void BM_TabellaBase_LetturaScrittura(benchmark::State& st) {
  std::vector<float> a(81u * 81u * 81u * 3u, 0.5f), b(a.size());
  for (auto _ : st) {
    parallel_for(81u * 81u, [&](uint64_t i) {
      std::memcpy(&b[i * 243], &a[i * 243], 243 * sizeof(float));
    });
    benchmark::DoNotOptimize(b.data());
  }
}
BENCHMARK(BM_TabellaBase_LetturaScrittura)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_PassataColore_4K(benchmark::State& st) {
  const Impostazioni s = impostazioni_demo();
  Lut3D t;
  t.costruisci(s.contesto, 81);
  std::vector<float> src = st.range(0) ? sorgente_casuale() : sorgente_liscia();
  VistaImmagine v;
  v.dati = reinterpret_cast<char*>(src.data());
  v.row_bytes = int64_t{kW} * 16;
  v.bounds = {0, 0, kW, kH};
  Immagine img(static_cast<size_t>(kW) * kH * 3);
  Piano alfa(static_cast<size_t>(kW) * kH);
  for (auto _ : st) {
    passata_colore(v, {0, 0, kW, kH}, t, img, alfa);
    benchmark::DoNotOptimize(img.data());
  }
}
BENCHMARK(BM_PassataColore_4K)->ArgName("rumore")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// Baseline for the grading pass: the same reads and writes with no lookup.
void BM_PassataBase_LetturaScrittura_4K(benchmark::State& st) {
  std::vector<float> src = sorgente_casuale();
  Immagine img(static_cast<size_t>(kW) * kH * 3);
  Piano alfa(static_cast<size_t>(kW) * kH);
  for (auto _ : st) {
    parallel_for(kH, [&](uint64_t y) {
      const float* s = &src[y * kW * 4];
      float* d = &img[y * kW * 3];
      float* a = &alfa[y * kW];
      for (int x = 0; x < kW; ++x) {
        d[x * 3] = s[x * 4];
        d[x * 3 + 1] = s[x * 4 + 1];
        d[x * 3 + 2] = s[x * 4 + 2];
        a[x] = s[x * 4 + 3];
      }
    });
    benchmark::DoNotOptimize(img.data());
  }
}
BENCHMARK(BM_PassataBase_LetturaScrittura_4K)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
