// The look catalogue: order, the fields the pipelines depend on, and the effect amounts.
#include <gtest/gtest.h>

#include <string>

#include "looks/looks.h"

namespace varno {
namespace {

TEST(Catalogo, TwelveLooksInTheirFixedOrder) {
  const std::vector<LookDef> l = catalogo();
  const char* nomi[] = {"Nordic", "Cinema Print", "Midnight", "Daylight", "Linen", "Amber",
                        "Ember",  "Amalfi",       "Velvet",   "Brass",    "Silk",  "Olive"};
  ASSERT_EQ(l.size(), 12u);
  for (size_t i = 0; i < l.size(); ++i) {
    EXPECT_EQ(l[i].nome, nomi[i]);
    // The first four are print looks.
    EXPECT_EQ(l[i].tipo, i < 4 ? 1 : 0) << nomi[i];
  }
}

TEST(Catalogo, PipelinesOnlyCarryTheirOwnFields) {
  for (const LookDef& l : catalogo()) {
    SCOPED_TRACE(l.nome);
    if (l.tipo == 1) {
      EXPECT_FALSE(l.viraggio);
      EXPECT_EQ(l.saturazione, 0.0f);
      EXPECT_EQ(l.guadagno.r, 0.0f);
      EXPECT_EQ(l.ginocchio, 0.88f);
      EXPECT_GT(l.pal.bilancio.g, 0.0f);
    } else {
      EXPECT_EQ(l.pal.diafonia, 0.0f);
      EXPECT_EQ(l.pal.bilancio.r, 0.0f);
      EXPECT_EQ(l.pal.sat_tinte[6], 0.0f);
      // The split tone divides by these when it is on.
      if (l.viraggio) {
        EXPECT_GT(l.ombre_fine, 0.0f);
        EXPECT_LT(l.luci_inizio, 1.0f);
      }
      EXPECT_LT(l.ginocchio, 1.0f);
    }
  }
}

TEST(Catalogo, TheOddOnesOut) {
  for (const LookDef& l : catalogo()) {
    SCOPED_TRACE(l.nome);
    EXPECT_EQ(l.gamma != 1.0f, l.nome == "Velvet");
    EXPECT_EQ(l.ginocchio != 0.88f, l.nome == "Brass" || l.nome == "Olive");
    EXPECT_EQ(l.contrasto < 1.0f, l.nome == "Silk");
    EXPECT_EQ(!l.viraggio && l.tipo == 0, l.nome == "Linen");
  }
  const std::vector<LookDef> l = catalogo();
  EXPECT_EQ(l[9].ginocchio, 0.76f);
  EXPECT_EQ(l[11].ginocchio, 0.8f);
  EXPECT_EQ(l[8].gamma, 1.08f);
  // Only Nordic's print tint is all zero among the print looks with a tint stage.
  EXPECT_EQ(l[0].pal.stampa_luci.r, 0.0f);
  EXPECT_EQ(l[3].pal.stampa_luci.b, -2.0f);
}

TEST(Catalogo, EffectAmountsOnTheParameterScale) {
  const std::vector<LookDef> l = catalogo();
  for (const LookDef& x : l) {
    SCOPED_TRACE(x.nome);
    EXPECT_EQ(x.ricetta.enhance, 0.0f);
    EXPECT_EQ(x.ricetta.grana, 0.0f);
    EXPECT_EQ(x.ricetta.stella, 0.0f);
    EXPECT_EQ(x.ricetta.fotogramma, 0);
    EXPECT_EQ(x.ricetta.punte, 4);
    EXPECT_GT(x.ricetta.bloom, 0.0f);
    EXPECT_GT(x.ricetta.vignetta, 0.0f);
  }
  // No 0.55 applied here.
  EXPECT_EQ(l[2].ricetta.promist, 0.5f);
  EXPECT_EQ(l[2].ricetta.streak, 0.18f);
  EXPECT_EQ(l[10].ricetta.mistw, 0.25f);
  EXPECT_EQ(l[10].ricetta.pelle, 0.25f);
  EXPECT_EQ(l[0].ricetta.glimmer, 0.125f);
  EXPECT_EQ(l[11].ricetta.ca, 0.05f);
  EXPECT_EQ(l[4].ricetta.halation, 0.0f);
  EXPECT_EQ(l[5].ricetta.halation, 0.45f);
}

}  // namespace
}  // namespace varno
