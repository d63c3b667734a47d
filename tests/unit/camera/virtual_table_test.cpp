// The order of the virtual operations is part of the binary interface of the models.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "camera/CameraBase.h"

namespace {

/// The slot of a virtual member function under the Itanium ABI, read out of its member pointer: the byte offset
/// into the table, marked as virtual in its own lowest bit, or (on Arm) in the adjustment's.
template <class MemberFunction>
std::ptrdiff_t Slot(MemberFunction function) {
  struct {
    std::ptrdiff_t pointer;
    std::ptrdiff_t adjustment;
  } parts;
  static_assert(sizeof parts == sizeof function);
  std::memcpy(&parts, &function, sizeof parts);
#if defined(__arm__) || defined(__aarch64__)
  EXPECT_EQ(parts.adjustment, 1) << "not virtual in the first table";
  const std::ptrdiff_t offset = parts.pointer;
#else
  EXPECT_EQ(parts.adjustment, 0) << "not in the first table";
  EXPECT_EQ(parts.pointer & 1, 1) << "not virtual";
  const std::ptrdiff_t offset = parts.pointer - 1;
#endif
  return offset / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(VirtualTable, HoldsTheOperationsInTheOrderThatModelsAreBuiltFor) {
  // The destructor's two entries take slots 0 and 1: the first operation comes at 2.
  EXPECT_EQ(Slot(&CCameraBase::OpenCamera), 2);
  EXPECT_EQ(Slot(&CCameraBase::ReservedModelOp1), 3);
  EXPECT_EQ(Slot(&CCameraBase::CloseCamera), 4);
  EXPECT_EQ(Slot(&CCameraBase::ReservedModelOp2), 5);
  EXPECT_EQ(Slot(&CCameraBase::ReservedModelOp3), 6);
  EXPECT_EQ(Slot(&CCameraBase::SetGain), 7);
  EXPECT_EQ(Slot(&CCameraBase::GetGain), 8);
  EXPECT_EQ(Slot(&CCameraBase::SetGamma), 9);
  EXPECT_EQ(Slot(&CCameraBase::GetGamma), 10);
  EXPECT_EQ(Slot(&CCameraBase::SetBrightness), 11);
  EXPECT_EQ(Slot(&CCameraBase::SetHighSpeedMode), 12);
  EXPECT_EQ(Slot(&CCameraBase::SetHardwareBin), 13);
  EXPECT_EQ(Slot(&CCameraBase::SetEnableDDR), 14);
  EXPECT_EQ(Slot(&CCameraBase::SetFPSPerc), 15);
  EXPECT_EQ(Slot(&CCameraBase::SetOverCLKPerc), 16);
  EXPECT_EQ(Slot(&CCameraBase::SetWB), 17);
  EXPECT_EQ(Slot(&CCameraBase::SetPattern), 18);
  EXPECT_EQ(Slot(&CCameraBase::SetExp), 19);
  EXPECT_EQ(Slot(&CCameraBase::GetImageData), 20);
  EXPECT_EQ(Slot(&CCameraBase::GetSensorTempInside), 21);
  EXPECT_EQ(Slot(&CCameraBase::IsHardBinRun), 22);
  EXPECT_EQ(Slot(&CCameraBase::SetControlValue), 23);
  EXPECT_EQ(Slot(&CCameraBase::GetControlValue), 24);
  EXPECT_EQ(Slot(&CCameraBase::GetTemp), 25);
  EXPECT_EQ(Slot(&CCameraBase::GetRollingInterval), 26);
  EXPECT_EQ(Slot(&CCameraBase::GetSHR0Time), 27);
  EXPECT_EQ(Slot(&CCameraBase::FanAdjustCheck), 28);
  EXPECT_EQ(Slot(&CCameraBase::SetFanSpeed), 29);
  EXPECT_EQ(Slot(&CCameraBase::GetFanSpeed), 30);
  EXPECT_EQ(Slot(&CCameraBase::SetPowerLedBrightness), 31);
  EXPECT_EQ(Slot(&CCameraBase::GetPowerLedBrightness), 32);
  EXPECT_EQ(Slot(&CCameraBase::ResetUSBHub), 33);
  EXPECT_EQ(Slot(&CCameraBase::GetUSBHubOn), 34);
  EXPECT_EQ(Slot(&CCameraBase::GetRealExpTime), 35);
}

/// A class whose one new virtual operation comes right after the base's last one.
class OneMore : public CCameraBase {
 public:
  virtual void Next() = 0;
};

TEST(VirtualTable, EndsAfterTheRealExposureTime) {
  EXPECT_EQ(Slot(&OneMore::Next), 36);
}

}  // namespace
