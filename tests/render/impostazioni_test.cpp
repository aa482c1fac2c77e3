// A frame's settings from parameter values, and the rules of the table's key.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "colore/profili.h"
#include "render/impostazioni.h"
#include "render/lut.h"

namespace {

using namespace varno;

ValoriParametri predefiniti() {
  ValoriParametri v;
  v.formato = 16;
  v.forza = 1.0;
  v.halation_on = v.bloom_on = v.enhance_on = v.vignetta_on = 1;
  v.halation = 0.28, v.bloom = 0.16, v.enhance = 0.06, v.vignetta = 0.1;
  return v;
}

TEST(Impostazioni, RecipeFollowsEnablesScalesTheFourGradesAndCountsPoints) {
  ValoriParametri v = predefiniti();
  v.halation_on = 0;  // amount left as the user had it
  v.halation = 0.5;
  v.promist_on = v.mistw_on = v.glimmer_on = v.pelle_on = v.stella_on = 1;
  v.promist = v.mistw = v.glimmer = v.pelle = v.stella = 1.0;
  v.punte = 2;
  FxRicetta r = calcola_impostazioni(v).ricetta;
  EXPECT_EQ(r.halation, 0.0f);
  EXPECT_EQ(r.bloom, 0.16f);
  EXPECT_EQ(r.promist, 1.0f * 0.55f);
  EXPECT_EQ(r.mistw, 0.55f);
  EXPECT_EQ(r.glimmer, 0.55f);
  EXPECT_EQ(r.pelle, 0.55f);
  EXPECT_EQ(r.stella, 1.0f);
  EXPECT_EQ(r.punte, 8);
  v.punte = 0;
  EXPECT_EQ(calcola_impostazioni(v).ricetta.punte, 4);
  v.punte = std::numeric_limits<int32_t>::max();  // a host's garbage saturates, no overflow
  EXPECT_EQ(calcola_impostazioni(v).ricetta.punte, std::numeric_limits<int32_t>::max());
}

// A look beyond the list is the first look, in the context and in the table's key.
TEST(Impostazioni, LookOutOfRangeIsTheFirstLookAndKeysItsTable) {
  ValoriParametri v = predefiniti();
  Impostazioni s = calcola_impostazioni(v);
  aggiorna_lut(s.chiave, s.contesto);
  const uint64_t n0 = lut_costruzioni();
  for (int32_t look : {-1, 12, 57, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
    v.look = look;
    s = calcola_impostazioni(v);
    EXPECT_EQ(s.chiave.look, 0);
    EXPECT_EQ(s.contesto.look, &looks()[0]);
    aggiorna_lut(s.chiave, s.contesto);
  }
  EXPECT_EQ(lut_costruzioni(), n0);
}

TEST(Impostazioni, ExposureAndWhiteBalanceAreGainsOnLinearLightAndNegativesDie) {
  ValoriParametri v = predefiniti();
  v.ev = 1.5, v.temp = 0.4, v.tinta = -0.3;
  const Contesto c = calcola_impostazioni(v).contesto;
  // By hand: t = 0.1, u = -0.03; red 1.1 + 0.03, green 1 - 0.06, blue 0.9 + 0.03.
  const double guadagni[3] = {1.13, 0.94, 0.93};
  const double e = std::pow(2.0, 1.5);
  const RGB dec{0.18f, 2.5f, 0.0625f};
  const RGB lin = esposizione(dec, c);
  const float l[3] = {lin.r, lin.g, lin.b}, d[3] = {dec.r, dec.g, dec.b};
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(l[k], e * d[k] * guadagni[k], 1e-6 * e * d[k]) << "channel " << k;

  // What the camera matrix pushed below zero is no light at all; a NaN passes on.
  const RGB neg = esposizione(RGB{-0.2f, -1e-30f, std::nanf("")}, c);
  EXPECT_EQ(neg.r, 0.0f);
  EXPECT_EQ(neg.g, 0.0f);
  EXPECT_TRUE(std::isnan(neg.b));
  // And through the whole grade: a saturated green decodes with negative red
  // in S-Gamut3.Cine, and grades as if that red were 0.
  v = predefiniti();
  v.formato = 0;
  v.look = 4;
  const Contesto s3 = calcola_impostazioni(v).contesto;
  const RGB verde{0.1f, 0.62f, 0.1f};
  const RGB decv = decodifica(verde, 0);
  ASSERT_LT(decv.r, 0.0f);
  const RGB a = applica_colore(verde, s3);
  const RGB b = applica_colore_lineare(RGB{0.0f, decv.g, decv.b > 0.0f ? decv.b : 0.0f}, s3);
  EXPECT_EQ(a.r, b.r);
  EXPECT_EQ(a.g, b.g);
  EXPECT_EQ(a.b, b.b);
}

TEST(Impostazioni, ProfileKeyKeepsTheResolvedIndexTheContextClampsIt) {
  ValoriParametri v = predefiniti();
  v.formato = 12, v.cs_canon = 2;
  EXPECT_EQ(calcola_impostazioni(v).contesto.profilo, 26);
  v.formato = 4;
  EXPECT_EQ(calcola_impostazioni(v).contesto.profilo, 23);
  v.formato = 40;  // not a listed format: resolves to formato - 1
  const Impostazioni s = calcola_impostazioni(v);
  EXPECT_EQ(s.chiave.profilo, 39);
  EXPECT_EQ(s.contesto.profilo, 31);
  v.formato = std::numeric_limits<int32_t>::min();
  EXPECT_EQ(calcola_impostazioni(v).contesto.profilo, 0);
}

// The table's key: these run in one process, so each compares build counts.
TEST(ChiaveLut, RebuildsOnlyWhenTheKeyChanges) {
  ValoriParametri v = predefiniti();
  v.formato = 0;
  v.look = 3;
  v.ev = 0.123456789;
  Impostazioni s = calcola_impostazioni(v);
  const uint64_t n0 = lut_costruzioni();
  auto t1 = aggiorna_lut(s.chiave, s.contesto);
  EXPECT_EQ(lut_costruzioni(), n0 + 1);
  auto t2 = aggiorna_lut(s.chiave, s.contesto);
  EXPECT_EQ(lut_costruzioni(), n0 + 1);
  EXPECT_EQ(t1, t2);

  // Effect amounts and the time are not in the key.
  v.halation = 0.6, v.bloom_on = 0, v.tempo = 99.0, v.grana_on = 1, v.grana = 0.5;
  s = calcola_impostazioni(v);
  aggiorna_lut(s.chiave, s.contesto);
  EXPECT_EQ(lut_costruzioni(), n0 + 1);

  // A last-bit change of a double rebuilds.
  v.ev = std::nextafter(v.ev, 1.0);
  s = calcola_impostazioni(v);
  auto t3 = aggiorna_lut(s.chiave, s.contesto);
  EXPECT_EQ(lut_costruzioni(), n0 + 2);
  EXPECT_NE(t1, t3);
  EXPECT_EQ(t1->N, 81);  // the old table stays whole for whoever holds it
  EXPECT_EQ(t1->dati.size(), 81u * 81u * 81u * 3u);
}

TEST(ChiaveLut, EachFieldOfTheKeyRebuildsOnceAndChangesTheTable) {
  ValoriParametri v = predefiniti();
  v.formato = 5;
  v.look = 7;
  v.forza = 0.8, v.ev = 0.3, v.temp = -0.2, v.tinta = 0.1;
  Impostazioni s = calcola_impostazioni(v);
  std::shared_ptr<const Lut3D> prima = aggiorna_lut(s.chiave, s.contesto);
  // Values no earlier test used, so no recently built table can answer.
  const struct {
    const char* campo;
    void (*cambia)(ValoriParametri&);
  } campi[] = {
      {"look", [](ValoriParametri& x) { x.look = 9; }},
      {"profilo", [](ValoriParametri& x) { x.formato = 8; }},
      {"forza", [](ValoriParametri& x) { x.forza = 0.61; }},
      {"ev", [](ValoriParametri& x) { x.ev = -0.41; }},
      {"temp", [](ValoriParametri& x) { x.temp = 0.33; }},
      {"tinta", [](ValoriParametri& x) { x.tinta = -0.27; }},
  };
  for (const auto& c : campi) {
    SCOPED_TRACE(c.campo);
    c.cambia(v);
    s = calcola_impostazioni(v);
    const uint64_t n0 = lut_costruzioni();
    std::shared_ptr<const Lut3D> dopo = aggiorna_lut(s.chiave, s.contesto);
    EXPECT_EQ(lut_costruzioni(), n0 + 1);
    EXPECT_NE(dopo->dati, prima->dati);
    // Whatever the build kept from the one before (both renderings for a new
    // strength, the neutral one for a new look), the table is a whole build's.
    Lut3D fresca;
    fresca.costruisci(s.contesto, 81);
    EXPECT_TRUE(dopo->dati == fresca.dati);
    aggiorna_lut(s.chiave, s.contesto);
    EXPECT_EQ(lut_costruzioni(), n0 + 1);
    prima = dopo;
  }
}

// Two instances with different grades taking turns (a split screen) build
// their tables once; a grade not used for a while is built again.
TEST(ChiaveLut, GradesTakingTurnsBuildOnlyTheirFirstTables) {
  ValoriParametri a = predefiniti(), b = predefiniti();
  a.look = 1, a.ev = 0.0625;
  b.look = 6, b.ev = 0.0625;
  const Impostazioni sa = calcola_impostazioni(a), sb = calcola_impostazioni(b);
  const uint64_t n0 = lut_costruzioni();
  std::shared_ptr<const Lut3D> ta, tb;
  for (int giro = 0; giro < 4; ++giro) {
    ta = aggiorna_lut(sa.chiave, sa.contesto);
    tb = aggiorna_lut(sb.chiave, sb.contesto);
  }
  EXPECT_EQ(lut_costruzioni(), n0 + 2);
  EXPECT_NE(ta->dati, tb->dati);
  // Each got its own table back, the same as a fresh build of its grade.
  Lut3D fresca;
  fresca.costruisci(sa.contesto, 81);
  EXPECT_EQ(ta->dati, fresca.dati);

  // Many other grades later, the first one's table is gone and built anew.
  for (int i = 0; i < 8; ++i) {
    ValoriParametri c = predefiniti();
    c.ev = 0.03125 * (i + 1) + 0.001;
    const Impostazioni sc = calcola_impostazioni(c);
    aggiorna_lut(sc.chiave, sc.contesto);
  }
  const uint64_t n1 = lut_costruzioni();
  EXPECT_EQ(n1, n0 + 10);
  aggiorna_lut(sa.chiave, sa.contesto);
  EXPECT_EQ(lut_costruzioni(), n1 + 1);
}

TEST(ChiaveLut, NotANumberStrengthRebuildsEveryTime) {
  ValoriParametri v = predefiniti();
  v.forza = std::nan("");
  const Impostazioni s = calcola_impostazioni(v);
  const uint64_t n0 = lut_costruzioni();
  aggiorna_lut(s.chiave, s.contesto);
  aggiorna_lut(s.chiave, s.contesto);
  EXPECT_EQ(lut_costruzioni(), n0 + 2);
}

}  // namespace
