// The plug-in loaded, one instance of it, its parameters set from the command line, and
// render_frame: what every mode that renders needs.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ofx_host.h"
#include "tool.h"

namespace varno_render {

class Session {
 public:
  // Loads `bundle`, or else the bundle found in OFX_PLUGIN_PATH or /usr/OFX/Plugins, or else
  // the one built with this tool, and creates one filter instance. Throws Failure.
  explicit Session(const std::optional<std::string>& bundle);

  ofxhost::Plugin& plugin() { return *plugin_; }
  ofxhost::Instance& instance() { return *instance_; }

  // Sets NAME=VALUE pairs in the order given. What the user named wins over what a later
  // choice (a look) filled in. Every pair is checked before any is set: Failure(kExitUsage)
  // names the parameter and the value at fault.
  void set(const std::vector<std::pair<std::string, std::string>>& values);

  // Renders the picture in place at `time`. `what` names it in the error: Failure(kExitFailure)
  // with the plug-in's status.
  void render_frame(Picture& in_out, double time, const std::string& what);
  // The same on host images of equal bounds, with no copies (clips).
  void render_image(ofxhost::Image& src, ofxhost::Image& dst, double time, const std::string& what);

 private:
  std::optional<ofxhost::Plugin> plugin_;
  std::optional<ofxhost::Instance> instance_;
};

// Wording shared by --list and the messages about parameters.
std::string type_word(const ofxhost::Param& p);  // "double", "choice", ...
std::string quoted_list(const std::vector<std::string>& v);
std::string range_text(double lo, double hi);  // "0 to 1"

}  // namespace varno_render
