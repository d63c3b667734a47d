// The hot-pixel table in the camera's flash.
#include <cstdint>
#include <mutex>
#include <vector>

#include "camera/CameraBase.h"
#include "camera/CorrectionAccess.h"
#include "image/flash/Bitmap.h"
#include "image/hotpixels/HotPixelTable.h"
#include "support/DbgPrint.h"

bool CCameraBase::SetHPCStates(bool on) {
  HPC = on ? 1 : 0;
  if (!on) return true;
  if (LoadHPCTable()) {
    DbgPrint(-1, "SetHPCStates", "Load HPC table success\n");
    return true;
  }
  DbgPrint(-1, "SetHPCStates", "Load HPC table error\n");
  HPC = 0;
  return false;
}

bool CCameraBase::LoadHPCTable() {
  if (!pHPCFullMap) return false;
  const std::size_t pixels = orq::SensorPixels(*this);
  std::vector<std::uint8_t> bitmap(pixels / 8);
  if (!ReadFromFLAHAndUnCompress(bitmap.data(), static_cast<unsigned>(bitmap.size()), true)) return false;
  {
    const std::scoped_lock lock(HPCMutex);
    orq::UnpackBits(bitmap, orq::View(pHPCFullMap, pixels));
    bHPCForce = true;
  }
  AdjustHPCTable();
  return true;
}

bool CCameraBase::SaveHPCTable() {
  if (!pHPCFullMap) return false;
  const std::size_t pixels = orq::SensorPixels(*this);
  std::vector<std::uint8_t> bitmap(pixels / 8);
  {
    const std::scoped_lock lock(DarkAccumMutex, DarkBufMutex, HPCMutex);
    if (!pDarkFull) return false;  // an empty table would overwrite the one in the flash
    const auto fullMap = orq::View(pHPCFullMap, pixels);
    orq::MarkHotPixels(orq::View(pDarkFull, pixels), iDarkAverage, fullMap);
    orq::PackBits(fullMap, bitmap);
  }
  return CompressAndWriteIntoFLASH(bitmap.data(), static_cast<unsigned>(bitmap.size()), true);
}
