// Frame numbers and the file names of a frame sequence.
#pragma once

#include <string>
#include <vector>

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

}  // namespace varno_render
