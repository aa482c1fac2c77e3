// Every option of varno-render and its help. A mode with options of its own defines them in
// define_options, in a group of its own, and keeps their values in Options.
#include "options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "tool.h"
#include "video.h"

namespace varno_render {

namespace {

const char* const kUsage =
    "usage: varno-render [options] INPUT OUTPUT\n"
    "       varno-render [options] --demo OUTPUT\n"
    "       varno-render [options] --export-cube FILE.cube [--cube-size N]\n"
    "       varno-render [options] --export-ocio DIRECTORY [--cube-size N]\n"
    "       varno-render [options] --contact-sheet (INPUT | --demo) OUTPUT\n"
    "       varno-render [--plugin PATH] --list\n"
    "\n"
    "Renders one frame, a sequence or a clip through the Varno Color plug-in.\n"
    "Reads EXR, DPX, TIFF, PNG and JPEG; writes the format OUTPUT's extension names\n"
    "(EXR as float, TIFF, DPX and PNG as 16-bit, JPEG as 8-bit).\n"
    "Clips (.mov, .mp4, .mxf, .mkv) in or out: every frame renders at its index in the\n"
    "clip as time; .mov is written as ProRes 422 HQ and .mp4 as H.264 unless --codec\n"
    "says otherwise, tagged BT.709, with the input's audio and timecode.\n";

const char* const kFooter =
    "Exit status (for schedulers): 0 done; 1 a file or the plug-in failed, a retry may\n"
    "help; 2 a wrong command line, no retry will fix it. Every frame is written whole or\n"
    "not at all, and a failed run leaves OUTPUT as it was.";

// Our usage lines and description first, then CLI11's list of options.
struct Formatter : CLI::Formatter {
  std::string make_description(const CLI::App*) const override { return ""; }
  std::string make_usage(const CLI::App*, std::string) const override { return kUsage; }
  // The value's name only; the descriptions say what repeats and what goes together.
  std::string make_option_opts(const CLI::Option* opt) const override {
    return opt->get_type_size() == 0 ? "" : " " + opt->get_type_name();
  }
};

// CLI11 takes "", "nan" and "inf" as numbers; a frame time must be a finite decimal.
std::string finite_number(const std::string& s) {
  char* end = nullptr;
  errno = 0;
  double v = s.empty() || std::isspace(static_cast<unsigned char>(s[0])) ? NAN : std::strtod(s.c_str(), &end);
  bool ok = end && *end == '\0' && errno != ERANGE && std::isfinite(v);
  return ok ? "" : "'" + s + "' is not a number";
}

std::string name_equals_value(const std::string& s) {
  size_t at = s.find('=');
  return at == std::string::npos || at == 0 ? "'" + s + "': expected NAME=VALUE" : "";
}

std::string width_x_height(const std::string& s) {
  int w = 0, h = 0;
  char x = 0, rest = 0;
  bool ok = std::sscanf(s.c_str(), "%d%c%d%c", &w, &x, &h, &rest) == 3 && (x == 'x' || x == 'X') && w >= 1 &&
            h >= 1 && w <= 16384 && h <= 16384;
  return ok ? "" : "'" + s + "': expected WIDTHxHEIGHT, each 1 to 16384";
}

std::string cube_size_text(const std::string& s) {
  char* end = nullptr;
  errno = 0;
  long n = s.empty() || std::isspace(static_cast<unsigned char>(s[0])) ? 0 : std::strtol(s.c_str(), &end, 10);
  bool ok = end && *end == '\0' && errno != ERANGE && n >= 2 && n <= 129;
  return ok ? "" : "'" + s + "': expected a whole number from 2 to 129";
}

std::string codec_name(const std::string& s) {
  const std::vector<std::string>& names = clip_codec_names();
  if (std::find(names.begin(), names.end(), s) != names.end()) return "";
  std::string list;
  for (const std::string& n : names) list += (list.empty() ? "" : ", ") + n;
  return "'" + s + "' is not a codec; one of " + list;
}

std::string frame_rate(const std::string& s) {
  Rate r;
  return parse_rate(s, r) ? "" : "'" + s + "': expected a rate such as 24, 23.976 or 30000/1001";
}

struct Raw {
  std::vector<std::string> sets;
  double time = 0;
  std::string frames, size, plugin, export_cube, export_ocio, cube_size, codec, fps;
};

void define_options(CLI::App& app, Options& o, Raw& raw) {
  app.set_help_flag("-h,--help", "this text");
  app.add_option("--set", raw.sets,
                 "set a parameter (repeatable). Choices take their option text\n"
                 "(--set formato=\"Sony S-Log3\"), booleans 0/1/on/off/true/false,\n"
                 "numbers a decimal value within the parameter's range. Values\n"
                 "given here win over those a look fills in.")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(CLI::Validator(name_equals_value, ""));
  app.add_flag("--list", o.list,
               "list every parameter with its label, type, default, range and\n"
               "options, and exit");
  auto* time = app.add_option("--time", raw.time, "frame time (default 0)")
                   ->type_name("T")
                   ->check(CLI::Validator(finite_number, ""));
  auto* frames = app.add_option("--frames", raw.frames,
                                "render frames A to B (also A-BxSTEP, or a comma list: 1-9,20);\n"
                                "INPUT and OUTPUT name frames with # (one digit per #,\n"
                                "zero-padded) or a printf pattern such as %04d, and each frame\n"
                                "renders at its own number as time")
                     ->type_name("A-B");
  time->excludes(frames);
  auto* demo = app.add_flag("--demo", o.demo,
                            "render a built-in test chart instead of INPUT; the chart is\n"
                            "S-Log3 / S-Gamut3.Cine footage, so formato defaults to\n"
                            "\"Sony S-Log3\" unless --set names another");
  app.add_option("--size", raw.size, "size of the demo chart (default 1920x1080)")
      ->type_name("WxH")
      ->check(CLI::Validator(width_x_height, ""))
      ->needs(demo);
  app.add_option("--plugin", raw.plugin,
                 "the plug-in bundle (default: found in OFX_PLUGIN_PATH or\n"
                 "/usr/OFX/Plugins, else the one built with this tool)")
      ->type_name("PATH");
  app.add_option("--codec", raw.codec,
                 "the codec of a clip OUTPUT: prores, prores_hq, prores_4444,\n"
                 "h264, h265 or dnxhr_hqx (default: prores_hq for .mov,\n"
                 "h264 for .mp4 and .mkv, dnxhr_hqx for .mxf)")
      ->type_name("NAME")
      ->check(CLI::Validator(codec_name, ""))
      ->group("Clips");
  app.add_option("--fps", raw.fps,
                 "frame rate of a clip made from an image sequence (default 24;\n"
                 "23.976 and 29.97 are the NTSC rates, or give 30000/1001)")
      ->type_name("RATE")
      ->check(CLI::Validator(frame_rate, ""))
      ->group("Clips");
  auto* skip = app.add_flag("--skip-existing", o.skip_existing,
               "leave frames whose OUTPUT file already exists untouched, so an\n"
               "interrupted or failed sequence resumes where it stopped");
  auto* dry = app.add_flag("--dry-run", o.dry_run,
               "check the command line and the parameters, then print each\n"
               "frame's number, \"render\" or \"skip\", and OUTPUT file on stdout\n"
               "(tab separated; \"-\" for a still's number); render nothing");
  app.add_flag("-q,--quiet", o.quiet, "no progress on stderr");

  const char* const kExport = "Taking the look elsewhere";
  auto* cube = app.add_option("--export-cube", raw.export_cube,
                              "write the grade of the current settings as a 3D LUT (.cube),\n"
                              "without the optical effects")
                   ->type_name("FILE")
                   ->group(kExport);
  auto* ocio = app.add_option("--export-ocio", raw.export_ocio,
                              "write an OpenColorIO config into DIRECTORY: the camera's log\n"
                              "footage as input, display Rec.709 with a view per look")
                   ->type_name("DIRECTORY")
                   ->group(kExport);
  app.add_option("--cube-size", raw.cube_size, "points along each axis of a cube (2 to 129, default 33)")
      ->type_name("N")
      ->check(CLI::Validator(cube_size_text, ""))
      ->group(kExport);
  auto* sheet = app.add_flag("--contact-sheet", o.contact_sheet,
                             "render the frame with each of the twelve looks, 4 across\n"
                             "and 3 down, labelled, into OUTPUT")
                    ->group(kExport);
  for (auto* exporting : {cube, ocio}) exporting->excludes(time)->excludes(frames)->excludes(demo)->excludes(sheet);
  cube->excludes(ocio);
  sheet->excludes(frames);
  for (auto* sequence_only : {skip, dry}) sequence_only->excludes(cube)->excludes(ocio)->excludes(sheet);
  app.add_option("files", o.files)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)->group("");
}

// CLI11's messages can run over several lines; the first one names the culprit.
std::string first_line(std::string s) {
  s.resize(std::min(s.size(), s.find('\n')));
  return s;
}

}  // namespace

std::optional<Options> parse_command_line(int argc, char** argv) {
  Options o;
  Raw raw;
  CLI::App app;
  app.formatter(std::make_shared<Formatter>());
  app.get_formatter()->column_width(20);
  app.footer(kFooter);
  // As with most tools, an option given twice takes its last value.
  app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  // Unknown options are reported below, by name.
  app.allow_extras();
  define_options(app, o, raw);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::fputs(app.help().c_str(), stdout);
    return std::nullopt;
  } catch (const CLI::ArgumentMismatch& e) {
    // "--time: 1 required T missing" when the value is missing at the end of the line.
    std::string what = first_line(e.what());
    size_t colon = what.find(':');
    bool missing = colon != std::string::npos && what.size() > 8 && what.compare(what.size() - 8, 8, " missing") == 0;
    fail(kExitUsage, (missing ? what.substr(0, colon) + " needs a value" : what) + " (see --help)");
  } catch (const CLI::ParseError& e) {
    fail(kExitUsage, first_line(e.what()) + " (see --help)");
  }
  // With extras allowed, CLI11 also hands back the "--" that ends the options.
  for (const std::string& extra : app.remaining())
    if (extra != "--") fail(kExitUsage, "unknown option " + extra + " (see --help)");

  for (const std::string& s : raw.sets) {
    size_t at = s.find('=');
    o.sets.emplace_back(s.substr(0, at), s.substr(at + 1));
  }
  if (app.count("--time")) o.time = raw.time;
  if (app.count("--frames")) o.frames = raw.frames;
  if (app.count("--plugin")) o.plugin = raw.plugin;
  if (app.count("--export-cube")) o.export_cube = raw.export_cube;
  if (app.count("--export-ocio")) o.export_ocio = raw.export_ocio;
  if (app.count("--cube-size")) {
    if (!o.export_cube && !o.export_ocio) fail(kExitUsage, "--cube-size goes with --export-cube or --export-ocio");
    o.cube_size = std::atoi(raw.cube_size.c_str());
  }
  if (app.count("--codec")) o.codec = raw.codec;
  if (app.count("--fps")) o.fps = raw.fps;
  if (app.count("--size")) std::sscanf(raw.size.c_str(), "%d%*c%d", &o.demo_width, &o.demo_height);
  return o;
}

}  // namespace varno_render
