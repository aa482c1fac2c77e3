#include <gtest/gtest.h>

#include <cstdint>

#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx_effetti/comune.h"

namespace varno {
namespace {

using prova::Fotogramma;

// Bright spots in luma only, over a black picture: the streak must take its
// mask from the luma it is given, and on black its output is the flare itself.
Fotogramma macchie(int32_t w, int32_t h) {
  Fotogramma f(w, h, 0.0f, 0.0f, 0.0f);
  f.luma[size_t(h / 2) * size_t(w) + size_t(w / 2)] = 1.0f;
  f.luma[size_t(h / 4) * size_t(w) + size_t(w / 5)] = 0.9f;
  f.luma[size_t(h - 1) * size_t(w) + size_t(w - 1)] = 2.0f;
  return f;
}

struct Misura {
  int32_t w, h, raggio, riduzione;
};

// 10% of the width, at least 4, whatever the longer side; the reduction still
// follows the longer side.
TEST(Streak, RadiusFromTheWidthAloneOnTheMaskItIsGiven) {
  for (const Misura m : {Misura{1080, 1920, 108, 2}, {1920, 40, 192, 2}, {30, 20, 4, 1}, {3840, 24, 384, 4}}) {
    Fotogramma f = macchie(m.w, m.h);
    Piano maschera(f.luma.size());
    for (size_t i = 0; i < maschera.size(); ++i) {
      float t = (f.luma[i] - 0.8f) / 0.2f;
      t = t > 0.0f ? (t < 1.0f ? t : 1.0f) : 0.0f;
      maschera[i] = t * t * f.luma[i];
    }
    blur_orizz_su_ridotta(maschera, m.w, m.h, m.raggio, m.riduzione);
    fx_streak(f.img, f.luma, f.q, 0.6f);
    bool acceso = false;
    for (size_t i = 0; i < maschera.size(); ++i) {
      float s = maschera[i] * 0.6f * 2.2f;
      if (s > 1.0f) s = 1.0f;
      ASSERT_EQ(f.img[i * 3 + 0], schermo(0.3f * s, 0.0f)) << m.w << "x" << m.h << " at " << i;
      ASSERT_EQ(f.img[i * 3 + 1], schermo(0.55f * s, 0.0f)) << m.w << "x" << m.h << " at " << i;
      ASSERT_EQ(f.img[i * 3 + 2], schermo(s, 0.0f)) << m.w << "x" << m.h << " at " << i;
      acceso = acceso || s > 0.0f;
    }
    EXPECT_TRUE(acceso);
  }
}

TEST(Streak, SaturatedFlareTurnsBlueFullAndNothingBelowThreshold) {
  Fotogramma f(64, 32, 0.0f, 0.0f, 0.0f);
  for (float& l : f.luma) l = 1.0f;
  fx_streak(f.img, f.luma, f.q, 0.6f);
  for (size_t i = 0; i < f.img.size(); i += 3) {
    EXPECT_NEAR(f.img[i], 0.3f, 1e-7f);
    EXPECT_NEAR(f.img[i + 1], 0.55f, 1e-7f);
    EXPECT_EQ(f.img[i + 2], 1.0f);
  }

  // The live picture is bright but luma is not: no flare, only the rounding
  // of 1 - (1 - c); channels above 1 are not clamped.
  Fotogramma g = prova::casuale(64, 32, 9, 0.0f, 3.0f);
  for (size_t i = 0; i < g.luma.size(); ++i) g.luma[i] = 0.8f * float(i % 2);
  const Immagine prima = g.img;
  fx_streak(g.img, g.luma, g.q, 0.6f);
  for (size_t i = 0; i < g.img.size(); ++i) EXPECT_NEAR(g.img[i], prima[i], 2.5e-7f);
}

}  // namespace
}  // namespace varno
