// Bad clips, bad options and interrupted runs: one line naming the file and the reason, a
// non-zero exit, no output and no temporary file left, an existing output untouched.
#include <signal.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

#include "cli/processo.h"
#include "kit.h"

namespace {

std::vector<std::string> listing(const fs::path& dir) {
  std::vector<std::string> names;
  for (auto& e : fs::directory_iterator(dir)) names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

void write_text(const fs::path& p, const std::string& text) {
  std::ofstream f(p, std::ios::binary);
  f << text;
}

int lines(const std::string& s) { return static_cast<int>(std::count(s.begin(), s.end(), '\n')); }

struct Failing : ::testing::Test {
  fs::path dir;
  void SetUp() override {
    dir = fs::path(VARNO_TEST_TMP) / ::testing::UnitTest::GetInstance()->current_test_info()->name();
    fs::remove_all(dir);
    fs::create_directories(dir);
  }
  std::string at(const std::string& name) const { return (dir / name).string(); }

  // Runs with an existing output in place; the run must fail with `code`, one line naming
  // `culprit` and saying `why`, and leave the folder as it was.
  void expect_refused(const std::vector<std::string>& args, int code, const std::string& culprit,
                      const std::string& why, const std::string& output = "out.mov") {
    write_text(at(output), "the user's earlier render");
    const std::vector<std::string> before = listing(dir);
    std::vector<std::string> quiet{"-q"};  // the failure alone
    quiet.insert(quiet.end(), args.begin(), args.end());
    Result r = run(quiet);
    EXPECT_EQ(r.code, code) << r.err;
    EXPECT_EQ(lines(r.err), 1) << r.err;
    EXPECT_NE(r.err.find(culprit), std::string::npos) << r.err;
    EXPECT_NE(r.err.find(why), std::string::npos) << r.err;
    EXPECT_EQ(listing(dir), before);
    EXPECT_TRUE(kit::bytes_of(at(output)) == "the user's earlier render");
  }
};

kit::Spec prores(int frames) {
  kit::Spec s;
  s.encoder = "prores_ks";
  s.format = AV_PIX_FMT_YUV422P10;
  s.frames = frames;
  return s;
}

TEST_F(Failing, BrokenAndUnsupportedClipsAreRefusedNamingTheFile) {
  write_text(at("text.mov"), "not a clip at all\n");
  expect_refused({at("text.mov"), at("out.mov")}, 1, "text.mov", "invalid data");
  expect_refused({at("missing.mov"), at("out.mov")}, 1, "missing.mov", "no such file");

  // Cut short: with the index at the end it is gone; with it in front, frames are missing.
  kit::make_clip(at("whole.mov"), prores(8));
  std::string bytes = kit::bytes_of(at("whole.mov"));
  write_text(at("cut.mov"), bytes.substr(0, bytes.size() / 2));
  expect_refused({at("cut.mov"), at("out.mov")}, 1, "cut.mov", "invalid data");
  kit::Spec fast = prores(8);
  fast.movflags = "+faststart";
  kit::make_clip(at("fast.mov"), fast);
  bytes = kit::bytes_of(at("fast.mov"));
  write_text(at("fastcut.mov"), bytes.substr(0, bytes.size() * 6 / 10));
  expect_refused({at("fastcut.mov"), at("out.mov")}, 1, "fastcut.mov", "truncated");

  // A codec nobody decodes: the ProRes clip with another four-character code.
  bytes = kit::bytes_of(at("whole.mov"));
  for (size_t at4 = bytes.find("apch"); at4 != std::string::npos; at4 = bytes.find("apch", at4)) bytes.replace(at4, 4, "zzzz");
  write_text(at("odd.mov"), bytes);
  expect_refused({at("odd.mov"), at("out.mov")}, 1, "odd.mov", "not supported ('zzzz')");

  kit::Spec sound = prores(4);
  sound.video = false;
  sound.audio = true;
  kit::make_clip(at("sound.mov"), sound);
  expect_refused({at("sound.mov"), at("out.mov")}, 1, "sound.mov", "no video stream");

  // QuickTime drops a track with no samples, AVI keeps it, Matroska writes hardly a file.
  kit::make_clip(at("empty.mov"), prores(0));
  expect_refused({at("empty.mov"), at("out.mov")}, 1, "empty.mov", "no video stream");
  kit::make_clip(at("empty.avi"), prores(0));
  expect_refused({at("empty.avi"), at("out.mov")}, 1, "empty.avi", "no video frames");
  kit::make_clip(at("empty.mkv"), prores(0));
  expect_refused({at("empty.mkv"), at("out.mov")}, 1, "empty.mkv", "ends before its first frame");
  // Also when the frames are written as a sequence.
  expect_refused({at("empty.avi"), at("f.####.exr")}, 1, "empty.avi", "no video frames", "f.0000.exr");
}

TEST_F(Failing, WrongOptionsAndUnwritableOutputs) {
  kit::make_clip(at("in.mov"), prores(3));
  expect_refused({"--codec", "prores_xq", at("in.mov"), at("out.mov")}, 2, "--codec", "'prores_xq' is not a codec");
  expect_refused({"--codec", "prores_hq", at("in.mov"), at("out.mp4")}, 2, "--codec prores_hq", "cannot go into .mp4",
                 "out.mp4");
  expect_refused({"--frames", "1-5", at("in.mov"), at("out.mov")}, 2, "in.mov", "has 3 frames");
  expect_refused({"--frames", "0,2", at("in.mov"), at("out.mov")}, 2, "--frames", "one range");
  expect_refused({"--time", "2", at("in.mov"), at("out.mov")}, 2, "--time", "index");
  expect_refused({at("in.mov"), at("out.avi")}, 1, "out.avi", ".mov, .mp4, .mkv or .mxf", "out.avi");
  expect_refused({at("in.mov"), at("no/such/folder/out.mov")}, 1, "no/such/folder/out.mov", "no folder");
  // A frame size the codec cannot take.
  kit::Spec odd = prores(2);
  odd.format = AV_PIX_FMT_YUV444P10;
  odd.width = 63;
  kit::make_clip(at("odd.mov"), odd);
  expect_refused({at("odd.mov"), at("out.mov")}, 1, "out.mov", "even width");
  // Sound the container cannot hold unchanged.
  kit::Spec pcm = prores(2);
  pcm.audio = true;
  pcm.audio_codec = "pcm_s16le";
  kit::make_clip(at("pcm.mov"), pcm);
  expect_refused({at("pcm.mov"), at("out.mp4")}, 1, "out.mp4", "its audio (pcm_s16le) cannot go into .mp4", "out.mp4");

  // And a good run replaces what was there.
  write_text(at("out.mov"), "the user's earlier render");
  Result r = run({"-q", at("in.mov"), at("out.mov")});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(kit::probe(at("out.mov")).frames, 3);
}

TEST_F(Failing, InterruptedRunLeavesNothing) {
  kit::Spec s = prores(400);
  s.width = 32;
  s.height = 16;
  kit::make_clip(at("in.mov"), s);
  write_text(at("out.mov"), "the user's earlier render");
  const std::vector<std::string> before = listing(dir);

  const std::string tool = VARNO_TEST_RENDER, in = at("in.mov"), out = at("out.mov");
  pid_t pid = fork();
  if (pid == 0) {
    int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    dup2(null, 2);
    unsetenv("OFX_PLUGIN_PATH");
    execl(tool.c_str(), tool.c_str(), "-q", in.c_str(), out.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  // Interrupt once the clip is being written.
  bool writing = false;
  for (int k = 0; k < 20000 && !writing; ++k) {
    for (const std::string& name : listing(dir)) writing = writing || name.find(".tmp") != std::string::npos;
    if (!writing) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ASSERT_TRUE(writing) << "no temporary file appeared";
  kill(pid, SIGINT);
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status)) << "the run ended before it was interrupted; make the clip longer";
  EXPECT_EQ(WTERMSIG(status), SIGINT);
  EXPECT_EQ(listing(dir), before);
  EXPECT_TRUE(kit::bytes_of(at("out.mov")) == "the user's earlier render");
}

}  // namespace
