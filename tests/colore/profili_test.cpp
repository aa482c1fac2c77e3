// Decoding through the camera profiles and the choice of a profile row.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "colore/profili.h"

namespace varno {
namespace {

RGB grigio(float x) { return RGB{x, x, x}; }

TEST(Decodifica, TableRowsHoldTheirEndsAndNeverExtrapolate) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  // Rows with the identity-like matrix L show the samples themselves.
  const struct {
    int riga;
    float primo, ultimo;
  } casi[] = {{21, -0.05641088f, 12.000002f}, {30, 0.0f, 1.0f}, {31, 0.0f, 1.0f}};
  for (const auto& c : casi) {
    SCOPED_TRACE(c.riga);
    for (float alto : {1.0f, 2.0f, inf}) EXPECT_EQ(decodifica(grigio(alto), c.riga).g, c.ultimo);
    for (float basso : {0.0f, -0.1f, -inf, nan})
      EXPECT_EQ(decodifica(grigio(basso), c.riga).g, c.primo);
  }
  // Just below 1 still interpolates, in the last pair of samples.
  const float* s = PROFILI[30].curva;
  const float sotto = std::nextafter(1.0f, 0.0f);
  const float f = sotto * 4095.0f - 4094.0f;
  EXPECT_EQ(decodifica(grigio(sotto), 30).r, (1.0f - f) * s[4094] + f * s[4095]);
}

TEST(Decodifica, RowZeroFollowsTheFormulaBeyondTheRange) {
  // Bit-exact: 0.19f in place of 0.19000001f (0.18f + 0.01f) would pass any tolerance.
  const float m[9] = {1.6266885f,   -0.54005265f, -0.08679532f, -0.17851967f, 1.4179736f,
                      -0.23943081f, -0.04444674f, -0.19596688f, 1.2406536f};
  // volatile keeps the compiler from folding powf with other rounding than the library's.
  volatile float codici[] = {-0.1f, 0.0f, 0.16736099f, 0.41f, 2.0f};
  for (int k = 0; k < 5; ++k) {
    const float x = codici[k];
    SCOPED_TRACE(x);
    const float y = x * 1023.0f;
    const float l = k < 2 ? ((y - 95.0f) * 0.01125f) / 76.2103f
                          : powf(10.0f, (y - 420.0f) / 261.5f) * 0.19000001f - 0.01f;
    const RGB v = decodifica(grigio(x), 0);
    EXPECT_EQ(v.r, (m[0] * l + m[1] * l) + m[2] * l);
    EXPECT_EQ(v.g, (m[3] * l + m[4] * l) + m[5] * l);
    EXPECT_EQ(v.b, (m[6] * l + m[7] * l) + m[8] * l);
  }
  // Row 11 takes the same curve through the table and keeps a grey neutral; row 0's own
  // matrix tints it by its row sums.
  const RGB zero = decodifica(grigio(0.41f), 0);
  const RGB undici = decodifica(grigio(0.41f), 11);
  EXPECT_NEAR(undici.r, undici.g, 4e-7f);
  EXPECT_NEAR(undici.b, undici.g, 4e-7f);
  EXPECT_NEAR(zero.g, undici.g, 2e-5f);
  EXPECT_NEAR(zero.r / zero.g, 0.99984f / 1.00002f, 1e-5f);
  EXPECT_NEAR(zero.b / zero.g, 1.00024f / 1.00002f, 1e-5f);
}

TEST(RisolviProfilo, ChoosersFixedFormatsAndUnlistedOnes) {
  // formato, the value of the chooser that it names, expected row.
  const int32_t casi[][3] = {
      {0, 0, 0},   {0, 4, 17},  {0, 5, 13},  {0, 6, 14},  {0, 9, 14},  {0, -3, 0},  {1, 1, 18},
      {1, 7, 19},  {4, 1, 22},  {4, 2, 23},  {12, 1, 25}, {12, 2, 26}, {11, 1, 20}, {2, 5, 1},
      {11, INT32_MIN, 10},      {12, INT32_MAX, 26},      {3, 5, 2},   {10, 5, 9},  {13, 5, 27},
      {14, 5, 28}, {15, 5, 29}, {16, 5, 30}, {17, 5, 31},
  };
  for (const auto& c : casi) {
    const int32_t f = c[0], v = c[1];
    EXPECT_EQ(risolvi_profilo(f, f == 0 ? v : 0, f == 1 ? v : 0, f == 4 || f == 12 ? v : 0,
                              f == 11 ? v : 0),
              c[2])
        << "formato " << f << " choice " << v;
  }
  // Another format's chooser is never read.
  EXPECT_EQ(risolvi_profilo(0, 0, 2, 2, 2), 0);
  EXPECT_EQ(risolvi_profilo(4, 6, 2, 0, 2), 3);
  EXPECT_EQ(risolvi_profilo(18, 0, 0, 0, 0), 17);
  EXPECT_EQ(risolvi_profilo(-1, 0, 0, 0, 0), -2);
  EXPECT_EQ(risolvi_profilo(INT32_MIN, 0, 0, 0, 0), INT32_MIN);
}

}  // namespace
}  // namespace varno
