// The tone curve and its normalisation.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "colore/confronto.h"

namespace varno {
namespace {

const Curva kNeutra = normalizza_curva(0.9f, 18.0f, 1.0f, 1.0f);

TEST(NormalizzaCurva, NeutralCurveLandsOnItsKnownValues) {
  EXPECT_NEAR(kNeutra.scala, 0.56205f, 5e-6f);
  EXPECT_NEAR(kNeutra.norma, 1.0068f, 5e-5f);
  EXPECT_NEAR(kNeutra.grigio, 0.116987f, 5e-7f);
  EXPECT_EQ(kNeutra.spalla, 0.9f);
  EXPECT_EQ(kNeutra.contrasto, 1.0f);
  EXPECT_EQ(kNeutra.gamma, 1.0f);
}

TEST(NormalizzaCurva, GreyAndWhiteLandWhereTheContrastPutsThem) {
  // Grey maps to grigio at any contrast; white to 1 only at contrast 1.
  for (float contrasto : {0.86f, 1.0f, 1.24f}) {
    SCOPED_TRACE(contrasto);
    const Curva k = normalizza_curva(0.8f, 17.0f, contrasto, 1.0f);
    EXPECT_NEAR(k.grigio, 0.11698655f, 1e-5f);
    const RGB g = tonemap_ratio(RGB{0.18f, 0.18f, 0.18f}, k, 0.0f);
    EXPECT_NEAR(g.r, k.grigio, 1e-6f);
    EXPECT_NEAR(g.g, k.grigio, 1e-6f);
    EXPECT_NEAR(g.b, k.grigio, 1e-6f);
    const float bianco = tonemap_ratio(RGB{17.0f, 0.0f, 0.0f}, k, 1.0f).r;
    if (contrasto == 1.0f) {
      EXPECT_NEAR(bianco, 1.0f, 1e-5f);
    } else if (contrasto < 1.0f) {
      EXPECT_NEAR(bianco, std::pow(k.grigio, 1.0f - contrasto), 1e-4f);
    } else {
      EXPECT_EQ(bianco, 1.0f);
    }
  }
}

TEST(TonemapRatio, BlackAndOverbrightNeutrals) {
  const RGB nero = tonemap_ratio(RGB{0.0f, 0.0f, 0.0f}, kNeutra, 0.5f);
  // q is 0; p = T(0) is tiny but positive and enters by half.
  EXPECT_GT(nero.r, 0.0f);
  EXPECT_LT(nero.r, 1e-9f);
  const RGB nero_q = tonemap_ratio(RGB{0.0f, 0.0f, 0.0f}, kNeutra, 0.0f);
  EXPECT_EQ(nero_q.r, 0.0f);
  // A very bright neutral: t >= 1 uses m = 1, so c / Lc = 1.
  const RGB luce = tonemap_ratio(RGB{1e6f, 1e6f, 1e6f}, kNeutra, 0.0f);
  EXPECT_FLOAT_EQ(luce.r, 1.0f);
  EXPECT_FLOAT_EQ(luce.g, 1.0f);
  EXPECT_FLOAT_EQ(luce.b, 1.0f);
}

TEST(TonemapRatio, RatioPathKeepsHueAndClipsAtOne) {
  // Pure red: only red moves, as t / 0.2126, until it clips.
  const float r = 0.05f;
  const RGB rosso = tonemap_ratio(RGB{r, 0.0f, 0.0f}, kNeutra, 0.0f);
  const float lc = r * 0.2126f;
  const float t = tonemap_ratio(RGB{lc, lc, lc}, kNeutra, 0.0f).g;
  EXPECT_NEAR(rosso.r, std::fmin(t / 0.2126f, 1.0f), 1e-6f);
  EXPECT_EQ(rosso.g, 0.0f);
  EXPECT_EQ(rosso.b, 0.0f);
  const RGB rosso_forte = tonemap_ratio(RGB{2.0f, 0.0f, 0.0f}, kNeutra, 0.0f);
  EXPECT_EQ(rosso_forte.r, 1.0f);
  // Per channel, the same red keeps to the curve instead.
  const RGB per_canale = tonemap_ratio(RGB{r, 0.0f, 0.0f}, kNeutra, 1.0f);
  EXPECT_NEAR(per_canale.r, tonemap_ratio(RGB{r, r, r}, kNeutra, 0.0f).r, 1e-6f);
}

TEST(TonemapRatio, NegativeAndNanChannelsNeverLeakOut) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (float miscela : {0.0f, 0.3f, 1.0f}) {
    const RGB v = tonemap_ratio(RGB{-1.0f, nan, 0.3f}, kNeutra, miscela);
    for (float c : {v.r, v.g, v.b}) {
      EXPECT_FALSE(std::isnan(c));
      EXPECT_GE(c, 0.0f);
      EXPECT_LE(c, 1.0f);
    }
  }
}

TEST(TonemapRatio, GammaOnlyActsWhenNotOne) {
  const Curva piatta = normalizza_curva(0.95f, 16.0f, 1.24f, 1.0f);
  const Curva velvet = normalizza_curva(0.95f, 16.0f, 1.24f, 1.08f);
  const RGB g = RGB{0.18f, 0.18f, 0.18f};
  const float base = tonemap_ratio(g, piatta, 0.0f).g;
  EXPECT_NEAR(tonemap_ratio(g, velvet, 0.0f).g, std::pow(base, 1.08f), 1e-6f);
}

}  // namespace
}  // namespace varno
