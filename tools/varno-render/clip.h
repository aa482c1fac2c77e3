// Rendering clips: a clip or an image sequence in, a clip or an image sequence out, with
// decoding, rendering and encoding overlapping on three threads joined by bounded queues.
#pragma once

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

// Checks the job against its files, then renders it with the session's instance and settings.
// Throws Failure naming the file or the option at fault. Returns the number of frames written.
long render_clip(Session& session, const ClipJob& job);

}  // namespace varno_render
