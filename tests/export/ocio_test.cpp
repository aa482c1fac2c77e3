// --export-ocio: the config as OpenColorIO reads it, each view against the plug-in's grade,
// and how an existing folder is treated.
#include <OpenColorIO/OpenColorIO.h>

#include "common.h"

namespace OCIO = OCIO_NAMESPACE;

namespace {

using ExportOcio = InFolder;

std::vector<std::string> look_names() {
  ofxhost::Plugin p = ofxhost::Host::load(kBundle);
  ofxhost::Instance inst = p.create_instance();
  return inst.param("look").options();
}

TEST_F(ExportOcio, ConfigValidatesAndEachViewIsThePluginsGradeThroughItsCube) {
  // The look named here chooses nothing: every look gets its view.
  const Sets sets = {{"formato", "Sony S-Log3"}, {"cs_sony3", "S-Gamut3"}, {"forza", "0.75"},
                     {"ev", "-0.5"},             {"temp", "0.3"},          {"look", "Velvet"}};
  Result r = run(tool_args(sets, {"--export-ocio", at("looks"), "--cube-size", "17"}));
  ASSERT_EQ(r.code, 0) << r.err;

  // OpenColorIO reports what it does not understand in a config as messages, not errors.
  static std::vector<std::string> messages;
  OCIO::SetLoggingLevel(OCIO::LOGGING_LEVEL_WARNING);
  OCIO::SetLoggingFunction([](const char* m) { messages.emplace_back(m); });
  OCIO::ConstConfigRcPtr config;
  ASSERT_NO_THROW(config = OCIO::Config::CreateFromFile(at("looks/config.ocio").c_str()));
  EXPECT_NO_THROW(config->validate());
  EXPECT_EQ(config->getMajorVersion(), 2u);
  for (const std::string& m : messages) ADD_FAILURE() << "OpenColorIO says: " << m;
  const std::string input = "Sony S-Log3 S-Gamut3";
  ASSERT_TRUE(config->getColorSpace(input.c_str())) << "no input colour space " << input;
  EXPECT_EQ(std::string(config->getColorSpace("default")->getName()), input);
  ASSERT_EQ(config->getNumDisplays(), 1);
  EXPECT_STREQ(config->getDisplay(0), "Rec.709");
  const std::vector<std::string> looks = look_names();
  ASSERT_EQ(config->getNumViews("Rec.709"), static_cast<int>(looks.size()));

  const int w = 32, h = 24;
  const std::vector<float> picture = smooth_image(w, h);
  for (size_t k = 0; k < looks.size(); ++k) {
    const char* view = config->getView("Rec.709", static_cast<int>(k));
    ASSERT_EQ(view, looks[k]) << "views in catalogue order";
    OCIO::ConstCPUProcessorRcPtr cpu = config->getProcessor(input.c_str(), "Rec.709", view, OCIO::TRANSFORM_DIR_FORWARD)
                                           ->getOptimizedCPUProcessor(OCIO::OPTIMIZATION_NONE);
    std::vector<float> engine = picture;
    OCIO::PackedImageDesc desc(engine.data(), w, h, 3);
    cpu->apply(desc);
    Sets with_look(sets.begin(), sets.end() - 1);
    with_look.emplace_back("look", looks[k]);
    Grade grade(with_look);
    const Distance d = check_interpolates(engine, grade.of(picture), cells_of(grade, picture, 17), true, view);
    EXPECT_LT(d.mean, 0.01) << view;
  }

  // Each view's file is the cube --export-cube writes for that look.
  Sets olive(sets.begin(), sets.end() - 1);
  olive.emplace_back("look", "Olive");
  r = run(tool_args(olive, {"--export-cube", at("olive.cube"), "--cube-size", "17"}));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(slurp(at("looks/luts/olive.cube")), slurp(at("olive.cube")));
  EXPECT_EQ(listing("looks/luts").size(), looks.size());
}

// A folder is replaced only by a whole export, and only when it is empty or an earlier
// export: anything of the user's in it stops the run.
TEST_F(ExportOcio, AnExistingFolderIsReplacedOnlyOnSuccessAndOnlyIfItIsAnExport) {
  // What an earlier export left.
  const std::string looks = at("looks");
  fs::create_directories(at("looks/luts"));
  std::ofstream(at("looks/config.ocio")) << "earlier";
  std::ofstream(at("looks/luts/nordic.cube")) << "earlier";
  std::ofstream(at("looks/luts/old-look.cube")) << "earlier";

  fs::create_directories(at("mine"));
  std::ofstream(at("mine/notes.txt")) << "mine";
  std::ofstream(at("a-file")) << "mine";
  expect_failures({
      {tool_args({}, {"--export-ocio", looks, "--cube-size", "3"}), 1, {"failed to render"},
       "VARNO_RENDER_FAULTS=null_data:Output"},
      {tool_args({}, {"--export-ocio", at("mine")}), 1, {at("mine"), "holds files of its own"}},
      {tool_args({}, {"--export-ocio", at("a-file")}), 1, {at("a-file"), "not a folder"}},
      {tool_args({}, {"--export-ocio", at("no/such")}), 1, {at("no/such"), "no folder"}},
      {tool_args({}, {"--export-ocio", "/proc/varno-looks"}), 1, {"cannot write '/proc/varno-looks'"}},
      {tool_args({}, {"--export-ocio", at("x"), at("in.exr")}), 2, {"--export-ocio takes no INPUT"}},
      {tool_args({}, {"--export-ocio", at("x"), "--cube-size", "200"}), 2, {"--cube-size", "'200'"}},
  });
  EXPECT_EQ(slurp(at("looks/luts/nordic.cube")), "earlier");
  EXPECT_EQ(listing("looks/luts"), (std::vector<std::string>{"nordic.cube", "old-look.cube"}));
  EXPECT_EQ(listing("mine"), std::vector<std::string>{"notes.txt"});
  EXPECT_EQ(slurp(at("a-file")), "mine");
  EXPECT_EQ(listing(), (std::vector<std::string>{"a-file", "looks", "mine"}));

  // A whole export replaces the earlier one, trailing slash or not, and leaves nothing beside it.
  Result r = run(tool_args({}, {"--export-ocio", looks + "/", "--cube-size", "3"}));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(slurp(at("looks/luts/nordic.cube")).find("LUT_3D_SIZE 3\n"), std::string::npos);
  EXPECT_EQ(listing("looks"), (std::vector<std::string>{"config.ocio", "luts"}));
  EXPECT_FALSE(fs::exists(at("looks/luts/old-look.cube")));
  EXPECT_EQ(listing(), (std::vector<std::string>{"a-file", "looks", "mine"}));
}

}  // namespace
