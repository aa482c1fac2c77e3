// The image-effect and parameter suites, and the values the host keeps for parameters.
#include <algorithm>
#include <cmath>
#include <iterator>
#include <cstdarg>
#include <cstring>
#include <new>

#include "host_internal.h"

namespace ofxhost {

// ---------------------------------------------------------------------------
// Parameter values and keyframes.

ParamValue Param::Impl::from_default() const {
  ParamValue v;
  size_t dim = static_cast<size_t>(ofxhost::value_dimension(type));
  if (type_is_double(type)) {
    v.d = props.doubles("OfxParamPropDefault");
    v.d.resize(dim, 0.0);
  } else if (type_is_int(type)) {
    v.i = props.ints("OfxParamPropDefault");
    v.i.resize(dim, 0);
  } else if (type_is_string(type)) {
    auto s = props.strings("OfxParamPropDefault");
    v.s = s.empty() ? std::string() : s[0];
  }
  return v;
}

void Param::Impl::reset_to_default() {
  value = from_default();
  keys.clear();
}

const ParamValue& Param::Impl::stepped(double time) const {
  if (keys.empty()) return value;
  auto it = keys.upper_bound(time);  // first key after the time
  if (it == keys.begin()) return it->second;
  return std::prev(it)->second;
}

ParamValue Param::Impl::at(double time) const {
  if (keys.empty() || !type_is_double(type) || std::isnan(time)) return stepped(time);
  auto hi = keys.lower_bound(time);
  if (hi == keys.end()) return std::prev(hi)->second;
  if (hi == keys.begin() || hi->first == time) return hi->second;
  auto lo = std::prev(hi);
  double t = (time - lo->first) / (hi->first - lo->first);
  ParamValue v = lo->second;
  for (size_t k = 0; k < v.d.size() && k < hi->second.d.size(); ++k)
    v.d[k] = lo->second.d[k] + (hi->second.d[k] - lo->second.d[k]) * t;
  return v;
}

void Param::Impl::set_value(const ParamValue& v, double current_time) {
  if (keys.empty())
    value = v;
  else
    set_key(current_time, v);  // an animated parameter takes a key, as with auto-keying
}

void Param::Impl::set_key(double time, const ParamValue& v) {
  keys[time] = v;
  props.set_ints("OfxParamPropIsAnimating", {1}, true);
}

Param::Param(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) { impl_->self = this; }
Param::~Param() = default;
const std::string& Param::name() const { return impl_->name; }
const std::string& Param::type() const { return impl_->type; }
PropertySet& Param::props() { return impl_->props; }
const PropertySet& Param::props() const { return impl_->props; }

namespace {
std::string first_string(const PropertySet& ps, const char* n) {
  auto v = ps.strings(n);
  return v.empty() ? std::string() : v[0];
}
int first_int(const PropertySet& ps, const char* n, int def) {
  auto v = ps.ints(n);
  return v.empty() ? def : v[0];
}
double first_number(const PropertySet& ps, const char* n, double def) {
  auto d = ps.doubles(n);
  if (!d.empty()) return d[0];
  auto i = ps.ints(n);
  return i.empty() ? def : i[0];
}
}  // namespace

std::string Param::label() const { return first_string(props(), "OfxPropLabel"); }
std::string Param::hint() const { return first_string(props(), "OfxParamPropHint"); }
bool Param::secret() const { return first_int(props(), "OfxParamPropSecret", 0) != 0; }
bool Param::enabled() const { return first_int(props(), "OfxParamPropEnabled", 1) != 0; }
std::vector<std::string> Param::options() const { return props().strings("OfxParamPropChoiceOption"); }
double Param::default_double() const { return first_number(props(), "OfxParamPropDefault", 0.0); }
int Param::default_int() const { return first_int(props(), "OfxParamPropDefault", 0); }
double Param::min() const { return first_number(props(), "OfxParamPropMin", -HUGE_VAL); }
double Param::max() const { return first_number(props(), "OfxParamPropMax", HUGE_VAL); }
double Param::display_min() const { return first_number(props(), "OfxParamPropDisplayMin", -HUGE_VAL); }
double Param::display_max() const { return first_number(props(), "OfxParamPropDisplayMax", HUGE_VAL); }
bool Param::is_double() const { return type_is_double(type()); }
bool Param::is_int() const { return type_is_int(type()); }
bool Param::is_string() const { return type_is_string(type()); }
int Param::value_dimension() const { return ofxhost::value_dimension(type()); }

namespace {
double effect_time(const Param::Impl& p) { return p.effect ? p.effect->time : 0.0; }
void check_index(const Param& p, size_t n, int index) {
  if (index < 0 || static_cast<size_t>(index) >= n)
    throw Error("parameter " + p.name() + " has no value at index " + std::to_string(index));
}
}  // namespace

double Param::get_double(int index) const { return get_double_at(effect_time(*impl_), index); }
int Param::get_int(int index) const { return get_int_at(effect_time(*impl_), index); }
double Param::get_double_at(double time, int index) const {
  ParamValue v = impl_->at(time);
  if (is_int()) {
    check_index(*this, v.i.size(), index);
    return v.i[index];
  }
  if (!is_double()) throw Error("parameter " + name() + " has no numeric value");
  check_index(*this, v.d.size(), index);
  return v.d[index];
}
int Param::get_int_at(double time, int index) const {
  if (!is_int()) throw Error("parameter " + name() + " is not an integer, boolean or choice");
  ParamValue v = impl_->at(time);
  check_index(*this, v.i.size(), index);
  return v.i[index];
}
std::string Param::get_string() const {
  if (!is_string()) throw Error("parameter " + name() + " is not a string");
  return impl_->stepped(effect_time(*impl_)).s;
}
size_t Param::key_count() const { return impl_->keys.size(); }

// ---------------------------------------------------------------------------
// Objects behind handles.

ClipState* EffectState::clip(std::string_view name) {
  for (auto& c : clips)
    if (c->name == name) return c.get();
  return nullptr;
}

Param* EffectState::param(std::string_view name) {
  auto it = params.by_name.find(name);
  return it == params.by_name.end() ? nullptr : it->second;
}

Param& EffectState::add_param(const std::string& type, const std::string& name) {
  auto impl = std::make_unique<Param::Impl>();
  impl->name = name;
  impl->type = type;
  impl->effect = this;
  impl->props = PropertySet("param " + name, false);
  describe_param_props(impl->props, type, name);
  impl->props.owner = impl.get();
  impl->props.log = plugin;
  params.list.push_back(std::make_unique<Param>(std::move(impl)));
  Param* p = params.list.back().get();
  params.by_name[name] = p;
  return *p;
}

ClipState& EffectState::add_clip(const std::string& name) {
  auto c = std::make_unique<ClipState>();
  c->name = name;
  c->effect = this;
  c->props = PropertySet("clip " + name, false);
  describe_clip_props(c->props, name, is_instance);
  c->props.owner = c.get();
  c->props.log = plugin;
  clips.push_back(std::move(c));
  return *clips.back();
}

namespace {

EffectState* effect_of(OfxImageEffectHandle h) {
  auto* e = reinterpret_cast<EffectState*>(h);
  return e && e->magic == kEffectMagic ? e : nullptr;
}
ClipState* clip_of(OfxImageClipHandle h) {
  auto* c = reinterpret_cast<ClipState*>(h);
  return c && c->magic == kClipMagic ? c : nullptr;
}
ParamSetState* paramset_of(OfxParamSetHandle h) {
  auto* s = reinterpret_cast<ParamSetState*>(h);
  return s && s->magic == kParamSetMagic ? s : nullptr;
}
Param::Impl* param_of(OfxParamHandle h) {
  auto* p = reinterpret_cast<Param::Impl*>(h);
  return p && p->magic == kParamMagic ? p : nullptr;
}

void note(EffectState* e, const std::string& target, OfxStatus st, std::string text) {
  if (recording(e)) e->plugin->record(Call::Suite, std::move(text), target, st);
}

// Images handed out and not yet released, so a stale or foreign handle is
// refused without being read.
std::mutex gImagesMutex;
std::map<PropertySet*, ClipState*> gImages;

std::mutex gMemoryMutex;
std::set<Memory*> gMemory;

// ---------------------------------------------------------------------------
// The image-effect suite.

OfxStatus getPropertySet(OfxImageEffectHandle h, OfxPropertySetHandle* out) {
  EffectState* e = effect_of(h);
  if (!e) return kOfxStatErrBadHandle;
  OfxStatus st = out ? kOfxStatOK : kOfxStatErrValue;
  if (out) *out = e->props.ofx();
  note(e, e->props.what(), st, "getPropertySet");
  return st;
}

OfxStatus getParamSet(OfxImageEffectHandle h, OfxParamSetHandle* out) {
  EffectState* e = effect_of(h);
  if (!e) return kOfxStatErrBadHandle;
  OfxStatus st = out ? kOfxStatOK : kOfxStatErrValue;
  if (out) *out = e->params.ofx();
  note(e, e->props.what(), st, "getParamSet");
  return st;
}

OfxStatus clipDefine(OfxImageEffectHandle h, const char* name, OfxPropertySetHandle* out) {
  EffectState* e = effect_of(h);
  if (!e) return kOfxStatErrBadHandle;
  OfxStatus st = kOfxStatOK;
  if (!name) {
    st = kOfxStatErrValue;
  } else if (e->is_instance) {
    st = kOfxStatErrUnsupported;  // clips are defined on descriptors only
  } else if (ClipState* c = e->clip(name)) {
    st = kOfxStatErrExists;
    if (out) *out = c->props.ofx();
  } else {
    ClipState& added = e->add_clip(name);
    if (out) *out = added.props.ofx();
  }
  note(e, e->props.what(), st, words("clipDefine", name));
  return st;
}

OfxStatus clipGetHandle(OfxImageEffectHandle h, const char* name, OfxImageClipHandle* clip,
                        OfxPropertySetHandle* props) {
  EffectState* e = effect_of(h);
  if (!e) return kOfxStatErrBadHandle;
  OfxStatus st = kOfxStatOK;
  ClipState* c = name ? e->clip(name) : nullptr;
  if (!name || !c || e->faults.clip_handle.count(name)) {
    st = kOfxStatErrUnknown;
  } else if (!clip) {
    st = kOfxStatErrValue;
  } else {
    *clip = c->ofx();
    if (props) *props = c->props.ofx();
  }
  note(e, e->props.what(), st, words("clipGetHandle", name));
  return st;
}

OfxStatus clipGetPropertySet(OfxImageClipHandle h, OfxPropertySetHandle* out) {
  ClipState* c = clip_of(h);
  if (!c) return kOfxStatErrBadHandle;
  OfxStatus st = out ? kOfxStatOK : kOfxStatErrValue;
  if (out) *out = c->props.ofx();
  note(c->effect, c->props.what(), st, words("clipGetPropertySet", c->name));
  return st;
}

OfxStatus clipGetImage(OfxImageClipHandle h, OfxTime time, const OfxRectD* region, OfxPropertySetHandle* out) {
  ClipState* c = clip_of(h);
  if (!c) return kOfxStatErrBadHandle;
  EffectState* e = c->effect;
  OfxStatus st = kOfxStatOK;
  if (!out) {
    st = kOfxStatErrValue;
  } else if (!c->image || e->faults.clip_image.count(c->name)) {
    st = kOfxStatFailed;  // no image there at that time
  } else {
    Image& im = *c->image;
    auto ps = std::make_unique<PropertySet>("image " + c->name, false);
    ps->set("OfxPropType", "OfxTypeImage");
    bool null_data = e->faults.null_data.count(c->name) != 0;
    ps->set_pointer("OfxImagePropData", null_data ? nullptr : static_cast<void*>(im.data()));
    const OfxRectI& b = im.bounds();
    ps->set("OfxImagePropRowBytes", static_cast<int>(im.told_row_bytes != 0 ? im.told_row_bytes : im.row_bytes()));
    ps->set_ints("OfxImagePropBounds", {b.x1, b.y1, b.x2, b.y2}, true);
    ps->set_ints("OfxImagePropRegionOfDefinition", {b.x1, b.y1, b.x2, b.y2}, true);
    ps->set("OfxImageEffectPropPixelDepth", im.pixel_depth);
    ps->set("OfxImageEffectPropComponents", im.components);
    ps->set("OfxImageEffectPropPreMultiplication", im.premultiplication);
    ps->set("OfxImagePropPixelAspectRatio", im.pixel_aspect);
    ps->set("OfxImagePropField", "OfxImageFieldNone");
    ps->set("OfxImagePropUniqueIdentifier", c->name + "@" + format_double(time));
    ps->set_doubles("OfxImageEffectPropRenderScale", {1.0, 1.0}, true);
    ps->owner = c;
    ps->log = e->plugin;
    *out = ps->ofx();
    {
      std::lock_guard<std::mutex> lock(gImagesMutex);
      gImages[ps.get()] = c;
    }
    std::lock_guard<std::mutex> lock(e->images_mutex);
    e->held.push_back(std::move(ps));
  }
  (void)region;  // the whole image is always handed over
  note(e, c->props.what(), st, words("clipGetImage", c->name, time));
  return st;
}

OfxStatus clipReleaseImage(OfxPropertySetHandle h) {
  auto* key = reinterpret_cast<PropertySet*>(h);
  ClipState* c = nullptr;
  {
    std::lock_guard<std::mutex> lock(gImagesMutex);
    auto it = gImages.find(key);
    if (it == gImages.end()) return kOfxStatErrBadHandle;
    c = it->second;
    gImages.erase(it);
  }
  EffectState* e = c->effect;
  {
    std::lock_guard<std::mutex> lock(e->images_mutex);
    for (auto it = e->held.begin(); it != e->held.end(); ++it)
      if (it->get() == key) {
        e->held.erase(it);
        break;
      }
    e->released.push_back(c->name);
  }
  note(e, "image " + c->name, kOfxStatOK, words("clipReleaseImage", c->name));
  return kOfxStatOK;
}

OfxStatus clipGetRegionOfDefinition(OfxImageClipHandle h, OfxTime time, OfxRectD* bounds) {
  ClipState* c = clip_of(h);
  if (!c) return kOfxStatErrBadHandle;
  OfxStatus st = kOfxStatOK;
  if (!bounds) {
    st = kOfxStatErrValue;
  } else if (c->image) {
    const OfxRectI& b = c->image->bounds();
    *bounds = {double(b.x1), double(b.y1), double(b.x2), double(b.y2)};
  } else {
    auto size = c->effect->props.doubles("OfxImageEffectPropProjectSize");
    *bounds = {0, 0, size.size() > 0 ? size[0] : 0.0, size.size() > 1 ? size[1] : 0.0};
  }
  note(c->effect, c->props.what(), st, words("clipGetRegionOfDefinition", c->name, time));
  return st;
}

int abortEffect(OfxImageEffectHandle h) {
  EffectState* e = effect_of(h);
  note(e, e ? e->props.what() : std::string(), kOfxStatOK, "abort");
  return 0;
}

OfxStatus imageMemoryAlloc(OfxImageEffectHandle h, size_t n, OfxImageMemoryHandle* out) {
  EffectState* e = effect_of(h);  // may be null: memory not tied to an instance
  if (!out) return kOfxStatErrValue;
  OfxStatus st = kOfxStatOK;
  try {
    auto m = std::make_unique<Memory>();
    m->bytes.resize(n);
    std::lock_guard<std::mutex> lock(gMemoryMutex);
    gMemory.insert(m.get());
    *out = reinterpret_cast<OfxImageMemoryHandle>(m.release());
  } catch (const std::bad_alloc&) {
    st = kOfxStatErrMemory;
  } catch (const std::length_error&) {
    st = kOfxStatErrMemory;
  }
  note(e, e ? e->props.what() : std::string(), st, words("imageMemoryAlloc", static_cast<unsigned long>(n)));
  return st;
}

Memory* memory_of(OfxImageMemoryHandle h) {
  auto* m = reinterpret_cast<Memory*>(h);
  std::lock_guard<std::mutex> lock(gMemoryMutex);
  return gMemory.count(m) ? m : nullptr;
}

OfxStatus imageMemoryFree(OfxImageMemoryHandle h) {
  Memory* m = memory_of(h);
  if (!m) return kOfxStatErrBadHandle;
  {
    std::lock_guard<std::mutex> lock(gMemoryMutex);
    gMemory.erase(m);
  }
  delete m;
  return kOfxStatOK;
}

OfxStatus imageMemoryLock(OfxImageMemoryHandle h, void** ptr) {
  Memory* m = memory_of(h);
  if (!m) return kOfxStatErrBadHandle;
  if (!ptr) return kOfxStatErrValue;
  ++m->locks;
  *ptr = m->bytes.data();
  return kOfxStatOK;
}

OfxStatus imageMemoryUnlock(OfxImageMemoryHandle h) {
  Memory* m = memory_of(h);
  if (!m) return kOfxStatErrBadHandle;
  if (m->locks > 0) --m->locks;
  return kOfxStatOK;
}

const OfxImageEffectSuiteV1 kImageEffectSuite = {
    getPropertySet,   getParamSet,          clipDefine,        clipGetHandle,
    clipGetPropertySet, clipGetImage,       clipReleaseImage,  clipGetRegionOfDefinition,
    abortEffect,      imageMemoryAlloc,     imageMemoryFree,   imageMemoryLock,
    imageMemoryUnlock};

// ---------------------------------------------------------------------------
// The parameter suite.

bool known_type(const std::string& t) {
  static const char* const types[] = {
      "OfxParamTypeInteger",  "OfxParamTypeDouble",   "OfxParamTypeBoolean",   "OfxParamTypeChoice",
      "OfxParamTypeStrChoice", "OfxParamTypeRGBA",    "OfxParamTypeRGB",       "OfxParamTypeDouble2D",
      "OfxParamTypeInteger2D", "OfxParamTypeDouble3D", "OfxParamTypeInteger3D", "OfxParamTypeString",
      "OfxParamTypeCustom",   "OfxParamTypeBytes",    "OfxParamTypeGroup",     "OfxParamTypePage",
      "OfxParamTypePushButton", "OfxParamTypeParametric"};
  for (const char* k : types)
    if (t == k) return true;
  return false;
}

std::string target_of(const Param::Impl& p) { return p.props.what(); }

std::string value_words(const ParamValue& v, const std::string& type) {
  std::string s;
  if (type_is_double(type))
    for (double x : v.d) append_word(s, format_double(x));
  else if (type_is_int(type))
    for (int x : v.i) append_word(s, std::to_string(x));
  else
    s = v.s;
  return s;
}

// Writes the value through the caller's pointers: int* for integer kinds,
// double* for doubles, const char** for strings.
OfxStatus write_out(const Param::Impl& p, const ParamValue& v, va_list ap) {
  int dim = value_dimension(p.type);
  if (dim == 0) return kOfxStatErrUnsupported;
  for (int k = 0; k < dim; ++k) {
    if (type_is_double(p.type)) {
      double* out = va_arg(ap, double*);
      if (!out) return kOfxStatErrValue;
      *out = k < static_cast<int>(v.d.size()) ? v.d[k] : 0.0;
    } else if (type_is_int(p.type)) {
      int* out = va_arg(ap, int*);
      if (!out) return kOfxStatErrValue;
      *out = k < static_cast<int>(v.i.size()) ? v.i[k] : 0;
    } else {
      const char** out = va_arg(ap, const char**);
      if (!out) return kOfxStatErrValue;
      *out = v.s.c_str();
    }
  }
  return kOfxStatOK;
}

ParamValue read_in(const Param::Impl& p, va_list ap) {
  ParamValue v;
  int dim = value_dimension(p.type);
  for (int k = 0; k < dim; ++k) {
    if (type_is_double(p.type)) {
      v.d.push_back(va_arg(ap, double));
    } else if (type_is_int(p.type)) {
      v.i.push_back(va_arg(ap, int));
    } else {
      const char* s = va_arg(ap, const char*);
      v.s = s ? s : "";
    }
  }
  return v;
}

OfxStatus paramDefine(OfxParamSetHandle h, const char* type, const char* name, OfxPropertySetHandle* out) {
  ParamSetState* set = paramset_of(h);
  if (!set) return kOfxStatErrBadHandle;
  EffectState* e = set->effect;
  OfxStatus st = kOfxStatOK;
  if (!type || !name) {
    st = kOfxStatErrValue;
  } else if (!known_type(type)) {
    st = kOfxStatErrUnknown;
  } else if (e->is_instance) {
    st = kOfxStatErrUnsupported;  // parameters are defined on descriptors only
  } else if (Param* p = e->param(name)) {
    st = kOfxStatErrExists;
    if (out) *out = p->props().ofx();
  } else {
    Param& added = e->add_param(type, name);
    if (out) *out = added.props().ofx();
  }
  note(e, e->props.what(), st, words("paramDefine", type, name));
  return st;
}

OfxStatus paramGetHandle(OfxParamSetHandle h, const char* name, OfxParamHandle* param, OfxPropertySetHandle* props) {
  ParamSetState* set = paramset_of(h);
  if (!set) return kOfxStatErrBadHandle;
  EffectState* e = set->effect;
  OfxStatus st = kOfxStatOK;
  Param* p = name ? e->param(name) : nullptr;
  if (!p || e->faults.param_handle.count(name)) {
    st = kOfxStatErrUnknown;
  } else if (!param) {
    st = kOfxStatErrValue;
  } else {
    *param = p->impl().ofx();
    if (props) *props = p->props().ofx();
  }
  note(e, e->props.what(), st, words("paramGetHandle", name));
  return st;
}

OfxStatus paramSetGetPropertySet(OfxParamSetHandle h, OfxPropertySetHandle* out) {
  ParamSetState* set = paramset_of(h);
  if (!set) return kOfxStatErrBadHandle;
  OfxStatus st = out ? kOfxStatOK : kOfxStatErrValue;
  if (out) *out = set->props.ofx();
  note(set->effect, set->effect->props.what(), st, "paramSetGetPropertySet");
  return st;
}

OfxStatus paramGetPropertySet(OfxParamHandle h, OfxPropertySetHandle* out) {
  Param::Impl* p = param_of(h);
  if (!p) return kOfxStatErrBadHandle;
  OfxStatus st = out ? kOfxStatOK : kOfxStatErrValue;
  if (out) *out = p->props.ofx();
  note(p->effect, target_of(*p), st, words("paramGetPropertySet", p->name));
  return st;
}

OfxStatus paramGetValue(OfxParamHandle h, ...) {
  Param::Impl* p = param_of(h);
  if (!p) return kOfxStatErrBadHandle;
  va_list ap;
  va_start(ap, h);
  OfxStatus st = write_out(*p, p->at(effect_time(*p)), ap);
  va_end(ap);
  note(p->effect, target_of(*p), st, words("paramGetValue", p->name));
  return st;
}

OfxStatus paramGetValueAtTime(OfxParamHandle h, OfxTime time, ...) {
  Param::Impl* p = param_of(h);
  if (!p) return kOfxStatErrBadHandle;
  va_list ap;
  va_start(ap, time);
  OfxStatus st = write_out(*p, p->at(time), ap);
  va_end(ap);
  note(p->effect, target_of(*p), st, words("paramGetValueAtTime", p->name, time));
  return st;
}

// Slope of the piecewise-linear curve at a time (0 on flat parts).
double slope(const Param::Impl& p, double time, size_t k) {
  if (p.keys.size() < 2) return 0.0;
  auto hi = p.keys.upper_bound(time);
  if (hi == p.keys.begin() || hi == p.keys.end()) return 0.0;
  auto lo = std::prev(hi);
  if (k >= lo->second.d.size() || k >= hi->second.d.size()) return 0.0;
  return (hi->second.d[k] - lo->second.d[k]) / (hi->first - lo->first);
}

OfxStatus paramGetDerivative(OfxParamHandle h, OfxTime time, ...) {
  Param::Impl* p = param_of(h);
  if (!p) return kOfxStatErrBadHandle;
  OfxStatus st = kOfxStatOK;
  if (!type_is_double(p->type)) {
    st = kOfxStatErrUnsupported;
  } else {
    va_list ap;
    va_start(ap, time);
    for (int k = 0; k < value_dimension(p->type); ++k) {
      double* out = va_arg(ap, double*);
      if (out) *out = slope(*p, time, static_cast<size_t>(k));
    }
    va_end(ap);
  }
  note(p->effect, target_of(*p), st, words("paramGetDerivative", p->name, time));
  return st;
}

OfxStatus paramGetIntegral(OfxParamHandle h, OfxTime t1, OfxTime t2, ...) {
  Param::Impl* p = param_of(h);
  if (!p) return kOfxStatErrBadHandle;
  OfxStatus st = kOfxStatOK;
  if (!type_is_double(p->type)) {
    st = kOfxStatErrUnsupported;
  } else {
    // Trapezoids are exact on a piecewise-linear curve when every key is a node.
    std::vector<double> nodes{t1, t2};
    for (auto& kv : p->keys)
      if (kv.first > std::min(t1, t2) && kv.first < std::max(t1, t2)) nodes.push_back(kv.first);
    std::sort(nodes.begin(), nodes.end());
    double sign = t2 < t1 ? -1.0 : 1.0;
    va_list ap;
    va_start(ap, t2);
    for (int k = 0; k < value_dimension(p->type); ++k) {
      double sum = 0.0;
      for (size_t n = 1; n < nodes.size(); ++n)
        sum += 0.5 * (p->at(nodes[n - 1]).d[k] + p->at(nodes[n]).d[k]) * (nodes[n] - nodes[n - 1]);
      double* out = va_arg(ap, double*);
      if (out) *out = sign * sum;
    }
    va_end(ap);
  }
  note(p->effect, target_of(*p), st, words("paramGetIntegral", p->name, t1, t2));
  return st;
}

OfxStatus paramSetValue(OfxParamHandle h, ...) {
  Param::Impl* p = param_of(h);
  if (!p) return kOfxStatErrBadHandle;
  OfxStatus st = kOfxStatOK;
  ParamValue v;
  if (value_dimension(p->type) == 0) {
    st = kOfxStatErrUnsupported;
  } else {
    va_list ap;
    va_start(ap, h);
    v = read_in(*p, ap);
    va_end(ap);
    p->set_value(v, effect_time(*p));
  }
  note(p->effect, target_of(*p), st, words("paramSetValue", p->name) + " " + value_words(v, p->type));
  if (st == kOfxStatOK) send_plugin_edit(*p);
  return st;
}

OfxStatus paramSetValueAtTime(OfxParamHandle h, OfxTime time, ...) {
  Param::Impl* p = param_of(h);
  if (!p) return kOfxStatErrBadHandle;
  OfxStatus st = kOfxStatOK;
  ParamValue v;
  if (value_dimension(p->type) == 0) {
    st = kOfxStatErrUnsupported;
  } else if (std::isnan(time)) {
    st = kOfxStatErrValue;
  } else {
    va_list ap;
    va_start(ap, time);
    v = read_in(*p, ap);
    va_end(ap);
    p->set_key(time, v);
  }
  note(p->effect, target_of(*p), st,
       words("paramSetValueAtTime", p->name, time) + " " + value_words(v, p->type));
  if (st == kOfxStatOK) send_plugin_edit(*p);
  return st;
}

OfxStatus paramGetNumKeys(OfxParamHandle h, unsigned int* n) {
  Param::Impl* p = param_of(h);
  if (!p) return kOfxStatErrBadHandle;
  OfxStatus st = n ? kOfxStatOK : kOfxStatErrValue;
  if (n) *n = static_cast<unsigned>(p->keys.size());
  note(p->effect, target_of(*p), st, words("paramGetNumKeys", p->name));
  return st;
}

OfxStatus paramGetKeyTime(OfxParamHandle h, unsigned int nth, OfxTime* time) {
  Param::Impl* p = param_of(h);
  if (!p) return kOfxStatErrBadHandle;
  OfxStatus st = kOfxStatOK;
  if (nth >= p->keys.size())
    st = kOfxStatErrBadIndex;
  else if (!time)
    st = kOfxStatErrValue;
  else
    *time = std::next(p->keys.begin(), static_cast<long>(nth))->first;
  note(p->effect, target_of(*p), st, words("paramGetKeyTime", p->name, nth));
  return st;
}

OfxStatus paramGetKeyIndex(OfxParamHandle h, OfxTime time, int direction, int* index) {
  Param::Impl* p = param_of(h);
  if (!p) return kOfxStatErrBadHandle;
  OfxStatus st = kOfxStatFailed;
  int found = -1, k = 0;
  for (auto& kv : p->keys) {
    if ((direction == 0 && kv.first == time) || (direction < 0 && kv.first < time)) found = k;
    if (direction > 0 && kv.first > time) {
      found = k;
      break;
    }
    ++k;
  }
  if (found >= 0 && index) {
    *index = found;
    st = kOfxStatOK;
  } else if (!index) {
    st = kOfxStatErrValue;
  }
  note(p->effect, target_of(*p), st, words("paramGetKeyIndex", p->name, time, direction));
  return st;
}

OfxStatus paramDeleteKey(OfxParamHandle h, OfxTime time) {
  Param::Impl* p = param_of(h);
  if (!p) return kOfxStatErrBadHandle;
  OfxStatus st = kOfxStatOK;
  auto it = p->keys.find(time);
  if (it == p->keys.end()) {
    st = kOfxStatErrBadIndex;
  } else {
    if (p->keys.size() == 1) p->value = it->second;  // the last key's value stays as the value
    p->keys.erase(it);
  }
  note(p->effect, target_of(*p), st, words("paramDeleteKey", p->name, time));
  return st;
}

OfxStatus paramDeleteAllKeys(OfxParamHandle h) {
  Param::Impl* p = param_of(h);
  if (!p) return kOfxStatErrBadHandle;
  if (!p->keys.empty()) p->value = p->at(effect_time(*p));
  p->keys.clear();
  note(p->effect, target_of(*p), kOfxStatOK, words("paramDeleteAllKeys", p->name));
  return kOfxStatOK;
}

OfxStatus paramCopy(OfxParamHandle to, OfxParamHandle from, OfxTime offset, const OfxRangeD* range) {
  Param::Impl* dst = param_of(to);
  Param::Impl* src = param_of(from);
  if (!dst || !src) return kOfxStatErrBadHandle;
  OfxStatus st = kOfxStatOK;
  if (dst->type != src->type) {
    st = kOfxStatErrValue;
  } else if (dst != src) {
    dst->value = src->value;
    dst->keys.clear();
    for (auto& kv : src->keys)
      if (!range || (kv.first >= range->min && kv.first <= range->max)) dst->keys[kv.first + offset] = kv.second;
  }
  note(dst->effect, target_of(*dst), st, words("paramCopy", dst->name, src->name, offset));
  return st;
}

OfxStatus paramEditBegin(OfxParamSetHandle h, const char* name) {
  ParamSetState* set = paramset_of(h);
  if (!set) return kOfxStatErrBadHandle;
  note(set->effect, set->effect->props.what(), kOfxStatOK, words("paramEditBegin", name));
  return kOfxStatOK;
}

OfxStatus paramEditEnd(OfxParamSetHandle h) {
  ParamSetState* set = paramset_of(h);
  if (!set) return kOfxStatErrBadHandle;
  note(set->effect, set->effect->props.what(), kOfxStatOK, "paramEditEnd");
  return kOfxStatOK;
}

const OfxParameterSuiteV1 kParameterSuite = {
    paramDefine,        paramGetHandle,     paramSetGetPropertySet, paramGetPropertySet, paramGetValue,
    paramGetValueAtTime, paramGetDerivative, paramGetIntegral,      paramSetValue,       paramSetValueAtTime,
    paramGetNumKeys,    paramGetKeyTime,    paramGetKeyIndex,       paramDeleteKey,      paramDeleteAllKeys,
    paramCopy,          paramEditBegin,     paramEditEnd};

}  // namespace

const OfxImageEffectSuiteV1* Host::image_effect_suite() { return &kImageEffectSuite; }
const OfxParameterSuiteV1* Host::parameter_suite() { return &kParameterSuite; }

// Called when an instance is destroyed: images it never released are reclaimed.
void forget_images(EffectState& e) {
  std::lock_guard<std::mutex> lock(gImagesMutex);
  for (auto& ps : e.held) gImages.erase(ps.get());
}

}  // namespace ofxhost
