// The modes of varno-render. Each runs to the end and returns the exit status, or throws
// Failure; main() picks one from the options.
#pragma once

#include "options.h"

namespace varno_render {

int run_list(const Options& o);    // --list: the parameters, on stdout (list.cpp)
int run_render(const Options& o);  // a still, the demo chart or a frame sequence (render.cpp)
int run_export_cube(const Options& o);    // --export-cube: the grade as a .cube file (export.cpp)
int run_export_ocio(const Options& o);    // --export-ocio: an OpenColorIO config of the looks (export.cpp)
int run_contact_sheet(const Options& o);  // --contact-sheet: the twelve looks on one picture
bool is_clip_job(const Options& o);  // INPUT or OUTPUT is a video file
int run_clip(const Options& o);      // clips in or out (clip.cpp)

}  // namespace varno_render
