#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "fx/blur.h"
#include "fx/campiona.h"
#include "render/parallelo.h"
#include "riferimento.h"

using varno::Piano;

namespace {

Piano casuale(int w, int h, uint32_t seme) {
  std::mt19937 gen(seme);
  std::uniform_real_distribution<float> d(0.0f, 1.0f);
  Piano p(static_cast<size_t>(w) * static_cast<size_t>(h));
  for (auto& v : p) v = d(gen);
  return p;
}

rif::Piano in_double(const Piano& p) { return rif::Piano(p.begin(), p.end()); }

void vicino(const Piano& got, const rif::Piano& atteso, double tol) {
  ASSERT_EQ(got.size(), atteso.size());
  for (size_t i = 0; i < got.size(); ++i) ASSERT_NEAR(got[i], atteso[i], tol) << "sample " << i;
}

// Restores the platform's thread count whatever a test does.
struct Thread {
  explicit Thread(unsigned n) { varno::imposta_thread_hardware(n); }
  ~Thread() { varno::imposta_thread_hardware(0); }
};

}  // namespace

TEST(BoxBlur, RadiusBelowOneLeavesThePlaneBitForBit) {
  for (int r : {0, -1, -1000}) {
    Piano p = casuale(17, 9, 1);
    const Piano prima = p;
    varno::box_blur(p, 17, 9, r, 3);
    varno::blur_su_ridotta(p, 17, 9, r, 1);
    EXPECT_EQ(p, prima) << "radius " << r;
  }
}

// The stated arithmetic, sample by sample in single precision: the sum is
// carried along the line, the window divides every sample. The passes must
// match it bit for bit, whichever way rows and columns are shared out.
void box_letterale(Piano& p, int w, int h, int r, int passate) {
  auto linea = [r](const Piano& src, Piano& dst, int n, auto indice) {
    auto at = [&](int i) { return src[indice(i < 0 ? 0 : (i > n - 1 ? n - 1 : i))]; };
    float somma = 0.0f;
    for (int k = -r; k <= r; ++k) somma += at(k);
    for (int x = 0; x < n; ++x) {
      dst[indice(x)] = somma / static_cast<float>(2 * r + 1);
      somma = somma + (at(x + r + 1) - at(x - r));
    }
  };
  Piano s(p.size());
  for (int i = 0; i < passate; ++i) {
    for (int y = 0; y < h; ++y) linea(p, s, w, [&](int x) { return static_cast<size_t>(y * w + x); });
    for (int x = 0; x < w; ++x) linea(s, p, h, [&](int y) { return static_cast<size_t>(y * w + x); });
  }
}

TEST(BoxBlur, SameBitsAsTheStatedArithmetic) {
  // Widths around the column grouping: single, partial and many groups.
  for (int w : {1, 15, 16, 17, 100, 1030, 2000}) {
    const int h = 19;
    Piano a = casuale(w, h, static_cast<uint32_t>(w));
    Piano b = a;
    varno::box_blur(a, w, h, 6, 3);
    box_letterale(b, w, h, 6, 3);
    EXPECT_EQ(a, b) << "width " << w;
  }
}

TEST(BoxBlur, LineShorterThanWindowCountsTheEndSamplesOver) {
  // n = 3, radius 5: the window of 11 holds 6, 5, 4 copies of the first sample
  // and 4, 5, 6 of the last, with the middle one once.
  Piano riga = {1.0f, 2.0f, 4.0f};
  varno::box_blur(riga, 3, 1, 5, 1);
  Piano colonna = {1.0f, 2.0f, 4.0f};
  varno::box_blur(colonna, 1, 3, 5, 1);
  const double atteso[3] = {24.0 / 11, 27.0 / 11, 30.0 / 11};
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(riga[i], atteso[i], 1e-6);
    EXPECT_NEAR(colonna[i], atteso[i], 1e-6);
  }
}

TEST(BoxBlur, ConstantPlaneStaysConstant) {
  for (int f : {1, 2, 3, 4}) {
    Piano a(static_cast<size_t>(61 * 37), 0.3f);
    Piano b = a;
    varno::blur_su_ridotta(a, 61, 37, 9, f);
    varno::blur_orizz_su_ridotta(b, 61, 37, 9, f);
    for (size_t i = 0; i < a.size(); ++i) {
      ASSERT_NEAR(a[i], 0.3f, 1e-6) << "factor " << f;
      ASSERT_NEAR(b[i], 0.3f, 1e-6) << "factor " << f;
    }
  }
}

TEST(BlurSuRidotta, FactorOneIsTheFullSizeBoxBlur) {
  Piano a = casuale(45, 27, 3);
  Piano b = a;
  varno::blur_su_ridotta(a, 45, 27, 6, 1);
  varno::box_blur(b, 45, 27, 6, 3);
  EXPECT_EQ(a, b);
}

TEST(BlurSuRidotta, ThreeByThreeAtFactorFourIsTheMeanOfNine) {
  Piano p = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  varno::blur_su_ridotta(p, 3, 3, 3, 4);
  for (float v : p) EXPECT_EQ(v, 5.0f);
  Piano q = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  varno::blur_orizz_su_ridotta(q, 3, 3, 3, 4);
  for (float v : q) EXPECT_EQ(v, 5.0f);
}

TEST(BlurSuRidotta, MatchesReduceBlurEnlarge) {
  // The reference puts copy sample k at full-size k * factor, uncentred.
  // Sizes that are not multiples of the factor exercise the unread tail and
  // the held edge; radius 3 at factor 4 must still blur the copy (radius 1).
  struct Caso { int w, h, r, f; };
  for (const Caso c : {Caso{64, 48, 12, 4}, Caso{19, 13, 3, 4}, Caso{50, 29, 7, 3}, Caso{33, 40, 5, 2}}) {
    Piano p = casuale(c.w, c.h, 11);
    const rif::Piano atteso = rif::su_ridotta(in_double(p), c.w, c.h, c.r, c.f);
    varno::blur_su_ridotta(p, c.w, c.h, c.r, c.f);
    SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << " r" << c.r << " f" << c.f);
    vicino(p, atteso, 2e-6);
  }
}

TEST(BlurSuRidotta, EnlargesWithTheSharedSamplerBitForBit) {
  // From the same blurred copy, every pixel must be exactly what the shared
  // sampler gives, as the other effects' enlargements are.
  struct Caso { int w, h, f; };
  for (const Caso c : {Caso{23, 18, 2}, Caso{50, 29, 3}, Caso{37, 41, 4}, Caso{4000, 5, 4}}) {
    Piano p = casuale(c.w, c.h, 13);
    const Piano sorgente = p;
    varno::blur_su_ridotta(p, c.w, c.h, 5, c.f);
    const int w2 = std::max(1, c.w / c.f), h2 = std::max(1, c.h / c.f);
    Piano copia(static_cast<size_t>(w2 * h2));
    varno::riduci_blocchi(sorgente, c.w, c.h, c.f, copia, w2, h2);
    varno::box_blur(copia, w2, h2, std::max(1, 5 / c.f), 3);
    for (int y = 0; y < c.h; ++y)
      for (int x = 0; x < c.w; ++x)
        ASSERT_EQ(p[static_cast<size_t>(y * c.w + x)], varno::campiona_ridotta(copia, w2, h2, x, y, c.f))
            << x << "," << y << " factor " << c.f;
  }
}

TEST(BlurOrizzSuRidotta, FactorOneSpreadsAPixelAlongItsRowOnly) {
  const int w = 41, h = 9;
  Piano p(static_cast<size_t>(w * h), 0.0f);
  p[4 * w + 20] = 1.0f;
  const rif::Piano atteso = rif::orizz_su_ridotta(in_double(p), w, h, 4, 1);
  varno::blur_orizz_su_ridotta(p, w, h, 4, 1);
  vicino(p, atteso, 1e-6);
  double somma = 0.0;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const float v = p[static_cast<size_t>(y * w + x)];
      if (y != 4) {
        ASSERT_EQ(v, 0.0f) << x << "," << y;
      }
      somma += v;
    }
  EXPECT_GT(p[4 * w + 20 + 12], 0.0f);  // three passes of radius 4 reach 12 away
  EXPECT_NEAR(p[4 * w + 20 + 13], 0.0f, 1e-7);  // only running-sum residue
  EXPECT_NEAR(somma, 1.0, 1e-5);
}

TEST(BlurOrizzSuRidotta, MatchesReduceHorizontalBlurEnlarge) {
  struct Caso { int w, h, r, f; };
  for (const Caso c : {Caso{70, 21, 20, 2}, Caso{37, 14, 9, 3}, Caso{64, 16, 30, 4}, Caso{8, 3, 40, 1}}) {
    Piano p = casuale(c.w, c.h, 5);
    const rif::Piano atteso = rif::orizz_su_ridotta(in_double(p), c.w, c.h, c.r, c.f);
    varno::blur_orizz_su_ridotta(p, c.w, c.h, c.r, c.f);
    SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << " r" << c.r << " f" << c.f);
    vicino(p, atteso, 2e-6);
  }
}

TEST(Blur, SameBitsOnOneOrManyThreads) {
  const int w = 67, h = 45;
  const Piano sorgente = casuale(w, h, 9);
  auto esegui = [&](unsigned thread) {
    Thread t(thread);
    std::vector<Piano> r(3, sorgente);
    varno::box_blur(r[0], w, h, 5, 3);
    varno::blur_su_ridotta(r[1], w, h, 9, 2);
    varno::blur_orizz_su_ridotta(r[2], w, h, 9, 2);
    return r;
  };
  // 100 reported threads also splits the columns into groups of one.
  const auto uno = esegui(1);
  EXPECT_EQ(uno, esegui(3));
  EXPECT_EQ(uno, esegui(100));
}

TEST(Blur, EmptyOrNegativeSizesTouchNothing) {
  Piano p;
  varno::box_blur(p, 0, 5, 3, 3);
  varno::blur_su_ridotta(p, -4, 5, 3, 2);
  varno::blur_orizz_su_ridotta(p, 5, 0, 3, 0);
  EXPECT_TRUE(p.empty());
}
