#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "aiuto.h"
#include "fx/fx.h"

// Instances rendering different sizes at once share one mask cache: each
// must see a whole mask of its own size, never one being rebuilt.
TEST(Vignetta, InstancesOfDifferentSizesRenderAtOnce) {
  struct Istanza { int w, h; varno::Immagine attesa; };
  std::vector<Istanza> istanze = {{64, 48, {}}, {48, 64, {}}, {50, 50, {}}};
  for (auto& i : istanze) {
    i.attesa = aiuto::immagine(i.w, i.h, 8);
    varno::fx_vignetta(i.attesa, varno::calcola_quadro(i.w, i.h), 0.5f);
  }
  std::atomic<int> errori{0};
  std::vector<std::thread> thread;
  for (const auto& i : istanze)
    thread.emplace_back([&i, &errori] {
      for (int k = 0; k < 40; ++k) {
        varno::Immagine img = aiuto::immagine(i.w, i.h, 8);
        varno::fx_vignetta(img, varno::calcola_quadro(i.w, i.h), 0.5f);
        if (img != i.attesa) ++errori;
      }
    });
  for (auto& t : thread) t.join();
  EXPECT_EQ(errori.load(), 0);
}
