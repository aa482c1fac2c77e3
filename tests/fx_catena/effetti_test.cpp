// Enhance, halation, bloom and the vignette: hand-computed values.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

#include "aiuto.h"
#include "fx/blur.h"

using namespace varno;

namespace {

using Effetto = void (*)(Immagine&, const Piano&, const Quadro&, float, const Seguito&);

Immagine esegui(Effetto fx, Immagine img, int w, int h) {
  const Quadro q = calcola_quadro(w, h);
  fx(img, aiuto::luma_di(img, q), q, 0.6f, {});
  return img;
}

}  // namespace

// How far a white column on grey changes its row: three box passes of radius r reach
// 3r; on a copy reduced by 2, 2 * 3 * (r / 2) plus one pixel of enlargement. Radii
// 12, 18, 10 at 1000 wide; minimums 1, 2, 1; at 1920 only halation and bloom reduce.
TEST(Effetti, BlurRadiiMinimumsAndReduction) {
  const struct { Effetto fx; int w, portata; } casi[] = {
      {fx_enhance, 1000, 36},   {fx_enhance, 40, 3},   {fx_enhance, 1920, 69},
      {fx_halation, 1000, 54},  {fx_halation, 60, 6},  {fx_halation, 1920, 103},
      {fx_bloom, 1000, 30},     {fx_bloom, 40, 3},     {fx_bloom, 1920, 55}};
  for (const auto& c : casi) {
    const int linea = c.w / 2;
    Immagine img = aiuto::piatta(c.w, 16, 0.2f, 0.2f, 0.2f);
    for (int y = 0; y < 16; ++y) std::fill_n(&img[static_cast<size_t>(3 * (y * c.w + linea))], 3, 1.0f);
    const Immagine dopo = esegui(c.fx, img, c.w, 16);
    int d = 0;
    for (int x = linea + 1; x < c.w; ++x)
      if (std::fabs(dopo[static_cast<size_t>(3 * (8 * c.w + x))] - img[static_cast<size_t>(3 * (8 * c.w + x))]) > 1e-6f)
        d = x - linea;
    EXPECT_EQ(d, c.portata) << c.w;
  }
}

TEST(Enhance, FlatOnlyClampsNearWhiteStopsAtOneDetailSaturates) {
  const Immagine piatta = esegui(fx_enhance, aiuto::piatta(30, 20, 1.5f, 0.5f, -0.2f), 30, 20);
  for (size_t i = 0; i < piatta.size(); i += 3)
    ASSERT_TRUE(piatta[i] == 1.0f && std::fabs(piatta[i + 1] - 0.5f) < 1e-6f && piatta[i + 2] == 0.0f) << i / 3;
  // A bright pixel on grey: the new luminance is held at 1, so all channels
  // scale by 1/L; red and green clip while blue doesn't.
  Immagine img = aiuto::piatta(9, 9, 0.5f, 0.5f, 0.5f);
  const size_t c = 3 * (4 * 9 + 4);
  img[c] = 1.0f;
  img[c + 1] = 0.98f;
  img[c + 2] = 0.6f;
  img = esegui(fx_enhance, img, 9, 9);
  EXPECT_EQ(img[c], 1.0f);
  EXPECT_EQ(img[c + 1], 1.0f);
  EXPECT_NEAR(img[c + 2], 0.6 / (0.2126 + 0.7152 * 0.98 + 0.0722 * 0.6), 2e-6);
  // Under a hot surround the detail saturates at -1/3: luma 0.5 loses 2 * 0.6 / 3.
  Immagine scuro = aiuto::piatta(9, 9, 1.7f, 1.7f, 1.7f);
  std::fill_n(&scuro[c], 3, 0.5f);
  EXPECT_NEAR(esegui(fx_enhance, scuro, 9, 9)[c], 0.1, 1e-6);
}

TEST(HalationBloom, MaskValuesOnFlatFrames) {
  // Halation at luma 0.81: t = 0.5, mask 0.5^1.6, weighted 1, 0.36, 0.12.
  const Immagine img = esegui(fx_halation, aiuto::piatta(12, 10, 0.81f, 0.81f, 0.81f), 12, 10);
  const double peso[3] = {1.0, 0.36, 0.12};
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(img[c], 1 - (1 - peso[c] * std::pow(0.5, 1.6) * 0.6) * 0.19, 2e-6);
  // Bloom at luma 0.86: t = 0.5, mask 0.86 * 0.25 = 0.215, the same on every channel.
  const Immagine bloom = esegui(fx_bloom, aiuto::piatta(12, 10, 0.86f, 0.86f, 0.86f), 12, 10);
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(bloom[c], 1 - (1 - 0.86) * (1 - 0.215 * 0.6), 2e-6);
}

// Enhance and skin diffusion at the middling differences most footage has,
// worked out in double from the limiter's rational curve, with the blurred
// luminance taken from the blur itself (tested on its own).
TEST(Dettaglio, EnhanceAndSkinDiffusionAtMiddlingDifferences) {
  const int w = 60, h = 40;
  const Quadro q = calcola_quadro(w, h);
  const Immagine prima = aiuto::casuali(static_cast<size_t>(w * h * 3), 21, 0.15f, 0.85f);
  const Piano luma = aiuto::luma_di(prima, q);
  auto limitatore = [](double diff) {
    const double d = diff * 3.0;
    if (d > 3.0) return 1.0 / 3.0;
    if (d < -3.0) return -1.0 / 3.0;
    return ((d * d + 27.0) * d / (d * d * 9.0 + 27.0)) / 3.0;
  };
  const struct {
    const char* nome;
    bool enhance;
    float quanto;
  } casi[] = {{"enhance", true, 0.35f}, {"pelle", false, 0.4f}};
  for (const auto& c : casi) {
    SCOPED_TRACE(c.nome);
    Piano b = luma;
    box_blur(b, w, h, 1, 3);  // radius 1 at this size for both
    Immagine img = prima;
    if (c.enhance)
      fx_enhance(img, luma, q, c.quanto);
    else
      fx_pelle(img, luma, q, c.quanto);
    int medi = 0;
    for (size_t i = 0; i < luma.size(); ++i) {
      const double L = luma[i], t = limitatore(L - b[i]);
      if (std::fabs(L - b[i]) > 0.05) ++medi;
      double n = c.enhance ? L + 2.0 * t * c.quanto : L - t * c.quanto * 1.6;
      n = n > 1e-6 ? std::min(n, 1.0) : 1e-6;
      const double r = n / std::max(1e-6, L);
      for (int k = 0; k < 3; ++k) {
        const double atteso = std::clamp(prima[i * 3 + k] * r, 0.0, 1.0);
        ASSERT_NEAR(img[i * 3 + k], atteso, 2e-6) << "pixel " << i << " channel " << k;
      }
    }
    EXPECT_GT(medi, static_cast<int>(luma.size() / 4));  // the limiter's middle, not its ends
  }
}

// The stage keeps 1 - mask * amount; its mask is worked out here in double.
TEST(Vignetta, MaskValuesTransposeAndEachPixel) {
  const auto m = vignetta_mask(1920, 1080);
  ASSERT_EQ(m->size(), 1920u * 1080u);
  auto at = [&](int x, int y) { return (*m)[static_cast<size_t>(y * 1920 + x)]; };
  EXPECT_EQ(at(0, 0), 1.0f);
  EXPECT_EQ(at(960, 0), 0.0f);
  EXPECT_EQ(at(0, 540), 0.0f);
  // d along the way to the corner, ((d - 0.78) / 0.22)^2.2; the centre is the half
  // size, so the far corner (d = 0.99855) stays just below 1.
  EXPECT_NEAR(at(100, 100), 0.0972767, 1e-5);  // d = 0.85628
  EXPECT_NEAR(at(1919, 1079), 0.9855903, 1e-5);
  const auto alto = vignetta_mask(1080, 1920);
  for (size_t y = 0; y < 1080; ++y)
    for (size_t x = 0; x < 1920; ++x) ASSERT_EQ((*m)[y * 1920 + x], (*alto)[x * 1080 + y]) << x << "," << y;

  const int w = 50, h = 30;
  Immagine img = aiuto::piatta(w, h, 0.8f, 0.5f, 0.25f);
  fx_vignetta(img, calcola_quadro(w, h), 0.35f);
  auto maschera = [&](int x, int y) {
    const double d = std::sqrt(std::pow((x - w * 0.5) / (w * 0.5), 2) + std::pow((y - h * 0.5) / (h * 0.5), 2)) /
                     std::sqrt(2.0);
    const double t = std::clamp((d - 0.78) / 0.22, 0.0, 1.0);
    return std::pow(t, 2.2);
  };
  for (auto [x, y] : {std::pair{0, 0}, std::pair{2, 1}, std::pair{4, 3}, std::pair{47, 28}, std::pair{25, 0}}) {
    const double k = 1.0 - maschera(x, y) * 0.35;
    const float* p = &img[static_cast<size_t>(3 * (y * w + x))];
    EXPECT_NEAR(p[0], 0.8 * k, 2e-6) << x << "," << y;
    EXPECT_NEAR(p[2], 0.25 * k, 1e-6) << x << "," << y;
  }
  EXPECT_EQ(img[0], 0.8f * (1.0f - 0.35f));
}

// Instances rendering different sizes at once share one guarded mask cache:
// each must see a whole mask of its own size, never one being rebuilt.
TEST(Vignetta, InstancesOfDifferentSizesRenderAtOnce) {
  struct Istanza { int w, h; Immagine attesa; };
  std::vector<Istanza> istanze = {{64, 48, {}}, {48, 64, {}}, {50, 50, {}}};
  for (auto& i : istanze) {
    i.attesa = aiuto::casuali(static_cast<size_t>(i.w * i.h * 3), 8);
    fx_vignetta(i.attesa, calcola_quadro(i.w, i.h), 0.5f);
  }
  std::atomic<int> errori{0};
  std::vector<std::thread> thread;
  for (const auto& i : istanze)
    thread.emplace_back([&i, &errori] {
      for (int k = 0; k < 40; ++k) {
        Immagine img = aiuto::casuali(static_cast<size_t>(i.w * i.h * 3), 8);
        fx_vignetta(img, calcola_quadro(i.w, i.h), 0.5f);
        if (img != i.attesa) ++errori;
      }
    });
  for (auto& t : thread) t.join();
  EXPECT_EQ(errori.load(), 0);
}
