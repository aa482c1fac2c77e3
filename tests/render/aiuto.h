// Tables and host images shared by the tests of the render passes.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "render/render.h"

namespace {

// Random samples, so that any mix-up of axes or samples shows, with some of
// the values a table should never hold but a sampler must still carry
// exactly: negative zero, huge, tiny.
varno::Lut3D tabella(uint32_t seme) {
  varno::Lut3D t;
  t.N = 81;
  t.dati.resize(81u * 81u * 81u * 3u);
  std::mt19937 g(seme);
  std::uniform_real_distribution<float> d(-0.5f, 1.5f);
  for (auto& v : t.dati) v = d(g);
  for (size_t i = 0; i < t.dati.size(); i += 97) t.dati[i] = -0.0f;
  for (size_t i = 5; i < t.dati.size(); i += 1013) t.dati[i] = 3e38f;
  for (size_t i = 7; i < t.dati.size(); i += 1019) t.dati[i] = 1e-42f;
  return t;
}

// A host's RGBA image: bounds, rows top-down or bottom-up, filled with a
// value, its first pixel `scarto` floats past a 64-byte boundary (0 aligns
// every row of a width of four pixels to whole vectors, 4 to 16 bytes only,
// 1 to nothing).
struct Immagine4 {
  OfxRectI b;
  bool capovolta;
  float fondo;
  int64_t primo;
  std::vector<float> mem;
  Immagine4(OfxRectI bb, bool cap, float v, int scarto = 0)
      : b(bb), capovolta(cap), fondo(v), mem(static_cast<size_t>(pixel() * 4 + 16 + scarto), v) {
    primo = static_cast<int64_t>((64 - reinterpret_cast<uintptr_t>(mem.data()) % 64) % 64 / sizeof(float)) + scarto;
  }
  int64_t pixel() const { return int64_t{b.x2 - b.x1} * (b.y2 - b.y1); }
  float* px(int X, int Y) {
    const int64_t riga = capovolta ? b.y2 - 1 - Y : Y - b.y1;
    return &mem[static_cast<size_t>(primo + (riga * (b.x2 - b.x1) + X - b.x1) * 4)];
  }
  // The same pixels as o, and nothing written around them.
  bool come(const Immagine4& o) const {
    auto intatta = [](const Immagine4& m) {
      for (int64_t i = 0; i < static_cast<int64_t>(m.mem.size()); ++i)
        if ((i < m.primo || i >= m.primo + m.pixel() * 4) && m.mem[static_cast<size_t>(i)] != m.fondo) return false;
      return true;
    };
    return intatta(*this) && intatta(o) && pixel() == o.pixel() &&
           std::memcmp(mem.data() + primo, o.mem.data() + o.primo, static_cast<size_t>(pixel()) * 4 * sizeof(float)) == 0;
  }
  varno::VistaImmagine vista() {
    varno::VistaImmagine v;
    v.bounds = b;
    v.row_bytes = (capovolta ? -16 : 16) * int64_t{b.x2 - b.x1};
    v.dati = reinterpret_cast<char*>(px(b.x1, b.y1));
    return v;
  }
};

}  // namespace
