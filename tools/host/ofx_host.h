// A small OFX image-effect host: loads a plug-in bundle, serves the property,
// image-effect and parameter suites, runs the actions and hands out float RGBA
// images. Used by the tests, the benchmarks and varno-render.
//
//   ofxhost::Plugin plugin = ofxhost::Host::load(path);       // setHost, Load, Describe
//   ofxhost::Instance inst = plugin.create_instance(kOfxImageEffectContextFilter);
//   inst.set("formato", 16);                                  // sends instance-changed
//   inst.set_choice("look", "Cinema Print");
//   ofxhost::Image src({0, 0, 64, 32}), dst({0, 0, 64, 32});
//   OfxStatus st = inst.render(0.0, {0, 0, 64, 32}, src, dst);
//
// Host-usage mistakes (unknown parameter, wrong value kind, missing file) throw
// ofxhost::Error; what the plug-in answers comes back as an OfxStatus.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ofx_abi.h"

namespace ofxhost {

class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Name of a status number ("kOfxStatFailed"), for messages.
const char* status_name(OfxStatus st);
// Shortest text that reads back as the same double (0.28 -> "0.28").
std::string format_double(double v);

struct PluginState;
struct EffectState;

// ---------------------------------------------------------------------------
// Property set: named, typed, multi-dimensional values. The host's own sets
// are closed (only the properties the standard names for that object exist,
// so a misspelt property is kOfxStatErrUnknown); a set a test builds itself is
// open and grows as values are set.
class PropertySet {
 public:
  enum class Type { String, Int, Double, Pointer };

  explicit PropertySet(std::string what = "args", bool open = true);
  PropertySet(const PropertySet& other);
  PropertySet& operator=(const PropertySet& other);
  ~PropertySet();

  OfxPropertySetHandle ofx() { return reinterpret_cast<OfxPropertySetHandle>(this); }
  // Null for a null handle or one that is not a live property set.
  static PropertySet* from(OfxPropertySetHandle h);

  // Host side: define (or redefine) a property with its type and values.
  // A fixed property keeps its dimension; the plug-in cannot grow it.
  void define(const std::string& name, Type type, size_t dim, bool fixed = true);
  void set_strings(const std::string& name, const std::vector<std::string>& v, bool fixed = false);
  void set_ints(const std::string& name, const std::vector<int>& v, bool fixed = false);
  void set_doubles(const std::string& name, const std::vector<double>& v, bool fixed = false);
  void set_pointers(const std::string& name, const std::vector<void*>& v, bool fixed = false);
  void set(const std::string& name, const std::string& v) { set_strings(name, {v}, true); }
  void set(const std::string& name, const char* v) { set_strings(name, {v}, true); }
  void set(const std::string& name, int v) { set_ints(name, {v}, true); }
  void set(const std::string& name, double v) { set_doubles(name, {v}, true); }
  void set_pointer(const std::string& name, void* v) { set_pointers(name, {v}, true); }
  // Copies every property of another set into this one.
  void merge(const PropertySet& other);

  // Host side reads. The single-value getters throw Error for an absent
  // property, a wrong type or a bad index.
  bool has(std::string_view name) const;
  Type type(std::string_view name) const;
  int dimension(std::string_view name) const;  // -1 when absent
  std::string get_string(std::string_view name, int index = 0) const;
  int get_int(std::string_view name, int index = 0) const;
  double get_double(std::string_view name, int index = 0) const;
  void* get_pointer(std::string_view name, int index = 0) const;
  std::vector<std::string> strings(std::string_view name) const;  // empty when absent
  std::vector<int> ints(std::string_view name) const;
  std::vector<double> doubles(std::string_view name) const;
  std::vector<std::string> names() const;  // in order of definition

  const std::string& what() const { return what_; }
  bool open() const { return open_; }

  // Suite side, with OFX statuses. Not normally called by users of the host.
  struct Prop {
    Type type = Type::Int;
    bool fixed = false;
    std::vector<std::string> s;
    std::vector<int> i;
    std::vector<double> d;
    std::vector<void*> p;
    size_t size() const;
    void resize(size_t n);
  };
  Prop* find(std::string_view name);
  const Prop* find(std::string_view name) const;
  Prop* create(const std::string& name, Type type);  // open sets only; null otherwise
  OfxStatus reset(std::string_view name);

  PluginState* log = nullptr;  // where suite calls on this set are recorded
  void* owner = nullptr;       // host object behind the set (image, param, ...)

 private:
  uint32_t magic_;
  std::string what_;
  bool open_;
  std::map<std::string, Prop, std::less<>> props_;
  std::map<std::string, Prop, std::less<>> initial_;  // for propReset
  std::vector<std::string> order_;
};

// ---------------------------------------------------------------------------
// A float RGBA image, as the host hands it to the plug-in. Bounds are any
// pixel rectangle; row bytes may be padded or negative (rows then go
// backwards in memory from the first row at data()). Guard bytes before,
// after and between rows let a test see writes outside the image.
class Image {
 public:
  // row_bytes 0 means tightly packed, width * 16.
  explicit Image(OfxRectI bounds, long row_bytes = 0);
  // An image of another depth ("OfxBitDepthByte", "OfxBitDepthShort",
  // "OfxBitDepthHalf", "OfxBitDepthFloat") and components ("OfxImageComponentRGBA",
  // "OfxImageComponentRGB", "OfxImageComponentAlpha"), as some hosts hand over
  // whatever a plug-in asked for: tightly packed in a buffer of exactly its
  // size, with no guard bytes, so AddressSanitizer sees any read past it.
  static Image in_format(OfxRectI bounds, const std::string& depth, const std::string& components);
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
  Image(Image&&) = default;
  Image& operator=(Image&&) = default;

  const OfxRectI& bounds() const { return bounds_; }
  int width() const { return bounds_.x2 - bounds_.x1; }
  int height() const { return bounds_.y2 - bounds_.y1; }
  long row_bytes() const { return row_bytes_; }
  float* data() { return data_; }  // first pixel of the bounds' first row
  const float* data() const { return data_; }
  // Pixel at absolute coordinates inside the bounds.
  float* pixel(int x, int y);
  const float* pixel(int x, int y) const;
  void fill(float r, float g, float b, float a);
  // True when nothing outside the pixels (guards, row padding) was written.
  bool untouched_outside() const;

  // What the image's property set tells the plug-in.
  std::string pixel_depth = "OfxBitDepthFloat";
  std::string components = "OfxImageComponentRGBA";
  std::string premultiplication = "OfxImagePreMultiplied";
  double pixel_aspect = 1.0;
  long told_row_bytes = 0;  // when not 0, the row bytes told instead of the real ones

  // A copy of the whole buffer, guards and padding included, to compare later.
  std::vector<unsigned char> bytes() const { return mem_; }

 private:
  Image(OfxRectI bounds, long row_bytes, size_t pixel_bytes, size_t guard);
  size_t pixel_bytes_ = 16;
  size_t guard_ = 256;
  OfxRectI bounds_;
  long row_bytes_;
  std::vector<unsigned char> mem_;
  float* data_ = nullptr;
  size_t first_row_ = 0;  // offset of the first row in mem_
};

// ---------------------------------------------------------------------------
// One recorded suite call (or, with kind Action, an action the host sent).
struct Call {
  enum Kind { Suite, Action } kind = Suite;
  std::string text;    // "propSetString OfxPropLabel 0 Varno Color"
  std::string target;  // the object: "descriptor", "param forza", "clip Source", "image Output", ...
  OfxStatus status = kOfxStatOK;
};

struct HostOptions {
  bool null_host = false;                 // setHost is given a null pointer
  std::set<std::string> missing_suites;   // fetchSuite returns null for these names
  bool record_calls = true;
  bool send_instance_changed = true;      // after the plug-in sets a value, as hosts do
  bool close_library = false;             // dlclose the binary once the plug-in is released
};

// Failure injection on an instance, by clip or parameter name.
struct Faults {
  std::set<std::string> clip_handle;  // clipGetHandle fails (kOfxStatErrUnknown)
  std::set<std::string> clip_image;   // clipGetImage fails (kOfxStatFailed)
  std::set<std::string> null_data;    // the image comes with a null data pointer
  std::set<std::string> param_handle; // paramGetHandle fails (kOfxStatErrUnknown)
};

struct RenderArgs {
  OfxPointD scale{1.0, 1.0};
  std::string field = "OfxImageFieldNone";
  int sequential = 0;
  int interactive = 0;
};

// A parameter as the host keeps it: descriptor or instance.
class Param {
 public:
  const std::string& name() const;
  const std::string& type() const;  // "OfxParamTypeDouble", ...
  PropertySet& props();
  const PropertySet& props() const;

  // Convenience reads of the properties (host defaults when unset).
  std::string label() const;
  std::string hint() const;
  bool secret() const;
  bool enabled() const;
  std::vector<std::string> options() const;
  double default_double() const;
  int default_int() const;
  double min() const;
  double max() const;
  double display_min() const;
  double display_max() const;
  bool is_double() const;   // Double, Double2D/3D, RGB, RGBA
  bool is_int() const;      // Integer*, Boolean, Choice
  bool is_string() const;   // String, Custom, StrChoice
  int value_dimension() const;

  // Values (instances): current value, value at a time, and keyframes.
  double get_double(int index = 0) const;
  int get_int(int index = 0) const;
  double get_double_at(double time, int index = 0) const;
  int get_int_at(double time, int index = 0) const;
  std::string get_string() const;
  size_t key_count() const;

  struct Impl;
  explicit Param(std::unique_ptr<Impl> impl);
  ~Param();
  Impl& impl() { return *impl_; }
  const Impl& impl() const { return *impl_; }

 private:
  std::unique_ptr<Impl> impl_;
};

class Plugin;

// One instance of the effect. Destroying it sends the destroy action.
class Instance {
 public:
  Instance(Instance&&) noexcept;
  Instance& operator=(Instance&&) noexcept;
  ~Instance();

  OfxStatus create_status() const;  // what the create-instance action returned
  const std::string& context() const;
  OfxImageEffectHandle handle();
  PropertySet& props();

  // Parameters in definition order, and by name (throws Error when unknown).
  // The pointers live as long as the instance: keep the instance in a variable.
  std::vector<Param*> params();
  Param& param(const std::string& name);
  bool has_param(const std::string& name) const;

  // User edits: set the value, then send begin-instance-changed,
  // instance-changed (OfxChangeUserEdited, at the current time) and
  // end-instance-changed; the status of instance-changed is returned. Values
  // the plug-in sets while it handles a change come back to it as nested
  // instance-changed actions with OfxChangePluginEdited.
  OfxStatus set(const std::string& name, double v);
  OfxStatus set(const std::string& name, int v) { return set(name, static_cast<double>(v)); }
  OfxStatus set(const std::string& name, bool v) { return set(name, v ? 1 : 0); }
  // A string parameter's text, or a choice's option text.
  OfxStatus set(const std::string& name, const std::string& v);
  OfxStatus set(const std::string& name, const char* v) { return set(name, std::string(v)); }
  OfxStatus set_choice(const std::string& name, const std::string& option);
  OfxStatus set_at(const std::string& name, double time, double v);  // a keyframe
  // Values as the plug-in would read them.
  double get_double(const std::string& name, int index = 0);
  int get_int(const std::string& name, int index = 0);
  double get_double_at(const std::string& name, double time, int index = 0);
  int get_int_at(const std::string& name, double time, int index = 0);

  // The host's current time: what paramGetValue reads at.
  void set_time(double t);
  double time() const;

  // Sends instance-changed for a parameter (or a clip with type OfxTypeClip).
  OfxStatus changed(const std::string& name, const std::string& reason = "OfxChangeUserEdited",
                    const std::string& type = "OfxTypeParameter");

  // Render one frame. src may be null (an unconnected source).
  OfxStatus render(double time, OfxRectI window, Image* src, Image& dst, const RenderArgs& args = {});
  OfxStatus render(double time, OfxRectI window, Image& src, Image& dst, const RenderArgs& args = {}) {
    return render(time, window, &src, dst, args);
  }

  // Any action on this instance, with argument sets of the caller's.
  OfxStatus call(const std::string& action, PropertySet* in = nullptr, PropertySet* out = nullptr);

  Faults& faults();
  // Clip names of the images the plug-in released during the last render, in order.
  std::vector<std::string> released() const;
  // Images handed out and not yet released.
  int images_held() const;

  // Sends the destroy action now (the destructor then does nothing more).
  OfxStatus destroy();

 private:
  friend class Plugin;
  Instance(std::shared_ptr<PluginState> plugin, std::unique_ptr<EffectState> effect);
  std::shared_ptr<PluginState> plugin_;
  std::unique_ptr<EffectState> effect_;
};

// A loaded plug-in. Copies share the same state; instances keep it alive.
class Plugin {
 public:
  // Step by step, for tests of the boundary itself:
  void set_host();                 // setHost (null when HostOptions::null_host)
  void set_host(OfxHost* host);    // setHost with any record, null included
  OfxStatus load();                // OfxActionLoad
  OfxStatus describe();            // OfxActionDescribe
  OfxStatus describe_in_context(const std::string& context);
  OfxStatus unload();              // OfxActionUnload (also sent when the last copy goes, after a good load)
  // Describes in the context first if that has not been done.
  Instance create_instance(const std::string& context = "OfxImageEffectContextFilter");
  // Any action with any handle and argument sets.
  OfxStatus call(const std::string& action, const void* handle, PropertySet* in = nullptr,
                 PropertySet* out = nullptr);

  const OfxPlugin& record() const;
  std::string identifier() const;
  const std::string& binary_path() const;
  OfxHost* host_record();          // the host record this plug-in was given
  const HostOptions& options() const;

  // What the plug-in described.
  PropertySet& descriptor();                                   // OfxActionDescribe's set
  PropertySet& context_descriptor(const std::string& context); // describe-in-context's set
  std::vector<Param*> params(const std::string& context = "OfxImageEffectContextFilter");
  Param& param(const std::string& name, const std::string& context = "OfxImageEffectContextFilter");
  std::vector<std::string> clips(const std::string& context = "OfxImageEffectContextFilter");
  PropertySet& clip(const std::string& name, const std::string& context = "OfxImageEffectContextFilter");
  OfxImageEffectHandle descriptor_handle();
  OfxImageEffectHandle context_handle(const std::string& context);

  // The call log, shared by all instances.
  std::vector<Call> log() const;
  std::vector<std::string> calls() const;  // suite calls only, as text
  void clear_log();
  void set_recording(bool on);

  explicit Plugin(std::shared_ptr<PluginState> s) : s_(std::move(s)) {}
  PluginState& state() { return *s_; }

 private:
  std::shared_ptr<PluginState> s_;
};

class Host {
 public:
  // Opens the binary (a .ofx file or a .ofx.bundle folder) and picks the
  // plug-in with that identifier (the first image-effect plug-in when empty).
  // Runs no action. Throws Error with the file and the reason on failure.
  static Plugin open(const std::string& path, const HostOptions& options = {},
                     const std::string& identifier = "");
  // A plug-in record already in this process (linked in, no library to open).
  static Plugin adopt(OfxPlugin* plugin, const HostOptions& options = {});
  // Searches OFX_PLUGIN_PATH, then /usr/OFX/Plugins, for the identifier.
  static Plugin find(const std::string& identifier, const HostOptions& options = {});
  // The bundle that holds the identifier, or "" when none does.
  static std::string locate(const std::string& identifier);
  // open + setHost + Load + Describe; throws Error when either action fails.
  static Plugin load(const std::string& path, const HostOptions& options = {},
                     const std::string& identifier = "");

  // The suites this host serves, for tests that call them directly.
  static const OfxPropertySuiteV1* property_suite();
  static const OfxImageEffectSuiteV1* image_effect_suite();
  static const OfxParameterSuiteV1* parameter_suite();
};

}  // namespace ofxhost
