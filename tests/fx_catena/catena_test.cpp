// The chain as a whole: switches, bad sizes, any frame size.
#include <gtest/gtest.h>

#include <limits>
#include <utility>

#include "aiuto.h"

using namespace varno;
using aiuto::stessi_bit;

namespace {

float FxRicetta::*const kQuanti[] = {&FxRicetta::enhance, &FxRicetta::pelle,    &FxRicetta::halation,
                                     &FxRicetta::bloom,   &FxRicetta::streak,   &FxRicetta::promist,
                                     &FxRicetta::stella,  &FxRicetta::mistw,    &FxRicetta::glimmer,
                                     &FxRicetta::ca,      &FxRicetta::vignetta, &FxRicetta::grana};

}  // namespace

TEST(Catena, OffAmountsAndBadSizesLeaveThePictureBitForBit) {
  // Out-of-range and non-finite picture values too: nothing may touch them.
  Immagine img = aiuto::casuali(37 * 23 * 3, 1, -0.5f, 2.0f);
  img[5] = std::numeric_limits<float>::quiet_NaN();
  img[9] = std::numeric_limits<float>::infinity();
  const Immagine prima = img;
  for (float spento : {0.0f, -0.3f, -0.0f, std::numeric_limits<float>::quiet_NaN()}) {
    FxRicetta r;
    for (float FxRicetta::*campo : kQuanti) r.*campo = spento;
    r.fotogramma = 7;
    applica_fx(img, 37, 23, r);
    EXPECT_TRUE(stessi_bit(img, prima)) << spento;
  }
  const FxRicetta acceso = aiuto::tutto(8);
  applica_fx(img, 0, 23, acceso);
  applica_fx(img, -37, -23, acceso);
  applica_fx(img, 38, 23, acceso);  // the picture is short
  EXPECT_TRUE(stessi_bit(img, prima));
}

// Tiny frames, and lines over 1920 whose reduced side is 1, for AddressSanitizer.
TEST(Catena, EverythingOnAnySizeStaysInRange) {
  const FxRicetta r = aiuto::tutto(8);
  const std::pair<int, int> misure[] = {{1, 1}, {2, 2}, {1, 17}, {17, 1}, {1, 2000}, {2000, 1}, {61, 43}, {1920, 24}};
  for (auto [w, h] : misure) {
    const Immagine sorgente = aiuto::casuali(static_cast<size_t>(w * h * 3), static_cast<uint32_t>(w + 7 * h), 0.0f, 1.2f);
    Immagine img = sorgente;
    applica_fx(img, w, h, r);
    for (float v : img) ASSERT_TRUE(v >= 0.0f && v <= 1.0f) << w << "x" << h;
    EXPECT_FALSE(stessi_bit(img, sorgente)) << w << "x" << h;
  }
}
