// The neutral tone curve and the whole colour transform: reference renderings of every look
// and the mix with neutral.
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "colore/colore.h"
#include "looks/looks.h"

namespace varno {
namespace {

const std::vector<LookDef>& looks() {
  static const std::vector<LookDef> l = catalogo();
  return l;
}

const Curva kNeutra = normalizza_curva(0.9f, 18.0f, 1.0f, 1.0f);

// A frame's context as the render builds it: no white balance, profile row 0.
Contesto contesto_per(const LookDef& look, float forza, float ev = 0.0f) {
  Contesto c;
  c.look = &look;
  c.curva_look = normalizza_curva(look.spalla, look.bianco, look.contrasto, look.gamma);
  c.forza = forza;
  c.ev = ev;
  c.curva_neutra = kNeutra;
  return c;
}

const RGB kCodiceA{0.41f, 0.41f, 0.41f};
const RGB kCodiceB{0.6f, 0.45f, 0.38f};

void atteso(const RGB& v, const RGB& a, const char* cosa) {
  // Four decimals as published.
  EXPECT_NEAR(v.r, a.r, 5e-5f) << cosa;
  EXPECT_NEAR(v.g, a.g, 5e-5f) << cosa;
  EXPECT_NEAR(v.b, a.b, 5e-5f) << cosa;
}

TEST(NormalizzaCurva, NeutralCurveLandsOnItsKnownValues) {
  EXPECT_NEAR(kNeutra.scala, 0.56205f, 5e-6f);
  EXPECT_NEAR(kNeutra.norma, 1.0068f, 5e-5f);
  EXPECT_NEAR(kNeutra.grigio, 0.116987f, 5e-7f);
}

TEST(TonemapRatio, BlackStaysOnTheCurveFloor) {
  // The ratio path sends black to 0; per channel it maps to T(0), tiny but not 0.
  EXPECT_EQ(tonemap_ratio(RGB{0.0f, 0.0f, 0.0f}, kNeutra, 0.0f).r, 0.0f);
  const float t0 = tonemap_ratio(RGB{0.0f, 0.0f, 0.0f}, kNeutra, 1.0f).r;
  EXPECT_GT(t0, 0.0f);
  EXPECT_LE(t0, 2e-9f);
}

TEST(ApplicaColore, EveryLookMatchesItsReferenceAtFullStrengthAndIsNeutralAtZero) {
  struct Riferimento {
    const char* nome;
    RGB a, b;
  } const riferimenti[] = {
      {"Nordic", {0.4083f, 0.4077f, 0.4071f}, {0.9016f, 0.4872f, 0.4074f}},
      {"Cinema Print", {0.4123f, 0.4111f, 0.4093f}, {0.9170f, 0.5127f, 0.4483f}},
      {"Midnight", {0.4099f, 0.4095f, 0.4109f}, {0.9237f, 0.5170f, 0.4391f}},
      {"Daylight", {0.4086f, 0.4077f, 0.4068f}, {0.9022f, 0.4972f, 0.4225f}},
      {"Linen", {0.4101f, 0.4101f, 0.4101f}, {0.9723f, 0.3971f, 0.2638f}},
      {"Amber", {0.4339f, 0.4320f, 0.4291f}, {0.9130f, 0.4542f, 0.3705f}},
      {"Ember", {0.4155f, 0.4135f, 0.4116f}, {0.9763f, 0.4011f, 0.2474f}},
      {"Amalfi", {0.4105f, 0.4129f, 0.4120f}, {0.9801f, 0.3733f, 0.1610f}},
      {"Velvet", {0.3867f, 0.3928f, 0.4005f}, {0.9735f, 0.4371f, 0.3160f}},
      {"Brass", {0.4085f, 0.4103f, 0.4185f}, {0.9477f, 0.4013f, 0.2554f}},
      {"Silk", {0.4369f, 0.4343f, 0.4355f}, {0.8824f, 0.4372f, 0.3576f}},
      {"Olive", {0.4093f, 0.4216f, 0.4110f}, {0.9606f, 0.4016f, 0.2282f}},
  };
  ASSERT_EQ(looks().size(), 12u);
  for (size_t i = 0; i < 12; ++i) {
    const LookDef& look = looks()[i];
    ASSERT_EQ(look.nome, riferimenti[i].nome);
    SCOPED_TRACE(look.nome);
    const Contesto ctx = contesto_per(look, 1.0f);
    atteso(applica_colore(kCodiceA, ctx), riferimenti[i].a, "A");
    atteso(applica_colore(kCodiceB, ctx), riferimenti[i].b, "B");
    // At zero strength every look is the neutral rendering.
    atteso(applica_colore(kCodiceA, contesto_per(look, 0.0f)), RGB{0.4077f, 0.4077f, 0.4078f}, "A neutral");
    atteso(applica_colore(kCodiceB, contesto_per(look, 0.0f)), RGB{1.0f, 0.413f, 0.2971f}, "B neutral");
  }
}

TEST(ApplicaColore, PrintLooksHaveAFlatCeiling) {
  // Scene light is held at 1 ahead of the print curve: more exposure on white changes
  // nothing, and the fixed soft clip keeps the result at 0.94 or below.
  const RGB bianco{1.0f, 1.0f, 1.0f};
  for (size_t i = 0; i < 4; ++i) {
    const RGB v1 = applica_colore(bianco, contesto_per(looks()[i], 1.0f, 1.0f));
    const RGB v2 = applica_colore(bianco, contesto_per(looks()[i], 1.0f, 3.0f));
    EXPECT_TRUE(v1.r == v2.r && v1.g == v2.g && v1.b == v2.b) << looks()[i].nome;
    for (float c : {v1.r, v1.g, v1.b}) EXPECT_LE(c, 0.94f) << looks()[i].nome;
  }
}

TEST(ApplicaColore, OutputStaysInRangeForHostileCodes) {
  const float inf = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const RGB codici[] = {{nan, nan, nan}, {inf, -inf, 0.5f}, {-5.0f, 3.0f, nan},
                        {1.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 0.0f}};
  for (const LookDef& look : looks()) {
    for (int profilo : {0, 1, 17, 31}) {
      Contesto ctx = contesto_per(look, 1.0f, 4.0f);
      ctx.profilo = profilo;
      for (const RGB& c : codici) {
        const RGB v = applica_colore(c, ctx);
        for (float x : {v.r, v.g, v.b})
          EXPECT_TRUE(x >= 0.0f && x <= 1.0f) << look.nome << " row " << profilo;
      }
    }
  }
}

}  // namespace
}  // namespace varno
