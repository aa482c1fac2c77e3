#include "render/render.h"

#include <cstring>

#include "fx/fx.h"
#include "host/host.h"
#include "render/impostazioni.h"
#include "render/parallelo.h"
#include "render/scorta.h"

namespace varno {

namespace {

// Holds the two images and gives them back, source first, on every way out.
struct ImmaginiTenute {
  OfxPropertySetHandle sorgente = nullptr;
  OfxPropertySetHandle uscita = nullptr;
  ImmaginiTenute() = default;
  ImmaginiTenute(const ImmaginiTenute&) = delete;
  ImmaginiTenute& operator=(const ImmaginiTenute&) = delete;
  ~ImmaginiTenute() {
    if (sorgente != nullptr) gEff->clipReleaseImage(sorgente);
    if (uscita != nullptr) gEff->clipReleaseImage(uscita);
  }
};

VistaImmagine leggi_vista(OfxPropertySetHandle img) {
  void* dati = nullptr;
  int rb = 0;
  int b[4] = {0, 0, 0, 0};
  gProp->propGetPointer(img, kOfxImagePropData, 0, &dati);
  gProp->propGetInt(img, kOfxImagePropRowBytes, 0, &rb);
  gProp->propGetIntN(img, kOfxImagePropBounds, 4, b);
  VistaImmagine v;
  v.dati = static_cast<char*>(dati);
  v.row_bytes = rb;
  v.bounds = OfxRectI{b[0], b[1], b[2], b[3]};
  return v;
}

// Position on a table axis: out-of-range values sit on the edge, NaN at 0.
inline float posizione(float v, float f) {
  if (v > 0.0f && v < 1.0f) return v * f;
  if (v >= 1.0f) return f;
  return 0.0f;
}

inline int64_t massimo(int64_t a, int64_t b) { return a > b ? a : b; }
inline int64_t minimo(int64_t a, int64_t b) { return a < b ? a : b; }

}  // namespace

void passata_colore(const VistaImmagine& src, const OfxRectI& finestra, const Lut3D& lut, Immagine& immagine,
                    Piano& alfa) {
  const int64_t W = static_cast<int64_t>(finestra.x2) - finestra.x1;
  const int64_t H = static_cast<int64_t>(finestra.y2) - finestra.y1;
  // Columns of the window that lie inside the source, as window offsets.
  const int64_t xa = minimo(W, massimo(0, static_cast<int64_t>(src.bounds.x1) - finestra.x1));
  const int64_t xb = massimo(xa, minimo(W, static_cast<int64_t>(src.bounds.x2) - finestra.x1));
  parallel_for(static_cast<uint64_t>(H), [&](uint64_t yy) {
    const int32_t N = lut.N;
    const float* S = lut.dati.data();
    const int32_t ultimo = N - 1;
    const float f = static_cast<float>(ultimo);
    const int64_t y = static_cast<int64_t>(yy);
    const int64_t Y = finestra.y1 + y;
    const bool riga_dentro = Y >= src.bounds.y1 && Y < src.bounds.y2 && src.dati != nullptr;
    const char* riga = riga_dentro ? src.dati + (Y - src.bounds.y1) * src.row_bytes : nullptr;
    for (int64_t x = 0; x < W; ++x) {
      float px[4] = {0.0f, 0.0f, 0.0f, 0.0f};
      if (riga != nullptr && x >= xa && x < xb)
        std::memcpy(px, riga + (finestra.x1 + x - src.bounds.x1) * 16, sizeof px);
      const float pr = posizione(px[0], f), pg = posizione(px[1], f), pb = posizione(px[2], f);
      const int32_t r0 = static_cast<int32_t>(pr), g0 = static_cast<int32_t>(pg), b0 = static_cast<int32_t>(pb);
      const int32_t r1 = r0 + 1 < ultimo ? r0 + 1 : ultimo;
      const int32_t g1 = g0 + 1 < ultimo ? g0 + 1 : ultimo;
      const int32_t b1 = b0 + 1 < ultimo ? b0 + 1 : ultimo;
      const float tr = pr - static_cast<float>(r0), tg = pg - static_cast<float>(g0), tb = pb - static_cast<float>(b0);
      const auto campione = [&](int32_t i, int32_t j, int32_t k) {
        return S + ((static_cast<int64_t>(k) * N + j) * N + i) * 3;
      };
      const float* s000 = campione(r0, g0, b0);
      const float* s100 = campione(r1, g0, b0);
      const float* s010 = campione(r0, g1, b0);
      const float* s110 = campione(r1, g1, b0);
      const float* s001 = campione(r0, g0, b1);
      const float* s101 = campione(r1, g0, b1);
      const float* s011 = campione(r0, g1, b1);
      const float* s111 = campione(r1, g1, b1);
      float* dst = &immagine[static_cast<size_t>((y * W + x) * 3)];
      for (int c = 0; c < 3; ++c) {
        const float c00 = s000[c] * (1.0f - tr) + s100[c] * tr;
        const float c10 = s010[c] * (1.0f - tr) + s110[c] * tr;
        const float c01 = s001[c] * (1.0f - tr) + s101[c] * tr;
        const float c11 = s011[c] * (1.0f - tr) + s111[c] * tr;
        const float c0 = c00 * (1.0f - tg) + c10 * tg;
        const float c1 = c01 * (1.0f - tg) + c11 * tg;
        dst[c] = c0 * (1.0f - tb) + c1 * tb;
      }
      alfa[static_cast<size_t>(y * W + x)] = px[3];
    }
  });
}

void passata_scrittura(const VistaImmagine& out, const OfxRectI& finestra, const Immagine& immagine,
                       const Piano& alfa) {
  const int64_t W = static_cast<int64_t>(finestra.x2) - finestra.x1;
  const int64_t H = static_cast<int64_t>(finestra.y2) - finestra.y1;
  const int64_t xa = minimo(W, massimo(0, static_cast<int64_t>(out.bounds.x1) - finestra.x1));
  const int64_t xb = massimo(xa, minimo(W, static_cast<int64_t>(out.bounds.x2) - finestra.x1));
  parallel_for(static_cast<uint64_t>(H), [&](uint64_t yy) {
    const int64_t y = static_cast<int64_t>(yy);
    const int64_t Y = finestra.y1 + y;
    if (Y < out.bounds.y1 || Y >= out.bounds.y2 || out.dati == nullptr) return;
    char* riga = out.dati + (Y - out.bounds.y1) * out.row_bytes;
    for (int64_t x = xa; x < xb; ++x) {
      const float* p = &immagine[static_cast<size_t>((y * W + x) * 3)];
      const float px[4] = {p[0], p[1], p[2], alfa[static_cast<size_t>(y * W + x)]};
      std::memcpy(riga + (finestra.x1 + x - out.bounds.x1) * 16, px, sizeof px);
    }
  });
}

OfxStatus render(OfxImageEffectHandle handle, OfxPropertySetHandle inArgs) {
  double tempo = 0.0;
  int w[4] = {0, 0, 0, 0};
  gProp->propGetDouble(inArgs, kOfxPropTime, 0, &tempo);
  gProp->propGetIntN(inArgs, kOfxImageEffectPropRenderWindow, 4, w);
  const OfxRectI finestra{w[0], w[1], w[2], w[3]};

  OfxImageClipHandle clip_src = nullptr, clip_out = nullptr;
  if (gEff->clipGetHandle(handle, kOfxImageEffectSimpleSourceClipName, &clip_src, nullptr) != kOfxStatOK)
    return kOfxStatFailed;
  if (gEff->clipGetHandle(handle, kOfxImageEffectOutputClipName, &clip_out, nullptr) != kOfxStatOK)
    return kOfxStatFailed;
  ImmaginiTenute tenute;
  if (gEff->clipGetImage(clip_src, tempo, nullptr, &tenute.sorgente) != kOfxStatOK) {
    tenute.sorgente = nullptr;
    return kOfxStatFailed;
  }
  if (gEff->clipGetImage(clip_out, tempo, nullptr, &tenute.uscita) != kOfxStatOK) {
    tenute.uscita = nullptr;
    return kOfxStatFailed;
  }
  const VistaImmagine src = leggi_vista(tenute.sorgente);
  const VistaImmagine out = leggi_vista(tenute.uscita);

  OfxParamSetHandle set = nullptr;
  gEff->getParamSet(handle, &set);
  const Impostazioni imp = calcola_impostazioni(leggi_parametri(set, tempo));
  const std::shared_ptr<const Lut3D> lut = aggiorna_lut(imp.chiave, imp.contesto);

  const int64_t W = static_cast<int64_t>(finestra.x2) - finestra.x1;
  const int64_t H = static_cast<int64_t>(finestra.y2) - finestra.y1;
  if (W <= 0 || H <= 0 || src.dati == nullptr || out.dati == nullptr) return kOfxStatFailed;
  if (W > kPixelMassimi || H > kPixelMassimi || W * H > kPixelMassimi) return kOfxStatErrMemory;

  // Kept from frame to frame; the grading pass writes every value.
  Prestito immagine(static_cast<size_t>(W * H * 3));
  Prestito alfa(static_cast<size_t>(W * H));
  passata_colore(src, finestra, *lut, *immagine, *alfa);
  applica_fx(*immagine, static_cast<int32_t>(W), static_cast<int32_t>(H), imp.ricetta);
  passata_scrittura(out, finestra, *immagine, *alfa);
  return kOfxStatOK;
}

}  // namespace varno
