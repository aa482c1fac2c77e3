#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "fx_effetti/comune.h"

namespace varno {
namespace {

using prova::Fotogramma;

uint32_t bit24(uint32_t x, uint32_t y, uint32_t f) {
  return static_cast<uint32_t>(hash_grana(x, y, f) * 16777216.0f);
}

TEST(Grana, HashCheckValues) {
  EXPECT_EQ(bit24(0, 0, 0), 0xE15423u);
  EXPECT_EQ(bit24(7919, 104729, 0), 0x47C2F8u);
  EXPECT_EQ(bit24(1, 0, 0), 0x353AD0u);
  EXPECT_EQ(bit24(0, 1, 0), 0x4799ECu);
  EXPECT_EQ(bit24(0, 0, 1), 0x67F28Du);
  EXPECT_EQ(bit24(100, 50, 1000), 0xD6AD33u);
  EXPECT_EQ(bit24(100 + 7919, 50 + 104729, 1000), 0xD96A1Bu);
  // A negative frame number keeps its bit pattern.
  EXPECT_EQ(hash_grana(3, 4, static_cast<uint32_t>(int32_t{-1})), hash_grana(3, 4, 0xFFFFFFFFu));
  // The noise of a cell: two uniform values minus one.
  EXPECT_EQ(hash_grana(0, 0, 0) + hash_grana(7919, 104729, 0) - 1.0f, 0.16050887f);
  EXPECT_EQ(hash_grana(100, 50, 1000) + hash_grana(8019, 104779, 1000) - 1.0f, 0.6878556f);
}

// Grey 0.5 has a weight l(1 - l)4 of about 1, so d is about n * grana * 0.14.
TEST(Grana, AppliedNoiseFollowsTheCellGrid) {
  Fotogramma f(300, 200, 0.5f, 0.5f, 0.5f);
  fx_grana(f.img, f.q, 0.6f, 1000);
  const double l = 0.5 * 0.2126 + 0.5 * 0.7152 + 0.5 * 0.0722;
  const double peso = l * (1.0 - l) * 4.0;
  auto atteso = [&](double n) { return 0.5 + n * 0.6 * 0.14 * peso; };

  // Even coordinates fall on the cell: pixel (200, 100) is cell (100, 50).
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(f.px(200, 100)[c], atteso(0.6878556), 2e-7);
  // An odd coordinate is the mean of its two neighbouring cells.
  const double n101 = double(hash_grana(101, 50, 1000)) + hash_grana(101 + 7919, 50 + 104729, 1000) - 1.0;
  EXPECT_NEAR(f.px(201, 100)[1], atteso((0.6878556 + n101) / 2), 2e-7);

  // At grana 0.6 a grey of luminance 0.5 moves by at most 0.084.
  for (size_t i = 0; i < f.img.size(); ++i) EXPECT_LE(std::fabs(f.img[i] - 0.5f), 0.084f + 1e-6f) << i;
}

TEST(Grana, GridEdgesAndTinyFrames) {
  // Even width: the last column is half a cell past the last sample and holds it.
  Fotogramma pari(4, 4, 0.5f, 0.5f, 0.5f);
  fx_grana(pari.img, pari.q, 0.6f, 7);
  EXPECT_EQ(pari.px(3, 0)[0], pari.px(2, 0)[0]);
  EXPECT_EQ(pari.px(3, 3)[0], pari.px(2, 2)[0]);
  EXPECT_NE(pari.px(2, 2)[0], pari.px(0, 0)[0]);

  // Odd width: the last column lies on the last sample, the one before is a mean.
  Fotogramma dispari(5, 1, 0.5f, 0.5f, 0.5f);
  fx_grana(dispari.img, dispari.q, 0.6f, 7);
  EXPECT_NEAR(dispari.px(3, 0)[0] - 0.5f, ((dispari.px(2, 0)[0] - 0.5f) + (dispari.px(4, 0)[0] - 0.5f)) / 2, 2e-7);

  // 1 by 1: a grid of one cell, the cell (0, 0).
  Fotogramma uno(1, 1, 0.5f, 0.5f, 0.5f);
  fx_grana(uno.img, uno.q, 0.6f, 0);
  const double l = 0.5 * 0.2126 + 0.5 * 0.7152 + 0.5 * 0.0722;
  EXPECT_NEAR(uno.img[0], 0.5 + 0.16050887 * 0.6 * 0.14 * l * (1 - l) * 4, 2e-7);
}

TEST(Grana, SameFrameSameBitsOtherFrameOtherGrain) {
  const Fotogramma sorgente = prova::casuale(257, 131, 11);
  Fotogramma a = sorgente, b = sorgente, c = sorgente, d = sorgente;
  {
    prova::ConThread uno(1);
    fx_grana(a.img, a.q, 0.4f, 10);
  }
  {
    prova::ConThread molti(7);
    fx_grana(b.img, b.q, 0.4f, 10);
  }
  fx_grana(c.img, c.q, 0.4f, 11);
  fx_grana(d.img, d.q, 0.4f, -10);
  EXPECT_TRUE(prova::stessi_bit(a.img, b.img));
  EXPECT_FALSE(prova::stessi_bit(a.img, sorgente.img));
  EXPECT_FALSE(prova::stessi_bit(a.img, c.img));
  EXPECT_FALSE(prova::stessi_bit(a.img, d.img));
}

TEST(Grana, BlackAndWhiteStayAndEverythingEndsInRange) {
  Fotogramma f(40, 20, 0.0f, 0.0f, 0.0f);
  for (int y = 0; y < 20; ++y)
    for (int x = 20; x < 40; ++x) f.imposta(x, y, 1.0f, 1.0f, 1.0f);
  const Immagine prima = f.img;
  fx_grana(f.img, f.q, 0.6f, 3);
  EXPECT_TRUE(prova::stessi_bit(f.img, prima));

  Fotogramma fuori = prova::casuale(33, 17, 5, -2.0f, 3.0f);
  fuori.imposta(0, 0, NAN, 0.5f, 0.5f);
  fx_grana(fuori.img, fuori.q, 0.6f, 3);
  for (float v : fuori.img) {
    EXPECT_GE(v, 0.0f);
    EXPECT_LE(v, 1.0f);
  }
}

}  // namespace
}  // namespace varno
