// Working buffers kept from frame to frame: a second frame of a size takes no
// fresh whole-frame memory, and renders at once never share a buffer.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <thread>
#include <vector>

#include "host/entry.h"
#include "ofx_host.h"
#include "render/scorta.h"

#include "grandi_allocazioni.h"
#include "interruttori.h"

namespace {

using namespace varno;

TEST(Scorta, ABufferGivenBackIsLentAgainAndOneStillHeldIsNot) {
  const size_t n = 3 * 1000 * 700;
  float* primo = nullptr;
  {
    Prestito a(n);
    ASSERT_EQ(a->size(), n);
    primo = a.data();
    for (float& v : *a) v = 1.0f;
  }
  const uint64_t prima = scorta_allocazioni();
  {
    Prestito b(n);
    EXPECT_EQ(b.data(), primo);
    Prestito c(n);  // b is held: c must be another buffer
    EXPECT_NE(c.data(), b.data());
    Prestito d(n / 2);  // a smaller one may come from a larger buffer
    EXPECT_EQ(d->size(), n / 2);
  }
  EXPECT_EQ(scorta_allocazioni(), prima + 2);
  {
    // Smallest fit first: the half-size request is served without touching
    // the buffers a full frame needs.
    Prestito e(n), f(n), g(n / 2);
    EXPECT_EQ(scorta_allocazioni(), prima + 2);
  }
}

struct Banco {
  ofxhost::Plugin p = [] {
    ofxhost::HostOptions o;
    o.record_calls = false;
    ofxhost::Plugin q = ofxhost::Host::adopt(descrittore_plugin(), o);
    q.set_host();
    q.load();
    q.describe();
    return q;
  }();
};

// The direct pass with the effects off, the default effects and all twelve;
// 700x500 blurs at full size, 1920x200 on half-size copies.
TEST(Scorta, ASecondFrameOfTheSameSizeTakesNoFreshWholeFrameMemory) {
  Banco b;
  for (int tutti : {0, -1, 1})  // -1 keeps the defaults
    for (auto [w, h] : {std::pair{700, 500}, std::pair{1920, 200}}) {
      ofxhost::Instance inst = b.p.create_instance();
      if (tutti >= 0)
        for (const char* e : prova::kInterruttori) inst.set(e, tutti);
      inst.set_choice("punte", "8");
      const OfxRectI r{0, 0, w, h};
      ofxhost::Image src(r), dst(r);
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
          for (int c = 0; c < 4; ++c) src.pixel(x, y)[c] = static_cast<float>((x * 7 + y * 13 + c * 31) % 101) / 96.0f;
      ASSERT_EQ(inst.render(0, r, src, dst), kOfxStatOK);
      const uint64_t dopo_primo = g_grandi.load();
      ASSERT_EQ(inst.render(1, r, src, dst), kOfxStatOK);
      EXPECT_EQ(g_grandi.load(), dopo_primo) << w << "x" << h << (tutti < 0 ? " defaults" : tutti ? " all twelve" : " off");
    }
}

// With the effects on, a frame borrows planes of several sizes (full and
// reduced); none of them may shorten a frame-sized buffer that the next frame
// then has zero-filled again. A kept buffer topped up by a little is fine.
TEST(Scorta, SettledFramesZeroFillNoFrameSizedBuffer) {
  Banco b;
  ofxhost::Instance inst = b.p.create_instance();
  const OfxRectI r{0, 0, 1920, 96};  // wide enough for the glows' reduced planes
  ofxhost::Image src(r), dst(r);
  src.fill(0.4f, 0.5f, 0.6f, 1.0f);
  for (double t = 0; t < 2; ++t) ASSERT_EQ(inst.render(t, r, src, dst), kOfxStatOK);
  const uint64_t allocazioni = scorta_allocazioni(), riempiti = scorta_riempiti();
  for (double t = 2; t < 4; ++t) ASSERT_EQ(inst.render(t, r, src, dst), kOfxStatOK);
  EXPECT_EQ(scorta_allocazioni(), allocazioni);
  EXPECT_LT(scorta_riempiti() - riempiti, uint64_t{1920 * 96} / 4) << "settled frames zero-filled kept buffers";
}

}  // namespace
