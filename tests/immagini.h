// Float pictures as the tests read and write them through OpenImageIO.
#pragma once

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

struct Picture {
  int w = 0, h = 0, nch = 0;
  std::vector<float> px;  // top row first
};

// Empty when the file cannot be read.
inline Picture read_picture(const std::string& path) {
  Picture p;
  auto in = OIIO::ImageInput::open(path);
  if (!in) return p;
  const OIIO::ImageSpec s = in->spec_dimensions(0);
  p = {s.width, s.height, s.nchannels, std::vector<float>(size_t(s.width) * s.height * s.nchannels)};
  if (!in->read_image(0, 0, 0, p.nch, OIIO::TypeDesc::FLOAT, p.px.data())) p = {};
  return p;
}

inline void write_picture(const std::string& path, const Picture& p) {
  auto o = OIIO::ImageOutput::create(path);
  ASSERT_TRUE(o) << path;
  ASSERT_TRUE(o->open(path, OIIO::ImageSpec(p.w, p.h, p.nch, OIIO::TypeDesc::FLOAT))) << path;
  ASSERT_TRUE(o->write_image(OIIO::TypeDesc::FLOAT, p.px.data())) << path;
  o->close();
}

// Two non-empty runs of the same floats, bit for bit.
inline bool same_bits(const std::vector<float>& a, const std::vector<float>& b) {
  return !a.empty() && a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

}  // namespace
