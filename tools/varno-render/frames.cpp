// Frame ranges and patterns. OpenImageIO expands the ranges and formats the names; what is
// checked here is only what its helpers do not (see each function).
#include "frames.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/strutil.h>

#include <regex>

#include "tool.h"

namespace varno_render {

namespace {

// A bound on the frames one run may name, so a typo cannot allocate gigabytes of numbers.
constexpr long long kMaxFrames = 10'000'000;

std::string doubled_percent(const std::string& s) {
  std::string out;
  for (char c : s) out += c == '%' ? "%%" : std::string(1, c);
  return out;
}

}  // namespace

std::vector<int> parse_frames(const std::string& text) {
  // enumerate_sequence reads what it can of malformed text ("1.5-3" gives frame 1, "9-1" counts
  // down), so the form is checked here first.
  static const std::regex item(R"((-?\d{1,9})(?:-(-?\d{1,9})(?:x([1-9]\d{0,8}))?)?)");
  const std::string what = "--frames '" + text + "': ";
  long long count = 0;
  for (const std::string& piece : OIIO::Strutil::splits(text, ",")) {
    std::smatch m;
    if (!std::regex_match(piece, m, item)) fail(kExitUsage, what + "expected A-B, A-BxSTEP or a comma list of them");
    long long first = std::stoll(m[1]), last = m[2].matched ? std::stoll(m[2]) : first;
    long long step = m[3].matched ? std::stoll(m[3]) : 1;
    if (last < first) fail(kExitUsage, what + "expected A-B with A <= B");
    count += (last - first) / step + 1;
    if (count > kMaxFrames) fail(kExitUsage, what + "more than " + std::to_string(kMaxFrames) + " frames");
  }
  std::vector<int> numbers;
  if (!OIIO::Filesystem::enumerate_sequence(text, numbers) || numbers.empty())
    fail(kExitUsage, what + "expected A-B, A-BxSTEP or a comma list of them");
  return numbers;
}

FramePattern::FramePattern(const std::string& name) {
  // OpenImageIO's parse_pattern reads # as four digits, @ as one, and digits just before the
  // token as a frame range ("take12####"), none of which these names mean; so the token is
  // found here and OpenImageIO formats the names.
  static const std::regex token(R"(#+|%0*([1-9]\d?)?d)");
  std::smatch m;
  if (!std::regex_search(name, m, token)) return;
  valid_ = true;
  printf_style_ = m.str(0)[0] == '%';
  const std::string width = printf_style_ ? m.str(1) : std::to_string(m.length(0));
  const std::string conversion = width.empty() ? "%d" : "%0" + width + "d";
  format_ = doubled_percent(m.prefix()) + conversion + doubled_percent(m.suffix());
}

std::string FramePattern::name(int frame) const {
  std::vector<std::string> names;
  OIIO::Filesystem::enumerate_file_sequence(format_, {frame}, names);
  return names.at(0);
}

}  // namespace varno_render
