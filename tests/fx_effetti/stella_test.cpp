#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "fx/campiona.h"
#include "fx_effetti/comune.h"

namespace varno {
namespace {

using prova::Fotogramma;

// One white pixel in luma over a black picture: the mask comes from luma, and
// on black the output of a pixel is its h, up to the rounding of 1 - (1 - h).
Fotogramma punto(int32_t w, int32_t h, int32_t x, int32_t y) {
  Fotogramma f(w, h, 0.0f, 0.0f, 0.0f);
  f.imposta(x, y, 1.0f, 1.0f, 1.0f);
  f.aggiorna();
  f.imposta(x, y, 0.0f, 0.0f, 0.0f);
  return f;
}

struct Raggi {
  bool orizzontale, verticale, diagonale, sessanta;
};

Raggi raggi(int32_t punte) {
  Fotogramma f = punto(201, 201, 100, 100);
  fx_stella(f.img, f.luma, f.q, 1.0f, punte);
  // 60 degrees at k = 10 is (lroundf(5.0), lroundf(8.66)) = (5, 9).
  return {f.px(110, 100)[1] > 0.0f, f.px(100, 110)[1] > 0.0f, f.px(110, 110)[1] > 0.0f,
          f.px(105, 109)[1] > 0.0f};
}

TEST(Stella, DirectionsFollowThePointCount) {
  const Raggi quattro = raggi(4);
  EXPECT_FALSE(quattro.orizzontale);
  EXPECT_FALSE(quattro.verticale);
  EXPECT_TRUE(quattro.diagonale);

  for (int32_t punte : {6, 7}) {
    const Raggi sei = raggi(punte);
    EXPECT_TRUE(sei.orizzontale) << punte;
    EXPECT_FALSE(sei.verticale) << punte;
    EXPECT_FALSE(sei.diagonale) << punte;
    EXPECT_TRUE(sei.sessanta) << punte;
  }
  for (int32_t punte : {8, 1000}) {
    const Raggi otto = raggi(punte);
    EXPECT_TRUE(otto.orizzontale) << punte;
    EXPECT_TRUE(otto.verticale) << punte;
    EXPECT_TRUE(otto.diagonale) << punte;
    EXPECT_FALSE(otto.sessanta) << punte;
  }
  // Any other count below 6 is an upright cross.
  for (int32_t punte : {5, 0, -3}) {
    const Raggi croce = raggi(punte);
    EXPECT_TRUE(croce.orizzontale) << punte;
    EXPECT_TRUE(croce.verticale) << punte;
    EXPECT_FALSE(croce.diagonale) << punte;
  }
}

// 1000 wide at riduzione 1: rays reach 90 pixels and the taps weigh 91 in all.
TEST(Stella, RayStrengthAndReachOnA1000By500Frame) {
  Fotogramma quattro = punto(1000, 500, 500, 250);
  fx_stella(quattro.img, quattro.luma, quattro.q, 1.0f, 4);
  // Two lines cross the source, each adding 2.4 / 91.
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(quattro.px(500, 250)[c], 4.8 / 91, 1e-6);

  Fotogramma sei = punto(1000, 500, 500, 250);
  fx_stella(sei.img, sei.luma, sei.q, 0.5f, 6);
  EXPECT_NEAR(sei.px(500, 250)[0], 3 * 0.5 * 2.4 / 91, 1e-6);
  // Along the horizontal ray the weight fades as 1 - |k| / 91.
  EXPECT_NEAR(sei.px(530, 250)[0], 0.5 * 2.4 * (1 - 30.0 / 91) / 91, 1e-7);
  EXPECT_NEAR(sei.px(410, 250)[0], 0.5 * 2.4 * (1 - 90.0 / 91) / 91, 1e-7);
  EXPECT_GT(sei.px(590, 250)[0], 0.0f);
  EXPECT_EQ(sei.px(591, 250)[0], 0.0f);
  EXPECT_EQ(sei.px(409, 250)[0], 0.0f);
}

TEST(Stella, ReachFollowsTheWidthAlone) {
  // 30 wide: round(2.7) = 3. 20 wide: 1.8 is raised to 3.
  for (int32_t w : {30, 20}) {
    Fotogramma f = punto(w, 20, 10, 10);
    fx_stella(f.img, f.luma, f.q, 0.1f, 6);
    EXPECT_GT(f.px(13, 10)[0], 0.0f) << w;
    EXPECT_EQ(f.px(14, 10)[0], 0.0f) << w;
    // Taps weigh 4 in all; the neighbour has weight 0.75 on the horizontal line only.
    EXPECT_NEAR(f.px(10, 10)[0], 3 * 0.1 * 2.4 / 4, 1e-6) << w;
    EXPECT_NEAR(f.px(11, 10)[0], 0.1 * 2.4 * 0.75 / 4, 1e-6) << w;
  }

  // 1080 by 1920: riduzione 2 and a reach of round(48.6) = 49 reduced samples.
  Fotogramma alto(1080, 1920, 0.0f, 0.0f, 0.0f);
  for (int y = 960; y < 962; ++y)
    for (int x = 540; x < 542; ++x) alto.luma[size_t(y) * 1080 + size_t(x)] = 1.0f;
  fx_stella(alto.img, alto.luma, alto.q, 1.0f, 6);
  EXPECT_GT(alto.px(540 + 2 * 49, 960)[0], 0.0f);
  EXPECT_GT(alto.px(540 + 2 * 49 + 1, 960)[0], 0.0f);
  EXPECT_EQ(alto.px(540 + 2 * 50, 960)[0], 0.0f);
}

TEST(Stella, NarrowerThanTheReductionCountsOnlyRealColumns) {
  // 1 by 2000 has riduzione 2 and a reduced width of 1: the block over rows
  // 1000-1001 holds two samples, not four. Every line passes its source.
  Fotogramma f(1, 2000, 0.0f, 0.0f, 0.0f);
  f.luma[1000] = 1.0f;
  f.luma[1001] = 1.0f;
  fx_stella(f.img, f.luma, f.q, 0.1f, 8);
  EXPECT_NEAR(f.px(0, 1000)[0], 0.24, 1e-6);
}

TEST(Stella, NoHighlightNoRayAndNoClamp) {
  Fotogramma f = prova::casuale(64, 40, 3, 0.0f, 0.8f);
  f.imposta(5, 5, 3.0f, 0.1f, 0.1f);  // luminance about 0.65, above 1 in red
  f.aggiorna();
  const Immagine prima = f.img;
  fx_stella(f.img, f.luma, f.q, 1.0f, 8);
  for (size_t i = 0; i < f.img.size(); ++i) EXPECT_NEAR(f.img[i], prima[i], 6e-8) << i;
  EXPECT_EQ(f.px(5, 5)[0], 3.0f);

  // Next to a star a channel above 1 is pulled towards 1, not clamped.
  Fotogramma g = punto(201, 201, 100, 100);
  g.imposta(110, 100, 2.0f, 2.0f, 2.0f);
  fx_stella(g.img, g.luma, g.q, 1.0f, 6);
  EXPECT_GT(g.px(110, 100)[0], 1.0f);
  EXPECT_LT(g.px(110, 100)[0], 2.0f);
}

// The streaks summed the plain way, pixel by pixel and tap by tap, with a
// bounds test on every tap: the stage's row-wide sums must give the same bits.
// Skipped taps stay in the total, so rays fade towards the edges.
Immagine stella_diretta(const Fotogramma& f, float stella, int32_t punte) {
  const int32_t w = f.q.larghezza, h = f.q.altezza, rid = f.q.riduzione;
  Piano maschera(f.luma.size());
  for (size_t i = 0; i < maschera.size(); ++i) {
    const float l = f.luma[i], t = (l - 0.85f) / 0.15f;
    maschera[i] = t > 0.0f ? (t >= 1.0f ? l : t * t * l) : 0.0f;
  }
  const int32_t w2 = std::max(1, w / rid), h2 = std::max(1, h / rid);
  Piano ridotta(size_t(w2) * size_t(h2));
  riduci_blocchi(maschera, w, h, rid, ridotta, w2, h2);
  const int32_t direzioni = punte >= 8 ? 4 : (punte >= 6 ? 3 : 2);
  const float angolo0 = punte == 4 ? 0.7853982f : 0.0f;
  const long ml = std::max(3L, std::lround(w * 0.09 / rid));
  float totale = 0.0f;
  for (long k = -ml; k <= ml; ++k) totale += 1.0f - float(std::labs(k)) / float(ml + 1);
  Piano accumulo(ridotta.size(), 0.0f);
  for (int32_t d = 0; d < direzioni; ++d) {
    const float theta = float(d) * 3.1415927f / float(direzioni) + angolo0;
    for (int32_t y = 0; y < h2; ++y)
      for (int32_t x = 0; x < w2; ++x) {
        float somma = 0.0f;
        for (long k = -ml; k <= ml; ++k) {
          const long tx = x + std::lround(float(k) * std::cos(theta));
          const long ty = y + std::lround(float(k) * std::sin(theta));
          if (tx < 0 || ty < 0 || tx >= w2 || ty >= h2) continue;
          somma += (1.0f - float(std::labs(k)) / float(ml + 1)) * ridotta[size_t(ty) * size_t(w2) + size_t(tx)];
        }
        accumulo[size_t(y) * size_t(w2) + size_t(x)] += somma / totale;
      }
  }
  Immagine out = f.img;
  for (int64_t y = 0; y < h; ++y)
    for (int64_t x = 0; x < w; ++x) {
      const float hv = std::min(campiona_ridotta(accumulo, w2, h2, x, y, rid) * stella * 2.4f, 1.0f);
      for (int c = 0; c < 3; ++c) {
        float& v = out[size_t((y * w + x) * 3 + c)];
        v = 1.0f - (1.0f - v) * (1.0f - hv);
      }
    }
  return out;
}

TEST(Stella, RowWideSumsMatchThePlainSumBitForBit) {
  for (auto [w, h] : {std::pair{97, 61}, {1930, 37}, {45, 1999}}) {
    for (int32_t punte : {4, 6, 8}) {
      Fotogramma f = prova::casuale(w, h, uint32_t(w * h + punte), 0.0f, 1.3f);
      const Immagine atteso = stella_diretta(f, 0.7f, punte);
      fx_stella(f.img, f.luma, f.q, 0.7f, punte);
      EXPECT_TRUE(prova::stessi_bit(f.img, atteso)) << w << "x" << h << " punte " << punte;
    }
  }
}

}  // namespace
}  // namespace varno
