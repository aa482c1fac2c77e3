// Bad clips, bad options and interrupted runs: one line naming the file and the reason, a
// non-zero exit, no output and no temporary file left, an existing output untouched.
#include <signal.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

#include "cli/processo.h"
#include "inproc.h"
#include "kit.h"

namespace {

void write_text(const fs::path& p, const std::string& text) {
  std::ofstream f(p, std::ios::binary);
  f << text;
}

int lines(const std::string& s) { return static_cast<int>(std::count(s.begin(), s.end(), '\n')); }

struct Failing : InFolder {

  // With an earlier output in place, the job must fail with `code` and a message naming
  // `culprit` and saying `why`, and leave the folder as it was.
  void expect_refused(const varno_render::ClipJob& job, int code, const std::string& culprit, const std::string& why) {
    const bool earlier = fs::is_directory(fs::path(job.output).parent_path());
    if (earlier) write_text(job.output, "the user's earlier render");
    const std::vector<std::string> before = listing();
    varno_render::Failure f = inproc::render(job);
    EXPECT_EQ(f.code, code) << f.message;
    EXPECT_EQ(f.message.find('\n'), std::string::npos) << f.message;
    EXPECT_NE(f.message.find(culprit), std::string::npos) << f.message;
    EXPECT_NE(f.message.find(why), std::string::npos) << f.message;
    EXPECT_EQ(listing(), before);
    if (earlier) EXPECT_TRUE(kit::bytes_of(job.output) == "the user's earlier render");
    else EXPECT_FALSE(fs::exists(job.output));
  }
  void expect_refused(const std::string& in, const std::string& out, int code, const std::string& culprit,
                      const std::string& why) {
    expect_refused(inproc::job(at(in), at(out)), code, culprit, why);
  }
};

TEST_F(Failing, BrokenAndUnsupportedClipsAreRefusedNamingTheFile) {
  expect_refused("missing.mov", "out.mov", 1, "missing.mov", "no such file");

  // Cut short: with the index at the end it is gone; with it in front, frames are missing,
  // cut inside one or cleanly after one.
  kit::make_clip(at("whole.mov"), kit::prores(8));
  std::string bytes = kit::bytes_of(at("whole.mov"));
  write_text(at("cut.mov"), bytes.substr(0, bytes.size() / 2));
  expect_refused("cut.mov", "out.mov", 1, "cut.mov", "invalid data");
  kit::Plan fast = kit::prores(8);
  fast.movflags = "+faststart";
  kit::make_clip(at("fast.mov"), fast);
  bytes = kit::bytes_of(at("fast.mov"));
  const std::vector<int64_t> ends = kit::packet_ends(at("fast.mov"));
  ASSERT_EQ(ends.size(), 8u);
  write_text(at("inside.mov"), bytes.substr(0, static_cast<size_t>(ends[4] - 100)));
  expect_refused("inside.mov", "out.mov", 1, "inside.mov", "truncated");
  write_text(at("clean.mov"), bytes.substr(0, static_cast<size_t>(ends[4])));
  expect_refused("clean.mov", "out.mov", 1, "clean.mov", "truncated (5 of 8 frames");

  // A codec nobody decodes: the ProRes clip with another four-character code.
  bytes = kit::bytes_of(at("whole.mov"));
  for (size_t k = bytes.find("apch"); k != std::string::npos; k = bytes.find("apch", k)) bytes.replace(k, 4, "zzzz");
  write_text(at("odd.mov"), bytes);
  expect_refused("odd.mov", "out.mov", 1, "odd.mov", "not supported ('zzzz')");

  kit::Plan sound = kit::prores(4);
  sound.video = false;
  sound.audio = true;
  kit::make_clip(at("sound.mov"), sound);
  expect_refused("sound.mov", "out.mov", 1, "sound.mov", "no video stream");

  // AVI keeps a video track with no frames; Matroska writes hardly a file.
  kit::make_clip(at("empty.avi"), kit::prores(0));
  expect_refused("empty.avi", "out.mov", 1, "empty.avi", "no video frames");
  expect_refused("empty.avi", "f.####.exr", 1, "empty.avi", "no video frames");  // into a sequence
  EXPECT_FALSE(fs::exists(at("f.0000.exr")));
  kit::make_clip(at("empty.mkv"), kit::prores(0));
  expect_refused("empty.mkv", "out.mov", 1, "empty.mkv", "ends before its first frame");
}

TEST_F(Failing, JobsTheFilesCannotTake) {
  kit::make_clip(at("in.mov"), kit::prores(3));
  expect_refused(inproc::job(at("in.mov"), at("out.mp4"), "prores_hq"), 2, "--codec prores_hq", "cannot go into .mp4");
  varno_render::ClipJob j = inproc::job(at("in.mov"), at("out.mov"));
  j.frames = std::vector<int>{1, 2, 3, 4, 5};
  expect_refused(j, 2, "in.mov", "has 3 frames");
  j.frames = std::vector<int>{0, 2};
  expect_refused(j, 2, "--frames", "one range");
  expect_refused("in.mov", "out.avi", 1, "out.avi", ".mov, .mp4, .mkv or .mxf");
  fs::create_directories(dir / "no");
  expect_refused("in.mov", "no/such/out.mov", 1, "no/such/out.mov", "no folder");
  // A frame size the codec cannot take.
  kit::Plan odd = kit::prores(2);
  odd.format = AV_PIX_FMT_YUV444P10;
  odd.width = 63;
  kit::make_clip(at("odd.mov"), odd);
  expect_refused("odd.mov", "out.mov", 1, "out.mov", "even width");
  // Sound the container cannot hold unchanged.
  kit::Plan pcm = kit::prores(2);
  pcm.audio = true;
  pcm.audio_codec = "pcm_s16le";
  kit::make_clip(at("pcm.mov"), pcm);
  expect_refused("pcm.mov", "out.mp4", 1, "out.mp4", "its audio (pcm_s16le) cannot go into .mp4");
  // And a good run replaces what was there.
  write_text(at("out.mov"), "the user's earlier render");
  varno_render::Failure f = inproc::render(inproc::job(at("in.mov"), at("out.mov")));
  ASSERT_EQ(f.code, 0) << f.message;
  EXPECT_EQ(kit::probe(at("out.mov")).frames, 3);
}

// The tool itself: one line on stderr, the exit status, the output kept.
TEST_F(Failing, TheToolSaysItInOneLine) {
  kit::make_clip(at("in.mov"), kit::prores(2));
  const std::string whole = kit::bytes_of(at("in.mov"));
  write_text(at("cut.mov"), whole.substr(0, whole.size() / 2));
  write_text(at("out.mov"), "the user's earlier render");
  const std::vector<std::string> before = listing();
  struct Case {
    std::vector<std::string> args;
    int code;
    std::string says;
  } cases[] = {
      {{at("cut.mov"), at("out.mov")}, 1, "cannot read '" + at("cut.mov") + "': "},
      {{"--codec", "prores_xq", at("in.mov"), at("out.mov")}, 2, "'prores_xq' is not a codec; one of prores, "},
      {{"--time", "2", at("in.mov"), at("out.mov")}, 2, "--time does not apply to clips"},
      {{"--fps", "25", at("in.mov"), at("out.mov")}, 2, "--fps applies only"},
      {{"--dry-run", at("in.mov"), at("out.mov")}, 2, "--dry-run applies to image sequence OUTPUTs"},
  };
  for (const Case& c : cases) {
    Result r = run(c.args);
    EXPECT_EQ(r.code, c.code) << r.err;
    EXPECT_EQ(lines(r.err), 1) << r.err;
    EXPECT_EQ(r.err.rfind("varno-render: ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
  }
  EXPECT_EQ(listing(), before);
  EXPECT_TRUE(kit::bytes_of(at("out.mov")) == "the user's earlier render");
}

TEST_F(Failing, InterruptedRunLeavesNothing) {
  kit::Plan s = kit::prores(400);
  s.width = 32;
  s.height = 16;
  kit::make_clip(at("in.mov"), s);
  write_text(at("out.mov"), "the user's earlier render");
  const std::vector<std::string> before = listing();

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
    for (const std::string& name : listing()) writing = writing || name.find(".tmp") != std::string::npos;
    if (!writing) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ASSERT_TRUE(writing) << "no temporary file appeared";
  kill(pid, SIGINT);
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status)) << "the run ended before it was interrupted; make the clip longer";
  EXPECT_EQ(WTERMSIG(status), SIGINT);
  EXPECT_EQ(listing(), before);
  EXPECT_TRUE(kit::bytes_of(at("out.mov")) == "the user's earlier render");
}

}  // namespace
