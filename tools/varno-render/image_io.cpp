// Image files through OpenImageIO.
#include <unistd.h>

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "tool.h"

namespace fs = std::filesystem;
using OIIO::ImageInput;
using OIIO::ImageOutput;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

namespace varno_render {

namespace {

// OpenImageIO's messages can run over several lines; the first one says it.
std::string first_line(std::string s) {
  size_t nl = s.find('\n');
  if (nl != std::string::npos) s.resize(nl);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\r')) s.pop_back();
  return s.empty() ? "unknown error" : s;
}

std::string lower_extension(const std::string& path) {
  std::string ext = fs::path(path).extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext;
}

// The temporary file of the write in progress, for remove_pending_output.
char gPending[4096];

}  // namespace

void remove_pending_output() {
  if (gPending[0]) ::unlink(gPending);
}

bool read_picture(const std::string& path, Picture& out, std::string& error) {
  std::error_code ec;
  if (!fs::exists(path, ec)) {
    error = "cannot read '" + path + "': no such file";
    return false;
  }
  if (fs::is_directory(path, ec)) {
    error = "cannot read '" + path + "': it is a folder";
    return false;
  }
  auto in = ImageInput::open(path);
  if (!in) {
    error = "cannot read '" + path + "': " + first_line(OIIO::geterror());
    return false;
  }
  const ImageSpec desc = in->spec_dimensions(0);
  if (desc.deep || desc.depth > 1) {
    error = "cannot read '" + path + "': deep and volume images are not supported";
    return false;
  }
  long w = desc.width, h = desc.height;
  int nch = desc.nchannels;
  if (w <= 0 || h <= 0 || nch <= 0) {
    error = "cannot read '" + path + "': the image is empty";
    return false;
  }
  if (w > 65536 || h > 65536 || w * h > (1L << 28)) {
    error = "cannot read '" + path + "': " + std::to_string(w) + "x" + std::to_string(h) + " is too large";
    return false;
  }
  std::vector<float> buf(static_cast<size_t>(w * h * nch));
  if (!in->read_image(0, 0, 0, nch, TypeDesc::FLOAT, buf.data())) {
    error = "cannot read '" + path + "': " + first_line(in->geterror());
    return false;
  }
  // Which channels are colour and which is alpha.
  int alpha = desc.alpha_channel;
  if (alpha < 0 && (nch == 2 || nch >= 4)) alpha = nch == 2 ? 1 : 3;
  std::vector<int> colour;
  for (int c = 0; c < nch && colour.size() < 3; ++c)
    if (c != alpha) colour.push_back(c);
  if (colour.size() < 3) colour.assign(3, colour.empty() ? 0 : colour[0]);  // grey: one channel for all three

  out.width = static_cast<int>(w);
  out.height = static_cast<int>(h);
  out.rgba.resize(static_cast<size_t>(w * h * 4));
  for (long k = 0; k < w * h; ++k) {
    const float* s = &buf[static_cast<size_t>(k * nch)];
    float* d = &out.rgba[static_cast<size_t>(k * 4)];
    d[0] = s[colour[0]];
    d[1] = s[colour[1]];
    d[2] = s[colour[2]];
    d[3] = alpha >= 0 ? s[alpha] : 1.0f;
  }
  return true;
}

bool can_write_file(const std::string& path, std::string& error) {
  std::error_code ec;
  fs::path dir = fs::path(path).parent_path();
  if (dir.empty()) dir = ".";
  if (fs::path(path).filename().empty() || fs::is_directory(path, ec)) {
    error = "cannot write '" + path + "': not a file name";
    return false;
  }
  if (!fs::is_directory(dir, ec)) {
    error = "cannot write '" + path + "': no folder " + dir.string();
    return false;
  }
  if (::access(dir.c_str(), W_OK) != 0) {
    error = "cannot write '" + path + "': the folder is not writable";
    return false;
  }
  return true;
}

bool can_write(const std::string& path, std::string& error) {
  if (!can_write_file(path, error)) return false;
  auto out = ImageOutput::create(path);
  if (!out) {
    OIIO::geterror();
    std::string ext = fs::path(path).extension().string();
    error = "cannot write '" + path + "': " +
            (ext.empty() ? std::string("no extension to tell the format") : "no image format for " + ext);
    return false;
  }
  return true;
}

bool write_picture(const std::string& path, const Picture& pic, std::string& error) {
  if (!can_write(path, error)) return false;
  auto out = ImageOutput::create(path);
  std::string ext = lower_extension(path);
  TypeDesc format = TypeDesc::UINT8;
  if (ext == ".exr" || ext == ".hdr")
    format = TypeDesc::FLOAT;
  else if (ext == ".tif" || ext == ".tiff" || ext == ".dpx" || ext == ".png")
    format = TypeDesc::UINT16;
  int nch = out->supports("alpha") ? 4 : 3;
  ImageSpec desc(pic.width, pic.height, nch, format);
  if (nch == 4) desc.alpha_channel = 3;
  if (ext == ".exr") desc.attribute("compression", "zip");
  if (ext == ".jpg" || ext == ".jpeg") desc.attribute("Compression", "jpeg:95");

  // Same folder, so the rename below stays on one file system; same extension,
  // in case the writer looks at it.
  fs::path target(path);
  fs::path tmp = target.parent_path() /
                 ("." + target.stem().string() + ".tmp" + std::to_string(::getpid()) + target.extension().string());
  std::snprintf(gPending, sizeof gPending, "%s", tmp.c_str());
  bool ok = out->open(tmp.string(), desc);
  if (ok) {
    ok = out->write_image(TypeDesc::FLOAT, pic.rgba.data(), 4 * sizeof(float));
    if (!out->close()) ok = false;
  }
  if (!ok) error = "cannot write '" + path + "': " + first_line(out->geterror());
  out.reset();
  if (ok && std::rename(tmp.c_str(), path.c_str()) != 0) {
    error = "cannot write '" + path + "': " + std::strerror(errno);
    ok = false;
  }
  if (!ok) ::unlink(tmp.c_str());
  gPending[0] = '\0';
  return ok;
}

}  // namespace varno_render
