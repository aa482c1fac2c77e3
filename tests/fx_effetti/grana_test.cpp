#include <gtest/gtest.h>

#include <cstdint>

#include "fx_effetti/comune.h"

namespace varno {
namespace {

using prova::Fotogramma;

TEST(Grana, HashCheckValues) {
  const struct { uint32_t x, y, f, bit24; } casi[] = {
      {0, 0, 0, 0xE15423u},         {7919, 104729, 0, 0x47C2F8u}, {1, 0, 0, 0x353AD0u},
      {0, 1, 0, 0x4799ECu},         {0, 0, 1, 0x67F28Du},         {100, 50, 1000, 0xD6AD33u},
      {8019, 104779, 1000, 0xD96A1Bu}};
  for (const auto& c : casi)
    EXPECT_EQ(static_cast<uint32_t>(hash_grana(c.x, c.y, c.f) * 16777216.0f), c.bit24) << c.x << "," << c.y << "," << c.f;
}

// Grey 0.5 weighs l(1 - l)4 = 1, so a pixel moves by n * grana * 0.14, with
// n the cell's noise: two hashes minus 1, the second offset by (7919, 104729).
TEST(Grana, NoiseValuesOnTheCellGrid) {
  auto atteso = [](double n) { return 0.5 + n * 0.6 * 0.14; };
  Fotogramma f(300, 200, 0.5f, 0.5f, 0.5f);
  fx_grana(f.img, f.q, 0.6f, 1000);
  // Even coordinates fall on a cell: pixel (200, 100) is cell (100, 50).
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(f.px(200, 100)[c], atteso(0.6878556), 2e-7);
  // An odd coordinate is the mean of its two neighbouring cells.
  const double n101 = double(hash_grana(101, 50, 1000)) + hash_grana(101 + 7919, 50 + 104729, 1000) - 1.0;
  EXPECT_NEAR(f.px(201, 100)[1], atteso((0.6878556 + n101) / 2), 2e-7);

  // 1 by 1 at frame 0 is cell (0, 0); on an even side the last column holds the last cell.
  Fotogramma uno(1, 1, 0.5f, 0.5f, 0.5f);
  fx_grana(uno.img, uno.q, 0.6f, 0);
  EXPECT_NEAR(uno.img[0], atteso(0.16050887), 2e-7);
  Fotogramma pari(4, 4, 0.5f, 0.5f, 0.5f);
  fx_grana(pari.img, pari.q, 0.6f, 7);
  EXPECT_EQ(pari.px(3, 3)[0], pari.px(2, 2)[0]);
  EXPECT_NE(pari.px(2, 2)[0], pari.px(0, 0)[0]);
}

TEST(Grana, BlackAndWhiteGetNoGrain) {
  Fotogramma f(40, 20, 0.0f, 0.0f, 0.0f);
  for (int y = 0; y < 20; ++y)
    for (int x = 20; x < 40; ++x) f.imposta(x, y, 1.0f, 1.0f, 1.0f);
  const Immagine prima = f.img;
  fx_grana(f.img, f.q, 0.6f, 3);
  EXPECT_EQ(f.img, prima);
}

}  // namespace
}  // namespace varno
