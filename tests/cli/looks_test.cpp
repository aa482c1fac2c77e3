// The demo chart through varno-render with every look gives, at each pixel,
// the colour transform evaluated at that code value, within what trilinear
// interpolation on the 81-point table can differ by.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "render/impostazioni.h"
#include "immagini.h"
#include "interruttori.h"
#include "processo.h"
#include "tool.h"

namespace {

using namespace varno;

std::vector<float> leggi_rgba(const fs::path& p, int w, int h) {
  Picture f = read_picture(p);
  EXPECT_TRUE(f.w == w && f.h == h && f.nch == 4) << p << ": " << f.w << "x" << f.h << "x" << f.nch;
  f.px.resize(static_cast<size_t>(w) * h * 4);
  return f.px;
}

TEST(LookSulGrafico, EveryLookMatchesTheColourTransformWithinItsTableCell) {
  const int w = 96, h = 54;
  const varno_render::Picture grafico = varno_render::demo_chart(w, h);
  const fs::path dir = fs::path(VARNO_TEST_TMP) / "looks";
  fs::create_directories(dir);
  const std::vector<LookDef>& lista = looks();
  ASSERT_EQ(lista.size(), 12u);
#if defined(__SANITIZE_THREAD__)
  // Each run builds a table under ThreadSanitizer, some fifteen seconds: a
  // print look and two grade looks exercise the same threads as all twelve.
  const size_t passo = 4;
#else
  const size_t passo = 1;
#endif
  for (size_t l = 0; l < lista.size(); l += passo) {
    SCOPED_TRACE(lista[l].nome);
    const fs::path uscita = dir / ("look" + std::to_string(l) + ".exr");
    std::vector<std::string> arg = {"--demo", "--size", std::to_string(w) + "x" + std::to_string(h), "--quiet",
                                    "--set", "look=" + lista[l].nome};
    // The look switches on its own effects; all twelve off, so only the grade shows.
    for (const char* s : prova::kInterruttori) arg.insert(arg.end(), {"--set", std::string(s) + "=0"});
    arg.push_back(uscita.string());
    ASSERT_EQ(run(arg).code, 0);
    const std::vector<float> out = leggi_rgba(uscita, w, h);

    ValoriParametri v;
    v.formato = 0;  // the chart is S-Log3 footage, which --demo reads as such
    v.forza = 1.0;
    v.look = static_cast<int32_t>(l);
    const Contesto ctx = calcola_impostazioni(v).contesto;
    const float passo = 1.0f / 80.0f;
    for (int i = 0; i < w * h; ++i) {
      const float* c = &grafico.rgba[static_cast<size_t>(i) * 4];
      float codice[3];
      int i0[3];
      for (int k = 0; k < 3; ++k) {
        codice[k] = std::min(std::max(c[k], 0.0f), 1.0f);  // the table has no extrapolation
        i0[k] = std::min(79, static_cast<int>(codice[k] * 80.0f));
      }
      const RGB diretto = applica_colore({codice[0], codice[1], codice[2]}, ctx);
      float lo[3] = {1e9f, 1e9f, 1e9f}, hi[3] = {-1e9f, -1e9f, -1e9f};
      for (int a = 0; a < 8; ++a) {
        const RGB s = applica_colore({static_cast<float>(i0[0] + (a & 1)) * passo,
                                      static_cast<float>(i0[1] + ((a >> 1) & 1)) * passo,
                                      static_cast<float>(i0[2] + ((a >> 2) & 1)) * passo},
                                     ctx);
        const float sv[3] = {s.r, s.g, s.b};
        for (int k = 0; k < 3; ++k) lo[k] = std::min(lo[k], sv[k]), hi[k] = std::max(hi[k], sv[k]);
      }
      const float d[3] = {diretto.r, diretto.g, diretto.b};
      for (int k = 0; k < 3; ++k) {
        const float o = out[static_cast<size_t>(i) * 4 + k];
        ASSERT_GE(o, lo[k] - 1e-6f) << "pixel " << i << " channel " << k;
        ASSERT_LE(o, hi[k] + 1e-6f) << "pixel " << i << " channel " << k;
        ASSERT_NEAR(o, d[k], hi[k] - lo[k] + 1e-6f) << "pixel " << i << " channel " << k;
      }
      ASSERT_EQ(out[static_cast<size_t>(i) * 4 + 3], c[3]);
    }
  }
}

}  // namespace
