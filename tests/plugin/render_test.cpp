// Frames through the built bundle: failure rules, window and bounds, alpha,
// hostile host input, and instances rendering at once.
#include <cmath>
#include <cstring>
#include <limits>
#include <thread>

#include "comune.h"

namespace {

using ofxhost::Image;
using ofxhost::Instance;
using ofxhost::Plugin;
using prova::carica;

bool stessi_bit(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

struct Banco : ::testing::Test {
  Plugin p = carica();
  Instance inst = p.create_instance();
};

TEST_F(Banco, FailureRulesReleaseWhatWasTakenSourceFirst) {
  Image src({0, 0, 8, 8}), dst({0, 0, 8, 8});
  prova::riempi_rampa(src);
  dst.fill(-1, -1, -1, -1);

  inst.faults().clip_handle = {"Output"};
  EXPECT_EQ(inst.render(0, {0, 0, 8, 8}, src, dst), kOfxStatFailed);
  EXPECT_TRUE(inst.released().empty());
  inst.faults() = {};

  inst.faults().clip_image = {"Source"};
  EXPECT_EQ(inst.render(0, {0, 0, 8, 8}, src, dst), kOfxStatFailed);
  EXPECT_TRUE(inst.released().empty());
  inst.faults() = {};
  EXPECT_EQ(inst.render(0, {0, 0, 8, 8}, nullptr, dst), kOfxStatFailed) << "no source connected";
  EXPECT_TRUE(inst.released().empty());

  inst.faults().clip_image = {"Output"};
  EXPECT_EQ(inst.render(0, {0, 0, 8, 8}, src, dst), kOfxStatFailed);
  EXPECT_EQ(inst.released(), std::vector<std::string>{"Source"});
  inst.faults() = {};

  for (const char* clip : {"Source", "Output"}) {
    inst.faults().null_data = {clip};
    EXPECT_EQ(inst.render(0, {0, 0, 8, 8}, src, dst), kOfxStatFailed) << clip;
    EXPECT_EQ(inst.released(), (std::vector<std::string>{"Source", "Output"}));
    inst.faults() = {};
  }

  for (OfxRectI vuota : {OfxRectI{3, 0, 3, 8}, OfxRectI{0, 5, 8, 5}, OfxRectI{6, 0, 2, 8}}) {
    EXPECT_EQ(inst.render(0, vuota, src, dst), kOfxStatFailed);
    EXPECT_EQ(inst.released(), (std::vector<std::string>{"Source", "Output"}));
  }
  EXPECT_EQ(inst.images_held(), 0);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 8; ++x) ASSERT_EQ(dst.pixel(x, y)[0], -1.0f) << "failed renders leave the output unwritten";
  EXPECT_TRUE(dst.untouched_outside());
}

TEST_F(Banco, OnlyTheWindowIsWrittenAndAlphaPassesBitForBit) {
  prova::effetti_spenti(inst);
  inst.set("forza", 0.0);
  Image src({-4, -4, 20, 12}, -(24 * 16 + 32));  // bottom-up rows with padding
  prova::riempi_rampa(src);
  src.pixel(3, 2)[3] = std::numeric_limits<float>::quiet_NaN();
  src.pixel(4, 2)[3] = 5.5f;
  src.pixel(5, 2)[3] = -0.0f;
  Image dst({-8, -8, 24, 16}, 32 * 16 + 48);
  dst.fill(-2, -2, -2, -2);
  const OfxRectI win{0, 0, 16, 8};
  ASSERT_EQ(inst.render(1, win, src, dst), kOfxStatOK);
  EXPECT_TRUE(src.untouched_outside());
  EXPECT_TRUE(dst.untouched_outside());
  for (int y = -8; y < 16; ++y)
    for (int x = -8; x < 24; ++x) {
      const bool dentro = x >= win.x1 && x < win.x2 && y >= win.y1 && y < win.y2;
      const float* o = dst.pixel(x, y);
      if (!dentro) {
        ASSERT_EQ(o[0], -2.0f) << x << "," << y;
        ASSERT_EQ(o[3], -2.0f);
        continue;
      }
      ASSERT_TRUE(stessi_bit(o[3], src.pixel(x, y)[3])) << x << "," << y;
      ASSERT_GE(o[0], 0.0f);
      ASSERT_LE(o[0], 1.0f);
    }
}

TEST_F(Banco, SourceOutsideItsBoundsReadsAsTransparentBlack) {
  prova::effetti_spenti(inst);
  Image src({4, 4, 8, 8});
  src.fill(0.7f, 0.2f, 0.1f, 1.0f);
  Image nero({0, 0, 1, 1});
  nero.fill(0, 0, 0, 0);
  Image dst({0, 0, 12, 12}), riferimento({0, 0, 1, 1});
  ASSERT_EQ(inst.render(0, {0, 0, 12, 12}, src, dst), kOfxStatOK);
  ASSERT_EQ(inst.render(0, {0, 0, 1, 1}, nero, riferimento), kOfxStatOK);
  for (int y = 0; y < 12; ++y)
    for (int x = 0; x < 12; ++x) {
      const bool dentro = x >= 4 && x < 8 && y >= 4 && y < 8;
      const float* o = dst.pixel(x, y);
      if (dentro) {
        EXPECT_EQ(o[3], 1.0f);
      } else {
        for (int c = 0; c < 4; ++c) ASSERT_EQ(o[c], riferimento.pixel(0, 0)[c]) << x << "," << y;
      }
    }
  EXPECT_TRUE(src.untouched_outside());
}

TEST_F(Banco, HostileWindowsTimesAndChoicesNeverCrash) {
  Image src({0, 0, 16, 16}), dst({0, 0, 16, 16});
  prova::riempi_rampa(src);
  constexpr int lo = std::numeric_limits<int>::min(), hi = std::numeric_limits<int>::max();
  for (OfxRectI w : {OfxRectI{lo, lo, hi, hi}, OfxRectI{lo, 0, hi, 1}, OfxRectI{0, 0, hi, hi}, OfxRectI{hi, hi, lo, lo},
                     OfxRectI{hi - 2, hi - 2, hi, hi}, OfxRectI{lo, lo, lo + 3, lo + 2}}) {
    const OfxStatus st = inst.render(0, w, src, dst);
    EXPECT_TRUE(st == kOfxStatOK || st == kOfxStatFailed || st == kOfxStatErrMemory) << st;
    EXPECT_EQ(inst.images_held(), 0);
  }
  EXPECT_TRUE(dst.untouched_outside());
  EXPECT_EQ(inst.render(0, {lo, lo, hi, hi}, src, dst), kOfxStatErrMemory);

  inst.set("grana_on", 1);
  Image a({0, 0, 16, 16}), b({0, 0, 16, 16});
  ASSERT_EQ(inst.render(0, {0, 0, 16, 16}, src, a), kOfxStatOK);
  for (double t : {std::nan(""), std::numeric_limits<double>::infinity(), -1e300, 1e300, -0.9}) {
    ASSERT_EQ(inst.render(t, {0, 0, 16, 16}, src, b), kOfxStatOK) << t;
    if (std::isnan(t) || t == -0.9) {  // both give frame 0
      EXPECT_EQ(std::memcmp(a.pixel(0, 0), b.pixel(0, 0), 16 * 16 * 16), 0) << t;
    }
  }
  for (const char* nome : {"formato", "cs_sony3", "look", "punte"})
    for (int v : {lo, -1, 1000, hi}) {
      inst.set("formato", 0);
      inst.set(nome, v);
      EXPECT_EQ(inst.render(0, {0, 0, 16, 16}, src, dst), kOfxStatOK) << nome << "=" << v;
    }
}

// Several instances of different grades, effects and sizes at once, each on
// its own thread, sharing the plug-in's thread pool, its working buffers and
// its tables, must give exactly the frames they give alone.
TEST(Concorrenza, InstancesRenderingAtOnceGiveTheirOwnFrames) {
  Plugin p = carica();
  struct Lavoro {
    int look, formato, w, h, effetti;  // 0 none (graded straight out), 1 grain and aberration, 2 all
  };
  const Lavoro lavori[] = {{1, 0, 64, 36, 1},  {4, 2, 48, 48, 0}, {8, 11, 40, 30, 2},
                           {10, 16, 72, 20, 1}, {3, 0, 64, 36, 2}, {6, 5, 64, 36, 0}};
  const int n = sizeof lavori / sizeof lavori[0];
  std::vector<Instance> istanze;
  std::vector<Image> sorgenti;
  for (const Lavoro& l : lavori) {
    istanze.push_back(p.create_instance());
    Instance& in = istanze.back();
    in.set("formato", l.formato);
    in.set("look", l.look);
    if (l.effetti == 0) prova::effetti_spenti(in);
    for (const char* e : {"grana_on", "ca_on"}) in.set(e, l.effetti >= 1);
    if (l.effetti == 2)
      for (const char* e : prova::kInterruttori) in.set(e, 1);
    sorgenti.emplace_back(OfxRectI{0, 0, l.w, l.h});
    prova::riempi_rampa(sorgenti.back());
  }
  std::vector<Image> soli, insieme;
  for (int i = 0; i < n; ++i) {
    soli.emplace_back(OfxRectI{0, 0, lavori[i].w, lavori[i].h});
    ASSERT_EQ(istanze[i].render(3, {0, 0, lavori[i].w, lavori[i].h}, sorgenti[i], soli[i]), kOfxStatOK);
    insieme.emplace_back(OfxRectI{0, 0, lavori[i].w, lavori[i].h});
  }
  for (int giro = 0; giro < 3; ++giro) {
    std::vector<std::thread> th;
    std::vector<OfxStatus> st(n, -1);
    for (int i = 0; i < n; ++i)
      th.emplace_back([&, i] {
        for (int k = 0; k < 2 && st[i] != kOfxStatFailed; ++k)
          st[i] = istanze[i].render(3, {0, 0, lavori[i].w, lavori[i].h}, sorgenti[i], insieme[i]);
      });
    for (auto& t : th) t.join();
    for (int i = 0; i < n; ++i) {
      ASSERT_EQ(st[i], kOfxStatOK);
      ASSERT_EQ(std::memcmp(soli[i].pixel(0, 0), insieme[i].pixel(0, 0),
                            static_cast<size_t>(lavori[i].w) * lavori[i].h * 16),
                0)
          << "instance " << i << " round " << giro;
    }
  }
}

}  // namespace
