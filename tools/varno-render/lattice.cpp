// The grade as a 3D table: the lattice rendered through the plug-in, the .cube text, and
// writing files so that a failure or a signal leaves nothing half-written.
#include "lattice.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

namespace varno_render {

namespace {

bool ends_with(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

std::string choice_text(ofxhost::Instance& inst, const std::string& name) {
  std::vector<std::string> opts = inst.param(name).options();
  int k = inst.get_int(name);
  std::string s = k >= 0 && k < static_cast<int>(opts.size()) ? opts[static_cast<size_t>(k)] : std::to_string(k);
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}

// Shortest fixed-point text that reads back as the same float, padded to six decimals.
char* put_number(char* p, float v) {
  if (v == 0.0f) v = 0.0f;  // no "-0"
  char* end = std::to_chars(p, p + 64, v, std::chars_format::fixed).ptr;
  char* dot = std::find(p, end, '.');
  long decimals = dot == end ? 0 : end - dot - 1;
  if (dot == end) *end++ = '.';
  for (; decimals < 6; ++decimals) *end++ = '0';
  return end;
}

// Paths being written, for the signal handler: fixed storage, nothing allocated there.
constexpr int kMaxPending = 32;
char gPendingPaths[kMaxPending][4096];
volatile std::sig_atomic_t gPendingCount = 0;

}  // namespace

std::vector<std::string> switch_off_effects(ofxhost::Instance& inst) {
  std::vector<std::string> were_on;
  for (ofxhost::Param* p : inst.params()) {
    const std::string& name = p->name();
    if (p->type() != "OfxParamTypeBoolean" || !ends_with(name, "_on")) continue;
    if (inst.get_int(name) == 0) continue;
    const std::string amount = name.substr(0, name.size() - 3);
    if (!inst.has_param(amount) || inst.get_double(amount) > 0) were_on.push_back(p->label());
    inst.set(name, 0.0);
  }
  return were_on;
}

std::vector<float> render_lattice(Session& session, int n) {
  Picture lattice;
  lattice.width = n;
  lattice.height = n * n;
  lattice.rgba.resize(static_cast<size_t>(n) * n * n * 4);
  const float step = static_cast<float>(n - 1);
  float* px = lattice.rgba.data();
  for (int k = 0; k < n; ++k)
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i, px += 4) {
        px[0] = static_cast<float>(i) / step;
        px[1] = static_cast<float>(j) / step;
        px[2] = static_cast<float>(k) / step;
        px[3] = 1.0f;
      }
  session.render_frame(lattice, 0.0, "the " + std::to_string(n) + "-point lattice");
  std::vector<float> rgb(static_cast<size_t>(n) * n * n * 3);
  for (size_t p = 0; p < rgb.size() / 3; ++p)
    for (int c = 0; c < 3; ++c) rgb[p * 3 + c] = lattice.rgba[p * 4 + c];
  return rgb;
}

std::vector<std::pair<std::string, std::string>> grade_settings(ofxhost::Instance& inst) {
  std::vector<std::pair<std::string, std::string>> s;
  s.emplace_back("formato", choice_text(inst, "formato"));
  // Only the colour-space choice of the chosen format is shown; the others do not apply.
  for (ofxhost::Param* p : inst.params())
    if (p->name().rfind("cs_", 0) == 0 && !p->secret()) s.emplace_back(p->name(), choice_text(inst, p->name()));
  s.emplace_back("look", choice_text(inst, "look"));
  for (const char* name : {"forza", "ev", "temp", "tinta"})
    s.emplace_back(name, ofxhost::format_double(inst.get_double(name)));
  return s;
}

std::string cube_text(const std::string& title, const std::vector<std::pair<std::string, std::string>>& settings,
                      int n, const std::vector<float>& rgb) {
  std::string text = "TITLE \"" + title + "\"\n";
  text += "LUT_3D_SIZE " + std::to_string(n) + "\n";
  text += "DOMAIN_MIN 0.0 0.0 0.0\nDOMAIN_MAX 1.0 1.0 1.0\n";
  text += "# Varno Color grade without optical effects: camera code values in, Rec.709 display values out\n";
  text += "# Settings (varno-render --set NAME=VALUE):\n";
  for (auto& [name, value] : settings) text += "#   " + name + "=" + value + "\n";
  text.reserve(text.size() + rgb.size() / 3 * 40);
  char line[256];
  for (size_t p = 0; p < rgb.size() / 3; ++p) {
    char* end = line;
    for (int c = 0; c < 3; ++c) {
      const float v = rgb[p * 3 + c];
      if (!std::isfinite(v)) {
        const size_t i = p % n, j = p / n % n, k = p / n / n;
        fail(kExitFailure, "the plug-in gave a value that is not finite for the code value (" +
                               ofxhost::format_double(double(i) / (n - 1)) + ", " +
                               ofxhost::format_double(double(j) / (n - 1)) + ", " +
                               ofxhost::format_double(double(k) / (n - 1)) + ")");
      }
      end = put_number(end, v);
      *end++ = c < 2 ? ' ' : '\n';
    }
    text.append(line, end);
  }
  return text;
}

std::string file_slug(const std::string& name) {
  std::string s;
  for (unsigned char c : name) {
    if (std::isalnum(c))
      s += static_cast<char>(std::tolower(c));
    else if (!s.empty() && s.back() != '-')
      s += '-';
  }
  while (!s.empty() && s.back() == '-') s.pop_back();
  return s.empty() ? "look" : s;
}

bool put_file(const std::string& path, const std::string& text, std::string& error) {
  errno = 0;
  std::FILE* f = std::fopen(path.c_str(), "wb");
  bool ok = f && std::fwrite(text.data(), 1, text.size(), f) == text.size();
  int err = errno;
  if (f && std::fclose(f) != 0 && ok) ok = false, err = errno;
  if (!ok) error = std::string(std::strerror(err ? err : EIO));
  return ok;
}

bool write_text_file(const std::string& path, const std::string& text, std::string& error) {
  if (!can_write_file(path, error)) return false;
  fs::path target(path);
  fs::path tmp = target.parent_path() / ("." + target.filename().string() + ".tmp" + std::to_string(::getpid()));
  pending_export_add(tmp.string());
  std::string why;
  bool ok = put_file(tmp.string(), text, why);
  if (ok && std::rename(tmp.c_str(), path.c_str()) != 0) ok = false, why = std::strerror(errno);
  if (!ok) {
    error = "cannot write '" + path + "': " + why;
    ::unlink(tmp.c_str());
  }
  pending_export_clear();
  return ok;
}

void pending_export_add(const std::string& path) {
  if (gPendingCount >= kMaxPending) return;
  std::snprintf(gPendingPaths[gPendingCount], sizeof gPendingPaths[0], "%s", path.c_str());
  gPendingCount = gPendingCount + 1;
}

void pending_export_clear() { gPendingCount = 0; }

void remove_pending_export() {
  for (int k = gPendingCount - 1; k >= 0; --k)
    if (::unlink(gPendingPaths[k]) != 0) ::rmdir(gPendingPaths[k]);
  gPendingCount = 0;
}

}  // namespace varno_render
