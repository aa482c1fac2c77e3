// --contact-sheet: twelve tiles in catalogue order, each the frame rendered with one look and
// scaled down, each labelled; the demo chart; bad input.
#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>
#include <OpenImageIO/imageio.h>

#include <fstream>

#include "common.h"
#include "contact_sheet.h"
#include "immagini.h"
#include "tool.h"

namespace {

using ContactSheet = InFolder;

// The frame rendered in this process with a look, then the values the user named.
Picture render_with(const Picture& frame, const std::string& look, const Sets& sets, double time) {
  ofxhost::Plugin plugin = ofxhost::Host::load(kBundle);
  ofxhost::Instance inst = plugin.create_instance();
  inst.set_choice("look", look);
  for (auto& [n, v] : sets)
    if (inst.param(n).type() == "OfxParamTypeChoice")
      inst.set_choice(n, v);
    else
      inst.set(n, std::strtod(v.c_str(), nullptr));
  const OfxRectI b{0, 0, frame.w, frame.h};
  ofxhost::Image src(b), dst(b);
  for (int y = 0; y < frame.h; ++y)  // OFX images have the bottom row first
    std::memcpy(src.pixel(0, frame.h - 1 - y), &frame.px[size_t(y) * frame.w * 4], size_t(frame.w) * 16);
  EXPECT_EQ(inst.render(time, b, src, dst), kOfxStatOK);
  Picture out{frame.w, frame.h, 4, std::vector<float>(frame.px.size())};
  for (int y = 0; y < frame.h; ++y)
    std::memcpy(&out.px[size_t(y) * frame.w * 4], dst.pixel(0, frame.h - 1 - y), size_t(frame.w) * 16);
  return out;
}

TEST_F(ContactSheet, TwelveTilesInCatalogueOrderEachASingleRenderScaledDownAndLabelled) {
  Picture frame{120, 68, 4, {}};
  for (int y = 0; y < frame.h; ++y)
    for (int x = 0; x < frame.w; ++x)
      frame.px.insert(frame.px.end(), {x / 119.0f, y / 67.0f, 0.5f + 0.4f * std::sin(x * 0.1f), x % 2 ? 1.0f : 0.3f});
  write_picture(at("in.exr"), frame);
  // Grain follows the time; the halation amount named here holds over each look's own.
  const Sets sets = {{"formato", "Panasonic V-Log"}, {"ev", "0.4"}, {"grana_on", "1"}, {"grana", "0.3"},
                     {"halation_on", "1"},           {"halation", "0.5"}};
  Sets with_look = sets;
  with_look.emplace_back("look", "Silk");  // chooses no tile
  Result r = run(tool_args(with_look, {"--time", "3", "--contact-sheet", at("in.exr"), at("sheet.exr")}));
  ASSERT_EQ(r.code, 0) << r.err;
  const Picture sheet = read_picture(at("sheet.exr"));
  ASSERT_EQ(sheet.nch, 4);
  const varno_render::SheetLayout l = varno_render::sheet_layout(frame.w, frame.h);
  ASSERT_EQ(sheet.w, l.width);
  ASSERT_EQ(sheet.h, l.height);
  EXPECT_EQ(l.tile_width, 30);
  EXPECT_EQ(l.tile_height, 17);
  for (size_t k = 3; k < sheet.px.size(); k += 4) ASSERT_EQ(sheet.px[k], 1.0f) << "the sheet is opaque";
  auto at_sheet = [&](int x, int y, int c) { return sheet.px[(size_t(y) * sheet.w + x) * 4 + c]; };
  const float background = at_sheet(0, 0, 0);

  ofxhost::Plugin plugin = ofxhost::Host::load(kBundle);
  const std::vector<std::string> looks = plugin.create_instance().param("look").options();
  ASSERT_EQ(looks.size(), 12u);
  std::vector<float> previous_label;
  for (int k = 0; k < 12; ++k) {
    SCOPED_TRACE(looks[k]);
    const Picture single = render_with(frame, looks[k], sets, 3.0);
    OIIO::ImageBuf src(OIIO::ImageSpec(single.w, single.h, 4, OIIO::TypeDesc::FLOAT), const_cast<float*>(single.px.data()));
    OIIO::ImageBuf tile;
    ASSERT_TRUE(OIIO::ImageBufAlgo::resize(tile, src, "lanczos3", 0.0f, OIIO::ROI(0, l.tile_width, 0, l.tile_height, 0, 1, 0, 4)));
    const int x0 = l.x(k), y0 = l.y(k);
    EXPECT_EQ(x0, l.gap + (k % 4) * (l.tile_width + l.gap));
    for (int y = 0; y < l.tile_height; ++y)
      for (int x = 0; x < l.tile_width; ++x)
        for (int c = 0; c < 3; ++c)
          ASSERT_EQ(at_sheet(x0 + x, y0 + y, c), tile.getchannel(x, y, 0, c)) << "tile pixel " << x << "," << y;
    // A name under each tile, in the strip below it, and not the one before.
    std::vector<float> label;
    int lit = 0;
    for (int y = y0 + l.tile_height; y < y0 + l.tile_height + l.label_height; ++y)
      for (int x = x0; x < x0 + l.tile_width; ++x) {
        label.push_back(at_sheet(x, y, 1));
        lit += at_sheet(x, y, 1) > background + 0.3f;
      }
    EXPECT_GT(lit, 5);
    EXPECT_NE(label, previous_label);
    previous_label = label;
  }
}

// --demo reads the chart as S-Log3 footage, as a still render does.
TEST_F(ContactSheet, TheDemoChartIsTheChartAsSLog3Footage) {
  const varno_render::Picture chart = varno_render::demo_chart(64, 36);
  Result r = run(tool_args({}, {"--contact-sheet", "--demo", "--size", "64x36", at("demo.exr")}));
  ASSERT_EQ(r.code, 0) << r.err;
  const Picture sheet = read_picture(at("demo.exr"));
  const varno_render::SheetLayout l = varno_render::sheet_layout(64, 36);
  const Picture first = render_with({chart.width, chart.height, 4, chart.rgba}, "Nordic", {{"formato", "Sony S-Log3"}}, 0.0);
  OIIO::ImageBuf src(OIIO::ImageSpec(64, 36, 4, OIIO::TypeDesc::FLOAT), const_cast<float*>(first.px.data()));
  OIIO::ImageBuf tile;
  ASSERT_TRUE(OIIO::ImageBufAlgo::resize(tile, src, "lanczos3", 0.0f, OIIO::ROI(0, l.tile_width, 0, l.tile_height, 0, 1, 0, 4)));
  for (int y = 0; y < l.tile_height; ++y)
    for (int x = 0; x < l.tile_width; ++x)
      for (int c = 0; c < 3; ++c)
        ASSERT_EQ(sheet.px[(size_t(l.y(0) + y) * sheet.w + l.x(0) + x) * 4 + c], tile.getchannel(x, y, 0, c));
}

TEST_F(ContactSheet, BadInputGetsOneLineAndLeavesNoTrace) {
  write_picture(at("in.exr"), {4, 4, 4, std::vector<float>(64, 0.5f)});
  std::ofstream(at("out.png")) << "precious";
  const std::string in = at("in.exr"), out = at("out.png");
  expect_failures({
      {tool_args({}, {"--contact-sheet", out}), 2, {"--contact-sheet takes INPUT and OUTPUT"}},
      {tool_args({}, {"--contact-sheet", "--frames", "1-2", in, out}), 2, {"--contact-sheet", "--frames"}},
      {tool_args({}, {"--contact-sheet", at("missing.exr"), out}), 1, {at("missing.exr"), "no such file"}},
      {tool_args({}, {"--contact-sheet", in, at("no/such/x.png")}), 1, {at("no/such/x.png")}},
      {tool_args({}, {"--contact-sheet", in, out}), 1, {"failed to render", "Nordic"},
       "VARNO_RENDER_FAULTS=null_data:Output"},
  }, out);
  EXPECT_EQ(listing(), (std::vector<std::string>{"in.exr", "out.png"}));
}

}  // namespace
