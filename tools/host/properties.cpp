// Property sets and the property suite.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host_internal.h"

namespace ofxhost {

const char* status_name(OfxStatus st) {
  static const char* const names[] = {
      "kOfxStatOK",         "kOfxStatFailed",     "kOfxStatErrFatal",     "kOfxStatErrUnknown",
      "kOfxStatErrMissingHostFeature", "kOfxStatErrUnsupported", "kOfxStatErrExists",
      "kOfxStatErrFormat",  "kOfxStatErrMemory",  "kOfxStatErrBadHandle", "kOfxStatErrBadIndex",
      "kOfxStatErrValue",   "kOfxStatReplyYes",   "kOfxStatReplyNo",      "kOfxStatReplyDefault"};
  if (st >= 0 && st < static_cast<int>(sizeof names / sizeof names[0])) return names[st];
  return "unknown status";
}

std::string format_double(double v) {
  if (std::isnan(v)) return "nan";
  if (std::isinf(v)) return v > 0 ? "inf" : "-inf";
  char buf[40];
  for (int prec = 1; prec <= 17; ++prec) {
    std::snprintf(buf, sizeof buf, "%.*g", prec, v);
    if (std::strtod(buf, nullptr) == v) break;
  }
  return buf;
}

// ---------------------------------------------------------------------------

size_t PropertySet::Prop::size() const {
  switch (type) {
    case Type::String: return s.size();
    case Type::Int: return i.size();
    case Type::Double: return d.size();
    case Type::Pointer: return p.size();
  }
  return 0;
}

void PropertySet::Prop::resize(size_t n) {
  switch (type) {
    case Type::String: s.resize(n); break;
    case Type::Int: i.resize(n, 0); break;
    case Type::Double: d.resize(n, 0.0); break;
    case Type::Pointer: p.resize(n, nullptr); break;
  }
}

PropertySet::PropertySet(std::string what, bool open) : magic_(kPropMagic), what_(std::move(what)), open_(open) {}

PropertySet::PropertySet(const PropertySet& o)
    : log(o.log), owner(o.owner), magic_(kPropMagic), what_(o.what_), open_(o.open_), props_(o.props_),
      initial_(o.initial_), order_(o.order_) {}

PropertySet& PropertySet::operator=(const PropertySet& o) {
  if (this != &o) {
    log = o.log;
    owner = o.owner;
    what_ = o.what_;
    open_ = o.open_;
    props_ = o.props_;
    initial_ = o.initial_;
    order_ = o.order_;
  }
  return *this;
}

PropertySet::~PropertySet() { magic_ = kDeadMagic; }

PropertySet* PropertySet::from(OfxPropertySetHandle h) {
  auto* ps = reinterpret_cast<PropertySet*>(h);
  return ps && ps->magic_ == kPropMagic ? ps : nullptr;
}

PropertySet::Prop* PropertySet::find(std::string_view name) {
  auto it = props_.find(name);
  return it == props_.end() ? nullptr : &it->second;
}

const PropertySet::Prop* PropertySet::find(std::string_view name) const {
  auto it = props_.find(name);
  return it == props_.end() ? nullptr : &it->second;
}

PropertySet::Prop* PropertySet::create(const std::string& name, Type type) {
  if (!open_) return nullptr;
  Prop p;
  p.type = type;
  order_.push_back(name);
  initial_[name] = p;
  return &(props_[name] = p);
}

OfxStatus PropertySet::reset(std::string_view name) {
  auto it = props_.find(name);
  if (it == props_.end()) return kOfxStatErrUnknown;
  auto init = initial_.find(name);
  if (init != initial_.end()) it->second = init->second;
  return kOfxStatOK;
}

void PropertySet::define(const std::string& name, Type type, size_t dim, bool fixed) {
  Prop p;
  p.type = type;
  p.fixed = fixed;
  p.resize(dim);
  if (!props_.count(name)) order_.push_back(name);
  props_[name] = p;
  initial_[name] = p;
}

namespace {
template <class T>
std::vector<T>& vec(PropertySet::Prop& p);
template <>
std::vector<std::string>& vec(PropertySet::Prop& p) { return p.s; }
template <>
std::vector<int>& vec(PropertySet::Prop& p) { return p.i; }
template <>
std::vector<double>& vec(PropertySet::Prop& p) { return p.d; }
template <>
std::vector<void*>& vec(PropertySet::Prop& p) { return p.p; }

template <class T>
const std::vector<T>& cvec(const PropertySet::Prop& p) { return vec<T>(const_cast<PropertySet::Prop&>(p)); }

template <class T>
PropertySet::Type type_of();
template <>
PropertySet::Type type_of<std::string>() { return PropertySet::Type::String; }
template <>
PropertySet::Type type_of<int>() { return PropertySet::Type::Int; }
template <>
PropertySet::Type type_of<double>() { return PropertySet::Type::Double; }
template <>
PropertySet::Type type_of<void*>() { return PropertySet::Type::Pointer; }

const char* type_name(PropertySet::Type t) {
  switch (t) {
    case PropertySet::Type::String: return "string";
    case PropertySet::Type::Int: return "int";
    case PropertySet::Type::Double: return "double";
    case PropertySet::Type::Pointer: return "pointer";
  }
  return "?";
}
}  // namespace

#define OFXHOST_SETTER(fn, T)                                                             \
  void PropertySet::fn(const std::string& name, const std::vector<T>& v, bool fixed) {   \
    define(name, type_of<T>(), 0, fixed);                                                 \
    vec<T>(props_[name]) = v;                                                             \
    vec<T>(initial_[name]) = v;                                                           \
  }
OFXHOST_SETTER(set_strings, std::string)
OFXHOST_SETTER(set_ints, int)
OFXHOST_SETTER(set_doubles, double)
OFXHOST_SETTER(set_pointers, void*)
#undef OFXHOST_SETTER

void PropertySet::merge(const PropertySet& o) {
  for (const std::string& n : o.order_) {
    if (!props_.count(n)) order_.push_back(n);
    props_[n] = o.props_.at(n);
    initial_[n] = o.initial_.count(n) ? o.initial_.at(n) : o.props_.at(n);
  }
}

bool PropertySet::has(std::string_view name) const { return find(name) != nullptr; }

PropertySet::Type PropertySet::type(std::string_view name) const {
  const Prop* p = find(name);
  if (!p) throw Error(what_ + ": no property " + std::string(name));
  return p->type;
}

int PropertySet::dimension(std::string_view name) const {
  const Prop* p = find(name);
  return p ? static_cast<int>(p->size()) : -1;
}

namespace {
template <class T>
T get_checked(const PropertySet& ps, const PropertySet::Prop* p, std::string_view name, int index) {
  if (!p) throw Error(ps.what() + ": no property " + std::string(name));
  if (p->type != type_of<T>())
    throw Error(ps.what() + ": property " + std::string(name) + " is " + type_name(p->type) + ", not " +
                type_name(type_of<T>()));
  const auto& v = cvec<T>(*p);
  if (index < 0 || static_cast<size_t>(index) >= v.size())
    throw Error(ps.what() + ": property " + std::string(name) + " has no index " + std::to_string(index));
  return v[index];
}
template <class T>
std::vector<T> get_all(const PropertySet::Prop* p) {
  if (!p || p->type != type_of<T>()) return {};
  return cvec<T>(*p);
}
}  // namespace

std::string PropertySet::get_string(std::string_view n, int i) const { return get_checked<std::string>(*this, find(n), n, i); }
int PropertySet::get_int(std::string_view n, int i) const { return get_checked<int>(*this, find(n), n, i); }
double PropertySet::get_double(std::string_view n, int i) const { return get_checked<double>(*this, find(n), n, i); }
void* PropertySet::get_pointer(std::string_view n, int i) const { return get_checked<void*>(*this, find(n), n, i); }
std::vector<std::string> PropertySet::strings(std::string_view n) const { return get_all<std::string>(find(n)); }
std::vector<int> PropertySet::ints(std::string_view n) const { return get_all<int>(find(n)); }
std::vector<double> PropertySet::doubles(std::string_view n) const { return get_all<double>(find(n)); }
std::vector<std::string> PropertySet::names() const { return order_; }

// ---------------------------------------------------------------------------
// The property suite.

namespace {

void note(PropertySet* ps, OfxStatus st, std::string text) {
  ps->log->record(Call::Suite, std::move(text), ps->what(), st);
}

template <class T>
OfxStatus set_one(PropertySet* ps, const char* name, int index, const T& value) {
  if (!name) return kOfxStatErrUnknown;
  PropertySet::Prop* p = ps->find(name);
  if (!p) p = ps->create(name, type_of<T>());
  if (!p) return kOfxStatErrUnknown;
  if (p->type != type_of<T>()) return kOfxStatErrValue;
  auto& v = vec<T>(*p);
  if (index < 0) return kOfxStatErrBadIndex;
  size_t at = static_cast<size_t>(index);
  if (at < v.size()) {
    v[at] = value;
  } else if (at == v.size() && !p->fixed) {
    v.push_back(value);  // a variable-dimension property grows one at a time
  } else {
    return kOfxStatErrBadIndex;
  }
  return kOfxStatOK;
}

template <class T, class In>
OfxStatus set_n(PropertySet* ps, const char* name, int count, const In* values) {
  if (!name) return kOfxStatErrUnknown;
  PropertySet::Prop* p = ps->find(name);
  if (!p) p = ps->create(name, type_of<T>());
  if (!p) return kOfxStatErrUnknown;
  if (p->type != type_of<T>()) return kOfxStatErrValue;
  if (count < 0) return kOfxStatErrBadIndex;
  if (count > 0 && !values) return kOfxStatErrValue;
  auto& v = vec<T>(*p);
  if (p->fixed) {
    if (static_cast<size_t>(count) > v.size()) return kOfxStatErrBadIndex;
  } else {
    v.resize(static_cast<size_t>(count));
  }
  for (int k = 0; k < count; ++k) {
    if constexpr (std::is_same_v<T, std::string>) {
      if (!values[k]) return kOfxStatErrValue;
    }
    v[k] = values[k];
  }
  return kOfxStatOK;
}

template <class T, class Out>
OfxStatus get_one(PropertySet* ps, const char* name, int index, Out* out) {
  if (!name) return kOfxStatErrUnknown;
  PropertySet::Prop* p = ps->find(name);
  if (!p) return kOfxStatErrUnknown;
  if (p->type != type_of<T>()) return kOfxStatErrValue;
  auto& v = vec<T>(*p);
  if (index < 0 || static_cast<size_t>(index) >= v.size()) return kOfxStatErrBadIndex;
  if (!out) return kOfxStatErrValue;
  if constexpr (std::is_same_v<T, std::string>)
    *out = const_cast<char*>(v[index].c_str());
  else
    *out = v[index];
  return kOfxStatOK;
}

template <class T, class Out>
OfxStatus get_n(PropertySet* ps, const char* name, int count, Out* out) {
  if (!name) return kOfxStatErrUnknown;
  PropertySet::Prop* p = ps->find(name);
  if (!p) return kOfxStatErrUnknown;
  if (p->type != type_of<T>()) return kOfxStatErrValue;
  auto& v = vec<T>(*p);
  if (count < 0 || static_cast<size_t>(count) > v.size()) return kOfxStatErrBadIndex;
  if (count > 0 && !out) return kOfxStatErrValue;
  for (int k = 0; k < count; ++k) {
    if constexpr (std::is_same_v<T, std::string>)
      out[k] = const_cast<char*>(v[k].c_str());
    else
      out[k] = v[k];
  }
  return kOfxStatOK;
}

template <class In>
std::string list_words(int count, const In* values) {
  std::string s;
  for (int k = 0; values && k < count && k < 64; ++k) append_word(s, word(values[k]));
  return s;
}

#define OFXHOST_PS                                 \
  PropertySet* ps = PropertySet::from(h);          \
  if (!ps) return kOfxStatErrBadHandle;

OfxStatus propSetPointer(OfxPropertySetHandle h, const char* n, int i, void* v) {
  OFXHOST_PS
  OfxStatus st = set_one<void*>(ps, n, i, v);
  if (recording(ps)) note(ps, st, words("propSetPointer", n, i, static_cast<const void*>(v)));
  return st;
}
OfxStatus propSetString(OfxPropertySetHandle h, const char* n, int i, const char* v) {
  OFXHOST_PS
  OfxStatus st = v ? set_one<std::string>(ps, n, i, std::string(v)) : kOfxStatErrValue;
  if (recording(ps)) note(ps, st, words("propSetString", n, i, v));
  return st;
}
OfxStatus propSetDouble(OfxPropertySetHandle h, const char* n, int i, double v) {
  OFXHOST_PS
  OfxStatus st = set_one<double>(ps, n, i, v);
  if (recording(ps)) note(ps, st, words("propSetDouble", n, i, v));
  return st;
}
OfxStatus propSetInt(OfxPropertySetHandle h, const char* n, int i, int v) {
  OFXHOST_PS
  OfxStatus st = set_one<int>(ps, n, i, v);
  if (recording(ps)) note(ps, st, words("propSetInt", n, i, v));
  return st;
}
OfxStatus propSetPointerN(OfxPropertySetHandle h, const char* n, int c, void* const* v) {
  OFXHOST_PS
  OfxStatus st = set_n<void*>(ps, n, c, v);
  if (recording(ps)) note(ps, st, words("propSetPointerN", n, c));
  return st;
}
OfxStatus propSetStringN(OfxPropertySetHandle h, const char* n, int c, const char* const* v) {
  OFXHOST_PS
  OfxStatus st = set_n<std::string>(ps, n, c, v);
  if (recording(ps)) note(ps, st, words("propSetStringN", n, c) + " " + list_words(c, v));
  return st;
}
OfxStatus propSetDoubleN(OfxPropertySetHandle h, const char* n, int c, const double* v) {
  OFXHOST_PS
  OfxStatus st = set_n<double>(ps, n, c, v);
  if (recording(ps)) note(ps, st, words("propSetDoubleN", n, c) + " " + list_words(c, v));
  return st;
}
OfxStatus propSetIntN(OfxPropertySetHandle h, const char* n, int c, const int* v) {
  OFXHOST_PS
  OfxStatus st = set_n<int>(ps, n, c, v);
  if (recording(ps)) note(ps, st, words("propSetIntN", n, c) + " " + list_words(c, v));
  return st;
}
OfxStatus propGetPointer(OfxPropertySetHandle h, const char* n, int i, void** v) {
  OFXHOST_PS
  OfxStatus st = get_one<void*>(ps, n, i, v);
  if (recording(ps)) note(ps, st, words("propGetPointer", n, i));
  return st;
}
OfxStatus propGetString(OfxPropertySetHandle h, const char* n, int i, char** v) {
  OFXHOST_PS
  OfxStatus st = get_one<std::string>(ps, n, i, v);
  if (recording(ps)) note(ps, st, words("propGetString", n, i));
  return st;
}
OfxStatus propGetDouble(OfxPropertySetHandle h, const char* n, int i, double* v) {
  OFXHOST_PS
  OfxStatus st = get_one<double>(ps, n, i, v);
  if (recording(ps)) note(ps, st, words("propGetDouble", n, i));
  return st;
}
OfxStatus propGetInt(OfxPropertySetHandle h, const char* n, int i, int* v) {
  OFXHOST_PS
  OfxStatus st = get_one<int>(ps, n, i, v);
  if (recording(ps)) note(ps, st, words("propGetInt", n, i));
  return st;
}
OfxStatus propGetPointerN(OfxPropertySetHandle h, const char* n, int c, void** v) {
  OFXHOST_PS
  OfxStatus st = get_n<void*>(ps, n, c, v);
  if (recording(ps)) note(ps, st, words("propGetPointerN", n, c));
  return st;
}
OfxStatus propGetStringN(OfxPropertySetHandle h, const char* n, int c, char** v) {
  OFXHOST_PS
  OfxStatus st = get_n<std::string>(ps, n, c, v);
  if (recording(ps)) note(ps, st, words("propGetStringN", n, c));
  return st;
}
OfxStatus propGetDoubleN(OfxPropertySetHandle h, const char* n, int c, double* v) {
  OFXHOST_PS
  OfxStatus st = get_n<double>(ps, n, c, v);
  if (recording(ps)) note(ps, st, words("propGetDoubleN", n, c));
  return st;
}
OfxStatus propGetIntN(OfxPropertySetHandle h, const char* n, int c, int* v) {
  OFXHOST_PS
  OfxStatus st = get_n<int>(ps, n, c, v);
  if (recording(ps)) note(ps, st, words("propGetIntN", n, c));
  return st;
}
OfxStatus propReset(OfxPropertySetHandle h, const char* n) {
  OFXHOST_PS
  OfxStatus st = n ? ps->reset(n) : kOfxStatErrUnknown;
  if (recording(ps)) note(ps, st, words("propReset", n));
  return st;
}
OfxStatus propGetDimension(OfxPropertySetHandle h, const char* n, int* count) {
  OFXHOST_PS
  OfxStatus st = kOfxStatOK;
  const PropertySet::Prop* p = n ? ps->find(n) : nullptr;
  if (!p)
    st = kOfxStatErrUnknown;
  else if (!count)
    st = kOfxStatErrValue;
  else
    *count = static_cast<int>(p->size());
  if (recording(ps)) note(ps, st, words("propGetDimension", n));
  return st;
}
#undef OFXHOST_PS

const OfxPropertySuiteV1 kPropertySuite = {
    propSetPointer,  propSetString,  propSetDouble,  propSetInt,      propSetPointerN, propSetStringN,
    propSetDoubleN,  propSetIntN,    propGetPointer, propGetString,   propGetDouble,   propGetInt,
    propGetPointerN, propGetStringN, propGetDoubleN, propGetIntN,     propReset,       propGetDimension};

}  // namespace

const OfxPropertySuiteV1* Host::property_suite() { return &kPropertySuite; }

// ---------------------------------------------------------------------------
// What the standard says each kind of object carries, with the host's defaults.

namespace {
void str(PropertySet& ps, const char* n, std::vector<std::string> v = {""}, bool fixed = true) {
  ps.set_strings(n, v, fixed);
}
void strs(PropertySet& ps, const char* n, std::vector<std::string> v = {}) { ps.set_strings(n, v, false); }
void i(PropertySet& ps, const char* n, std::vector<int> v = {0}, bool fixed = true) { ps.set_ints(n, v, fixed); }
void d(PropertySet& ps, const char* n, std::vector<double> v = {0.0}, bool fixed = true) {
  ps.set_doubles(n, v, fixed);
}
void ptr(PropertySet& ps, const char* n) { ps.set_pointers(n, {nullptr}, true); }
}  // namespace

void describe_host_props(PropertySet& ps) {
  str(ps, "OfxPropType", {"OfxTypeImageEffectHost"});
  str(ps, "OfxPropName", {"ofxhost.varno"});
  str(ps, "OfxPropLabel", {"Varno test host"});
  i(ps, "OfxPropAPIVersion", {1, 4});
  i(ps, "OfxPropVersion", {1, 0, 0}, false);
  str(ps, "OfxPropVersionLabel", {"1.0"});
  i(ps, "OfxImageEffectHostPropIsBackground", {1});
  i(ps, "OfxImageEffectPropSupportsOverlays", {0});
  i(ps, "OfxImageEffectPropSupportsMultiResolution", {1});
  i(ps, "OfxImageEffectPropSupportsTiles", {1});
  i(ps, "OfxImageEffectPropTemporalClipAccess", {0});
  strs(ps, "OfxImageEffectPropSupportedComponents", {"OfxImageComponentRGBA"});
  strs(ps, "OfxImageEffectPropSupportedContexts", {"OfxImageEffectContextFilter", "OfxImageEffectContextGeneral"});
  strs(ps, "OfxImageEffectPropSupportedPixelDepths", {"OfxBitDepthFloat"});
  i(ps, "OfxImageEffectPropSupportsMultipleClipDepths", {0});
  i(ps, "OfxImageEffectPropSupportsMultipleClipPARs", {0});
  i(ps, "OfxImageEffectPropSetableFrameRate", {0});
  i(ps, "OfxImageEffectPropSetableFielding", {0});
  i(ps, "OfxParamHostPropSupportsCustomInteract", {0});
  i(ps, "OfxParamHostPropSupportsStringAnimation", {0});
  i(ps, "OfxParamHostPropSupportsChoiceAnimation", {0});
  i(ps, "OfxParamHostPropSupportsBooleanAnimation", {0});
  i(ps, "OfxParamHostPropSupportsCustomAnimation", {0});
  i(ps, "OfxParamHostPropSupportsParametricAnimation", {0});
  i(ps, "OfxParamHostPropMaxParameters", {-1});
  i(ps, "OfxParamHostPropMaxPages", {0});
  i(ps, "OfxParamHostPropPageRowColumnCount", {0, 0});
  i(ps, "OfxImageEffectInstancePropSequentialRender", {0});
  str(ps, "OfxImageEffectHostPropNativeOrigin", {"OfxImageEffectHostPropNativeOriginBottomLeft"});
  i(ps, "OfxImageEffectPropRenderQualityDraft", {0});
}

void describe_effect_props(PropertySet& ps, bool instance, const std::string& context) {
  str(ps, "OfxPropType", {instance ? "OfxTypeImageEffectInstance" : "OfxTypeImageEffect"});
  str(ps, "OfxPropLabel");
  str(ps, "OfxPropShortLabel");
  str(ps, "OfxPropLongLabel");
  i(ps, "OfxPropVersion", {}, false);
  str(ps, "OfxPropVersionLabel");
  str(ps, "OfxPropPluginDescription");
  strs(ps, "OfxImageEffectPropSupportedContexts");
  str(ps, "OfxImageEffectPluginPropGrouping");
  i(ps, "OfxImageEffectPluginPropSingleInstance");
  str(ps, "OfxImageEffectPluginRenderThreadSafety", {"OfxImageEffectRenderInstanceSafe"});
  i(ps, "OfxImageEffectPluginPropHostFrameThreading", {1});
  ptr(ps, "OfxImageEffectPluginPropOverlayInteractV1");
  i(ps, "OfxImageEffectPropSupportsMultiResolution", {1});
  i(ps, "OfxImageEffectPropSupportsTiles", {1});
  i(ps, "OfxImageEffectPropTemporalClipAccess");
  strs(ps, "OfxImageEffectPropSupportedPixelDepths");
  i(ps, "OfxImageEffectPluginPropFieldRenderTwiceAlways", {1});
  i(ps, "OfxImageEffectPropSupportsMultipleClipDepths");
  i(ps, "OfxImageEffectPropSupportsMultipleClipPARs");
  strs(ps, "OfxImageEffectPropClipPreferencesSlaveParam");
  str(ps, "OfxImageEffectPropOpenGLRenderSupported", {"false"});
  str(ps, "OfxPluginPropFilePath");
  if (!context.empty()) str(ps, "OfxImageEffectPropContext", {context});
  if (instance) {
    ptr(ps, "OfxPropInstanceData");
    d(ps, "OfxImageEffectPropProjectSize", {1920, 1080});
    d(ps, "OfxImageEffectPropProjectOffset", {0, 0});
    d(ps, "OfxImageEffectPropProjectExtent", {1920, 1080});
    d(ps, "OfxImageEffectPropProjectPixelAspectRatio", {1.0});
    d(ps, "OfxImageEffectInstancePropEffectDuration", {1.0});
    i(ps, "OfxImageEffectInstancePropSequentialRender");
    d(ps, "OfxImageEffectPropFrameRate", {24.0});
    i(ps, "OfxPropIsInteractive");
  }
}

void describe_clip_props(PropertySet& ps, const std::string& name, bool instance) {
  str(ps, "OfxPropType", {"OfxTypeClip"});
  str(ps, "OfxPropName", {name});
  str(ps, "OfxPropLabel", {name});
  str(ps, "OfxPropShortLabel", {name});
  str(ps, "OfxPropLongLabel", {name});
  strs(ps, "OfxImageEffectPropSupportedComponents");
  i(ps, "OfxImageEffectPropTemporalClipAccess");
  i(ps, "OfxImageClipPropOptional");
  str(ps, "OfxImageClipPropFieldExtraction", {"OfxImageFieldDoubled"});
  i(ps, "OfxImageClipPropIsMask");
  i(ps, "OfxImageEffectPropSupportsTiles", {1});
  if (instance) {
    str(ps, "OfxImageEffectPropPixelDepth", {"OfxBitDepthFloat"});
    str(ps, "OfxImageEffectPropComponents", {"OfxImageComponentRGBA"});
    str(ps, "OfxImageClipPropUnmappedPixelDepth", {"OfxBitDepthFloat"});
    str(ps, "OfxImageClipPropUnmappedComponents", {"OfxImageComponentRGBA"});
    str(ps, "OfxImageEffectPropPreMultiplication", {"OfxImagePreMultiplied"});
    d(ps, "OfxImagePropPixelAspectRatio", {1.0});
    d(ps, "OfxImageEffectPropFrameRate", {24.0});
    d(ps, "OfxImageEffectPropFrameRange", {0.0, 0.0});
    str(ps, "OfxImageClipPropFieldOrder", {"OfxImageFieldNone"});
    i(ps, "OfxImageClipPropConnected", {1});
    d(ps, "OfxImageEffectPropUnmappedFrameRange", {0.0, 0.0});
    d(ps, "OfxImageEffectPropUnmappedFrameRate", {24.0});
    i(ps, "OfxImageClipPropContinuousSamples");
  }
}

int value_dimension(const std::string& t) {
  if (t == "OfxParamTypeDouble" || t == "OfxParamTypeInteger" || t == "OfxParamTypeBoolean" ||
      t == "OfxParamTypeChoice" || t == "OfxParamTypeString" || t == "OfxParamTypeCustom" ||
      t == "OfxParamTypeStrChoice")
    return 1;
  if (t == "OfxParamTypeDouble2D" || t == "OfxParamTypeInteger2D") return 2;
  if (t == "OfxParamTypeDouble3D" || t == "OfxParamTypeInteger3D" || t == "OfxParamTypeRGB") return 3;
  if (t == "OfxParamTypeRGBA") return 4;
  return 0;  // push button, group, page, parametric: no value
}
bool type_is_double(const std::string& t) {
  return t == "OfxParamTypeDouble" || t == "OfxParamTypeDouble2D" || t == "OfxParamTypeDouble3D" ||
         t == "OfxParamTypeRGB" || t == "OfxParamTypeRGBA";
}
bool type_is_int(const std::string& t) {
  return t == "OfxParamTypeInteger" || t == "OfxParamTypeInteger2D" || t == "OfxParamTypeInteger3D" ||
         t == "OfxParamTypeBoolean" || t == "OfxParamTypeChoice";
}
bool type_is_string(const std::string& t) {
  return t == "OfxParamTypeString" || t == "OfxParamTypeCustom" || t == "OfxParamTypeStrChoice";
}

void describe_param_props(PropertySet& ps, const std::string& type, const std::string& name) {
  str(ps, "OfxPropType", {"OfxTypeParameter"});
  str(ps, "OfxPropName", {name});
  str(ps, "OfxPropLabel", {name});
  str(ps, "OfxPropShortLabel", {name});
  str(ps, "OfxPropLongLabel", {name});
  str(ps, "OfxParamPropType", {type});
  i(ps, "OfxParamPropSecret");
  str(ps, "OfxParamPropHint");
  str(ps, "OfxParamPropScriptName", {name});
  str(ps, "OfxParamPropParent");
  i(ps, "OfxParamPropEnabled", {1});
  ptr(ps, "OfxParamPropDataPtr");
  strs(ps, "OfxPropIcon", {"", ""});
  ptr(ps, "OfxParamPropInteractV1");
  d(ps, "OfxParamPropInteractSize", {0, 0});
  d(ps, "OfxParamPropInteractSizeAspect", {1.0});
  i(ps, "OfxParamPropInteractMinimumSize", {10, 10});
  i(ps, "OfxParamPropInteractPreferedSize", {10, 10});
  i(ps, "OfxParamPropHasHostOverlayHandle");
  i(ps, "OfxParamPropUseHostOverlayHandle");
  if (type == "OfxParamTypeGroup") {
    i(ps, "OfxParamPropGroupOpen", {1});
    return;
  }
  if (type == "OfxParamTypePage") {
    strs(ps, "OfxParamPropPageChild");
    return;
  }
  i(ps, "OfxParamPropEvaluateOnChange", {1});
  i(ps, "OfxParamPropPluginMayWrite");
  str(ps, "OfxParamPropCacheInvalidation", {"OfxParamInvalidateValueChange"});
  i(ps, "OfxParamPropCanUndo", {1});
  if (type == "OfxParamTypePushButton") return;
  int dim = value_dimension(type);
  bool animates = type_is_double(type) || type == "OfxParamTypeInteger" || type == "OfxParamTypeInteger2D" ||
                  type == "OfxParamTypeInteger3D";
  i(ps, "OfxParamPropAnimates", {animates ? 1 : 0});
  i(ps, "OfxParamPropIsAnimating");
  i(ps, "OfxParamPropIsAutoKeying");
  i(ps, "OfxParamPropPersistant", {1});
  if (type_is_double(type)) {
    std::vector<double> zero(dim, 0.0);
    d(ps, "OfxParamPropDefault", zero);
    d(ps, "OfxParamPropMin", std::vector<double>(dim, -1.7976931348623157e308));
    d(ps, "OfxParamPropMax", std::vector<double>(dim, 1.7976931348623157e308));
    d(ps, "OfxParamPropDisplayMin", std::vector<double>(dim, -1.7976931348623157e308));
    d(ps, "OfxParamPropDisplayMax", std::vector<double>(dim, 1.7976931348623157e308));
    d(ps, "OfxParamPropIncrement", {1.0});
    i(ps, "OfxParamPropDigits", {2});
    str(ps, "OfxParamPropDoubleType", {"OfxParamDoubleTypePlain"});
    str(ps, "OfxParamPropDefaultCoordinateSystem", {"OfxParamCoordinatesCanonical"});
    if (type == "OfxParamTypeDouble") i(ps, "OfxParamPropShowTimeMarker");
    if (dim > 1) {
      static const char* const xyzw[] = {"x", "y", "z", "w"};
      static const char* const rgba[] = {"r", "g", "b", "a"};
      bool colour = type == "OfxParamTypeRGB" || type == "OfxParamTypeRGBA";
      std::vector<std::string> labels;
      for (int k = 0; k < dim; ++k) labels.push_back(colour ? rgba[k] : xyzw[k]);
      str(ps, "OfxParamPropDimensionLabel", labels);
    }
  } else if (type_is_int(type)) {
    i(ps, "OfxParamPropDefault", std::vector<int>(dim, 0));
    if (type == "OfxParamTypeChoice") {
      strs(ps, "OfxParamPropChoiceOption");
      i(ps, "OfxParamPropChoiceOrder", {}, false);
    } else if (type != "OfxParamTypeBoolean") {
      i(ps, "OfxParamPropMin", std::vector<int>(dim, -2147483647 - 1));
      i(ps, "OfxParamPropMax", std::vector<int>(dim, 2147483647));
      i(ps, "OfxParamPropDisplayMin", std::vector<int>(dim, -2147483647 - 1));
      i(ps, "OfxParamPropDisplayMax", std::vector<int>(dim, 2147483647));
      if (dim > 1) {
        static const char* const xyz[] = {"x", "y", "z"};
        std::vector<std::string> labels(xyz, xyz + dim);
        str(ps, "OfxParamPropDimensionLabel", labels);
      }
    }
  } else if (type_is_string(type)) {
    str(ps, "OfxParamPropDefault");
    if (type == "OfxParamTypeString") {
      str(ps, "OfxParamPropStringMode", {"OfxParamStringIsSingleLine"});
      i(ps, "OfxParamPropStringFilePathExists", {1});
    }
    if (type == "OfxParamTypeStrChoice") {
      strs(ps, "OfxParamPropChoiceOption");
      strs(ps, "OfxParamPropChoiceEnum");
    }
    if (type == "OfxParamTypeCustom") ptr(ps, "OfxParamPropCustomInterpCallbackV1");
  }
}

}  // namespace ofxhost
