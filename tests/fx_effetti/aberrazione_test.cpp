#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "fx_effetti/comune.h"

namespace varno {
namespace {

using prova::Fotogramma;

TEST(Aberrazione, CentreSamplesItselfAndGreenIsUntouched) {
  Fotogramma f = prova::casuale(64, 48, 21, -0.5f, 2.0f);
  const Immagine prima = f.img;
  fx_aberrazione(f.img, f.q, 0.6f);
  for (int c = 0; c < 3; ++c) EXPECT_EQ(f.px(32, 24)[c], prima[(24 * 64 + 32) * 3 + c]) << c;
  bool cambiato = false;
  for (size_t i = 0; i < f.img.size(); i += 3) {
    ASSERT_EQ(f.img[i + 1], prima[i + 1]) << i;
    cambiato = cambiato || f.img[i] != prima[i];
  }
  EXPECT_TRUE(cambiato);

  Fotogramma piatto(37, 23, 0.3f, 0.6f, 0.9f);
  fx_aberrazione(piatto.img, piatto.q, 0.6f);
  for (size_t i = 0; i < piatto.img.size(); i += 3) {
    EXPECT_NEAR(piatto.img[i], 0.3f, 1e-6f);
    EXPECT_NEAR(piatto.img[i + 2], 0.9f, 1e-6f);
  }
}

// Red and blue are affine in x and y, which a bilinear sample reproduces, so
// every output tells where it was sampled from.
TEST(Aberrazione, RedMovesInwardsBlueOutwardsHeldAtTheEdges) {
  const int32_t w = 384, h = 216;
  const double ca = 0.6;
  Fotogramma f(w, h, 0.0f, 0.5f, 0.0f);
  auto rosso = [](double x, double y) { return 0.001 * x + 0.002 * y; };
  auto blu = [](double x, double y) { return 0.5 + 0.003 * x - 0.001 * y; };
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) f.imposta(x, y, float(rosso(x, y)), 0.5f, float(blu(x, y)));
  fx_aberrazione(f.img, f.q, float(ca));

  const double cx = w / 2.0, cy = h / 2.0;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const double dx = x - cx, dy = y - cy;
      const double k = ((dx / cx) * (dx / cx) + (dy / cy) * (dy / cy)) * ca * 0.008;
      auto sx = [&](double a) { return std::min(std::max(dx * a + cx, 0.0), w - 1.001); };
      auto sy = [&](double a) { return std::min(std::max(dy * a + cy, 0.0), h - 1.001); };
      ASSERT_NEAR(f.px(x, y)[0], rosso(sx(1 - k), sy(1 - k)), 2e-6) << x << "," << y;
      ASSERT_NEAR(f.px(x, y)[2], blu(sx(1 + k), sy(1 + k)), 2e-6) << x << "," << y;
    }
  // The corner moves by 0.96% of its distance from the centre.
  EXPECT_NEAR(f.px(0, 0)[0], rosso(192 * 0.0096, 108 * 0.0096), 2e-6);
}

// A frame 1 wide or high has no neighbour to blend with: the sample stays in
// its one column or row. ASan guards the reads.
TEST(Aberrazione, ThinFramesStayInsideTheirCopy) {
  for (auto [w, h] : {std::pair{1, 1}, {1, 7}, {7, 1}, {1, 40}, {40, 1}, {2, 2}}) {
    Fotogramma f(w, h, 0.0f, 0.0f, 0.0f);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) f.imposta(x, y, 0.25f + 0.01f * float(x + y), 0.5f, 0.75f - 0.01f * float(x + y));
    const Immagine prima = f.img;
    fx_aberrazione(f.img, f.q, 0.6f);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        // Samples stay within the span of the line they come from.
        const float lo = 0.25f - 0.001f, hi = 0.25f + 0.01f * float(w + h) + 0.001f;
        EXPECT_GE(f.px(x, y)[0], lo) << w << "x" << h;
        EXPECT_LE(f.px(x, y)[0], hi) << w << "x" << h;
        EXPECT_TRUE(std::isfinite(f.px(x, y)[2]));
        EXPECT_EQ(f.px(x, y)[1], 0.5f);
      }
    if (w == 1 && h == 1) {
      EXPECT_NEAR(f.img[0], prima[0], 1e-6f);
    }
  }
}

}  // namespace
}  // namespace varno
