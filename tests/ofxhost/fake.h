// A plug-in that lives in the test itself: each test says what its actions do.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "ofx_host.h"

namespace fake {

using Handler = std::function<OfxStatus(const std::string& action, OfxImageEffectHandle effect,
                                        OfxPropertySetHandle in, OfxPropertySetHandle out)>;

inline OfxHost* gHost = nullptr;
inline const OfxPropertySuiteV1* P = nullptr;
inline const OfxImageEffectSuiteV1* E = nullptr;
inline const OfxParameterSuiteV1* Pa = nullptr;
inline Handler gHandler;

inline void setHost(OfxHost* h) { gHost = h; }

inline OfxStatus mainEntry(const char* action, const void* handle, OfxPropertySetHandle in,
                           OfxPropertySetHandle out) {
  if (!std::strcmp(action, "OfxActionLoad")) {
    if (!gHost) return kOfxStatFailed;
    E = static_cast<const OfxImageEffectSuiteV1*>(gHost->fetchSuite(gHost->host, "OfxImageEffectSuite", 1));
    P = static_cast<const OfxPropertySuiteV1*>(gHost->fetchSuite(gHost->host, "OfxPropertySuite", 1));
    Pa = static_cast<const OfxParameterSuiteV1*>(gHost->fetchSuite(gHost->host, "OfxParameterSuite", 1));
    return E && P && Pa ? kOfxStatOK : kOfxStatFailed;
  }
  auto effect = static_cast<OfxImageEffectHandle>(const_cast<void*>(handle));
  return gHandler ? gHandler(action, effect, in, out) : kOfxStatReplyDefault;
}

inline OfxPlugin gRecord = {"OfxImageEffectPluginAPI", 1, "test.fake", 1, 0, setHost, mainEntry};

inline OfxParamHandle param(OfxImageEffectHandle effect, const char* name) {
  OfxParamSetHandle set = nullptr;
  E->getParamSet(effect, &set);
  OfxParamHandle h = nullptr;
  Pa->paramGetHandle(set, name, &h, nullptr);
  return h;
}

// Each test starts with a fresh host around the fake plug-in and no behaviour.
struct Test : ::testing::Test {
  Test() { gHandler = nullptr; }
  static ofxhost::Plugin loaded(const ofxhost::HostOptions& o = {}) {
    ofxhost::Plugin p = ofxhost::Host::adopt(&gRecord, o);
    p.set_host();
    EXPECT_EQ(p.load(), kOfxStatOK);
    return p;
  }
};

}  // namespace fake
