// --export-cube: the .cube format, every lattice value against the plug-in's render of that
// code value, a read-back by OpenColorIO, and bad input.
#include <OpenColorIO/OpenColorIO.h>

#include "common.h"

namespace OCIO = OCIO_NAMESPACE;

namespace {

using ExportCube = InFolder;

// A grade that treats the three channels differently: a print look's crosstalk, white
// balance off neutral, a camera with a gamut of its own.
const Sets kUneven = {{"formato", "ARRI LogC3"}, {"look", "Cinema Print"}, {"forza", "0.8"},
                      {"ev", "0.7"},             {"temp", "0.6"},          {"tinta", "-0.4"}};

TEST_F(ExportCube, HeaderSettingsAndSizeFollowTheFormat) {
  Result r = run(tool_args({{"look", "Amber"}, {"ev", "0.5"}, {"formato", "Sony S-Log3"}, {"cs_sony3", "S-Gamut3"}},
                           {"--export-cube", at("amber.cube"), "--cube-size", "2"}));
  ASSERT_EQ(r.code, 0) << r.err;
  const Cube c = read_cube(at("amber.cube"));
  ASSERT_GE(c.header.size(), 5u);
  EXPECT_EQ(c.header[0], "TITLE \"Varno Color Amber\"");
  EXPECT_EQ(c.header[1], "LUT_3D_SIZE 2");
  EXPECT_EQ(c.header[2], "DOMAIN_MIN 0.0 0.0 0.0");
  EXPECT_EQ(c.header[3], "DOMAIN_MAX 1.0 1.0 1.0");
  std::string comments;
  for (size_t k = 4; k < c.header.size(); ++k) {
    EXPECT_EQ(c.header[k].rfind("#", 0), 0u) << c.header[k];
    comments += c.header[k] + "\n";
  }
  // The settings that make the grade, the shown colour space only, no effect.
  for (const char* s : {"formato=Sony S-Log3\n", "cs_sony3=S-Gamut3\n", "look=Amber\n", "forza=1\n", "ev=0.5\n",
                        "temp=0\n", "tinta=0\n"})
    EXPECT_NE(comments.find(s), std::string::npos) << comments << "lacks " << s;
  for (const char* s : {"cs_sony2", "cs_canon", "halation"}) EXPECT_EQ(comments.find(s), std::string::npos) << s;
  EXPECT_EQ(c.rgb.size(), 8u * 3);
  EXPECT_TRUE(c.six_decimals);
  // Amber switches halation, bloom, vignette and White Pro-Mist on: one line says so.
  EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
  for (const char* s : {"left out", "Halation", "White Pro-Mist"}) EXPECT_NE(r.err.find(s), std::string::npos) << r.err;

  // 33 points unless told; with every effect off, or on at no amount, nothing is said.
  Sets off = {{"halation", "0"}};
  for (const char* e : {"bloom_on", "enhance_on", "vignetta_on"}) off.emplace_back(e, "0");
  r = run(tool_args(off, {"--export-cube", at("default.cube")}));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.err, "");
  const Cube d = read_cube(at("default.cube"));
  EXPECT_EQ(d.size, 33);
  EXPECT_EQ(d.rgb.size(), 33u * 33 * 33 * 3);
}

// The plug-in renders each code value of a shuffled lattice in this process; the file must
// hold the same floats, line (i, j, k) at i + n j + n^2 k.
TEST_F(ExportCube, EveryValueIsThePluginsRenderOfItsCodeValueRedFastest) {
  const int n = 9;
  Result r = run(tool_args(kUneven, {"--export-cube", at("uneven.cube"), "--cube-size", std::to_string(n)}));
  ASSERT_EQ(r.code, 0) << r.err;
  const Cube c = read_cube(at("uneven.cube"));
  ASSERT_EQ(c.rgb.size(), size_t(n) * n * n * 3);

  std::vector<int> order(n * n * n);
  for (int p = 0; p < n * n * n; ++p) order[p] = (p * 337) % (n * n * n);  // 337 is prime to 729
  std::vector<float> codes;
  for (int p : order)
    for (int axis : {p % n, p / n % n, p / (n * n)}) codes.push_back(float(axis) / float(n - 1));
  Grade grade(kUneven);
  const std::vector<float> graded = grade.of(codes);
  for (int q = 0; q < n * n * n; ++q)
    for (int ch = 0; ch < 3; ++ch)
      ASSERT_EQ(c.rgb[order[q] * 3 + ch], graded[q * 3 + ch])
          << "line " << order[q] << " (i j k = " << order[q] % n << " " << order[q] / n % n << " "
          << order[q] / (n * n) << ") channel " << ch;

  // Not a vacuous check of the order: the grade of a colour and of its channels swapped differ.
  const std::vector<float> swapped = grade.of({0.25f, 0.5f, 0.75f, 0.75f, 0.5f, 0.25f});
  EXPECT_NE(swapped[0], swapped[5]);
  EXPECT_NE(swapped[2], swapped[3]);
}

// OpenColorIO reads the file back and grades a smooth picture; the result differs from the
// plug-in's own grade of that picture by no more than interpolating the cube can.
TEST_F(ExportCube, OpenColorIOReadsItBackWithinTheInterpolationErrorOfItsSize) {
  const Sets sets = {{"formato", "Sony S-Log3"}, {"look", "Midnight"}, {"forza", "0.9"}, {"temp", "-0.2"}};
  Grade grade(sets);
  const int w = 48, h = 32;
  const std::vector<float> picture = smooth_image(w, h), exact = grade.of(picture);
  double previous = 1e9;
  for (int n : {17, 33, 65}) {
    const std::string file = at("midnight" + std::to_string(n) + ".cube");
    Result r = run(tool_args(sets, {"--export-cube", file, "--cube-size", std::to_string(n)}));
    ASSERT_EQ(r.code, 0) << r.err;
    const Cells cells = cells_of(grade, picture, n);
    for (auto interp : {OCIO::INTERP_TETRAHEDRAL, OCIO::INTERP_LINEAR}) {
      OCIO::FileTransformRcPtr ft = OCIO::FileTransform::Create();
      ft->setSrc(file.c_str());
      ft->setInterpolation(interp);
      OCIO::ConstCPUProcessorRcPtr cpu =
          OCIO::Config::CreateRaw()->getProcessor(ft)->getOptimizedCPUProcessor(OCIO::OPTIMIZATION_NONE);
      std::vector<float> engine = picture;
      OCIO::PackedImageDesc desc(engine.data(), w, h, 3);
      cpu->apply(desc);
      const char* name = interp == OCIO::INTERP_LINEAR ? "trilinear" : "tetrahedral";
      const Distance d = check_interpolates(engine, exact, cells, interp == OCIO::INTERP_TETRAHEDRAL,
                                            std::to_string(n) + " points, " + name);
      std::printf("[ cube %2d ] %-11s largest error %.6f, mean %.6f\n", n, name, d.max, d.mean);
      if (interp == OCIO::INTERP_TETRAHEDRAL) {
        EXPECT_LT(d.max, previous) << n << " points";
        previous = d.max;
      }
    }
  }
}

// Each failure: its exit code, one line naming the culprit, an existing file left as it was
// and no temporary left behind.
TEST_F(ExportCube, BadInputGetsOneLineAndLeavesNoTrace) {
  std::ofstream(at("out.cube")) << "precious";
  const std::string out = at("out.cube");
  expect_failures({
      {tool_args({}, {"--export-cube", out, "--cube-size", "1"}), 2, {"--cube-size", "'1'", "2 to 129"}},
      {tool_args({}, {"--export-cube", out, "--cube-size", "33.5"}), 2, {"--cube-size", "'33.5'", "2 to 129"}},
      {tool_args({}, {"--cube-size", "17", "--demo", at("x.png")}), 2, {"--cube-size", "--export-cube"}},
      {tool_args({}, {"--export-cube", out, at("in.exr")}), 2, {"--export-cube takes no INPUT"}},
      {tool_args({}, {"--export-cube", out, "--frames", "1-2"}), 2, {"--export-cube", "--frames"}},
      {tool_args({{"look", "Nope"}}, {"--export-cube", out}), 2, {"look", "\"Nope\""}},
      {tool_args({}, {"--export-cube", at("no/such/dir/x.cube")}), 1, {at("no/such/dir/x.cube"), "no folder"}},
      {tool_args({}, {"--export-cube", dir.string()}), 1, {dir.string(), "not a file name"}},
      {tool_args({}, {"--export-cube", "/proc/varno.cube"}), 1, {"cannot write '/proc/varno.cube'"}},
      {tool_args({}, {"--export-cube", out}), 1, {"failed to render", "lattice"}, "VARNO_RENDER_FAULTS=null_data:Output"},
  }, out);
  EXPECT_EQ(listing(), (std::vector<std::string>{"out.cube"}));
  EXPECT_FALSE(fs::exists("/proc/varno.cube"));

  // A good run replaces it.
  Result r = run(tool_args({}, {"--export-cube", out, "--cube-size", "2"}));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(read_cube(out).size, 2);
  EXPECT_EQ(listing(), (std::vector<std::string>{"out.cube"}));
}

}  // namespace
