// Shared by the tests that drive the built bundle through our own host.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "interruttori.h"
#include "ofx_host.h"

namespace prova {

inline std::string percorso_bundle() { return VARNO_TEST_BUNDLE; }

inline ofxhost::Plugin carica(const ofxhost::HostOptions& o = {}) {
  return ofxhost::Host::load(percorso_bundle(), o);
}

// Every effect off, so that only the grade reaches the output.
inline void effetti_spenti(ofxhost::Instance& inst) {
  for (const char* e : kInterruttori) inst.set(e, 0);
}

inline void riempi_rampa(ofxhost::Image& img) {
  const OfxRectI b = img.bounds();
  for (int y = b.y1; y < b.y2; ++y)
    for (int x = b.x1; x < b.x2; ++x) {
      float* p = img.pixel(x, y);
      p[0] = static_cast<float>(x - b.x1) / static_cast<float>(img.width());
      p[1] = static_cast<float>(y - b.y1) / static_cast<float>(img.height());
      p[2] = 0.5f * (p[0] + p[1]);
      p[3] = 0.25f + 0.001f * static_cast<float>(x - y);
    }
}

}  // namespace prova
