#include "session/hotpixels/HotPixelView.h"

#include <algorithm>
#include <string>
#include <utility>

#include "image/dark/BmpFile.h"
#include "image/hotpixels/HotPixelTable.h"
#include "session/pictures/PngPreview.h"
#include "support/Text.h"

namespace orq::session {

namespace {

constexpr std::uint8_t kWhite = 255;
constexpr std::uint8_t kGrey = 128;
constexpr int kHot = 1;
constexpr int kInBadRow = 2;

// Calls `visit(x, y, value)` for every marked pixel, row by row.
template <class Visit>
void VisitMarks(const HotPixelView& view, Visit visit) {
  const auto width = static_cast<std::size_t>(view.width);
  for (std::size_t pos = 0; pos < view.marks.size(); ++pos) {
    if (view.marks[pos] == 0) continue;
    const auto y = static_cast<int>(pos / width);
    const bool bad = std::ranges::binary_search(view.badRows, y);
    visit(static_cast<int>(pos % width), y, bad ? kInBadRow : kHot);
  }
}

template <class Bytes>
void Append(std::vector<std::uint8_t>& file, const Bytes& bytes) {
  file.insert(file.end(), bytes.begin(), bytes.end());
}

}  // namespace

HotPixelView ViewOf(HotPixelMarks marks, int width, int height) {
  HotPixelView view;
  view.width = width;
  view.height = height;
  view.marks = std::move(marks);
  const SensorCut whole{
      .sensorWidth = view.width, .sensorHeight = view.height, .width = view.width, .height = view.height};
  HotPixelMarks map(view.marks.size());
  const HotPixelTable table = CutHotPixelTable(view.marks, whole, {}, BinPlacement::SameColour, map);
  for (std::size_t i = 0; i < table.count; ++i) {
    const auto pos = static_cast<int>(table.list[i]);
    view.pixels.push_back({pos % view.width, pos / view.width});
  }
  for (int y = 0; table.badRows && y < view.height; ++y)
    if (table.badRows[static_cast<std::size_t>(y)] != 0) view.badRows.push_back(y);
  view.leftOut = map.size() - static_cast<std::size_t>(std::ranges::count(map, 0)) - table.count;
  return view;
}

std::vector<std::uint8_t> EncodeCsv(const HotPixelView& view) {
  std::string text = "x_px,y_px,value\n";
  VisitMarks(view, [&text](int x, int y, int value) { text += Format("%d,%d,%d\n", x, y, value); });
  return {text.begin(), text.end()};
}

std::vector<std::uint8_t> EncodeBmp(const HotPixelView& view) {
  std::vector<std::uint8_t> file;
  Append(file, MakeBmpFileHeader(view.width, view.height));
  Append(file, MakeBmpInfoHeader(view.width, view.height));
  Append(file, GreyBmpPalette());
  for (const std::uint8_t mark : view.marks) file.push_back(mark != 0 ? kWhite : 0);
  file.resize(kBmpPixelOffset + BmpImageBytes(view.width, view.height));
  return file;
}

std::vector<std::uint8_t> EncodeMap(const HotPixelView& view) {
  std::vector<std::uint8_t> picture(view.marks.size());
  VisitMarks(view, [&](int x, int y, int value) {
    picture[static_cast<std::size_t>(y) * static_cast<std::size_t>(view.width) + static_cast<std::size_t>(x)] =
        value == kHot ? kWhite : kGrey;
  });
  return EncodeGrey(picture, view.width, view.height);
}

}  // namespace orq::session
