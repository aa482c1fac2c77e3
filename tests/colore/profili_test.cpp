// Decoding through the camera profiles and the choice of a profile row.
#include <gtest/gtest.h>

#include <array>
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

// Each row's matrix, worked out here in double precision from the gamut's
// chromaticities and D65 (or from the maker's published RGB-to-XYZ matrix),
// against one decode of a saturated code value through the row.
using M3 = std::array<std::array<double, 3>, 3>;

M3 per(const M3& a, const M3& b) {
  M3 c{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k) c[i][j] += a[i][k] * b[k][j];
  return c;
}

M3 inversa(const M3& m) {
  const double det = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                     m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                     m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
  M3 r{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      const int a = (j + 1) % 3, b = (j + 2) % 3, c = (i + 1) % 3, d = (i + 2) % 3;
      r[i][j] = (m[a][c] * m[b][d] - m[a][d] * m[b][c]) / det;
    }
  return r;
}

// RGB to XYZ from the three primaries' chromaticities, white D65.
M3 da_primari(const double (&xy)[3][2]) {
  M3 p{};
  for (int k = 0; k < 3; ++k) {
    p[0][k] = xy[k][0] / xy[k][1];
    p[1][k] = 1.0;
    p[2][k] = (1.0 - xy[k][0] - xy[k][1]) / xy[k][1];
  }
  const double w[3] = {0.3127 / 0.3290, 1.0, (1.0 - 0.3127 - 0.3290) / 0.3290};
  const M3 inv = inversa(p);
  for (int k = 0; k < 3; ++k) {
    const double s = inv[k][0] * w[0] + inv[k][1] * w[1] + inv[k][2] * w[2];
    for (int i = 0; i < 3; ++i) p[i][k] *= s;
  }
  return p;
}

TEST(Decodifica, EveryMatrixAgainstOneWorkedOutInDoublePrecision) {
  const double r709[3][2] = {{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}};
  const M3 verso709 = inversa(da_primari(r709));
  auto gamut = [&](const double (&xy)[3][2]) { return per(verso709, da_primari(xy)); };
  const double sg3c[3][2] = {{0.766, 0.275}, {0.225, 0.800}, {0.089, -0.087}};
  const double awg4[3][2] = {{0.7347, 0.2653}, {0.1424, 0.8576}, {0.0991, -0.0308}};
  const double cinema[3][2] = {{0.74, 0.27}, {0.17, 1.14}, {0.08, -0.10}};
  const double bt2020[3][2] = {{0.708, 0.292}, {0.170, 0.797}, {0.131, 0.046}};
  const double dgamut[3][2] = {{0.71, 0.31}, {0.21, 0.88}, {0.09, -0.08}};
  const double sgamut[3][2] = {{0.730, 0.280}, {0.140, 0.855}, {0.100, -0.050}};
  const double venice3[3][2] = {{0.740464, 0.279364}, {0.089241, 0.893810}, {0.110488, -0.052579}};
  const double venicec[3][2] = {{0.775902, 0.274502}, {0.188683, 0.828685}, {0.101337, -0.089188}};
  const double p3[3][2] = {{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}};
  const double fgamutc[3][2] = {{0.7347, 0.2653}, {0.0263, 0.9737}, {0.1173, -0.0224}};
  const double awg[3][2] = {{0.725, 0.301}, {0.221, 0.814}, {0.068, -0.076}};
  // The makers' own RGB-to-XYZ matrices.
  const M3 awg3{{{0.638008, 0.214704, 0.097744}, {0.291954, 0.823841, -0.115795}, {0.002798, -0.067034, 1.153294}}};
  const M3 vgamut{{{0.679644, 0.152211, 0.118600}, {0.260686, 0.774894, -0.035580}, {-0.009310, -0.004612, 1.102980}}};
  const M3 redwg{{{0.735275, 0.068609, 0.146571}, {0.286694, 0.842979, -0.129673}, {-0.079681, -0.347343, 1.516082}}};
  const M3 A = gamut(sg3c), C = gamut(awg4), D = gamut(cinema), F = gamut(bt2020), H = gamut(dgamut),
           I = gamut(sgamut), J = gamut(venice3), K = gamut(venicec), L = gamut(r709), M = gamut(p3),
           N = gamut(fgamutc), O = gamut(awg), B = per(verso709, awg3), E = per(verso709, vgamut),
           G = per(verso709, redwg);
  const M3* matrici[kNumeroProfili] = {&A, &B, &C, &D, &E, &F, &F, &G, &F, &H, &F, &I, &I, &J, &K, &I,
                                       &F, &L, &F, &L, &M, &L, &F, &L, &D, &F, &L, &N, &F, &O, &L, &L};
  // D-Gamut's matrix is kept as it stands, off its primaries by up to 3e-4; the
  // Venice S-Gamut3.Cine one has six decimals.
  const RGB codice{0.58f, 0.31f, 0.44f};
  for (int riga = 1; riga < kNumeroProfili; ++riga) {
    SCOPED_TRACE(PROFILI[riga].nome);
    double lin[3];
    const float c[3] = {codice.r, codice.g, codice.b};
    for (int k = 0; k < 3; ++k) {
      const double p = static_cast<double>(c[k]) * 4095.0;
      const int i = static_cast<int>(p);
      const double f = p - i;
      lin[k] = (1.0 - f) * PROFILI[riga].curva[i] + f * PROFILI[riga].curva[i + 1];
    }
    const RGB v = decodifica(codice, riga);
    const float uscita[3] = {v.r, v.g, v.b};
    const M3& m = *matrici[riga];
    for (int i = 0; i < 3; ++i) {
      const double atteso = m[i][0] * lin[0] + m[i][1] * lin[1] + m[i][2] * lin[2];
      const double scala = std::fabs(m[i][0] * lin[0]) + std::fabs(m[i][1] * lin[1]) + std::fabs(m[i][2] * lin[2]);
      EXPECT_NEAR(uscita[i], atteso, scala * (matrici[riga] == &H ? 4e-4 : 1e-5)) << "channel " << i;
    }
  }
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
