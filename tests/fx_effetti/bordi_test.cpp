// Every stage on degenerate frame sizes and on different thread counts.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "fx_effetti/comune.h"

namespace varno {
namespace {

using prova::Fotogramma;

struct Stadio {
  std::string nome;
  std::function<void(Fotogramma&)> applica;
};

// Every stage at the top of its range.
std::vector<Stadio> stadi() {
  return {
      {"pelle", [](Fotogramma& f) { fx_pelle(f.img, f.luma, f.q, 0.55f); }},
      {"streak", [](Fotogramma& f) { fx_streak(f.img, f.luma, f.q, 0.6f); }},
      {"promist", [](Fotogramma& f) { fx_promist(f.img, f.luma, f.q, 0.55f); }},
      {"stella4", [](Fotogramma& f) { fx_stella(f.img, f.luma, f.q, 1.0f, 4); }},
      {"stella8", [](Fotogramma& f) { fx_stella(f.img, f.luma, f.q, 1.0f, 8); }},
      {"mistw", [](Fotogramma& f) { fx_mistw(f.img, f.luma, f.q, 0.55f); }},
      {"glimmer", [](Fotogramma& f) { fx_glimmer(f.img, f.luma, f.q, 0.55f); }},
      {"aberrazione", [](Fotogramma& f) { fx_aberrazione(f.img, f.q, 0.6f); }},
      {"grana", [](Fotogramma& f) { fx_grana(f.img, f.q, 0.6f, 12345); }},
  };
}

// 1 by 1, single rows and columns, and lines longer than 1920 so that the
// reductions are above 1 with a reduced side of 1. AddressSanitizer watches
// the reads.
TEST(Bordi, ThinFramesThroughEveryStage) {
  const std::pair<int32_t, int32_t> misure[] = {{1, 1}, {1, 17}, {17, 1}, {1, 2000}, {2000, 1}, {3, 3}, {2, 1}};
  for (const Stadio& s : stadi()) {
    for (auto [w, h] : misure) {
      Fotogramma f = prova::casuale(w, h, uint32_t(w * 31 + h), 0.0f, 1.0f);
      f.imposta(0, 0, 1.0f, 1.0f, 1.0f);
      f.aggiorna();
      s.applica(f);
      for (float v : f.img) ASSERT_TRUE(std::isfinite(v)) << s.nome << " " << w << "x" << h;
    }
  }
}

TEST(Bordi, OneThreadOrManySameBits) {
  for (const Stadio& s : stadi()) {
    const Fotogramma sorgente = prova::casuale(203, 157, 77, 0.0f, 1.4f);
    Fotogramma uno = sorgente, molti = sorgente;
    {
      prova::ConThread t(1);
      s.applica(uno);
    }
    {
      prova::ConThread t(6);
      s.applica(molti);
    }
    EXPECT_TRUE(prova::stessi_bit(uno.img, molti.img)) << s.nome;
    EXPECT_FALSE(prova::stessi_bit(uno.img, sorgente.img)) << s.nome;
  }
}

// The whole chain with every effect on, at the top of each range.
FxRicetta tutto_acceso() {
  FxRicetta r;
  r.enhance = r.halation = r.bloom = r.vignetta = r.streak = r.ca = r.grana = 0.6f;
  r.promist = r.mistw = r.glimmer = r.pelle = 0.55f;
  r.stella = 1.0f;
  r.punte = 8;
  r.fotogramma = -7;
  return r;
}

TEST(Bordi, WholeChainOnThinFramesAndAnyThreadCount) {
  for (auto [w, h] : {std::pair{1, 1}, {1, 23}, {23, 1}, {1, 2000}, {2000, 1}}) {
    Fotogramma f = prova::casuale(w, h, uint32_t(w + 7 * h), 0.0f, 1.5f);
    applica_fx(f.img, w, h, tutto_acceso());
    for (float v : f.img) ASSERT_TRUE(v >= 0.0f && v <= 1.0f) << w << "x" << h;
  }
  const Fotogramma sorgente = prova::casuale(211, 149, 5, 0.0f, 1.5f);
  Immagine uno = sorgente.img, molti = sorgente.img;
  {
    prova::ConThread t(1);
    applica_fx(uno, 211, 149, tutto_acceso());
  }
  {
    prova::ConThread t(5);
    applica_fx(molti, 211, 149, tutto_acceso());
  }
  EXPECT_TRUE(prova::stessi_bit(uno, molti));
}

}  // namespace
}  // namespace varno
