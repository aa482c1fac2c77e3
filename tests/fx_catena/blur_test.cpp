// Frame-size values and the three blurs.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <tuple>

#include "aiuto.h"
#include "fx/blur.h"

using varno::Piano;

// Radii are rounded halves away from zero and saturated; the stages hold their own minimums.
TEST(Quadro, ReductionAndRadiiFollowTheLongerSide) {
  const struct { int32_t lato, riduzione; } riduzioni[] = {
      {1, 1}, {1919, 1}, {1920, 2}, {2879, 2}, {2880, 3}, {3839, 3}, {3840, 4}, {7680, 4}, {100000, 4}};
  for (const auto& r : riduzioni) {
    EXPECT_EQ(varno::calcola_quadro(r.lato, 7).riduzione, r.riduzione) << r.lato;
    EXPECT_EQ(varno::calcola_quadro(7, r.lato).riduzione, r.riduzione) << "tall " << r.lato;
  }
  const struct { int32_t w, h, enhance, halation, bloom; } raggi[] = {
      {100, 100, 1, 2, 1},         // 1.2, 1.8, 1.0
      {40, 30, 0, 1, 0},           // 0.48, 0.72, 0.4
      {1920, 1080, 23, 35, 19},    // 23.04, 34.56, 19.2
      {1080, 1920, 23, 35, 19},    // a tall frame counts its height
      {3840, 2160, 46, 69, 38},    // 46.08, 69.12, 38.4
      {7680, 4320, 92, 138, 77}};  // 92.16, 138.24, 76.8
  for (const auto& r : raggi) {
    const varno::Quadro q = varno::calcola_quadro(r.w, r.h);
    EXPECT_EQ(std::tuple(q.lato_max, q.raggio_enhance, q.raggio_halation, q.raggio_bloom),
              std::tuple(std::max(r.w, r.h), r.enhance, r.halation, r.bloom)) << r.w << "x" << r.h;
  }
  EXPECT_EQ(varno::arrotonda_raggio(2.5), 3);
  EXPECT_EQ(varno::arrotonda_raggio(1e300), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(varno::arrotonda_raggio(-1e300), std::numeric_limits<int32_t>::min());
}

// Replicated ends; lines shorter than the window (5x3 at radius 4, 8 wide at 40);
// sizes off the factor, for partial blocks and the held edge; radius 3 at factor 4
// still blurs the copy; a 3x3 plane at factor 4 reduces to the mean of nine.
TEST(BlurSuRidotta, BothBlursMatchTheSlowReference) {
  const struct { int w, h, r, f; bool orizz; } casi[] = {
      {5, 3, 4, 1, false},   {64, 48, 12, 4, false}, {19, 13, 3, 4, false}, {50, 29, 7, 3, false},
      {33, 40, 5, 2, false}, {3, 3, 3, 4, false},    {70, 21, 20, 2, true},  {37, 14, 9, 3, true},
      {64, 16, 30, 4, true}, {8, 3, 40, 1, true},    {41, 9, 4, 1, true},    {3, 3, 3, 4, true}};
  for (const auto& c : casi) {
    Piano p = aiuto::casuali(static_cast<size_t>(c.w * c.h), 11);
    const aiuto::Rif atteso = aiuto::blur_rif(aiuto::Rif(p.begin(), p.end()), c.w, c.h, c.r, c.f, c.orizz);
    (c.orizz ? varno::blur_orizz_su_ridotta : varno::blur_su_ridotta)(p, c.w, c.h, c.r, c.f);
    SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << " r" << c.r << " f" << c.f << " orizz " << c.orizz);
    for (size_t i = 0; i < p.size(); ++i) ASSERT_NEAR(p[i], atteso[i], 2e-6) << "sample " << i;
  }
}
