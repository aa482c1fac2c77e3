// Stills, the demo chart and frame sequences: read, render, write, with progress on stderr.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "frames.h"
#include "modes.h"
#include "session.h"

namespace varno_render {

int run_render(const Options& o) {
  // The shape of the command line, before anything is loaded.
  const std::vector<FrameJob> jobs = plan_frames(o);
  const bool sequence = o.frames.has_value();
  const auto first = std::find_if(jobs.begin(), jobs.end(), [](const FrameJob& j) { return !j.skip; });

  Session session(o.plugin);
  std::vector<std::pair<std::string, std::string>> sets = o.sets;
  // The chart is footage as an S-Log3 camera would record it: read it as such
  // unless the user names another format.
  if (o.demo && std::none_of(sets.begin(), sets.end(), [](const auto& kv) { return kv.first == "formato"; }))
    sets.insert(sets.begin(), {"formato", "Sony S-Log3"});
  session.set(sets);
  std::string error;
  if (first != jobs.end() && !can_write(first->output, error)) fail(kExitFailure, error);

  if (o.dry_run) {
    for (const FrameJob& j : jobs)
      std::printf("%s\t%s\t%s\n", sequence ? std::to_string(j.frame).c_str() : "-", j.skip ? "skip" : "render",
                  j.output.c_str());
    return std::fflush(stdout) == 0 ? 0 : kExitFailure;
  }

  const bool progress = !o.quiet && (sequence || isatty(STDERR_FILENO));
  size_t rendered = 0;
  for (size_t k = 0; k < jobs.size(); ++k) {
    const FrameJob& job = jobs[k];
    if (job.skip) {
      if (progress)
        std::fprintf(stderr, "varno-render: frame %d [%zu/%zu] skipped, %s exists\n", job.frame, k + 1, jobs.size(),
                     job.output.c_str());
      continue;
    }
    auto start = std::chrono::steady_clock::now();
    Picture pic;
    if (o.demo)
      pic = demo_chart(o.demo_width, o.demo_height);
    else if (!read_picture(job.input, pic, error))
      fail(kExitFailure, error);
    if (progress && !sequence)
      std::fprintf(stderr, "varno-render: rendering %s (%dx%d)...\n", o.demo ? "the demo chart" : job.input.c_str(),
                   pic.width, pic.height);

    session.render_frame(pic, job.time, o.demo ? std::string("the demo chart") : "'" + job.input + "'");
    if (!write_picture(job.output, pic, error)) fail(kExitFailure, error);
    ++rendered;

    double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (progress && sequence)
      std::fprintf(stderr, "varno-render: frame %d [%zu/%zu] -> %s (%.2f s)\n", job.frame, k + 1, jobs.size(),
                   job.output.c_str(), secs);
    else if (progress)
      std::fprintf(stderr, "varno-render: wrote %s (%.2f s)\n", job.output.c_str(), secs);
  }
  if (progress && (sequence || rendered == 0))
    std::fprintf(stderr, "varno-render: %zu rendered, %zu skipped\n", rendered, jobs.size() - rendered);
  return 0;
}

}  // namespace varno_render
