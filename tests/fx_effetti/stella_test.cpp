#include <gtest/gtest.h>

#include <cstdint>

#include "fx_effetti/comune.h"

namespace varno {
namespace {

using prova::Fotogramma;

// One white pixel in luma over a black picture: the mask comes from luma, and
// on black a pixel's output is its ray value, up to the rounding of 1 - (1 - h).
Fotogramma punto(int32_t w, int32_t h, int32_t x, int32_t y) {
  Fotogramma f(w, h, 0.0f, 0.0f, 0.0f);
  f.luma[size_t(y) * size_t(w) + size_t(x)] = 1.0f;
  return f;
}

TEST(Stella, DirectionsFollowThePointCount) {
  // 4: the two diagonals. 6 and 7: 0, 60 and 120 degrees. 8 and up: every
  // 45 degrees. Any other count is an upright cross. 60 degrees at k = 10
  // lands on (5, 9).
  const struct { int32_t punte; bool orizz, vert, diag, sessanta; } casi[] = {
      {4, false, false, true, false}, {6, true, false, false, true}, {7, true, false, false, true},
      {8, true, true, true, false},   {1000, true, true, true, false}, {5, true, true, false, false},
      {0, true, true, false, false},  {-3, true, true, false, false}};
  for (const auto& c : casi) {
    Fotogramma f = punto(201, 201, 100, 100);
    fx_stella(f.img, f.luma, f.q, 1.0f, c.punte);
    EXPECT_EQ(f.px(110, 100)[1] > 0.0f, c.orizz) << c.punte;
    EXPECT_EQ(f.px(100, 110)[1] > 0.0f, c.vert) << c.punte;
    EXPECT_EQ(f.px(110, 110)[1] > 0.0f, c.diag) << c.punte;
    EXPECT_EQ(f.px(105, 109)[1] > 0.0f, c.sessanta) << c.punte;
  }
}

// 1000 wide at reduction 1: rays reach round(90) pixels and the taps weigh
// 1 - |k| / 91, 91 in all; a line through the source adds 2.4 / 91.
TEST(Stella, RayStrengthAndReachOnA1000By500Frame) {
  Fotogramma quattro = punto(1000, 500, 500, 250);
  fx_stella(quattro.img, quattro.luma, quattro.q, 1.0f, 4);
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(quattro.px(500, 250)[c], 4.8 / 91, 1e-6);

  Fotogramma sei = punto(1000, 500, 500, 250);
  fx_stella(sei.img, sei.luma, sei.q, 0.5f, 6);
  EXPECT_NEAR(sei.px(500, 250)[0], 3 * 0.5 * 2.4 / 91, 1e-6);
  EXPECT_NEAR(sei.px(530, 250)[0], 0.5 * 2.4 * (1 - 30.0 / 91) / 91, 1e-7);
  EXPECT_NEAR(sei.px(410, 250)[0], 0.5 * 2.4 * (1 - 90.0 / 91) / 91, 1e-7);
  EXPECT_EQ(sei.px(591, 250)[0], 0.0f);
  EXPECT_EQ(sei.px(409, 250)[0], 0.0f);
}

TEST(Stella, ReachFollowsTheWidthAlone) {
  // 20 wide: 1.8 is raised to 3, and the taps weigh 4 in all.
  Fotogramma f = punto(20, 20, 10, 10);
  fx_stella(f.img, f.luma, f.q, 0.1f, 6);
  EXPECT_GT(f.px(13, 10)[0], 0.0f);
  EXPECT_EQ(f.px(14, 10)[0], 0.0f);
  EXPECT_NEAR(f.px(11, 10)[0], 0.1 * 2.4 * 0.75 / 4, 1e-6);

  // 1080 by 1920: reduction 2 and a reach of round(48.6) = 49 reduced samples.
  Fotogramma alto(1080, 1920, 0.0f, 0.0f, 0.0f);
  for (int y = 960; y < 962; ++y)
    for (int x = 540; x < 542; ++x) alto.luma[size_t(y) * 1080 + size_t(x)] = 1.0f;
  fx_stella(alto.img, alto.luma, alto.q, 1.0f, 6);
  EXPECT_GT(alto.px(540 + 2 * 49 + 1, 960)[0], 0.0f);
  EXPECT_EQ(alto.px(540 + 2 * 50, 960)[0], 0.0f);
}

}  // namespace
}  // namespace varno
