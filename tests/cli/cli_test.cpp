// varno-render as a user runs it: a subprocess, its files, exit codes and messages.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "ofx_host.h"

namespace fs = std::filesystem;

namespace {

const std::string kBundle = VARNO_TEST_BUNDLE;

struct Result {
  int code = -1;
  std::string out, err;
};

std::string slurp(const fs::path& p) {
  std::ifstream f(p);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

// Runs varno-render with these arguments and extra environment, no shell between.
Result run(const std::vector<std::string>& args, const std::vector<std::string>& env = {}) {
  fs::path dir = fs::path(VARNO_TEST_TMP);
  fs::create_directories(dir);
  // Per process: CTest runs several of these tests at once.
  const std::string tag = std::to_string(getpid());
  fs::path out = dir / ("stdout." + tag + ".txt"), err = dir / ("stderr." + tag + ".txt");
  pid_t pid = fork();
  if (pid == 0) {
    int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(o, 1);
    dup2(e, 2);
    unsetenv("OFX_PLUGIN_PATH");
    for (auto& kv : env) putenv(const_cast<char*>(kv.c_str()));
    std::vector<char*> argv{const_cast<char*>(VARNO_TEST_RENDER)};
    for (auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(VARNO_TEST_RENDER, argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  Result r;
  r.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  r.out = slurp(out);
  r.err = slurp(err);
  return r;
}

struct Picture {
  int w = 0, h = 0, nch = 0;
  OIIO::TypeDesc format;
  std::vector<float> px;  // top row first
};

void write_image(const fs::path& path, const Picture& p) {
  auto o = OIIO::ImageOutput::create(path.string());
  ASSERT_TRUE(o) << path;
  OIIO::ImageSpec spec(p.w, p.h, p.nch, OIIO::TypeDesc::FLOAT);
  ASSERT_TRUE(o->open(path.string(), spec));
  ASSERT_TRUE(o->write_image(OIIO::TypeDesc::FLOAT, p.px.data()));
  o->close();
}

Picture read_image(const fs::path& path) {
  Picture p;
  auto in = OIIO::ImageInput::open(path.string());
  if (!in) return p;
  p.w = in->spec().width;
  p.h = in->spec().height;
  p.nch = in->spec().nchannels;
  p.format = in->spec().format;
  p.px.resize(size_t(p.w) * p.h * p.nch);
  in->read_image(0, 0, 0, p.nch, OIIO::TypeDesc::FLOAT, p.px.data());
  return p;
}

// RGBA with a ramp across, brighter towards the top, and alpha that varies.
Picture chart(int w, int h) {
  Picture p{w, h, 4, OIIO::TypeDesc::FLOAT, {}};
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      float top = 1.0f - float(y) / h;
      p.px.insert(p.px.end(), {float(x) / w, top, 0.5f * top + 0.1f, x % 3 == 0 ? 0.5f : 1.0f});
    }
  return p;
}

bool same_bits(const std::vector<float>& a, const std::vector<float>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// Files left in a folder by a run: temporaries must not be among them.
std::vector<std::string> listing(const fs::path& dir) {
  std::vector<std::string> names;
  for (auto& e : fs::directory_iterator(dir)) names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

int lines(const std::string& s) { return static_cast<int>(std::count(s.begin(), s.end(), '\n')); }

struct Cli : ::testing::Test {
  fs::path dir;
  void SetUp() override {
    dir = fs::path(VARNO_TEST_TMP) / ::testing::UnitTest::GetInstance()->current_test_info()->name();
    fs::remove_all(dir);
    fs::create_directories(dir);
  }
  std::string at(const std::string& name) const { return (dir / name).string(); }
};

const std::vector<std::string> kPlain = {"--set", "formato=Rec.709 (No Log)", "--set", "forza=0",
                                         "--set", "halation_on=off",          "--set", "bloom_on=0",
                                         "--set", "enhance_on=false",         "--set", "vignetta_on=off"};

std::vector<std::string> args(std::vector<std::string> a, const std::vector<std::string>& b = {}) {
  a.insert(a.begin(), {"--plugin", kBundle});
  a.insert(a.end(), b.begin(), b.end());
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
  EXPECT_NE(r.out.find("\"Look Strength\"  default 1  range 0 to 1"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\"Color Space  \""), std::string::npos) << "labels keep their blanks";
  EXPECT_NE(r.out.find("\"Halation\"  default on"), std::string::npos);
  EXPECT_NE(r.out.find("default \"Rec.709 (No Log)\""), std::string::npos);
  EXPECT_NE(r.out.find("options: \"4\", \"6\", \"8\""), std::string::npos);

  Result help = run({"--help"});
  EXPECT_EQ(help.code, 0);
  EXPECT_NE(help.out.find("usage: varno-render"), std::string::npos);
}

TEST_F(Cli, RendersExactlyWhatTheHostRendersInProcess) {
  Picture in = chart(24, 16);
  write_image(at("in.exr"), in);
  // Values named on the command line win over those a look fills in, whatever the order.
  std::vector<std::string> look = {"--set", "halation_on=on", "--set", "halation=0.5", "--set", "look=Midnight"};
  Result r = run(args(kPlain, {"--time", "3", at("in.exr"), at("plain.exr")}));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.err, "") << "quiet when not on a terminal";
  r = run(args(look, {at("in.exr"), at("look.exr")}));
  ASSERT_EQ(r.code, 0) << r.err;

  ofxhost::Plugin p = ofxhost::Host::load(kBundle);
  auto render = [&](ofxhost::Instance& inst, double time) {
    ofxhost::Image src({0, 0, 24, 16}), dst({0, 0, 24, 16});
    for (int y = 0; y < 16; ++y)  // files keep the top row first, OFX images the bottom one
      std::memcpy(src.pixel(0, 15 - y), &in.px[size_t(y) * 24 * 4], 24 * 16);
    EXPECT_EQ(inst.render(time, {0, 0, 24, 16}, src, dst), kOfxStatOK);
    std::vector<float> out(in.px.size());
    for (int y = 0; y < 16; ++y) std::memcpy(&out[size_t(y) * 24 * 4], dst.pixel(0, 15 - y), 24 * 16);
    return out;
  };
  ofxhost::Instance plain = p.create_instance();
  for (size_t k = 0; k < kPlain.size(); k += 2) {
    std::string s = kPlain[k + 1];
    std::string name = s.substr(0, s.find('=')), value = s.substr(s.find('=') + 1);
    if (name == "formato")
      plain.set_choice(name, value);
    else
      plain.set(name, 0.0);  // forza 0 and every effect off
  }
  Picture got = read_image(at("plain.exr"));
  ASSERT_EQ(got.nch, 4);
  ASSERT_EQ(got.w, 24);
  ASSERT_EQ(got.h, 16);
  EXPECT_TRUE(same_bits(got.px, render(plain, 3.0)));
  for (size_t k = 3; k < got.px.size(); k += 4) ASSERT_EQ(got.px[k], in.px[k]) << "alpha passes through";

  ofxhost::Instance looked = p.create_instance();
  looked.set_choice("look", "Midnight");
  looked.set("halation_on", 1);
  looked.set("halation", 0.5);
  EXPECT_TRUE(same_bits(read_image(at("look.exr")).px, render(looked, 0.0)));
}

TEST_F(Cli, GreyAndRgbInputsBecomeOpaqueRgba) {
  Picture grey{8, 4, 1, OIIO::TypeDesc::FLOAT, {}};
  Picture rgb{8, 4, 3, OIIO::TypeDesc::FLOAT, {}};
  Picture rgba{8, 4, 4, OIIO::TypeDesc::FLOAT, {}};
  for (int k = 0; k < 32; ++k) {
    float v = k / 31.0f;
    grey.px.push_back(v);
    rgb.px.insert(rgb.px.end(), {v, v, v});
    rgba.px.insert(rgba.px.end(), {v, v, v, 1.0f});
  }
  write_image(at("grey.exr"), grey);
  write_image(at("rgb.tif"), rgb);
  write_image(at("rgba.exr"), rgba);
  for (const char* name : {"grey.exr", "rgb.tif", "rgba.exr"})
    ASSERT_EQ(run(args(kPlain, {at(name), at(std::string("out-") + name + ".exr")})).code, 0) << name;
  std::vector<float> want = read_image(at("out-rgba.exr.exr")).px;
  EXPECT_TRUE(same_bits(read_image(at("out-grey.exr.exr")).px, want));
  EXPECT_TRUE(same_bits(read_image(at("out-rgb.tif.exr")).px, want));
}

TEST_F(Cli, WritesTheFormatTheExtensionNames) {
  struct Case {
    const char* name;
    int channels;
    OIIO::TypeDesc::BASETYPE type;
  } cases[] = {{"o.exr", 4, OIIO::TypeDesc::FLOAT},
               {"o.tif", 4, OIIO::TypeDesc::UINT16},
               {"o.png", 4, OIIO::TypeDesc::UINT16},
               {"o.dpx", 4, OIIO::TypeDesc::UINT16},
               {"o.jpg", 3, OIIO::TypeDesc::UINT8}};
  for (const Case& c : cases) {
    Result r = run(args({"--demo", "--size", "64x36", at(c.name)}));
    ASSERT_EQ(r.code, 0) << c.name << ": " << r.err;
    Picture p = read_image(at(c.name));
    EXPECT_EQ(p.w, 64) << c.name;
    EXPECT_EQ(p.h, 36) << c.name;
    EXPECT_EQ(p.nch, c.channels) << c.name;
    EXPECT_EQ(p.format.basetype, c.type) << c.name;
  }
  EXPECT_EQ(listing(dir), (std::vector<std::string>{"o.dpx", "o.exr", "o.jpg", "o.png", "o.tif"}));
}

TEST_F(Cli, BadInputGetsOneLineNamingTheCulpritAndAnExitCode) {
  write_image(at("in.exr"), chart(8, 8));
  std::ofstream(at("broken.exr")) << "not an image";
  const std::string in = at("in.exr"), out = at("out.exr");
  struct Case {
    std::vector<std::string> argv;
    int code;
    std::vector<std::string> says;
  } cases[] = {
      {args({"--set", "nope=1", in, out}), 2, {"unknown parameter 'nope'"}},
      {args({"--set", "look=Cinema", in, out}), 2, {"look", "\"Cinema\"", "\"Cinema Print\", \"Midnight\""}},
      {args({"--set", "formato=S-Log3", in, out}), 2, {"formato", "\"Sony S-Log3\""}},
      {args({"--set", "forza=1.5", in, out}), 2, {"forza=1.5", "out of range (0 to 1)"}},
      {args({"--set", "ev=-2.5", in, out}), 2, {"ev=-2.5", "out of range (-2 to 2)"}},
      {args({"--set", "ev=1x", in, out}), 2, {"ev=1x", "not a number"}},
      {args({"--set", "ev=nan", in, out}), 2, {"ev=nan", "not a number"}},
      {args({"--set", "bloom_on=maybe", in, out}), 2, {"bloom_on=maybe", "not a boolean"}},
      {args({"--set", "forza", in, out}), 2, {"--set 'forza'", "NAME=VALUE"}},
      {args({"--time", "soon", in, out}), 2, {"--time 'soon'"}},
      {args({"--bogus", in, out}), 2, {"unknown option --bogus"}},
      {args({in}), 2, {"expected INPUT and OUTPUT"}},
      {args({"--demo", in, out}), 2, {"--demo takes only OUTPUT"}},
      {args({"--frames", "3-1", at("in.####.exr"), at("o.####.exr")}), 2, {"--frames '3-1'"}},
      {args({at("missing.exr"), out}), 1, {at("missing.exr"), "no such file"}},
      {args({at("broken.exr"), out}), 1, {at("broken.exr")}},
      {args({in, at("out.xyz")}), 1, {at("out.xyz"), ".xyz"}},
      {args({in, at("nofolder/out.exr")}), 1, {at("nofolder/out.exr")}},
      {{"--plugin", at("Nothing.ofx.bundle"), in, out}, 1, {"cannot load the plug-in", "Nothing.ofx.bundle"}},
  };
  for (const Case& c : cases) {
    std::string cmd;
    for (auto& a : c.argv) cmd += " " + a;
    Result r = run(c.argv);
    EXPECT_EQ(r.code, c.code) << cmd << "\n" << r.err;
    EXPECT_EQ(lines(r.err), 1) << cmd << "\n" << r.err;
    EXPECT_EQ(r.err.rfind("varno-render: ", 0), 0u) << r.err;
    for (auto& s : c.says) EXPECT_NE(r.err.find(s), std::string::npos) << cmd << "\n" << r.err << "lacks: " << s;
  }
  EXPECT_EQ(listing(dir), (std::vector<std::string>{"broken.exr", "in.exr"})) << "no output from a failed run";
}

TEST_F(Cli, AFailedRenderLeavesAnExistingOutputAlone) {
  write_image(at("in.exr"), chart(8, 8));
  std::ofstream(at("out.exr")) << "precious";
  for (const char* fault : {"VARNO_RENDER_FAULTS=null_data:Output", "VARNO_RENDER_FAULTS=clip_image:Source"}) {
    Result r = run(args({at("in.exr"), at("out.exr")}), {fault});
    EXPECT_EQ(r.code, 1) << fault;
    EXPECT_EQ(lines(r.err), 1) << r.err;
    EXPECT_NE(r.err.find("failed to render"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("kOfxStatFailed (1)"), std::string::npos) << r.err;
    EXPECT_EQ(slurp(at("out.exr")), "precious");
  }
  // A bad value is refused before anything is read or written.
  EXPECT_EQ(run(args({"--set", "forza=2", at("in.exr"), at("out.exr")})).code, 2);
  EXPECT_EQ(slurp(at("out.exr")), "precious");
  EXPECT_EQ(listing(dir), (std::vector<std::string>{"in.exr", "out.exr"}));
  // A good run replaces it whole.
  ASSERT_EQ(run(args({at("in.exr"), at("out.exr")})).code, 0);
  EXPECT_EQ(read_image(at("out.exr")).w, 8);
}

TEST_F(Cli, SequencesRenderEachFrameAtItsNumber) {
  for (int f = 1; f <= 3; ++f) {
    Picture p = chart(12, 8);
    for (float& v : p.px) v *= 0.3f * f;
    char name[32];
    std::snprintf(name, sizeof name, "in.%04d.exr", f);
    write_image(at(name), p);
  }
  std::vector<std::string> grain = {"--set", "grana_on=on", "--set", "grana=0.6"};
  Result r = run(args(grain, {"--frames", "1-3", at("in.####.exr"), at("out.%04d.exr")}));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(lines(r.err), 3) << "one progress line a frame";
  EXPECT_NE(r.err.find("frame 2 [2/3]"), std::string::npos) << r.err;
  ASSERT_EQ(run(args(grain, {"--time", "2", at("in.0002.exr"), at("single.exr")})).code, 0);
  EXPECT_TRUE(same_bits(read_image(at("out.0002.exr")).px, read_image(at("single.exr")).px));
  EXPECT_FALSE(same_bits(read_image(at("out.0001.exr")).px, read_image(at("out.0002.exr")).px));

  // A missing frame stops the run there; frames done stay whole, nothing half-written.
  fs::remove(at("in.0002.exr"));
  fs::remove(at("out.0001.exr"));
  fs::remove(at("out.0002.exr"));
  fs::remove(at("out.0003.exr"));
  r = run(args({"--frames", "1-3", at("in.####.exr"), at("out.####.exr")}));
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find(at("in.0002.exr")), std::string::npos) << r.err;
  EXPECT_EQ(listing(dir), (std::vector<std::string>{"in.0001.exr", "in.0003.exr", "out.0001.exr", "single.exr"}));
}

TEST_F(Cli, DemoChartHasHighlightsFarAboveWhite) {
  Result r = run(args({"--demo", "--size", "320x180", "--set", "formato=Rec.709 (No Log)", at("demo.exr")}));
  ASSERT_EQ(r.code, 0) << r.err;
  Picture p = read_image(at("demo.exr"));
  ASSERT_EQ(p.w, 320);
  ASSERT_EQ(p.h, 180);
  float lo = 1e9f, hi = -1e9f;
  for (size_t k = 0; k < p.px.size(); k += 4) lo = std::min(lo, p.px[k + 1]), hi = std::max(hi, p.px[k + 1]);
  EXPECT_LT(lo, 0.2f);
  EXPECT_GT(hi, 0.8f);
}

}  // namespace
