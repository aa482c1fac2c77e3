// varno-render as a user runs it: a subprocess, its files, exit codes and messages.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "immagini.h"
#include "ofx_host.h"
#include "processo.h"


namespace {

const std::string kBundle = VARNO_TEST_BUNDLE;

// RGBA with a ramp across, brighter towards the top, and alpha that varies.
Picture chart(int w, int h, float scale = 1.0f) {
  Picture p{w, h, 4, {}};
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      float top = scale * (1.0f - float(y) / h);
      p.px.insert(p.px.end(), {scale * x / w, top, 0.5f * top + 0.1f, x % 3 == 0 ? 0.5f : 1.0f});
    }
  return p;
}

// Files left in a folder by a run: temporaries must not be among them.
using Cli = InFolder;

std::vector<std::string> args(std::vector<std::string> a, const std::vector<std::string>& sets = {}) {
  a.insert(a.begin(), sets.begin(), sets.end());
  a.insert(a.begin(), {"--plugin", kBundle});
  return a;
}

TEST_F(Cli, ListShowsEveryParameterInDefinitionOrder) {
  Result r = run(args({"--list"}));
  ASSERT_EQ(r.code, 0) << r.err;
  std::vector<std::string> listed, defined;
  std::istringstream lines_in(r.out);
  std::string line;
  std::getline(lines_in, line);  // heading
  EXPECT_NE(line.find("com.varnotone.varnocolor"), std::string::npos) << line;
  while (std::getline(lines_in, line))
    if (!line.empty() && line[0] != ' ') listed.push_back(line.substr(0, line.find(' ')));
  ofxhost::Plugin p = ofxhost::Host::load(kBundle);
  ofxhost::Instance inst = p.create_instance();
  for (auto* param : inst.params()) defined.push_back(param->name());
  EXPECT_EQ(listed, defined);
}

TEST_F(Cli, RendersExactlyWhatTheHostRendersInProcess) {
  Picture in = chart(24, 16);
  write_picture(at("in.exr"), in);
  // Values named on the command line win over those the look fills in, whatever the order;
  // -- ends the options.
  Result r = run(args({"--set", "halation_on=on", "--set", "halation=0.5", "--set", "look=Midnight", "--time", "3",
                       "--", at("in.exr"), at("out.exr")}));
  ASSERT_EQ(r.code, 0) << r.err;

  ofxhost::Plugin p = ofxhost::Host::load(kBundle);
  ofxhost::Instance inst = p.create_instance();
  inst.set_choice("look", "Midnight");
  inst.set("halation_on", 1);
  inst.set("halation", 0.5);
  ofxhost::Image src({0, 0, 24, 16}), dst({0, 0, 24, 16});
  for (int y = 0; y < 16; ++y)  // files keep the top row first, OFX images the bottom one
    std::memcpy(src.pixel(0, 15 - y), &in.px[size_t(y) * 24 * 4], 24 * 16);
  ASSERT_EQ(inst.render(3.0, {0, 0, 24, 16}, src, dst), kOfxStatOK);
  std::vector<float> want(in.px.size());
  for (int y = 0; y < 16; ++y) std::memcpy(&want[size_t(y) * 24 * 4], dst.pixel(0, 15 - y), 24 * 16);

  Picture got = read_picture(at("out.exr"));
  ASSERT_EQ(got.px.size(), want.size());
  EXPECT_TRUE(same_bits(got.px, want));
  for (size_t k = 3; k < got.px.size(); k += 4) ASSERT_EQ(got.px[k], in.px[k]) << "alpha passes through";
}

// Every failure: its exit code, one line naming the culprit, an existing
// output left as it was and no file left behind.
TEST_F(Cli, BadInputGetsOneLineNamingTheCulpritAndLeavesNoTrace) {
  write_picture(at("in.exr"), chart(8, 8));
  std::ofstream(at("broken.exr")) << "not an image";
  std::ofstream(at("out.exr")) << "precious";
  const std::string in = at("in.exr"), out = at("out.exr");
  expect_failures({
      {args({"--set", "nope=1", in, out}), 2, {"unknown parameter 'nope'"}},
      {args({"--set", "look=Cinema", in, out}), 2, {"look", "\"Cinema\"", "\"Cinema Print\", \"Midnight\""}},
      {args({"--set", "forza=1.5", in, out}), 2, {"forza=1.5", "out of range (0 to 1)"}},
      {args({"--set", "ev=1x", in, out}), 2, {"ev=1x", "not a number"}},
      {args({"--set", "bloom_on=maybe", in, out}), 2, {"bloom_on=maybe", "not a boolean"}},
      {args({"--bogus", in, out}), 2, {"unknown option --bogus"}},
      {args({in, out, "--time"}), 2, {"--time needs a value"}},
      {args({"--frames", "1-2", "--time", "1", at("in.#.exr"), at("o.#.exr")}), 2, {"--time", "--frames"}},
      {args({"--frames", "1.5-3", at("in.#.exr"), at("o.#.exr")}), 2, {"--frames '1.5-3'"}},
      {args({at("missing.exr"), out}), 1, {at("missing.exr"), "no such file"}},
      {args({at("broken.exr"), out}), 1, {at("broken.exr")}},
      {args({in, at("out.xyz")}), 1, {at("out.xyz"), ".xyz"}},
      {{"--plugin", at("Nothing.ofx.bundle"), in, out}, 1, {"cannot load the plug-in", "Nothing.ofx.bundle"}},
      {args({in, out}), 1, {"failed to render", in, "kOfxStatFailed (1)"}, "VARNO_RENDER_FAULTS=null_data:Output"},
  }, out);
  EXPECT_EQ(listing(), (std::vector<std::string>{"broken.exr", "in.exr", "out.exr"}));
}

TEST_F(Cli, SequencesRenderEachFrameAtItsNumber) {
  write_picture(at("in.0001.exr"), chart(12, 8, 0.3f));
  write_picture(at("in.0002.exr"), chart(12, 8, 0.6f));
  const std::vector<std::string> grain = {"--set", "grana_on=on", "--set", "grana=0.6"};
  Result r = run(args({"--frames", "1-2", at("in.####.exr"), at("out.%04d.exr")}, grain));
  ASSERT_EQ(r.code, 0) << r.err;
  for (const char* t : {"1", "2"}) {
    std::string f = std::string("000") + t + ".exr";
    ASSERT_EQ(run(args({"--time", t, at("in." + f), at("single." + f)}, grain)).code, 0);
    EXPECT_TRUE(same_bits(read_picture(at("out." + f)).px, read_picture(at("single." + f)).px)) << "frame " << t;
  }
  // The grain moves with time, so the comparison above tells frames apart.
  ASSERT_EQ(run(args({"--time", "1", at("in.0002.exr"), at("early.exr")}, grain)).code, 0);
  EXPECT_FALSE(same_bits(read_picture(at("out.0002.exr")).px, read_picture(at("early.exr")).px));
}

// Frame lists with steps and negative numbers; # is one digit each, and a name may hold
// digits right before its pattern and a % of its own.
TEST_F(Cli, SequenceNamesFollowThePatternForEveryFrameListed) {
  Result r = run(args({"--demo", "--size", "4x2", "--frames", "-1-3x2,7", at("v50%_12###.png")}));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(listing(), (std::vector<std::string>{"v50%_12-01.png", "v50%_12001.png", "v50%_12003.png",
                                                    "v50%_12007.png"}));
  EXPECT_NE(r.err.find("frame 7 [4/4]"), std::string::npos) << r.err;
}

}  // namespace
