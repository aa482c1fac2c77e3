// The property suite as a plug-in sees it: typed values, dimensions and statuses.
#include <vector>

#include "fake.h"

namespace {

using ofxhost::Host;
using ofxhost::PropertySet;

const OfxPropertySuiteV1& S = *Host::property_suite();

TEST(PropertySuite, TypedValuesRoundTripThroughEveryMember) {
  PropertySet ps("args", true);
  OfxPropertySetHandle h = ps.ofx();
  int dummy = 0;

  EXPECT_EQ(S.propSetString(h, "s", 0, "first"), kOfxStatOK);
  EXPECT_EQ(S.propSetString(h, "s", 1, "second"), kOfxStatOK);
  EXPECT_EQ(S.propSetInt(h, "i", 0, -7), kOfxStatOK);
  EXPECT_EQ(S.propSetDouble(h, "d", 0, 0.1), kOfxStatOK);
  EXPECT_EQ(S.propSetPointer(h, "p", 0, &dummy), kOfxStatOK);

  char* s = nullptr;
  int i = 0;
  double d = 0;
  void* p = nullptr;
  EXPECT_EQ(S.propGetString(h, "s", 1, &s), kOfxStatOK);
  EXPECT_STREQ(s, "second");
  EXPECT_EQ(S.propGetInt(h, "i", 0, &i), kOfxStatOK);
  EXPECT_EQ(i, -7);
  EXPECT_EQ(S.propGetDouble(h, "d", 0, &d), kOfxStatOK);
  EXPECT_EQ(d, 0.1);
  EXPECT_EQ(S.propGetPointer(h, "p", 0, &p), kOfxStatOK);
  EXPECT_EQ(p, &dummy);

  const int ints[4] = {1, 2, 3, 4};
  const double dbls[2] = {0.5, -2.25};
  const char* strs[3] = {"a", "b", "c"};
  void* ptrs[2] = {&dummy, nullptr};
  EXPECT_EQ(S.propSetIntN(h, "in", 4, ints), kOfxStatOK);
  EXPECT_EQ(S.propSetDoubleN(h, "dn", 2, dbls), kOfxStatOK);
  EXPECT_EQ(S.propSetStringN(h, "sn", 3, strs), kOfxStatOK);
  EXPECT_EQ(S.propSetPointerN(h, "pn", 2, ptrs), kOfxStatOK);
  int iback[4] = {};
  double dback[2] = {};
  char* sback[3] = {};
  void* pback[2] = {};
  EXPECT_EQ(S.propGetIntN(h, "in", 4, iback), kOfxStatOK);
  EXPECT_EQ(S.propGetDoubleN(h, "dn", 2, dback), kOfxStatOK);
  EXPECT_EQ(S.propGetStringN(h, "sn", 3, sback), kOfxStatOK);
  EXPECT_EQ(S.propGetPointerN(h, "pn", 2, pback), kOfxStatOK);
  EXPECT_EQ(std::vector<int>(iback, iback + 4), std::vector<int>(ints, ints + 4));
  EXPECT_EQ(dback[1], -2.25);
  EXPECT_STREQ(sback[2], "c");
  EXPECT_EQ(pback[0], &dummy);
  EXPECT_EQ(pback[1], nullptr);

  int dim = 0;
  EXPECT_EQ(S.propGetDimension(h, "in", &dim), kOfxStatOK);
  EXPECT_EQ(dim, 4);
  // Fewer values than the dimension may be read; a shorter N-set shrinks a variable property.
  EXPECT_EQ(S.propGetIntN(h, "in", 2, iback), kOfxStatOK);
  EXPECT_EQ(S.propSetIntN(h, "in", 1, ints), kOfxStatOK);
  EXPECT_EQ(ps.ints("in"), std::vector<int>{1});
}

TEST(PropertySuite, StatusesForUnknownBadIndexWrongTypeAndBadHandle) {
  PropertySet ps("args", true);
  OfxPropertySetHandle h = ps.ofx();
  ps.set_ints("bounds", {0, 0, 8, 8}, true);
  ps.set("label", "x");
  int i = 0;
  double d = 0;
  char* s = nullptr;
  int four[4];

  EXPECT_EQ(S.propGetInt(h, "absent", 0, &i), kOfxStatErrUnknown);
  EXPECT_EQ(S.propGetDimension(h, "absent", &i), kOfxStatErrUnknown);
  EXPECT_EQ(S.propReset(h, "absent"), kOfxStatErrUnknown);

  EXPECT_EQ(S.propGetInt(h, "bounds", 4, &i), kOfxStatErrBadIndex);
  EXPECT_EQ(S.propGetInt(h, "bounds", -1, &i), kOfxStatErrBadIndex);
  EXPECT_EQ(S.propSetInt(h, "bounds", 4, 1), kOfxStatErrBadIndex) << "a fixed dimension does not grow";
  EXPECT_EQ(S.propGetIntN(h, "bounds", 5, four), kOfxStatErrBadIndex);
  EXPECT_EQ(S.propSetString(h, "label", 2, "gap"), kOfxStatErrBadIndex) << "no hole in a variable property";

  EXPECT_EQ(S.propGetDouble(h, "bounds", 0, &d), kOfxStatErrValue);
  EXPECT_EQ(S.propGetString(h, "bounds", 0, &s), kOfxStatErrValue);
  EXPECT_EQ(S.propSetDouble(h, "bounds", 0, 1.0), kOfxStatErrValue);
  EXPECT_EQ(S.propSetInt(h, "label", 0, 1), kOfxStatErrValue);
  EXPECT_EQ(ps.ints("bounds"), (std::vector<int>{0, 0, 8, 8})) << "failed sets change nothing";

  EXPECT_EQ(S.propGetInt(nullptr, "bounds", 0, &i), kOfxStatErrBadHandle);
  EXPECT_EQ(S.propSetInt(nullptr, "bounds", 0, 1), kOfxStatErrBadHandle);
  int not_a_set = 0;
  EXPECT_EQ(S.propGetInt(reinterpret_cast<OfxPropertySetHandle>(&not_a_set), "bounds", 0, &i),
            kOfxStatErrBadHandle);
}

TEST(PropertySuite, HostSetsAreClosedAndResetRestoresTheHostValue) {
  fake::gHandler = nullptr;
  ofxhost::Plugin p = Host::adopt(&fake::gRecord);
  p.set_host();
  ASSERT_EQ(p.load(), kOfxStatOK);
  ofxhost::Instance inst = p.create_instance();
  OfxPropertySetHandle h = inst.props().ofx();

  EXPECT_EQ(S.propSetInt(h, "OfxNoSuchProperty", 0, 1), kOfxStatErrUnknown) << "a misspelt property is refused";
  EXPECT_FALSE(inst.props().has("OfxNoSuchProperty"));
  char* type = nullptr;
  EXPECT_EQ(S.propGetString(h, "OfxPropType", 0, &type), kOfxStatOK);
  EXPECT_STREQ(type, "OfxTypeImageEffectInstance");
  char* context = nullptr;
  EXPECT_EQ(S.propGetString(h, "OfxImageEffectPropContext", 0, &context), kOfxStatOK);
  EXPECT_STREQ(context, "OfxImageEffectContextFilter");

  EXPECT_EQ(S.propSetDouble(h, "OfxImageEffectPropFrameRate", 0, 50.0), kOfxStatOK);
  EXPECT_EQ(S.propReset(h, "OfxImageEffectPropFrameRate"), kOfxStatOK);
  EXPECT_EQ(inst.props().get_double("OfxImageEffectPropFrameRate"), 24.0);
}

}  // namespace
