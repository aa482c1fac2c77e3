// The host's own objects behind the OFX handles. Private to the host library.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "ofx_host.h"

namespace ofxhost {

// Each object behind a handle starts with its own tag, so a handle of the
// wrong kind (or a freed one we still know about) is refused, not trusted.
enum : uint32_t {
  kPropMagic = 0x50524f50,    // "PROP"
  kEffectMagic = 0x45464654,  // "EFFT"
  kParamSetMagic = 0x50534554,
  kParamMagic = 0x5041524d,
  kClipMagic = 0x434c4950,
  kMemMagic = 0x4d454d4f,
  kDeadMagic = 0xdeadbeef,
};

// Builds the text of a log line from its pieces, separated by blanks.
inline void append_word(std::string& out, const std::string& w) {
  if (!out.empty()) out += ' ';
  out += w;
}
inline std::string word(const char* s) { return s ? std::string(s) : std::string("(null)"); }
inline std::string word(const std::string& s) { return s; }
inline std::string word(int v) { return std::to_string(v); }
inline std::string word(unsigned v) { return std::to_string(v); }
inline std::string word(long v) { return std::to_string(v); }
inline std::string word(unsigned long v) { return std::to_string(v); }
inline std::string word(double v) { return format_double(v); }
inline std::string word(const void* p) {
  if (!p) return "null";
  std::ostringstream o;
  o << p;
  return o.str();
}
template <class... A>
std::string words(const A&... a) {
  std::string out;
  (append_word(out, word(a)), ...);
  return out;
}

struct HostRecord;

struct ParamValue {
  std::vector<double> d;
  std::vector<int> i;
  std::string s;
  bool operator==(const ParamValue& o) const { return d == o.d && i == o.i && s == o.s; }
};

struct ClipState {
  uint32_t magic = kClipMagic;
  std::string name;
  PropertySet props;
  EffectState* effect = nullptr;
  Image* image = nullptr;  // during a render
  OfxImageClipHandle ofx() { return reinterpret_cast<OfxImageClipHandle>(this); }
  ~ClipState() { magic = kDeadMagic; }
};

struct ParamSetState {
  uint32_t magic = kParamSetMagic;
  EffectState* effect = nullptr;
  PropertySet props{"paramSet", false};
  std::vector<std::unique_ptr<Param>> list;
  std::map<std::string, Param*, std::less<>> by_name;
  OfxParamSetHandle ofx() { return reinterpret_cast<OfxParamSetHandle>(this); }
  ~ParamSetState() { magic = kDeadMagic; }
};

struct Param::Impl {
  uint32_t magic = kParamMagic;
  Param* self = nullptr;
  std::string name, type;
  PropertySet props;
  EffectState* effect = nullptr;
  ParamValue value;
  std::map<double, ParamValue> keys;
  OfxParamHandle ofx() { return reinterpret_cast<OfxParamHandle>(this); }
  ~Impl() { magic = kDeadMagic; }

  ParamValue at(double time) const;
  const ParamValue& stepped(double time) const;  // the value or key that holds at a time
  void set_value(const ParamValue& v, double current_time);
  void set_key(double time, const ParamValue& v);
  void reset_to_default();
  ParamValue from_default() const;
};

struct Memory {
  uint32_t magic = kMemMagic;
  std::vector<unsigned char> bytes;
  int locks = 0;
  ~Memory() { magic = kDeadMagic; }
};

struct EffectState {
  uint32_t magic = kEffectMagic;
  PluginState* plugin = nullptr;
  bool is_instance = false;
  std::string context;
  PropertySet props;
  ParamSetState params;
  std::vector<std::unique_ptr<ClipState>> clips;
  Faults faults;
  double time = 0.0;
  OfxStatus create_status = kOfxStatOK;
  bool created = false;    // create-instance was sent
  bool destroyed = false;  // destroy was sent
  std::vector<std::string> actions;  // actions running on this effect, innermost last
  int nested_changes = 0;

  std::mutex images_mutex;
  std::vector<std::unique_ptr<PropertySet>> held;
  std::vector<std::string> released;

  explicit EffectState(std::string what) : props(std::move(what), false) { params.effect = this; }
  ~EffectState() { magic = kDeadMagic; }
  OfxImageEffectHandle ofx() { return reinterpret_cast<OfxImageEffectHandle>(this); }
  ClipState* clip(std::string_view name);
  Param* param(std::string_view name);
  Param& add_param(const std::string& type, const std::string& name);
  ClipState& add_clip(const std::string& name);
};

struct PluginState : std::enable_shared_from_this<PluginState> {
  std::string path;
  void* dl = nullptr;
  OfxPlugin* plugin = nullptr;
  HostOptions options;
  HostRecord* host = nullptr;  // outlives us: the plug-in may keep the pointer
  bool loaded = false;         // a load succeeded and no unload was sent since
  std::unique_ptr<EffectState> descriptor;
  std::map<std::string, std::unique_ptr<EffectState>> contexts;

  mutable std::mutex log_mutex;
  std::vector<Call> log;
  std::atomic<bool> recording{true};

  ~PluginState();
  void record(Call::Kind kind, std::string text, std::string target, OfxStatus st);
  OfxStatus run(const std::string& action, const void* handle, PropertySet* in, PropertySet* out,
                EffectState* effect = nullptr);
  EffectState& context_effect(const std::string& context);
};

struct HostRecord {
  OfxHost rec{};
  PropertySet props{"host", false};
  HostOptions options;
  std::mutex mutex;
  PluginState* plugin = nullptr;  // guarded by mutex; null once the plug-in object is gone
};

// Shared between the suite sources.
void describe_param_props(PropertySet& ps, const std::string& type, const std::string& name);
void describe_clip_props(PropertySet& ps, const std::string& name, bool instance);
void describe_effect_props(PropertySet& ps, bool instance, const std::string& context);
void describe_host_props(PropertySet& ps);
int value_dimension(const std::string& type);
bool type_is_double(const std::string& type);
bool type_is_int(const std::string& type);
bool type_is_string(const std::string& type);
void send_plugin_edit(Param::Impl& p);
void forget_images(EffectState& e);

inline bool recording(const PropertySet* ps) {
  return ps && ps->log && ps->log->recording.load(std::memory_order_relaxed);
}
inline bool recording(const EffectState* e) {
  return e && e->plugin && e->plugin->recording.load(std::memory_order_relaxed);
}

}  // namespace ofxhost
