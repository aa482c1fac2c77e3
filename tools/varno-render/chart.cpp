// The built-in test chart of --demo.
#include <algorithm>
#include <array>
#include <cmath>

#include "tool.h"

namespace varno_render {

namespace {

struct Colour {
  float r, g, b;
};

// A colour checker's 24 patches as 8-bit display values, row by row.
const unsigned char kChecker[24][3] = {
    {115, 82, 68},   {194, 150, 130}, {98, 122, 157},  {87, 108, 67},   {133, 128, 177}, {103, 189, 170},
    {214, 126, 44},  {80, 91, 166},   {193, 90, 99},   {94, 60, 108},   {157, 188, 64},  {224, 163, 46},
    {56, 61, 150},   {70, 148, 73},   {175, 54, 60},   {231, 199, 31},  {187, 86, 149},  {8, 133, 161},
    {243, 243, 242}, {200, 200, 200}, {160, 160, 160}, {122, 122, 121}, {85, 85, 85},    {52, 52, 52}};

// Skin from very fair to very dark, 8-bit display values.
const unsigned char kSkin[8][3] = {{255, 224, 196}, {241, 194, 167}, {224, 172, 138}, {198, 134, 103},
                                   {176, 112, 80},  {141, 85, 54},   {104, 61, 38},   {66, 40, 27}};

const Colour kBars[6] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 1, 1}, {1, 0, 1}, {1, 1, 0}};

// Highlights far above white: centre (fractions of the frame) and value.
struct Light {
  float x, y, value;
  Colour tint;
};
const Light kLights[] = {{0.74f, 0.58f, 4.0f, {1.0f, 1.0f, 1.0f}},
                         {0.80f, 0.62f, 8.0f, {1.0f, 0.85f, 0.6f}},
                         {0.86f, 0.57f, 12.0f, {1.0f, 1.0f, 1.0f}},
                         {0.92f, 0.63f, 20.0f, {0.8f, 0.9f, 1.0f}},
                         {0.96f, 0.58f, 6.0f, {1.0f, 0.5f, 0.3f}}};

Colour from8(const unsigned char c[3]) { return {c[0] / 255.0f, c[1] / 255.0f, c[2] / 255.0f}; }

// Display value to scene light, through the BT.709 camera curve.
float scene(float d) { return d < 0.081f ? d / 4.5f : std::pow((d + 0.099f) / 1.099f, 1.0f / 0.45f); }

// Rec.709 primaries to S-Gamut3.Cine: the inverse of the camera matrix the
// S-Log3 decode applies, so each patch decodes back to its own colour.
Colour to_sgamut3cine(Colour c) {
  static const auto inv = [] {
    const double m[9] = {1.6266885, -0.54005265, -0.08679532, -0.17851967, 1.4179736,
                         -0.23943081, -0.04444674, -0.19596688, 1.2406536};
    const double det = m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
                       m[2] * (m[3] * m[7] - m[4] * m[6]);
    std::array<float, 9> r{};
    r[0] = static_cast<float>((m[4] * m[8] - m[5] * m[7]) / det);
    r[1] = static_cast<float>((m[2] * m[7] - m[1] * m[8]) / det);
    r[2] = static_cast<float>((m[1] * m[5] - m[2] * m[4]) / det);
    r[3] = static_cast<float>((m[5] * m[6] - m[3] * m[8]) / det);
    r[4] = static_cast<float>((m[0] * m[8] - m[2] * m[6]) / det);
    r[5] = static_cast<float>((m[2] * m[3] - m[0] * m[5]) / det);
    r[6] = static_cast<float>((m[3] * m[7] - m[4] * m[6]) / det);
    r[7] = static_cast<float>((m[1] * m[6] - m[0] * m[7]) / det);
    r[8] = static_cast<float>((m[0] * m[4] - m[1] * m[3]) / det);
    return r;
  }();
  return {inv[0] * c.r + inv[1] * c.g + inv[2] * c.b, inv[3] * c.r + inv[4] * c.g + inv[5] * c.b,
          inv[6] * c.r + inv[7] * c.g + inv[8] * c.b};
}

// Scene light to an S-Log3 code value, as the camera records it.
float slog3(float lin) {
  if (lin >= 0.01125f) return (420.0f + std::log10((lin + 0.01f) / 0.19f) * 261.5f) / 1023.0f;
  return (lin * (171.2102946929f - 95.0f) / 0.01125f + 95.0f) / 1023.0f;
}

}  // namespace

Picture demo_chart(int width, int height) {
  Picture pic;
  pic.width = width;
  pic.height = height;
  pic.rgba.assign(static_cast<size_t>(width) * static_cast<size_t>(height) * 4, 1.0f);
  const float radius = std::max(1.5f, height / 50.0f);  // large enough for a glow to show

  for (int y = 0; y < height; ++y) {
    float v = (y + 0.5f) / height;
    for (int x = 0; x < width; ++x) {
      float u = (x + 0.5f) / width;
      Colour c{0.05f, 0.05f, 0.05f};
      bool light = false;
      if (v >= 0.04f && v < 0.50f && u >= 0.02f && u < 0.98f) {
        // Colour checker, 6 by 4, with a dark gap around each patch.
        float cu = (u - 0.02f) / 0.96f * 6.0f, cv = (v - 0.04f) / 0.46f * 4.0f;
        int col = std::min(5, static_cast<int>(cu)), row = std::min(3, static_cast<int>(cv));
        float fu = cu - col, fv = cv - row;
        if (fu > 0.06f && fu < 0.94f && fv > 0.06f && fv < 0.94f) c = from8(kChecker[row * 6 + col]);
      } else if (v >= 0.54f && v < 0.66f && u >= 0.02f && u < 0.68f) {
        int k = std::min(7, static_cast<int>((u - 0.02f) / 0.66f * 8.0f));
        c = from8(kSkin[k]);
      } else if (v >= 0.54f && v < 0.66f && u >= 0.70f && u < 0.98f) {
        c = {0.02f, 0.02f, 0.025f};  // night sky for the lights
        for (const Light& l : kLights) {
          float dx = (u - l.x) * width, dy = (v - l.y) * height;
          if (dx * dx + dy * dy <= radius * radius) {
            c = {l.value * l.tint.r, l.value * l.tint.g, l.value * l.tint.b};
            light = true;
          }
        }
      } else if (v >= 0.70f && v < 0.79f && u >= 0.02f && u < 0.98f) {
        float g = (u - 0.02f) / 0.96f;  // smooth ramp, black to white
        c = {g, g, g};
      } else if (v >= 0.81f && v < 0.88f && u >= 0.02f && u < 0.98f) {
        float g = std::floor((u - 0.02f) / 0.96f * 11.0f) / 10.0f;  // eleven steps
        c = {std::min(g, 1.0f), std::min(g, 1.0f), std::min(g, 1.0f)};
      } else if (v >= 0.90f && v < 0.97f && u >= 0.02f && u < 0.98f) {
        c = kBars[std::min(5, static_cast<int>((u - 0.02f) / 0.96f * 6.0f))];
      }
      float* p = &pic.rgba[(static_cast<size_t>(y) * width + x) * 4];
      // Lights are scene light already; everything else is a display value.
      if (!light) c = {scene(c.r), scene(c.g), scene(c.b)};
      c = to_sgamut3cine(c);
      p[0] = slog3(c.r), p[1] = slog3(c.g), p[2] = slog3(c.b), p[3] = 1.0f;
    }
  }
  return pic;
}

}  // namespace varno_render
