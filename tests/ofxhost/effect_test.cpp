// The image-effect side of the host: images and their addressing, failure
// injection, the actions a host sends, and the record of suite calls.
#include <atomic>
#include <thread>

#include "fake.h"

namespace {

using fake::E;
using fake::P;
using fake::Pa;
using ofxhost::Image;
using ofxhost::Instance;
using ofxhost::Plugin;

// Describes Source, Output and one double "gain"; renders dst = src * gain
// over the window, addressing each image by its own bounds and row bytes.
OfxStatus gain_plugin(const std::string& action, OfxImageEffectHandle effect, OfxPropertySetHandle in,
                      OfxPropertySetHandle) {
  if (action == "OfxImageEffectActionDescribeInContext") {
    fake::define_clips(effect);
    OfxParamSetHandle set;
    E->getParamSet(effect, &set);
    OfxPropertySetHandle ps;
    Pa->paramDefine(set, "OfxParamTypeDouble", "gain", &ps);
    P->propSetDouble(ps, "OfxParamPropDefault", 0, 2.0);
    return kOfxStatOK;
  }
  if (action != "OfxImageEffectActionRender") return kOfxStatReplyDefault;
  double time = 0;
  int win[4] = {};
  P->propGetDouble(in, "OfxPropTime", 0, &time);
  P->propGetIntN(in, "OfxImageEffectPropRenderWindow", 4, win);
  OfxImageClipHandle sc, dc;
  if (E->clipGetHandle(effect, "Source", &sc, nullptr) || E->clipGetHandle(effect, "Output", &dc, nullptr))
    return kOfxStatFailed;
  OfxPropertySetHandle si, di;
  if (E->clipGetImage(sc, time, nullptr, &si)) return kOfxStatFailed;
  if (E->clipGetImage(dc, time, nullptr, &di)) {
    E->clipReleaseImage(si);
    return kOfxStatFailed;
  }
  void *sd = nullptr, *dd = nullptr;
  int srb = 0, drb = 0, sb[4], db[4];
  P->propGetPointer(si, "OfxImagePropData", 0, &sd);
  P->propGetPointer(di, "OfxImagePropData", 0, &dd);
  P->propGetInt(si, "OfxImagePropRowBytes", 0, &srb);
  P->propGetInt(di, "OfxImagePropRowBytes", 0, &drb);
  P->propGetIntN(si, "OfxImagePropBounds", 4, sb);
  P->propGetIntN(di, "OfxImagePropBounds", 4, db);
  double gain = 0;
  Pa->paramGetValueAtTime(fake::param(effect, "gain"), time, &gain);
  OfxStatus st = kOfxStatFailed;
  if (sd && dd) {
    for (int y = win[1]; y < win[3]; ++y)
      for (int x = win[0]; x < win[2]; ++x) {
        auto* s = reinterpret_cast<const float*>(static_cast<const char*>(sd) + long(y - sb[1]) * srb +
                                                 long(x - sb[0]) * 16);
        auto* d = reinterpret_cast<float*>(static_cast<char*>(dd) + long(y - db[1]) * drb + long(x - db[0]) * 16);
        for (int c = 0; c < 4; ++c) d[c] = s[c] * static_cast<float>(gain);
      }
    st = kOfxStatOK;
  }
  E->clipReleaseImage(si);
  E->clipReleaseImage(di);
  return st;
}

struct Effect : fake::Test {
  void SetUp() override { fake::gHandler = gain_plugin; }
};

void ramp(Image& im) {
  const OfxRectI& b = im.bounds();
  for (int y = b.y1; y < b.y2; ++y)
    for (int x = b.x1; x < b.x2; ++x) {
      float* p = im.pixel(x, y);
      p[0] = float(x), p[1] = float(y), p[2] = float(x * y), p[3] = 1.0f;
    }
}

TEST(Image, RowsGoBackwardsInMemoryWithNegativeRowBytes) {
  Image im({-3, 10, 5, 14}, -160);
  EXPECT_EQ(im.row_bytes(), -160);
  auto* base = reinterpret_cast<char*>(im.data());
  EXPECT_EQ(reinterpret_cast<char*>(im.pixel(-3, 10)), base);
  EXPECT_EQ(reinterpret_cast<char*>(im.pixel(-3, 13)), base - 3 * 160);
  EXPECT_EQ(reinterpret_cast<char*>(im.pixel(4, 11)), base - 160 + 7 * 16);
  ramp(im);
  EXPECT_TRUE(im.untouched_outside());
  // Padding beside a row is outside the image too.
  reinterpret_cast<float*>(im.pixel(4, 12))[4] = 1.0f;
  EXPECT_FALSE(im.untouched_outside());
  EXPECT_THROW(im.pixel(5, 10), ofxhost::Error);
  EXPECT_THROW(Image({0, 0, 4, 4}, 32), ofxhost::Error) << "rows shorter than the width";
}

TEST_F(Effect, RenderAddressesEachImageByItsOwnBoundsAndRowBytes) {
  Plugin p = loaded();
  Instance inst = p.create_instance();
  Image src({-4, -2, 12, 9}, -(16 * 16 + 32));  // backwards, padded, larger than the window
  Image dst({0, 0, 8, 6}, 8 * 16 + 48);
  ramp(src);
  dst.fill(-1, -1, -1, -1);
  inst.set("gain", 0.5);
  ASSERT_EQ(inst.render(0, {1, 1, 7, 5}, src, dst), kOfxStatOK);
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 8; ++x) {
      bool inside = x >= 1 && x < 7 && y >= 1 && y < 5;
      EXPECT_EQ(dst.pixel(x, y)[0], inside ? x * 0.5f : -1.0f) << x << "," << y;
      EXPECT_EQ(dst.pixel(x, y)[1], inside ? y * 0.5f : -1.0f) << x << "," << y;
    }
  EXPECT_TRUE(src.untouched_outside());
  EXPECT_TRUE(dst.untouched_outside());
  EXPECT_EQ(inst.released(), (std::vector<std::string>{"Source", "Output"}));
  EXPECT_EQ(inst.images_held(), 0);
}

TEST_F(Effect, RenderArgumentsAndImagePropertiesAreWhatAHostGives) {
  ofxhost::PropertySet seen_args("copy"), seen_image("copy");
  fake::gHandler = [&](const std::string& action, OfxImageEffectHandle effect, OfxPropertySetHandle in,
                       OfxPropertySetHandle out) -> OfxStatus {
    if (action == "OfxImageEffectActionRender") {
      seen_args = *ofxhost::PropertySet::from(in);
      OfxImageClipHandle c;
      OfxPropertySetHandle im;
      E->clipGetHandle(effect, "Source", &c, nullptr);
      E->clipGetImage(c, 3.0, nullptr, &im);
      seen_image = *ofxhost::PropertySet::from(im);
      E->clipReleaseImage(im);
      EXPECT_EQ(E->clipReleaseImage(im), kOfxStatErrBadHandle) << "released twice";
      return kOfxStatOK;
    }
    return gain_plugin(action, effect, in, out);
  };
  Plugin p = loaded();
  Instance inst = p.create_instance("OfxImageEffectContextGeneral");
  Image src({2, 3, 10, 7}, -128), dst({2, 3, 10, 7});
  ofxhost::RenderArgs args;
  args.scale = {0.5, 0.5};
  ASSERT_EQ(inst.render(3.0, {2, 3, 6, 5}, src, dst, args), kOfxStatOK);
  EXPECT_EQ(seen_args.get_double("OfxPropTime"), 3.0);
  EXPECT_EQ(seen_args.ints("OfxImageEffectPropRenderWindow"), (std::vector<int>{2, 3, 6, 5}));
  EXPECT_EQ(seen_args.doubles("OfxImageEffectPropRenderScale"), (std::vector<double>{0.5, 0.5}));
  EXPECT_EQ(seen_args.get_string("OfxImageEffectPropFieldToRender"), "OfxImageFieldNone");
  EXPECT_EQ(seen_image.get_pointer("OfxImagePropData"), src.data());
  EXPECT_EQ(seen_image.get_int("OfxImagePropRowBytes"), -128);
  EXPECT_EQ(seen_image.ints("OfxImagePropBounds"), (std::vector<int>{2, 3, 10, 7}));
  EXPECT_EQ(seen_image.get_string("OfxImageEffectPropPixelDepth"), "OfxBitDepthFloat");
  EXPECT_EQ(seen_image.get_string("OfxImageEffectPropComponents"), "OfxImageComponentRGBA");
  EXPECT_EQ(seen_image.get_double("OfxImagePropPixelAspectRatio"), 1.0);
  EXPECT_TRUE(seen_image.has("OfxImageEffectPropPreMultiplication"));
}

TEST_F(Effect, InjectedFailuresReachThePlugin) {
  Plugin p = loaded();
  Instance inst = p.create_instance();
  Image src({0, 0, 4, 4}), dst({0, 0, 4, 4});
  inst.faults().clip_handle = {"Source"};
  EXPECT_EQ(inst.render(0, {0, 0, 4, 4}, src, dst), kOfxStatFailed);
  inst.faults() = {};
  inst.faults().clip_image = {"Output"};
  EXPECT_EQ(inst.render(0, {0, 0, 4, 4}, src, dst), kOfxStatFailed);
  EXPECT_EQ(inst.released(), std::vector<std::string>{"Source"});
  inst.faults() = {};
  inst.faults().null_data = {"Output"};
  EXPECT_EQ(inst.render(0, {0, 0, 4, 4}, src, dst), kOfxStatFailed);
  EXPECT_EQ(inst.released(), (std::vector<std::string>{"Source", "Output"}));
  inst.faults() = {};
  EXPECT_EQ(inst.render(0, {0, 0, 4, 4}, nullptr, dst), kOfxStatFailed) << "no source image";
  EXPECT_EQ(inst.render(0, {0, 0, 4, 4}, src, dst), kOfxStatOK);

  ofxhost::HostOptions missing;
  missing.missing_suites = {"OfxParameterSuite"};
  Plugin q = ofxhost::Host::adopt(&fake::gRecord, missing);
  q.set_host();
  EXPECT_EQ(q.load(), kOfxStatFailed);
  EXPECT_EQ(fake::Pa, nullptr);
  q.set_host(nullptr);
  EXPECT_EQ(q.load(), kOfxStatFailed);
  loaded();  // restore the fake's suites for later tests
}

TEST_F(Effect, SuiteCallsAreRecordedInOrder) {
  Plugin p = loaded();
  Instance inst = p.create_instance();
  Image src({0, 0, 2, 2}), dst({0, 0, 2, 2});
  p.clear_log();
  ASSERT_EQ(inst.render(5, {0, 0, 2, 2}, src, dst), kOfxStatOK);
  std::vector<std::string> want = {
      "propGetDouble OfxPropTime 0",
      "propGetIntN OfxImageEffectPropRenderWindow 4",
      "clipGetHandle Source",
      "clipGetHandle Output",
      "clipGetImage Source 5",
      "clipGetImage Output 5",
      "propGetPointer OfxImagePropData 0",
      "propGetPointer OfxImagePropData 0",
      "propGetInt OfxImagePropRowBytes 0",
      "propGetInt OfxImagePropRowBytes 0",
      "propGetIntN OfxImagePropBounds 4",
      "propGetIntN OfxImagePropBounds 4",
      "getParamSet",
      "paramGetHandle gain",
      "paramGetValueAtTime gain 5",
      "clipReleaseImage Source",
      "clipReleaseImage Output",
  };
  EXPECT_EQ(p.calls(), want);
  std::vector<ofxhost::Call> log = p.log();
  ASSERT_FALSE(log.empty());
  EXPECT_EQ(log.front().kind, ofxhost::Call::Action);
  EXPECT_EQ(log.front().text, "OfxImageEffectActionRender");
  EXPECT_EQ(log[3].target, "instance");
  EXPECT_EQ(log[7].target, "image Source");
  p.set_recording(false);
  inst.render(5, {0, 0, 2, 2}, src, dst);
  EXPECT_EQ(p.log().size(), log.size());
}

TEST_F(Effect, ChangesReachThePluginAsInstanceChangedWithTheirReason) {
  std::vector<std::string> changes;
  fake::gHandler = [&](const std::string& action, OfxImageEffectHandle effect, OfxPropertySetHandle in,
                       OfxPropertySetHandle out) -> OfxStatus {
    if (action == "OfxActionInstanceChanged") {
      char *name = nullptr, *type = nullptr, *reason = nullptr;
      P->propGetString(in, "OfxPropName", 0, &name);
      P->propGetString(in, "OfxPropType", 0, &type);
      P->propGetString(in, "OfxPropChangeReason", 0, &reason);
      changes.push_back(std::string(name) + " " + type + " " + reason);
      // The plug-in answers every change of gain by setting gain again: the
      // nested changes must come back, and must end.
      if (std::string(name) == "gain") Pa->paramSetValue(fake::param(effect, "gain"), 1.0);
      return kOfxStatOK;
    }
    if (action == "OfxActionCreateInstance") {
      Pa->paramSetValue(fake::param(effect, "gain"), 3.0);  // no change is sent while creating
      return kOfxStatOK;
    }
    return gain_plugin(action, effect, in, out);
  };
  Plugin p = loaded();
  Instance inst = p.create_instance();
  EXPECT_TRUE(changes.empty());
  EXPECT_EQ(inst.get_double("gain"), 3.0);
  EXPECT_EQ(inst.set("gain", 0.25), kOfxStatOK);
  ASSERT_GE(changes.size(), 2u);
  EXPECT_LE(changes.size(), 20u);
  EXPECT_EQ(changes[0], "gain OfxTypeParameter OfxChangeUserEdited");
  EXPECT_EQ(changes[1], "gain OfxTypeParameter OfxChangePluginEdited");
  EXPECT_EQ(inst.get_double("gain"), 1.0);
  changes.clear();
  EXPECT_EQ(inst.changed("Source", "OfxChangeUserEdited", "OfxTypeClip"), kOfxStatOK);
  EXPECT_EQ(changes, std::vector<std::string>{"Source OfxTypeClip OfxChangeUserEdited"});
}

TEST_F(Effect, ALifetimeSendsEveryActionInTheOrderHostsDo) {
  std::vector<std::string> actions;
  fake::gHandler = [&](const std::string& action, OfxImageEffectHandle effect, OfxPropertySetHandle in,
                       OfxPropertySetHandle out) -> OfxStatus {
    std::string what = action;
    char* context = nullptr;
    if (action == "OfxImageEffectActionDescribeInContext" &&
        P->propGetString(in, "OfxImageEffectPropContext", 0, &context) == kOfxStatOK)
      what += std::string(" ") + context;
    actions.push_back(what);
    return gain_plugin(action, effect, in, out);
  };
  {
    Plugin p = ofxhost::Host::adopt(&fake::gRecord);
    p.set_host();
    ASSERT_EQ(p.load(), kOfxStatOK);
    EXPECT_EQ(p.describe(), kOfxStatReplyDefault) << "the plug-in's own status comes back";
    Instance inst = p.create_instance("OfxImageEffectContextGeneral");
    inst.set("gain", 1.0);
    Image src({0, 0, 2, 2}), dst({0, 0, 2, 2});
    EXPECT_EQ(inst.render(0, {0, 0, 2, 2}, src, dst), kOfxStatOK);
  }
  EXPECT_EQ(actions, (std::vector<std::string>{
                         "OfxActionDescribe",
                         "OfxImageEffectActionDescribeInContext OfxImageEffectContextGeneral",
                         "OfxActionCreateInstance",
                         "OfxActionBeginInstanceChanged",
                         "OfxActionInstanceChanged",
                         "OfxActionEndInstanceChanged",
                         "OfxImageEffectActionRender",
                         "OfxActionDestroyInstance",
                         "OfxActionUnload",
                     }));
}

TEST_F(Effect, SeparateInstancesRenderAtOnce) {
  Plugin p = loaded();
  constexpr int kThreads = 4;
  std::vector<Instance> insts;
  for (int k = 0; k < kThreads; ++k) {
    insts.push_back(p.create_instance());
    insts.back().set("gain", double(k + 1));
  }
  std::atomic<int> bad{0};
  std::vector<std::thread> threads;
  for (int k = 0; k < kThreads; ++k)
    threads.emplace_back([&, k] {
      Image src({0, 0, 32, 16 + k}), dst({0, 0, 32, 16 + k}, -32 * 16);
      ramp(src);
      for (int n = 0; n < 20; ++n) {
        if (insts[k].render(n, {0, 0, 32, 16 + k}, src, dst) != kOfxStatOK) ++bad;
        if (dst.pixel(31, 15)[0] != 31.0f * (k + 1)) ++bad;
      }
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(bad.load(), 0);
  EXPECT_GE(p.calls().size(), size_t(kThreads * 20 * 17));
}

}  // namespace
