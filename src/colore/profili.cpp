#include "colore/profili.h"

#include <cmath>

#include "colore/curve.h"

namespace varno {

static_assert(kCampioniCurva == kCampioniPerCurva, "one sample count for curves and profiles");

namespace {

// Linear camera RGB to linear Rec.709, row-major, as derived once in double precision.
#define MATRICE_A {1.6269474f, -0.54013854f, -0.08680887f, -0.17851552f, 1.417941f, -0.2394254f, \
                   -0.044436116f, -0.19591996f, 1.2403561f}
#define MATRICE_B {1.6175245f, -0.5372862f, -0.08023815f, -0.070572704f, 1.3346128f, -0.2640402f, \
                   -0.021102047f, -0.22695361f, 1.2480559f}
#define MATRICE_C {1.8931234f, -0.7808815f, -0.11224194f, -0.20570035f, 1.3402575f, -0.13455713f, \
                   -0.012705743f, -0.15218487f, 1.1648906f}
#define MATRICE_D {1.9238613f, -0.79876065f, -0.12510063f, -0.20431085f, 1.4958985f, -0.29158765f, \
                   -0.023685021f, -0.420127f, 1.443812f}
#define MATRICE_E {1.8065736f, -0.69569814f, -0.110878564f, -0.17008904f, 1.3059548f, -0.13586482f, \
                   -0.025205692f, -0.15446776f, 1.1796737f}
#define MATRICE_F {1.660491f, -0.5876411f, -0.07284986f, -0.12455048f, 1.1328999f, -0.008349422f, \
                   -0.018150764f, -0.1005789f, 1.1187297f}
#define MATRICE_G {1.9819754f, -0.90043306f, -0.0815455f, -0.17814313f, 1.5004685f, -0.32232445f, \
                   -0.10179611f, -0.53526324f, 1.6370596f}
// Rows sum to 0.99995, 1.00004 and 0.99972; kept as they stand.
#define MATRICE_H {1.6748419f, -0.57996744f, -0.09492718f, -0.09812538f, 1.3340461f, -0.23587725f, \
                   -0.04100864f, -0.24302186f, 1.283755f}
#define MATRICE_I {1.8779151f, -0.7941688f, -0.083746366f, -0.17680699f, 1.3509996f, -0.17419264f, \
                   -0.026201127f, -0.14842226f, 1.1746234f}
#define MATRICE_J {1.9902711f, -0.95448315f, -0.035787858f, -0.19542275f, 1.3888952f, -0.19347237f, \
                   -0.036936667f, -0.13918681f, 1.1761235f}
#define MATRICE_K {1.7257292f, -0.69432944f, -0.031399798f, -0.194897f, 1.455904f, -0.261007f, \
                   -0.05386676f, -0.18785037f, 1.2417171f}
// Identity as a double-precision product of N709 with its inverse; the residues stay.
#define MATRICE_L {1.0f, -5.188935e-16f, -1.1528166e-16f, 1.2997489e-16f, 1.0f, 3.3527093e-17f, \
                   -3.829536e-18f, -1.608237e-17f, 1.0f}
#define MATRICE_M {1.2249402f, -0.22494018f, -6.4628376e-17f, -0.042056955f, 1.0420569f, \
                   2.3343009e-17f, -0.019637555f, -0.07863604f, 1.0982736f}
#define MATRICE_N {2.1198516f, -1.075705f, -0.044146415f, -0.23033586f, 1.3724421f, -0.1421063f, \
                   -0.014227433f, -0.15022498f, 1.1644524f}
#define MATRICE_O {1.7072804f, -0.5190199f, -0.18826045f, -0.12501074f, 1.3146623f, -0.18965162f, \
                   -0.043624334f, -0.19121437f, 1.2348387f}

// Row 0 decodes analytically with a matrix of its own, slightly off matrix A on purpose:
// rows sum to 0.99984, 1.00002 and 1.00024.
constexpr float kMatriceSLog3Cine[9] = {1.6266885f,   -0.54005265f, -0.08679532f,
                                        -0.17851967f, 1.4179736f,   -0.23943081f,
                                        -0.04444674f, -0.19596688f, 1.2406536f};

}  // namespace

const ProfiloCamera PROFILI[kNumeroProfili] = {
    {"Sony S-Log3 / S-Gamut3.Cine", MATRICE_A, campioni(IdCurva::SLog3)},
    {"ARRI LogC3 / Wide Gamut 3", MATRICE_B, campioni(IdCurva::LogC3)},
    {"ARRI LogC4 / Wide Gamut 4", MATRICE_C, campioni(IdCurva::LogC4)},
    {"Canon Log 3 / Cinema Gamut", MATRICE_D, campioni(IdCurva::CanonLog3)},
    {"Panasonic V-Log / V-Gamut", MATRICE_E, campioni(IdCurva::VLog)},
    {"Fujifilm F-Log / F-Gamut", MATRICE_F, campioni(IdCurva::FLog)},
    {"Fujifilm F-Log2 / F-Gamut", MATRICE_F, campioni(IdCurva::FLog2)},
    {"RED Log3G10 / WideGamutRGB", MATRICE_G, campioni(IdCurva::Log3G10)},
    {"Nikon N-Log / N-Gamut", MATRICE_F, campioni(IdCurva::NLog)},
    {"DJI D-Log / D-Gamut", MATRICE_H, campioni(IdCurva::DLog)},
    {"Apple Log / Rec.2020", MATRICE_F, campioni(IdCurva::AppleLog)},
    {"Sony S-Log3 / S-Gamut3", MATRICE_I, campioni(IdCurva::SLog3)},
    {"Sony S-Log2 / S-Gamut", MATRICE_I, campioni(IdCurva::SLog2)},
    {"Sony Venice S-Log3 / SGamut3", MATRICE_J, campioni(IdCurva::SLog3)},
    {"Sony Venice S-Log3 / SG3.Cine", MATRICE_K, campioni(IdCurva::SLog3)},
    {"Sony S-Log3 / S-Gamut", MATRICE_I, campioni(IdCurva::SLog3)},
    {"Sony S-Log3 / BT.2020", MATRICE_F, campioni(IdCurva::SLog3)},
    {"Sony S-Log3 / 709", MATRICE_L, campioni(IdCurva::SLog3)},
    {"Sony S-Log2 / BT.2020", MATRICE_F, campioni(IdCurva::SLog2)},
    {"Sony S-Log2 / 709", MATRICE_L, campioni(IdCurva::SLog2)},
    {"Apple Log / P3-D65", MATRICE_M, campioni(IdCurva::AppleLog)},
    {"Apple Log / 709", MATRICE_L, campioni(IdCurva::AppleLog)},
    {"Canon Log 3 / BT.2020", MATRICE_F, campioni(IdCurva::CanonLog3)},
    {"Canon Log 3 / BT.709", MATRICE_L, campioni(IdCurva::CanonLog3)},
    {"Canon Log 2 / Cinema Gamut", MATRICE_D, campioni(IdCurva::CanonLog2)},
    {"Canon Log 2 / BT.2020", MATRICE_F, campioni(IdCurva::CanonLog2)},
    {"Canon Log 2 / BT.709", MATRICE_L, campioni(IdCurva::CanonLog2)},
    // The C variant keeps the F-Log2 curve.
    {"Fujifilm F-Log2 C / F-Gamut C", MATRICE_N, campioni(IdCurva::FLog2)},
    {"Leica L-Log / Rec.2020", MATRICE_F, campioni(IdCurva::LLog)},
    // Apple Log 2 keeps the Apple Log curve.
    {"Apple Log 2 / Apple Wide Gamut", MATRICE_O, campioni(IdCurva::AppleLog)},
    {"Rec.709 (No Log)", MATRICE_L, campioni(IdCurva::Bt709Inversa)},
    {"sRGB (No Log)", MATRICE_L, campioni(IdCurva::SrgbInversa)},
};

#undef MATRICE_A
#undef MATRICE_B
#undef MATRICE_C
#undef MATRICE_D
#undef MATRICE_E
#undef MATRICE_F
#undef MATRICE_G
#undef MATRICE_H
#undef MATRICE_I
#undef MATRICE_J
#undef MATRICE_K
#undef MATRICE_L
#undef MATRICE_M
#undef MATRICE_N
#undef MATRICE_O

namespace {

// Linear interpolation in the samples. A code of 1 or more gives the last sample exactly;
// 0, below or not a number gives the first, so nothing extrapolates below the curve.
float campiona(const float* curva, float x) {
  if (x > 0.0f && x < 1.0f) {
  } else if (x >= 1.0f) {
    return curva[kCampioniCurva - 1];
  } else {
    x = 0.0f;
  }
  const float p = x * 4095.0f;
  int i = static_cast<int>(p);
  if (i > kCampioniCurva - 2) i = kCampioniCurva - 2;
  const float f = p - static_cast<float>(i);
  return (1.0f - f) * curva[i] + f * curva[i + 1];
}

// S-Log3 by its formula: codes outside 0..1 continue along it. Not a number takes the
// linear branch.
float slog3_analitica(float x) {
  const float y = x * 1023.0f;
  if (x >= 0.16736099f) return powf(10.0f, (y - 420.0f) / 261.5f) * 0.19000001f - 0.01f;
  return ((y - 95.0f) * 0.01125f) / 76.2103f;
}

RGB per_matrice(const float* m, float r, float g, float b) {
  return RGB{(m[0] * r + m[1] * g) + m[2] * b, (m[3] * r + m[4] * g) + m[5] * b,
             (m[6] * r + m[7] * g) + m[8] * b};
}

}  // namespace

float linearizza(float codice, int32_t profilo) {
  if (profilo <= 0) return slog3_analitica(codice);
  return campiona(PROFILI[profilo < kNumeroProfili ? profilo : kNumeroProfili - 1].curva, codice);
}

RGB a_rec709(RGB lineare, int32_t profilo) {
  const float* m =
      profilo <= 0 ? kMatriceSLog3Cine : PROFILI[profilo < kNumeroProfili ? profilo : kNumeroProfili - 1].matrice;
  return per_matrice(m, lineare.r, lineare.g, lineare.b);
}

RGB decodifica(RGB codice, int32_t profilo) {
  return a_rec709(RGB{linearizza(codice.r, profilo), linearizza(codice.g, profilo), linearizza(codice.b, profilo)},
                  profilo);
}

int32_t risolvi_profilo(int32_t formato, int32_t cs_sony3, int32_t cs_sony2, int32_t cs_canon,
                        int32_t cs_apple) {
  // Below 0 counts as the first choice, past the end as the last.
  auto scegli = [](const auto& m, int32_t scelta) -> int32_t {
    constexpr int32_t n = static_cast<int32_t>(sizeof m / sizeof m[0]);
    if (scelta < 0) scelta = 0;
    if (scelta > n - 1) scelta = n - 1;
    return m[scelta];
  };
  switch (formato) {
    case 0: {
      static constexpr int32_t m[] = {0, 11, 15, 16, 17, 13, 14};
      return scegli(m, cs_sony3);
    }
    case 1: {
      static constexpr int32_t m[] = {12, 18, 19};
      return scegli(m, cs_sony2);
    }
    case 2: return 1;
    case 3: return 2;
    case 4: {
      static constexpr int32_t m[] = {3, 22, 23};
      return scegli(m, cs_canon);
    }
    case 5: return 4;
    case 6: return 5;
    case 7: return 6;
    case 8: return 7;
    case 9: return 8;
    case 10: return 9;
    case 11: {
      static constexpr int32_t m[] = {10, 20, 21};
      return scegli(m, cs_apple);
    }
    case 12: {
      static constexpr int32_t m[] = {24, 25, 26};
      return scegli(m, cs_canon);
    }
    case 13: return 27;
    case 14: return 28;
    case 15: return 29;
    case 16: return 30;
    case 17: return 31;
    default:
      return formato == INT32_MIN ? INT32_MIN : formato - 1;
  }
}

}  // namespace varno
