// Clips made and read back in the tests with FFmpeg's libraries: frames of known code values
// encoded with a chosen codec, depth and colour tags, an optional AAC track and timecode; and
// what an output clip says about itself.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace kit {

namespace fs = std::filesystem;

struct Plan {
  std::string encoder = "libx264";
  AVPixelFormat format = AV_PIX_FMT_YUV420P;
  int width = 64, height = 48, frames = 3;
  AVRational rate{25, 1};
  // Untagged unless set.
  AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
  AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
  AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
  AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
  std::map<std::string, std::string> options;  // the encoder's, e.g. lossless
  int profile = FF_PROFILE_UNKNOWN;
  bool video = true;          // false: a file with audio alone
  bool audio = false;         // an audio track as long as the video
  std::string audio_codec = "aac";  // or pcm_s16le
  std::string timecode;       // "hh:mm:ss:ff" or ""
  std::string movflags;       // e.g. "+faststart"
};

// A 10-bit ProRes HQ clip tagged BT.709, with or without sound.
inline Plan prores(int frames, bool audio = false, AVRational rate = {25, 1}) {
  Plan s;
  s.encoder = "prores_ks";
  s.format = AV_PIX_FMT_YUV422P10;
  s.profile = FF_PROFILE_PRORES_HQ;
  s.matrix = AVCOL_SPC_BT709;
  s.frames = frames;
  s.rate = rate;
  s.audio = audio;
  return s;
}

inline int bits_of(AVPixelFormat f) { return av_pix_fmt_desc_get(f)->comp[0].depth; }

// The code value of plane p (0 Y, 1 Cb, 2 Cr) of frame k in the 16x16 block (bx, by): flat
// blocks, so that every codec keeps them and the chroma inside a block needs no interpolation.
// Luma reaches below black and above white.
inline int code(int k, int p, int bx, int by, int bits) {
  const unsigned h = static_cast<unsigned>((k * 7919 + bx * 104729 + by * 1299709 + p * 15485863) % 1000003);
  const double unit = std::ldexp(1.0, bits - 8);
  const double lo = p == 0 ? 4 : 16, hi = p == 0 ? 252 : 240;  // in 8-bit units
  return static_cast<int>(std::lround((lo + (hi - lo) * (h % 1000) / 999.0) * unit));
}

inline void check(int err, const char* what) {
  if (err < 0) {
    char buf[AV_ERROR_MAX_STRING_SIZE];
    av_strerror(err, buf, sizeof buf);
    FAIL() << what << ": " << buf;
  }
}

// Encodes plan.frames frames of code() values into `path`.
inline void make_clip(const fs::path& path, const Plan& s) {
  av_log_set_level(AV_LOG_ERROR);
  AVFormatContext* fmt = nullptr;
  ASSERT_GE(avformat_alloc_output_context2(&fmt, nullptr, nullptr, path.c_str()), 0) << path;
  const AVCodec* vc = avcodec_find_encoder_by_name(s.encoder.c_str());
  ASSERT_TRUE(vc) << s.encoder;
  AVCodecContext* ve = avcodec_alloc_context3(vc);
  ve->width = s.width;
  ve->height = s.height;
  ve->pix_fmt = s.format;
  ve->time_base = av_inv_q(s.rate);
  ve->framerate = s.rate;
  ve->colorspace = s.matrix;
  ve->color_range = s.range;
  ve->color_primaries = s.primaries;
  ve->color_trc = s.transfer;
  ve->profile = s.profile;
  ve->thread_count = 1;
  ve->gop_size = 12;
  if (fmt->oformat->flags & AVFMT_GLOBALHEADER) ve->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  AVDictionary* opts = nullptr;
  std::map<std::string, std::string> options = s.options;
  if (s.encoder == "libx265")
    options["x265-params"] = (options.count("x265-params") ? options["x265-params"] + ":" : "") + "log-level=error";
  for (auto& [k, v] : options) av_dict_set(&opts, k.c_str(), v.c_str(), 0);
  check(avcodec_open2(ve, vc, &opts), "open the video encoder");
  av_dict_free(&opts);
  AVStream* vs = s.video ? avformat_new_stream(fmt, nullptr) : nullptr;
  if (vs) avcodec_parameters_from_context(vs->codecpar, ve);
  if (vs) {
    vs->time_base = ve->time_base;
    vs->avg_frame_rate = s.rate;
    if (!s.timecode.empty()) av_dict_set(&vs->metadata, "timecode", s.timecode.c_str(), 0);
  }

  AVCodecContext* ae = nullptr;
  AVStream* as = nullptr;
  if (s.audio) {
    const AVCodec* ac = avcodec_find_encoder_by_name(s.audio_codec.c_str());
    ASSERT_TRUE(ac) << s.audio_codec;
    ae = avcodec_alloc_context3(ac);
    ae->sample_rate = 48000;
    ae->sample_fmt = ac->sample_fmts[0];
    av_channel_layout_default(&ae->ch_layout, 2);
    ae->bit_rate = 128000;
    ae->time_base = AVRational{1, 48000};
    if (fmt->oformat->flags & AVFMT_GLOBALHEADER) ae->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    check(avcodec_open2(ae, ac, nullptr), "open the audio encoder");
    as = avformat_new_stream(fmt, nullptr);
    avcodec_parameters_from_context(as->codecpar, ae);
    as->time_base = ae->time_base;
  }
  check(avio_open(&fmt->pb, path.c_str(), AVIO_FLAG_WRITE), "open the file");
  AVDictionary* mux = nullptr;
  if (!s.movflags.empty()) av_dict_set(&mux, "movflags", s.movflags.c_str(), 0);
  check(avformat_write_header(fmt, &mux), "write the header");
  av_dict_free(&mux);

  AVPacket* pkt = av_packet_alloc();
  auto drain = [&](AVCodecContext* enc, AVStream* st) {
    while (avcodec_receive_packet(enc, pkt) == 0) {
      av_packet_rescale_ts(pkt, enc->time_base, st->time_base);
      pkt->stream_index = st->index;
      av_interleaved_write_frame(fmt, pkt);
    }
  };
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(s.format);
  const int bits = bits_of(s.format);
  AVFrame* f = av_frame_alloc();
  f->format = s.format;
  f->width = s.width;
  f->height = s.height;
  av_frame_get_buffer(f, 0);
  for (int k = 0; vs && k < s.frames; ++k) {
    av_frame_make_writable(f);
    for (int p = 0; p < 3; ++p) {
      const int sx = p ? d->log2_chroma_w : 0, sy = p ? d->log2_chroma_h : 0;
      for (int y = 0; y < (s.height >> sy); ++y)
        for (int x = 0; x < (s.width >> sx); ++x) {
          const int v = code(k, p, (x << sx) / 16, (y << sy) / 16, bits);
          uint8_t* row = f->data[p] + static_cast<ptrdiff_t>(y) * f->linesize[p];
          if (bits > 8)
            reinterpret_cast<uint16_t*>(row)[x] = static_cast<uint16_t>(v);
          else
            row[x] = static_cast<uint8_t>(v);
        }
    }
    f->pts = k;
    f->colorspace = s.matrix;
    f->color_range = s.range;
    f->color_primaries = s.primaries;
    f->color_trc = s.transfer;
    check(avcodec_send_frame(ve, f), "encode a frame");
    drain(ve, vs);
  }
  if (vs) {
    avcodec_send_frame(ve, nullptr);
    drain(ve, vs);
  }
  if (ae) {
    // A sine as long as the video.
    const long samples = av_rescale(s.frames, 48000L * s.rate.den, s.rate.num);
    AVFrame* a = av_frame_alloc();
    const int step = ae->frame_size > 0 ? ae->frame_size : 1024;
    for (long t = 0; t < samples; t += step) {
      a->format = ae->sample_fmt;
      a->sample_rate = 48000;
      av_channel_layout_copy(&a->ch_layout, &ae->ch_layout);
      a->nb_samples = step;
      av_frame_get_buffer(a, 0);
      for (int c = 0; c < 2; ++c)
        for (int i = 0; i < a->nb_samples; ++i) {
          const float v = 0.25f * std::sin(0.0576f * (t + i) * (c + 1));
          if (ae->sample_fmt == AV_SAMPLE_FMT_FLTP)
            reinterpret_cast<float*>(a->data[c])[i] = v;
          else  // interleaved 16-bit
            reinterpret_cast<int16_t*>(a->data[0])[2 * i + c] = static_cast<int16_t>(v * 32767);
        }
      a->pts = t;
      avcodec_send_frame(ae, a);
      av_frame_unref(a);
      drain(ae, as);
    }
    avcodec_send_frame(ae, nullptr);
    drain(ae, as);
    av_frame_free(&a);
  }
  av_write_trailer(fmt);
  avio_closep(&fmt->pb);
  av_frame_free(&f);
  av_packet_free(&pkt);
  avcodec_free_context(&ve);
  avcodec_free_context(&ae);
  avformat_free_context(fmt);
}

// What a clip says about itself, read back with the libraries.
struct Probe {
  bool ok = false;
  std::string codec, profile, timecode;
  uint32_t tag = 0;
  AVPixelFormat format = AV_PIX_FMT_NONE;
  int width = 0, height = 0;
  AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
  AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
  AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
  AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
  AVRational rate{0, 1};
  long frames = 0;  // decoded
  std::vector<std::string> audio;  // each audio packet's bytes
  std::vector<double> audio_times;  // and its start, in seconds
  std::vector<std::vector<uint16_t>> luma;  // each frame's Y plane (at the stream's depth)
};

inline Probe probe(const fs::path& path) {
  Probe p;
  av_log_set_level(AV_LOG_QUIET);
  AVFormatContext* fmt = nullptr;
  if (avformat_open_input(&fmt, path.c_str(), nullptr, nullptr) < 0) return p;
  avformat_find_stream_info(fmt, nullptr);
  int v = av_find_best_stream(fmt, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (v < 0) {
    avformat_close_input(&fmt);
    return p;
  }
  AVStream* st = fmt->streams[v];
  const AVCodec* codec = avcodec_find_decoder(st->codecpar->codec_id);
  AVCodecContext* dec = avcodec_alloc_context3(codec);
  avcodec_parameters_to_context(dec, st->codecpar);
  dec->thread_count = 1;
  avcodec_open2(dec, codec, nullptr);
  p.codec = avcodec_get_name(st->codecpar->codec_id);
  if (const char* n = avcodec_profile_name(st->codecpar->codec_id, st->codecpar->profile)) p.profile = n;
  p.tag = st->codecpar->codec_tag;
  p.format = static_cast<AVPixelFormat>(st->codecpar->format);
  p.width = st->codecpar->width;
  p.height = st->codecpar->height;
  p.primaries = st->codecpar->color_primaries;
  p.transfer = st->codecpar->color_trc;
  p.matrix = st->codecpar->color_space;
  p.range = st->codecpar->color_range;
  p.rate = st->avg_frame_rate;
  if (auto* e = av_dict_get(st->metadata, "timecode", nullptr, 0)) p.timecode = e->value;
  AVPacket* pkt = av_packet_alloc();
  AVFrame* f = av_frame_alloc();
  auto take = [&] {
    while (avcodec_receive_frame(dec, f) == 0) {
      ++p.frames;
      const int bytes = kit::bits_of(static_cast<AVPixelFormat>(f->format)) > 8 ? 2 : 1;
      std::vector<uint16_t> y;
      for (int r = 0; r < f->height; ++r)
        for (int x = 0; x < f->width; ++x) {
          const uint8_t* row = f->data[0] + static_cast<ptrdiff_t>(r) * f->linesize[0];
          y.push_back(bytes == 2 ? reinterpret_cast<const uint16_t*>(row)[x] : row[x]);
        }
      p.luma.push_back(std::move(y));
      av_frame_unref(f);
    }
  };
  while (av_read_frame(fmt, pkt) >= 0) {
    AVStream* s = fmt->streams[pkt->stream_index];
    if (pkt->stream_index == v) {
      avcodec_send_packet(dec, pkt);
      take();
    } else if (s->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
      p.audio.emplace_back(reinterpret_cast<const char*>(pkt->data), pkt->size);
      p.audio_times.push_back(pkt->pts * av_q2d(s->time_base));
    }
    av_packet_unref(pkt);
  }
  avcodec_send_packet(dec, nullptr);
  take();
  p.ok = true;
  av_frame_free(&f);
  av_packet_free(&pkt);
  avcodec_free_context(&dec);
  avformat_close_input(&fmt);
  return p;
}

// Where each video packet ends in the file, in the order they are stored.
inline std::vector<int64_t> packet_ends(const fs::path& path) {
  std::vector<int64_t> ends;
  AVFormatContext* fmt = nullptr;
  if (avformat_open_input(&fmt, path.c_str(), nullptr, nullptr) < 0) return ends;
  AVPacket* pkt = av_packet_alloc();
  while (av_read_frame(fmt, pkt) >= 0) {
    if (fmt->streams[pkt->stream_index]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) ends.push_back(pkt->pos + pkt->size);
    av_packet_unref(pkt);
  }
  av_packet_free(&pkt);
  avformat_close_input(&fmt);
  return ends;
}

inline std::string bytes_of(const fs::path& p) {
  std::ifstream f(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

}  // namespace kit
