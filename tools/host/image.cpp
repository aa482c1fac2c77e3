// Host-side float RGBA images with any bounds and row bytes.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "host_internal.h"

namespace ofxhost {

namespace {
constexpr size_t kGuard = 256;           // bytes before and after the rows
constexpr unsigned char kPattern = 0xA5;  // what untouched bytes hold
}  // namespace

Image::Image(OfxRectI bounds, long row_bytes) : Image(bounds, row_bytes, 16, kGuard) {}

Image Image::in_format(OfxRectI bounds, const std::string& depth, const std::string& components) {
  const size_t canale = depth == "OfxBitDepthByte" ? 1 : depth == "OfxBitDepthFloat" ? 4 : 2;
  const size_t canali = components == "OfxImageComponentAlpha" ? 1 : components == "OfxImageComponentRGB" ? 3 : 4;
  Image im(bounds, 0, canale * canali, 0);
  im.pixel_depth = depth;
  im.components = components;
  return im;
}

Image::Image(OfxRectI bounds, long row_bytes, size_t pixel_bytes, size_t guard)
    : pixel_bytes_(pixel_bytes), guard_(guard), bounds_(bounds) {
  long w = std::max(0, bounds.x2 - bounds.x1);
  long h = std::max(0, bounds.y2 - bounds.y1);
  long packed = w * static_cast<long>(pixel_bytes);
  if (row_bytes == 0) row_bytes = packed;
  if (std::labs(row_bytes) < packed) throw Error("Image: row bytes smaller than a row of pixels");
  if (pixel_bytes == 16 && std::labs(row_bytes) % 4 != 0) throw Error("Image: row bytes must be a multiple of 4");
  row_bytes_ = row_bytes;
  size_t stride = static_cast<size_t>(std::labs(row_bytes));
  size_t body = stride * static_cast<size_t>(h);
  mem_.assign(guard + body + guard, kPattern);
  // With negative row bytes the first row sits last in memory.
  first_row_ = guard + (row_bytes < 0 && h > 0 ? stride * static_cast<size_t>(h - 1) : 0);
  data_ = reinterpret_cast<float*>(mem_.data() + first_row_);
  if (w > 0)
    for (int y = bounds.y1; y < bounds.y2; ++y) std::memset(pixel(bounds.x1, y), 0, static_cast<size_t>(packed));
}

float* Image::pixel(int x, int y) {
  if (x < bounds_.x1 || x >= bounds_.x2 || y < bounds_.y1 || y >= bounds_.y2)
    throw Error("Image: pixel outside the bounds");
  unsigned char* row = reinterpret_cast<unsigned char*>(data_) + static_cast<long>(y - bounds_.y1) * row_bytes_;
  return reinterpret_cast<float*>(row + static_cast<long>(x - bounds_.x1) * static_cast<long>(pixel_bytes_));
}

const float* Image::pixel(int x, int y) const { return const_cast<Image*>(this)->pixel(x, y); }

void Image::fill(float r, float g, float b, float a) {
  if (pixel_bytes_ != 16) throw Error("Image: fill is for float RGBA images");
  for (int y = bounds_.y1; y < bounds_.y2; ++y)
    for (int x = bounds_.x1; x < bounds_.x2; ++x) {
      float* p = pixel(x, y);
      p[0] = r, p[1] = g, p[2] = b, p[3] = a;
    }
}

bool Image::untouched_outside() const {
  size_t packed = static_cast<size_t>(std::max(0, width())) * pixel_bytes_;
  std::vector<bool> pixel_byte(mem_.size(), false);
  for (int y = bounds_.y1; y < bounds_.y2 && packed > 0; ++y) {
    size_t off = static_cast<size_t>(reinterpret_cast<const unsigned char*>(pixel(bounds_.x1, y)) - mem_.data());
    std::fill(pixel_byte.begin() + static_cast<long>(off), pixel_byte.begin() + static_cast<long>(off + packed), true);
  }
  for (size_t k = 0; k < mem_.size(); ++k)
    if (!pixel_byte[k] && mem_[k] != kPattern) return false;
  return true;
}

}  // namespace ofxhost
