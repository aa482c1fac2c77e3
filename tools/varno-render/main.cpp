// varno-render: renders images through the Varno Color plug-in with our own OFX host.
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>

#include "ofx_host.h"
#include "tool.h"

using namespace varno_render;

namespace {

const char* const kIdentifier = "com.varnotone.varnocolor";

// 2: the command line is wrong; 1: a file or the plug-in failed.
constexpr int kExitUsage = 2;
constexpr int kExitFailure = 1;

struct Failure {
  int code;
  std::string message;
};

[[noreturn]] void fail(int code, const std::string& message) { throw Failure{code, message}; }

void usage(FILE* out) {
  std::fprintf(out,
               "usage: varno-render [options] INPUT OUTPUT\n"
               "       varno-render [options] --demo OUTPUT\n"
               "       varno-render [--plugin PATH] --list\n"
               "\n"
               "Renders one frame (or a sequence) through the Varno Color plug-in.\n"
               "Reads EXR, DPX, TIFF, PNG and JPEG; writes the format OUTPUT's extension names\n"
               "(EXR as float, TIFF, DPX and PNG as 16-bit, JPEG as 8-bit).\n"
               "\n"
               "options:\n"
               "  --set NAME=VALUE  set a parameter (repeatable). Choices take their option text\n"
               "                    (--set formato=\"Sony S-Log3\"), booleans 0/1/on/off/true/false,\n"
               "                    numbers a decimal value within the parameter's range. Values\n"
               "                    given here win over those a look fills in.\n"
               "  --list            list every parameter with its label, type, default, range and\n"
               "                    options, and exit\n"
               "  --time T          frame time (default 0)\n"
               "  --frames A-B      render frames A to B; INPUT and OUTPUT name frames with # (one\n"
               "                    digit per #, zero-padded) or a printf pattern such as %%04d, and\n"
               "                    each frame renders at its own number as time\n"
               "  --demo            render a built-in test chart instead of INPUT; the chart is\n"
               "                    S-Log3 / S-Gamut3.Cine footage, so formato defaults to\n"
               "                    \"Sony S-Log3\" unless --set names another\n"
               "  --size WxH        size of the demo chart (default 1920x1080)\n"
               "  --plugin PATH     the plug-in bundle (default: found in OFX_PLUGIN_PATH or\n"
               "                    /usr/OFX/Plugins, else the one built with this tool)\n"
               "  --quiet           no progress on stderr\n"
               "  --help            this text\n"
               "\n"
               "Exit status: 0 done, 1 a file or the plug-in failed, 2 a wrong command line.\n"
               "A failed run leaves OUTPUT as it was.\n");
}

struct Options {
  std::vector<std::pair<std::string, std::string>> sets;
  bool list = false, demo = false, help = false, quiet = false;
  std::optional<std::string> time, frames, size, plugin;
  std::vector<std::string> files;
};

Options parse_args(int argc, char** argv) {
  Options o;
  bool only_files = false;
  for (int k = 1; k < argc; ++k) {
    std::string a = argv[k];
    if (only_files || a.size() < 2 || a[0] != '-') {
      o.files.push_back(a);
      continue;
    }
    if (a == "--") {
      only_files = true;
      continue;
    }
    std::string name = a, value;
    bool inline_value = false;
    size_t eq = a.find('=');
    if (a.rfind("--", 0) == 0 && eq != std::string::npos) {
      name = a.substr(0, eq);
      value = a.substr(eq + 1);
      inline_value = true;
    }
    auto take = [&]() -> std::string {
      if (inline_value) return value;
      if (k + 1 >= argc) fail(kExitUsage, name + " needs a value");
      return argv[++k];
    };
    if (name == "--help" || name == "-h") {
      o.help = true;
    } else if (name == "--list") {
      o.list = true;
    } else if (name == "--demo") {
      o.demo = true;
    } else if (name == "--quiet" || name == "-q") {
      o.quiet = true;
    } else if (name == "--set") {
      std::string s = take();
      size_t at = s.find('=');
      if (at == std::string::npos || at == 0) fail(kExitUsage, "--set '" + s + "': expected NAME=VALUE");
      o.sets.emplace_back(s.substr(0, at), s.substr(at + 1));
    } else if (name == "--time") {
      o.time = take();
    } else if (name == "--frames") {
      o.frames = take();
    } else if (name == "--size") {
      o.size = take();
    } else if (name == "--plugin") {
      o.plugin = take();
    } else {
      fail(kExitUsage, "unknown option " + name + " (see --help)");
    }
  }
  return o;
}

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

// ---------------------------------------------------------------------------
// Frame patterns: a run of # or a printf %d / %0Nd.

struct Pattern {
  std::string before, after;
  int width = 0;
  bool valid = false;
};

Pattern find_pattern(const std::string& s) {
  Pattern p;
  for (size_t k = 0; k < s.size(); ++k) {
    if (s[k] == '%') {
      size_t j = k + 1;
      int width = 0;
      while (j < s.size() && std::isdigit(static_cast<unsigned char>(s[j]))) width = width * 10 + (s[j++] - '0');
      if (j < s.size() && s[j] == 'd' && width <= 16) {
        p = {s.substr(0, k), s.substr(j + 1), width, true};
        return p;
      }
    }
    if (s[k] == '#') {
      size_t j = k;
      while (j < s.size() && s[j] == '#') ++j;
      p = {s.substr(0, k), s.substr(j), static_cast<int>(j - k), true};
      return p;
    }
  }
  return p;
}

std::string frame_name(const Pattern& p, long frame) {
  std::string digits = std::to_string(frame < 0 ? -frame : frame);
  int pad = p.width - static_cast<int>(digits.size()) - (frame < 0 ? 1 : 0);
  if (pad > 0) digits.insert(0, static_cast<size_t>(pad), '0');
  return p.before + (frame < 0 ? "-" : "") + digits + p.after;
}

// ---------------------------------------------------------------------------
// Parameters.

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

bool finite_range(double lo, double hi) { return std::fabs(lo) < 1e300 && std::fabs(hi) < 1e300; }

void list_params(ofxhost::Plugin& plugin, ofxhost::Instance& inst) {
  std::vector<ofxhost::Param*> params = inst.params();
  size_t wide = 0;
  for (auto* p : params) wide = std::max(wide, p->name().size());
  std::string label;
  try {
    label = plugin.descriptor().get_string("OfxPropLabel");
  } catch (const ofxhost::Error&) {
  }
  const OfxPlugin& rec = plugin.record();
  std::printf("%s (%s %u.%u): %zu parameters\n", label.empty() ? rec.pluginIdentifier : label.c_str(),
              rec.pluginIdentifier, rec.pluginVersionMajor, rec.pluginVersionMinor, params.size());
  for (auto* p : params) {
    std::string line = p->name() + std::string(wide + 2 - p->name().size(), ' ');
    std::string type = type_word(*p);
    line += type + std::string(type.size() < 9 ? 9 - type.size() : 1, ' ') + "\"" + p->label() + "\"";
    std::vector<std::string> opts = p->options();
    if (p->type() == "OfxParamTypeChoice") {
      int d = p->default_int();
      line += "  default \"" + (d >= 0 && d < static_cast<int>(opts.size()) ? opts[d] : std::to_string(d)) + "\"";
    } else if (p->type() == "OfxParamTypeBoolean") {
      line += std::string("  default ") + (p->default_int() ? "on" : "off");
    } else if (p->is_double() || p->is_int()) {
      line += "  default " + ofxhost::format_double(p->default_double());
      if (finite_range(p->min(), p->max())) line += "  range " + range_text(p->min(), p->max());
      if ((p->display_min() != p->min() || p->display_max() != p->max()) &&
          finite_range(p->display_min(), p->display_max()))
        line += "  display " + range_text(p->display_min(), p->display_max());
    } else if (p->is_string()) {
      auto d = p->props().strings("OfxParamPropDefault");
      line += "  default \"" + (d.empty() ? std::string() : d[0]) + "\"";
    }
    std::printf("%s\n", line.c_str());
    if (!opts.empty()) std::printf("%*s options: %s\n", static_cast<int>(wide + 1), "", quoted_list(opts).c_str());
    if (!p->hint().empty()) std::printf("%*s hint: %s\n", static_cast<int>(wide + 1), "", p->hint().c_str());
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

// ---------------------------------------------------------------------------
// Rendering.

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

void on_signal(int sig) {
  remove_pending_output();
  std::signal(sig, SIG_DFL);
  std::raise(sig);
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

std::string find_bundle(const Options& o) {
  if (o.plugin) return *o.plugin;
  std::string found = ofxhost::Host::locate(kIdentifier);
  if (!found.empty()) return found;
#ifdef VARNO_DEFAULT_BUNDLE
  return VARNO_DEFAULT_BUNDLE;
#else
  fail(kExitFailure, std::string("no bundle with ") + kIdentifier + " in OFX_PLUGIN_PATH or /usr/OFX/Plugins");
#endif
}

int run(int argc, char** argv) {
  Options o = parse_args(argc, argv);
  if (o.help) {
    usage(stdout);
    return 0;
  }

  // The shape of the command line, before anything is loaded.
  std::string input, output;
  if (!o.list) {
    size_t want = o.demo ? 1 : 2;
    if (o.files.size() != want)
      fail(kExitUsage, std::string(o.demo ? "--demo takes only OUTPUT" : "expected INPUT and OUTPUT") +
                           " (see --help)");
    input = o.demo ? std::string() : o.files[0];
    output = o.files.back();
  }
  double time = 0;
  if (o.time && !parse_double(*o.time, time)) fail(kExitUsage, "--time '" + *o.time + "' is not a number");
  int demo_w = 1920, demo_h = 1080;
  if (o.size) {
    if (!o.demo) fail(kExitUsage, "--size is for --demo only");
    char x = 0;
    char rest = 0;
    if (std::sscanf(o.size->c_str(), "%d%c%d%c", &demo_w, &x, &demo_h, &rest) != 3 || (x != 'x' && x != 'X') ||
        demo_w < 1 || demo_h < 1 || demo_w > 16384 || demo_h > 16384)
      fail(kExitUsage, "--size '" + *o.size + "': expected WIDTHxHEIGHT, each 1 to 16384");
  }
  long first = 0, last = 0;
  Pattern in_pat = find_pattern(input), out_pat = find_pattern(output);
  bool sequence = o.frames.has_value();
  if (sequence && !o.list) {
    const std::string& f = *o.frames;
    size_t dash = f.find('-', 1);
    bool ok = dash == std::string::npos ? parse_long(f, first) && (last = first, true)
                                        : parse_long(f.substr(0, dash), first) && parse_long(f.substr(dash + 1), last);
    if (!ok || last < first) fail(kExitUsage, "--frames '" + f + "': expected A-B with A <= B");
    if (!out_pat.valid) fail(kExitUsage, "--frames needs a frame pattern (# or %04d) in OUTPUT");
    if (o.time) fail(kExitUsage, "--time and --frames do not go together: each frame renders at its number");
  } else if (!o.list && out_pat.valid && output.find('%') != std::string::npos) {
    fail(kExitUsage, "OUTPUT '" + output + "' names a frame sequence: give --frames A-B");
  }

  // The plug-in and one instance of it.
  std::string bundle = find_bundle(o);
  ofxhost::HostOptions host_options;
  host_options.record_calls = false;
  std::optional<ofxhost::Plugin> plugin;
  try {
    plugin.emplace(ofxhost::Host::load(bundle, host_options));
  } catch (const ofxhost::Error& e) {
    fail(kExitFailure, std::string("cannot load the plug-in: ") + e.what());
  }
  ofxhost::Instance inst = plugin->create_instance(kOfxImageEffectContextFilter);
  if (inst.create_status() != kOfxStatOK && inst.create_status() != kOfxStatReplyDefault)
    fail(kExitFailure, std::string("the plug-in could not create an instance (") +
                           ofxhost::status_name(inst.create_status()) + ")");
  if (o.list) {
    list_params(*plugin, inst);
    return 0;
  }
  inject_faults(inst);

  std::vector<Setting> settings;
  // The chart is footage as an S-Log3 camera would record it: read it as such
  // unless the user names another format.
  if (o.demo && std::none_of(o.sets.begin(), o.sets.end(), [](const auto& kv) { return kv.first == "formato"; }))
    settings.push_back(resolve(inst, "formato", "Sony S-Log3"));
  for (auto& [name, value] : o.sets) settings.push_back(resolve(inst, name, value));
  std::string error;
  std::string first_output = sequence ? frame_name(out_pat, first) : output;
  if (!can_write(first_output, error)) fail(kExitFailure, error);

  // In the order given; then what the user named explicitly wins over what
  // a later choice (a look) filled in.
  for (auto& s : settings) apply(inst, s);
  for (size_t k = 0; k < settings.size(); ++k) {
    bool last_of_name = true;
    for (size_t j = k + 1; j < settings.size(); ++j)
      if (settings[j].param == settings[k].param) last_of_name = false;
    if (last_of_name && !holds(inst, settings[k])) apply(inst, settings[k]);
  }

  bool progress = !o.quiet && (sequence || isatty(STDERR_FILENO));
  long count = last - first + 1;
  for (long frame = first; frame <= last; ++frame) {
    auto start = std::chrono::steady_clock::now();
    double t = sequence ? static_cast<double>(frame) : time;
    std::string in_name = sequence && in_pat.valid ? frame_name(in_pat, frame) : input;
    std::string out_name = sequence ? frame_name(out_pat, frame) : output;
    Picture pic;
    if (o.demo)
      pic = demo_chart(demo_w, demo_h);
    else if (!read_picture(in_name, pic, error))
      fail(kExitFailure, error);
    if (progress && !sequence)
      std::fprintf(stderr, "varno-render: rendering %s (%dx%d)...\n", o.demo ? "the demo chart" : in_name.c_str(),
                   pic.width, pic.height);

    OfxRectI bounds{0, 0, pic.width, pic.height};
    ofxhost::Image src(bounds), dst(bounds);
    to_image(pic, src);
    OfxStatus st = inst.render(t, bounds, src, dst);
    if (st != kOfxStatOK)
      fail(kExitFailure, "the plug-in failed to render " + (o.demo ? std::string("the demo chart") : "'" + in_name + "'") +
                             " at time " + ofxhost::format_double(t) + ": " + ofxhost::status_name(st) + " (" +
                             std::to_string(st) + ")");
    from_image(dst, pic);
    if (!write_picture(out_name, pic, error)) fail(kExitFailure, error);

    double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (progress && sequence)
      std::fprintf(stderr, "varno-render: frame %ld [%ld/%ld] -> %s (%.2f s)\n", frame, frame - first + 1, count,
                   out_name.c_str(), secs);
    else if (progress)
      std::fprintf(stderr, "varno-render: wrote %s (%.2f s)\n", out_name.c_str(), secs);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
#if defined(__SANITIZE_THREAD__)
  // OpenImageIO's own worker threads are not instrumented and read as races.
  OIIO::attribute("threads", 1);
  OIIO::attribute("exr_threads", -1);
#endif
  std::signal(SIGINT, on_signal);
  std::signal(SIGTERM, on_signal);
  std::signal(SIGHUP, on_signal);
  try {
    return run(argc, argv);
  } catch (const Failure& f) {
    std::fprintf(stderr, "varno-render: %s\n", f.message.c_str());
    return f.code;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "varno-render: %s\n", e.what());
    return kExitFailure;
  }
}
