#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "aiuto.h"
#include "fx/fx.h"
#include "riferimento.h"

using varno::Immagine;
using varno::Quadro;

namespace {

// Double-precision references of the four stages, written from their stated
// formulas with the slow blurs of riferimento.h.

rif::Piano luma_rif(const Immagine& img) {
  rif::Piano l(img.size() / 3);
  for (size_t i = 0; i < l.size(); ++i)
    l[i] = 0.2126 * img[3 * i] + 0.7152 * img[3 * i + 1] + 0.0722 * img[3 * i + 2];
  return l;
}

double clamp01(double v) { return v > 0 ? std::min(v, 1.0) : 0.0; }

std::vector<double> enhance_rif(const Immagine& img, int w, int h, double amount) {
  const rif::Piano L = luma_rif(img);
  const int r = std::max(1, static_cast<int>(std::lround(0.012 * std::max(w, h))));
  const rif::Piano B = rif::box(L, w, h, r, 3);
  std::vector<double> out(img.size());
  for (size_t i = 0; i < L.size(); ++i) {
    const double d = (L[i] - B[i]) * 3;
    const double t = d > 3 ? 1.0 / 3 : d < -3 ? -1.0 / 3 : ((d * d + 27) * d / (d * d * 9 + 27)) / 3;
    double n = L[i] + 2 * t * amount;
    n = n > 1e-6 ? std::min(n, 1.0) : 1e-6;
    const double q = n / std::max(1e-6, L[i]);
    for (int c = 0; c < 3; ++c) out[3 * i + c] = clamp01(img[3 * i + c] * q);
  }
  return out;
}

std::vector<double> halation_rif(const Immagine& img, int w, int h, double amount) {
  const rif::Piano L = luma_rif(img);
  rif::Piano m(L.size());
  for (size_t i = 0; i < L.size(); ++i) m[i] = std::pow(std::clamp((L[i] - 0.62) / 0.38, 0.0, 1.0), 1.6);
  const int lato = std::max(w, h);
  const int r = std::max(2, static_cast<int>(std::lround(0.018 * lato)));
  m = rif::su_ridotta(m, w, h, r, aiuto::riduzione_attesa(lato));
  const double peso[3] = {1.0, 0.36, 0.12};
  std::vector<double> out(img.size());
  for (size_t i = 0; i < L.size(); ++i)
    for (int c = 0; c < 3; ++c)
      out[3 * i + c] = 1 - (1 - std::min(peso[c] * m[i] * amount, 1.0)) * (1 - img[3 * i + c]);
  return out;
}

std::vector<double> bloom_rif(const Immagine& img, int w, int h, double amount) {
  const rif::Piano L = luma_rif(img);
  rif::Piano m(L.size());
  for (size_t i = 0; i < L.size(); ++i) {
    const double t = std::clamp((L[i] - 0.72) / 0.28, 0.0, 1.0);
    m[i] = L[i] * t * t;
  }
  const int lato = std::max(w, h);
  const int r = std::max(1, static_cast<int>(std::lround(0.01 * lato)));
  m = rif::su_ridotta(m, w, h, r, aiuto::riduzione_attesa(lato));
  std::vector<double> out(img.size());
  for (size_t i = 0; i < L.size(); ++i)
    for (int c = 0; c < 3; ++c) out[3 * i + c] = 1 - (1 - img[3 * i + c]) * (1 - std::min(amount * m[i], 1.0));
  return out;
}

double maschera_vignetta_rif(int x, int y, int w, int h) {
  const double cx = w * 0.5, cy = h * 0.5;
  const double d = std::hypot((x - cx) / cx, (y - cy) / cy) / std::sqrt(2.0);
  return std::pow(std::clamp((d - 0.78) / 0.22, 0.0, 1.0), 2.2);
}

void vicino(const Immagine& got, const std::vector<double>& atteso, double tol) {
  ASSERT_EQ(got.size(), atteso.size());
  for (size_t i = 0; i < got.size(); ++i)
    ASSERT_NEAR(got[i], atteso[i], tol) << "pixel " << i / 3 << " channel " << i % 3;
}

enum class Effetto { enhance, halation, bloom };

void esegui(Effetto e, Immagine& img, int w, int h, float amount) {
  const Quadro q = varno::calcola_quadro(w, h);
  const varno::Piano luma = aiuto::luma_di(img, q);
  switch (e) {
    case Effetto::enhance: varno::fx_enhance(img, luma, q, amount); break;
    case Effetto::halation: varno::fx_halation(img, luma, q, amount); break;
    case Effetto::bloom: varno::fx_bloom(img, luma, q, amount); break;
  }
}

// A random picture with a few hot spots, some of them above 1.
Immagine scena(int w, int h, uint32_t seme) {
  Immagine img = aiuto::immagine(w, h, seme, 0.05f, 0.9f);
  for (int k = 0; k < w * h; k += 7)
    for (int c = 0; c < 3; ++c) img[static_cast<size_t>(3 * k + c)] = 0.95f + 0.1f * static_cast<float>(c);
  return img;
}

}  // namespace

// 40x30 holds the radii at their minimums (enhance 1, halation 2, bloom 1);
// 1920x12 runs the wide blurs on a copy reduced by 2.
TEST(Effetti, MatchIndependentReferences) {
  struct Caso { int w, h; };
  for (const Caso c : {Caso{40, 30}, Caso{1920, 12}}) {
    const Immagine sorgente = scena(c.w, c.h, 21);
    SCOPED_TRACE(testing::Message() << c.w << "x" << c.h);
    Immagine a = sorgente, b = sorgente, d = sorgente;
    esegui(Effetto::enhance, a, c.w, c.h, 0.6f);
    vicino(a, enhance_rif(sorgente, c.w, c.h, 0.6), 5e-5);
    esegui(Effetto::halation, b, c.w, c.h, 0.6f);
    vicino(b, halation_rif(sorgente, c.w, c.h, 0.6), 5e-6);
    esegui(Effetto::bloom, d, c.w, c.h, 0.6f);
    vicino(d, bloom_rif(sorgente, c.w, c.h, 0.6), 5e-6);
  }
}

TEST(Enhance, FlatPictureOnlyClamps) {
  Immagine img = aiuto::piatta(30, 20, 1.5f, 0.5f, -0.2f);
  esegui(Effetto::enhance, img, 30, 20, 0.6f);
  for (size_t i = 0; i < img.size(); i += 3) {
    ASSERT_EQ(img[i], 1.0f);
    ASSERT_NEAR(img[i + 1], 0.5f, 1e-6);
    ASSERT_EQ(img[i + 2], 0.0f);
  }
}

TEST(Enhance, NearWhiteStopsAtOneAndClampsChannelsApart) {
  // A bright pixel on grey: the new luminance is held at 1, so all channels
  // scale by 1/L and red and green clip while blue doesn't: the hue shifts.
  Immagine img = aiuto::piatta(9, 9, 0.5f, 0.5f, 0.5f);
  const size_t centro = 3 * (4 * 9 + 4);
  img[centro] = 1.0f;
  img[centro + 1] = 0.98f;
  img[centro + 2] = 0.6f;
  esegui(Effetto::enhance, img, 9, 9, 0.6f);
  const double L = 0.2126 * 1.0 + 0.7152 * 0.98 + 0.0722 * 0.6;
  EXPECT_EQ(img[centro], 1.0f);
  EXPECT_EQ(img[centro + 1], 1.0f);
  EXPECT_NEAR(img[centro + 2], 0.6 / L, 2e-6);
}

TEST(Enhance, BlackStaysBlack) {
  Immagine img = aiuto::piatta(9, 9, 0.8f, 0.8f, 0.8f);
  const size_t centro = 3 * (4 * 9 + 4);
  img[centro] = img[centro + 1] = img[centro + 2] = 0.0f;
  esegui(Effetto::enhance, img, 9, 9, 0.6f);
  for (int c = 0; c < 3; ++c) EXPECT_EQ(img[centro + c], 0.0f);
}

TEST(Halation, MaskAndWarmColourOnFlatAreas) {
  // luma 0.81: t = 0.5 and the mask is 0.5^1.6, about 0.33.
  Immagine img = aiuto::piatta(12, 10, 0.81f, 0.81f, 0.81f);
  esegui(Effetto::halation, img, 12, 10, 0.6f);
  const double m = std::pow(0.5, 1.6);
  const double peso[3] = {1.0, 0.36, 0.12};
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(img[c], 1 - (1 - peso[c] * m * 0.6) * 0.19, 2e-6);
  EXPECT_NEAR((1 - (1 - img[0]) / 0.19) / 0.6, 0.33, 0.005);

  // White-hot (luma above 1): mask 1, s = 0.6, 0.216, 0.072, and a channel
  // above 1 is screened and left above 1.
  Immagine caldo = aiuto::piatta(12, 10, 1.2f, 0.95f, 1.0f);
  esegui(Effetto::halation, caldo, 12, 10, 0.6f);
  EXPECT_NEAR(caldo[0], 1 - (1 - 0.6) * (1 - 1.2), 1e-6);
  EXPECT_NEAR(caldo[1], 1 - (1 - 0.216) * (1 - 0.95), 1e-6);
  EXPECT_EQ(caldo[2], 1.0f);
  EXPECT_GT(caldo[0], 1.0f);
}

// Below the threshold the mask is 0, and every pixel still goes through the
// screen, which rounds to 1 - (1 - in).
TEST(HalationBloom, DarkPicturesOnlyPassThroughTheScreen) {
  const Immagine sorgente = aiuto::immagine(33, 21, 4, -0.1f, 0.62f);
  for (Effetto e : {Effetto::halation, Effetto::bloom}) {
    Immagine img = sorgente;
    esegui(e, img, 33, 21, 0.6f);
    for (size_t i = 0; i < img.size(); ++i) ASSERT_EQ(img[i], 1.0f - (1.0f - sorgente[i])) << i;
  }
}

TEST(Bloom, MaskWeightsByBrightnessAndLiftsChannelsAlike) {
  // luma 0.86: t = 0.5, mask 0.86 * 0.25 = 0.215.
  Immagine img = aiuto::piatta(12, 10, 0.86f, 0.86f, 0.86f);
  esegui(Effetto::bloom, img, 12, 10, 0.6f);
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(img[c], 1 - (1 - 0.86) * (1 - 0.215 * 0.6), 2e-6);

  // A saturated highlight: the same s on every channel takes each one the
  // same fraction of the way to white.
  Immagine sat = aiuto::piatta(12, 10, 1.0f, 0.8f, 0.5f);
  esegui(Effetto::bloom, sat, 12, 10, 0.6f);
  const double resto_g = (1 - sat[1]) / 0.2, resto_b = (1 - sat[2]) / 0.5;
  EXPECT_NEAR(resto_g, resto_b, 1e-5);
  EXPECT_LT(resto_g, 1.0);
  EXPECT_EQ(sat[0], 1.0f);
}

TEST(Vignetta, MaskValues) {
  const auto m = varno::vignetta_mask(1920, 1080);
  ASSERT_EQ(m->size(), 1920u * 1080u);
  auto at = [&](int x, int y) { return (*m)[static_cast<size_t>(y) * 1920 + static_cast<size_t>(x)]; };
  EXPECT_EQ(at(0, 0), 1.0f);
  EXPECT_EQ(at(960, 0), 0.0f);
  EXPECT_EQ(at(0, 540), 0.0f);
  EXPECT_EQ(at(960, 540), 0.0f);
  // The centre is the half size, so the far corner stays below 1.
  EXPECT_LT(at(1919, 1079), 1.0f);
  EXPECT_GT(at(1919, 1079), 0.97f);
  for (int y = 0; y < 1080; y += 37)
    for (int x = 0; x < 1920; x += 41) ASSERT_NEAR(at(x, y), maschera_vignetta_rif(x, y, 1920, 1080), 1e-5);
}

TEST(Vignetta, TallMaskIsTheTransposeOfTheWideOne) {
  const auto largo = varno::vignetta_mask(1920, 1080);
  const auto alto = varno::vignetta_mask(1080, 1920);
  for (size_t y = 0; y < 1080; ++y)
    for (size_t x = 0; x < 1920; ++x) ASSERT_EQ((*largo)[y * 1920 + x], (*alto)[x * 1080 + y]) << x << "," << y;
}

TEST(Vignetta, DarkensTheCornersAndClampsEverywhere) {
  const int w = 40, h = 30;
  Immagine img = aiuto::piatta(w, h, 0.5f, 0.5f, 0.5f);
  const size_t centro = 3 * (15 * w + 20);
  img[centro] = 1.7f;
  img[centro + 1] = -0.3f;
  varno::fx_vignetta(img, varno::calcola_quadro(w, h), 0.6f);
  EXPECT_FLOAT_EQ(img[0], 0.2f);  // the corner keeps 40%
  EXPECT_EQ(img[3 * 20], 0.5f);   // middle of the long edge
  EXPECT_EQ(img[centro], 1.0f);
  EXPECT_EQ(img[centro + 1], 0.0f);
  for (size_t i = 0; i < img.size(); ++i) ASSERT_TRUE(img[i] >= 0.0f && img[i] <= 1.0f);
}

TEST(Vignetta, OneMaskPerSizeNeverRebuiltForTheAmount) {
  const auto a = varno::vignetta_mask(64, 48);
  const uint64_t dopo = varno::vignetta_costruzioni();
  const std::vector<float> copia = *a;
  Immagine img = aiuto::piatta(64, 48, 0.5f, 0.5f, 0.5f);
  for (float amount : {0.1f, 0.6f, 0.3f}) varno::fx_vignetta(img, varno::calcola_quadro(64, 48), amount);
  EXPECT_EQ(varno::vignetta_mask(64, 48), a);  // same array, untouched
  EXPECT_EQ(*a, copia);
  EXPECT_EQ(varno::vignetta_costruzioni(), dopo);

  // Another size replaces it; the old pointer stays valid for its holder.
  const auto b = varno::vignetta_mask(48, 64);
  EXPECT_EQ(varno::vignetta_costruzioni(), dopo + 1);
  EXPECT_NE(b, a);
  EXPECT_EQ(*a, copia);
  varno::vignetta_mask(64, 48);
  EXPECT_EQ(varno::vignetta_costruzioni(), dopo + 2);

  // Amount 0 skips the stage, so the mask isn't even asked for.
  Immagine altra = aiuto::piatta(20, 20, 0.5f, 0.5f, 0.5f);
  varno::FxRicetta spenta;
  spenta.vignetta = 0.0f;
  varno::applica_fx(altra, 20, 20, spenta);
  EXPECT_EQ(varno::vignetta_costruzioni(), dopo + 2);
}
