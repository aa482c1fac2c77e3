// What real hosts do: ask clip preferences again when grain changes, and hand
// over images of another depth or layout than the plug-in declared.
#include <cstring>
#include <string>
#include <vector>

#include "comune.h"

namespace {

using ofxhost::Image;
using ofxhost::Instance;
using ofxhost::Plugin;
using ofxhost::PropertySet;

struct Ospite : ::testing::Test {
  Plugin p = prova::carica();
  Instance inst = p.create_instance();

  // The reply-default status with nothing written.
  bool predefinite() {
    PropertySet out("outArgs", true);
    const OfxStatus st = inst.call("OfxImageEffectActionGetClipPreferences", nullptr, &out);
    return st == kOfxStatReplyDefault && out.names().empty();
  }
};

// Grain changes each frame: only then is the output frame-varying; otherwise
// the host keeps its defaults and nothing is written.
TEST_F(Ospite, TheOutputVariesWithTheFrameExactlyWhenGrainIsOn) {
  EXPECT_TRUE(predefinite());
  inst.set("grana_on", 1);
  PropertySet out("outArgs", true);
  ASSERT_EQ(inst.call("OfxImageEffectActionGetClipPreferences", nullptr, &out), kOfxStatOK);
  EXPECT_EQ(out.names(), std::vector<std::string>{"OfxImageEffectFrameVarying"});
  EXPECT_EQ(out.get_int("OfxImageEffectFrameVarying"), 1);
  inst.set("grana", 0.0);
  EXPECT_TRUE(predefinite());
  inst.set("grana", 0.3);
  EXPECT_FALSE(predefinite());
  inst.set("grana_on", 0);
  EXPECT_TRUE(predefinite());
}

// An image that is not float RGBA with rows long enough for its bounds is
// neither read nor written: under AddressSanitizer a read past its real,
// smaller buffer would stop the test.
TEST_F(Ospite, ImagesOfAnotherFormatAreRefusedUntouched) {
  const OfxRectI r{0, 0, 24, 10};
  const struct {
    const char* profondita;
    const char* componenti;
  } formati[] = {{"OfxBitDepthByte", "OfxImageComponentRGBA"},
                 {"OfxBitDepthShort", "OfxImageComponentRGBA"},
                 {"OfxBitDepthHalf", "OfxImageComponentRGBA"},
                 {"OfxBitDepthFloat", "OfxImageComponentRGB"},
                 {"OfxBitDepthFloat", "OfxImageComponentAlpha"}};
  for (const auto& f : formati)
    for (bool come_sorgente : {true, false}) {
      SCOPED_TRACE(std::string(f.profondita) + " " + f.componenti + (come_sorgente ? " source" : " output"));
      Image diversa = Image::in_format(r, f.profondita, f.componenti);
      std::memset(diversa.data(), 0x5a, diversa.bytes().size());
      Image giusta(r);
      prova::riempi_rampa(giusta);
      const std::vector<unsigned char> prima_d = diversa.bytes(), prima_g = giusta.bytes();
      const OfxStatus st = come_sorgente ? inst.render(0, r, diversa, giusta) : inst.render(0, r, giusta, diversa);
      EXPECT_EQ(st, kOfxStatErrImageFormat);
      EXPECT_EQ(inst.released(), (std::vector<std::string>{"Source", "Output"}));
      EXPECT_EQ(inst.images_held(), 0);
      EXPECT_TRUE(diversa.bytes() == prima_d) << "written";
      EXPECT_TRUE(giusta.bytes() == prima_g) << "written";
    }
}

TEST_F(Ospite, RowBytesTooSmallForTheBoundsAreRefused) {
  const OfxRectI r{0, 0, 24, 10};
  for (long detto : {24L * 16 - 4, -(24L * 16 - 16), 16L}) {
    for (bool sulla_sorgente : {true, false}) {
      Image src(r), dst(r);
      prova::riempi_rampa(src);
      dst.fill(-1, -1, -1, -1);
      (sulla_sorgente ? src : dst).told_row_bytes = detto;
      const std::vector<unsigned char> prima = dst.bytes();
      EXPECT_EQ(inst.render(0, r, src, dst), kOfxStatErrImageFormat) << detto;
      EXPECT_TRUE(dst.bytes() == prima);
      EXPECT_EQ(inst.images_held(), 0);
    }
  }
  // Exactly a row, either way up, is fine.
  Image src(r), dst(r, -24L * 16);
  prova::riempi_rampa(src);
  EXPECT_EQ(inst.render(0, r, src, dst), kOfxStatOK);
}

}  // namespace
