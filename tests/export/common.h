// What the export tests share: running varno-render, reading a .cube back, and the plug-in's
// own grade of any colours, rendered in-process with every optical effect off.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "cli/processo.h"
#include "interruttori.h"
#include "ofx_host.h"

namespace {

const std::string kBundle = VARNO_TEST_BUNDLE;

using Sets = std::vector<std::pair<std::string, std::string>>;


// varno-render's arguments: the built bundle, then --set for each setting, then the rest.
inline std::vector<std::string> tool_args(const Sets& sets, const std::vector<std::string>& rest) {
  std::vector<std::string> a{"--plugin", kBundle, "--quiet"};
  for (auto& [n, v] : sets) a.insert(a.end(), {"--set", n + "=" + v});
  a.insert(a.end(), rest.begin(), rest.end());
  return a;
}

struct Cube {
  std::vector<std::string> header;  // every line before the values
  int size = 0;
  std::vector<float> rgb;           // as read, line after line
  bool six_decimals = true;         // every value written with at least six
};

inline Cube read_cube(const fs::path& path) {
  Cube c;
  std::istringstream in(slurp(path));
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || !(std::isdigit(static_cast<unsigned char>(line[0])) || line[0] == '-')) {
      if (c.rgb.empty()) c.header.push_back(line);
      if (line.rfind("LUT_3D_SIZE ", 0) == 0) c.size = std::atoi(line.c_str() + 12);
      continue;
    }
    std::istringstream words(line);
    std::string w;
    int count = 0;
    while (words >> w) {
      size_t dot = w.find('.');
      if (dot == std::string::npos || w.size() - dot - 1 < 6) c.six_decimals = false;
      c.rgb.push_back(std::strtof(w.c_str(), nullptr));
      ++count;
    }
    EXPECT_EQ(count, 3) << line;
  }
  return c;
}

// A session of the plug-in in this process, set as varno-render would be, effects off.
struct Grade {
  ofxhost::Plugin plugin = ofxhost::Host::load(kBundle);
  ofxhost::Instance inst = plugin.create_instance();

  explicit Grade(const Sets& sets) {
    for (auto& [n, v] : sets) {
      if (inst.param(n).type() == "OfxParamTypeChoice")
        inst.set_choice(n, v);
      else
        inst.set(n, std::strtod(v.c_str(), nullptr));
    }
    for (const char* e : prova::kInterruttori) inst.set(e, 0);
  }

  // The plug-in's output for each RGB triple.
  std::vector<float> of(const std::vector<float>& rgb) {
    const int n = static_cast<int>(rgb.size() / 3);
    ofxhost::Image src({0, 0, n, 1}), dst({0, 0, n, 1});
    for (int k = 0; k < n; ++k) {
      float* p = src.pixel(k, 0);
      p[0] = rgb[k * 3], p[1] = rgb[k * 3 + 1], p[2] = rgb[k * 3 + 2], p[3] = 1.0f;
    }
    EXPECT_EQ(inst.render(0.0, {0, 0, n, 1}, src, dst), kOfxStatOK);
    std::vector<float> out(rgb.size());
    for (int k = 0; k < n; ++k)
      for (int c = 0; c < 3; ++c) out[k * 3 + c] = dst.pixel(k, 0)[c];
    return out;
  }
};

// A smooth picture over the whole cube: red across, green down, blue in slow waves.
inline std::vector<float> smooth_image(int w, int h) {
  std::vector<float> rgb;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const double u = double(x) / (w - 1), v = double(y) / (h - 1);
      rgb.insert(rgb.end(), {float(u), float(v), float(0.5 + 0.48 * std::sin(5.0 * u + 3.0 * v))});
    }
  return rgb;
}

// The grade at the eight corners of the n-point lattice cell around each colour, and where
// the colour sits in its cell: what any reader of an n-point cube interpolates between.
struct Cells {
  int n = 0;
  std::vector<float> corners;   // per colour, 8 corners (bit 0 red, 1 green, 2 blue) of RGB
  std::vector<double> where;    // per colour, the fractions along red, green and blue
};

inline Cells cells_of(Grade& grade, const std::vector<float>& rgb, int n) {
  Cells cells{n, {}, {}};
  std::vector<float> codes;
  for (size_t p = 0; p < rgb.size() / 3; ++p) {
    int i0[3];
    for (int c = 0; c < 3; ++c) {
      const double x = double(rgb[p * 3 + c]) * (n - 1);
      i0[c] = std::min(n - 2, static_cast<int>(x));
      cells.where.push_back(x - i0[c]);
    }
    for (int a = 0; a < 8; ++a)
      for (int c = 0; c < 3; ++c) codes.push_back(static_cast<float>(i0[c] + ((a >> c) & 1)) / static_cast<float>(n - 1));
  }
  cells.corners = grade.of(codes);
  return cells;
}

// Trilinear or tetrahedral interpolation of the corners, in double.
inline double interpolate(const Cells& cells, size_t p, int channel, bool tetrahedral) {
  auto at = [&](int r, int g, int b) { return double(cells.corners[(p * 8 + r + 2 * g + 4 * b) * 3 + channel]); };
  const double x = cells.where[p * 3], y = cells.where[p * 3 + 1], z = cells.where[p * 3 + 2];
  if (!tetrahedral) {
    double v = 0;
    for (int a = 0; a < 8; ++a)
      v += at(a & 1, (a >> 1) & 1, (a >> 2) & 1) * ((a & 1) ? x : 1 - x) * ((a & 2) ? y : 1 - y) * ((a & 4) ? z : 1 - z);
    return v;
  }
  if (x > y) {
    if (y > z) return (1 - x) * at(0, 0, 0) + (x - y) * at(1, 0, 0) + (y - z) * at(1, 1, 0) + z * at(1, 1, 1);
    if (x > z) return (1 - x) * at(0, 0, 0) + (x - z) * at(1, 0, 0) + (z - y) * at(1, 0, 1) + y * at(1, 1, 1);
    return (1 - z) * at(0, 0, 0) + (z - x) * at(0, 0, 1) + (x - y) * at(1, 0, 1) + y * at(1, 1, 1);
  }
  if (z > y) return (1 - z) * at(0, 0, 0) + (z - y) * at(0, 0, 1) + (y - x) * at(0, 1, 1) + x * at(1, 1, 1);
  if (z > x) return (1 - y) * at(0, 0, 0) + (y - z) * at(0, 1, 0) + (z - x) * at(0, 1, 1) + x * at(1, 1, 1);
  return (1 - y) * at(0, 0, 0) + (y - x) * at(0, 1, 0) + (x - z) * at(1, 1, 0) + z * at(1, 1, 1);
}

// An engine's grade of the colours from an n-point cube must be the interpolation of the
// plug-in's own grade at the lattice points (within the engine's float arithmetic); its
// distance from the plug-in's grade of the colours themselves is then the interpolation error
// of the size, returned as the largest and the mean.
struct Distance {
  double max = 0, mean = 0;
};

inline Distance check_interpolates(const std::vector<float>& engine, const std::vector<float>& exact, const Cells& cells,
                            bool tetrahedral, const std::string& what) {
  const double slack = 1e-5;
  Distance d;
  int failures = 0;
  for (size_t k = 0; k < engine.size(); ++k) {
    const double want = interpolate(cells, k / 3, static_cast<int>(k % 3), tetrahedral);
    if (!(std::fabs(engine[k] - want) <= slack) && ++failures <= 5)
      ADD_FAILURE() << what << ": colour " << k / 3 << " channel " << k % 3 << ": engine " << engine[k]
                    << ", interpolated grade " << want;
    const double e = std::fabs(double(engine[k]) - exact[k]);
    d.max = std::max(d.max, e);
    d.mean += e / engine.size();
  }
  EXPECT_EQ(failures, 0) << what;
  return d;
}

}  // namespace
