// The grade as a 3D table, shared by --export-cube and --export-ocio: the plug-in renders
// a lattice of code values through the host, and the result is written as a .cube file.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "session.h"

namespace varno_render {

constexpr int kDefaultCubeSize = 33;

// Switches off every optical effect (the booleans named *_on). Returns the labels of those
// that were on with an amount above 0, which a table cannot hold.
std::vector<std::string> switch_off_effects(ofxhost::Instance& inst);

// The plug-in's output for the code values (i, j, k) / (n - 1), rendered as one image through
// the host: n^3 RGB triples, red varying fastest, then green, then blue.
std::vector<float> render_lattice(Session& session, int n);

// What makes the grade, as NAME=VALUE in --set's terms: format, its colour space when it has
// a choice of them, look, strength, exposure, temperature and tint.
std::vector<std::pair<std::string, std::string>> grade_settings(ofxhost::Instance& inst);

// The text of a .cube file: title, size, domain, the settings as comments, then the values,
// each with at least six decimals and enough to read back as the same float.
// Throws Failure(kExitFailure) for a value that is not finite.
std::string cube_text(const std::string& title, const std::vector<std::pair<std::string, std::string>>& settings,
                      int n, const std::vector<float>& rgb);

// "Cinema Print" -> "cinema-print": a file name for a look.
std::string file_slug(const std::string& name);

// Writes `text` to a temporary file beside `path` and renames it over `path`; false with a
// message naming `path` when anything fails, leaving no temporary and `path` as it was.
bool write_text_file(const std::string& path, const std::string& text, std::string& error);

// Writes `text` to `path` as it is (a file inside a folder that is itself temporary); false
// with the system's reason.
bool put_file(const std::string& path, const std::string& text, std::string& error);


// Removes what an export was writing when a signal stopped it (a file, or a folder and the
// files in it), for the signal handler.
void remove_pending_export();

// Paths an export is writing, for remove_pending_export: files and folders, removed in the
// reverse order of registration. Async-signal-safe on the removal side.
void pending_export_add(const std::string& path);
void pending_export_clear();

}  // namespace varno_render
