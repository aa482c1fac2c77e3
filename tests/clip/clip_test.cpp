// varno-render on clips: frames render like stills of the same decoded frames at their index
// (as a user runs it); the output's codec, tags, rate, frame count, audio and timecode, and
// --frames (in-process); sequences into clips and progress (as a user runs it).
#include <gtest/gtest.h>

#include <cstring>

#include "cli/processo.h"
#include "immagini.h"
#include "inproc.h"
#include "kit.h"
#include "video.h"

namespace {

std::vector<float> read_exr(const fs::path& path) { return read_picture(path).px; }

// An image of the reader as a file: top row first.
void write_exr(const fs::path& path, const ofxhost::Image& img) {
  const int w = img.width(), h = img.height();
  std::vector<float> px;
  for (int y = h - 1; y >= 0; --y) px.insert(px.end(), img.pixel(0, y), img.pixel(0, y) + 4 * w);
  write_picture(path, {w, h, 4, px});
}

using Clip = InFolder;

TEST_F(Clip, EachFrameRendersLikeAStillOfTheSameDecodedFrameAtItsIndex) {
  kit::make_clip(at("in.mov"), kit::prores(2));
  // Grain follows the frame, so a frame rendered at any other time would differ.
  const std::vector<std::string> sets{"--set", "grana_on=1", "--set", "grana=0.5"};
  std::vector<std::string> a = sets;
  a.insert(a.end(), {"-q", at("in.mov"), at("out.####.exr")});
  Result r = run(a);
  ASSERT_EQ(r.code, 0) << r.err;

  varno_render::ClipReader reader(at("in.mov"));
  ofxhost::Image img(OfxRectI{0, 0, reader.width(), reader.height()});
  std::vector<varno_render::AudioPacket> audio;
  for (int k = 0; reader.next(&img, audio); ++k) {
    SCOPED_TRACE("frame " + std::to_string(k));
    const std::string still = at("decoded." + std::to_string(k) + ".exr");
    write_exr(still, img);
    std::vector<std::string> s = sets;
    s.insert(s.end(), {"--time", std::to_string(k), still, at("still.exr")});
    ASSERT_EQ(run(s).code, 0);
    char name[32];
    std::snprintf(name, sizeof name, "out.%04d.exr", k);
    EXPECT_TRUE(same_bits(read_exr(at(name)), read_exr(at("still.exr"))));
    if (k == 1) {
      // The same frame at another time is another picture: the comparison sees the time.
      s[s.size() - 3] = "0";
      ASSERT_EQ(run(s).code, 0);
      EXPECT_FALSE(same_bits(read_exr(at(name)), read_exr(at("still.exr"))));
    }
  }
  EXPECT_FALSE(fs::exists(at("out.0002.exr")));

  // --frames renders the same frames, at the same times, and only those.
  fs::create_directories(dir / "part");
  a = sets;
  a.insert(a.end(), {"-q", "--frames", "1", at("in.mov"), at("part/out.####.exr")});
  ASSERT_EQ(run(a).code, 0);
  EXPECT_FALSE(fs::exists(at("part/out.0000.exr")));
  EXPECT_TRUE(same_bits(read_exr(at("part/out.0001.exr")), read_exr(at("out.0001.exr"))));

  // The clip written as ProRes holds those frames as BT.709 limited-range 10-bit code values.
  a = sets;
  a.insert(a.end(), {"-q", at("in.mov"), at("out.mov")});
  ASSERT_EQ(run(a).code, 0);
  kit::Probe p = kit::probe(at("out.mov"));
  ASSERT_EQ(p.frames, 2);
  for (int k = 0; k < 2; ++k) {
    char name[32];
    std::snprintf(name, sizeof name, "out.%04d.exr", k);
    std::vector<float> px = read_exr(at(name));
    ASSERT_EQ(px.size(), p.luma[k].size() * 4);
    double sum = 0, worst = 0;
    for (size_t i = 0; i < p.luma[k].size(); ++i) {
      double y = 64 + 876 * (0.2126 * px[4 * i] + 0.7152 * px[4 * i + 1] + 0.0722 * px[4 * i + 2]);
      double d = std::fabs(std::min(1019.0, std::max(4.0, y)) - p.luma[k][i]);
      sum += d;
      worst = std::max(worst, d);
    }
    EXPECT_LT(sum / p.luma[k].size(), 1.0) << "frame " << k;
    EXPECT_LT(worst, 16.0) << "frame " << k;
  }
}

bool has_colr_709(const std::string& bytes, bool quicktime) {
  // The colour atom: 'colr', then 'nclc' (QuickTime) or 'nclx' (MP4), primaries 1, transfer 1,
  // matrix 1; MP4's also says limited range.
  std::string atom = quicktime ? std::string("colrnclc\0\1\0\1\0\1", 14) : std::string("colrnclx\0\1\0\1\0\1\0", 15);
  return bytes.find(atom) != std::string::npos;
}

void expect_709(const kit::Probe& p) {
  EXPECT_EQ(p.primaries, AVCOL_PRI_BT709);
  EXPECT_EQ(p.transfer, AVCOL_TRC_BT709);
  EXPECT_EQ(p.matrix, AVCOL_SPC_BT709);
  EXPECT_EQ(p.range, AVCOL_RANGE_MPEG);
}

TEST_F(Clip, OutputKeepsSizeRateFramesAudioAndTimecodeTaggedBT709) {
  kit::Plan s = kit::prores(6, true, {24000, 1001});
  s.width = 256;  // the least DNxHR takes
  s.height = 128;
  s.timecode = "01:00:00:00";
  kit::make_clip(at("in.mov"), s);
  const kit::Probe in = kit::probe(at("in.mov"));
  ASSERT_GT(in.audio.size(), 5u);

  struct Out {
    std::string file, codec;  // codec "" for the default
    const char* name;
    const char* profile;
    AVPixelFormat format;
  };
  const Out outs[] = {
      {"out.mov", "", "prores", "HQ", AV_PIX_FMT_YUV422P10},
      {"out.mp4", "", "h264", nullptr, AV_PIX_FMT_YUV420P},
      {"prores.mov", "prores", "prores", "Standard", AV_PIX_FMT_YUV422P10},
      {"4444.mov", "prores_4444", "prores", "4444", AV_PIX_FMT_YUV444P12},  // decoded at 12 bits
      {"h265.mp4", "h265", "hevc", "Main 10", AV_PIX_FMT_YUV420P10},
      {"dnxhr.mov", "dnxhr_hqx", "dnxhd", "DNXHR HQX", AV_PIX_FMT_YUV422P10},
  };
  for (const Out& o : outs) {
    SCOPED_TRACE(o.file + " " + o.codec);
    varno_render::Failure f = inproc::render(inproc::job(at("in.mov"), at(o.file), o.codec));
    ASSERT_EQ(f.code, 0) << f.message;
    kit::Probe p = kit::probe(at(o.file));
    ASSERT_TRUE(p.ok);
    EXPECT_EQ(p.codec, o.name);
    if (o.profile) {
      EXPECT_EQ(p.profile, o.profile);
    }
    EXPECT_EQ(p.format, o.format);
    EXPECT_EQ(p.width, s.width);
    EXPECT_EQ(p.height, s.height);
    EXPECT_EQ(p.rate.num, 24000);
    EXPECT_EQ(p.rate.den, 1001);
    EXPECT_EQ(p.frames, 6);
    expect_709(p);
    EXPECT_TRUE(has_colr_709(kit::bytes_of(at(o.file)), o.file.find(".mov") != std::string::npos));
    EXPECT_EQ(p.audio, in.audio);  // every packet, unchanged
    EXPECT_EQ(p.timecode, "01:00:00:00");
    if (o.codec == "h265") {
      EXPECT_EQ(p.tag, MKTAG('h', 'v', 'c', '1'));
    }
  }

  // A range of frames: its own frames, its timecode, the sound that goes with it.
  varno_render::ClipJob part = inproc::job(at("in.mov"), at("part.mov"));
  part.frames = std::vector<int>{2, 3, 4};
  varno_render::Failure f = inproc::render(part);
  ASSERT_EQ(f.code, 0) << f.message;
  kit::Probe p = kit::probe(at("part.mov"));
  EXPECT_EQ(p.frames, 3);
  EXPECT_EQ(p.timecode, "01:00:00:02");
  ASSERT_FALSE(p.audio.empty());
  const double from = 2 * 1001.0 / 24000, to = 5 * 1001.0 / 24000;
  size_t first = 0;
  while (first < in.audio.size() && in.audio_times[first] < from - 1e-6) ++first;
  ASSERT_LE(first + p.audio.size(), in.audio.size());
  for (size_t k = 0; k < p.audio.size(); ++k) {
    EXPECT_EQ(p.audio[k], in.audio[first + k]) << "packet " << k;
    EXPECT_LT(in.audio_times[first + k], to);
  }
  EXPECT_TRUE(first + p.audio.size() == in.audio.size() || in.audio_times[first + p.audio.size()] >= to);
}

TEST_F(Clip, SequenceIntoClipAndProgress) {
  for (int k = 5; k < 8; ++k) {
    char name[32];
    std::snprintf(name, sizeof name, "in.%04d.exr", k);
    ofxhost::Image img(OfxRectI{0, 0, 40, 24});
    img.fill(0.1f * k - 0.3f, 0.4f, 0.5f, 1.0f);
    write_exr(at(name), img);
  }
  Result r = run({"--frames", "5-7", "--fps", "23.976", at("in.%04d.exr"), at("out.mp4")});
  ASSERT_EQ(r.code, 0) << r.err;
  kit::Probe p = kit::probe(at("out.mp4"));
  EXPECT_EQ(p.codec, "h264");
  EXPECT_EQ(p.frames, 3);
  EXPECT_EQ(p.rate.num, 24000);
  EXPECT_EQ(p.rate.den, 1001);
  EXPECT_EQ(p.width, 40);
  EXPECT_EQ(p.height, 24);
  expect_709(p);
  // Progress: frames done of all, frames per second, time left; then the total.
  EXPECT_NE(r.err.find("frame 1 of 3, "), std::string::npos) << r.err;
  EXPECT_NE(r.err.find(" fps, "), std::string::npos) << r.err;
  EXPECT_NE(r.err.find(" left"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("wrote " + at("out.mp4") + ": 3 frames"), std::string::npos) << r.err;
  r = run({"--quiet", "--frames", "5-7", at("in.%04d.exr"), at("out.mov")});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(kit::probe(at("out.mov")).rate.num, 24);  // the default rate
}

}  // namespace

// A farm task on a clip: --dry-run lists each frame's file, --skip-existing leaves the files
// already written alone and renders the others as a whole run would.
TEST_F(Clip, IntoFilesAFarmTaskResumes) {
  kit::make_clip(at("in.mov"), kit::prores(4));
  const std::vector<std::string> sets{"-q", "--set", "grana_on=1", "--frames", "0-3", at("in.mov")};
  std::vector<std::string> a = sets;
  a.push_back(at("whole.####.exr"));
  ASSERT_EQ(run(a).code, 0);
  fs::copy_file(at("whole.0001.exr"), at("part.0001.exr"));
  { std::ofstream(at("part.0002.exr")) << "left alone"; }

  a = sets;
  a.insert(a.begin(), {"--dry-run", "--skip-existing"});
  a.push_back(at("part.####.exr"));
  Result r = run(a);
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "0\trender\t" + at("part.0000.exr") + "\n1\tskip\t" + at("part.0001.exr") + "\n2\tskip\t" +
                       at("part.0002.exr") + "\n3\trender\t" + at("part.0003.exr") + "\n");
  EXPECT_FALSE(fs::exists(at("part.0000.exr")));

  a.erase(a.begin());  // the same task, run
  r = run(a);
  ASSERT_EQ(r.code, 0) << r.err;
  for (int k : {0, 3}) {
    const std::string n = "." + std::string(k == 0 ? "0000" : "0003") + ".exr";
    EXPECT_TRUE(same_bits(read_exr(at("part" + n)), read_exr(at("whole" + n)))) << k;
  }
  EXPECT_EQ(kit::bytes_of(at("part.0002.exr")), "left alone");
}
