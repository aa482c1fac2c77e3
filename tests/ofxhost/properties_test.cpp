// The property suite's statuses and N-value calls, as a plug-in meets them.
#include "fake.h"

struct HostProperties : fake::Test {};

TEST_F(HostProperties, StatusesAndNValueCalls) {
  const OfxPropertySuiteV1& S = *ofxhost::Host::property_suite();
  ofxhost::PropertySet ps("args", true);
  OfxPropertySetHandle h = ps.ofx();
  ps.set_ints("bounds", {0, 0, 8, 8}, true);
  ps.set("label", "x");
  int i = 0, four[4] = {};
  double d = 0;

  EXPECT_EQ(S.propGetInt(h, "absent", 0, &i), kOfxStatErrUnknown);
  EXPECT_EQ(S.propGetInt(h, "bounds", 4, &i), kOfxStatErrBadIndex);
  EXPECT_EQ(S.propGetInt(h, "bounds", -1, &i), kOfxStatErrBadIndex);
  EXPECT_EQ(S.propSetInt(h, "bounds", 4, 1), kOfxStatErrBadIndex) << "a fixed dimension does not grow";
  EXPECT_EQ(S.propGetIntN(h, "bounds", 5, four), kOfxStatErrBadIndex);
  EXPECT_EQ(S.propSetString(h, "label", 2, "gap"), kOfxStatErrBadIndex) << "no hole in a variable property";
  EXPECT_EQ(S.propGetDouble(h, "bounds", 0, &d), kOfxStatErrValue);
  EXPECT_EQ(S.propSetInt(h, "label", 0, 1), kOfxStatErrValue);
  EXPECT_EQ(ps.ints("bounds"), (std::vector<int>{0, 0, 8, 8})) << "failed sets change nothing";
  EXPECT_EQ(S.propGetInt(nullptr, "bounds", 0, &i), kOfxStatErrBadHandle);

  const double dn[3] = {0.5, -2.25, 7.0};
  double back[3] = {};
  ASSERT_EQ(S.propSetDoubleN(h, "dn", 3, dn), kOfxStatOK);
  ASSERT_EQ(S.propGetDoubleN(h, "dn", 3, back), kOfxStatOK);
  EXPECT_EQ(std::vector<double>(back, back + 3), std::vector<double>(dn, dn + 3));
  EXPECT_EQ(S.propGetIntN(h, "bounds", 2, four), kOfxStatOK) << "fewer values than the dimension";
  ASSERT_EQ(S.propSetDoubleN(h, "dn", 1, dn), kOfxStatOK);
  S.propGetDimension(h, "dn", &i);
  EXPECT_EQ(i, 1) << "a shorter N-set shrinks a variable property";

  // The host's own sets are closed: a misspelt property is refused, not created.
  ofxhost::Plugin p = loaded();
  ofxhost::Instance inst = p.create_instance();
  EXPECT_EQ(S.propSetInt(inst.props().ofx(), "OfxNoSuchProperty", 0, 1), kOfxStatErrUnknown);
  EXPECT_FALSE(inst.props().has("OfxNoSuchProperty"));
}
