// The image-effect and parameter suites as a plug-in meets them: images,
// values and keys, and instance-changed.
#include "fake.h"

namespace {

using namespace ofxhost;
using fake::E, fake::P, fake::Pa;

// Source, Output, a double "gain" and a boolean "on"; renders dst = src * gain
// over the window, addressing each image by its own bounds and row bytes.
OfxStatus gain_plugin(const std::string& action, OfxImageEffectHandle effect, OfxPropertySetHandle in,
                      OfxPropertySetHandle) {
  if (action == "OfxImageEffectActionDescribeInContext") {
    OfxPropertySetHandle ps;
    for (const char* clip : {"Source", "Output"}) E->clipDefine(effect, clip, &ps);
    OfxParamSetHandle set;
    E->getParamSet(effect, &set);
    Pa->paramDefine(set, "OfxParamTypeBoolean", "on", &ps);
    Pa->paramDefine(set, "OfxParamTypeDouble", "gain", &ps);
    return P->propSetDouble(ps, "OfxParamPropDefault", 0, 2.0);
  }
  if (action != "OfxImageEffectActionRender") return kOfxStatReplyDefault;
  double time = 0, gain = 0;
  int win[4] = {}, rb[2] = {}, b[2][4] = {};
  P->propGetDouble(in, "OfxPropTime", 0, &time);
  P->propGetIntN(in, "OfxImageEffectPropRenderWindow", 4, win);
  OfxPropertySetHandle img[2] = {};
  void* data[2] = {};
  OfxStatus st = kOfxStatOK;
  for (int k = 0; k < 2 && st == kOfxStatOK; ++k) {
    OfxImageClipHandle clip;
    if (E->clipGetHandle(effect, k ? "Output" : "Source", &clip, nullptr) ||
        E->clipGetImage(clip, time, nullptr, &img[k]))
      st = kOfxStatFailed;
    else if (P->propGetPointer(img[k], "OfxImagePropData", 0, &data[k]) || !data[k])
      st = kOfxStatFailed;
    P->propGetInt(img[k], "OfxImagePropRowBytes", 0, &rb[k]);
    P->propGetIntN(img[k], "OfxImagePropBounds", 4, b[k]);
  }
  Pa->paramGetValue(fake::param(effect, "gain"), &gain);  // at the current time
  for (int y = win[1]; st == kOfxStatOK && y < win[3]; ++y)
    for (int x = win[0]; x < win[2]; ++x) {
      auto px = [&](int k) {
        return reinterpret_cast<float*>(static_cast<char*>(data[k]) + long(y - b[k][1]) * rb[k] +
                                        long(x - b[k][0]) * 16);
      };
      for (int c = 0; c < 4; ++c) px(1)[c] = px(0)[c] * static_cast<float>(gain);
    }
  for (auto* i : img)
    if (i) E->clipReleaseImage(i);
  return st;
}

struct HostEffect : fake::Test {
  void SetUp() override { fake::gHandler = gain_plugin; }
};

TEST_F(HostEffect, ImagesAreAddressedByTheirOwnBoundsAndRowBytes) {
  Image im({-3, 10, 5, 14}, -160);  // rows go backwards, each padded by 32 bytes
  im.pixel(4, 12)[4] = 1.0f;  // the padding beside a row is outside the image too
  EXPECT_FALSE(im.untouched_outside());

  Plugin p = loaded();
  Instance inst = p.create_instance();
  Image src({-4, -2, 12, 9}, -(16 * 16 + 32)), dst({0, 0, 8, 6}, 8 * 16 + 48);
  for (int y = -2; y < 9; ++y)
    for (int x = -4; x < 12; ++x) src.pixel(x, y)[0] = float(x), src.pixel(x, y)[1] = float(y);
  dst.fill(-1, -1, -1, -1);
  ASSERT_EQ(inst.render(0, {1, 1, 7, 5}, src, dst), kOfxStatOK);
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 8; ++x) {
      bool inside = x >= 1 && x < 7 && y >= 1 && y < 5;
      EXPECT_EQ(dst.pixel(x, y)[0], inside ? x * 2.0f : -1.0f) << x << "," << y;
      EXPECT_EQ(dst.pixel(x, y)[1], inside ? y * 2.0f : -1.0f) << x << "," << y;
    }
  EXPECT_TRUE(src.untouched_outside());
  EXPECT_TRUE(dst.untouched_outside());
  EXPECT_EQ(inst.images_held(), 0);
}

TEST_F(HostEffect, ValuesTravelThroughVaListsAndKeysHoldPerTime) {
  Plugin p = loaded();
  Instance inst = p.create_instance();
  OfxParamHandle gain = fake::param(inst.handle(), "gain"), on = fake::param(inst.handle(), "on");
  double d = 0;
  int i = -1;
  EXPECT_EQ(Pa->paramSetValue(gain, 1.25), kOfxStatOK);
  EXPECT_EQ(Pa->paramSetValue(on, 1), kOfxStatOK);
  EXPECT_EQ(inst.get_double("gain"), 1.25);
  ASSERT_EQ(Pa->paramGetValue(on, &i), kOfxStatOK);
  EXPECT_EQ(i, 1);

  // Doubles interpolate between keys, integers hold until the next one.
  ASSERT_EQ(Pa->paramSetValueAtTime(gain, 10.0, 1.0), kOfxStatOK);
  ASSERT_EQ(Pa->paramSetValueAtTime(gain, 20.0, 2.0), kOfxStatOK);
  ASSERT_EQ(Pa->paramSetValueAtTime(on, 10.0, 0), kOfxStatOK);
  ASSERT_EQ(Pa->paramSetValueAtTime(on, 20.0, 1), kOfxStatOK);
  for (auto [t, want] : {std::pair{0.0, 1.0}, {12.5, 1.25}, {20.0, 2.0}, {99.0, 2.0}}) {
    ASSERT_EQ(Pa->paramGetValueAtTime(gain, t, &d), kOfxStatOK);
    EXPECT_DOUBLE_EQ(d, want) << "t=" << t;
  }
  for (auto [t, want] : {std::pair{5.0, 0}, {19.99, 0}, {20.0, 1}}) {
    ASSERT_EQ(Pa->paramGetValueAtTime(on, t, &i), kOfxStatOK);
    EXPECT_EQ(i, want) << "t=" << t;
  }
  // paramGetValue reads at the current time, which a render moves to its frame.
  inst.set_time(15.0);
  Pa->paramGetValue(gain, &d);
  EXPECT_DOUBLE_EQ(d, 1.5);
  Image src({0, 0, 1, 1}), dst({0, 0, 1, 1});
  src.fill(1, 1, 1, 1);
  ASSERT_EQ(inst.render(12.0, {0, 0, 1, 1}, src, dst), kOfxStatOK);
  EXPECT_FLOAT_EQ(dst.pixel(0, 0)[0], 1.2f);
  EXPECT_EQ(inst.time(), 15.0);
}

TEST_F(HostEffect, PluginEditsComeBackAsNestedInstanceChanged) {
  std::vector<std::string> changes;
  fake::gHandler = [&](const std::string& action, OfxImageEffectHandle effect, OfxPropertySetHandle in,
                       OfxPropertySetHandle out) -> OfxStatus {
    if (action == "OfxActionCreateInstance")
      return Pa->paramSetValue(fake::param(effect, "gain"), 3.0);  // no change is sent while creating
    if (action != "OfxActionInstanceChanged") return gain_plugin(action, effect, in, out);
    char *name = nullptr, *reason = nullptr;
    P->propGetString(in, "OfxPropName", 0, &name);
    P->propGetString(in, "OfxPropChangeReason", 0, &reason);
    changes.push_back(std::string(name) + " " + reason);
    // Answering every change of gain by setting it again must still end.
    if (std::string(name) == "gain") Pa->paramSetValue(fake::param(effect, "gain"), 1.0);
    return kOfxStatOK;
  };
  Plugin p = loaded();
  Instance inst = p.create_instance();
  EXPECT_TRUE(changes.empty());
  EXPECT_EQ(inst.get_double("gain"), 3.0);
  EXPECT_EQ(inst.set("gain", 0.25), kOfxStatOK);
  ASSERT_GE(changes.size(), 2u);
  EXPECT_LE(changes.size(), 20u);
  EXPECT_EQ(changes[0], "gain OfxChangeUserEdited");
  EXPECT_EQ(changes[1], "gain OfxChangePluginEdited");
  EXPECT_EQ(inst.get_double("gain"), 1.0);
}

}  // namespace
