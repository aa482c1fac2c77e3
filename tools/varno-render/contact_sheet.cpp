// --contact-sheet: the frame rendered with each of the twelve looks, scaled down and laid out
// 4 across and 3 down in catalogue order, each labelled with its look's name.
#include "contact_sheet.h"

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "modes.h"
#include "session.h"

namespace varno_render {

namespace {

// From Debian's fonts-dejavu-core; OpenImageIO finds it under /usr/share/fonts.
const char* const kFont = "DejaVuSans";
const float kBackground[4] = {0.08f, 0.08f, 0.08f, 1.0f};
const float kText[4] = {0.9f, 0.9f, 0.9f, 1.0f};

// Lanczos, as for any downscale; the frame's own buffer is read in place.
bool scale_tile(const Picture& frame, const SheetLayout& l, OIIO::ImageBuf& tile) {
  OIIO::ImageBuf src(OIIO::ImageSpec(frame.width, frame.height, 4, OIIO::TypeDesc::FLOAT),
                     const_cast<float*>(frame.rgba.data()));
  return OIIO::ImageBufAlgo::resize(tile, src, "lanczos3", 0.0f, OIIO::ROI(0, l.tile_width, 0, l.tile_height, 0, 1, 0, 4));
}

}  // namespace

int run_contact_sheet(const Options& o) {
  if (o.files.size() != (o.demo ? 1u : 2u))
    fail(kExitUsage, std::string("--contact-sheet takes ") + (o.demo ? "--demo and OUTPUT" : "INPUT and OUTPUT") +
                         " (see --help)");
  const std::string input = o.demo ? std::string() : o.files[0], output = o.files.back();
  Session session(o.plugin);
  // Each tile is a render with one look: a look named on the command line chooses none.
  std::vector<std::pair<std::string, std::string>> base;
  for (auto& kv : o.sets)
    if (kv.first != "look") base.push_back(kv);
  if (o.demo && std::none_of(base.begin(), base.end(), [](const auto& kv) { return kv.first == "formato"; }))
    base.insert(base.begin(), {"formato", "Sony S-Log3"});
  session.set(base);
  std::string error;
  if (!can_write(output, error)) fail(kExitFailure, error);
  Picture frame;
  if (o.demo)
    frame = demo_chart(o.demo_width, o.demo_height);
  else if (!read_picture(input, frame, error))
    fail(kExitFailure, error);

  const SheetLayout l = sheet_layout(frame.width, frame.height);
  OIIO::ImageBuf sheet(OIIO::ImageSpec(l.width, l.height, 4, OIIO::TypeDesc::FLOAT));
  OIIO::ImageBufAlgo::fill(sheet, kBackground);
  const std::vector<std::string> looks = session.instance().param("look").options();
  const std::string what = o.demo ? std::string("the demo chart") : "'" + input + "'";
  const auto start = std::chrono::steady_clock::now();
  for (size_t k = 0; k < looks.size() && k < size_t(kSheetColumns * kSheetRows); ++k) {
    const auto look_start = std::chrono::steady_clock::now();
    auto sets = base;
    sets.emplace_back("look", looks[k]);
    session.set(sets);
    Picture pic = frame;
    session.render_frame(pic, o.time.value_or(0.0), what + " with the look " + looks[k]);

    OIIO::ImageBuf tile;
    if (!scale_tile(pic, l, tile)) fail(kExitFailure, "cannot scale the tile of " + looks[k] + ": " + tile.geterror());
    const int x = l.x(static_cast<int>(k)), y = l.y(static_cast<int>(k));
    // Colour only: the sheet is opaque whatever the frame's alpha.
    OIIO::ImageBufAlgo::paste(sheet, x, y, 0, 0, tile, OIIO::ROI(0, l.tile_width, 0, l.tile_height, 0, 1, 0, 3));
    const OIIO::ROI label(x, x + l.tile_width, y + l.tile_height, y + l.tile_height + l.label_height, 0, 1, 0, 4);
    // On one baseline across a row, whatever letters hang below it.
    const int baseline = y + l.tile_height + static_cast<int>(std::lround(l.label_height * 0.7));
    // Smaller type for a name wider than a small tile.
    int font_size = l.font_size;
    while (font_size > 6 && OIIO::ImageBufAlgo::text_size(looks[k], font_size, kFont).width() > l.tile_width - 2)
      --font_size;
    if (!OIIO::ImageBufAlgo::render_text(sheet, x + l.tile_width / 2, baseline, looks[k], font_size, kFont, kText,
                                         OIIO::ImageBufAlgo::TextAlignX::Center,
                                         OIIO::ImageBufAlgo::TextAlignY::Baseline, 0, label))
      fail(kExitFailure, std::string("cannot label the contact sheet with the font ") + kFont +
                             " (Debian's fonts-dejavu-core): " + sheet.geterror());
    if (!o.quiet)
      std::fprintf(stderr, "varno-render: look %zu/%zu %s (%.2f s)\n", k + 1, looks.size(), looks[k].c_str(),
                   std::chrono::duration<double>(std::chrono::steady_clock::now() - look_start).count());
  }

  Picture out;
  out.width = l.width;
  out.height = l.height;
  out.rgba.resize(static_cast<size_t>(l.width) * l.height * 4);
  sheet.get_pixels(OIIO::ROI(0, l.width, 0, l.height, 0, 1, 0, 4), OIIO::TypeDesc::FLOAT, out.rgba.data());
  if (!write_picture(output, out, error)) fail(kExitFailure, error);
  if (!o.quiet)
    std::fprintf(stderr, "varno-render: wrote %s (%dx%d, %.2f s)\n", output.c_str(), l.width, l.height,
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  return 0;
}

}  // namespace varno_render
