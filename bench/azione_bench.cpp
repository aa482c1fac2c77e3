// The render action end to end, as a host sees it: the built bundle through
// our host library, on the demo chart (S-Log3 footage), beside the floor: one
// read-and-write pass over an RGBA float frame of the same size on every
// thread.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fx_misura.h"
#include "ofx_host.h"
#include "render/parallelo.h"
#include "tool.h"

namespace {

enum Effetti { kSoloGrado = 0, kPredefiniti = 1, kTutti = 2 };

ofxhost::Plugin& plugin() {
  static ofxhost::Plugin p = [] {
    ofxhost::HostOptions o;
    o.record_calls = false;
    return ofxhost::Host::load(VARNO_BENCH_BUNDLE, o);
  }();
  return p;
}

void imposta(ofxhost::Instance& inst, int effetti, const char* look = "Cinema Print") {
  inst.set_choice("formato", "Sony S-Log3");
  inst.set_choice("look", look);
  // A look writes its suggested effects; set them as the case wants.
  const char* predefiniti[] = {"halation_on", "bloom_on", "enhance_on", "vignetta_on"};
  const char* altri[] = {"promist_on", "mistw_on", "glimmer_on", "pelle_on", "streak_on", "ca_on", "grana_on", "stella_on"};
  const std::pair<const char*, double> quantita[] = {{"halation", 0.28}, {"bloom", 0.16}, {"enhance", 0.06},
                                                    {"vignetta", 0.1},  {"promist", 0.25}, {"mistw", 0.25},
                                                    {"glimmer", 0.25},  {"pelle", 0.25},  {"streak", 0.15},
                                                    {"ca", 0.1},        {"grana", 0.12},  {"stella", 0.3}};
  for (const auto& [nome, v] : quantita) inst.set(nome, v);
  for (const char* e : predefiniti) inst.set(e, effetti != kSoloGrado);
  for (const char* e : altri) inst.set(e, effetti == kTutti);
  inst.set_choice("punte", "8");
}

struct Fotogramma {
  OfxRectI r;
  ofxhost::Image src, dst;
  Fotogramma(int w, int h) : r{0, 0, w, h}, src(r), dst(r) {
    const varno_render::Picture pic = varno_render::demo_chart(w, h);
    for (int y = 0; y < h; ++y)
      std::memcpy(src.pixel(0, h - 1 - y), &pic.rgba[static_cast<size_t>(y) * w * 4], static_cast<size_t>(w) * 16);
  }
};

// The floor: every float of the frame read once and written once, by rows
// through parallel_for, on every thread.
void BM_Pavimento(benchmark::State& st) {
  Fotogramma f(static_cast<int>(st.range(0)), static_cast<int>(st.range(1)));
  const size_t riga = static_cast<size_t>(f.r.x2) * 16;
  for (auto _ : st) {
    varno::parallel_for(static_cast<uint64_t>(f.r.y2), [&](uint64_t y) {
      std::memcpy(f.dst.pixel(0, static_cast<int>(y)), f.src.pixel(0, static_cast<int>(y)), riga);
    });
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Pavimento)->ArgNames({"w", "h"})->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMillisecond)->UseRealTime();

// One frame after another with the same settings: the table is built before
// the timing starts, as on every frame but the first. Each iteration also
// runs the floor, so the ratio compares times taken moments apart.
void BM_Azione(benchmark::State& st) {
  Fotogramma f(static_cast<int>(st.range(0)), static_cast<int>(st.range(1)));
  ofxhost::Instance inst = plugin().create_instance();
  imposta(inst, static_cast<int>(st.range(2)));
  if (inst.render(0, f.r, f.src, f.dst) != kOfxStatOK) st.SkipWithError("render failed");
  double t = 1;
  varno_bench::con_pavimento(
      st, f.r.x2, f.r.y2, [] {},
      [&] {
        if (inst.render(t++, f.r, f.src, f.dst) != kOfxStatOK) st.SkipWithError("render failed");
      });
}
BENCHMARK(BM_Azione)
    ->ArgNames({"w", "h", "effetti"})
    ->ArgsProduct({{1920}, {1080}, {kSoloGrado, kPredefiniti, kTutti}})
    ->ArgsProduct({{3840}, {2160}, {kSoloGrado, kPredefiniti, kTutti}})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();

// A slider moved: each frame a grade never seen before, so the table is
// rebuilt, on a frame small enough that the rebuild is nearly all of it.
// cursore 0: exposure (as temperature, tint or the footage's format: all of
// it anew); 1: the look's strength (the kept renderings mixed again); 2: the
// look (the neutral rendering kept).
void BM_Azione_TabellaNuova(benchmark::State& st) {
  Fotogramma f(64, 36);
  ofxhost::Instance inst = plugin().create_instance();
  imposta(inst, kSoloGrado);
  // Never the same value twice in the process, or a recently built table answers.
  static int k = 0;
  bool pari = false;
  for (auto _ : st) {
    ++k;
    if (st.range(0) == 0) inst.set("ev", 0.5 + 1e-6 * k);
    if (st.range(0) >= 1) inst.set("forza", 0.5 + 1e-6 * k);
    if (st.range(0) == 2) inst.set_choice("look", (pari = !pari) ? "Amber" : "Cinema Print");
    if (inst.render(0, f.r, f.src, f.dst) != kOfxStatOK) st.SkipWithError("render failed");
  }
}
BENCHMARK(BM_Azione_TabellaNuova)->ArgName("cursore")->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

// Two instances with different looks rendering in turn (a split screen):
// the time of one render, grade only, at 3840x2160.
void BM_Azione_DueIstanzeATurno(benchmark::State& st) {
  Fotogramma f(3840, 2160);
  ofxhost::Instance a = plugin().create_instance(), b = plugin().create_instance();
  imposta(a, kSoloGrado, "Cinema Print");
  imposta(b, kSoloGrado, "Amber");
  double t = 0;
  for (auto _ : st) {
    ofxhost::Instance& i = static_cast<int64_t>(t) % 2 == 0 ? a : b;
    if (i.render(t++, f.r, f.src, f.dst) != kOfxStatOK) st.SkipWithError("render failed");
  }
}
BENCHMARK(BM_Azione_DueIstanzeATurno)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
