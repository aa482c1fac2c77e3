// Types and small helpers shared by every subsystem of the plug-in.
#pragma once

#include <cstdint>
#include <vector>

namespace varno {

struct RGB {
  float r, g, b;
};

// Working image: interleaved RGB floats, row after row; width and height travel beside it.
using Immagine = std::vector<float>;
// One float a pixel, row after row; width and height travel beside it.
using Piano = std::vector<float>;

// Rec.709 luminance, on whatever encoding the values are in.
inline float luminanza(float r, float g, float b) { return r * 0.2126f + g * 0.7152f + b * 0.0722f; }

// Above 0 becomes min(v, 1); anything else, not-a-number included, becomes 0.
inline float limita01(float v) { return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f; }

}  // namespace varno
