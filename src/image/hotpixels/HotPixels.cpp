// Repairing frames, and keeping the hot-pixel table in step with the frame geometry.
#include <mutex>
#include <utility>

#include "camera/CameraBase.h"
#include "camera/CorrectionAccess.h"
#include "controls/ModelQuirks.h"
#include "image/hotpixels/HotPixelTable.h"
#include "image/hotpixels/PixelRepair.h"
#include "support/DbgPrint.h"

namespace {

/// Calls `repair` with the camera's frame, taken as `width` x `height` samples of the kind that it holds.
template <class Repair>
auto WithFrame(const CCameraBase& camera, std::int32_t width, std::int32_t height, Repair repair) {
  const std::int32_t step = 1 + camera.bIsColor;
  const std::size_t samples = orq::SensorPixels(camera);
  if (camera.b16Bit != 0) {
    auto* const frame = reinterpret_cast<std::uint16_t*>(camera.pImgBuf.get());
    return repair(orq::FrameView<std::uint16_t>{{frame, frame != nullptr ? samples : 0}, width, height, step});
  }
  return repair(orq::FrameView<std::uint8_t>{orq::View(camera.pImgBuf, 2 * samples), width, height, step});
}

}  // namespace

void CCameraBase::HandleHotPixels() {
  if (HPC != 0) {
    const std::scoped_lock lock(HPCMutex);
    WithFrame(*this, iHPCWidth, iHPCHeight, [this](const auto& frame) {
      orq::RepairHotPixels(frame, orq::View(pHPCList, iHPCCount), orq::View(pHPCMap, orq::SensorPixels(*this)),
                           iADCBits);
      orq::RepairRows(frame, orq::View(pBadRows, iHPCHeight));
      orq::RepairColumns(frame, orq::View(pBadCols, iHPCWidth));
    });
  }
  if (CutDark != 0) {
    const std::scoped_lock lock(DarkListMutex);
    WithFrame(*this, iDarkWidth, iDarkHeight,
              [this](const auto& frame) { orq::RepairDarkPixels(frame, orq::View(pDarkPixList, iDarkPixCount)); });
  }
}

bool CCameraBase::DeNoiseHPC(int x, int y, int pos) {
  return WithFrame(
      *this, iHPCWidth, iHPCHeight,
      [&](const auto& frame) {
        return orq::AverageNeighbours(frame, orq::View(pHPCMap, orq::SensorPixels(*this)), x, y, pos);
      });
}

int CCameraBase::GetSuitableReplacePos(int index, unsigned int* list, int step, int width, int height,
                                       bool atEnd) {
  if (list == nullptr || index < 0 || index >= iHPCCount) return 0;
  return orq::BorderReplacement({list, static_cast<std::size_t>(iHPCCount)}, static_cast<std::size_t>(index), step,
                                width, height, atEnd);
}

bool CCameraBase::IsHPCChange() {
  const std::scoped_lock lock(HPCMutex);
  const orq::SensorCut now = orq::CurrentCut(*this, false);
  if (bHPCForce || now.bin != hpcLastBin || now.twoStageBin4 != hpcLastBin4By2x2 || now.width != hpcLastWidth ||
      now.height != hpcLastHeight || now.startX != hpcLastStartX || now.startY != hpcLastStartY)
    return true;
  DbgPrint(-1, "IsHPCChange", "not changed, return\n");
  return false;
}

void CCameraBase::AdjustHPCTable() {
  // Map, flags and geometry change together with the list, so that a frame never meets a mixture.
  const std::scoped_lock lock(HPCMutex);
  if (!pHPCFullMap || !pHPCMap || !IsHPCChange()) return;
  DbgPrint(-1, "AdjustHPCTable", "AdjustHPCTable >\n");

  const orq::SensorCut cut = orq::CurrentCut(*this, IsHardBinRun());
  const std::size_t pixels = orq::SensorPixels(*this);
  const auto placement =
      orq::quirks::ScalesBinnedCoordinates(iPID) ? orq::BinPlacement::Scaled : orq::BinPlacement::SameColour;
  orq::HotPixelTable table =
      orq::CutHotPixelTable(orq::View(pHPCFullMap, pixels), cut, orq::View(pBinOffsets, orq::kBinOffsets),
                            placement, orq::View(pHPCMap, pixels));
  if (table.count >= orq::kMaxHotPixels)
    DbgPrint(-1, "AdjustHPCTable", "HPC number over %d, quit!\n", static_cast<int>(orq::kMaxHotPixels));
  iHPCWidth = table.width;
  iHPCHeight = table.height;
  pBadRows = std::move(table.badRows);
  pBadCols.reset();
  pHPCList = std::move(table.list);
  iHPCCount = static_cast<std::int32_t>(table.count);
  DbgPrint(-1, "AdjustHPCTable", "HPC Dead pixel:%d\n", iHPCCount);

  hpcLastBin = cut.bin;
  hpcLastBin4By2x2 = cut.twoStageBin4;
  hpcLastWidth = cut.width;
  hpcLastHeight = cut.height;
  hpcLastStartX = cut.startX;
  hpcLastStartY = cut.startY;
  bHPCForce = false;
}
