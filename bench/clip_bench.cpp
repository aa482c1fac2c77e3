// A clip's render beside the render actions of its frames, in the same run: a 1920x1080
// ProRes 422 HQ clip of the demo chart (S-Log3 footage) graded with the default settings
// into a ProRes 422 HQ clip, decoding and encoding overlapping the plug-in's work. Each
// iteration times both, one after the other, so that the ratio sees the same machine:
//   actions_ms  the render actions alone, per frame, on frames already decoded
//   clip_ms     varno-render's clip path, per frame: decode, render, encode, write
//   ratio       clip_ms / actions_ms
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>

#include "clip.h"
#include "tool.h"

namespace {

namespace fs = std::filesystem;
using varno_render::Session;

constexpr int kFrames = 24;

struct Footage {
  fs::path dir = fs::temp_directory_path() / ("varno_clip_bench." + std::to_string(::getpid()));
  std::string input = (dir / "in.mov").string(), output = (dir / "out.mov").string();
  Footage() {
    fs::create_directories(dir);
    const varno_render::Picture chart = varno_render::demo_chart(1920, 1080);
    ofxhost::Image img(OfxRectI{0, 0, 1920, 1080});
    for (int y = 0; y < 1080; ++y)
      std::memcpy(img.pixel(0, 1079 - y), &chart.rgba[static_cast<size_t>(y) * 1920 * 4], 1920 * 16);
    varno_render::ClipFormat f{"prores_hq", 1920, 1080, {25, 1}, ""};
    varno_render::ClipWriter w(input, f, {});
    w.start();
    for (int k = 0; k < kFrames; ++k) w.write(img);
    w.finish();
  }
  ~Footage() { fs::remove_all(dir); }
};

void BM_Clip_ProResHQ_1920x1080(benchmark::State& st) {
  static Footage footage;
  Session session(std::string(VARNO_BENCH_BUNDLE));
  session.set({{"formato", "Sony S-Log3"}});
  // The frame as the clip path hands it to the plug-in.
  varno_render::ClipReader reader(footage.input);
  ofxhost::Image src(OfxRectI{0, 0, 1920, 1080}), dst(OfxRectI{0, 0, 1920, 1080});
  std::vector<varno_render::AudioPacket> audio;
  reader.next(&src, audio);
  session.render_image(src, dst, 0, "the frame");  // the table is built before the timing

  varno_render::ClipJob job;
  job.input = footage.input;
  job.output = footage.output;
  double actions = 0, clip = 0;
  for (auto _ : st) {
    auto t0 = std::chrono::steady_clock::now();
    for (int k = 0; k < kFrames; ++k) session.render_image(src, dst, k, "the frame");
    auto t1 = std::chrono::steady_clock::now();
    long n = varno_render::render_clip(session, job);
    auto t2 = std::chrono::steady_clock::now();
    if (n != kFrames) st.SkipWithError("the clip lost frames");
    const double a = std::chrono::duration<double>(t1 - t0).count(), c = std::chrono::duration<double>(t2 - t1).count();
    actions += a;
    clip += c;
    st.SetIterationTime(c);
  }
  const double n = static_cast<double>(st.iterations()) * kFrames;
  st.counters["actions_ms"] = 1e3 * actions / n;
  st.counters["clip_ms"] = 1e3 * clip / n;
  st.counters["ratio"] = clip / actions;
}
BENCHMARK(BM_Clip_ProResHQ_1920x1080)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(2)->Repetitions(3);

// The two ends alone, per frame, on one thread: what the pipeline hides behind the plug-in.
void BM_Clip_Decode_ProResHQ_1920x1080(benchmark::State& st) {
  static Footage footage;
  mallopt(M_MMAP_THRESHOLD, 256 << 20);  // as the clip path sets it
  mallopt(M_TRIM_THRESHOLD, 512 << 20);
  ofxhost::Image img(OfxRectI{0, 0, 1920, 1080});
  std::vector<varno_render::AudioPacket> audio;
  auto reader = std::make_unique<varno_render::ClipReader>(footage.input);
  for (auto _ : st) {
    if (!reader->next(&img, audio)) {
      st.PauseTiming();
      reader = std::make_unique<varno_render::ClipReader>(footage.input);
      reader->next(&img, audio);
      st.ResumeTiming();
    }
  }
}
BENCHMARK(BM_Clip_Decode_ProResHQ_1920x1080)->Unit(benchmark::kMillisecond);

void BM_Clip_Encode_ProResHQ_1920x1080(benchmark::State& st) {
  static Footage footage;
  ofxhost::Image img(OfxRectI{0, 0, 1920, 1080});
  std::vector<varno_render::AudioPacket> audio;
  varno_render::ClipReader(footage.input).next(&img, audio);
  varno_render::ClipFormat f{"prores_hq", 1920, 1080, {25, 1}, ""};
  varno_render::ClipWriter w(footage.output, f, {});
  w.start();
  for (auto _ : st) w.write(img);
  w.finish();
}
BENCHMARK(BM_Clip_Encode_ProResHQ_1920x1080)->Unit(benchmark::kMillisecond);

}  // namespace
