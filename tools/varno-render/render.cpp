// Stills, the demo chart and frame sequences: read, render, write, with progress on stderr.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "frames.h"
#include "modes.h"
#include "session.h"

namespace varno_render {

int run_render(const Options& o) {
  // The shape of the command line, before anything is loaded.
  if (o.files.size() != (o.demo ? 1u : 2u))
    fail(kExitUsage, std::string(o.demo ? "--demo takes only OUTPUT" : "expected INPUT and OUTPUT") + " (see --help)");
  const std::string input = o.demo ? std::string() : o.files[0], output = o.files.back();
  const FramePattern in_pattern(input), out_pattern(output);
  const bool sequence = o.frames.has_value();
  std::vector<int> frames{0};
  if (sequence) {
    frames = parse_frames(*o.frames);
    if (!out_pattern.valid()) fail(kExitUsage, "--frames needs a frame pattern (# or %04d) in OUTPUT");
  } else if (out_pattern.printf_style()) {
    fail(kExitUsage, "OUTPUT '" + output + "' names a frame sequence: give --frames A-B");
  }

  Session session(o.plugin);
  std::vector<std::pair<std::string, std::string>> sets = o.sets;
  // The chart is footage as an S-Log3 camera would record it: read it as such
  // unless the user names another format.
  if (o.demo && std::none_of(sets.begin(), sets.end(), [](const auto& kv) { return kv.first == "formato"; }))
    sets.insert(sets.begin(), {"formato", "Sony S-Log3"});
  session.set(sets);
  std::string error;
  if (!can_write(sequence ? out_pattern.name(frames.front()) : output, error)) fail(kExitFailure, error);

  const bool progress = !o.quiet && (sequence || isatty(STDERR_FILENO));
  for (size_t k = 0; k < frames.size(); ++k) {
    auto start = std::chrono::steady_clock::now();
    const int frame = frames[k];
    const double time = sequence ? static_cast<double>(frame) : o.time.value_or(0.0);
    const std::string in_name = sequence && in_pattern.valid() ? in_pattern.name(frame) : input;
    const std::string out_name = sequence ? out_pattern.name(frame) : output;
    Picture pic;
    if (o.demo)
      pic = demo_chart(o.demo_width, o.demo_height);
    else if (!read_picture(in_name, pic, error))
      fail(kExitFailure, error);
    if (progress && !sequence)
      std::fprintf(stderr, "varno-render: rendering %s (%dx%d)...\n", o.demo ? "the demo chart" : in_name.c_str(),
                   pic.width, pic.height);

    session.render_frame(pic, time, o.demo ? std::string("the demo chart") : "'" + in_name + "'");
    if (!write_picture(out_name, pic, error)) fail(kExitFailure, error);

    double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (progress && sequence)
      std::fprintf(stderr, "varno-render: frame %d [%zu/%zu] -> %s (%.2f s)\n", frame, k + 1, frames.size(),
                   out_name.c_str(), secs);
    else if (progress)
      std::fprintf(stderr, "varno-render: wrote %s (%.2f s)\n", out_name.c_str(), secs);
  }
  return 0;
}

}  // namespace varno_render
