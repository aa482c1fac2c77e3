// Every instruction-set variant of the kernels this processor has gives the
// bits of the baseline, for the whole chain, on frames of awkward sizes whose
// values reach past 0..1 and include NaN and infinities.
#include <gtest/gtest.h>

#include <limits>
#include <utility>

#include "aiuto.h"
#include "fx/nuclei.h"

using namespace varno;

namespace {

std::vector<Isa> varianti() {
  std::vector<Isa> v;
  for (Isa i : {Isa::sse2, Isa::avx2, Isa::avx512})
    if (nuclei_di(i) != nullptr) v.push_back(i);
  return v;
}

Immagine ostile(int w, int h, uint32_t seme) {
  Immagine img = aiuto::casuali(static_cast<size_t>(w * h * 3), seme, -0.3f, 1.6f);
  for (size_t i = 7; i < img.size(); i += 101) img[i] = std::numeric_limits<float>::quiet_NaN();
  for (size_t i = 13; i < img.size(); i += 157) img[i] = std::numeric_limits<float>::infinity();
  for (size_t i = 29; i < img.size(); i += 211) img[i] = -std::numeric_limits<float>::infinity();
  return img;
}

}  // namespace

TEST(Varianti, TheWholeChainGivesTheSameBitsOnEveryVariant) {
  FxRicetta r;
  r.enhance = 0.6f;
  r.pelle = 0.55f;
  r.halation = 0.6f;
  r.bloom = 0.6f;
  r.streak = 0.6f;
  r.promist = 0.55f;
  r.stella = 1.0f;
  r.mistw = 0.55f;
  r.glimmer = 0.55f;
  r.ca = 0.6f;
  r.vignetta = 0.6f;
  r.grana = 0.6f;
  r.fotogramma = 11;
  const std::pair<int, int> misure[] = {{1, 1}, {3, 2}, {17, 19}, {37, 23}, {1921, 9}, {2883, 7}, {7, 3845}, {3850, 5}};
  for (int punte : {4, 6, 8})
    for (auto [w, h] : misure) {
      r.punte = punte;
      const Immagine sorgente = ostile(w, h, static_cast<uint32_t>(w * 31 + h + punte));
      Immagine base;
      for (Isa isa : varianti()) {
        limita_isa(isa);
        Immagine img = sorgente;
        applica_fx(img, w, h, r);
        limita_isa(Isa::avx512);
        if (isa == Isa::sse2) {
          base = img;
          continue;
        }
        EXPECT_TRUE(aiuto::stessi_bit(img, base)) << nome_isa(isa) << " " << w << "x" << h << " " << punte << " points";
      }
    }
}
