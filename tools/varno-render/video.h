// Clips through FFmpeg's libraries: a reader that turns each video frame into camera code
// values for the plug-in, and a writer that encodes rendered frames, copies the input's
// audio and keeps its timecode.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ofx_host.h"

struct AVPacket;
struct AVStream;

namespace varno_render {

// Whether a file name is a clip (by its extension), as input or as output.
bool is_clip_name(const std::string& path);
bool is_clip_output_name(const std::string& path);

// --codec values, in the order --help lists them.
const std::vector<std::string>& clip_codec_names();
// The codec an output clip gets without --codec: ProRes 422 HQ in .mov, H.264 in .mp4 ...
std::string default_clip_codec(const std::string& output);

struct PacketFree {
  void operator()(AVPacket* p) const;
};
using Packet = std::unique_ptr<AVPacket, PacketFree>;

// One audio packet of the input, with the index of its stream among the input's audio streams.
struct AudioPacket {
  int stream = 0;
  Packet packet;
};

struct Rate {
  int num = 24, den = 1;  // frames per second, num/den
  double fps() const { return static_cast<double>(num) / den; }
};

// Reads "24", "23.976", "29.97", "30000/1001" or "25/1". False when it is not a positive rate.
bool parse_rate(const std::string& text, Rate& out);

// The timecode `frames` frames after `timecode` at this rate, or "" when it is not a timecode.
std::string timecode_after(const std::string& timecode, Rate rate, long frames);

class ClipReader {
 public:
  // Opens the clip and its first video stream. Throws Failure(kExitFailure) naming the file.
  explicit ClipReader(const std::string& path);
  ~ClipReader();
  ClipReader(const ClipReader&) = delete;
  ClipReader& operator=(const ClipReader&) = delete;

  const std::string& path() const { return path_; }
  int width() const;
  int height() const;
  Rate rate() const { return rate_; }
  // The frames the container says it holds, or an estimate from its duration (frame_count_exact
  // false), or 0 when it tells neither.
  long frame_count() const { return frames_; }
  bool frame_count_exact() const { return frames_exact_; }
  // "hh:mm:ss:ff" of the first frame, or "" when the clip has none.
  const std::string& timecode() const { return timecode_; }
  // "ProRes 422 HQ, yuv422p10le, BT.709 matrix, limited range"
  std::string description() const;

  // The input's audio streams, for the writer to copy.
  std::vector<const AVStream*> audio_streams() const;

  // Decodes the next frame in display order into `image` (whose bounds are the clip's size) as
  // camera code values; with image null the frame is decoded and skipped. Audio packets read on
  // the way are appended to `audio`. False at the end of the clip. Throws Failure naming the
  // file and the frame when the clip turns out to be broken.
  bool next(ofxhost::Image* image, std::vector<AudioPacket>& audio);

  // After the last frame wanted: the audio packets of the rest of the file, up to `seconds` from
  // the first frame.
  void drain_audio(double seconds, std::vector<AudioPacket>& audio);

  // Seconds from the first video frame at which an audio packet starts.
  double audio_seconds(const AudioPacket& a) const;
  // Where the first video frame stands in the file, in seconds (known after the first next()).
  double start_seconds() const;

 private:
  struct State;
  std::unique_ptr<State> s_;
  std::string path_;
  Rate rate_;
  long frames_ = 0;
  bool frames_exact_ = false;
  std::string timecode_;
};

struct ClipFormat {
  std::string codec;  // one of clip_codec_names()
  int width = 0, height = 0;
  Rate rate;
  std::string timecode;  // "" for none
};

class ClipWriter {
 public:
  // Prepares `path` for these frames and a copy of these audio streams: checks that the codec
  // fits the container and the size, and that the audio can go in unchanged. Throws
  // Failure(kExitUsage) for a codec or container that cannot take it, Failure(kExitFailure)
  // naming the file otherwise. Nothing is written before start().
  ClipWriter(const std::string& path, const ClipFormat& format, const std::vector<const AVStream*>& audio);
  ~ClipWriter();  // without finish(), the temporary file is removed
  ClipWriter(const ClipWriter&) = delete;
  ClipWriter& operator=(const ClipWriter&) = delete;

  // Opens the temporary file beside the output and writes the header.
  void start();
  // Encodes one rendered frame (display-referred BT.709 RGB) as the next frame.
  void write(const ofxhost::Image& image);
  // Copies one audio packet, `shift` seconds earlier than in the input.
  void write_audio(AudioPacket& a, double shift);
  // Flushes the encoder, writes the trailer and renames the file over the output.
  void finish();

  long frames_written() const { return written_; }

 private:
  void drain(bool flushing);  // encoded packets into the file

  struct State;
  std::unique_ptr<State> s_;
  std::string path_;
  long written_ = 0;
};

// Removes the temporary file of a clip being written (for signal handlers).
void remove_pending_clip();

}  // namespace varno_render
