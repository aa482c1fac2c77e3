// The parameter suite: definitions on descriptors, values and keys on
// instances, and the variadic calls that carry them.
#include <cmath>

#include "fake.h"

namespace {

using fake::E;
using fake::P;
using fake::Pa;
using ofxhost::Instance;
using ofxhost::Plugin;

struct Params : fake::Test {
  // Statuses the fake plug-in saw while describing.
  OfxStatus again = -1, bad_type = -1, int_default_on_double = -1, double_default = -1;

  void SetUp() override {
    fake::gHandler = [this](const std::string& action, OfxImageEffectHandle effect, OfxPropertySetHandle,
                            OfxPropertySetHandle) {
      if (action != "OfxImageEffectActionDescribeInContext") return kOfxStatReplyDefault;
      fake::define_clips(effect);
      OfxParamSetHandle set;
      E->getParamSet(effect, &set);
      OfxPropertySetHandle ps;
      Pa->paramDefine(set, "OfxParamTypeDouble", "gain", &ps);
      P->propSetString(ps, "OfxPropLabel", 0, "Gain");
      double_default = P->propSetDouble(ps, "OfxParamPropDefault", 0, 0.5);
      int_default_on_double = P->propSetInt(ps, "OfxParamPropDefault", 0, 1);
      P->propSetDouble(ps, "OfxParamPropMin", 0, 0.0);
      P->propSetDouble(ps, "OfxParamPropMax", 0, 2.0);
      Pa->paramDefine(set, "OfxParamTypeBoolean", "on", &ps);
      P->propSetInt(ps, "OfxParamPropDefault", 0, 1);
      Pa->paramDefine(set, "OfxParamTypeChoice", "mode", &ps);
      P->propSetString(ps, "OfxParamPropChoiceOption", 0, "Soft");
      P->propSetString(ps, "OfxParamPropChoiceOption", 1, "Hard");
      P->propSetString(ps, "OfxParamPropChoiceOption", 2, "Very Hard");
      P->propSetInt(ps, "OfxParamPropDefault", 0, 2);
      P->propSetInt(ps, "OfxParamPropSecret", 0, 1);
      Pa->paramDefine(set, "OfxParamTypeDouble2D", "centre", &ps);
      const double c[2] = {0.25, 0.75};
      P->propSetDoubleN(ps, "OfxParamPropDefault", 2, c);
      Pa->paramDefine(set, "OfxParamTypeString", "note", &ps);
      P->propSetString(ps, "OfxParamPropDefault", 0, "hello");
      again = Pa->paramDefine(set, "OfxParamTypeDouble", "gain", &ps);
      bad_type = Pa->paramDefine(set, "OfxParamTypeNoSuch", "x", &ps);
      return kOfxStatOK;
    };
    plugin = std::make_unique<Plugin>(loaded());
    inst = std::make_unique<Instance>(plugin->create_instance());
  }
  std::unique_ptr<Plugin> plugin;
  std::unique_ptr<Instance> inst;
  OfxParamHandle handle(const char* name) { return fake::param(inst->handle(), name); }
};

TEST_F(Params, DefinitionsKeepOrderTypesAndProperties) {
  EXPECT_EQ(double_default, kOfxStatOK);
  EXPECT_EQ(int_default_on_double, kOfxStatErrValue) << "a double's default is a double";
  EXPECT_EQ(again, kOfxStatErrExists);
  EXPECT_EQ(bad_type, kOfxStatErrUnknown);

  std::vector<std::string> names;
  for (auto* p : plugin->params()) names.push_back(p->name());
  EXPECT_EQ(names, (std::vector<std::string>{"gain", "on", "mode", "centre", "note"}));
  ofxhost::Param& gain = plugin->param("gain");
  EXPECT_EQ(gain.type(), "OfxParamTypeDouble");
  EXPECT_EQ(gain.label(), "Gain");
  EXPECT_EQ(gain.default_double(), 0.5);
  EXPECT_EQ(gain.max(), 2.0);
  EXPECT_EQ(plugin->param("on").label(), "on") << "the label defaults to the name";
  EXPECT_EQ(plugin->param("mode").options(), (std::vector<std::string>{"Soft", "Hard", "Very Hard"}));
  EXPECT_TRUE(plugin->param("mode").secret());
  EXPECT_FALSE(plugin->param("gain").secret());
  EXPECT_EQ(plugin->clips(), (std::vector<std::string>{"Source", "Output"}));
}

TEST_F(Params, InstancesStartAtTheDefaultsAndValuesTravelThroughVaLists) {
  double d = 0, d2[2] = {};
  int i = 0;
  const char* s = nullptr;
  ASSERT_EQ(Pa->paramGetValue(handle("gain"), &d), kOfxStatOK);
  EXPECT_EQ(d, 0.5);
  ASSERT_EQ(Pa->paramGetValue(handle("on"), &i), kOfxStatOK);
  EXPECT_EQ(i, 1);
  ASSERT_EQ(Pa->paramGetValue(handle("mode"), &i), kOfxStatOK);
  EXPECT_EQ(i, 2);
  ASSERT_EQ(Pa->paramGetValue(handle("centre"), &d2[0], &d2[1]), kOfxStatOK);
  EXPECT_EQ(d2[1], 0.75);
  ASSERT_EQ(Pa->paramGetValue(handle("note"), &s), kOfxStatOK);
  EXPECT_STREQ(s, "hello");

  EXPECT_EQ(Pa->paramSetValue(handle("gain"), 1.25), kOfxStatOK);
  EXPECT_EQ(Pa->paramSetValue(handle("mode"), 0), kOfxStatOK);
  EXPECT_EQ(Pa->paramSetValue(handle("centre"), 0.125, -3.5), kOfxStatOK);
  EXPECT_EQ(Pa->paramSetValue(handle("note"), "bye"), kOfxStatOK);
  EXPECT_EQ(inst->get_double("gain"), 1.25);
  EXPECT_EQ(inst->get_int("mode"), 0);
  EXPECT_EQ(inst->param("centre").get_double(1), -3.5);
  EXPECT_EQ(inst->param("note").get_string(), "bye");
  ASSERT_EQ(Pa->paramGetValueAtTime(handle("centre"), 7.0, &d2[0], &d2[1]), kOfxStatOK);
  EXPECT_EQ(d2[0], 0.125);

  // The host's side sets the same values.
  inst->set("gain", 0.75);
  inst->set_choice("mode", "Very Hard");
  inst->set("on", false);
  ASSERT_EQ(Pa->paramGetValue(handle("gain"), &d), kOfxStatOK);
  EXPECT_EQ(d, 0.75);
  Pa->paramGetValue(handle("mode"), &i);
  EXPECT_EQ(i, 2);
  Pa->paramGetValue(handle("on"), &i);
  EXPECT_EQ(i, 0);
  EXPECT_THROW(inst->set_choice("mode", "Medium"), ofxhost::Error);
  EXPECT_THROW(inst->set("nothing", 1), ofxhost::Error);
  EXPECT_THROW(inst->set("mode", 0.5), ofxhost::Error) << "a choice takes whole numbers";
}

TEST_F(Params, HandlesAndPropertySetsOfParameters) {
  OfxParamSetHandle set;
  E->getParamSet(inst->handle(), &set);
  OfxParamHandle h = nullptr;
  OfxPropertySetHandle ps = nullptr;
  EXPECT_EQ(Pa->paramGetHandle(set, "nothing", &h, &ps), kOfxStatErrUnknown);
  ASSERT_EQ(Pa->paramGetHandle(set, "mode", &h, &ps), kOfxStatOK);
  OfxPropertySetHandle ps2 = nullptr;
  ASSERT_EQ(Pa->paramGetPropertySet(h, &ps2), kOfxStatOK);
  EXPECT_EQ(ps, ps2);
  EXPECT_EQ(ps, inst->param("mode").props().ofx());
  // The plug-in hides and shows a parameter on the instance through its set.
  EXPECT_EQ(P->propSetInt(ps, "OfxParamPropSecret", 0, 0), kOfxStatOK);
  EXPECT_FALSE(inst->param("mode").secret());
  double d;
  EXPECT_EQ(Pa->paramGetValue(nullptr, &d), kOfxStatErrBadHandle);
  EXPECT_EQ(Pa->paramGetValue(reinterpret_cast<OfxParamHandle>(set), &d), kOfxStatErrBadHandle);
  // Definitions belong to descriptors.
  EXPECT_EQ(Pa->paramDefine(set, "OfxParamTypeDouble", "late", &ps), kOfxStatErrUnsupported);

  inst->faults().param_handle = {"gain"};
  EXPECT_EQ(Pa->paramGetHandle(set, "gain", &h, nullptr), kOfxStatErrUnknown);
}

TEST_F(Params, KeysInterpolateDoublesLinearlyAndHoldIntegers) {
  OfxParamHandle gain = handle("gain"), mode = handle("mode");
  ASSERT_EQ(Pa->paramSetValueAtTime(gain, 10.0, 1.0), kOfxStatOK);
  ASSERT_EQ(Pa->paramSetValueAtTime(gain, 20.0, 2.0), kOfxStatOK);
  ASSERT_EQ(Pa->paramSetValueAtTime(mode, 10.0, 0), kOfxStatOK);
  ASSERT_EQ(Pa->paramSetValueAtTime(mode, 20.0, 1), kOfxStatOK);

  double d = 0;
  int i = -1;
  for (auto [t, want] : {std::pair{0.0, 1.0}, {10.0, 1.0}, {12.5, 1.25}, {20.0, 2.0}, {99.0, 2.0}}) {
    ASSERT_EQ(Pa->paramGetValueAtTime(gain, t, &d), kOfxStatOK);
    EXPECT_DOUBLE_EQ(d, want) << "t=" << t;
  }
  for (auto [t, want] : {std::pair{5.0, 0}, {19.99, 0}, {20.0, 1}, {30.0, 1}}) {
    ASSERT_EQ(Pa->paramGetValueAtTime(mode, t, &i), kOfxStatOK);
    EXPECT_EQ(i, want) << "t=" << t;
  }
  // paramGetValue reads at the host's current time.
  inst->set_time(15.0);
  Pa->paramGetValue(gain, &d);
  EXPECT_DOUBLE_EQ(d, 1.5);
  EXPECT_DOUBLE_EQ(inst->get_double_at("gain", 17.5), 1.75);
  double during_render = 0;
  fake::gHandler = [&](const std::string& action, OfxImageEffectHandle, OfxPropertySetHandle,
                       OfxPropertySetHandle) {
    if (action == "OfxImageEffectActionRender") Pa->paramGetValue(gain, &during_render);
    return kOfxStatOK;
  };
  ofxhost::Image img({0, 0, 1, 1});
  inst->render(12.0, {0, 0, 1, 1}, img, img);
  EXPECT_DOUBLE_EQ(during_render, 1.2) << "a render reads at its own time";
  EXPECT_EQ(inst->time(), 15.0);

  Pa->paramGetDerivative(gain, 15.0, &d);
  EXPECT_DOUBLE_EQ(d, 0.1);
  Pa->paramGetIntegral(gain, 0.0, 20.0, &d);
  EXPECT_DOUBLE_EQ(d, 10.0 * 1.0 + 10.0 * 1.5);

  unsigned n = 0;
  double t = 0;
  int index = -1;
  EXPECT_EQ(Pa->paramGetNumKeys(gain, &n), kOfxStatOK);
  EXPECT_EQ(n, 2u);
  EXPECT_EQ(Pa->paramGetKeyTime(gain, 1, &t), kOfxStatOK);
  EXPECT_EQ(t, 20.0);
  EXPECT_EQ(Pa->paramGetKeyTime(gain, 2, &t), kOfxStatErrBadIndex);
  EXPECT_EQ(Pa->paramGetKeyIndex(gain, 15.0, 1, &index), kOfxStatOK);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(Pa->paramGetKeyIndex(gain, 15.0, -1, &index), kOfxStatOK);
  EXPECT_EQ(index, 0);
  EXPECT_EQ(Pa->paramGetKeyIndex(gain, 15.0, 0, &index), kOfxStatFailed);
  EXPECT_EQ(Pa->paramGetKeyIndex(gain, 25.0, 1, &index), kOfxStatFailed);

  // A set on an animated parameter keys it at the current time.
  Pa->paramSetValue(gain, 5.0);
  EXPECT_EQ(inst->param("gain").key_count(), 3u);
  EXPECT_EQ(Pa->paramDeleteKey(gain, 15.0), kOfxStatOK);
  EXPECT_EQ(Pa->paramDeleteKey(gain, 15.0), kOfxStatErrBadIndex);
  EXPECT_EQ(Pa->paramDeleteAllKeys(gain), kOfxStatOK);
  Pa->paramGetValueAtTime(gain, 0.0, &d);
  EXPECT_DOUBLE_EQ(d, 1.5) << "without keys the value at the current time stays";

  // Host-side keys, as a test animates a parameter.
  inst->set_at("gain", 0.0, 0.0);
  inst->set_at("gain", 4.0, 2.0);
  EXPECT_DOUBLE_EQ(inst->get_double_at("gain", 1.0), 0.5);
}

}  // namespace
