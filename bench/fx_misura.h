// Effect benchmarks beside their floor, measured in the same iterations: each
// iteration runs the floor (one read-and-write pass over an RGBA float frame
// of the same size, by rows through parallel_for on every thread), restores
// the picture (untimed), then runs the work. The benchmark's time is the
// work's; the counters give the floor's median and the ratio of the medians,
// so a shared, noisy machine moves both alike.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <vector>

#include "render/parallelo.h"

namespace varno_bench {

class Pavimento {
 public:
  Pavimento(int64_t w, int64_t h) : w_(w), h_(h), a_(static_cast<size_t>(w * h * 4), 0.5f), b_(a_.size()) {}
  void operator()() {
    const size_t riga = static_cast<size_t>(w_) * 4;
    varno::parallel_for(static_cast<uint64_t>(h_), [&](uint64_t y) {
      std::memcpy(&b_[y * riga], &a_[y * riga], riga * sizeof(float));
    });
    benchmark::ClobberMemory();
  }

 private:
  int64_t w_, h_;
  std::vector<float> a_, b_;
};

inline double mediana(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0.0 : v[v.size() / 2];
}

// Register with ->UseManualTime().
template <class Ripristina, class Lavoro>
void con_pavimento(benchmark::State& st, int64_t w, int64_t h, Ripristina&& ripristina, Lavoro&& lavoro) {
  using Orologio = std::chrono::steady_clock;
  Pavimento pavimento(w, h);
  std::vector<double> tl, tp;
  for (auto _ : st) {
    const auto t0 = Orologio::now();
    pavimento();
    const auto t1 = Orologio::now();
    ripristina();
    const auto t2 = Orologio::now();
    lavoro();
    benchmark::ClobberMemory();
    const auto t3 = Orologio::now();
    const double p = std::chrono::duration<double>(t1 - t0).count(), l = std::chrono::duration<double>(t3 - t2).count();
    st.SetIterationTime(l);
    tp.push_back(p);
    tl.push_back(l);
  }
  st.counters["pavimento_ms"] = mediana(tp) * 1e3;
  st.counters["x_pavimento"] = mediana(tl) / mediana(tp);
}

}  // namespace varno_bench
