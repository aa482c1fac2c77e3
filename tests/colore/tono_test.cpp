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
}

TEST(NormalizzaCurva, GreyAndWhiteLandWhereTheContrastPutsThem) {
  for (float contrasto : {0.86f, 1.0f, 1.24f}) {
    SCOPED_TRACE(contrasto);
    const Curva k = normalizza_curva(0.8f, 17.0f, contrasto, 1.0f);
    const float g = tonemap_ratio(RGB{0.18f, 0.18f, 0.18f}, k, 0.0f).g;
    EXPECT_NEAR(g, 0.11698655f, 1e-5f);
    // White reaches 1 at contrast 1, is clipped above it and falls short below it.
    const float bianco = tonemap_ratio(RGB{17.0f, 0.0f, 0.0f}, k, 1.0f).r;
    if (contrasto < 1.0f) {
      EXPECT_NEAR(bianco, std::pow(k.grigio, 1.0f - contrasto), 1e-4f);
    } else {
      EXPECT_NEAR(bianco, 1.0f, 1e-5f);
    }
  }
}

TEST(TonemapRatio, BlackBrightAndSaturatedInputs) {
  // Black: q is 0, p = T(0) is tiny but positive.
  EXPECT_EQ(tonemap_ratio(RGB{0.0f, 0.0f, 0.0f}, kNeutra, 0.0f).r, 0.0f);
  const float t0 = tonemap_ratio(RGB{0.0f, 0.0f, 0.0f}, kNeutra, 1.0f).r;
  EXPECT_GT(t0, 0.0f);
  EXPECT_LE(t0, 2e-9f);
  // Past 1 the ratio path uses m = 1: a very bright neutral gives 1.
  EXPECT_FLOAT_EQ(tonemap_ratio(RGB{1e6f, 1e6f, 1e6f}, kNeutra, 0.0f).b, 1.0f);
  // Pure red keeps its hue: red is t / 0.2126, clipped at 1.
  const float lc = 0.05f * 0.2126f;
  const float t = tonemap_ratio(RGB{lc, lc, lc}, kNeutra, 0.0f).g;
  const RGB rosso = tonemap_ratio(RGB{0.05f, 0.0f, 0.0f}, kNeutra, 0.0f);
  EXPECT_NEAR(rosso.r, t / 0.2126f, 1e-6f);
  EXPECT_EQ(rosso.g + rosso.b, 0.0f);
  EXPECT_EQ(tonemap_ratio(RGB{2.0f, 0.0f, 0.0f}, kNeutra, 0.0f).r, 1.0f);
}

TEST(TonemapRatio, NegativeAndNanChannelsNeverLeakOut) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (float miscela : {0.0f, 0.3f, 1.0f}) {
    const RGB v = tonemap_ratio(RGB{-1.0f, nan, 0.3f}, kNeutra, miscela);
    for (float c : {v.r, v.g, v.b}) EXPECT_TRUE(c >= 0.0f && c <= 1.0f) << miscela;
  }
}

}  // namespace
}  // namespace varno
