// Chromatic aberration and the anamorphic streak.
#include <gtest/gtest.h>

#include <algorithm>
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
}

// Red and blue are affine ramps, which a bilinear sample reproduces, so each
// output tells where it was sampled from: k = (nx^2 + ny^2) * 0.6 * 0.008,
// red from the centre plus (1 - k) times the offset, blue (1 + k), held
// inside 0..size - 1.001.
TEST(Aberrazione, RedMovesInwardsBlueOutwardsHeldAtTheEdges) {
  Fotogramma f(384, 216, 0.0f, 0.5f, 0.0f);
  for (int y = 0; y < 216; ++y)
    for (int x = 0; x < 384; ++x) f.imposta(x, y, 0.001f * x + 0.002f * y, 0.5f, 0.5f + 0.003f * x - 0.001f * y);
  fx_aberrazione(f.img, f.q, 0.6f);
  EXPECT_NEAR(f.px(0, 0)[0], 0.0039168, 2e-6);  // sampled at (1.8432, 1.0368)
  EXPECT_NEAR(f.px(0, 0)[2], 0.5, 2e-6);        // held at (0, 0)
  EXPECT_NEAR(f.px(96, 54)[0], 0.2044896, 2e-6);
  EXPECT_NEAR(f.px(96, 54)[2], 0.7334384, 2e-6);
  EXPECT_NEAR(f.px(383, 215)[2], 1.433998, 2e-6);  // held at (382.999, 214.999)
}

// Bright spots in luma only, over a black picture: the streak takes its mask
// from the luma it is given, and on black its output is the flare itself.
TEST(Streak, RadiusFromTheWidthAloneOnPortraitAndNarrowFrames) {
  // 10% of the width, at least 4; the reduction follows the longer side.
  const struct { int32_t w, h, raggio, riduzione; } misure[] = {
      {1080, 1920, 108, 2}, {1920, 40, 192, 2}, {30, 20, 4, 1}, {3840, 24, 384, 4}};
  for (const auto& m : misure) {
    Fotogramma f(m.w, m.h, 0.0f, 0.0f, 0.0f);
    f.luma[size_t(m.h / 2) * size_t(m.w) + size_t(m.w / 2)] = 1.0f;
    f.luma[size_t(m.h / 4) * size_t(m.w) + size_t(m.w / 5)] = 0.9f;
    f.luma[size_t(m.h - 1) * size_t(m.w) + size_t(m.w - 1)] = 2.0f;
    Piano maschera(f.luma.size());
    for (size_t i = 0; i < maschera.size(); ++i) {
      const float t = std::min(std::max((f.luma[i] - 0.8f) / 0.2f, 0.0f), 1.0f);
      maschera[i] = t * t * f.luma[i];
    }
    blur_orizz_su_ridotta(maschera, m.w, m.h, m.raggio, m.riduzione);
    fx_streak(f.img, f.luma, f.q, 0.6f);
    // Clamped before the colour weight: blue reaches s, red only 0.3 s.
    bool acceso = false;
    for (size_t i = 0; i < maschera.size(); ++i) {
      const float s = std::min(maschera[i] * 0.6f * 2.2f, 1.0f);
      acceso = acceso || s > 0.0f;
      const float atteso[3] = {prova::schermo(0.3f * s, 0.0f), prova::schermo(0.55f * s, 0.0f), prova::schermo(s, 0.0f)};
      for (int c = 0; c < 3; ++c) ASSERT_EQ(f.img[i * 3 + c], atteso[c]) << m.w << "x" << m.h << " at " << i;
    }
    EXPECT_TRUE(acceso) << m.w << "x" << m.h;
  }
}

}  // namespace
}  // namespace varno
