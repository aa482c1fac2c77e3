// Slow double-precision references for the blurs, written directly from the
// definitions (direct window sums, no running sum), to check the fast code against.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace rif {

using Piano = std::vector<double>;

inline int64_t stringi(int64_t i, int64_t n) { return std::min(std::max<int64_t>(i, 0), n - 1); }

// One box pass along rows (orizz) or columns, window 2r+1, ends replicated.
inline Piano passata(const Piano& in, int w, int h, int r, bool orizz) {
  Piano out(in.size());
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      double s = 0.0;
      for (int k = -r; k <= r; ++k)
        s += orizz ? in[static_cast<size_t>(y * w + stringi(x + k, w))]
                   : in[static_cast<size_t>(stringi(y + k, h) * w + x)];
      out[static_cast<size_t>(y * w + x)] = s / (2 * r + 1);
    }
  return out;
}

inline Piano box(Piano p, int w, int h, int r, int passate) {
  for (int i = 0; i < passate; ++i) p = passata(passata(p, w, h, r, true), w, h, r, false);
  return p;
}

// Block means of f x f blocks; samples outside the plane don't count.
inline Piano riduci(const Piano& p, int w, int h, int f, int w2, int h2) {
  Piano c(static_cast<size_t>(w2 * h2));
  for (int Y = 0; Y < h2; ++Y)
    for (int X = 0; X < w2; ++X) {
      double s = 0.0;
      int n = 0;
      for (int y = Y * f; y < std::min(h, (Y + 1) * f); ++y)
        for (int x = X * f; x < std::min(w, (X + 1) * f); ++x, ++n) s += p[static_cast<size_t>(y * w + x)];
      c[static_cast<size_t>(Y * w2 + X)] = s / std::max(1, n);
    }
  return c;
}

// Copy sample k stands at full-size position k*f; the edge sample is held past the end.
inline Piano ingrandisci(const Piano& c, int w2, int h2, int w, int h, int f) {
  Piano p(static_cast<size_t>(w * h));
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const double fy = static_cast<double>(y) / f, fx = static_cast<double>(x) / f;
      const int y0 = std::min(h2 - 1, y / f), x0 = std::min(w2 - 1, x / f);
      const int y1 = std::min(h2 - 1, y0 + 1), x1 = std::min(w2 - 1, x0 + 1);
      const double ty = fy - y0, tx = fx - x0;
      auto v = [&](int yy, int xx) { return c[static_cast<size_t>(yy * w2 + xx)]; };
      p[static_cast<size_t>(y * w + x)] =
          (1 - ty) * ((1 - tx) * v(y0, x0) + tx * v(y0, x1)) + ty * ((1 - tx) * v(y1, x0) + tx * v(y1, x1));
    }
  return p;
}

inline Piano su_ridotta(const Piano& p, int w, int h, int r, int f) {
  if (f < 2) return box(p, w, h, r, 3);
  const int w2 = std::max(1, w / f), h2 = std::max(1, h / f);
  const Piano c = box(riduci(p, w, h, f, w2, h2), w2, h2, std::max(1, r / f), 3);
  return ingrandisci(c, w2, h2, w, h, f);
}

inline Piano orizz_su_ridotta(const Piano& p, int w, int h, int r, int f) {
  const int w2 = std::max(1, w / f), h2 = std::max(1, h / f);
  Piano c = riduci(p, w, h, f, w2, h2);
  for (int i = 0; i < 3; ++i) c = passata(c, w2, h2, std::max(1, r / f), true);
  return ingrandisci(c, w2, h2, w, h, f);
}

}  // namespace rif
