// Loading the plug-in, setting its parameters from text, rendering one picture.
#include "session.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace varno_render {

namespace {

const char* const kIdentifier = "com.varnotone.varnocolor";

std::string lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
  return s;
}

bool parse_double(const std::string& s, double& out) {
  if (s.empty() || std::isspace(static_cast<unsigned char>(s[0]))) return false;
  char* end = nullptr;
  errno = 0;
  out = std::strtod(s.c_str(), &end);
  return end && *end == '\0' && errno != ERANGE && std::isfinite(out);
}

bool parse_long(const std::string& s, long& out) {
  if (s.empty() || std::isspace(static_cast<unsigned char>(s[0]))) return false;
  char* end = nullptr;
  errno = 0;
  out = std::strtol(s.c_str(), &end, 10);
  return end && *end == '\0' && errno != ERANGE;
}

std::string find_bundle(const std::optional<std::string>& given) {
  if (given) return *given;
  std::string found = ofxhost::Host::locate(kIdentifier);
  if (!found.empty()) return found;
#ifdef VARNO_DEFAULT_BUNDLE
  return VARNO_DEFAULT_BUNDLE;
#else
  fail(kExitFailure, std::string("no bundle with ") + kIdentifier + " in OFX_PLUGIN_PATH or /usr/OFX/Plugins");
#endif
}

// VARNO_RENDER_FAULTS="kind:Clip,..." (kinds clip_handle, clip_image,
// null_data) makes the host fail those calls, to check how a failing
// render is reported and that it leaves no output behind.
void inject_faults(ofxhost::Instance& inst) {
  const char* env = std::getenv("VARNO_RENDER_FAULTS");
  if (!env) return;
  std::string list = env;
  size_t start = 0;
  while (start < list.size()) {
    size_t end = list.find(',', start);
    if (end == std::string::npos) end = list.size();
    std::string item = list.substr(start, end - start);
    size_t colon = item.find(':');
    std::string kind = item.substr(0, colon), clip = colon == std::string::npos ? "" : item.substr(colon + 1);
    if (kind == "clip_handle")
      inst.faults().clip_handle.insert(clip);
    else if (kind == "clip_image")
      inst.faults().clip_image.insert(clip);
    else if (kind == "null_data")
      inst.faults().null_data.insert(clip);
    else
      fail(kExitUsage, "VARNO_RENDER_FAULTS: unknown fault '" + item + "'");
    start = end + 1;
  }
}

struct Setting {
  ofxhost::Param* param;
  std::string text;   // as given
  double number = 0;  // numbers, booleans and choice indices
  bool is_text = false;
};

Setting resolve(ofxhost::Instance& inst, const std::string& name, const std::string& value) {
  if (!inst.has_param(name)) fail(kExitUsage, "unknown parameter '" + name + "' (see --list)");
  ofxhost::Param& p = inst.param(name);
  Setting s{&p, value};
  const std::string& t = p.type();
  if (t == "OfxParamTypeChoice") {
    std::vector<std::string> opts = p.options();
    for (size_t k = 0; k < opts.size(); ++k)
      if (opts[k] == value) return s.number = static_cast<double>(k), s;
    int found = -1, matches = 0;
    for (size_t k = 0; k < opts.size(); ++k)
      if (lower(opts[k]) == lower(value)) found = static_cast<int>(k), ++matches;
    if (matches == 1) return s.number = found, s;
    fail(kExitUsage, name + ": no option \"" + value + "\"; valid options: " + quoted_list(opts));
  }
  if (t == "OfxParamTypeBoolean") {
    std::string v = lower(value);
    if (v == "1" || v == "on" || v == "true" || v == "yes") return s.number = 1, s;
    if (v == "0" || v == "off" || v == "false" || v == "no") return s.number = 0, s;
    fail(kExitUsage, name + "=" + value + " is not a boolean (use 0/1, on/off or true/false)");
  }
  if (t == "OfxParamTypeDouble" || t == "OfxParamTypeInteger") {
    double v = 0;
    long l = 0;
    bool ok = t == "OfxParamTypeDouble" ? parse_double(value, v) : (parse_long(value, l) && (v = l, true));
    if (!ok)
      fail(kExitUsage, name + "=" + value + " is not " + (t == "OfxParamTypeDouble" ? "a number" : "an integer"));
    if (v < p.min() || v > p.max())
      fail(kExitUsage, name + "=" + value + " is out of range (" + range_text(p.min(), p.max()) + ")");
    return s.number = v, s;
  }
  if (p.is_string() && t != "OfxParamTypeStrChoice") return s.is_text = true, s;
  fail(kExitUsage, "parameter '" + name + "' (" + type_word(p) + ") cannot be set from the command line");
}

bool holds(ofxhost::Instance& inst, const Setting& s) {
  ofxhost::Param& p = *s.param;
  if (s.is_text) return p.get_string() == s.text;
  return inst.get_double(p.name()) == s.number;
}

void apply(ofxhost::Instance& inst, const Setting& s) {
  if (s.is_text)
    inst.set(s.param->name(), s.text);
  else
    inst.set(s.param->name(), s.number);
}

// Files store the top row first; OFX images have y going up.
void to_image(const Picture& pic, ofxhost::Image& img) {
  for (int r = 0; r < pic.height; ++r)
    std::memcpy(img.pixel(0, pic.height - 1 - r), &pic.rgba[static_cast<size_t>(r) * pic.width * 4],
                static_cast<size_t>(pic.width) * 16);
}

void from_image(const ofxhost::Image& img, Picture& pic) {
  for (int r = 0; r < pic.height; ++r)
    std::memcpy(&pic.rgba[static_cast<size_t>(r) * pic.width * 4], img.pixel(0, pic.height - 1 - r),
                static_cast<size_t>(pic.width) * 16);
}

}  // namespace

std::string type_word(const ofxhost::Param& p) {
  std::string t = p.type();
  if (t.rfind("OfxParamType", 0) == 0) t = t.substr(12);
  return lower(t);
}

std::string quoted_list(const std::vector<std::string>& v) {
  std::string s;
  for (auto& x : v) s += (s.empty() ? "\"" : ", \"") + x + "\"";
  return s;
}

std::string range_text(double lo, double hi) {
  return ofxhost::format_double(lo) + " to " + ofxhost::format_double(hi);
}

Session::Session(const std::optional<std::string>& bundle) {
  ofxhost::HostOptions host_options;
  host_options.record_calls = false;
  try {
    plugin_.emplace(ofxhost::Host::load(find_bundle(bundle), host_options));
  } catch (const ofxhost::Error& e) {
    fail(kExitFailure, std::string("cannot load the plug-in: ") + e.what());
  }
  instance_.emplace(plugin_->create_instance(kOfxImageEffectContextFilter));
  OfxStatus st = instance_->create_status();
  if (st != kOfxStatOK && st != kOfxStatReplyDefault)
    fail(kExitFailure, std::string("the plug-in could not create an instance (") + ofxhost::status_name(st) + ")");
  inject_faults(*instance_);
}

void Session::set(const std::vector<std::pair<std::string, std::string>>& values) {
  std::vector<Setting> settings;
  for (auto& [name, value] : values) settings.push_back(resolve(*instance_, name, value));
  // In the order given; then what the user named explicitly wins over what
  // a later choice (a look) filled in.
  for (auto& s : settings) apply(*instance_, s);
  for (size_t k = 0; k < settings.size(); ++k) {
    bool last_of_name = true;
    for (size_t j = k + 1; j < settings.size(); ++j)
      if (settings[j].param == settings[k].param) last_of_name = false;
    if (last_of_name && !holds(*instance_, settings[k])) apply(*instance_, settings[k]);
  }
}

void Session::render_frame(Picture& in_out, double time, const std::string& what) {
  OfxRectI bounds{0, 0, in_out.width, in_out.height};
  ofxhost::Image src(bounds), dst(bounds);
  to_image(in_out, src);
  render_image(src, dst, time, what);
  from_image(dst, in_out);
}

void Session::render_image(ofxhost::Image& src, ofxhost::Image& dst, double time, const std::string& what) {
  OfxStatus st = instance_->render(time, src.bounds(), src, dst);
  if (st != kOfxStatOK)
    fail(kExitFailure, "the plug-in failed to render " + what + " at time " + ofxhost::format_double(time) + ": " +
                           ofxhost::status_name(st) + " (" + std::to_string(st) + ")");
}

}  // namespace varno_render
