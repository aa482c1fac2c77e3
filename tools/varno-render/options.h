// The command line of every mode, parsed with CLI11.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace varno_render {

struct Options {
  // Every mode.
  std::optional<std::string> plugin;                      // --plugin PATH
  std::vector<std::pair<std::string, std::string>> sets;  // --set NAME=VALUE, in the order given
  bool quiet = false;                                     // --quiet
  std::vector<std::string> files;                         // INPUT OUTPUT, or OUTPUT with --demo

  // --list
  bool list = false;

  // Stills and sequences.
  std::optional<double> time;          // --time T
  std::optional<std::string> frames;   // --frames A-B, checked by parse_frames
  bool demo = false;                   // --demo
  int demo_width = 1920, demo_height = 1080;  // --size WxH

  // The grade elsewhere (export.cpp, contact_sheet.cpp).
  std::optional<std::string> export_cube;  // --export-cube FILE
  std::optional<std::string> export_ocio;  // --export-ocio DIRECTORY
  std::optional<int> cube_size;            // --cube-size N, 2 to 129
  bool contact_sheet = false;              // --contact-sheet
  // Clips.
  std::optional<std::string> codec;  // --codec NAME, checked here
  std::optional<std::string> fps;    // --fps RATE, checked by parse_rate
  bool skip_existing = false;          // --skip-existing
  bool dry_run = false;                // --dry-run
};

// Parses the command line. --help prints the usage to stdout and gives no options.
// Throws Failure(kExitUsage) naming the option or value at fault.
std::optional<Options> parse_command_line(int argc, char** argv);

}  // namespace varno_render
