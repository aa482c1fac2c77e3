// What a render farm relies on: --skip-existing resumes a sequence without touching the frames
// already there, and --dry-run says what a run would do without doing it.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cstring>

#include "immagini.h"
#include "processo.h"

namespace {

using Resume = InFolder;

const std::vector<std::string> kGrainyChart = {"--plugin", VARNO_TEST_BUNDLE, "--demo", "--size", "24x16",
                                               "--set",    "grana_on=on",     "--set",  "grana=0.6"};

std::vector<std::string> with(std::vector<std::string> a) {
  a.insert(a.begin(), kGrainyChart.begin(), kGrainyChart.end());
  return a;
}

// A file's identity: a rename over it or a rewrite changes one of these.
std::string identity(const fs::path& p) {
  struct stat st {};
  if (::stat(p.c_str(), &st) != 0) return "missing";
  return std::to_string(st.st_ino) + ":" + std::to_string(st.st_mtim.tv_sec) + "." +
         std::to_string(st.st_mtim.tv_nsec) + ":" + std::to_string(st.st_size);
}

TEST_F(Resume, SkipExistingRendersOnlyTheMissingFramesAndLeavesTheOthersAlone) {
  ASSERT_EQ(run(with({"--quiet", "--frames", "1-5", at("all.####.exr")})).code, 0);
  ASSERT_EQ(run(with({"--quiet", "--frames", "1-2,4", at("out.####.exr")})).code, 0);
  std::ofstream(at("out.0004.exr")) << "kept as it is";  // not even an image: skipping never reads it
  const std::string first = identity(dir / "out.0001.exr");

  Result r = run(with({"--skip-existing", "--frames", "1-5", at("out.####.exr")}));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(identity(dir / "out.0001.exr"), first);
  EXPECT_EQ(slurp(dir / "out.0004.exr"), "kept as it is");
  for (const char* f : {"0003", "0005"}) {
    EXPECT_TRUE(same_bits(read_picture(at("out." + std::string(f) + ".exr")).px,
                          read_picture(at("all." + std::string(f) + ".exr")).px))
        << f;
  }
  EXPECT_NE(r.err.find("frame 2 [2/5] skipped"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("2 rendered, 3 skipped"), std::string::npos) << r.err;

  // Without it, every frame is rendered again.
  ASSERT_EQ(run(with({"--quiet", "--frames", "1-5", at("out.####.exr")})).code, 0);
  EXPECT_NE(identity(dir / "out.0001.exr"), first);
  EXPECT_NE(slurp(dir / "out.0004.exr"), "kept as it is");

  // A folder in a frame's place is no finished frame: that frame fails, as it would without the option.
  fs::create_directory(dir / "dirs.0002.exr");
  r = run(with({"--skip-existing", "--frames", "1-3", at("dirs.####.exr")}));
  EXPECT_EQ(r.code, 1) << r.err;
  EXPECT_NE(r.err.find("dirs.0002.exr"), std::string::npos) << r.err;
  EXPECT_TRUE(fs::exists(dir / "dirs.0001.exr"));
  EXPECT_FALSE(fs::exists(dir / "dirs.0003.exr"));

  // A still is skipped as a whole.
  std::ofstream(at("still.png")) << "kept";
  r = run(with({"--skip-existing", at("still.png")}));
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(slurp(dir / "still.png"), "kept");
}

TEST_F(Resume, DryRunListsEachFrameAndRendersNothing) {
  std::ofstream(at("out.0002.png")) << "there";
  Result r = run(with({"--dry-run", "--skip-existing", "--frames", "1-3,-1", at("out.%04d.png")}));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "1\trender\t" + at("out.0001.png") + "\n2\tskip\t" + at("out.0002.png") + "\n3\trender\t" +
                       at("out.0003.png") + "\n-1\trender\t" + at("out.-001.png") + "\n");
  EXPECT_EQ(r.err, "");
  r = run(with({"--dry-run", "--frames", "2", at("out.%04d.png")}));
  EXPECT_EQ(r.out, "2\trender\t" + at("out.0002.png") + "\n");
  r = run(with({"--dry-run", at("still.png")}));
  EXPECT_EQ(r.out, "-\trender\t" + at("still.png") + "\n");
  EXPECT_EQ(listing(), std::vector<std::string>{"out.0002.png"});

  // It checks what a real run would, before a farm is asked for anything.
  r = run(with({"--dry-run", "--set", "forza=2", "--frames", "1-3", at("out.%04d.png")}));
  EXPECT_EQ(r.code, 2);
  EXPECT_NE(r.err.find("forza=2"), std::string::npos) << r.err;
  r = run(with({"--dry-run", "--frames", "1-3", at("nowhere/out.%04d.png")}));
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("nowhere"), std::string::npos) << r.err;
  EXPECT_EQ(r.out, "");
}

}  // namespace
