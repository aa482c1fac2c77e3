// The grading and writing passes on plain buffers: table lookup, window
// addressing, bounds, alpha.
#include <gtest/gtest.h>

#include <limits>

#include "render/render.h"

#include "aiuto.h"

namespace {

using namespace varno;

const float* campione(const Lut3D& t, int r, int g, int b) { return &t.dati[((b * 81 + g) * 81 + r) * 3]; }

RGB grada_un_pixel(const Lut3D& t, float r, float g, float b) {
  Immagine4 src({0, 0, 1, 1}, false, 0.0f);
  float* p = src.px(0, 0);
  p[0] = r, p[1] = g, p[2] = b, p[3] = 1.0f;
  Immagine img(3);
  Piano alfa(1);
  passata_colore(src.vista(), {0, 0, 1, 1}, t, img, alfa);
  return {img[0], img[1], img[2]};
}

void uguale_a_campione(RGB v, const float* s) {
  EXPECT_EQ(v.r, s[0]);
  EXPECT_EQ(v.g, s[1]);
  EXPECT_EQ(v.b, s[2]);
}

TEST(PassataColore, CornersGridPointsAndOutOfRangeSitOnExactSamples) {
  const Lut3D t = tabella(7);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  uguale_a_campione(grada_un_pixel(t, 0, 0, 0), campione(t, 0, 0, 0));
  uguale_a_campione(grada_un_pixel(t, 1, 1, 1), campione(t, 80, 80, 80));
  uguale_a_campione(grada_un_pixel(t, 0.5f, 0.25f, 0.0125f), campione(t, 40, 20, 1));
  uguale_a_campione(grada_un_pixel(t, 1.5f, -0.2f, nan), campione(t, 80, 0, 0));
  uguale_a_campione(grada_un_pixel(t, std::numeric_limits<float>::infinity(), 0, 1e30f), campione(t, 80, 0, 80));
}

TEST(PassataColore, InterpolatesRedThenGreenThenBlue) {
  const Lut3D t = tabella(11);
  const float r = 0.3f, g = 0.61f, b = 0.07f;
  const float pr = r * 80.0f, pg = g * 80.0f, pb = b * 80.0f;
  const int r0 = static_cast<int>(pr), g0 = static_cast<int>(pg), b0 = static_cast<int>(pb);
  const float tr = pr - r0, tg = pg - g0, tb = pb - b0;
  const RGB v = grada_un_pixel(t, r, g, b);
  const float got[3] = {v.r, v.g, v.b};
  for (int c = 0; c < 3; ++c) {
    auto S = [&](int i, int j, int k) { return static_cast<double>(campione(t, i, j, k)[c]); };
    double atteso = 0;
    for (int k = 0; k < 2; ++k)
      for (int j = 0; j < 2; ++j)
        for (int i = 0; i < 2; ++i)
          atteso += S(r0 + i, g0 + j, b0 + k) * (i ? tr : 1 - tr) * (j ? tg : 1 - tg) * (k ? tb : 1 - tb);
    EXPECT_NEAR(got[c], atteso, 2e-6) << "channel " << c;
  }
}

TEST(PassataColore, ReadsEachImageByItsOwnBoundsAndRowBytes) {
  const Lut3D t = tabella(3);
  // Source bottom-up with bounds offset from the window; window partly outside it.
  Immagine4 src({-5, 10, 7, 30}, true, -7.0f);
  for (int Y = 10; Y < 30; ++Y)
    for (int X = -5; X < 7; ++X) {
      float* p = src.px(X, Y);
      p[0] = (X + 5) / 11.0f, p[1] = (Y - 10) / 19.0f, p[2] = 0.5f, p[3] = static_cast<float>(X * 100 + Y);
    }
  const OfxRectI win{-8, 8, 4, 31};  // 12 x 23, sticks out of the source on three sides
  const int64_t W = 12, H = 23;
  Immagine img(W * H * 3);
  Piano alfa(W * H);
  passata_colore(src.vista(), win, t, img, alfa);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const int X = win.x1 + x, Y = win.y1 + y;
      const bool dentro = X >= -5 && X < 7 && Y >= 10 && Y < 30;
      const RGB atteso = dentro ? grada_un_pixel(t, src.px(X, Y)[0], src.px(X, Y)[1], src.px(X, Y)[2])
                                : grada_un_pixel(t, 0, 0, 0);
      const float* v = &img[(y * W + x) * 3];
      ASSERT_EQ(v[0], atteso.r) << x << "," << y;
      ASSERT_EQ(v[1], atteso.g);
      ASSERT_EQ(v[2], atteso.b);
      ASSERT_EQ(alfa[y * W + x], dentro ? static_cast<float>(X * 100 + Y) : 0.0f);
    }
}

TEST(PassataScrittura, WritesOnlyTheWindowInsideTheOutputBounds) {
  Immagine4 out({-3, -2, 9, 6}, true, -7.0f);  // bottom-up, negative row bytes
  const OfxRectI win{-5, 0, 4, 8};                   // sticks out left and top
  const int64_t W = 9, H = 8;
  Immagine img(W * H * 3);
  Piano alfa(W * H);
  for (int64_t i = 0; i < W * H; ++i) {
    img[i * 3] = static_cast<float>(i), img[i * 3 + 1] = 2.0f * i, img[i * 3 + 2] = -1.0f * i;
    alfa[i] = 0.5f * i;
  }
  passata_scrittura(out.vista(), win, img, alfa);
  for (int Y = -2; Y < 6; ++Y)
    for (int X = -3; X < 9; ++X) {
      const float* p = out.px(X, Y);
      const bool nella_finestra = X >= -5 && X < 4 && Y >= 0 && Y < 8;
      if (!nella_finestra) {
        for (int c = 0; c < 4; ++c) ASSERT_EQ(p[c], -7.0f) << X << "," << Y;
        continue;
      }
      const int64_t i = (Y - win.y1) * W + (X - win.x1);
      ASSERT_EQ(p[0], static_cast<float>(i));
      ASSERT_EQ(p[1], 2.0f * i);
      ASSERT_EQ(p[2], -1.0f * i);
      ASSERT_EQ(p[3], 0.5f * i);
    }
}

}  // namespace
