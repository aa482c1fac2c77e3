// Loading a plug-in, running its actions, and the instances the host keeps.
#include <dlfcn.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "host_internal.h"

namespace fs = std::filesystem;

namespace ofxhost {

namespace {

// Host records live until the process ends: a plug-in keeps the pointer it
// was given in setHost and may use it long after our Plugin object is gone.
std::mutex gRecordsMutex;
std::vector<std::unique_ptr<HostRecord>>& records() {
  static std::vector<std::unique_ptr<HostRecord>> r;
  return r;
}

const void* fetchSuite(OfxPropertySetHandle host, const char* name, int version) {
  PropertySet* ps = PropertySet::from(host);
  auto* hr = ps ? static_cast<HostRecord*>(ps->owner) : nullptr;
  if (!hr || !name) return nullptr;
  const void* suite = nullptr;
  if (version == 1 && !hr->options.missing_suites.count(name)) {
    if (!std::strcmp(name, "OfxPropertySuite")) suite = Host::property_suite();
    if (!std::strcmp(name, "OfxImageEffectSuite")) suite = Host::image_effect_suite();
    if (!std::strcmp(name, "OfxParameterSuite")) suite = Host::parameter_suite();
  }
  std::lock_guard<std::mutex> lock(hr->mutex);
  if (hr->plugin && hr->plugin->recording)
    hr->plugin->record(Call::Suite, words("fetchSuite", name, version), "host",
                       suite ? kOfxStatOK : kOfxStatErrUnsupported);
  return suite;
}

HostRecord* new_host_record(const HostOptions& options) {
  auto hr = std::make_unique<HostRecord>();
  describe_host_props(hr->props);
  hr->props.owner = hr.get();
  hr->options = options;
  hr->rec.host = hr->props.ofx();
  hr->rec.fetchSuite = fetchSuite;
  std::lock_guard<std::mutex> lock(gRecordsMutex);
  records().push_back(std::move(hr));
  return records().back().get();
}

bool ends_with(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

// The binary inside a bundle folder: Contents/Linux-x86-64/NAME.ofx.
std::string binary_in_bundle(const fs::path& bundle) {
  fs::path arch = bundle / "Contents" / "Linux-x86-64";
  std::string name = bundle.filename().string();
  if (name.empty()) name = bundle.parent_path().filename().string();
  if (ends_with(name, ".bundle")) name.resize(name.size() - 7);
  if (!ends_with(name, ".ofx")) name += ".ofx";
  std::error_code ec;
  if (fs::is_regular_file(arch / name, ec)) return (arch / name).string();
  if (fs::is_directory(arch, ec))
    for (auto& entry : fs::directory_iterator(arch, ec))
      if (entry.path().extension() == ".ofx" && entry.is_regular_file(ec)) return entry.path().string();
  throw Error(bundle.string() + ": no plug-in binary in the bundle (expected " + (arch / name).string() + ")");
}

std::vector<std::string> search_folders() {
  std::vector<std::string> dirs;
  if (const char* env = std::getenv("OFX_PLUGIN_PATH")) {
    std::string s = env;
    size_t start = 0;
    while (start <= s.size()) {
      size_t end = s.find(':', start);
      if (end == std::string::npos) end = s.size();
      if (end > start) dirs.push_back(s.substr(start, end - start));
      start = end + 1;
    }
  }
  dirs.push_back("/usr/OFX/Plugins");
  return dirs;
}

// Bundle folders under a folder, not looking inside bundles.
void collect_bundles(const fs::path& dir, std::vector<fs::path>& out, int depth = 0) {
  std::error_code ec;
  if (depth > 8 || !fs::is_directory(dir, ec)) return;
  std::vector<fs::path> entries;
  for (auto& e : fs::directory_iterator(dir, fs::directory_options::skip_permission_denied, ec))
    entries.push_back(e.path());
  std::sort(entries.begin(), entries.end());
  for (auto& p : entries) {
    if (!fs::is_directory(p, ec)) continue;
    if (ends_with(p.filename().string(), ".ofx.bundle"))
      out.push_back(p);
    else
      collect_bundles(p, out, depth + 1);
  }
}

}  // namespace

// ---------------------------------------------------------------------------

PluginState::~PluginState() {
  // A host that loaded a plug-in unloads it when it is done with it.
  if (loaded && plugin) run(kOfxActionUnload, nullptr, nullptr, nullptr);
  if (host) {
    std::lock_guard<std::mutex> lock(host->mutex);
    host->plugin = nullptr;
  }
  // Only on request: by default the code and statics must outlive any pointer
  // to them that we or the plug-in still hold.
  if (options.close_library && dl) dlclose(dl);
}

void PluginState::record(Call::Kind kind, std::string text, std::string target, OfxStatus st) {
  std::lock_guard<std::mutex> lock(log_mutex);
  log.push_back(Call{kind, std::move(text), std::move(target), st});
}

OfxStatus PluginState::run(const std::string& action, const void* handle, PropertySet* in, PropertySet* out,
                           EffectState* effect) {
  if (in && !in->log) in->log = this;
  if (out && !out->log) out->log = this;
  size_t entry = 0;
  bool rec = recording.load();
  if (rec) {
    std::string text = action;
    if (in && in->has("OfxPropName") && in->dimension("OfxPropName") > 0 &&
        in->type("OfxPropName") == PropertySet::Type::String)
      text += " " + in->get_string("OfxPropName");
    std::lock_guard<std::mutex> lock(log_mutex);
    entry = log.size();
    log.push_back(Call{Call::Action, text, effect ? effect->props.what() : std::string(), kOfxStatOK});
  }
  if (effect) effect->actions.push_back(action);
  OfxStatus st = plugin->mainEntry(action.c_str(), handle, in ? in->ofx() : nullptr, out ? out->ofx() : nullptr);
  if (effect) effect->actions.pop_back();
  if (rec) {
    std::lock_guard<std::mutex> lock(log_mutex);
    if (entry < log.size() && log[entry].kind == Call::Action) log[entry].status = st;
  }
  return st;
}

EffectState& PluginState::context_effect(const std::string& context) {
  auto it = contexts.find(context);
  if (it == contexts.end()) throw Error("the plug-in was not described in the context " + context);
  return *it->second;
}

// After the plug-in sets a value while it handles an action of its instance,
// a host tells it of the change, as it does for the user's edits.
void send_plugin_edit(Param::Impl& p) {
  EffectState* e = p.effect;
  if (!e || !e->is_instance || !e->plugin || !e->plugin->options.send_instance_changed) return;
  if (e->actions.empty()) return;
  const std::string& now = e->actions.back();
  if (now == kOfxImageEffectActionRender || now == kOfxActionCreateInstance || now == kOfxActionDestroyInstance)
    return;
  if (e->nested_changes >= 16) return;  // a plug-in that answers each change with another
  ++e->nested_changes;
  PropertySet in("inArgs", false);
  in.set("OfxPropType", "OfxTypeParameter");
  in.set("OfxPropName", p.name);
  in.set("OfxPropChangeReason", "OfxChangePluginEdited");
  in.set("OfxPropTime", e->time);
  in.set_doubles("OfxImageEffectPropRenderScale", {1.0, 1.0}, true);
  e->plugin->run(kOfxActionInstanceChanged, e->ofx(), &in, nullptr, e);
  --e->nested_changes;
}

// ---------------------------------------------------------------------------
// Host

Plugin Host::open(const std::string& path, const HostOptions& options, const std::string& identifier) {
  std::error_code ec;
  if (path.empty()) throw Error("no plug-in path given");
  if (!fs::exists(path, ec)) throw Error(path + ": no such file or folder");
  std::string binary = fs::is_directory(path, ec) ? binary_in_bundle(path) : path;

  void* dl = dlopen(binary.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!dl) {
    const char* why = dlerror();
    throw Error(binary + ": cannot be loaded: " + (why ? why : "unknown reason"));
  }
  // The library stays open unless HostOptions::close_library asks otherwise:
  // the plug-in's code and statics must outlive every pointer to them.
  auto count = reinterpret_cast<int (*)()>(dlsym(dl, "OfxGetNumberOfPlugins"));
  auto get = reinterpret_cast<OfxPlugin* (*)(int)>(dlsym(dl, "OfxGetPlugin"));
  if (!count || !get)
    throw Error(binary + ": not an OFX plug-in (no " + (count ? "OfxGetPlugin" : "OfxGetNumberOfPlugins") +
                " entry point)");
  int n = count();
  if (n <= 0) throw Error(binary + ": holds no plug-in (OfxGetNumberOfPlugins returned " + std::to_string(n) + ")");

  OfxPlugin* chosen = nullptr;
  std::string seen;
  for (int k = 0; k < n && !chosen; ++k) {
    OfxPlugin* p = get(k);
    if (!p || !p->pluginApi || !p->pluginIdentifier || !p->mainEntry) continue;
    append_word(seen, p->pluginIdentifier);
    bool effect = std::strcmp(p->pluginApi, kOfxImageEffectPluginApi) == 0;
    if (identifier.empty() ? effect : identifier == p->pluginIdentifier) chosen = p;
  }
  if (!chosen) {
    if (identifier.empty()) throw Error(binary + ": holds no OFX image-effect plug-in");
    throw Error(binary + ": holds no plug-in " + identifier + (seen.empty() ? "" : " (it holds: " + seen + ")"));
  }
  if (std::strcmp(chosen->pluginApi, kOfxImageEffectPluginApi) != 0 || chosen->apiVersion != 1)
    throw Error(binary + ": plug-in " + chosen->pluginIdentifier + " speaks " + chosen->pluginApi + " version " +
                std::to_string(chosen->apiVersion) + ", not " + kOfxImageEffectPluginApi + " version 1");

  Plugin p = adopt(chosen, options);
  p.state().path = binary;
  p.state().dl = dl;
  return p;
}

Plugin Host::adopt(OfxPlugin* plugin, const HostOptions& options) {
  if (!plugin || !plugin->mainEntry || !plugin->setHost) throw Error("not a usable OFX plug-in record");
  auto s = std::make_shared<PluginState>();
  s->path = "(in process)";
  s->plugin = plugin;
  s->options = options;
  s->recording = options.record_calls;
  s->host = new_host_record(options);
  s->host->plugin = s.get();
  return Plugin(s);
}

std::string Host::locate(const std::string& identifier) {
  for (const std::string& dir : search_folders()) {
    std::vector<fs::path> bundles;
    collect_bundles(dir, bundles);
    for (auto& b : bundles) {
      try {
        open(b.string(), HostOptions{}, identifier);
        return b.string();
      } catch (const Error&) {
        // not this one
      }
    }
  }
  return "";
}

Plugin Host::find(const std::string& identifier, const HostOptions& options) {
  std::string path = locate(identifier);
  if (path.empty()) {
    std::string where;
    for (auto& d : search_folders()) where += (where.empty() ? "" : ":") + d;
    throw Error("no bundle holds the plug-in " + identifier + " (searched " + where + ")");
  }
  return open(path, options, identifier);
}

Plugin Host::load(const std::string& path, const HostOptions& options, const std::string& identifier) {
  Plugin p = open(path, options, identifier);
  p.set_host();
  OfxStatus st = p.load();
  if (st != kOfxStatOK && st != kOfxStatReplyDefault)
    throw Error(p.binary_path() + ": the plug-in failed to load (" + status_name(st) + ")");
  st = p.describe();
  if (st != kOfxStatOK && st != kOfxStatReplyDefault)
    throw Error(p.binary_path() + ": the plug-in failed to describe itself (" + status_name(st) + ")");
  return p;
}

// ---------------------------------------------------------------------------
// Plugin

void Plugin::set_host() { set_host(s_->options.null_host ? nullptr : &s_->host->rec); }

void Plugin::set_host(OfxHost* host) {
  if (s_->recording) s_->record(Call::Action, host ? "setHost" : "setHost null", "", kOfxStatOK);
  s_->plugin->setHost(host);
}

OfxStatus Plugin::load() {
  OfxStatus st = s_->run(kOfxActionLoad, nullptr, nullptr, nullptr);
  s_->loaded = st == kOfxStatOK || st == kOfxStatReplyDefault;
  return st;
}

OfxStatus Plugin::unload() {
  s_->loaded = false;
  return s_->run(kOfxActionUnload, nullptr, nullptr, nullptr);
}

OfxStatus Plugin::describe() {
  auto e = std::make_unique<EffectState>("descriptor");
  e->plugin = s_.get();
  describe_effect_props(e->props, false, "");
  if (s_->dl)
    e->props.set("OfxPluginPropFilePath", fs::path(s_->path).parent_path().parent_path().parent_path().string());
  e->props.log = s_.get();
  e->params.props.log = s_.get();
  s_->descriptor = std::move(e);
  return s_->run(kOfxActionDescribe, s_->descriptor->ofx(), nullptr, nullptr, s_->descriptor.get());
}

OfxStatus Plugin::describe_in_context(const std::string& context) {
  auto e = std::make_unique<EffectState>("descriptor " + context);
  e->plugin = s_.get();
  e->context = context;
  describe_effect_props(e->props, false, context);
  if (s_->descriptor) {
    e->props.merge(s_->descriptor->props);
    e->props.set("OfxImageEffectPropContext", context);
  }
  e->props.log = s_.get();
  e->params.props.log = s_.get();
  EffectState* raw = e.get();
  s_->contexts[context] = std::move(e);
  PropertySet in("inArgs", false);
  in.set("OfxImageEffectPropContext", context);
  return s_->run(kOfxImageEffectActionDescribeInContext, raw->ofx(), &in, nullptr, raw);
}

Instance Plugin::create_instance(const std::string& context) {
  if (!s_->descriptor) describe();
  if (!s_->contexts.count(context)) describe_in_context(context);
  EffectState& desc = *s_->contexts.at(context);

  auto e = std::make_unique<EffectState>("instance");
  e->plugin = s_.get();
  e->is_instance = true;
  e->context = context;
  describe_effect_props(e->props, true, context);
  e->props.merge(desc.props);  // what the plug-in described, over the host's defaults
  e->props.set("OfxPropType", "OfxTypeImageEffectInstance");
  e->props.log = s_.get();
  e->params.props.log = s_.get();
  for (auto& c : desc.clips) {
    ClipState& ic = e->add_clip(c->name);
    ic.props.merge(c->props);
  }
  for (auto& p : desc.params.list) {
    Param& ip = e->add_param(p->type(), p->name());
    ip.props().merge(p->props());
    ip.impl().reset_to_default();
  }
  EffectState* raw = e.get();
  Instance inst(s_, std::move(e));
  raw->created = true;
  raw->create_status = s_->run(kOfxActionCreateInstance, raw->ofx(), nullptr, nullptr, raw);
  return inst;
}

OfxStatus Plugin::call(const std::string& action, const void* handle, PropertySet* in, PropertySet* out) {
  auto* e = static_cast<EffectState*>(const_cast<void*>(handle));
  if (e && e->magic != kEffectMagic) e = nullptr;
  return s_->run(action, handle, in, out, e);
}

const OfxPlugin& Plugin::record() const { return *s_->plugin; }
std::string Plugin::identifier() const { return s_->plugin->pluginIdentifier; }
const std::string& Plugin::binary_path() const { return s_->path; }
OfxHost* Plugin::host_record() { return &s_->host->rec; }
const HostOptions& Plugin::options() const { return s_->options; }

PropertySet& Plugin::descriptor() {
  if (!s_->descriptor) throw Error("the plug-in has not been described");
  return s_->descriptor->props;
}
PropertySet& Plugin::context_descriptor(const std::string& context) { return s_->context_effect(context).props; }
OfxImageEffectHandle Plugin::descriptor_handle() {
  if (!s_->descriptor) throw Error("the plug-in has not been described");
  return s_->descriptor->ofx();
}
OfxImageEffectHandle Plugin::context_handle(const std::string& context) { return s_->context_effect(context).ofx(); }

std::vector<Param*> Plugin::params(const std::string& context) {
  std::vector<Param*> out;
  for (auto& p : s_->context_effect(context).params.list) out.push_back(p.get());
  return out;
}
Param& Plugin::param(const std::string& name, const std::string& context) {
  Param* p = s_->context_effect(context).param(name);
  if (!p) throw Error("the plug-in defines no parameter " + name);
  return *p;
}
std::vector<std::string> Plugin::clips(const std::string& context) {
  std::vector<std::string> out;
  for (auto& c : s_->context_effect(context).clips) out.push_back(c->name);
  return out;
}
PropertySet& Plugin::clip(const std::string& name, const std::string& context) {
  ClipState* c = s_->context_effect(context).clip(name);
  if (!c) throw Error("the plug-in defines no clip " + name);
  return c->props;
}

std::vector<Call> Plugin::log() const {
  std::lock_guard<std::mutex> lock(s_->log_mutex);
  return s_->log;
}
std::vector<std::string> Plugin::calls() const {
  std::lock_guard<std::mutex> lock(s_->log_mutex);
  std::vector<std::string> out;
  for (auto& c : s_->log)
    if (c.kind == Call::Suite) out.push_back(c.text);
  return out;
}
void Plugin::clear_log() {
  std::lock_guard<std::mutex> lock(s_->log_mutex);
  s_->log.clear();
}
void Plugin::set_recording(bool on) { s_->recording = on; }

// ---------------------------------------------------------------------------
// Instance

Instance::Instance(std::shared_ptr<PluginState> plugin, std::unique_ptr<EffectState> effect)
    : plugin_(std::move(plugin)), effect_(std::move(effect)) {}
Instance::Instance(Instance&&) noexcept = default;
Instance& Instance::operator=(Instance&& o) noexcept {
  if (this != &o) {
    if (effect_) {
      destroy();
      forget_images(*effect_);
    }
    plugin_ = std::move(o.plugin_);
    effect_ = std::move(o.effect_);
  }
  return *this;
}
Instance::~Instance() {
  if (effect_) {
    destroy();
    forget_images(*effect_);
  }
}

OfxStatus Instance::destroy() {
  EffectState& e = *effect_;
  // An instance the plug-in refused to create is not destroyed; one it did
  // not answer (reply default) was created all the same.
  bool created = e.create_status == kOfxStatOK || e.create_status == kOfxStatReplyDefault;
  if (!e.created || e.destroyed || !created) return kOfxStatOK;
  e.destroyed = true;
  return plugin_->run(kOfxActionDestroyInstance, e.ofx(), nullptr, nullptr, &e);
}

OfxStatus Instance::create_status() const { return effect_->create_status; }
const std::string& Instance::context() const { return effect_->context; }
OfxImageEffectHandle Instance::handle() { return effect_->ofx(); }
PropertySet& Instance::props() { return effect_->props; }
Faults& Instance::faults() { return effect_->faults; }

std::vector<Param*> Instance::params() {
  std::vector<Param*> out;
  for (auto& p : effect_->params.list) out.push_back(p.get());
  return out;
}
Param& Instance::param(const std::string& name) {
  Param* p = effect_->param(name);
  if (!p) throw Error("unknown parameter " + name);
  return *p;
}
bool Instance::has_param(const std::string& name) const { return effect_->param(name) != nullptr; }

namespace {
ParamValue numeric_value(Param& p, double v) {
  ParamValue val = p.impl().stepped(p.impl().effect->time);
  if (p.is_double()) {
    if (val.d.empty()) val.d.resize(1);
    val.d[0] = v;
  } else if (p.is_int()) {
    if (!(std::nearbyint(v) == v) || v < -2147483648.0 || v > 2147483647.0)
      throw Error("parameter " + p.name() + " takes an integer, not " + format_double(v));
    if (val.i.empty()) val.i.resize(1);
    val.i[0] = static_cast<int>(v);
  } else {
    throw Error("parameter " + p.name() + " (" + p.type() + ") takes no number");
  }
  return val;
}
}  // namespace

OfxStatus Instance::set(const std::string& name, double v) {
  Param& p = param(name);
  p.impl().set_value(numeric_value(p, v), effect_->time);
  return changed(name);
}

OfxStatus Instance::set(const std::string& name, const std::string& v) {
  Param& p = param(name);
  if (p.type() == "OfxParamTypeChoice") return set_choice(name, v);
  if (!p.is_string()) throw Error("parameter " + name + " (" + p.type() + ") takes no text");
  ParamValue val;
  val.s = v;
  p.impl().set_value(val, effect_->time);
  return changed(name);
}

OfxStatus Instance::set_choice(const std::string& name, const std::string& option) {
  Param& p = param(name);
  std::vector<std::string> opts = p.options();
  if (p.type() != "OfxParamTypeChoice" && p.type() != "OfxParamTypeStrChoice")
    throw Error("parameter " + name + " is not a choice");
  for (size_t k = 0; k < opts.size(); ++k)
    if (opts[k] == option) {
      ParamValue val;
      if (p.type() == "OfxParamTypeChoice")
        val.i = {static_cast<int>(k)};
      else
        val.s = option;
      p.impl().set_value(val, effect_->time);
      return changed(name);
    }
  std::string valid;
  for (auto& o : opts) valid += (valid.empty() ? "\"" : ", \"") + o + "\"";
  throw Error("parameter " + name + " has no option \"" + option + "\" (valid: " + valid + ")");
}

OfxStatus Instance::set_at(const std::string& name, double time, double v) {
  if (std::isnan(time)) throw Error("a key needs a time that is a number");
  Param& p = param(name);
  p.impl().set_key(time, numeric_value(p, v));
  double keep = effect_->time;
  effect_->time = time;
  OfxStatus st = changed(name);
  effect_->time = keep;
  return st;
}

double Instance::get_double(const std::string& name, int index) { return param(name).get_double(index); }
int Instance::get_int(const std::string& name, int index) { return param(name).get_int(index); }
double Instance::get_double_at(const std::string& name, double time, int index) {
  return param(name).get_double_at(time, index);
}
int Instance::get_int_at(const std::string& name, double time, int index) {
  return param(name).get_int_at(time, index);
}

void Instance::set_time(double t) {
  if (std::isnan(t)) throw Error("the current time must be a number");
  effect_->time = t;
}
double Instance::time() const { return effect_->time; }

OfxStatus Instance::changed(const std::string& name, const std::string& reason, const std::string& type) {
  EffectState& e = *effect_;
  PropertySet begin("inArgs", false);
  begin.set("OfxPropChangeReason", reason);
  plugin_->run("OfxActionBeginInstanceChanged", e.ofx(), &begin, nullptr, &e);
  PropertySet in("inArgs", false);
  in.set("OfxPropType", type);
  in.set("OfxPropName", name);
  in.set("OfxPropChangeReason", reason);
  in.set("OfxPropTime", e.time);
  in.set_doubles("OfxImageEffectPropRenderScale", {1.0, 1.0}, true);
  OfxStatus st = plugin_->run(kOfxActionInstanceChanged, e.ofx(), &in, nullptr, &e);
  PropertySet end("inArgs", false);
  end.set("OfxPropChangeReason", reason);
  plugin_->run("OfxActionEndInstanceChanged", e.ofx(), &end, nullptr, &e);
  return st;
}

OfxStatus Instance::render(double time, OfxRectI window, Image* src, Image& dst, const RenderArgs& args) {
  EffectState& e = *effect_;
  ClipState* source = e.clip(kOfxImageEffectSimpleSourceClipName);
  ClipState* output = e.clip(kOfxImageEffectOutputClipName);
  if (source) {
    source->image = src;
    source->props.set("OfxImageClipPropConnected", src ? 1 : 0);
  }
  if (output) output->image = &dst;
  {
    std::lock_guard<std::mutex> lock(e.images_mutex);
    e.released.clear();
  }
  PropertySet in("inArgs", false);
  in.set("OfxPropTime", time);
  in.set("OfxImageEffectPropFieldToRender", args.field);
  in.set_ints("OfxImageEffectPropRenderWindow", {window.x1, window.y1, window.x2, window.y2}, true);
  in.set_doubles("OfxImageEffectPropRenderScale", {args.scale.x, args.scale.y}, true);
  in.set("OfxImageEffectPropSequentialRenderStatus", args.sequential);
  in.set("OfxImageEffectPropInteractiveRenderStatus", args.interactive);
  in.set("OfxImageEffectPropRenderQualityDraft", 0);
  // While a frame renders, the host's current time is the frame's.
  double keep = e.time;
  if (!std::isnan(time)) e.time = time;
  OfxStatus st = plugin_->run(kOfxImageEffectActionRender, e.ofx(), &in, nullptr, &e);
  e.time = keep;
  if (source) source->image = nullptr;
  if (output) output->image = nullptr;
  return st;
}

OfxStatus Instance::call(const std::string& action, PropertySet* in, PropertySet* out) {
  return plugin_->run(action, effect_->ofx(), in, out, effect_.get());
}

std::vector<std::string> Instance::released() const {
  std::lock_guard<std::mutex> lock(effect_->images_mutex);
  return effect_->released;
}

int Instance::images_held() const {
  std::lock_guard<std::mutex> lock(effect_->images_mutex);
  return static_cast<int>(effect_->held.size());
}

}  // namespace ofxhost
