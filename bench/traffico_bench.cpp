// The memory the effect chain must move at 3840x2160, with trivial arithmetic
// in place of its own: every pass reads and writes the planes the real pass
// does, in rows on every thread. What it measures beside the floor is how low
// the render action could go if no pass had any work but its memory.
#include <benchmark/benchmark.h>

#include <vector>

#include <immintrin.h>

#include "fx_misura.h"
#include "render/parallelo.h"

namespace {

enum Catena { kSoloEnhance = 0, kPredefinita = 1, kTutte = 2 };

constexpr int64_t W = 3840, H = 2160, P = W * H;

// target_clones: the loops vectorise as wide as the machine allows, so the
// model is never held back by its own arithmetic.
#define MODELLO __attribute__((target_clones("avx2", "default")))

// The grading pass: RGBA source in, picture, alpha and luma out.
MODELLO void grado(const float* s, float* r, float* a, float* l) {
  for (int64_t x = 0; x < W; ++x) {
    r[3 * x] = s[4 * x];
    r[3 * x + 1] = s[4 * x + 1];
    r[3 * x + 2] = s[4 * x + 2];
    a[x] = s[4 * x + 3];
    l[x] = s[4 * x] + s[4 * x + 1];
  }
}

// A running-sum pass of a box blur: one plane in, one out.
MODELLO void piano(const float* i, float* o) {
  for (int64_t x = 0; x < W; ++x) o[x] = i[x] * 0.5f;
}

// Enhance's last column pass with its composite: blur and luma in, picture
// through, and luma out where the next stage reads its plane.
MODELLO void dettaglio(const float* s, const float* l, float* r, float* nuova) {
  for (int64_t x = 0; x < W; ++x) {
    const float d = s[x] - l[x];
    r[3 * x] += d;
    r[3 * x + 1] += d;
    r[3 * x + 2] += d;
  }
  if (nuova != nullptr)
    for (int64_t x = 0; x < W; ++x) nuova[x] = r[3 * x] + r[3 * x + 1];
}

// A glow's composite: the picture through (its reduced plane stays cached),
// luma read where the next stage's mask takes it from its plane, written
// where the next stage reads the plane.
MODELLO void schermo(float* r, const float* l, float* nuova) {
  if (l != nullptr)
    for (int64_t x = 0; x < W; ++x) r[3 * x] += l[x];
  for (int64_t x = 0; x < 3 * W; ++x) r[x] = r[x] * 0.9f + 0.1f;
  if (nuova != nullptr)
    for (int64_t x = 0; x < W; ++x) nuova[x] = r[3 * x] + r[3 * x + 1];
}

// The last pass: picture, vignette and alpha in, RGBA output out, past the
// cache as the real pass writes it.
MODELLO void uscita(const float* r, const float* v, const float* a, float* o) {
  for (int64_t x = 0; x < W; ++x)
    _mm_stream_ps(o + 4 * x, _mm_setr_ps(r[3 * x] * v[x], r[3 * x + 1] * v[x], r[3 * x + 2] * v[x], a[x]));
  _mm_sfence();
}

struct Piani {
  std::vector<float> src = std::vector<float>(P * 4, 0.5f), out = std::vector<float>(P * 4);
  std::vector<float> rgb = std::vector<float>(P * 3), alfa = std::vector<float>(P), luma = std::vector<float>(P);
  std::vector<float> a = std::vector<float>(P), b = std::vector<float>(P), vignetta = std::vector<float>(P, 0.9f);

  template <class F>
  static void righe(F&& f) {
    varno::parallel_for(static_cast<uint64_t>(H), [&](uint64_t y) { f(static_cast<int64_t>(y)); });
  }
  // Enhance or skin diffusion: three box blurs of luma, the last column pass
  // feeding the composite.
  void locale(bool scrive_luma) {
    const float* da = luma.data();
    for (int i = 0; i < 5; ++i) {
      float* in = i % 2 == 0 ? a.data() : b.data();
      righe([&](int64_t y) { piano(da + y * W, in + y * W); });
      da = in;
    }
    righe([&](int64_t y) {
      dettaglio(da + y * W, luma.data() + y * W, rgb.data() + y * W * 3, scrive_luma ? b.data() + y * W : nullptr);
    });
  }
  void glow(bool legge_luma = false, bool scrive_luma = false) {
    righe([&](int64_t y) {
      schermo(rgb.data() + y * W * 3, legge_luma ? luma.data() + y * W : nullptr,
              scrive_luma ? b.data() + y * W : nullptr);
    });
  }
  void operator()(int catena) {
    if (catena != kSoloEnhance)
      righe([&](int64_t y) {
        grado(src.data() + y * W * 4, rgb.data() + y * W * 3, alfa.data() + y * W, luma.data() + y * W);
      });
    locale(catena == kTutte);
    if (catena == kSoloEnhance) return;
    // Twelve: skin diffusion; halation; bloom, whose composite reads luma for
    // the streak's mask; streak, Black Pro-Mist; the star, which leaves luma
    // for White Pro-Mist; White Pro-Mist, glimmerglass; then chromatic
    // aberration writes the output. Default: halation, then bloom writes the
    // output.
    if (catena == kTutte) {
      locale(false);
      glow(false, true);
      glow(true, false);
      glow();
      glow();
      glow(false, true);
      glow(true, false);
      glow();
    } else {
      glow();
    }
    righe([&](int64_t y) {
      uscita(rgb.data() + y * W * 3, vignetta.data() + y * W, alfa.data() + y * W, out.data() + y * W * 4);
    });
  }
};

void BM_TrafficoCatena(benchmark::State& st) {
  Piani piani;
  const int catena = static_cast<int>(st.range(0));
  piani(catena);
  varno_bench::con_pavimento(st, W, H, [] {}, [&] { piani(catena); });
}
BENCHMARK(BM_TrafficoCatena)
    ->ArgName("catena")
    ->Arg(kSoloEnhance)
    ->Arg(kPredefinita)
    ->Arg(kTutte)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();

}  // namespace
