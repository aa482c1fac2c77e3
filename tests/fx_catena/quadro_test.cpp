#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "fx/fx.h"

using varno::calcola_quadro;

TEST(Quadro, ReductionStepsWithTheLongerSide) {
  const struct { int32_t lato, riduzione; } tabella[] = {
      {1, 1}, {1919, 1}, {1920, 2}, {2879, 2}, {2880, 3}, {3839, 3}, {3840, 4}, {7680, 4}, {100000, 4}};
  for (const auto& r : tabella) {
    EXPECT_EQ(varno::calcola_riduzione(r.lato), r.riduzione) << r.lato;
    EXPECT_EQ(calcola_quadro(r.lato, 7).riduzione, r.riduzione) << r.lato;
    EXPECT_EQ(calcola_quadro(7, r.lato).riduzione, r.riduzione) << "tall " << r.lato;
  }
}

TEST(Quadro, RadiiAreRoundedFractionsOfTheLongerSide) {
  const struct { int32_t w, h, lato, enhance, halation, bloom; } tabella[] = {
      {100, 100, 100, 1, 2, 1},        // 1.2, 1.8, 1.0
      {40, 30, 40, 0, 1, 0},           // 0.48, 0.72, 0.4: the effects hold their own minimums
      {1920, 1080, 1920, 23, 35, 19},  // 23.04, 34.56, 19.2
      {1080, 1920, 1920, 23, 35, 19},  // a tall frame counts its height
      {3840, 2160, 3840, 46, 69, 38},  // 46.08, 69.12, 38.4
      {7680, 4320, 7680, 92, 138, 77}, // 92.16, 138.24, 76.8
  };
  for (const auto& r : tabella) {
    const varno::Quadro q = calcola_quadro(r.w, r.h);
    SCOPED_TRACE(testing::Message() << r.w << "x" << r.h);
    EXPECT_EQ(q.larghezza, r.w);
    EXPECT_EQ(q.altezza, r.h);
    EXPECT_EQ(q.lato_max, r.lato);
    EXPECT_EQ(q.raggio_enhance, r.enhance);
    EXPECT_EQ(q.raggio_halation, r.halation);
    EXPECT_EQ(q.raggio_bloom, r.bloom);
  }
}

TEST(Quadro, RoundingIsHalfAwayFromZeroAndSaturates) {
  EXPECT_EQ(varno::arrotonda_raggio(0.5), 1);
  EXPECT_EQ(varno::arrotonda_raggio(2.5), 3);
  EXPECT_EQ(varno::arrotonda_raggio(2.4999), 2);
  EXPECT_EQ(varno::arrotonda_raggio(-0.5), -1);
  EXPECT_EQ(varno::arrotonda_raggio(1e300), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(varno::arrotonda_raggio(-1e300), std::numeric_limits<int32_t>::min());
}
