// The chain as a whole: switches, order, luma between stages, frame sizes, threads.
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <utility>

#include "aiuto.h"
#include "render/parallelo.h"

using namespace varno;
using aiuto::stessi_bit;

namespace {

// The stages in the chain's order, each called with its amount on the luma it is handed.
struct Stadio {
  const char* nome;
  float FxRicetta::*campo;
  float quanto;
  bool legge_luma;
  std::function<void(Immagine&, const Piano&, const Quadro&)> applica;
};

const Stadio kStadi[] = {
    {"enhance", &FxRicetta::enhance, 0.6f, true, [](Immagine& i, const Piano& l, const Quadro& q) { fx_enhance(i, l, q, 0.6f); }},
    {"pelle", &FxRicetta::pelle, 0.55f, true, [](Immagine& i, const Piano& l, const Quadro& q) { fx_pelle(i, l, q, 0.55f); }},
    {"halation", &FxRicetta::halation, 0.6f, true, [](Immagine& i, const Piano& l, const Quadro& q) { fx_halation(i, l, q, 0.6f); }},
    {"bloom", &FxRicetta::bloom, 0.6f, true, [](Immagine& i, const Piano& l, const Quadro& q) { fx_bloom(i, l, q, 0.6f); }},
    {"streak", &FxRicetta::streak, 0.6f, true, [](Immagine& i, const Piano& l, const Quadro& q) { fx_streak(i, l, q, 0.6f); }},
    {"promist", &FxRicetta::promist, 0.55f, true, [](Immagine& i, const Piano& l, const Quadro& q) { fx_promist(i, l, q, 0.55f); }},
    {"stella", &FxRicetta::stella, 1.0f, true, [](Immagine& i, const Piano& l, const Quadro& q) { fx_stella(i, l, q, 1.0f, 4); }},
    {"mistw", &FxRicetta::mistw, 0.55f, true, [](Immagine& i, const Piano& l, const Quadro& q) { fx_mistw(i, l, q, 0.55f); }},
    {"glimmer", &FxRicetta::glimmer, 0.55f, true, [](Immagine& i, const Piano& l, const Quadro& q) { fx_glimmer(i, l, q, 0.55f); }},
    {"ca", &FxRicetta::ca, 0.6f, false, [](Immagine& i, const Piano&, const Quadro& q) { fx_aberrazione(i, q, 0.6f); }},
    {"vignetta", &FxRicetta::vignetta, 0.6f, false, [](Immagine& i, const Piano&, const Quadro& q) { fx_vignetta(i, q, 0.6f); }},
    {"grana", &FxRicetta::grana, 0.6f, false, [](Immagine& i, const Piano&, const Quadro& q) { fx_grana(i, q, 0.6f, 0); }},
};

}  // namespace

TEST(Catena, OffAmountsAndBadSizesLeaveThePictureBitForBit) {
  // Out-of-range and non-finite picture values too: nothing may touch them.
  Immagine img = aiuto::casuali(37 * 23 * 3, 1, -0.5f, 2.0f);
  img[5] = std::numeric_limits<float>::quiet_NaN();
  img[9] = std::numeric_limits<float>::infinity();
  const Immagine prima = img;
  for (float spento : {0.0f, -0.3f, -0.0f, std::numeric_limits<float>::quiet_NaN()}) {
    FxRicetta r;
    for (const Stadio& s : kStadi) r.*s.campo = spento;
    r.fotogramma = 7;
    applica_fx(img, 37, 23, r);
    EXPECT_TRUE(stessi_bit(img, prima)) << spento;
  }
  FxRicetta acceso;
  for (const Stadio& s : kStadi) acceso.*s.campo = s.quanto;
  applica_fx(img, 0, 23, acceso);
  applica_fx(img, -37, -23, acceso);
  applica_fx(img, 38, 23, acceso);  // the picture is short
  EXPECT_TRUE(stessi_bit(img, prima));
}

// Pairs that together switch on every stage: the chain gives the two called by hand
// in order, the second on the luma the first left, or after bloom the luma before it.
TEST(Catena, StagesRunInOrderAndReadRefreshedLumaExceptAfterBloom) {
  const int w = 64, h = 40;
  const Immagine sorgente = aiuto::casuali(static_cast<size_t>(w * h * 3), 4, 0.0f, 1.2f);
  const Quadro q = calcola_quadro(w, h);
  const std::pair<int, int> coppie[] = {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {3, 5}, {3, 6},
                                        {3, 7}, {3, 8}, {8, 9}, {9, 10}, {10, 11}};
  for (const auto& [ia, ib] : coppie) {
    const Stadio &a = kStadi[ia], &b = kStadi[ib];
    SCOPED_TRACE(testing::Message() << a.nome << " then " << b.nome);
    FxRicetta r;
    r.*a.campo = a.quanto;
    r.*b.campo = b.quanto;
    Immagine catena = sorgente, img = sorgente;
    applica_fx(catena, w, h, r);
    const Piano prima = aiuto::luma_di(img, q);
    a.applica(img, prima, q);
    Immagine vecchia = img, nuova = img;
    b.applica(vecchia, prima, q);
    b.applica(nuova, aiuto::luma_di(img, q), q);
    if (b.legge_luma) {
      ASSERT_FALSE(stessi_bit(vecchia, nuova)) << "the frame cannot tell";
    }
    EXPECT_TRUE(stessi_bit(catena, a.campo == &FxRicetta::bloom ? vecchia : nuova));
  }
}

// Tiny frames, and lines over 1920 whose reduced side is 1, for AddressSanitizer;
// then frames that split over threads, one of them reduced.
TEST(Catena, EverythingOnAnySizeSameBitsOnOneOrManyThreads) {
  FxRicetta r;
  for (const Stadio& s : kStadi) r.*s.campo = s.quanto;
  r.punte = 8;
  r.fotogramma = -7;
  const std::pair<int, int> misure[] = {{1, 1}, {2, 2}, {1, 17}, {17, 1}, {1, 2000}, {2000, 1}, {61, 43}, {1920, 24}};
  for (auto [w, h] : misure) {
    const Immagine sorgente = aiuto::casuali(static_cast<size_t>(w * h * 3), static_cast<uint32_t>(w + 7 * h), 0.0f, 1.2f);
    Immagine uno;
    for (unsigned n : {1u, 2u, 7u}) {
      imposta_thread_hardware(n);
      Immagine img = sorgente;
      applica_fx(img, w, h, r);
      imposta_thread_hardware(0);
      for (float v : img) ASSERT_TRUE(v >= 0.0f && v <= 1.0f) << w << "x" << h;
      if (n == 1) uno = img;
      EXPECT_TRUE(stessi_bit(img, uno)) << w << "x" << h << " on " << n << " threads";
    }
    EXPECT_FALSE(stessi_bit(uno, sorgente)) << w << "x" << h;
  }
}
