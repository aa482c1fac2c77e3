// Skin diffusion and the three diffusion filters: radii, reductions, veil
// and neutrality.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "fx_effetti/comune.h"

namespace varno {
namespace {

using prova::Fotogramma;

struct Misura {
  int32_t w, h, raggio, riduzione;
};

// The halo of a white square over black, checked on every pixel off the square.
TEST(Diffusione, HaloRadiusAndReductionTables) {
  const struct {
    const char* nome;
    void (*fx)(Immagine&, const Piano&, const Quadro&, float, const Seguito&);
    float inizio, ampiezza;
    bool quadratico;
    float guadagno;
    std::vector<Misura> misure;
  } filtri[] = {
      // Black Pro-Mist: 3.5% of the longer side, at least 3; reduction at least 2.
      {"promist", fx_promist, 0.45f, 0.55f, true, 1.5f,
       {{1280, 40, 45, 2}, {40, 1920, 67, 2}, {2880, 40, 101, 3}, {40, 3840, 134, 4}, {4096, 40, 143, 4}, {20, 10, 3, 2}}},
      // Glimmerglass: 0.8%, at least 2; the reduction as it stands, so a
      // frame under 1920 blurs at full size.
      {"glimmer", fx_glimmer, 0.55f, 0.45f, false, 1.4f,
       {{1280, 40, 10, 1}, {100, 60, 2, 1}, {40, 3840, 31, 4}, {7680, 20, 61, 4}}},
  };
  for (const auto& filtro : filtri)
    for (const Misura& m : filtro.misure) {
      Fotogramma f = prova::quadrato(m.w, m.h);
      const Piano a = prova::alone_atteso(f, filtro.inizio, filtro.ampiezza, filtro.quadratico, m.raggio, m.riduzione);
      filtro.fx(f.img, f.luma, f.q, 0.55f, {});
      for (size_t i = 0; i < a.size(); ++i) {
        if (f.img[i * 3 + 1] == 1.0f) continue;  // the square itself
        const float h = std::fmin(a[i] * 0.55f * filtro.guadagno, 1.0f);
        ASSERT_EQ(f.img[i * 3 + 1], prova::schermo(h, 0.0f)) << filtro.nome << " " << m.w << "x" << m.h << " at " << i;
      }
    }
}

// White Pro-Mist: the Black Pro-Mist radii, with the halo from 0.35 up and a
// second screen of a veil, half the blurred luma and half the frame mean.
TEST(WhiteProMist, RadiusTableAndVeil) {
  for (const Misura m : {Misura{40, 2880, 101, 3}, {20, 10, 3, 2}}) {
    Fotogramma f = prova::quadrato(m.w, m.h);
    const Piano a = prova::alone_atteso(f, 0.35f, 0.65f, true, m.raggio, m.riduzione);
    Piano velo = f.luma;
    blur_su_ridotta(velo, m.w, m.h, m.raggio, m.riduzione);
    double media = 0;
    for (float l : f.luma) media += l / double(f.luma.size());
    fx_mistw(f.img, f.luma, f.q, 0.55f);
    for (size_t i = 0; i < a.size(); ++i) {
      if (f.img[i * 3 + 1] == 1.0f) continue;
      const double h = std::fmin(a[i] * 0.55 * 1.3, 1.0);
      const double v = 0.55 * 0.22 * (velo[i] * 0.5 + media * 0.5);
      ASSERT_NEAR(f.img[i * 3 + 1], h + v * (1 - h), 2e-7) << m.w << "x" << m.h << " at " << i;
    }
  }

  // Uniform luminance 0.5 at the largest grade: veil 0.0605 over a halo of
  // 0.5 * ((0.5 - 0.35) / 0.65)^2 * 0.55 * 1.3.
  Fotogramma f(64, 48, 0.5f, 0.5f, 0.5f);
  fx_mistw(f.img, f.luma, f.q, 0.55f);
  const double t = (0.5 - 0.35) / 0.65;
  const double s = 1 - (1 - 0.5 * t * t * 0.55 * 1.3) * 0.5;
  for (float c : f.img) EXPECT_NEAR(c, s + 0.0605 * (1 - s), 2e-6);
}

TEST(Glimmer, TheGlowIsNeutral) {
  // A saturated highlight gets one h on all three channels and drifts to white.
  Fotogramma f(40, 30, 2.0f, 0.5f, 0.1f);
  fx_glimmer(f.img, f.luma, f.q, 0.55f);
  const double l = 2.0 * 0.2126 + 0.5 * 0.7152 + 0.1 * 0.0722;
  const double h = l * (l - 0.55) / 0.45 * 0.55 * 1.4;
  const double atteso[3] = {1 - (1 - h) * (1 - 2.0), 1 - (1 - h) * 0.5, 1 - (1 - h) * 0.9};
  for (size_t i = 0; i < f.img.size(); ++i) EXPECT_NEAR(f.img[i], atteso[i % 3], 2e-6);
}

// A white line across grey: three box passes of radius r reach 3r pixels, so
// the detail taken out stops there. The radius is 0.7% of the longer side.
TEST(Pelle, RadiusFollowsTheLongerSideAndSaturatedDetailComesOff) {
  const struct { int32_t lungo; bool verticale; int32_t portata; } casi[] = {
      {1920, false, 3 * 13}, {1920, true, 3 * 13}, {100, false, 3 * 1}, {1000, true, 3 * 7}};
  for (const auto& c : casi) {
    const int32_t w = c.verticale ? 16 : c.lungo, h = c.verticale ? c.lungo : 16, linea = c.lungo / 2;
    Fotogramma f(w, h, 0.2f, 0.2f, 0.2f);
    for (int32_t i = 0; i < 16; ++i) f.imposta(c.verticale ? i : linea, c.verticale ? linea : i, 1.0f, 1.0f, 1.0f);
    f.aggiorna();
    const Immagine prima = f.img;
    fx_pelle(f.img, f.luma, f.q, 0.55f);
    int32_t portata = 0;
    for (int32_t d = 1; d < c.lungo / 2; ++d) {
      const size_t i = c.verticale ? size_t(linea + d) * size_t(w) : size_t(linea + d);
      if (std::fabs(f.img[i * 3] - prima[i * 3]) > 1e-6f) portata = d;
    }
    EXPECT_EQ(portata, c.portata) << c.lungo << (c.verticale ? " tall" : " wide");
  }
  // A highlight far above its surround saturates the detail at 1/3; 1.6 times
  // the amount of that comes off its luminance.
  Fotogramma punto(9, 9, 0.0f, 0.0f, 0.0f);
  punto.imposta(4, 4, 1.2f, 1.2f, 1.2f);
  punto.aggiorna();
  fx_pelle(punto.img, punto.luma, punto.q, 0.55f);
  EXPECT_NEAR(punto.px(4, 4)[1], 1.2 - 0.55 * 1.6 / 3, 1e-6);
}

}  // namespace
}  // namespace varno
