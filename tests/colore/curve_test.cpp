// The generated camera curves against their published reference samples and shape.
#include <gtest/gtest.h>

#include <cmath>

#include "colore/curve.h"

namespace varno {
namespace {

struct Riferimento {
  IdCurva id;
  float s0, s1, s2047, s4094, s4095;
};

const Riferimento kRiferimenti[] = {
    {IdCurva::SLog3, -0.014023696f, -0.0139868185f, 0.41479594f, 38.33649f, 38.420933f},
    {IdCurva::LogC3, -0.017290419f, -0.017244924f, 0.51278913f, 54.954407f, 55.07958f},
    {IdCurva::LogC4, -0.018056996f, -0.018029219f, 2.2020476f, 468.57425f, 469.8f},
    {IdCurva::CanonLog3, -0.07381334f, -0.073608525f, 0.58028704f, 14.645769f, 14.668302f},
    {IdCurva::VLog, -0.02232143f, -0.02227782f, 0.38289276f, 45.978336f, 46.08553f},
    {IdCurva::FLog, -0.010630486f, -0.010602531f, 0.24132267f, 7.2694283f, 7.281325f},
    {IdCurva::FLog2, -0.010553374f, -0.0105256215f, 0.52094567f, 58.117462f, 58.250874f},
    {IdCurva::Log3G10, -0.01f, -0.0099839065f, 1.069354f, 183.86078f, 184.32234f},
    {IdCurva::NLog, -0.0075f, -0.0075f, 0.48797095f, 14.756268f, 14.780864f},
    {IdCurva::DLog, -0.015419087f, -0.015378556f, 0.4620157f, 41.90746f, 41.999393f},
    {IdCurva::AppleLog, -0.05641088f, -0.054138392f, 0.19870757f, 11.976251f, 12.000002f},
    {IdCurva::SLog2, -0.026210634f, -0.026138106f, 0.5692203f, 13.737338f, 13.758274f},
    {IdCurva::CanonLog2, -0.014726903f, -0.01466859f, 0.4914973f, 59.09664f, 59.2345f},
    {IdCurva::LLog, -0.01125f, -0.011219475f, 0.31867102f, 23.252438f, 23.300932f},
    {IdCurva::Bt709Inversa, 0.0f, 5.4266722e-05f, 0.25947183f, 0.9995063f, 1.0f},
    {IdCurva::SrgbInversa, 0.0f, 1.8900948e-05f, 0.21392815f, 0.99944454f, 1.0f},
};

// Equal, or one representable float away.
bool un_passo(float v, float atteso) { return v == atteso || v == std::nextafter(atteso, v); }

TEST(Curve, MeetTheReferenceSamplesWithinOneFloatStep) {
  static_assert(sizeof kRiferimenti / sizeof kRiferimenti[0] == kNumeroCurve, "every curve");
  for (const Riferimento& r : kRiferimenti) {
    const float* c = campioni(r.id);
    const int indici[5] = {0, 1, 2047, 4094, 4095};
    const float attesi[5] = {r.s0, r.s1, r.s2047, r.s4094, r.s4095};
    for (int k = 0; k < 5; ++k)
      EXPECT_TRUE(un_passo(c[indici[k]], attesi[k]))
          << "curve " << static_cast<int>(r.id) << " sample " << indici[k] << ": "
          << c[indici[k]] << " vs " << attesi[k];
  }
}

TEST(Curve, RiseStrictlyButForTheListedExceptions) {
  for (int id = 0; id < kNumeroCurve; ++id) {
    const float* c = CAMPIONI_CURVE[id];
    for (int i = 1; i < kCampioniPerCurva; ++i) {
      const bool gradino_709 = id == static_cast<int>(IdCurva::Bt709Inversa) && i == 333;
      const bool piano_nlog = id == static_cast<int>(IdCurva::NLog) && i == 1;
      if (gradino_709 || piano_nlog) continue;
      ASSERT_LT(c[i - 1], c[i]) << "curve " << id << " sample " << i;
    }
  }
  // Both exceptions are real: BT.709 steps down, N-Log's cube is lost below float resolution.
  EXPECT_GT(campioni(IdCurva::Bt709Inversa)[332], campioni(IdCurva::Bt709Inversa)[333]);
  EXPECT_EQ(campioni(IdCurva::NLog)[0], campioni(IdCurva::NLog)[1]);
}

}  // namespace
}  // namespace varno
