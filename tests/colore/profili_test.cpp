// Decoding through the camera profiles and the choice of a profile row.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "colore/confronto.h"
#include "colore/profili.h"

namespace varno {
namespace {

RGB grigio(float x) { return RGB{x, x, x}; }

TEST(Decodifica, TableRowsHoldTheirEndsAndNeverExtrapolate) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  // Rows with the identity-like matrix L show the samples themselves.
  struct Caso {
    int riga;
    float primo, ultimo;
  } casi[] = {{21, -0.05641088f, 12.000002f}, {30, 0.0f, 1.0f}, {31, 0.0f, 1.0f}};
  for (const Caso& c : casi) {
    SCOPED_TRACE(c.riga);
    for (float alto : {1.0f, 2.0f, std::numeric_limits<float>::infinity()}) {
      const RGB v = decodifica(grigio(alto), c.riga);
      EXPECT_EQ(v.r, c.ultimo);
      EXPECT_EQ(v.g, c.ultimo);
      EXPECT_EQ(v.b, c.ultimo);
    }
    for (float basso : {0.0f, -0.0f, -0.1f, -1e30f, nan}) {
      const RGB v = decodifica(grigio(basso), c.riga);
      EXPECT_EQ(v.r, c.primo);
      EXPECT_EQ(v.g, c.primo);
      EXPECT_EQ(v.b, c.primo);
    }
  }
  // Every log curve starts below zero.
  for (int riga = 1; riga < 30; ++riga) EXPECT_LT(PROFILI[riga].curva[0], 0.0f) << riga;
}

TEST(Decodifica, TableRowsInterpolateBetweenSamples) {
  const float* c = PROFILI[30].curva;
  // Halfway between samples 2047 and 2048, and just below the top, which uses the last pair.
  const float x = 2047.5f / 4095.0f;
  const float p = x * 4095.0f;
  const float f = p - 2047.0f;
  EXPECT_EQ(decodifica(grigio(x), 30).g, (1.0f - f) * c[2047] + f * c[2048]);
  const float sotto = std::nextafter(1.0f, 0.0f);
  const float q = sotto * 4095.0f - 4094.0f;
  EXPECT_EQ(decodifica(grigio(sotto), 30).g, (1.0f - q) * c[4094] + q * c[4095]);
}

TEST(Decodifica, RowZeroFollowsTheFormulaBeyondTheRange) {
  // Bit-exact: the constants of this path are single-precision values with a history
  // (0.19000001 is 0.18f + 0.01f), and a nearby float would pass any tolerance.
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
  EXPECT_EQ(0.18f + 0.01f, 0.19000001f);
  EXPECT_NE(0.19000001f, 0.19f);
  // 2.0 elsewhere is just the last sample.
  EXPECT_EQ(decodifica(grigio(2.0f), 17).r, PROFILI[17].curva[4095]);
  // Not a number takes the linear branch and survives the matrix.
  EXPECT_TRUE(std::isnan(decodifica(grigio(std::numeric_limits<float>::quiet_NaN()), 0).g));
}

TEST(Decodifica, NeutralStaysNeutralOnTableRowsOnly) {
  const RGB zero = decodifica(grigio(0.41f), 0);
  EXPECT_GT(zero.b, zero.g);
  EXPECT_GT(zero.g, zero.r);
  EXPECT_NEAR(zero.r / zero.g, 0.99984f / 1.00002f, 2e-5f);
  EXPECT_NEAR(zero.b / zero.g, 1.00024f / 1.00002f, 2e-5f);
  // Same curve, matrix I: equal within float rounding.
  const RGB undici = decodifica(grigio(0.41f), 11);
  EXPECT_NEAR(undici.r, undici.g, 4e-7f);
  EXPECT_NEAR(undici.b, undici.g, 4e-7f);
  EXPECT_NEAR(undici.g, 0.179f, 0.001f);
}

TEST(Profili, MatrixRowsSumToOneButForTheKeptExceptions) {
  for (int riga = 0; riga < kNumeroProfili; ++riga) {
    const float* m = PROFILI[riga].matrice;
    for (int i = 0; i < 3; ++i) {
      const double s = static_cast<double>(m[3 * i]) + m[3 * i + 1] + m[3 * i + 2];
      if (riga == 9) {  // D-Gamut, taken as published
        const double attesa[3] = {0.99995, 1.00004, 0.99972};
        EXPECT_NEAR(s, attesa[i], 6e-6) << riga << " row " << i;
      } else {
        const double tolleranza = (riga == 4 || riga == 7) ? 3.2e-6 : 4e-7;
        EXPECT_NEAR(s, 1.0, tolleranza) << riga << " row " << i;
      }
    }
  }
}

TEST(Profili, RowsShareTheCurvesTheirLabelsName) {
  EXPECT_EQ(PROFILI[29].curva[4095], PROFILI[10].curva[4095]);  // Apple Log 2 uses Apple Log
  EXPECT_EQ(PROFILI[27].curva[2047], PROFILI[6].curva[2047]);   // F-Log2 C uses F-Log2
  for (int riga : {0, 11, 13, 14, 15, 16, 17})
    EXPECT_EQ(PROFILI[riga].curva[4095], 38.420933f) << riga;
}

TEST(RisolviProfilo, ChoosersPickTheirRowsAndHoldAtTheEnds) {
  // formato, chooser value, expected row; the chooser goes to the one the format names.
  struct Caso {
    int32_t formato, scelta, riga;
  } casi[] = {
      {0, 0, 0},   {0, 1, 11},  {0, 2, 15},  {0, 3, 16},  {0, 4, 17},  {0, 5, 13},
      {0, 6, 14},  {0, 9, 14},  {0, -3, 0},  {1, 0, 12},  {1, 1, 18},  {1, 2, 19},
      {1, 7, 19},  {4, 0, 3},   {4, 1, 22},  {4, 2, 23},  {12, 0, 24}, {12, 1, 25},
      {12, 2, 26}, {12, INT32_MAX, 26}, {11, 0, 10}, {11, 1, 20}, {11, 2, 21},
      {11, INT32_MIN, 10},
  };
  for (const Caso& c : casi) {
    const int32_t v = c.scelta;
    int32_t s3 = 0, s2 = 0, canon = 0, apple = 0;
    if (c.formato == 0) s3 = v;
    if (c.formato == 1) s2 = v;
    if (c.formato == 4 || c.formato == 12) canon = v;
    if (c.formato == 11) apple = v;
    EXPECT_EQ(risolvi_profilo(c.formato, s3, s2, canon, apple), c.riga)
        << "formato " << c.formato << " choice " << v;
  }
  // Another format's chooser is never read.
  EXPECT_EQ(risolvi_profilo(0, 0, 2, 2, 2), 0);
  EXPECT_EQ(risolvi_profilo(4, 6, 2, 0, 2), 3);
}

TEST(RisolviProfilo, FixedAndUnlistedFormats) {
  const int32_t fisse[][2] = {{2, 1},  {3, 2},  {5, 4},   {6, 5},   {7, 6},   {8, 7},  {9, 8},
                              {10, 9}, {13, 27}, {14, 28}, {15, 29}, {16, 30}, {17, 31}};
  for (const auto& f : fisse) EXPECT_EQ(risolvi_profilo(f[0], 5, 5, 5, 5), f[1]) << f[0];
  EXPECT_EQ(risolvi_profilo(18, 0, 0, 0, 0), 17);
  EXPECT_EQ(risolvi_profilo(-1, 0, 0, 0, 0), -2);
  EXPECT_EQ(risolvi_profilo(INT32_MAX, 0, 0, 0, 0), INT32_MAX - 1);
  EXPECT_EQ(risolvi_profilo(INT32_MIN, 0, 0, 0, 0), INT32_MIN);
}

}  // namespace
}  // namespace varno
