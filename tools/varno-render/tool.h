// Pieces of varno-render shared by every mode: exit statuses, pictures in memory, files
// through OpenImageIO, the demo chart. The layout of the tool is described in main.cpp.
#pragma once

#include <string>
#include <vector>

namespace varno_render {

// 2: the command line is wrong; 1: a file or the plug-in failed.
constexpr int kExitUsage = 2;
constexpr int kExitFailure = 1;

// Thrown by any mode; main() prints the message on one line and exits with the code.
struct Failure {
  int code;
  std::string message;
};

[[noreturn]] inline void fail(int code, const std::string& message) { throw Failure{code, message}; }

// RGBA floats, four a pixel, the top row first (as files store them).
struct Picture {
  int width = 0;
  int height = 0;
  std::vector<float> rgba;
};

// Reads any format OpenImageIO knows into float RGBA: grey becomes RGB, and
// alpha is 1 where the file has none. False with a message on failure.
bool read_picture(const std::string& path, Picture& out, std::string& error);

// Whether `path` can be made a new or replaced file: its folder exists and is writable, and
// it is not a folder itself.
bool can_write_file(const std::string& path, std::string& error);

// Whether an image of this name can be written (the format is taken from the extension).
bool can_write(const std::string& path, std::string& error);

// Writes to a temporary file beside `path` and renames it over `path` only
// when everything succeeded, so a failure never leaves a partial file.
bool write_picture(const std::string& path, const Picture& pic, std::string& error);

// Removes the temporary file of a write in progress (for signal handlers).
void remove_pending_output();

// A synthetic test chart as an S-Log3 / S-Gamut3.Cine camera would record it:
// colour patches, skin tones, grey ramps and a few lights far above white.
Picture demo_chart(int width, int height);

}  // namespace varno_render
