// varno-render: renders images through the Varno Color plug-in with our own OFX host.
//
// One concern a file:
//   main.cpp        picks the mode from the options; signals; prints a failure and exits
//   options.{h,cpp} the command line (CLI11): every option, the parsed Options, --help
//   session.{h,cpp} for any mode that renders: the bundle, the instance, --set values and
//                   render_frame()
//   modes.h         one entry point per mode: list.cpp (--list), render.cpp (stills,
//                   the demo chart and sequences), export.cpp (--export-cube and
//                   --export-ocio, on the lattice of lattice.{h,cpp}), contact_sheet.cpp,
//                   clip.cpp (video files in or out, with video.{h,cpp} reading and
//                   writing them through FFmpeg's libraries)
//   frames.{h,cpp}  --frames ranges and the # / %04d patterns of file names
//   tool.h          exit statuses and Failure; image_io.cpp (files), chart.cpp (demo chart)
// A new mode is a file of its own: its entry point in modes.h, its options in
// options.{h,cpp}, and one line in dispatch() below.
#include <csignal>
#include <cstdio>

#include <OpenImageIO/imageio.h>

#include "lattice.h"
#include "modes.h"
#include "tool.h"
#include "video.h"

using namespace varno_render;

namespace {

int dispatch(const Options& o) {
  if (o.list) return run_list(o);
  if (o.export_cube) return run_export_cube(o);
  if (o.export_ocio) return run_export_ocio(o);
  if (o.contact_sheet) return run_contact_sheet(o);
  if (is_clip_job(o)) return run_clip(o);
  return run_render(o);
}

void on_signal(int sig) {
  remove_pending_output();
  remove_pending_export();
  remove_pending_clip();
  std::signal(sig, SIG_DFL);
  std::raise(sig);
}

}  // namespace

int main(int argc, char** argv) {
#if defined(__SANITIZE_THREAD__)
  // OpenImageIO's own worker threads are not instrumented and read as races.
  OIIO::attribute("threads", 1);
  OIIO::attribute("exr_threads", -1);
#endif
  std::signal(SIGINT, on_signal);
  std::signal(SIGTERM, on_signal);
  std::signal(SIGHUP, on_signal);
  try {
    std::optional<Options> o = parse_command_line(argc, argv);
    return o ? dispatch(*o) : 0;
  } catch (const Failure& f) {
    std::fprintf(stderr, "varno-render: %s\n", f.message.c_str());
    return f.code;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "varno-render: %s\n", e.what());
    return kExitFailure;
  }
}
