// Opening a plug-in binary, and the message a user reads when that fails.
#include <dlfcn.h>

#include "fake.h"

TEST(HostLoad, MissingFilesAndLibrariesWithoutEntryPointsAreRefusedByName) {
  auto error_of = [](const std::string& path) -> std::string {
    try {
      ofxhost::Host::open(path);
    } catch (const ofxhost::Error& e) {
      return e.what();
    }
    return "";
  };
  EXPECT_EQ(ofxhost::Host::open(VARNO_TEST_BUNDLE).identifier(), "com.varnotone.varnocolor");
  const std::string none = std::string(VARNO_TEST_TMP) + "/none.ofx";
  std::string e = error_of(none);
  EXPECT_EQ(e.rfind(none, 0), 0u) << e;
  EXPECT_NE(e.find("no such file"), std::string::npos) << e;

  Dl_info libc{};
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&dlopen), &libc), 0);
  e = error_of(libc.dli_fname);  // loadable, but exports no OfxGetPlugin
  EXPECT_NE(e.find(libc.dli_fname), std::string::npos) << e;
  EXPECT_NE(e.find("not an OFX plug-in"), std::string::npos) << e;
}
