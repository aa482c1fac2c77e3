// Where the tiles of a contact sheet go (contact_sheet.cpp): the frame scaled to a quarter
// of its width, 4 across and 3 down with a gap around each and a strip for its label below.
#pragma once

#include <algorithm>
#include <cmath>

namespace varno_render {

constexpr int kSheetColumns = 4, kSheetRows = 3;

struct SheetLayout {
  int tile_width = 0, tile_height = 0;  // the scaled frame
  int label_height = 0, font_size = 0;  // the strip under each tile and its text
  int gap = 0;                          // around and between tiles
  int width = 0, height = 0;            // the whole sheet

  // Top-left corner of tile `index` (catalogue order, row by row), top row first.
  int x(int index) const { return gap + (index % kSheetColumns) * (tile_width + gap); }
  int y(int index) const { return gap + (index / kSheetColumns) * (tile_height + label_height + gap); }
};

inline SheetLayout sheet_layout(int width, int height) {
  SheetLayout l;
  l.tile_width = std::max(1, static_cast<int>(std::lround(width / 4.0)));
  l.tile_height = std::max(1, static_cast<int>(std::lround(double(height) * l.tile_width / width)));
  l.font_size = std::clamp(static_cast<int>(std::lround(l.tile_height * 0.1)), 10, 64);
  l.label_height = static_cast<int>(std::lround(l.font_size * 1.6));
  l.gap = std::max(2, static_cast<int>(std::lround(l.tile_width / 30.0)));
  l.width = kSheetColumns * l.tile_width + (kSheetColumns + 1) * l.gap;
  l.height = kSheetRows * (l.tile_height + l.label_height) + (kSheetRows + 1) * l.gap;
  return l;
}

}  // namespace varno_render
