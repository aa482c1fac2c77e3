// The whole colour transform: reference renderings of every look and the mix with neutral.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "colore/confronto.h"

namespace varno {
namespace {

const std::vector<LookDef>& looks() {
  static const std::vector<LookDef> l = catalogo();
  return l;
}

const RGB kCodiceA{0.41f, 0.41f, 0.41f};
const RGB kCodiceB{0.6f, 0.45f, 0.38f};

void atteso(const RGB& v, const RGB& a, const char* cosa) {
  // Four decimals as published.
  EXPECT_NEAR(v.r, a.r, 5e-5f) << cosa;
  EXPECT_NEAR(v.g, a.g, 5e-5f) << cosa;
  EXPECT_NEAR(v.b, a.b, 5e-5f) << cosa;
}

TEST(ApplicaColore, EveryLookMatchesItsReferenceAtFullStrength) {
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
  }
}

TEST(ApplicaColore, ZeroStrengthIsTheNeutralRenderingForAnyLook) {
  const RGB n_a = applica_colore(kCodiceA, contesto_per(looks()[0], 0.0f));
  const RGB n_b = applica_colore(kCodiceB, contesto_per(looks()[0], 0.0f));
  atteso(n_a, RGB{0.4077f, 0.4077f, 0.4078f}, "A");
  atteso(n_b, RGB{1.0f, 0.413f, 0.2971f}, "B");
  for (const LookDef& look : looks()) {
    const RGB a = applica_colore(kCodiceA, contesto_per(look, 0.0f));
    const RGB b = applica_colore(kCodiceB, contesto_per(look, 0.0f));
    EXPECT_EQ(a.r, n_a.r) << look.nome;
    EXPECT_EQ(a.b, n_a.b) << look.nome;
    EXPECT_EQ(b.g, n_b.g) << look.nome;
  }
}

TEST(ApplicaColore, StrengthMixesLinearlyOnDisplayValues) {
  const LookDef& look = looks()[7];
  const RGB v = applica_colore(kCodiceB, contesto_per(look, 1.0f));
  const RGB n = applica_colore(kCodiceB, contesto_per(look, 0.0f));
  const RGB meta = applica_colore(kCodiceB, contesto_per(look, 0.25f));
  EXPECT_NEAR(meta.b, v.b * 0.25f + 0.75f * n.b, 1e-6f);
}

TEST(ApplicaColore, ExposureActsOnLinearLightBeforeTheFork) {
  // One stop up equals doubling the decoded light: with the neutral rendering, a grey whose
  // decode is about 0.179 lands where about 0.358 does.
  for (size_t i : {0u, 4u}) {
    const LookDef& look = looks()[i];
    const RGB su = applica_colore(kCodiceA, contesto_per(look, 0.0f, 1.0f));
    const RGB base = applica_colore(kCodiceA, contesto_per(look, 0.0f));
    EXPECT_GT(su.g, base.g + 0.05f) << look.nome;
  }
  // A print look holds scene light at 1 ahead of its curve: once a channel is at 1 after
  // crosstalk, more exposure leaves the graded value alone.
  const LookDef& nordic = looks()[0];
  const RGB bianco{1.0f, 1.0f, 1.0f};
  Contesto c1 = contesto_per(nordic, 1.0f, 1.0f);
  Contesto c2 = contesto_per(nordic, 1.0f, 3.0f);
  const RGB v1 = applica_colore(bianco, c1);
  const RGB v2 = applica_colore(bianco, c2);
  EXPECT_EQ(v1.r, v2.r);
  EXPECT_EQ(v1.g, v2.g);
  EXPECT_EQ(v1.b, v2.b);
  // And a print look never renders above 0.94.
  for (float c : {v1.r, v1.g, v1.b}) EXPECT_LE(c, 0.94f);
}

TEST(ApplicaColore, GreyStaysGreyThroughThePrintPipeline) {
  // Row 30 decodes a grey neutrally. With a neutral balance the print stages keep it exactly
  // neutral: the hue is atan2f(0, 0) and every saturation acts on a zero difference.
  LookDef neutro = looks()[1];
  neutro.pal.bilancio = RGB{1.0f, 1.0f, 1.0f};
  neutro.pal.diafonia_canale = RGB{1.0f, 1.0f, 1.0f};
  neutro.pal.stampa_ombre = neutro.pal.stampa_luci = RGB{0.0f, 0.0f, 0.0f};
  Contesto ctx = contesto_per(neutro, 1.0f);
  ctx.profilo = 30;
  for (float x : {0.05f, 0.3f, 0.6f, 0.9f}) {
    const RGB v = applica_colore(RGB{x, x, x}, ctx);
    EXPECT_EQ(v.r, v.g) << x;
    EXPECT_EQ(v.g, v.b) << x;
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
        for (float x : {v.r, v.g, v.b}) {
          EXPECT_GE(x, 0.0f) << look.nome << " row " << profilo;
          EXPECT_LE(x, 1.0f) << look.nome << " row " << profilo;
        }
      }
    }
  }
}

}  // namespace
}  // namespace varno
