// The table's sampler: every vector variant this processor has gives exactly
// the bits of the one-pixel rule, and grading straight into the output gives
// exactly what grading into the working image and copying it out gives.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "fx/fx.h"
#include "render/campionatore.h"
#include "render/cpu.h"
#include "render/render.h"

#include "aiuto.h"

namespace {

using namespace varno;

// Source pixels: mostly inside 0..1, with every kind of edge value among them.
std::vector<float> sorgente(size_t pixel, uint32_t seme) {
  const float speciali[] = {0.0f, -0.0f, 1.0f, 0.99999994f, 1.0000001f, 0.5f, 0.0125f, -0.2f, 1.5f,
                            std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity(), 1e-40f, 1e30f};
  std::mt19937 g(seme);
  std::uniform_real_distribution<float> d(0.0f, 1.0f);
  std::vector<float> v(pixel * 4);
  for (size_t i = 0; i < v.size(); ++i) {
    const float x = d(g);
    v[i] = x < 0.12f ? speciali[static_cast<size_t>(x * 1000) % (sizeof speciali / sizeof speciali[0])] : d(g);
  }
  return v;
}

bool stessi_bit(const float* a, const float* b, size_t n) { return std::memcmp(a, b, n * sizeof(float)) == 0; }

TEST(Campionatore, EveryVariantGivesTheBitsOfTheOnePixelRule) {
  const Lut3D t = tabella(3);
  // Rows with pixels on the table's last point, rows that are all inside its
  // cells, rows inside its first and last cells only (where the wider loads
  // reach furthest), and smooth rows whose long runs fall in one cell (and
  // variants may take them together), whole or broken by one pixel in the
  // next cell along each axis in turn or on the last point; at every length
  // up to a few vector widths and around the lengths a row is worked in.
  for (int caso = 0; caso < 8; ++caso) {
    std::vector<float> s = sorgente(160, 9 + caso);
    if (caso == 1)
      for (float& v : s)
        if (v != v || v >= 1.0f || v <= 0.0f) v = 0.37f;  // only whole cells
    if (caso == 2) {
      const float estremi[] = {1e-6f, 0.012f, 0.9876f, 0.99999994f};
      std::mt19937 g(11);
      for (float& v : s) v = estremi[g() % 4];
    }
    if (caso >= 3) {
      for (size_t i = 0; i < 160; ++i) {
        float* p = &s[i * 4];
        // Cell 33, 20, 57 of 80, fractions from 0 (on the grid point) up.
        p[0] = (33.0f + static_cast<float>(i % 17) / 17.0f) / 80.0f;
        p[1] = 0.25f + static_cast<float>(i) * 1e-5f;
        p[2] = (57.0f + 0.5f) / 80.0f - static_cast<float>(i) * 1e-6f;
        p[3] = i == 5 ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(i) * -0.25f;
      }
      const int rottura = caso - 4;  // -1: whole
      if (rottura >= 0 && rottura < 3) s[9 * 4 + static_cast<size_t>(rottura)] += 1.0f / 80.0f;
      if (rottura == 3) s[20 * 4 + 1] = 1.0f;
    }
    std::vector<float> attesi(160 * 3);
    for (size_t i = 0; i < 160; ++i) campiona_pixel(t, &s[i * 4], &attesi[i * 3]);
    std::vector<int64_t> lunghezze = {63, 64, 65, 127, 128, 129, 160};
    for (int64_t n = 37; n >= 0; --n) lunghezze.insert(lunghezze.begin(), n);
    for (int isa = 0; isa <= static_cast<int>(isa_disponibile()); ++isa) {
      limita_isa(static_cast<Isa>(isa));
      SCOPED_TRACE(nome_isa(static_cast<Isa>(isa)));
      for (const int64_t n : lunghezze) {
        // Guards around the output show a store past the row's end.
        std::vector<float> rgb(n * 3 + 8, -9.0f), alfa(n + 8, -9.0f), rgba(n * 4 + 8, -9.0f);
        campiona_riga(t, s.data(), n, rgb.data() + 4, alfa.data() + 4);
        campiona_riga_rgba(t, s.data(), n, rgba.data() + 4);
        ASSERT_TRUE(stessi_bit(rgb.data() + 4, attesi.data(), static_cast<size_t>(n) * 3)) << "n " << n;
        for (int64_t i = 0; i < n; ++i) {
          ASSERT_TRUE(stessi_bit(&alfa[4 + i], &s[i * 4 + 3], 1)) << "alpha " << i;
          ASSERT_TRUE(stessi_bit(&rgba[4 + i * 4], &attesi[i * 3], 3)) << "n " << n << " pixel " << i;
          ASSERT_TRUE(stessi_bit(&rgba[4 + i * 4 + 3], &s[i * 4 + 3], 1)) << "n " << n << " alpha " << i;
        }
        for (int k = 0; k < 4; ++k) {
          ASSERT_EQ(rgb[k], -9.0f);
          ASSERT_EQ(rgb[4 + n * 3 + k], -9.0f) << "n " << n;
          ASSERT_EQ(alfa[4 + n + k], -9.0f) << "n " << n;
          ASSERT_EQ(rgba[4 + n * 4 + k], -9.0f) << "n " << n;
        }
      }
    }
    limita_isa(Isa::avx512);
  }
}

TEST(PassataDiretta, GivesTheBitsOfGradingThenWritingForAnyWindowAndBounds) {
  const Lut3D t = tabella(5);
  const struct {
    OfxRectI finestra, sorgente, uscita;
    bool capovolta;
  } casi[] = {
      {{0, 0, 37, 19}, {0, 0, 37, 19}, {0, 0, 37, 19}, false},
      {{-6, -3, 30, 20}, {-2, 0, 25, 18}, {-8, -5, 40, 22}, true},   // source short on every side
      {{0, 0, 40, 20}, {-5, -5, 45, 25}, {3, 2, 33, 17}, false},     // output short on every side
      {{10, 10, 30, 26}, {40, 40, 60, 60}, {0, 0, 50, 50}, true},    // no source at all in the window
      {{0, 0, 21, 17}, {0, 5, 21, 9}, {0, 0, 21, 17}, false},        // source only on a few rows
  };
  for (const auto& c : casi)
  for (const int scarto : {0, 4, 1}) {
    Immagine4 src(c.sorgente, c.capovolta, 0.0f);
    const std::vector<float> s = sorgente(src.mem.size() / 4, 11);
    src.mem = s;
    Immagine4 a(c.uscita, !c.capovolta, -7.0f, scarto), b(c.uscita, !c.capovolta, -7.0f, scarto);
    const int64_t W = c.finestra.x2 - c.finestra.x1, H = c.finestra.y2 - c.finestra.y1;
    Immagine img(static_cast<size_t>(W * H * 3));
    Piano alfa(static_cast<size_t>(W * H));
    passata_colore(src.vista(), c.finestra, t, img, alfa);
    passata_scrittura(a.vista(), c.finestra, img, alfa);
    passata_diretta(src.vista(), b.vista(), c.finestra, t);
    EXPECT_TRUE(a.come(b))
        << c.finestra.x1 << "," << c.finestra.y1 << " " << c.finestra.x2 << "," << c.finestra.y2 << " offset " << scarto;
  }
}

// With effects on, the chain's last pass writes the output itself: the same
// bits as running the chain on the picture and copying it out, whichever
// pass comes last (enhance's columns, a glow's composite, White Pro-Mist's
// four planes, the aberration, the vignette and grain alone), for any window
// and output bounds, on rows aligned to whole vectors, to 16 bytes or not at
// all.
TEST(PassataDiretta, TheChainsLastPassWritesWhatCopyingThePictureOutWould) {
  std::vector<FxRicetta> ricette(6);
  ricette[0].enhance = 0.5f;
  ricette[1].halation = 0.6f;
  ricette[1].vignetta = 0.4f;
  ricette[2].mistw = 0.5f;
  ricette[3] = {0.3f, 0.6f, 0.5f, 0.3f, 0.4f, 0.3f, 0.5f, 0.4f, 7, 0.4f, 0.4f, 0.4f, 0.8f, 6};
  ricette[4].grana = 0.5f;
  ricette[4].vignetta = 0.2f;
  ricette[5].ca = 0.7f;
  const struct {
    OfxRectI finestra, uscita;
    bool capovolta;
  } casi[] = {
      {{0, 0, 37, 19}, {0, 0, 37, 19}, false},
      {{-6, -3, 30, 20}, {-8, -5, 40, 22}, true},  // output larger than the window
      {{0, 0, 40, 20}, {3, 2, 33, 17}, false},     // output short on every side
      {{0, 0, 1931, 6}, {5, 1, 1925, 6}, true},    // wide enough for reduced glows
  };
  for (int isa = 0; isa <= static_cast<int>(isa_disponibile()); ++isa)
  for (const FxRicetta& r : ricette)
    for (const auto& c : casi)
      for (const int scarto : {0, 4, 1}) {
        limita_isa(static_cast<Isa>(isa));
        const int64_t W = c.finestra.x2 - c.finestra.x1, H = c.finestra.y2 - c.finestra.y1;
        const std::vector<float> s = sorgente(static_cast<size_t>(W * H), 13);
        Immagine img(static_cast<size_t>(W * H * 3));
        Piano alfa(static_cast<size_t>(W * H));
        for (int64_t i = 0; i < W * H; ++i) {
          for (int k = 0; k < 3; ++k) img[static_cast<size_t>(i * 3 + k)] = s[static_cast<size_t>(i * 4 + k)];
          alfa[static_cast<size_t>(i)] = s[static_cast<size_t>(i * 4 + 3)];
        }
        Immagine4 a(c.uscita, c.capovolta, -7.0f, scarto), b(c.uscita, c.capovolta, -7.0f, scarto);
        Immagine copia = img;
        ASSERT_FALSE(applica_fx(copia, static_cast<int32_t>(W), static_cast<int32_t>(H), r));
        passata_scrittura(a.vista(), c.finestra, copia, alfa);
        const Uscita u = uscita_di(b.vista(), c.finestra, alfa);
        ASSERT_TRUE(applica_fx(img, static_cast<int32_t>(W), static_cast<int32_t>(H), r, nullptr, &u));
        ASSERT_TRUE(a.come(b))
            << nome_isa(static_cast<Isa>(isa)) << " recipe " << (&r - ricette.data()) << " window " << c.finestra.x2
            << "x" << c.finestra.y2 << " offset " << scarto;
      }
  limita_isa(Isa::avx512);
}

}  // namespace
