// The look catalogue: order, the fields the pipelines depend on, and the effect amounts.
#include <gtest/gtest.h>

#include "looks/looks.h"

namespace varno {
namespace {

TEST(Catalogo, OrderPipelinesAndTheOddOnesOut) {
  const std::vector<LookDef> l = catalogo();
  const char* nomi[] = {"Nordic", "Cinema Print", "Midnight", "Daylight", "Linen", "Amber",
                        "Ember",  "Amalfi",       "Velvet",   "Brass",    "Silk",  "Olive"};
  ASSERT_EQ(l.size(), 12u);
  for (size_t i = 0; i < l.size(); ++i) {
    const LookDef& x = l[i];
    SCOPED_TRACE(nomi[i]);
    EXPECT_EQ(x.nome, nomi[i]);
    EXPECT_EQ(x.tipo, i < 4 ? 1 : 0);
    // Each pipeline leaves the other's fields at their defaults.
    EXPECT_EQ(x.tipo == 1, x.pal.diafonia > 0.0f && x.saturazione == 0.0f);
    EXPECT_EQ(x.gamma != 1.0f, x.nome == "Velvet");
    EXPECT_EQ(x.ginocchio != 0.88f, x.nome == "Brass" || x.nome == "Olive");
    EXPECT_EQ(x.contrasto < 1.0f, x.nome == "Silk");
    // The split tone divides by these whenever it is on; only Linen has it off.
    EXPECT_EQ(!x.viraggio && x.tipo == 0, x.nome == "Linen");
    EXPECT_TRUE(!x.viraggio || (x.ombre_fine > 0.0f && x.luci_inizio < 1.0f && x.ginocchio < 1.0f));
  }
  EXPECT_EQ(l[9].ginocchio, 0.76f);
  EXPECT_EQ(l[11].ginocchio, 0.8f);
}

TEST(Catalogo, EffectAmountsOnTheParameterScale) {
  const std::vector<LookDef> l = catalogo();
  for (const LookDef& x : l) {
    EXPECT_EQ(x.ricetta.enhance + x.ricetta.grana + x.ricetta.stella, 0.0f) << x.nome;
    EXPECT_EQ(x.ricetta.punte, 4) << x.nome;
  }
  // No 0.55 applied here.
  EXPECT_EQ(l[2].ricetta.promist, 0.5f);
  EXPECT_EQ(l[10].ricetta.mistw, 0.25f);
  EXPECT_EQ(l[10].ricetta.pelle, 0.25f);
  EXPECT_EQ(l[0].ricetta.glimmer, 0.125f);
  EXPECT_EQ(l[11].ricetta.ca, 0.05f);
  EXPECT_EQ(l[8].ricetta.streak, 0.15f);
  EXPECT_EQ(l[4].ricetta.halation, 0.0f);
}

}  // namespace
}  // namespace varno
