// Rendering clips: a clip or an image sequence in, a clip or an image sequence out, with
// decoding, rendering and encoding overlapping on three threads joined by bounded queues.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "session.h"
#include "video.h"

namespace varno_render {

struct ClipJob {
  std::string input;   // a clip, or a frame pattern (# or %04d)
  std::string output;  // likewise
  // Frames to render: clip indices from 0, or the sequence's frame numbers. Absent: the whole
  // clip (a sequence input needs them).
  std::optional<std::vector<int>> frames;
  std::string codec;  // "" for the output's default
  Rate rate;          // of a clip made from a sequence
  bool progress = false;
};

// A job checked against its files: the input open, the output's codec, container and folder
// checked, nothing written yet. Throws Failure naming the file or the option at fault.
class ClipRun {
 public:
  explicit ClipRun(const ClipJob& job);
  ~ClipRun();
  // Renders it with the session's instance and settings; the number of frames written.
  long run(Session& session);

 private:
  struct Parts;
  std::unique_ptr<Parts> p_;
};

long render_clip(Session& session, const ClipJob& job);  // ClipRun(job).run(session)

}  // namespace varno_render
