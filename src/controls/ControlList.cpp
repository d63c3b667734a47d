// The camera object's side of the control catalogue.
#include "camera/CameraBase.h"
#include "controls/ControlCatalogue.h"
#include "controls/ModelQuirks.h"
#include "link/WireProtocol.h"

namespace {

constexpr unsigned char kHighSpeedType = 6;

bool FindHighSpeed(CCameraBase& camera) {
  if (camera.hasHighSpeed != 0) return true;
  if (!orq::quirks::ProbesForHighSpeed(camera.iPID)) return false;
  unsigned char type = 0;
  camera.ReadFPGAREG(orq::wire::kFpgaType, &type);
  if (type != kHighSpeedType) return false;
  camera.hasHighSpeed = 1;  // no second probe
  return true;
}

}  // namespace

int CCameraBase::GetCtrllCaps(ORQ_CONTROL_TYPE id, _ORQ_CONTROL_CAPS* caps) {
  if (caps == nullptr) return 0;
  return orq::DescribeControl(id, {limits, *this, iMaxHeight}, *caps) ? 1 : 0;
}

// Several threads may rebuild at once (every availability query does): the list is made apart and then
// stored entry by entry, so that all of them store the same values.
void CCameraBase::GetNumOfControls() {
  orq::ControlAvailability available{*this};
  available.highSpeed = FindHighSpeed(*this);
  available.gps = GPSCheck();
  available.fanAdjustable = FanAdjustCheck();
  const orq::ControlOrder order = orq::ListControls(available);
  for (std::size_t i = 0; i < order.count; ++i) controlList[i] = order.ids[i];
  controlCount = static_cast<std::int32_t>(order.count);
}

int CCameraBase::GetControlCaps(int index, _ORQ_CONTROL_CAPS* caps) {
  if (caps == nullptr) return 0;
  const bool inArray = index >= 0 && static_cast<std::size_t>(index) < controlList.size();
  caps->controlType = inArray ? controlList[static_cast<std::size_t>(index)].Load() : ORQ_GAIN;
  if (index < 0 || index >= controlCount) return 0;
  return GetCtrllCaps(caps->controlType, caps);
}

bool CCameraBase::IsAvailable(Control_TYPE type) {
  GetNumOfControls();
  const ORQ_CONTROL_TYPE wanted = ControlConv(type);
  const auto count = static_cast<std::size_t>(controlCount.Load());
  for (std::size_t i = 0; i < count; ++i)
    if (controlList[i] == wanted) return true;
  return false;
}

ORQ_CONTROL_TYPE CCameraBase::ControlConv(Control_TYPE type) {
  return orq::PublicControl(type);
}

bool CCameraBase::IsImgTypeSupported(IMG_TYPE type) {
  const bool colour = bIsColor != 0;
  switch (type) {
    case ORQ_IMG_RAW8:
      return supportImgType0 != 0;
    case ORQ_IMG_RGB24:
      return colour && supportImgType1 != 0;
    case ORQ_IMG_RAW16:
      return supportImgType2 != 0;
    case ORQ_IMG_Y8:
      return colour && supportImgType3 != 0;
  }
  return false;
}

bool CCameraBase::IsAutoSupported(Control_TYPE type) {
  _ORQ_CONTROL_CAPS caps{};
  GetCtrllCaps(ControlConv(type), &caps);
  return caps.isAutoSupported == 1;
}

int CCameraBase::GetMin(Control_TYPE type) {
  _ORQ_CONTROL_CAPS caps{};
  GetCtrllCaps(ControlConv(type), &caps);
  return caps.minValue;
}

int CCameraBase::GetMax(Control_TYPE type) {
  _ORQ_CONTROL_CAPS caps{};
  GetCtrllCaps(ControlConv(type), &caps);
  return caps.maxValue;
}
