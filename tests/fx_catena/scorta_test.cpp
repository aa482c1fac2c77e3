// Planes are borrowed from the process-wide store: a second frame of a size
// takes no fresh whole-frame memory, with the default effects or all twelve.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "aiuto.h"

#include "grandi_allocazioni.h"

namespace {

using namespace varno;

// 700x500 blurs at full size; 1920x200 on half-size copies.
TEST(Scorta, ASecondFrameOfTheSameSizeTakesNoFreshWholeFrameMemory) {
  FxRicetta predefinita;
  predefinita.enhance = 0.06f;
  predefinita.halation = 0.28f;
  predefinita.bloom = 0.16f;
  predefinita.vignetta = 0.1f;
  FxRicetta tutti = predefinita;
  tutti.promist = tutti.mistw = tutti.glimmer = tutti.pelle = 0.1375f;
  tutti.streak = 0.15f;
  tutti.ca = 0.1f;
  tutti.grana = 0.12f;
  tutti.stella = 0.3f;
  tutti.punte = 8;
  for (auto [w, h] : {std::pair{700, 500}, std::pair{1920, 200}})
    for (const FxRicetta* r : {&predefinita, &tutti}) {
      const Immagine sorgente = aiuto::casuali(static_cast<size_t>(w * h * 3), 9, 0.0f, 1.2f);
      Immagine img = sorgente;
      applica_fx(img, w, h, *r);
      img = sorgente;
      const uint64_t dopo_primo = g_grandi.load();
      applica_fx(img, w, h, *r);
      EXPECT_EQ(g_grandi.load(), dopo_primo) << w << "x" << h << (r == &tutti ? " all twelve" : " defaults");
    }
}

}  // namespace
