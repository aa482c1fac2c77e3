// Clips in and out through libavformat, libavcodec and libswscale.
//
// Reading: swscale only brings the decoded frame to 4:4:4 at its own bit depth (chroma
// upsampled, luma untouched); the matrix and the range are applied here in float, since
// swscale's own YUV to RGB rounds through integers and clips below black and above white,
// and the plug-in wants the camera's code values as they are, 10- and 12-bit included.
// Writing is the same the other way: BT.709 matrix and limited range here, then swscale
// takes 4:4:4 down to what the encoder wants.
#include "video.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libavutil/timecode.h>
#include <libswscale/swscale.h>
}

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "tool.h"

namespace fs = std::filesystem;

namespace varno_render {

namespace {

// Decoders and the intra-frame encoders run on the pipeline's own threads, beside the plug-in's
// workers, and are fast enough there; x264 and x265 are not, and get threads of their own.
// FFmpeg's threads are not instrumented for ThreadSanitizer: there every codec runs on one.
constexpr int kCodecThreads = 1;
#if defined(__SANITIZE_THREAD__)
constexpr int kHeavyEncoderThreads = 1;
#else
constexpr int kHeavyEncoderThreads = 0;  // as many as the encoder sees fit
#endif

std::string lower_ext(const std::string& path) {
  std::string e = fs::path(path).extension().string();
  std::transform(e.begin(), e.end(), e.begin(), [](unsigned char c) { return std::tolower(c); });
  return e;
}

// FFmpeg logs its reasons (often better than the error code's text); the first error it logged
// since the last look is kept, as later ones tend to be consequences, and nothing reaches
// stderr, where each failure is one line of ours.
std::mutex gLogMutex;
std::string gLastLogged;

void log_to_memory(void* avcl, int level, const char* format, va_list args) {
  if (level > AV_LOG_ERROR) return;
  char line[512];
  int prefix = 0;
  av_log_format_line2(avcl, level, format, args, line, sizeof line, &prefix);
  std::string s = line;
  while (!s.empty() && (s.back() == '\n' || s.back() == ' ' || s.back() == '.')) s.pop_back();
  std::lock_guard<std::mutex> lock(gLogMutex);
  if (gLastLogged.empty()) gLastLogged = s;
}

void quiet_ffmpeg() {
  static std::once_flag once;
  std::call_once(once, [] { av_log_set_callback(log_to_memory); });
}

std::string take_logged() {
  std::lock_guard<std::mutex> lock(gLogMutex);
  std::string s;
  s.swap(gLastLogged);
  return s;
}

std::string error_text(int err) {
  char buf[AV_ERROR_MAX_STRING_SIZE] = {0};
  av_strerror(err, buf, sizeof buf);
  std::string s = buf;
  if (!s.empty()) s[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(s[0])));
  return s;
}

// The error code's text, with what FFmpeg logged about it when that says more.
std::string reason(int err) {
  std::string logged = take_logged(), text = error_text(err);
  return logged.empty() || logged == text ? text : text + " (" + logged + ")";
}

// The temporary file of the clip being written, for remove_pending_clip.
char gPendingClip[4096];

struct Matrix {
  const char* name;
  double kr, kb;
};
constexpr Matrix kBT709{"BT.709", 0.2126, 0.0722};
constexpr Matrix kBT601{"BT.601", 0.299, 0.114};
constexpr Matrix kBT2020{"BT.2020", 0.2627, 0.0593};
constexpr Matrix kSMPTE240{"SMPTE 240M", 0.212, 0.087};
constexpr Matrix kFCC{"FCC", 0.30, 0.11};

// The stream's matrix; untagged, HD and larger is BT.709 and smaller BT.601.
Matrix matrix_of(AVColorSpace cs, int height) {
  switch (cs) {
    case AVCOL_SPC_BT709: return kBT709;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M: return kBT601;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL: return kBT2020;
    case AVCOL_SPC_SMPTE240M: return kSMPTE240;
    case AVCOL_SPC_FCC: return kFCC;
    default: return height >= 720 ? kBT709 : kBT601;
  }
}

// The JPEG pixel formats are the plain ones in full range.
AVPixelFormat unjpeg(AVPixelFormat f, bool& full) {
  switch (f) {
    case AV_PIX_FMT_YUVJ420P: full = true; return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P: full = true; return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P: full = true; return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P: full = true; return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P: full = true; return AV_PIX_FMT_YUV411P;
    default: return f;
  }
}

// Planar 4:4:4 at the source's depth (8, 10, 12 or 16 bits).
AVPixelFormat yuv444_at(int depth, int& bits) {
  if (depth <= 8) return bits = 8, AV_PIX_FMT_YUV444P;
  if (depth <= 10) return bits = 10, AV_PIX_FMT_YUV444P10;
  if (depth <= 12) return bits = 12, AV_PIX_FMT_YUV444P12;
  return bits = 16, AV_PIX_FMT_YUV444P16;
}

// Code values to normalised Y'CbCr and back: y' = (Y - y0) * ys, c' = (C - c0) * cs.
struct Levels {
  double y0, ys, c0, cs;
};

Levels levels(int bits, bool full) {
  const double unit = std::ldexp(1.0, bits - 8), top = std::ldexp(1.0, bits) - 1;
  if (full) return {0.0, 1.0 / top, 128.0 * unit, 1.0 / top};
  return {16.0 * unit, 1.0 / (219.0 * unit), 128.0 * unit, 1.0 / (224.0 * unit)};
}

struct Rational {
  int num, den;
};

// A measured rate close to a standard one is taken as that one.
Rate snap_rate(AVRational r) {
  static const Rational kStandard[] = {{24000, 1001}, {24, 1}, {25, 1},  {30000, 1001}, {30, 1},  {48, 1},
                                       {50, 1},       {60000, 1001}, {60, 1}, {100, 1}, {120000, 1001}, {120, 1}};
  const double fps = av_q2d(r);
  for (const Rational& s : kStandard)
    if (std::fabs(fps - static_cast<double>(s.num) / s.den) < 1e-4 * fps) return {s.num, s.den};
  AVRational q = av_d2q(fps, 1 << 20);
  return {q.num, q.den};
}

struct CodecChoice {
  const char* name;     // --codec
  const char* encoder;  // FFmpeg's encoder
  int profile;          // the codec context's profile, or FF_PROFILE_UNKNOWN
  const char* variant;  // the encoder's own "profile" option, or null
  AVPixelFormat format;
  int bits;
  const char* words;  // for messages
};

const CodecChoice kCodecs[] = {
    {"prores", "prores", FF_PROFILE_PRORES_STANDARD, nullptr, AV_PIX_FMT_YUV422P10, 10, "ProRes 422"},
    {"prores_hq", "prores", FF_PROFILE_PRORES_HQ, nullptr, AV_PIX_FMT_YUV422P10, 10, "ProRes 422 HQ"},
    {"prores_4444", "prores", FF_PROFILE_PRORES_4444, nullptr, AV_PIX_FMT_YUV444P10, 10, "ProRes 4444"},
    {"h264", "libx264", FF_PROFILE_UNKNOWN, nullptr, AV_PIX_FMT_YUV420P, 8, "H.264"},
    {"h265", "libx265", FF_PROFILE_UNKNOWN, nullptr, AV_PIX_FMT_YUV420P10, 10, "H.265"},
    {"dnxhr_hqx", "dnxhd", FF_PROFILE_UNKNOWN, "dnxhr_hqx", AV_PIX_FMT_YUV422P10, 10, "DNxHR HQX"},
};

const CodecChoice& codec_choice(const std::string& name) {
  for (const CodecChoice& c : kCodecs)
    if (name == c.name) return c;
  fail(kExitUsage, "--codec " + name + ": unknown codec (see --help)");
}

void check(int err, const std::string& what) {
  if (err < 0) fail(kExitFailure, what + ": " + reason(err));
}

}  // namespace

void PacketFree::operator()(AVPacket* p) const { av_packet_free(&p); }

bool is_clip_name(const std::string& path) {
  static const char* const kExt[] = {".mov", ".mp4", ".m4v", ".mxf", ".mkv", ".avi", ".mts", ".m2ts", ".webm"};
  const std::string e = lower_ext(path);
  return std::any_of(std::begin(kExt), std::end(kExt), [&](const char* x) { return e == x; });
}

bool is_clip_output_name(const std::string& path) {
  const std::string e = lower_ext(path);
  return e == ".mov" || e == ".mp4" || e == ".m4v" || e == ".mkv" || e == ".mxf";
}

const std::vector<std::string>& clip_codec_names() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> v;
    for (const CodecChoice& c : kCodecs) v.push_back(c.name);
    return v;
  }();
  return names;
}

std::string default_clip_codec(const std::string& output) {
  const std::string e = lower_ext(output);
  if (e == ".mp4" || e == ".m4v" || e == ".mkv") return "h264";
  if (e == ".mxf") return "dnxhr_hqx";
  return "prores_hq";
}

bool parse_rate(const std::string& text, Rate& out) {
  int num = 0, den = 0;
  char slash = 0, rest = 0;
  if (std::sscanf(text.c_str(), "%d%c%d%c", &num, &slash, &den, &rest) == 3 && slash == '/') {
    if (num <= 0 || den <= 0 || num / den > 1000) return false;
    out = {num, den};
    return true;
  }
  char* end = nullptr;
  double fps = std::strtod(text.c_str(), &end);
  if (text.empty() || !end || *end || !(fps > 0) || fps > 1000) return false;
  out = snap_rate(av_d2q(fps, 1 << 20));
  // "23.976" and "29.97" are the NTSC rates, as every editor reads them.
  if (std::fabs(fps - 23.976) < 1e-9) out = {24000, 1001};
  if (std::fabs(fps - 29.97) < 1e-9) out = {30000, 1001};
  if (std::fabs(fps - 59.94) < 1e-9) out = {60000, 1001};
  return true;
}

std::string timecode_after(const std::string& timecode, Rate rate, long frames) {
  AVTimecode tc;
  if (av_timecode_init_from_string(&tc, AVRational{rate.num, rate.den}, timecode.c_str(), nullptr) != 0) return "";
  char buf[AV_TIMECODE_STR_SIZE];
  return av_timecode_make_string(&tc, buf, static_cast<int>(frames));
}

// --- Reading -------------------------------------------------------------------

struct ClipReader::State {
  AVFormatContext* fmt = nullptr;
  AVCodecContext* dec = nullptr;
  AVPacket* pkt = nullptr;
  AVFrame* frame = nullptr;
  AVFrame* full = nullptr;  // 4:4:4 (or 16-bit RGB) of the decoded frame
  SwsContext* sws = nullptr;
  int video = -1;
  std::vector<int> audio_of;  // stream index -> index among the audio streams, or -1
  std::vector<const AVStream*> audio;
  bool demux_done = false;
  long decoded = 0;
  int64_t first_pts = AV_NOPTS_VALUE;
  // What the last frame said about itself, for description().
  AVPixelFormat last_format = AV_PIX_FMT_NONE;
  Matrix matrix = kBT709;
  bool full_range = false;

  ~State() {
    sws_freeContext(sws);
    av_frame_free(&full);
    av_frame_free(&frame);
    av_packet_free(&pkt);
    avcodec_free_context(&dec);
    avformat_close_input(&fmt);
  }
};

ClipReader::ClipReader(const std::string& path) : s_(new State), path_(path) {
  quiet_ffmpeg();
  const std::string what = "cannot read '" + path + "'";
  std::error_code ec;
  if (!fs::exists(path, ec)) fail(kExitFailure, what + ": no such file");
  if (fs::is_directory(path, ec)) fail(kExitFailure, what + ": it is a folder");
  take_logged();
  int err = avformat_open_input(&s_->fmt, path.c_str(), nullptr, nullptr);
  if (err >= 0) err = avformat_find_stream_info(s_->fmt, nullptr);
  if (err == AVERROR_EOF) fail(kExitFailure, what + ": it ends before its first frame (empty or cut short)");
  check(err, what);
  AVFormatContext* f = s_->fmt;
  s_->video = av_find_best_stream(f, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  // Cover art and thumbnails are video streams of one picture, not the clip.
  if (s_->video >= 0 && (f->streams[s_->video]->disposition & AV_DISPOSITION_ATTACHED_PIC)) s_->video = -1;
  if (s_->video < 0) fail(kExitFailure, what + ": it has no video stream");
  AVStream* st = f->streams[s_->video];
  const AVCodec* codec = avcodec_find_decoder(st->codecpar->codec_id);
  if (!codec) {
    std::string tag(4, ' ');
    for (int k = 0; k < 4; ++k) {
      char c = static_cast<char>((st->codecpar->codec_tag >> (8 * k)) & 0xff);
      tag[k] = std::isprint(static_cast<unsigned char>(c)) ? c : '?';
    }
    fail(kExitFailure, what + ": its video codec is not supported (" +
                           (st->codecpar->codec_id == AV_CODEC_ID_NONE ? "'" + tag + "'"
                                                                       : avcodec_get_name(st->codecpar->codec_id)) +
                           ")");
  }
  s_->dec = avcodec_alloc_context3(codec);
  check(avcodec_parameters_to_context(s_->dec, st->codecpar), what);
  s_->dec->thread_count = kCodecThreads;
  s_->dec->pkt_timebase = st->time_base;
  check(avcodec_open2(s_->dec, codec, nullptr), what);
  if (s_->dec->width <= 0 || s_->dec->height <= 0) fail(kExitFailure, what + ": its video has no size");
  if (static_cast<long>(s_->dec->width) * s_->dec->height > (1L << 28))
    fail(kExitFailure, what + ": " + std::to_string(s_->dec->width) + "x" + std::to_string(s_->dec->height) +
                           " is too large");
  // What the stream says; each frame may say more.
  s_->matrix = matrix_of(s_->dec->colorspace, s_->dec->height);
  bool full = s_->dec->color_range == AVCOL_RANGE_JPEG;
  unjpeg(s_->dec->pix_fmt, full);
  s_->full_range = full;
  s_->pkt = av_packet_alloc();
  s_->frame = av_frame_alloc();
  s_->full = av_frame_alloc();

  AVRational r = st->avg_frame_rate.num > 0 && st->avg_frame_rate.den > 0 ? st->avg_frame_rate : st->r_frame_rate;
  if (r.num <= 0 || r.den <= 0) fail(kExitFailure, what + ": its video has no frame rate");
  rate_ = snap_rate(r);
  if (st->nb_frames > 0) {
    frames_ = static_cast<long>(st->nb_frames);
    frames_exact_ = true;
  } else if (st->duration > 0 && st->duration != AV_NOPTS_VALUE) {
    frames_ = std::lround(static_cast<double>(st->duration) * av_q2d(st->time_base) * rate_.fps());
  } else if (f->duration > 0) {
    frames_ = std::lround(static_cast<double>(f->duration) / AV_TIME_BASE * rate_.fps());
  }

  // The timecode: on the video stream (QuickTime), on its timecode track, or the file's (MXF).
  const AVDictionaryEntry* tc = av_dict_get(st->metadata, "timecode", nullptr, 0);
  for (unsigned k = 0; !tc && k < f->nb_streams; ++k) tc = av_dict_get(f->streams[k]->metadata, "timecode", nullptr, 0);
  if (!tc) tc = av_dict_get(f->metadata, "timecode", nullptr, 0);
  if (tc) timecode_ = tc->value;

  s_->audio_of.assign(f->nb_streams, -1);
  for (unsigned k = 0; k < f->nb_streams; ++k) {
    if (f->streams[k]->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
      if (static_cast<int>(k) != s_->video) f->streams[k]->discard = AVDISCARD_ALL;
      continue;
    }
    s_->audio_of[k] = static_cast<int>(s_->audio.size());
    s_->audio.push_back(f->streams[k]);
  }
}

ClipReader::~ClipReader() = default;

int ClipReader::width() const { return s_->dec->width; }
int ClipReader::height() const { return s_->dec->height; }

std::vector<const AVStream*> ClipReader::audio_streams() const { return s_->audio; }

std::string ClipReader::description() const {
  const AVCodecContext* d = s_->dec;
  std::string s = avcodec_get_name(d->codec_id);
  const char* profile = avcodec_profile_name(d->codec_id, d->profile);
  if (profile) s += std::string(" (") + profile + ")";
  AVPixelFormat pf = s_->last_format != AV_PIX_FMT_NONE ? s_->last_format : d->pix_fmt;
  if (const char* n = av_get_pix_fmt_name(pf)) s += std::string(", ") + n;
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(pf);
  if (desc && !(desc->flags & AV_PIX_FMT_FLAG_RGB))
    s += std::string(", ") + s_->matrix.name + " matrix, " + (s_->full_range ? "full" : "limited") + " range";
  return s;
}

bool ClipReader::next(ofxhost::Image* image, std::vector<AudioPacket>& audio) {
  State& s = *s_;
  for (;;) {
    int err = avcodec_receive_frame(s.dec, s.frame);
    if (err == 0) break;
    if (err == AVERROR_EOF) {
      if (s.decoded == 0) fail(kExitFailure, "cannot read '" + path_ + "': it has no video frames");
      if (frames_exact_ && s.decoded < frames_)
        fail(kExitFailure, "cannot read '" + path_ + "': it is truncated (" + std::to_string(s.decoded) + " of " +
                               std::to_string(frames_) + " frames could be read)");
      return false;
    }
    if (err != AVERROR(EAGAIN))
      fail(kExitFailure, "cannot read '" + path_ + "': frame " + std::to_string(s.decoded) + ": " + reason(err));
    if (s.demux_done) {
      // After the flush the decoder only answers EOF.
      avcodec_send_packet(s.dec, nullptr);
      continue;
    }
    err = av_read_frame(s.fmt, s.pkt);
    if (err == AVERROR_EOF) {
      s.demux_done = true;
      continue;
    }
    if (err < 0) fail(kExitFailure, "cannot read '" + path_ + "': after frame " + std::to_string(s.decoded) + ": " + reason(err));
    if (s.pkt->stream_index == s.video) {
      if (s.pkt->flags & AV_PKT_FLAG_CORRUPT)
        fail(kExitFailure, "cannot read '" + path_ + "': it is truncated or damaged near frame " + std::to_string(s.decoded));
      err = avcodec_send_packet(s.dec, s.pkt);
      av_packet_unref(s.pkt);
      if (err < 0 && err != AVERROR(EAGAIN))
        fail(kExitFailure, "cannot read '" + path_ + "': near frame " + std::to_string(s.decoded) + ": " + reason(err));
    } else if (s.pkt->stream_index < static_cast<int>(s.audio_of.size()) && s.audio_of[s.pkt->stream_index] >= 0) {
      AudioPacket a{s.audio_of[s.pkt->stream_index], Packet(av_packet_alloc())};
      av_packet_move_ref(a.packet.get(), s.pkt);
      audio.push_back(std::move(a));
    } else {
      av_packet_unref(s.pkt);
    }
  }

  AVFrame* fr = s.frame;
  const long index = s.decoded++;
  if ((fr->flags & AV_FRAME_FLAG_CORRUPT) || fr->decode_error_flags)
    fail(kExitFailure, "cannot read '" + path_ + "': frame " + std::to_string(index) + " is damaged");
  if (s.first_pts == AV_NOPTS_VALUE) s.first_pts = fr->best_effort_timestamp == AV_NOPTS_VALUE ? 0 : fr->best_effort_timestamp;
  if (!image) {
    av_frame_unref(fr);
    return true;
  }
  if (fr->width != image->width() || fr->height != image->height())
    fail(kExitFailure, "cannot read '" + path_ + "': frame " + std::to_string(index) + " changes size to " +
                           std::to_string(fr->width) + "x" + std::to_string(fr->height));

  // The frame's own tags, else the container's (some codecs carry none in the frame).
  const AVCodecParameters* par = s.fmt->streams[s.video]->codecpar;
  const AVColorSpace space = fr->colorspace != AVCOL_SPC_UNSPECIFIED ? fr->colorspace : par->color_space;
  bool full_range = (fr->color_range != AVCOL_RANGE_UNSPECIFIED ? fr->color_range : par->color_range) == AVCOL_RANGE_JPEG;
  const AVPixelFormat source = unjpeg(static_cast<AVPixelFormat>(fr->format), full_range);
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(source);
  if (!desc || (desc->flags & (AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_PAL)) ||
      !sws_isSupportedInput(source))
    fail(kExitFailure, "cannot read '" + path_ + "': its pixel format " +
                           (desc ? std::string(desc->name) : std::to_string(fr->format)) + " is not supported");
  const bool rgb = desc->flags & AV_PIX_FMT_FLAG_RGB;
  int bits = 16;
  const AVPixelFormat target = rgb ? AV_PIX_FMT_GBRP16 : yuv444_at(desc->comp[0].depth, bits);
  const int w = fr->width, h = fr->height;
  s.sws = sws_getCachedContext(s.sws, w, h, source, w, h, target, SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT,
                               nullptr, nullptr, nullptr);
  if (!s.sws) fail(kExitFailure, "cannot read '" + path_ + "': cannot convert " + desc->name);
  if (!rgb) {
    // Same range in and out: swscale only resamples the chroma.
    int* inv = nullptr;
    int* table = nullptr;
    int src_range = 0, dst_range = 0, brightness = 0, contrast = 0, saturation = 0;
    sws_getColorspaceDetails(s.sws, &inv, &src_range, &table, &dst_range, &brightness, &contrast, &saturation);
    sws_setColorspaceDetails(s.sws, inv, full_range, table, full_range, brightness, contrast, saturation);
  }
  if (s.full->format != target || s.full->width != w || s.full->height != h) {
    av_frame_unref(s.full);
    s.full->format = target;
    s.full->width = w;
    s.full->height = h;
    check(av_frame_get_buffer(s.full, 0), "cannot read '" + path_ + "'");
  }
  sws_scale(s.sws, fr->data, fr->linesize, 0, h, s.full->data, s.full->linesize);
  s.last_format = static_cast<AVPixelFormat>(fr->format);
  s.matrix = matrix_of(space, h);
  s.full_range = full_range;
  av_frame_unref(fr);

  // Files store the top row first; OFX images have y going up.
  const AVFrame* p = s.full;
  if (rgb) {
    const float k = 1.0f / 65535.0f;
    for (int y = 0; y < h; ++y) {
      const uint16_t* g = reinterpret_cast<const uint16_t*>(p->data[0] + static_cast<ptrdiff_t>(y) * p->linesize[0]);
      const uint16_t* b = reinterpret_cast<const uint16_t*>(p->data[1] + static_cast<ptrdiff_t>(y) * p->linesize[1]);
      const uint16_t* r = reinterpret_cast<const uint16_t*>(p->data[2] + static_cast<ptrdiff_t>(y) * p->linesize[2]);
      float* out = image->pixel(0, h - 1 - y);
      for (int x = 0; x < w; ++x, out += 4) {
        out[0] = r[x] * k;
        out[1] = g[x] * k;
        out[2] = b[x] * k;
        out[3] = 1.0f;
      }
    }
    return true;
  }
  const Levels lv = levels(bits, full_range);
  const double kr = s.matrix.kr, kb = s.matrix.kb, kg = 1.0 - kr - kb;
  const float y0 = static_cast<float>(lv.y0), ys = static_cast<float>(lv.ys);
  const float c0 = static_cast<float>(lv.c0), cs = static_cast<float>(lv.cs);
  const float rv = static_cast<float>(2.0 - 2.0 * kr), bu = static_cast<float>(2.0 - 2.0 * kb);
  const float gu = static_cast<float>(2.0 * kb * (1.0 - kb) / kg), gv = static_cast<float>(2.0 * kr * (1.0 - kr) / kg);
  auto convert = [&](auto sample) {
    using T = decltype(sample);
    for (int y = 0; y < h; ++y) {
      const T* yp = reinterpret_cast<const T*>(p->data[0] + static_cast<ptrdiff_t>(y) * p->linesize[0]);
      const T* up = reinterpret_cast<const T*>(p->data[1] + static_cast<ptrdiff_t>(y) * p->linesize[1]);
      const T* vp = reinterpret_cast<const T*>(p->data[2] + static_cast<ptrdiff_t>(y) * p->linesize[2]);
      float* out = image->pixel(0, h - 1 - y);
      for (int x = 0; x < w; ++x, out += 4) {
        const float luma = (static_cast<float>(yp[x]) - y0) * ys;
        const float cb = (static_cast<float>(up[x]) - c0) * cs;
        const float cr = (static_cast<float>(vp[x]) - c0) * cs;
        out[0] = luma + rv * cr;
        out[1] = luma - gu * cb - gv * cr;
        out[2] = luma + bu * cb;
        out[3] = 1.0f;
      }
    }
  };
  if (bits == 8)
    convert(uint8_t{});
  else
    convert(uint16_t{});
  return true;
}

void ClipReader::drain_audio(double seconds, std::vector<AudioPacket>& audio) {
  State& s = *s_;
  if (s.audio.empty()) return;
  while (!s.demux_done) {
    int err = av_read_frame(s.fmt, s.pkt);
    if (err < 0) {
      s.demux_done = true;
      break;
    }
    const int k = s.pkt->stream_index;
    if (k >= static_cast<int>(s.audio_of.size()) || s.audio_of[k] < 0) {
      av_packet_unref(s.pkt);
      continue;
    }
    AudioPacket a{s.audio_of[k], Packet(av_packet_alloc())};
    av_packet_move_ref(a.packet.get(), s.pkt);
    const bool past = audio_seconds(a) >= seconds;
    audio.push_back(std::move(a));
    // Packets of one stream come in order; once every stream is past the end, no more are wanted.
    if (past) {
      bool all_past = true;
      std::vector<bool> seen(s.audio.size(), false);
      for (auto it = audio.rbegin(); it != audio.rend(); ++it)
        if (!seen[it->stream]) {
          seen[it->stream] = true;
          if (audio_seconds(*it) < seconds) all_past = false;
        }
      if (all_past && std::all_of(seen.begin(), seen.end(), [](bool b) { return b; })) break;
    }
  }
}

double ClipReader::start_seconds() const {
  return s_->first_pts == AV_NOPTS_VALUE ? 0.0 : s_->first_pts * av_q2d(s_->fmt->streams[s_->video]->time_base);
}

double ClipReader::audio_seconds(const AudioPacket& a) const {
  const AVStream* st = s_->audio[a.stream];
  const int64_t pts = a.packet->pts != AV_NOPTS_VALUE ? a.packet->pts : a.packet->dts;
  return (pts == AV_NOPTS_VALUE ? 0.0 : pts * av_q2d(st->time_base)) - start_seconds();
}

// --- Writing -------------------------------------------------------------------

struct ClipWriter::State {
  const CodecChoice* choice = nullptr;
  AVFormatContext* fmt = nullptr;
  AVCodecContext* enc = nullptr;
  AVStream* video = nullptr;
  std::vector<AVStream*> audio_out;
  std::vector<AVRational> audio_in_tb;
  AVFrame* yuv = nullptr;    // 4:4:4 at the encoder's depth, filled here
  AVFrame* frame = nullptr;  // what the encoder takes
  SwsContext* sws = nullptr;
  AVPacket* pkt = nullptr;
  std::string tmp;
  bool opened = false, finished = false;

  ~State() {
    if (opened && !finished) {
      // Abandoned: close the file without a trailer and remove it.
      avio_closep(&fmt->pb);
    }
    if (!finished && !tmp.empty()) {
      ::unlink(tmp.c_str());
      gPendingClip[0] = '\0';
    }
    sws_freeContext(sws);
    av_frame_free(&yuv);
    av_frame_free(&frame);
    av_packet_free(&pkt);
    avcodec_free_context(&enc);
    avformat_free_context(fmt);
  }
};

ClipWriter::ClipWriter(const std::string& path, const ClipFormat& cf, const std::vector<const AVStream*>& audio)
    : s_(new State), path_(path) {
  quiet_ffmpeg();
  State& s = *s_;
  const std::string what = "cannot write '" + path + "'";
  const std::string ext = lower_ext(path);
  if (!is_clip_output_name(path))
    fail(kExitFailure, what + ": clips are written as .mov, .mp4, .mkv or .mxf");
  s.choice = &codec_choice(cf.codec);
  const CodecChoice& choice = *s.choice;

  std::error_code ec;
  fs::path dir = fs::path(path).parent_path();
  if (dir.empty()) dir = ".";
  if (fs::is_directory(path, ec)) fail(kExitFailure, what + ": it is a folder");
  if (!fs::is_directory(dir, ec)) fail(kExitFailure, what + ": no folder " + dir.string());
  if (::access(dir.c_str(), W_OK) != 0) fail(kExitFailure, what + ": the folder is not writable");

  take_logged();
  check(avformat_alloc_output_context2(&s.fmt, nullptr, nullptr, path.c_str()), what);
  const AVCodec* codec = avcodec_find_encoder_by_name(choice.encoder);
  if (!codec) fail(kExitFailure, what + ": this FFmpeg has no " + choice.encoder + " encoder for " + choice.words);
  if (avformat_query_codec(s.fmt->oformat, codec->id, FF_COMPLIANCE_NORMAL) != 1)
    fail(kExitUsage, "--codec " + cf.codec + ": " + choice.words + " cannot go into " + ext + " (see --help)");
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(choice.format);
  if ((cf.width % (1 << desc->log2_chroma_w)) || (cf.height % (1 << desc->log2_chroma_h)))
    fail(kExitFailure, what + ": " + choice.words + " needs an even " + (cf.width % 2 ? "width" : "height") + ", and the frames are " +
                           std::to_string(cf.width) + "x" + std::to_string(cf.height));

  AVCodecContext* e = s.enc = avcodec_alloc_context3(codec);
  e->width = cf.width;
  e->height = cf.height;
  e->pix_fmt = choice.format;
  e->time_base = AVRational{cf.rate.den, cf.rate.num};
  e->framerate = AVRational{cf.rate.num, cf.rate.den};
  e->sample_aspect_ratio = AVRational{1, 1};
  e->color_primaries = AVCOL_PRI_BT709;
  e->color_trc = AVCOL_TRC_BT709;
  e->colorspace = AVCOL_SPC_BT709;
  e->color_range = AVCOL_RANGE_MPEG;
  e->chroma_sample_location = AVCHROMA_LOC_LEFT;
  const bool heavy = codec->id == AV_CODEC_ID_H264 || codec->id == AV_CODEC_ID_HEVC;
  e->thread_count = heavy ? kHeavyEncoderThreads : kCodecThreads;
  if (s.fmt->oformat->flags & AVFMT_GLOBALHEADER) e->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  AVDictionary* opts = nullptr;
  if (choice.profile != FF_PROFILE_UNKNOWN) e->profile = choice.profile;
  if (choice.variant) av_dict_set(&opts, "profile", choice.variant, 0);
  if (codec->id == AV_CODEC_ID_H264) {
    av_dict_set(&opts, "crf", "18", 0);
    av_dict_set(&opts, "preset", "medium", 0);
  } else if (codec->id == AV_CODEC_ID_HEVC) {
    av_dict_set(&opts, "crf", "20", 0);
    av_dict_set(&opts, "x265-params", "log-level=error", 0);
  }
  int err = avcodec_open2(e, codec, &opts);
  av_dict_free(&opts);
  check(err, what + ": cannot open the " + choice.words + " encoder");

  s.video = avformat_new_stream(s.fmt, nullptr);
  check(avcodec_parameters_from_context(s.video->codecpar, e), what);
  s.video->time_base = e->time_base;
  s.video->avg_frame_rate = e->framerate;
  s.video->r_frame_rate = e->framerate;
  // Apple's players want H.265 tagged hvc1 in QuickTime and MP4.
  if (codec->id == AV_CODEC_ID_HEVC && (ext == ".mov" || ext == ".mp4" || ext == ".m4v"))
    s.video->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
  if (!cf.timecode.empty()) {
    AVTimecode tc;
    if (av_timecode_init_from_string(&tc, AVRational{cf.rate.num, cf.rate.den}, cf.timecode.c_str(), nullptr) == 0) {
      av_dict_set(&s.video->metadata, "timecode", cf.timecode.c_str(), 0);
      av_dict_set(&s.fmt->metadata, "timecode", cf.timecode.c_str(), 0);
    }
  }

  for (const AVStream* in : audio) {
    const AVCodecParameters* par = in->codecpar;
    if (avformat_query_codec(s.fmt->oformat, par->codec_id, FF_COMPLIANCE_NORMAL) != 1)
      fail(kExitFailure, what + ": its audio (" + avcodec_get_name(par->codec_id) + ") cannot go into " + ext +
                             " unchanged; write a .mov or .mkv");
    AVStream* out = avformat_new_stream(s.fmt, nullptr);
    check(avcodec_parameters_copy(out->codecpar, par), what);
    out->codecpar->codec_tag = 0;
    out->time_base = in->time_base;
    av_dict_copy(&out->metadata, in->metadata, 0);
    out->disposition = in->disposition;
    s.audio_out.push_back(out);
    s.audio_in_tb.push_back(in->time_base);
  }

  s.pkt = av_packet_alloc();
  s.yuv = av_frame_alloc();
  int bits = 0;
  s.yuv->format = yuv444_at(choice.bits, bits);
  s.yuv->width = cf.width;
  s.yuv->height = cf.height;
  check(av_frame_get_buffer(s.yuv, 0), what);
  if (choice.format != s.yuv->format) {
    s.frame = av_frame_alloc();
    s.frame->format = choice.format;
    s.frame->width = cf.width;
    s.frame->height = cf.height;
    check(av_frame_get_buffer(s.frame, 0), what);
    s.sws = sws_getContext(cf.width, cf.height, static_cast<AVPixelFormat>(s.yuv->format), cf.width, cf.height,
                           choice.format, SWS_BICUBIC | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
    if (!s.sws) fail(kExitFailure, what + ": cannot convert to " + av_get_pix_fmt_name(choice.format));
  }
}

ClipWriter::~ClipWriter() = default;

void ClipWriter::start() {
  State& s = *s_;
  const std::string what = "cannot write '" + path_ + "'";
  fs::path target(path_);
  s.tmp = (target.parent_path() / ("." + target.stem().string() + ".tmp" + std::to_string(::getpid()) +
                                   target.extension().string()))
              .string();
  std::snprintf(gPendingClip, sizeof gPendingClip, "%s", s.tmp.c_str());
  take_logged();
  check(avio_open(&s.fmt->pb, s.tmp.c_str(), AVIO_FLAG_WRITE), what);
  s.opened = true;
  // The QuickTime muxer writes the stream's colour tags as the colr atom by itself.
  check(avformat_write_header(s.fmt, nullptr), what);
}

void ClipWriter::write(const ofxhost::Image& image) {
  State& s = *s_;
  const std::string what = "cannot write '" + path_ + "'";
  const int w = s.enc->width, h = s.enc->height;
  int bits = 0;
  yuv444_at(s.choice->bits, bits);
  const Levels lv = levels(bits, false);
  const double kr = kBT709.kr, kb = kBT709.kb, kg = 1.0 - kr - kb;
  const float fr = static_cast<float>(kr), fg = static_cast<float>(kg), fb = static_cast<float>(kb);
  const float y0 = static_cast<float>(lv.y0), yk = static_cast<float>(1.0 / lv.ys);
  const float c0 = static_cast<float>(lv.c0);
  const float ub = static_cast<float>(1.0 / lv.cs / (2.0 - 2.0 * kb)), vr = static_cast<float>(1.0 / lv.cs / (2.0 - 2.0 * kr));
  // Legal codes only: 1..254 at 8 bits, 4..1019 at 10 (the others are timing codes on SDI).
  const float lo = static_cast<float>(std::ldexp(1.0, bits - 8)), hi = static_cast<float>(std::ldexp(1.0, bits) - 1) - lo;
  // std::max(lo, NaN) is lo, so NaN becomes the lowest code; branch-free, so it vectorises.
  auto code = [lo, hi](float v) { return static_cast<int>(std::min(hi, std::max(lo, v)) + 0.5f); };
  check(av_frame_make_writable(s.yuv), what);
  AVFrame* p = s.yuv;
  auto convert = [&](auto sample) {
    using T = decltype(sample);
    for (int y = 0; y < h; ++y) {
      T* yp = reinterpret_cast<T*>(p->data[0] + static_cast<ptrdiff_t>(y) * p->linesize[0]);
      T* up = reinterpret_cast<T*>(p->data[1] + static_cast<ptrdiff_t>(y) * p->linesize[1]);
      T* vp = reinterpret_cast<T*>(p->data[2] + static_cast<ptrdiff_t>(y) * p->linesize[2]);
      const float* in = image.pixel(0, h - 1 - y);
      for (int x = 0; x < w; ++x, in += 4) {
        const float luma = fr * in[0] + fg * in[1] + fb * in[2];
        yp[x] = static_cast<T>(code(y0 + yk * luma));
        up[x] = static_cast<T>(code(c0 + ub * (in[2] - luma)));
        vp[x] = static_cast<T>(code(c0 + vr * (in[0] - luma)));
      }
    }
  };
  if (bits == 8)
    convert(uint8_t{});
  else
    convert(uint16_t{});

  AVFrame* f = s.yuv;
  if (s.sws) {
    check(av_frame_make_writable(s.frame), what);
    sws_scale(s.sws, s.yuv->data, s.yuv->linesize, 0, h, s.frame->data, s.frame->linesize);
    f = s.frame;
  }
  f->pts = written_;
  f->color_primaries = AVCOL_PRI_BT709;
  f->color_trc = AVCOL_TRC_BT709;
  f->colorspace = AVCOL_SPC_BT709;
  f->color_range = AVCOL_RANGE_MPEG;
  check(avcodec_send_frame(s.enc, f), what + ": frame " + std::to_string(written_));
  ++written_;
  drain(false);
}

void ClipWriter::drain(bool flushing) {
  State& s = *s_;
  const std::string& path = path_;
  for (;;) {
    int err = avcodec_receive_packet(s.enc, s.pkt);
    if (err == AVERROR(EAGAIN) || (flushing && err == AVERROR_EOF)) return;
    check(err, "cannot write '" + path + "'");
    av_packet_rescale_ts(s.pkt, s.enc->time_base, s.video->time_base);
    s.pkt->stream_index = s.video->index;
    check(av_interleaved_write_frame(s.fmt, s.pkt), "cannot write '" + path + "'");
  }
}

void ClipWriter::write_audio(AudioPacket& a, double shift) {
  State& s = *s_;
  if (a.stream < 0 || a.stream >= static_cast<int>(s.audio_out.size())) return;
  AVPacket* p = a.packet.get();
  const AVRational tb = s.audio_in_tb[a.stream];
  const int64_t by = av_rescale_q(std::llround(shift * 1e6), AVRational{1, 1000000}, tb);
  if (p->pts != AV_NOPTS_VALUE) p->pts -= by;
  if (p->dts != AV_NOPTS_VALUE) p->dts -= by;
  av_packet_rescale_ts(p, tb, s.audio_out[a.stream]->time_base);
  p->stream_index = s.audio_out[a.stream]->index;
  p->pos = -1;
  check(av_interleaved_write_frame(s.fmt, p), "cannot write '" + path_ + "'");
}

void ClipWriter::finish() {
  State& s = *s_;
  const std::string what = "cannot write '" + path_ + "'";
  check(avcodec_send_frame(s.enc, nullptr), what);
  drain(true);
  check(av_write_trailer(s.fmt), what);
  const int io_error = s.fmt->pb->error;
  check(avio_closep(&s.fmt->pb), what);
  check(io_error, what);
  s.opened = false;
  if (std::rename(s.tmp.c_str(), path_.c_str()) != 0) fail(kExitFailure, what + ": " + std::strerror(errno));
  s.finished = true;
  gPendingClip[0] = '\0';
}

void remove_pending_clip() {
  if (gPendingClip[0]) ::unlink(gPendingClip);
}

}  // namespace varno_render
