// Every instruction-set variant of the kernels this processor has, against the
// rules worked one pixel at a time (regole.h): the blurs, each stage alone,
// the chain with its shared passes, and White Pro-Mist's frame mean. Frames
// are sized off the vector widths, and their values reach below 0 and above
// 1 and include NaN, infinities and subnormals. Where the rule gives NaN, any
// NaN is taken: which of two NaN operands an operation passes on is the
// compiler's choice, for the rule as for the kernels.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <thread>
#include <utility>

#include "aiuto.h"
#include "fx/blur.h"
#include "fx/nuclei.h"
#include "fx/piani.h"
#include "regole.h"

using namespace varno;

namespace {

std::vector<Isa> varianti() {
  std::vector<Isa> v;
  for (Isa i : {Isa::sse2, Isa::avx2, Isa::avx512})
    if (nuclei_di(i) != nullptr) v.push_back(i);
#ifdef __SANITIZE_THREAD__
  // The bits of each variant are the release run's to prove; races need only one.
  v.erase(v.begin(), v.end() - 1);
#endif
  return v;
}

// Runs the body with the kernels held to each variant in turn.
template <class Corpo>
void per_variante(Corpo&& corpo) {
  for (Isa isa : varianti()) {
    limita_isa(isa);
    SCOPED_TRACE(nome_isa(isa));
    corpo();
  }
  limita_isa(Isa::avx512);
}

// Values below 0 and above 1; with `speciali`, also NaN, infinities,
// subnormals and -0. A NaN runs along every line a blur sums it into, so the
// finite frames are the ones that tell the bits of the blurred stages.
std::vector<float> ostili(size_t n, uint32_t seme, bool speciali) {
  std::vector<float> v = aiuto::casuali(n, seme, -0.3f, 1.6f);
  const float valori[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                          -std::numeric_limits<float>::infinity(), 1e-40f, -0.0f};
  if (speciali)
    for (size_t i = seme % 13; i < n; i += 97) v[i] = valori[(i / 97) % 5];
  return v;
}

::testing::AssertionResult come_la_regola(const std::vector<float>& v, const std::vector<float>& regola) {
  if (v.size() != regola.size()) return ::testing::AssertionFailure() << "size " << v.size();
  for (size_t i = 0; i < v.size(); ++i)
    if (std::memcmp(&v[i], &regola[i], sizeof(float)) != 0 && !(std::isnan(v[i]) && std::isnan(regola[i])))
      return ::testing::AssertionFailure() << "value " << i << ": " << v[i] << ", the rule " << regola[i];
  return ::testing::AssertionSuccess();
}

}  // namespace

// Radius 40 on short lines reaches past both ends; factor 5 has no vector path.
TEST(Varianti, BlursMatchTheirRules) {
  const std::pair<int, int> misure[] = {{1, 1}, {5, 3}, {17, 19}, {33, 8}, {100, 7}, {61, 43}};
  per_variante([&] {
    for (auto [w, h] : misure)
      for (int r : {1, 4, 40})
        for (bool speciali : {false, true}) {
        SCOPED_TRACE(testing::Message() << w << "x" << h << " radius " << r << (speciali ? " with NaN" : ""));
        const Piano p = ostili(static_cast<size_t>(w * h), static_cast<uint32_t>(w + h + r), speciali);
        Piano a = p, b = p;
        box_blur(a, w, h, r, 3);
        regola::box(b, w, h, r);
        ASSERT_TRUE(come_la_regola(a, b));
        for (int f : {1, 2, 3, 4, 5}) {
          SCOPED_TRACE(testing::Message() << "factor " << f);
          a = b = p;
          blur_su_ridotta(a, w, h, r, f);
          regola::blur_ridotta(b, w, h, r, f);
          ASSERT_TRUE(come_la_regola(a, b));
          a = b = p;
          blur_orizz_su_ridotta(a, w, h, r, f);
          regola::blur_orizz(b, w, h, r, f);
          ASSERT_TRUE(come_la_regola(a, b));
        }
      }
  });
}

namespace {

// Awkward widths and heights, and thin frames whose longer side gives
// reduction factors 2, 3 and 4.
const std::pair<int, int> kMisure[] = {{1, 1}, {2, 3}, {17, 19}, {37, 23}, {1921, 9}, {2883, 7}, {9, 3850}, {3850, 5}};

}  // namespace

TEST(Varianti, EachStageMatchesItsRule) {
  per_variante([&] {
    for (auto [w, h] : kMisure)
      for (int i = 0; i < 12; ++i)
        for (bool speciali : {false, true}) {
        SCOPED_TRACE(testing::Message() << w << "x" << h << " stage " << i << (speciali ? " with NaN" : ""));
        const Quadro q = calcola_quadro(w, h);
        const FxRicetta r = aiuto::tutto(6);
        const Immagine sorgente = ostili(static_cast<size_t>(w * h * 3), static_cast<uint32_t>(w * 7 + h + i), speciali);
        const Piano luma = regola::luma_di(sorgente);
        Immagine atteso = sorgente, img = sorgente;
        regola::stadio(i, atteso, luma, q, r);
        const float v = regola::quanto(i, r);
        switch (i) {
          case 0: fx_enhance(img, luma, q, v); break;
          case 1: fx_pelle(img, luma, q, v); break;
          case 2: fx_halation(img, luma, q, v); break;
          case 3: fx_bloom(img, luma, q, v); break;
          case 4: fx_streak(img, luma, q, v); break;
          case 5: fx_promist(img, luma, q, v); break;
          case 6: fx_stella(img, luma, q, v, r.punte); break;
          case 7: fx_mistw(img, luma, q, v); break;
          case 8: fx_glimmer(img, luma, q, v); break;
          case 9: fx_aberrazione(img, q, v); break;
          case 10: fx_vignetta(img, q, v); break;
          default: fx_grana(img, q, v, r.fotogramma); break;
        }
        ASSERT_TRUE(come_la_regola(img, atteso));
      }
  });
}

// The chain shares passes between stages (luma refreshed in a stage's last
// pass and only when a later stage reads it, vignette and grain on the last
// pass before them); the rule runs each stage by itself.
TEST(Varianti, TheChainMatchesItsRule) {
  std::vector<FxRicetta> ricette = {aiuto::tutto(4), aiuto::tutto(6), aiuto::tutto(8)};
  FxRicetta predefinita;
  predefinita.enhance = 0.06f;
  predefinita.halation = 0.28f;
  predefinita.bloom = 0.16f;
  predefinita.vignetta = 0.1f;
  ricette.push_back(predefinita);
  FxRicetta senza_ca = aiuto::tutto(8);
  senza_ca.ca = 0.0f;
  ricette.push_back(senza_ca);
  FxRicetta code = {};
  code.grana = 0.3f;
  code.vignetta = 0.5f;
  code.fotogramma = 3;
  ricette.push_back(code);
  // Pairs that hand a reduction over each way: after bloom (which leaves luma
  // as it was), after the column passes of skin diffusion and enhance, from
  // the first pass, with White Pro-Mist's frame mean at either end.
  const std::vector<std::vector<float FxRicetta::*>> coppie = {
      {&FxRicetta::bloom, &FxRicetta::streak},   {&FxRicetta::bloom, &FxRicetta::mistw},
      {&FxRicetta::bloom, &FxRicetta::promist},  {&FxRicetta::pelle, &FxRicetta::mistw},
      {&FxRicetta::enhance, &FxRicetta::halation}, {&FxRicetta::mistw},
      {&FxRicetta::halation, &FxRicetta::mistw, &FxRicetta::glimmer}, {&FxRicetta::stella, &FxRicetta::bloom}};
  for (const auto& campi : coppie) {
    FxRicetta r = {};
    for (float FxRicetta::*c : campi) r.*c = 0.5f;
    r.stella = r.stella > 0.0f ? 1.0f : 0.0f;
    r.grana = 0.2f;
    ricette.push_back(r);
  }
  per_variante([&] {
    for (auto [w, h] : kMisure)
      for (size_t k = 0; k < ricette.size(); ++k)
        for (bool speciali : {false, k == 0}) {
        if (w == 17 || (k >= 6 && (w * h < 800 || w < 20))) continue;  // the pairs at factors 1 to 4 only
        SCOPED_TRACE(testing::Message() << w << "x" << h << " recipe " << k << (speciali ? " with NaN" : ""));
        const Immagine sorgente = ostili(static_cast<size_t>(w * h * 3), static_cast<uint32_t>(w + 5 * h + k), speciali);
        Immagine atteso = sorgente, img = sorgente;
        regola::catena(atteso, w, h, ricette[k]);
        applica_fx(img, w, h, ricette[k]);
        ASSERT_TRUE(come_la_regola(img, atteso));
      }
  });
}

// The frame mean's blocks are added at once only where no rounding can
// happen; anything else goes value by value. Lines of one full block, one
// short block and a remainder; values from the fine end of the float range,
// totals that cross many powers of two, cancellations, coarse values that
// cancel after a total with fine bits (one by one they round those away),
// and non-finite values.
TEST(Varianti, TheFrameMeanAddsAsOneValueAfterAnother) {
  std::mt19937 gen(17);
  std::uniform_real_distribution<float> u(0.0f, 1.0f);
  auto serie = [&](size_t n, int tipo) {
    std::vector<float> v(n);
    for (size_t i = 0; i < n; ++i) {
      const float x = u(gen);
      switch (tipo) {
        case 0: v[i] = x; break;                                          // ordinary luma
        case 1: v[i] = i % 7 == 0 ? x * 1e-6f : x; break;                 // a few fine values
        case 2: v[i] = std::ldexp(x, static_cast<int>(i % 60) - 30); break;  // many binades
        case 3: v[i] = i % 2 ? -v[i - 1] : x * 1e3f; break;               // cancellations
        case 4: v[i] = i % 3 ? 1e-40f * x : -x; break;                    // subnormals and negatives
        case 5: v[i] = i < 256 ? x * 1e-6f : i % 2 ? -v[i - 1] : std::round(x * 16.0f) * 1048576.0f; break;
        default: v[i] = i == n / 2 ? std::numeric_limits<float>::infinity() : x; break;
      }
    }
    return v;
  };
  per_variante([&] {
    for (auto [w, h] : {std::pair<int, int>{1, 1}, {256, 3}, {257, 40}, {1000, 37}, {3, 500}})
      for (int tipo = 0; tipo < 7; ++tipo) {
        const std::vector<float> v = serie(static_cast<size_t>(w * h), tipo);
        double atteso = 0.0;
        for (float x : v) atteso += static_cast<double>(x);
        const double s = somma_in_ordine(nuclei(), v.data(), w, h);
        EXPECT_TRUE(std::memcmp(&s, &atteso, sizeof s) == 0) << w << "x" << h << " kind " << tipo << ": " << s << " " << atteso;
      }
  });
}

// Aberration copies the rows its samples reach just before it overwrites
// them, working in bands of rows; the reach grows with the strength and the
// frame's height. Reaches of a few rows and of dozens, a last band shorter
// than the rows copied at its ends, and strengths no band can hold.
TEST(Varianti, AberrationReachesTheRowsItNeedsAtAnyStrength) {
  const struct {
    int w, h;
    float ca;
  } casi[] = {{40, 1000, 0.6f}, {33, 700, 2.5f}, {24, 1300, 5.0f}, {31, 400, 1e30f},
              {17, 300, std::numeric_limits<float>::infinity()}};
  per_variante([&] {
    for (const auto& c : casi) {
      SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << " strength " << c.ca);
      const Quadro q = calcola_quadro(c.w, c.h);
      const Immagine sorgente = ostili(static_cast<size_t>(c.w * c.h * 3), static_cast<uint32_t>(c.h), false);
      Immagine atteso = sorgente, img = sorgente;
      regola::aberrazione(atteso, q, c.ca);
      fx_aberrazione(img, q, c.ca);
      ASSERT_TRUE(come_la_regola(img, atteso));
    }
  });
}

// From 2048x2048 up, a plane is larger than the caches and the passes stream
// their stores past them: that path too gives the rule's bits.
TEST(Varianti, PlanesLargerThanTheCachesStreamTheSameBits) {
  const int w = 2048, h = 2048;
  const Piano p = ostili(static_cast<size_t>(w) * h, 7, false);
  const Immagine sorgente = ostili(static_cast<size_t>(w) * h * 3, 11, false);
  const Quadro q = calcola_quadro(w, h);
  const FxRicetta r = aiuto::tutto(6);
  Piano b = p;
  regola::box(b, w, h, 5);
  Immagine atteso = sorgente;
  regola::stadio(9, atteso, regola::luma_di(sorgente), q, r);
  per_variante([&] {
    Piano a = p;
    box_blur(a, w, h, 5, 3);
    EXPECT_TRUE(come_la_regola(a, b));
    Immagine img = sorgente;
    fx_aberrazione(img, q, regola::quanto(9, r));
    EXPECT_TRUE(come_la_regola(img, atteso));
  });
}

// The halation mask raises its ramp to 1.6 by the C library's own steps in
// double lanes (SSE2 calls powf itself). Every float from 2^-24 to 1 gets
// powf's bits: the ramp gives nothing smaller but 0. Below, every 1009th, and
// the inputs outside powf's usual path (0, 1, subnormals, results that
// underflow, negatives, infinities, NaN) that go to powf itself. The
// sanitizers take every 61st.
TEST(Varianti, TheHalationPowerIsPowfForEveryInputTheRampGives) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  constexpr uint32_t kFitto = 61;
#else
  constexpr uint32_t kFitto = 1;
#endif
  constexpr uint32_t kRado = 1009, kSoglia = 0x33800000u /* 2^-24 */, kFine = 0x3f800000u /* 1 */;
  std::vector<Isa> isa = varianti();
  isa.erase(std::remove(isa.begin(), isa.end(), Isa::sse2), isa.end());
  // Values each variant got wrong, by thread.
  std::vector<uint64_t> sbagliati(2 * isa.size(), 0);
  auto confronta = [&](std::vector<float>& t, int filo) {
    std::vector<float> atteso(t.size()), r(t.size());
    for (size_t i = 0; i < t.size(); ++i) atteso[i] = std::pow(t[i], 1.6f);
    for (size_t v = 0; v < isa.size(); ++v) {
      nuclei_di(isa[v])->potenza(t.data(), r.data(), static_cast<int64_t>(t.size()));
      if (std::memcmp(r.data(), atteso.data(), t.size() * sizeof(float)) == 0) continue;
      for (size_t i = 0; i < t.size(); ++i)
        if (std::memcmp(&r[i], &atteso[i], sizeof(float)) != 0 && !(std::isnan(r[i]) && std::isnan(atteso[i])))
          ++sbagliati[2 * v + static_cast<size_t>(filo)];
    }
  };
  // The floats with bits da, da + passo, ... below a, in blocks.
  auto intervallo = [&](uint32_t da, uint32_t a, uint32_t passo, int filo) {
    std::vector<float> t;
    for (uint64_t b = da; b < a; b += passo) {
      const uint32_t bit = static_cast<uint32_t>(b);
      t.push_back(0.0f);
      std::memcpy(&t.back(), &bit, sizeof bit);
      if (t.size() == (1u << 16)) confronta(t, filo), t.clear();
    }
    if (!t.empty()) confronta(t, filo);
  };
  const uint32_t meta = kSoglia + (kFine - kSoglia) / 2;
  std::thread altro([&] { intervallo(meta, kFine, kFitto, 1); });
  intervallo(kSoglia, meta, kFitto, 0);
  intervallo(1, kSoglia, kRado * kFitto, 0);
  std::vector<float> speciali = {0.0f, -0.0f, 1.0f, 1e-40f, 1e-45f, 1.17549435e-38f, 0x1p-78f, 0x1p-80f, 0x1p-94f,
                                 -0.5f, 2.0f, std::numeric_limits<float>::infinity(),
                                 std::numeric_limits<float>::quiet_NaN()};
  confronta(speciali, 0);
  altro.join();
  for (size_t v = 0; v < isa.size(); ++v)
    EXPECT_EQ(sbagliati[2 * v] + sbagliati[2 * v + 1], 0u) << nome_isa(isa[v]);
}
