#include "render/render.h"

#include <cstring>
#include <optional>

#include "fx/fx.h"
#include "fx/nuclei.h"
#include "host/host.h"
#include "render/campionatore.h"
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

// Whether the image is what the plug-in declared: float RGBA, rows long enough
// for its bounds. Some hosts hand over other depths regardless; those would be
// read past the end of every row.
bool come_dichiarata(OfxPropertySetHandle img, const VistaImmagine& v) {
  char* profondita = nullptr;
  char* componenti = nullptr;
  gProp->propGetString(img, kOfxImageEffectPropPixelDepth, 0, &profondita);
  gProp->propGetString(img, kOfxImageEffectPropComponents, 0, &componenti);
  if (profondita == nullptr || std::strcmp(profondita, kOfxBitDepthFloat) != 0) return false;
  if (componenti == nullptr || std::strcmp(componenti, kOfxImageComponentRGBA) != 0) return false;
  const int64_t larghezza = static_cast<int64_t>(v.bounds.x2) - v.bounds.x1;
  const int64_t modulo = v.row_bytes < 0 ? -v.row_bytes : v.row_bytes;
  return larghezza <= 0 || modulo >= larghezza * 16;
}

inline int64_t massimo(int64_t a, int64_t b) { return a > b ? a : b; }
inline int64_t minimo(int64_t a, int64_t b) { return a < b ? a : b; }

// Columns of the window that lie inside an image's bounds, as window offsets.
struct Colonne {
  int64_t da, a;
};
Colonne colonne_dentro(const VistaImmagine& img, const OfxRectI& finestra, int64_t W) {
  const int64_t da = minimo(W, massimo(0, static_cast<int64_t>(img.bounds.x1) - finestra.x1));
  return {da, massimo(da, minimo(W, static_cast<int64_t>(img.bounds.x2) - finestra.x1))};
}

// Row Y of an image, or null where the image has no such row.
const float* riga_di(const VistaImmagine& img, int64_t Y) {
  if (img.dati == nullptr || Y < img.bounds.y1 || Y >= img.bounds.y2) return nullptr;
  return reinterpret_cast<const float*>(img.dati + (Y - img.bounds.y1) * img.row_bytes);
}

// Whether any stage of the chain runs: each amount is its own switch.
bool ricetta_attiva(const FxRicetta& r) {
  const float quantita[] = {r.enhance, r.pelle, r.halation, r.bloom, r.streak,  r.promist,
                            r.stella,  r.mistw, r.glimmer,  r.ca,    r.vignetta, r.grana};
  for (float q : quantita)
    if (q > 0.0f) return true;
  return false;
}

// What a pixel outside the source grades to: transparent black.
struct Nero {
  float rgb[3];
  explicit Nero(const Lut3D& lut) {
    const float trasparente[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    campiona_pixel(lut, trasparente, rgb);
  }
};

}  // namespace

void passata_colore(const VistaImmagine& src, const OfxRectI& finestra, const Lut3D& lut, Immagine& immagine,
                    Piano& alfa, float* luma) {
  const int64_t W = static_cast<int64_t>(finestra.x2) - finestra.x1;
  const int64_t H = static_cast<int64_t>(finestra.y2) - finestra.y1;
  const Colonne dentro = colonne_dentro(src, finestra, W);
  const Nero nero(lut);
  const Nuclei& k = nuclei();
  parallel_for(static_cast<uint64_t>(H), [&](uint64_t yy) {
    const int64_t y = static_cast<int64_t>(yy);
    float* rgb = &immagine[static_cast<size_t>(y * W * 3)];
    float* a = &alfa[static_cast<size_t>(y * W)];
    const float* riga = riga_di(src, finestra.y1 + y);
    const Colonne c = riga ? dentro : Colonne{0, 0};
    auto nera = [&](int64_t x) {
      std::memcpy(rgb + x * 3, nero.rgb, sizeof nero.rgb);
      a[x] = 0.0f;
    };
    for (int64_t x = 0; x < c.da; ++x) nera(x);
    if (c.a > c.da)
      campiona_riga(lut, riga + (finestra.x1 + c.da - src.bounds.x1) * 4, c.a - c.da, rgb + c.da * 3, a + c.da);
    for (int64_t x = c.a > c.da ? c.a : c.da; x < W; ++x) nera(x);
    if (luma != nullptr) k.luma(rgb, luma + y * W, W);
  });
}

void passata_diretta(const VistaImmagine& src, const VistaImmagine& out, const OfxRectI& finestra, const Lut3D& lut) {
  const int64_t W = static_cast<int64_t>(finestra.x2) - finestra.x1;
  const int64_t H = static_cast<int64_t>(finestra.y2) - finestra.y1;
  const Colonne in_src = colonne_dentro(src, finestra, W);
  const Colonne in_out = colonne_dentro(out, finestra, W);
  const Nero nero(lut);
  const float px_nero[4] = {nero.rgb[0], nero.rgb[1], nero.rgb[2], 0.0f};
  parallel_for(static_cast<uint64_t>(H), [&](uint64_t yy) {
    const int64_t Y = finestra.y1 + static_cast<int64_t>(yy);
    float* dst = const_cast<float*>(riga_di(out, Y));
    if (dst == nullptr) return;
    auto pixel_out = [&](int64_t x) { return dst + (finestra.x1 + x - out.bounds.x1) * 4; };
    const float* riga = riga_di(src, Y);
    // Where the source has pixels inside the output's columns they are graded;
    // the rest of the output's columns read transparent black.
    int64_t da = riga ? massimo(in_src.da, in_out.da) : in_out.a;
    int64_t fino = riga ? minimo(in_src.a, in_out.a) : in_out.a;
    if (fino <= da) da = fino = in_out.a;
    for (int64_t x = in_out.da; x < da; ++x) std::memcpy(pixel_out(x), px_nero, sizeof px_nero);
    if (fino > da) campiona_riga_rgba(lut, riga + (finestra.x1 + da - src.bounds.x1) * 4, fino - da, pixel_out(da));
    for (int64_t x = fino; x < in_out.a; ++x) std::memcpy(pixel_out(x), px_nero, sizeof px_nero);
  });
}

Uscita uscita_di(const VistaImmagine& out, const OfxRectI& finestra, const Piano& alfa) {
  const int64_t W = static_cast<int64_t>(finestra.x2) - finestra.x1;
  const int64_t H = static_cast<int64_t>(finestra.y2) - finestra.y1;
  Uscita u;
  u.dati = out.dati;
  u.row_bytes = out.row_bytes;
  u.dx = static_cast<int64_t>(finestra.x1) - out.bounds.x1;
  u.dy = static_cast<int64_t>(finestra.y1) - out.bounds.y1;
  u.xa = minimo(W, massimo(0, static_cast<int64_t>(out.bounds.x1) - finestra.x1));
  u.xb = massimo(u.xa, minimo(W, static_cast<int64_t>(out.bounds.x2) - finestra.x1));
  u.ya = minimo(H, massimo(0, static_cast<int64_t>(out.bounds.y1) - finestra.y1));
  u.yb = massimo(u.ya, minimo(H, static_cast<int64_t>(out.bounds.y2) - finestra.y1));
  if (out.dati == nullptr) u.yb = u.ya;
  u.alfa = alfa.data();
  return u;
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
  if (!come_dichiarata(tenute.sorgente, src) || !come_dichiarata(tenute.uscita, out)) return kOfxStatErrImageFormat;
  if (W > kPixelMassimi || H > kPixelMassimi || W * H > kPixelMassimi) return kOfxStatErrMemory;

  // With no effect to run, grade straight into the output: one read of the
  // source, one write of the output.
  if (!ricetta_attiva(imp.ricetta)) {
    passata_diretta(src, out, finestra, *lut);
    return kOfxStatOK;
  }
  // Kept from frame to frame; the grading pass writes every value.
  Prestito immagine(static_cast<size_t>(W * H * 3));
  Prestito alfa(static_cast<size_t>(W * H));
  std::optional<Prestito> luma;
  if (luma_prima(imp.ricetta)) luma.emplace(static_cast<size_t>(W * H));
  passata_colore(src, finestra, *lut, *immagine, *alfa, luma ? luma->data() : nullptr);
  // The chain's last pass writes the output itself.
  const Uscita u = uscita_di(out, finestra, *alfa);
  if (!applica_fx(*immagine, static_cast<int32_t>(W), static_cast<int32_t>(H), imp.ricetta, luma ? &**luma : nullptr,
                  &u))
    passata_scrittura(out, finestra, *immagine, *alfa);
  return kOfxStatOK;
}

}  // namespace varno
