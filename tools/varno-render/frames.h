// Frame numbers and the file names of a frame sequence.
#pragma once

#include <string>
#include <vector>

#include "options.h"

namespace varno_render {

// --frames: "A-B" with A <= B, a single frame "A", a step "A-BxN" (every Nth frame from A),
// or a comma list of these ("1-10,20,30-40x2"); numbers may be negative ("-5--1").
// Throws Failure(kExitUsage) quoting the text when it is malformed.
std::vector<int> parse_frames(const std::string& text);

// A file name with a frame number in it: the first run of # (one digit per #, zero-padded)
// or printf's %d / %0Nd. Names without either are not patterns.
class FramePattern {
 public:
  explicit FramePattern(const std::string& name);
  bool valid() const { return valid_; }
  bool printf_style() const { return printf_style_; }  // %d rather than #
  // The name of one frame; negative frames keep their sign inside the width ("-005").
  std::string name(int frame) const;

 private:
  std::string format_;  // one printf conversion, every other % doubled
  bool valid_ = false;
  bool printf_style_ = false;
};

// Whether a render may leave this output alone under --skip-existing: the file is there.
// Outputs are written whole and renamed into place, so one that exists is complete.
bool output_exists(const std::string& path);

// One frame of a run: what it reads and writes, at what time, and whether it is skipped.
struct FrameJob {
  int frame = 0;      // its number (0 for a still)
  double time = 0;    // the plug-in's time: the frame number, or --time for a still
  std::string input;  // empty for the demo chart
  std::string output;
  bool skip = false;  // --skip-existing and the output exists
};

// The frames a still or sequence command line names, in order, with their files: the one
// place where --frames, the name patterns and --skip-existing meet. Checks the command
// line's shape (INPUT and OUTPUT, a pattern for --frames): Failure(kExitUsage) otherwise.
std::vector<FrameJob> plan_frames(const Options& o);

}  // namespace varno_render
