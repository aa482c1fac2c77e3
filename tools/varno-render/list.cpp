// --list: every parameter with its label, type, default, range and options.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "modes.h"
#include "session.h"

namespace varno_render {

namespace {

bool finite_range(double lo, double hi) { return std::fabs(lo) < 1e300 && std::fabs(hi) < 1e300; }

}  // namespace

int run_list(const Options& o) {
  Session session(o.plugin);
  ofxhost::Plugin& plugin = session.plugin();
  std::vector<ofxhost::Param*> params = session.instance().params();
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
  return 0;
}

}  // namespace varno_render
