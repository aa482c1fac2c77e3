// Clips: read (a clip or a sequence), render, write (a clip or a sequence), with the three
// stages on threads of their own so that decoding and encoding hide behind the plug-in's time.
// A few frames circulate: the reader fills one, the plug-in renders the one before, the
// writer encodes the one before that, and hands it back to the reader.
#include "clip.h"

#include <malloc.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "frames.h"
#include "modes.h"

namespace varno_render {

namespace {

// Three frames keep the three stages busy; more would only hold memory (two 4K float images
// are 265 MB a frame).
constexpr int kFramesInFlight = 3;

struct Frame {
  ofxhost::Image src, dst;
  long number = 0;  // clip index or sequence number; also the render time
  std::vector<AudioPacket> audio;
  double audio_shift = 0;  // seconds the audio moves earlier in the output
  Frame(int w, int h) : src(OfxRectI{0, 0, w, h}), dst(OfxRectI{0, 0, w, h}) {}
};

// A hand-over between two stages. Bounded by the frames in flight; close() lets the taker
// finish what is queued, abort() stops everyone at once.
class Handover {
 public:
  void put(Frame* f) {
    std::lock_guard<std::mutex> lock(m_);
    q_.push_back(f);
    cv_.notify_one();
  }
  Frame* take() {
    std::unique_lock<std::mutex> lock(m_);
    cv_.wait(lock, [&] { return aborted_ || closed_ || !q_.empty(); });
    if (aborted_ || q_.empty()) return nullptr;
    Frame* f = q_.front();
    q_.pop_front();
    return f;
  }
  void close() {
    std::lock_guard<std::mutex> lock(m_);
    closed_ = true;
    cv_.notify_all();
  }
  void abort() {
    std::lock_guard<std::mutex> lock(m_);
    aborted_ = true;
    cv_.notify_all();
  }

 private:
  std::mutex m_;
  std::condition_variable cv_;
  std::deque<Frame*> q_;
  bool closed_ = false, aborted_ = false;
};

// --- Where frames come from ----------------------------------------------------

class Source {
 public:
  virtual ~Source() = default;
  virtual int width() const = 0;
  virtual int height() const = 0;
  // Fills the frame's src, number and audio; false after the last frame.
  virtual bool next(Frame& f) = 0;
  // Audio read after the last frame, and how far to move all audio earlier (seconds).
  virtual std::vector<AudioPacket> rest_of_audio() { return {}; }
  virtual double audio_shift() const { return 0; }
};

class ClipSource : public Source {
 public:
  // `wanted`: sorted clip indices, or empty for every frame.
  ClipSource(ClipReader& reader, std::vector<int> wanted) : r_(reader), wanted_(std::move(wanted)) {
    if (!wanted_.empty()) {
      const double first = wanted_.front() / r_.rate().fps();
      from_ = first;
      to_ = (wanted_.back() + 1) / r_.rate().fps();
    }
  }
  int width() const override { return r_.width(); }
  int height() const override { return r_.height(); }

  bool next(Frame& f) override {
    const bool all = wanted_.empty();
    if (!all && pos_ >= wanted_.size()) return false;
    for (;;) {
      const long index = index_;
      const bool want = all || index == wanted_[pos_];
      if (!r_.next(want ? &f.src : nullptr, pending_)) {
        if (all) return false;
        fail(kExitUsage, "--frames: '" + r_.path() + "' has only " + std::to_string(index) + " frames (0 to " +
                             std::to_string(index - 1) + ")");
      }
      ++index_;
      if (index_ == 1) shift_ = r_.start_seconds() + from_;
      if (!want) continue;
      f.number = index;
      ++pos_;
      if (!all && pos_ == wanted_.size()) r_.drain_audio(to_, pending_);
      f.audio.clear();
      keep_audio(f.audio);
      return true;
    }
  }

  std::vector<AudioPacket> rest_of_audio() override {
    std::vector<AudioPacket> rest;
    keep_audio(rest);
    return rest;
  }
  double audio_shift() const override { return shift_; }

 private:
  // The whole clip keeps all its audio; a range keeps the packets that start inside it.
  void keep_audio(std::vector<AudioPacket>& out) {
    for (AudioPacket& a : pending_) {
      const double t = r_.audio_seconds(a);
      if (wanted_.empty() || (t >= from_ - 1e-6 && t < to_)) out.push_back(std::move(a));
    }
    pending_.clear();
  }

  ClipReader& r_;
  std::vector<int> wanted_;
  size_t pos_ = 0;
  long index_ = 0;
  double from_ = 0, to_ = 0, shift_ = 0;
  std::vector<AudioPacket> pending_;
};

void picture_to_image(const Picture& pic, ofxhost::Image& img) {
  for (int r = 0; r < pic.height; ++r)
    std::memcpy(img.pixel(0, pic.height - 1 - r), &pic.rgba[static_cast<size_t>(r) * pic.width * 4],
                static_cast<size_t>(pic.width) * 16);
}

void image_to_picture(const ofxhost::Image& img, Picture& pic) {
  pic.width = img.width();
  pic.height = img.height();
  pic.rgba.resize(static_cast<size_t>(pic.width) * pic.height * 4);
  for (int r = 0; r < pic.height; ++r)
    std::memcpy(&pic.rgba[static_cast<size_t>(r) * pic.width * 4], img.pixel(0, pic.height - 1 - r),
                static_cast<size_t>(pic.width) * 16);
}

class SequenceSource : public Source {
 public:
  SequenceSource(const std::string& input, std::vector<int> frames) : pattern_(input), input_(input), frames_(std::move(frames)) {
    read(frames_.front(), first_);
  }
  int width() const override { return first_.width; }
  int height() const override { return first_.height; }

  bool next(Frame& f) override {
    if (pos_ >= frames_.size()) return false;
    const int number = frames_[pos_];
    if (pos_ == 0) {
      picture_to_image(first_, f.src);
      first_ = Picture();
    } else {
      Picture pic;
      read(number, pic);
      if (pic.width != f.src.width() || pic.height != f.src.height())
        fail(kExitFailure, "cannot read '" + name(number) + "': it is " + std::to_string(pic.width) + "x" +
                               std::to_string(pic.height) + ", the frames before it " + std::to_string(f.src.width()) +
                               "x" + std::to_string(f.src.height()));
      picture_to_image(pic, f.src);
    }
    f.number = number;
    ++pos_;
    return true;
  }

 private:
  std::string name(int number) const { return pattern_.valid() ? pattern_.name(number) : input_; }
  void read(int number, Picture& pic) {
    std::string error;
    if (!read_picture(name(number), pic, error)) fail(kExitFailure, error);
  }

  FramePattern pattern_;
  std::string input_;
  std::vector<int> frames_;
  size_t pos_ = 0;
  Picture first_;
};

// --- Where frames go -----------------------------------------------------------

class Sink {
 public:
  virtual ~Sink() = default;
  virtual void write(Frame& f, double audio_shift) = 0;
  virtual void finish(std::vector<AudioPacket>& rest, double audio_shift) = 0;
};

class ClipSink : public Sink {
 public:
  explicit ClipSink(ClipWriter& w) : w_(w) {}
  void write(Frame& f, double audio_shift) override {
    w_.write(f.dst);
    for (AudioPacket& a : f.audio) w_.write_audio(a, audio_shift);
    f.audio.clear();
  }
  void finish(std::vector<AudioPacket>& rest, double audio_shift) override {
    for (AudioPacket& a : rest) w_.write_audio(a, audio_shift);
    w_.finish();
  }

 private:
  ClipWriter& w_;
};

class SequenceSink : public Sink {
 public:
  explicit SequenceSink(const std::string& output) : pattern_(output) {}
  void write(Frame& f, double) override {
    image_to_picture(f.dst, pic_);
    std::string error;
    if (!write_picture(pattern_.name(static_cast<int>(f.number)), pic_, error)) fail(kExitFailure, error);
    f.audio.clear();
  }
  void finish(std::vector<AudioPacket>&, double) override {}

 private:
  FramePattern pattern_;
  Picture pic_;
};

// --- Progress ------------------------------------------------------------------

std::string clock_text(double seconds) {
  long s = std::lround(std::max(0.0, seconds));
  char buf[32];
  if (s >= 3600)
    std::snprintf(buf, sizeof buf, "%ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
  else
    std::snprintf(buf, sizeof buf, "%ld:%02ld", s / 60, s % 60);
  return buf;
}

class Progress {
 public:
  Progress(bool on, std::string output, long total, bool estimate)
      : on_(on), tty_(on && isatty(STDERR_FILENO)), output_(std::move(output)), total_(total), estimate_(estimate) {}

  // A frame is written: frames done of all, frames per second, time left; about once a second.
  void frame_done(long done) {
    if (!on_) return;
    const auto now = std::chrono::steady_clock::now();
    if (done > 1 && now - last_ < std::chrono::seconds(1)) return;
    last_ = now;
    const double secs = std::chrono::duration<double>(now - start_).count();
    const double fps = secs > 0 ? done / secs : 0;
    const long total = std::max(total_, done);
    std::string left = fps > 0 && total > 0 ? clock_text((total - done) / fps) : "?";
    std::fprintf(stderr, "%svarno-render: %s: frame %ld of %s%ld, %.1f fps, %s left%s", tty_ ? "\r" : "",
                 output_.c_str(), done, estimate_ ? "about " : "", total, fps, left.c_str(), tty_ ? "\x1b[K" : "\n");
    std::fflush(stderr);
  }
  void finished(long done) {
    if (!on_) return;
    const double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    std::fprintf(stderr, "%svarno-render: wrote %s: %ld frames in %s (%.1f fps)%s\n", tty_ ? "\r" : "", output_.c_str(),
                 done, clock_text(secs).c_str(), secs > 0 ? done / secs : 0.0, tty_ ? "\x1b[K" : "");
  }

 private:
  bool on_, tty_;
  std::string output_;
  long total_;
  bool estimate_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now(), last_;
};

// --- The three stages ----------------------------------------------------------

class Pipeline {
 public:
  Pipeline(Session& session, Source& source, Sink& sink, Progress& progress, const std::string& input)
      : session_(session), source_(source), sink_(sink), progress_(progress), input_(input) {}

  long run() {
    for (int k = 0; k < kFramesInFlight; ++k) {
      frames_.push_back(std::make_unique<Frame>(source_.width(), source_.height()));
      free_.put(frames_.back().get());
    }
    std::thread reader([this] { guard([this] { yield_to_plugin(); read(); }); });
    std::thread writer([this] { guard([this] { yield_to_plugin(); write(); }); });
    guard([this] { render(); });
    reader.join();
    writer.join();
    if (error_) std::rethrow_exception(error_);
    return written_;
  }

 private:
  // The plug-in splits each pass of a frame evenly over its workers and waits for the last
  // one; a worker that has to share its core with decoding or encoding holds up the whole
  // pass. At a lower priority these two run mostly in the gaps between passes.
  static void yield_to_plugin() { setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), 10); }

  void read() {
    for (;;) {
      Frame* f = free_.take();
      if (!f) return;
      if (!source_.next(*f)) break;
      f->audio_shift = source_.audio_shift();
      to_render_.put(f);
    }
    rest_ = source_.rest_of_audio();
    shift_ = source_.audio_shift();
    to_render_.close();
  }

  void render() {
    while (Frame* f = to_render_.take()) {
      session_.render_image(f->src, f->dst, static_cast<double>(f->number),
                            "frame " + std::to_string(f->number) + " of '" + input_ + "'");
      to_write_.put(f);
    }
    to_write_.close();
  }

  void write() {
    while (Frame* f = to_write_.take()) {
      sink_.write(*f, f->audio_shift);
      progress_.frame_done(++written_);
      free_.put(f);
    }
    if (aborted()) return;
    // The reader set rest_ and shift_ before it closed its hand-over, and the renderer
    // closed ours after that.
    sink_.finish(rest_, shift_);
    progress_.finished(written_);
  }

  bool aborted() {
    std::lock_guard<std::mutex> lock(error_mutex_);
    return error_ != nullptr;
  }

  template <class F>
  void guard(F&& f) {
    try {
      f();
    } catch (...) {
      std::lock_guard<std::mutex> lock(error_mutex_);
      if (!error_) error_ = std::current_exception();
      free_.abort();
      to_render_.abort();
      to_write_.abort();
    }
  }

  Session& session_;
  Source& source_;
  Sink& sink_;
  Progress& progress_;
  std::string input_;
  std::vector<std::unique_ptr<Frame>> frames_;
  Handover free_, to_render_, to_write_;
  std::vector<AudioPacket> rest_;
  double shift_ = 0;
  long written_ = 0;
  std::mutex error_mutex_;
  std::exception_ptr error_;
};

}  // namespace

struct ClipRun::Parts {
  ClipJob job;
  std::unique_ptr<ClipReader> reader;
  std::unique_ptr<Source> source;
  std::unique_ptr<ClipWriter> writer;
  std::unique_ptr<Sink> sink;
  long total = 0;
  bool estimate = false;
  Rate rate;
};

ClipRun::ClipRun(const ClipJob& job) : p_(new Parts) {
  Parts& p = *p_;
  p.job = job;
  const bool in_clip = is_clip_name(job.input), out_clip = is_clip_name(job.output);
  std::vector<int> frames;
  if (job.frames) {
    frames = *job.frames;
    std::sort(frames.begin(), frames.end());
    frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
  }
  p.total = static_cast<long>(frames.size());
  p.rate = job.rate;
  std::string timecode;
  if (in_clip) {
    if (!frames.empty() && frames.front() < 0)
      fail(kExitUsage, "--frames: the frames of a clip count from 0, not " + std::to_string(frames.front()));
    p.reader = std::make_unique<ClipReader>(job.input);
    ClipReader& r = *p.reader;
    if (!frames.empty() && r.frame_count_exact() && frames.back() >= r.frame_count())
      fail(kExitUsage, "--frames: '" + job.input + "' has " + std::to_string(r.frame_count()) + " frames (0 to " +
                           std::to_string(r.frame_count() - 1) + ")");
    if (frames.empty()) {
      p.total = r.frame_count();
      p.estimate = !r.frame_count_exact();
    }
    p.rate = r.rate();
    if (!r.timecode().empty())
      timecode = frames.empty() ? r.timecode() : timecode_after(r.timecode(), p.rate, frames.front());
    p.source = std::make_unique<ClipSource>(r, frames);
  } else {
    if (frames.empty()) fail(kExitUsage, "--frames A-B is needed to read an image sequence into a clip");
    p.source = std::make_unique<SequenceSource>(job.input, frames);
  }

  if (out_clip) {
    if (in_clip && !frames.empty() && frames.back() - frames.front() + 1 != static_cast<int>(frames.size()))
      fail(kExitUsage, "--frames: a clip is written from one range of frames, A-B");
    ClipFormat format{job.codec.empty() ? default_clip_codec(job.output) : job.codec, p.source->width(),
                      p.source->height(), p.rate, timecode};
    p.writer = std::make_unique<ClipWriter>(job.output, format,
                                            p.reader ? p.reader->audio_streams() : std::vector<const AVStream*>{});
    p.sink = std::make_unique<ClipSink>(*p.writer);
  } else {
    const FramePattern pattern(job.output);
    if (!pattern.valid())
      fail(kExitUsage, "OUTPUT '" + job.output + "' is neither a clip nor a frame pattern (# or %04d) for the clip's frames");
    std::string error;
    if (!can_write(pattern.name(frames.empty() ? 0 : frames.front()), error)) fail(kExitFailure, error);
    p.sink = std::make_unique<SequenceSink>(job.output);
  }
}

ClipRun::~ClipRun() = default;

long ClipRun::run(Session& session) {
  Parts& p = *p_;
  // Codecs allocate frame-sized buffers for every frame (packets, pictures); above glibc's
  // mapping threshold each one is a fresh mmap whose pages fault in and are zeroed by the
  // kernel, frame after frame. Served from the heap they are reused.
  mallopt(M_MMAP_THRESHOLD, 256 << 20);
  mallopt(M_TRIM_THRESHOLD, 512 << 20);
  if (p.job.progress && p.reader)
    std::fprintf(stderr, "varno-render: %s: %dx%d, %.3f fps, %s\n", p.job.input.c_str(), p.reader->width(),
                 p.reader->height(), p.rate.fps(), p.reader->description().c_str());
  if (p.writer) p.writer->start();
  Progress progress(p.job.progress, p.job.output, p.total, p.estimate);
  Pipeline pipeline(session, *p.source, *p.sink, progress, p.job.input);
  return pipeline.run();
}

long render_clip(Session& session, const ClipJob& job) { return ClipRun(job).run(session); }

namespace {

// A clip into a sequence of files, as a farm task runs it: --dry-run lists each frame's file
// and whether it would render; --skip-existing leaves the files already there alone.
int run_clip_to_files(const Options& o, ClipJob job) {
  if (!job.frames) {
    ClipReader r(job.input);
    if (!r.frame_count_exact())
      fail(kExitUsage, "--frames A-B is needed: '" + job.input + "' does not say how many frames it holds");
    std::vector<int> all(static_cast<size_t>(r.frame_count()));
    for (size_t k = 0; k < all.size(); ++k) all[k] = static_cast<int>(k);
    job.frames = all;
  }
  std::sort(job.frames->begin(), job.frames->end());
  job.frames->erase(std::unique(job.frames->begin(), job.frames->end()), job.frames->end());
  std::optional<ClipRun> clip(std::in_place, job);  // the files and the range checked first
  Session session(o.plugin);
  session.set(o.sets);
  const FramePattern pattern(job.output);
  std::vector<int> todo;
  for (int f : *job.frames) {
    const bool skip = o.skip_existing && output_exists(pattern.name(f));
    if (o.dry_run) std::printf("%d\t%s\t%s\n", f, skip ? "skip" : "render", pattern.name(f).c_str());
    if (!skip) todo.push_back(f);
  }
  if (o.dry_run) return std::fflush(stdout) == 0 ? 0 : kExitFailure;
  const size_t skipped = job.frames->size() - todo.size();
  if (job.progress && skipped > 0)
    std::fprintf(stderr, "varno-render: %zu of %zu frames skipped, their files exist\n", skipped, job.frames->size());
  if (todo.empty()) return 0;
  if (skipped > 0) {
    job.frames = todo;
    clip.emplace(job);
  }
  clip->run(session);
  return 0;
}

}  // namespace

bool is_clip_job(const Options& o) {
  if (o.list || o.files.empty()) return false;
  return is_clip_name(o.files.back()) || (!o.demo && is_clip_name(o.files.front()));
}

int run_clip(const Options& o) {
  if (o.demo) fail(kExitUsage, "--demo renders the chart as an image; a clip OUTPUT needs a clip or a sequence as INPUT");
  if (o.files.size() != 2) fail(kExitUsage, "expected INPUT and OUTPUT (see --help)");
  ClipJob job;
  job.input = o.files[0];
  job.output = o.files[1];
  const bool in_clip = is_clip_name(job.input), out_clip = is_clip_name(job.output);
  if (o.time) fail(kExitUsage, "--time does not apply to clips: each frame renders at its index in the clip");
  if ((o.skip_existing || o.dry_run) && out_clip)
    fail(kExitUsage, std::string(o.dry_run ? "--dry-run" : "--skip-existing") +
                         " applies to image sequence OUTPUTs; a clip is written whole");
  if (o.codec && !out_clip) fail(kExitUsage, "--codec applies only when OUTPUT is a clip");
  if (o.fps && in_clip) fail(kExitUsage, "--fps applies only when INPUT is an image sequence; a clip keeps its own rate");
  if (o.codec) job.codec = *o.codec;
  if (o.fps && !parse_rate(*o.fps, job.rate)) fail(kExitUsage, "--fps " + *o.fps + ": expected a rate such as 24, 23.976 or 30000/1001");
  if (o.frames) job.frames = parse_frames(*o.frames);
  job.progress = !o.quiet;
  if (o.skip_existing || o.dry_run) return run_clip_to_files(o, job);
  // The files first: a bad clip is told before the plug-in is loaded.
  ClipRun clip(job);
  Session session(o.plugin);
  session.set(o.sets);
  clip.run(session);
  return 0;
}

}  // namespace varno_render
