#include "models/flash/HotPixelStore.h"

#include <algorithm>
#include <mutex>
#include <span>
#include <utility>

#include "camera/CorrectionAccess.h"
#include "image/flash/Bitmap.h"
#include "image/flash/FlashRecord.h"
#include "image/hotpixels/HotPixelTable.h"
#include "image/hotpixels/HotRows.h"

namespace orq {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t RoundedUp(std::size_t bytes, std::size_t unit) {
  return (bytes + unit - 1) / unit * unit;
}

FlashOutcome Damaged() {
  return {FlashResult::Damaged, "the hot-pixel table in flash is damaged"};
}

void MarkRows(std::span<std::uint8_t> image, std::span<const std::size_t> rows, std::size_t width,
              std::uint8_t value) {
  for (const std::size_t y : rows) std::ranges::fill(image.subspan(y * width, width), value);
}

/// Raises the hot rows of the dark image, so that the core takes all their pixels for hot ones.
class RaisedRows {
 public:
  explicit RaisedRows(CCameraBase& camera) : camera_(camera) {
    const std::scoped_lock lock(camera_.DarkAccumMutex);
    if (!camera_.pDarkFull) return;
    const auto dark = View(camera_.pDarkFull, SensorPixels(camera_));
    before_.assign(dark.begin(), dark.end());
    const auto width = static_cast<std::size_t>(camera_.iMaxWidth);
    MarkRows(dark, FindHotRows(dark, width), width, 255);
  }
  ~RaisedRows() {
    const std::scoped_lock lock(camera_.DarkAccumMutex);
    if (camera_.pDarkFull) std::ranges::copy(before_, camera_.pDarkFull.get());
  }
  RaisedRows(const RaisedRows&) = delete;
  RaisedRows& operator=(const RaisedRows&) = delete;

 private:
  CCameraBase& camera_;
  Bytes before_;
};

/// Bitmap of the sensor, one bit per pixel.
Bytes Packed(const HotPixelMarks& marks) {
  Bytes bitmap(marks.size() / 8);
  PackBits(marks, bitmap);
  return bitmap;
}

/// The record that flash must hold for this bitmap.
Bytes RecordOf(CCameraBase& camera, const Bytes& bitmap) {
  int length = 0;
  const auto record = camera.Compress(bitmap.data(), static_cast<int>(bitmap.size()), &length, true);
  return {record.get(), record.get() + length};
}

/// A record may not grow beyond its area, and loses what would make it longer than the bitmap.
bool HoldsAll(const Bytes& record, const Bytes& bitmap) {
  Bytes expanded(bitmap.size());
  return record.size() <= kRecordAreaBytes && !ExpandBitmap(record, expanded) && expanded == bitmap;
}

/// Flash once the record is saved: the sectors that it touches were erased, its last page is filled with zeros.
FlashImage WithRecord(FlashImage image, const Bytes& record) {
  static_assert(kRecordAddress == kBackupAddress);
  std::fill_n(image.bytes.begin(), RoundedUp(record.size(), kFlashSectorBytes), std::uint8_t{0xFF});
  std::fill_n(image.bytes.begin(), RoundedUp(record.size(), kFlashPageBytes), std::uint8_t{0});
  std::ranges::copy(record, image.bytes.begin());
  return image;
}

}  // namespace

HotPixelMarks HotPixelsOfDark(CCameraBase& camera) {
  const std::scoped_lock lock(camera.DarkAccumMutex, camera.DarkBufMutex);
  if (!camera.pDarkFull) return {};
  HotPixelMarks marks(SensorPixels(camera));
  // Pixels behind the last whole byte have no place in the table.
  const auto saved = std::span(marks).first(marks.size() / 8 * 8);
  const std::span<const std::uint8_t> dark = View(camera.pDarkFull, marks.size());
  MarkHotPixels(dark, camera.iDarkAverage, saved);
  const auto width = static_cast<std::size_t>(camera.iMaxWidth);
  MarkRows(marks, FindHotRows(dark, width), width, 1);
  std::ranges::fill(std::span(marks).subspan(saved.size()), std::uint8_t{0});
  return marks;
}

FlashOutcome ReadHotPixels(CCameraBase& camera, HotPixelMarks& marks) {
  Bytes record(kFlashChunkBytes);
  if (auto outcome = ReadFlashPart(camera, kRecordAddress, record); !outcome.Done()) return outcome;
  if (!IsRecord(RecordKind::Bitmap, record)) {
    marks.clear();
    return {};
  }
  const std::size_t length = RecordLength(std::span(record).first<kRecordHeaderBytes>());
  if (length > kRecordAreaBytes) return Damaged();
  record.resize(std::max(RoundedUp(length, kFlashChunkBytes), record.size()));
  const auto rest = std::span(record).subspan(kFlashChunkBytes);
  auto outcome = ReadFlashPart(camera, kRecordAddress + kFlashChunkBytes, rest);
  if (!outcome.Done()) return outcome;

  const std::size_t pixels = SensorPixels(camera);
  Bytes bitmap(pixels / 8);
  if (ExpandBitmap(std::span(record).first(length), bitmap)) return Damaged();
  marks.assign(pixels, 0);
  UnpackBits(bitmap, marks);
  return outcome;
}

FlashOutcome StoreHotPixels(CCameraBase& camera, const FlashImage& before, const FlashWatcher& watcher) {
  if (auto usable = FlashUsable(camera); !usable.Done()) return usable;
  if (before.bytes.size() != kBackupBytes) return {FlashResult::Refused, "the backup is not whole"};
  const HotPixelMarks marks = HotPixelsOfDark(camera);
  if (marks.empty()) return {FlashResult::Refused, "no dark image was taken"};
  const Bytes bitmap = Packed(marks);
  const Bytes record = RecordOf(camera, bitmap);
  if (!HoldsAll(record, bitmap))
    return {FlashResult::Refused, "these are more hot pixels than the camera's flash has room for"};
  // Its result is not the last word: a record of whole chunks counts as not saved, and what is not saved may still
  // be got into flash by another attempt.
  {
    const RaisedRows raised(camera);
    camera.SaveHPCTable();
  }
  const FlashWatcher saving = [&watcher](FlashProgress progress) {
    progress.step = "saving";
    return !watcher || watcher(progress);
  };
  FlashOutcome outcome = RestoreFlashImage(camera, WithRecord(before, record), saving);
  if (outcome.result == FlashResult::Cancelled) outcome.reason = "stopped before all of the table was checked";
  if (outcome.Done() && !camera.LoadHPCTable())
    outcome = {FlashResult::CameraFailed, "the hot-pixel table was saved, but cannot be loaded"};
  return outcome;
}

}  // namespace orq
