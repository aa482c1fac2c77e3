// Finding and opening bundles, and the errors a user reads when that fails.
#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "fake.h"

namespace fs = std::filesystem;

namespace {

using ofxhost::Error;
using ofxhost::Host;

std::string error_of(const std::string& path) {
  try {
    Host::open(path);
  } catch (const Error& e) {
    return e.what();
  }
  return "";
}

struct Scratch {
  fs::path dir = fs::path(VARNO_TEST_TMP) / "load";
  Scratch() {
    fs::remove_all(dir);
    fs::create_directories(dir);
  }
};

TEST(Load, EachKindOfBadPathGetsItsOwnMessage) {
  Scratch s;
  EXPECT_NE(error_of((s.dir / "none.ofx").string()).find("no such file"), std::string::npos);

  fs::path text = s.dir / "text.ofx";
  std::ofstream(text) << "not a library";
  std::string e = error_of(text.string());
  EXPECT_NE(e.find(text.string()), std::string::npos) << e;
  EXPECT_NE(e.find("cannot be loaded"), std::string::npos) << e;

  fs::path empty_bundle = s.dir / "Empty.ofx.bundle";
  fs::create_directories(empty_bundle / "Contents" / "Linux-x86-64");
  e = error_of(empty_bundle.string());
  EXPECT_NE(e.find("Contents/Linux-x86-64/Empty.ofx"), std::string::npos) << e;

  Dl_info libc{};
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&dlopen), &libc), 0);
  e = error_of(libc.dli_fname);  // loadable, but no entry points
  EXPECT_NE(e.find("not an OFX plug-in"), std::string::npos) << e;
}

TEST(Load, TheBuiltBundleOpensByFolderByBinaryAndBySearch) {
  Scratch s;
  const std::string bundle = VARNO_TEST_BUNDLE;
  EXPECT_EQ(Host::open(bundle).identifier(), "com.varnotone.varnocolor");
  EXPECT_EQ(Host::open(bundle + "/Contents/Linux-x86-64/VarnoColor.ofx").identifier(), "com.varnotone.varnocolor");
  std::string e;
  try {
    Host::open(bundle, {}, "com.example.other");
  } catch (const Error& err) {
    e = err.what();
  }
  EXPECT_NE(e.find("com.varnotone.varnocolor"), std::string::npos) << "names what the binary holds: " << e;

  fs::create_directories(s.dir / "nested");
  fs::create_directory_symlink(fs::absolute(bundle), s.dir / "nested" / "VarnoColor.ofx.bundle");
  const char* old = std::getenv("OFX_PLUGIN_PATH");
  std::string keep = old ? old : "";
  setenv("OFX_PLUGIN_PATH", ("/nonexistent:" + s.dir.string()).c_str(), 1);
  EXPECT_EQ(Host::locate("com.varnotone.varnocolor"), (s.dir / "nested" / "VarnoColor.ofx.bundle").string());
  EXPECT_EQ(Host::locate("com.example.other"), "");
  EXPECT_THROW(Host::find("com.example.other"), Error);
  if (old)
    setenv("OFX_PLUGIN_PATH", keep.c_str(), 1);
  else
    unsetenv("OFX_PLUGIN_PATH");
}

}  // namespace
