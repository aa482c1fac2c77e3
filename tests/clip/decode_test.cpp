// The clip reader against the code values the clips were made from: matrix and range from the
// stream's tags (or the defaults for untagged streams), chroma upsampled, 10 and 12 bits kept,
// nothing clipped, no transfer function.
#include <gtest/gtest.h>

#include "kit.h"
#include "tool.h"
#include "video.h"

namespace {

namespace fs = std::filesystem;

struct Case {
  const char* name;
  kit::Plan plan;
  double kr, kb;  // the matrix the frames must be read with
  bool full;      // full range
  double tolerance;
};

// The camera code values a pixel of these codes stands for, in double precision.
void expected_rgb(const Case& c, int bits, int y, int cb, int cr, double rgb[3]) {
  const double unit = std::ldexp(1.0, bits - 8), top = std::ldexp(1.0, bits) - 1;
  const double l = c.full ? y / top : (y - 16 * unit) / (219 * unit);
  const double u = c.full ? (cb - 128 * unit) / top : (cb - 128 * unit) / (224 * unit);
  const double v = c.full ? (cr - 128 * unit) / top : (cr - 128 * unit) / (224 * unit);
  rgb[0] = l + 2 * (1 - c.kr) * v;
  rgb[2] = l + 2 * (1 - c.kb) * u;
  rgb[1] = (l - c.kr * rgb[0] - c.kb * rgb[2]) / (1 - c.kr - c.kb);
}

kit::Plan plan(const char* encoder, AVPixelFormat format, std::map<std::string, std::string> options, int w = 64,
               int h = 48) {
  kit::Plan s;
  s.encoder = encoder;
  s.format = format;
  s.options = std::move(options);
  s.width = w;
  s.height = h;
  return s;
}

std::vector<Case> cases() {
  const std::map<std::string, std::string> x264_lossless{{"qp", "0"}};
  const std::map<std::string, std::string> x265_lossless{{"x265-params", "lossless=1"}};
  std::vector<Case> v;
  // Untagged: BT.601 below 720 lines, BT.709 from 720 up; limited range.
  v.push_back({"h264 8-bit untagged SD", plan("libx264", AV_PIX_FMT_YUV420P, x264_lossless), 0.299, 0.114, false, 1e-5});
  v.push_back({"h264 8-bit untagged 720 lines", plan("libx264", AV_PIX_FMT_YUV420P, x264_lossless, 32, 720), 0.2126,
               0.0722, false, 1e-5});
  Case full{"h264 8-bit BT.709 full range", plan("libx264", AV_PIX_FMT_YUV420P, x264_lossless), 0.2126, 0.0722, true, 1e-5};
  full.plan.matrix = AVCOL_SPC_BT709;
  full.plan.range = AVCOL_RANGE_JPEG;
  v.push_back(full);
  Case bt2020{"h265 10-bit BT.2020", plan("libx265", AV_PIX_FMT_YUV420P10, x265_lossless), 0.2627, 0.0593, false, 1e-5};
  bt2020.plan.matrix = AVCOL_SPC_BT2020_NCL;
  bt2020.plan.primaries = AVCOL_PRI_BT2020;
  bt2020.plan.transfer = AVCOL_TRC_BT2020_10;
  v.push_back(bt2020);
  // Full range said by the tag alone: 10-bit has no "J" pixel format that would say it too.
  Case full10{"h265 10-bit BT.709 full range", plan("libx265", AV_PIX_FMT_YUV422P10, x265_lossless), 0.2126, 0.0722,
              true, 1e-5};
  full10.plan.matrix = AVCOL_SPC_BT709;
  full10.plan.range = AVCOL_RANGE_JPEG;
  v.push_back(full10);
  Case twelve{"h265 12-bit 4:4:4 BT.709", plan("libx265", AV_PIX_FMT_YUV444P12, x265_lossless), 0.2126, 0.0722, false, 1e-5};
  twelve.plan.matrix = AVCOL_SPC_BT709;
  v.push_back(twelve);
  // ProRes is never lossless: a flat block keeps its value within a code or two.
  Case prores{"prores 10-bit 4:2:2 BT.709", plan("prores_ks", AV_PIX_FMT_YUV422P10, {}), 0.2126, 0.0722, false, 4.0 / 876};
  prores.plan.matrix = AVCOL_SPC_BT709;
  prores.plan.profile = FF_PROFILE_PRORES_HQ;
  v.push_back(prores);
  return v;
}

TEST(ClipReader, ReadsCameraCodeValuesWithTheStreamsMatrixAndRange) {
  const fs::path dir = fs::path(VARNO_TEST_TMP) / "reader";
  fs::create_directories(dir);
  int n = 0;
  for (const Case& c : cases()) {
    SCOPED_TRACE(c.name);
    const fs::path path = dir / ("clip" + std::to_string(n++) + ".mov");
    kit::make_clip(path, c.plan);
    if (::testing::Test::HasFatalFailure()) return;
    varno_render::ClipReader r(path.string());
    ASSERT_EQ(r.width(), c.plan.width);
    ASSERT_EQ(r.height(), c.plan.height);
    EXPECT_EQ(r.rate().num, 25);
    EXPECT_EQ(r.rate().den, 1);
    const int bits = kit::bits_of(c.plan.format);
    ofxhost::Image img(OfxRectI{0, 0, c.plan.width, c.plan.height});
    std::vector<varno_render::AudioPacket> audio;
    double worst = 0, lowest = 0, highest = 0;
    int frames = 0;
    for (; r.next(&img, audio); ++frames) {
      for (int y = 0; y < c.plan.height; ++y)
        for (int x = 0; x < c.plan.width; ++x) {
          // The inside of each block, where the chroma is the block's own at any siting.
          if (x % 16 < 4 || x % 16 >= 12 || y % 16 < 4 || y % 16 >= 12) continue;
          double rgb[3];
          expected_rgb(c, bits, kit::code(frames, 0, x / 16, y / 16, bits), kit::code(frames, 1, x / 16, y / 16, bits),
                       kit::code(frames, 2, x / 16, y / 16, bits), rgb);
          const float* px = img.pixel(x, c.plan.height - 1 - y);  // the top row is the image's last
          for (int ch = 0; ch < 3; ++ch) {
            worst = std::max(worst, std::fabs(px[ch] - rgb[ch]));
            lowest = std::min(lowest, rgb[ch]);
            highest = std::max(highest, rgb[ch]);
          }
          ASSERT_EQ(px[3], 1.0f);
        }
    }
    EXPECT_EQ(frames, c.plan.frames);
    EXPECT_LE(worst, c.tolerance);
    // So the comparison also says that nothing below black or above white was clipped.
    EXPECT_LT(lowest, -0.05);
    EXPECT_GT(highest, 1.05);
  }
}

}  // namespace
