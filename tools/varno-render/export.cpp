// --export-cube and --export-ocio: the grade as a .cube file, and the twelve looks as an
// OpenColorIO config whose views are such files.
#include <stdio.h>  // renameat2
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "lattice.h"
#include "modes.h"

namespace fs = std::filesystem;

namespace varno_render {

namespace {

using Sets = std::vector<std::pair<std::string, std::string>>;

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string joined(const std::vector<std::string>& v) {
  std::string s;
  for (auto& x : v) s += (s.empty() ? "" : ", ") + x;
  return s;
}

void notice_effects_left_out(const std::vector<std::string>& labels) {
  if (!labels.empty())
    std::fprintf(stderr, "varno-render: the optical effects switched on (%s) are left out: a LUT holds the grade alone\n",
                 joined(labels).c_str());
}

std::string value_of(const Sets& settings, const std::string& name) {
  for (auto& [n, v] : settings)
    if (n == name) return v;
  return "";
}

// --- The config's folder ---------------------------------------------------------------

// True for a folder that is empty or holds what an export writes and nothing else, which
// may then be replaced whole; anything else in it is the user's and stops the export.
bool holds_only_an_export(const fs::path& dir) {
  std::error_code ec;
  for (const fs::directory_entry& e : fs::directory_iterator(dir, ec)) {
    const std::string name = e.path().filename().string();
    if (name == "config.ocio" && e.is_regular_file(ec)) continue;
    if (name != "luts" || !e.is_directory(ec)) return false;
    for (const fs::directory_entry& f : fs::directory_iterator(e.path(), ec))
      if (!f.is_regular_file(ec) || f.path().extension() != ".cube") return false;
    if (ec) return false;
  }
  return !ec;
}

fs::path checked_config_folder(std::string name) {
  while (name.size() > 1 && name.back() == '/') name.pop_back();
  const fs::path dir(name);
  const std::string base = dir.filename().string();
  if (base.empty() || base == "." || base == ".." || name == "/")
    fail(kExitFailure, "cannot write '" + name + "': name a folder of its own for the config");
  fs::path parent = dir.parent_path();
  if (parent.empty()) parent = ".";
  std::error_code ec;
  if (!fs::is_directory(parent, ec)) fail(kExitFailure, "cannot write '" + name + "': no folder " + parent.string());
  if (::access(parent.c_str(), W_OK) != 0)
    fail(kExitFailure, "cannot write '" + name + "': the folder " + parent.string() + " is not writable");
  if (fs::exists(fs::symlink_status(dir, ec))) {
    if (!fs::is_directory(fs::symlink_status(dir, ec)))
      fail(kExitFailure, "cannot write '" + name + "': it is not a folder");
    if (!holds_only_an_export(dir))
      fail(kExitFailure, "cannot write '" + name +
                             "': it holds files of its own (only an empty folder or an earlier export is replaced)");
  }
  return dir;
}

// The folder being built beside the destination, removed unless it was put in place.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const fs::path& dest)
      : path_(dest.parent_path() / ("." + dest.filename().string() + ".tmp" + std::to_string(::getpid()))) {
    std::error_code ec;
    fs::remove_all(path_, ec);
    pending_export_add(path_.string());
    if (!fs::create_directory(path_, ec))
      fail(kExitFailure, "cannot write '" + dest.string() + "': cannot make a folder in " +
                             (dest.has_parent_path() ? dest.parent_path().string() : std::string(".")) +
                             (ec ? " (" + ec.message() + ")" : std::string()));
  }
  ~TemporaryFolder() {
    pending_export_clear();
    std::error_code ec;
    if (!kept_) fs::remove_all(path_, ec);
  }
  const fs::path& path() const { return path_; }

  // Puts the folder at `dest`, swapping it with what is there so that `dest` is never
  // missing, then removes the earlier folder.
  void put_at(const fs::path& dest) {
    std::error_code ec;
    const bool replacing = fs::exists(fs::symlink_status(dest, ec));
    int done = replacing ? ::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, dest.c_str(), RENAME_EXCHANGE)
                         : std::rename(path_.c_str(), dest.c_str());
    if (done != 0 && replacing && (errno == EINVAL || errno == ENOSYS)) {
      // A file system without the exchange: move the old folder aside first.
      const fs::path aside = path_.string() + ".old";
      if (std::rename(dest.c_str(), aside.c_str()) == 0) {
        done = std::rename(path_.c_str(), dest.c_str());
        if (done != 0) {
          int err = errno;
          std::rename(aside.c_str(), dest.c_str());
          errno = err;
        } else {
          std::rename(aside.c_str(), path_.c_str());
        }
      }
    }
    if (done != 0) fail(kExitFailure, "cannot write '" + dest.string() + "': " + std::strerror(errno));
    pending_export_clear();
    // What now sits at the temporary name is the export this one replaced, if any.
    if (replacing)
      fs::remove_all(path_, ec);
    kept_ = true;
  }

 private:
  fs::path path_;
  bool kept_ = false;
};

std::string yaml_quoted(const std::string& s) {
  std::string q = "\"";
  for (char c : s) {
    if (c == '"' || c == '\\') q += '\\';
    q += c;
  }
  return q + "\"";
}

struct ConfigLook {
  std::string name, file;
};

std::string config_text(const std::string& input_space, const Sets& grade, int n,
                        const std::vector<ConfigLook>& looks, const std::string& plugin_version) {
  std::string grade_text;
  for (auto& [name, value] : grade)
    if (name == "forza" || name == "ev" || name == "temp" || name == "tinta") grade_text += " " + name + "=" + value;
  const std::string size = std::to_string(n);
  std::string t;
  t += "ocio_profile_version: 2\n\n";
  t += "# Written by varno-render (Varno Color " + plugin_version + ").\n";
  t += "# The reference space is the camera's log footage itself: each view of the display\n";
  t += "# turns it into Rec.709 display values through a " + size + "-point cube of one look,\n";
  t += "# the grade without optical effects.\n";
  t += "name: " + yaml_quoted("Varno Color looks for " + input_space) + "\n";
  t += "description: " +
       yaml_quoted("The twelve Varno Color looks for " + input_space + " footage, at" + grade_text + ".") + "\n";
  t += "search_path: luts\nstrictparsing: true\n\n";
  t += "roles:\n  default: " + yaml_quoted(input_space) + "\n\n";
  t += "file_rules:\n  - !<Rule> {name: Default, colorspace: default}\n\n";
  t += "displays:\n  Rec.709:\n";
  for (const ConfigLook& l : looks)
    t += "    - !<View> {name: " + yaml_quoted(l.name) + ", colorspace: " + yaml_quoted(l.name + " - Rec.709") + "}\n";
  t += "\ncolorspaces:\n";
  t += "  - !<ColorSpace>\n";
  t += "    name: " + yaml_quoted(input_space) + "\n";
  t += "    family: Input\n";
  t += "    description: " + yaml_quoted(input_space + " footage as the camera records it") + "\n";
  // Footage of the two "No Log" formats is video, the rest log.
  const bool video = input_space.find("No Log") != std::string::npos;
  t += std::string("    isdata: false\n    encoding: ") + (video ? "sdr-video" : "log") + "\n";
  for (const ConfigLook& l : looks) {
    t += "\n  - !<ColorSpace>\n";
    t += "    name: " + yaml_quoted(l.name + " - Rec.709") + "\n";
    t += "    family: Display\n";
    t += "    description: " + yaml_quoted("The look " + l.name + " on a Rec.709 display") + "\n";
    t += "    isdata: false\n    encoding: sdr-video\n";
    t += "    from_scene_reference: !<FileTransform> {src: " + yaml_quoted(l.file) + ", interpolation: tetrahedral}\n";
  }
  return t;
}

Sets without_look(const Sets& sets) {
  Sets s;
  for (auto& kv : sets)
    if (kv.first != "look") s.push_back(kv);
  return s;
}

std::string plugin_version(Session& session) {
  const OfxPlugin& rec = session.plugin().record();
  return std::to_string(rec.pluginVersionMajor) + "." + std::to_string(rec.pluginVersionMinor);
}

}  // namespace

int run_export_cube(const Options& o) {
  if (!o.files.empty())
    fail(kExitUsage, "--export-cube takes no INPUT or OUTPUT: the file to write follows it (see --help)");
  const std::string path = *o.export_cube;
  const int n = o.cube_size.value_or(kDefaultCubeSize);
  Session session(o.plugin);
  session.set(o.sets);
  std::string error;
  if (!can_write_file(path, error)) fail(kExitFailure, error);

  const auto start = std::chrono::steady_clock::now();
  const Sets settings = grade_settings(session.instance());
  const std::vector<std::string> left_out = switch_off_effects(session.instance());
  const std::vector<float> rgb = render_lattice(session, n);
  const std::string text = cube_text("Varno Color " + value_of(settings, "look"), settings, n, rgb);
  if (!write_text_file(path, text, error)) fail(kExitFailure, error);
  notice_effects_left_out(left_out);
  if (!o.quiet && isatty(STDERR_FILENO))
    std::fprintf(stderr, "varno-render: wrote %s (%d points, %.2f s)\n", path.c_str(), n, seconds_since(start));
  return 0;
}

int run_export_ocio(const Options& o) {
  if (!o.files.empty())
    fail(kExitUsage, "--export-ocio takes no INPUT or OUTPUT: the folder to write follows it (see --help)");
  const int n = o.cube_size.value_or(kDefaultCubeSize);
  Session session(o.plugin);
  // Every look goes into the config; a look named on the command line chooses none.
  const Sets base = without_look(o.sets);
  session.set(base);
  const fs::path dir = checked_config_folder(*o.export_ocio);

  const auto start = std::chrono::steady_clock::now();
  const Sets grade = grade_settings(session.instance());
  std::string input_space = value_of(grade, "formato");
  for (auto& [name, value] : grade)
    if (name.rfind("cs_", 0) == 0) input_space += " " + value;

  TemporaryFolder tmp(dir);
  const fs::path luts = tmp.path() / "luts";
  pending_export_add(luts.string());
  std::error_code ec;
  if (!fs::create_directory(luts, ec)) fail(kExitFailure, "cannot write '" + dir.string() + "': " + ec.message());

  const std::vector<std::string> names = session.instance().param("look").options();
  std::vector<ConfigLook> looks;
  std::vector<std::string> left_out;
  std::string error;
  for (size_t k = 0; k < names.size(); ++k) {
    const auto look_start = std::chrono::steady_clock::now();
    Sets sets = base;
    sets.emplace_back("look", names[k]);
    session.set(sets);
    for (const std::string& label : switch_off_effects(session.instance()))
      if (std::find(left_out.begin(), left_out.end(), label) == left_out.end()) left_out.push_back(label);
    const ConfigLook look{names[k], file_slug(names[k]) + ".cube"};
    const std::vector<float> rgb = render_lattice(session, n);
    const fs::path file = luts / look.file;
    pending_export_add(file.string());
    if (!put_file(file.string(), cube_text("Varno Color " + look.name, grade_settings(session.instance()), n, rgb),
                  error))
      fail(kExitFailure, "cannot write '" + (dir / "luts" / look.file).string() + "': " + error);
    looks.push_back(look);
    if (!o.quiet)
      std::fprintf(stderr, "varno-render: look %zu/%zu %s -> luts/%s (%.2f s)\n", k + 1, names.size(),
                   look.name.c_str(), look.file.c_str(), seconds_since(look_start));
  }
  const fs::path config = tmp.path() / "config.ocio";
  pending_export_add(config.string());
  if (!put_file(config.string(), config_text(input_space, grade, n, looks, plugin_version(session)), error))
    fail(kExitFailure, "cannot write '" + (dir / "config.ocio").string() + "': " + error);
  tmp.put_at(dir);
  notice_effects_left_out(left_out);
  if (!o.quiet)
    std::fprintf(stderr, "varno-render: wrote %s (config.ocio and %zu cubes of %d points, %.2f s)\n",
                 dir.string().c_str(), looks.size(), n, seconds_since(start));
  return 0;
}

}  // namespace varno_render
