// Clip jobs run in this process, on one instance of the plug-in loaded once: the tool's own
// code path without a process start for every case (which the sanitizers make slow).
#pragma once

#include <string>

#include "clip.h"

namespace inproc {

inline varno_render::Session& session() {
  static varno_render::Session s{std::string(VARNO_TEST_BUNDLE)};
  return s;
}

// What the tool would print after "varno-render: " and exit with; code 0 when it succeeded.
inline varno_render::Failure render(const varno_render::ClipJob& job) {
  try {
    varno_render::ClipRun(job).run(session());
    return {0, ""};
  } catch (const varno_render::Failure& f) {
    return f;
  }
}

inline varno_render::ClipJob job(const std::string& in, const std::string& out, const std::string& codec = "") {
  varno_render::ClipJob j;
  j.input = in;
  j.output = out;
  j.codec = codec;
  return j;
}

}  // namespace inproc
