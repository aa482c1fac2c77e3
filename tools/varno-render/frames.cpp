// Frame ranges and patterns. OpenImageIO expands the ranges and formats the names; what is
// checked here is only what its helpers do not (see each function).
#include "frames.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/strutil.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>

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

// An optional '-' and 1 to 9 digits, read at p and stepped over.
bool read_number(const char*& p, long long& out) {
  const char* start = p;
  if (*p == '-') ++p;
  const char* digits = p;
  while (std::isdigit(static_cast<unsigned char>(*p))) ++p;
  if (p == digits || p - digits > 9) return false;
  out = std::strtoll(start, nullptr, 10);
  return true;
}

}  // namespace

std::vector<int> parse_frames(const std::string& text) {
  // enumerate_sequence reads what it can of malformed text ("1.5-3" gives frame 1, "9-1" counts
  // down), so the form is checked here first.
  const std::string what = "--frames '" + text + "': ";
  long long count = 0;
  for (const std::string& piece : OIIO::Strutil::splits(text, ",")) {
    const char* p = piece.c_str();
    long long first = 0, last = 0, step = 1;
    bool ok = read_number(p, first);
    last = first;
    if (ok && *p == '-') {
      ok = read_number(++p, last);
      if (ok && *p == 'x') ok = read_number(++p, step) && step >= 1;
    }
    if (!ok || *p != '\0') fail(kExitUsage, what + "expected A-B, A-BxSTEP or a comma list of them");
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
  for (size_t k = 0; k < name.size(); ++k) {
    size_t end = 0;
    std::string conversion;
    if (name[k] == '#') {
      end = std::min(name.find_first_not_of('#', k), name.size());
      conversion = "%0" + std::to_string(end - k) + "d";
    } else if (name[k] == '%') {
      size_t d = name.find_first_not_of("0123456789", k + 1);
      if (d == std::string::npos || name[d] != 'd') continue;
      long width = std::strtol(name.c_str() + k + 1, nullptr, 10);  // 0 for "%d"
      if (width > 16) continue;
      conversion = width ? "%0" + std::to_string(width) + "d" : "%d";
      end = d + 1;
      printf_style_ = true;
    } else {
      continue;
    }
    format_ = doubled_percent(name.substr(0, k)) + conversion + doubled_percent(name.substr(end));
    valid_ = true;
    return;
  }
}

std::string FramePattern::name(int frame) const {
  std::vector<std::string> names;
  OIIO::Filesystem::enumerate_file_sequence(format_, {frame}, names);
  return names.at(0);
}

bool output_exists(const std::string& path) {
  std::error_code ec;
  return std::filesystem::exists(path, ec) && !std::filesystem::is_directory(path, ec);
}

std::vector<FrameJob> plan_frames(const Options& o) {
  if (o.files.size() != (o.demo ? 1u : 2u))
    fail(kExitUsage, std::string(o.demo ? "--demo takes only OUTPUT" : "expected INPUT and OUTPUT") + " (see --help)");
  const std::string input = o.demo ? std::string() : o.files[0], output = o.files.back();
  const FramePattern in_pattern(input), out_pattern(output);
  std::vector<FrameJob> jobs;
  if (!o.frames) {
    if (out_pattern.printf_style()) fail(kExitUsage, "OUTPUT '" + output + "' names a frame sequence: give --frames A-B");
    jobs.push_back({0, o.time.value_or(0.0), input, output, false});
  } else {
    std::vector<int> frames = parse_frames(*o.frames);
    if (!out_pattern.valid()) fail(kExitUsage, "--frames needs a frame pattern (# or %04d) in OUTPUT");
    for (int f : frames)
      jobs.push_back({f, static_cast<double>(f), in_pattern.valid() ? in_pattern.name(f) : input, out_pattern.name(f),
                      false});
  }
  if (o.skip_existing)
    for (FrameJob& j : jobs) j.skip = output_exists(j.output);
  return jobs;
}

}  // namespace varno_render
