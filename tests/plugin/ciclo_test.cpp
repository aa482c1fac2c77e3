// Load, render, unload and close the module, again and again: its worker
// threads must be gone with it, so nothing runs in code that is no longer there.
#include <dirent.h>
#include <dlfcn.h>

#include <string>
#include <thread>

#include "comune.h"

namespace {

int thread_del_processo() {
  int n = 0;
  if (DIR* d = opendir("/proc/self/task")) {
    while (dirent* e = readdir(d))
      if (e->d_name[0] != '.') ++n;
    closedir(d);
  }
  return n;
}

std::string binario() {
  return prova::percorso_bundle() + "/Contents/Linux-x86-64/VarnoColor.ofx";
}

TEST(Ciclo, LoadRenderUnloadAndReloadLeavesNoThreadOrModuleBehind) {
  if (void* gia = dlopen(binario().c_str(), RTLD_NOW | RTLD_NOLOAD)) {
    dlclose(gia);
    GTEST_SKIP() << "another test in this process holds the module; run this one alone (ctest does)";
  }
  // A first thread of our own, so that helpers a runtime starts with the
  // process's first thread (ThreadSanitizer has one) are already counted.
  std::thread([] {}).join();
  const int prima = thread_del_processo();
  for (int giro = 0; giro < 3; ++giro) {
    SCOPED_TRACE(giro);
    {
      ofxhost::HostOptions o;
      o.close_library = true;
      o.record_calls = false;
      ofxhost::Plugin p = prova::carica(o);
      ofxhost::Instance inst = p.create_instance();
      for (const char* e : {"grana_on", "stella_on", "ca_on", "mistw_on"}) inst.set(e, 1);
      ofxhost::Image src({0, 0, 200, 120}), dst({0, 0, 200, 120});
      prova::riempi_rampa(src);
      ASSERT_EQ(inst.render(giro, {0, 0, 200, 120}, src, dst), kOfxStatOK);
      EXPECT_GT(thread_del_processo(), prima) << "the render ran on no worker";
    }
    EXPECT_EQ(thread_del_processo(), prima);
    void* ancora = dlopen(binario().c_str(), RTLD_NOW | RTLD_NOLOAD);
    EXPECT_EQ(ancora, nullptr) << "the module is still loaded";
    if (ancora) dlclose(ancora);
  }
}

}  // namespace
