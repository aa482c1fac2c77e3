// Skin diffusion and the three diffusion filters: radii, reductions, veil,
// neutrality and where each one clamps.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "fx/blur.h"
#include "fx/campiona.h"
#include "fx_effetti/comune.h"

namespace varno {
namespace {

using prova::Fotogramma;

// Black frame with a white square: the halo of a mist filter falls on black,
// where the output is its screen over 0.
Fotogramma quadrato(int32_t w, int32_t h) {
  Fotogramma f(w, h, 0.0f, 0.0f, 0.0f);
  const int32_t x0 = w / 3, y0 = h / 3;
  for (int32_t y = y0; y < y0 + 5 && y < h; ++y)
    for (int32_t x = x0; x < x0 + 5 && x < w; ++x) f.imposta(x, y, 1.0f, 1.0f, 1.0f);
  f.aggiorna();
  return f;
}

// The halo plane of the white square, blurred with the radius and reduction
// that the table gives for the frame.
Piano alone_atteso(const Fotogramma& f, float inizio, float ampiezza, bool quadratico, int32_t raggio,
                   int32_t riduzione) {
  Piano p(f.luma.size());
  for (size_t i = 0; i < p.size(); ++i) {
    const float l = f.luma[i];
    const float t = (l - inizio) / ampiezza;
    p[i] = t > 0.0f ? (t >= 1.0f ? (quadratico ? 1.0f : l) : (quadratico ? t * t : l * t)) : 0.0f;
  }
  blur_su_ridotta(p, f.q.larghezza, f.q.altezza, raggio, riduzione);
  return p;
}

struct Misura {
  int32_t w, h, raggio, riduzione;
};

// 3.5% of the longer side, at least 3; reduction at least 2. Thin frames keep
// the longer side on either axis.
TEST(ProMist, RadiusAndReductionFollowTheLongerSide) {
  for (const Misura m : {Misura{1280, 40, 45, 2}, {40, 1920, 67, 2}, {2880, 40, 101, 3}, {40, 3840, 134, 4},
                         {4096, 40, 143, 4}, {20, 10, 3, 2}}) {
    Fotogramma f = quadrato(m.w, m.h);
    const Piano a = alone_atteso(f, 0.45f, 0.55f, true, m.raggio, m.riduzione);
    fx_promist(f.img, f.luma, f.q, 0.55f);
    for (size_t i = 0; i < a.size(); ++i) {
      float h = a[i] * 0.55f * 1.5f;
      if (h > 1.0f) h = 1.0f;
      if (f.img[i * 3 + 1] == 1.0f) continue;  // the square itself
      ASSERT_EQ(f.img[i * 3 + 1], schermo(h, 0.0f)) << m.w << "x" << m.h << " at " << i;
    }
  }
}

TEST(ProMist, DarkFramesGetNoHaloAndBrightChannelsAreNotClamped) {
  Fotogramma f = prova::casuale(60, 40, 8, 0.0f, 0.45f);
  const Immagine prima = f.img;
  fx_promist(f.img, f.luma, f.q, 0.55f);
  for (size_t i = 0; i < f.img.size(); ++i) EXPECT_NEAR(f.img[i], prima[i], 6e-8);

  // A channel above 1 is pulled towards 1 by (1 - h), not clamped; one at 1 stays 1.
  Fotogramma g(30, 20, 3.0f, 1.0f, 0.2f);
  fx_promist(g.img, g.luma, g.q, 0.1f);
  for (size_t i = 0; i < g.img.size(); i += 3) {
    EXPECT_GT(g.img[i], 1.0f);
    EXPECT_LT(g.img[i], 3.0f);
    EXPECT_EQ(g.img[i + 1], 1.0f);
  }
}

TEST(WhiteProMist, SameRadiusTableAndAVeilOverAUniformFrame) {
  for (const Misura m : {Misura{40, 2880, 101, 3}, {20, 10, 3, 2}}) {
    Fotogramma f = quadrato(m.w, m.h);
    const Piano a = alone_atteso(f, 0.35f, 0.65f, true, m.raggio, m.riduzione);
    Piano velo = f.luma;
    blur_su_ridotta(velo, m.w, m.h, m.raggio, m.riduzione);
    double somma = 0;
    for (float l : f.luma) somma += l;
    const double media = somma / double(f.luma.size());
    fx_mistw(f.img, f.luma, f.q, 0.55f);
    for (size_t i = 0; i < a.size(); ++i) {
      if (f.img[i * 3 + 1] == 1.0f) continue;
      const double h = std::fmin(a[i] * 0.55 * 1.3, 1.0);
      const double v = 0.55 * 0.22 * (velo[i] * 0.5 + media * 0.5);
      ASSERT_NEAR(f.img[i * 3 + 1], h + v * (1 - h), 2e-7) << m.w << "x" << m.h << " at " << i;
    }
  }

  // Uniform luminance 0.5 at the largest grade: veil 0.0605 over a halo of
  // 0.5 * ((0.5 - 0.35) / 0.65)^2 * 0.55 * 1.3.
  Fotogramma f(64, 48, 0.5f, 0.5f, 0.5f);
  fx_mistw(f.img, f.luma, f.q, 0.55f);
  const double t = (0.5 - 0.35) / 0.65;
  const double h = 0.5 * t * t * 0.55 * 1.3;
  const double s = 1 - (1 - h) * 0.5;
  for (float c : f.img) EXPECT_NEAR(c, s + 0.0605 * (1 - s), 2e-6);
}

TEST(WhiteProMist, BlackStaysBlackAndTheResultIsClamped) {
  Fotogramma nero(50, 30, 0.0f, 0.0f, 0.0f);
  fx_mistw(nero.img, nero.luma, nero.q, 0.55f);
  for (float c : nero.img) EXPECT_EQ(c, 0.0f);

  Fotogramma f(50, 30, 3.0f, -2.0f, 0.5f);
  f.aggiorna();
  fx_mistw(f.img, f.luma, f.q, 0.55f);
  for (size_t i = 0; i < f.img.size(); i += 3) {
    EXPECT_EQ(f.img[i], 1.0f);
    EXPECT_EQ(f.img[i + 1], 0.0f);
  }

  // The blurred half of the veil lifts the surroundings of a bright patch more
  // than far-away pixels.
  Fotogramma g(400, 40, 0.0f, 0.0f, 0.0f);
  for (int y = 0; y < 40; ++y)
    for (int x = 0; x < 10; ++x) g.imposta(x, y, 0.3f, 0.3f, 0.3f);
  g.aggiorna();
  fx_mistw(g.img, g.luma, g.q, 0.55f);
  EXPECT_GT(g.px(15, 20)[0], g.px(390, 20)[0]);
  EXPECT_GT(g.px(390, 20)[0], 0.0f);
}

// 0.8% of the longer side, at least 2; the reduction as it stands, so a frame
// under 1920 blurs at full size.
TEST(Glimmer, RadiusAndReductionAsTheyStand) {
  for (const Misura m : {Misura{1280, 40, 10, 1}, {100, 60, 2, 1}, {40, 3840, 31, 4}, {7680, 20, 61, 4}}) {
    Fotogramma f = quadrato(m.w, m.h);
    const Piano b = alone_atteso(f, 0.55f, 0.45f, false, m.raggio, m.riduzione);
    fx_glimmer(f.img, f.luma, f.q, 0.55f);
    for (size_t i = 0; i < b.size(); ++i) {
      if (f.img[i * 3 + 1] == 1.0f) continue;
      float h = b[i] * 0.55f * 1.4f;
      if (h > 1.0f) h = 1.0f;
      ASSERT_EQ(f.img[i * 3 + 1], schermo(h, 0.0f)) << m.w << "x" << m.h << " at " << i;
    }
  }
}

TEST(Glimmer, TheGlowIsNeutral) {
  // A saturated highlight gets one h on all three channels and drifts to white.
  Fotogramma f(40, 30, 2.0f, 0.5f, 0.1f);
  fx_glimmer(f.img, f.luma, f.q, 0.55f);
  const double l = 2.0 * 0.2126 + 0.5 * 0.7152 + 0.1 * 0.0722;
  const double h = l * (l - 0.55) / 0.45 * 0.55 * 1.4;
  const double atteso[3] = {1 - (1 - h) * (1 - 2.0), 1 - (1 - h) * 0.5, 1 - (1 - h) * 0.9};
  for (size_t i = 0; i < f.img.size(); ++i) EXPECT_NEAR(f.img[i], atteso[i % 3], 2e-6);

  Fotogramma bianco(40, 30, 1.0f, 1.0f, 1.0f);
  fx_glimmer(bianco.img, bianco.luma, bianco.q, 0.55f);
  for (float c : bianco.img) EXPECT_EQ(c, 1.0f);
}

// A white column on grey: a box blur of radius r repeated three times reaches
// 3r pixels, so the detail taken out stops there.
int32_t portata_pelle(int32_t lungo, bool verticale) {
  const int32_t corto = 16;
  const int32_t w = verticale ? corto : lungo, h = verticale ? lungo : corto;
  Fotogramma f(w, h, 0.2f, 0.2f, 0.2f);
  const int32_t linea = lungo / 2;
  for (int32_t i = 0; i < corto; ++i) {
    if (verticale)
      f.imposta(i, linea, 1.0f, 1.0f, 1.0f);
    else
      f.imposta(linea, i, 1.0f, 1.0f, 1.0f);
  }
  f.aggiorna();
  const Immagine prima = f.img;
  fx_pelle(f.img, f.luma, f.q, 0.55f);
  int32_t portata = 0;
  for (int32_t d = 1; d < lungo / 2; ++d) {
    const size_t i = verticale ? size_t(linea + d) * size_t(w) : size_t(linea + d);
    if (std::fabs(f.img[i * 3] - prima[i * 3]) > 1e-6f) portata = d;
  }
  return portata;
}

TEST(Pelle, RadiusFollowsTheLongerSide) {
  EXPECT_EQ(portata_pelle(1920, false), 3 * 13);
  EXPECT_EQ(portata_pelle(1920, true), 3 * 13);
  EXPECT_EQ(portata_pelle(100, false), 3 * 1);
  EXPECT_EQ(portata_pelle(1000, true), 3 * 7);
}

TEST(Pelle, FlatFramesPassOnlyThroughTheHold) {
  Fotogramma f(50, 40, 0.3f, 0.5f, 0.7f);
  fx_pelle(f.img, f.luma, f.q, 0.55f);
  const float atteso[3] = {0.3f, 0.5f, 0.7f};
  for (size_t i = 0; i < f.img.size(); ++i) EXPECT_NEAR(f.img[i], atteso[i % 3], 1e-6f);

  // Luminance above 1 is held to 1, which scales every channel down with it.
  Fotogramma g(50, 40, 1.5f, 2.0f, 0.5f);
  fx_pelle(g.img, g.luma, g.q, 0.55f);
  const double l = 1.5 * 0.2126 + 2.0 * 0.7152 + 0.5 * 0.0722;
  const double gatteso[3] = {1.5 / l, std::fmin(2.0 / l, 1.0), 0.5 / l};
  for (size_t i = 0; i < g.img.size(); ++i) EXPECT_NEAR(g.img[i], gatteso[i % 3], 1e-6);
}

}  // namespace
}  // namespace varno
