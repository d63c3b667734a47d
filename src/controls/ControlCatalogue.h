// The catalogue of controls: what each control is, and in which order a camera lists those it has.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "controls/ControlState.h"
#include "controls/ControlTypes.h"

namespace orq {

/// What the catalogue needs to know of a model to fill in limits.
struct CatalogueModel {
  const ControlLimits& limits;
  const CapabilityFlags& flags;
  std::int32_t maxHeight;  ///< sensor rows
};

/// Fills everything in `caps` but `controlType`. False for an id that is not in the catalogue; `caps` is then
/// untouched.
bool DescribeControl(ORQ_CONTROL_TYPE id, const CatalogueModel& model, _ORQ_CONTROL_CAPS& caps);

/// What decides which controls a camera has: its model's flags, and what only the device can tell.
struct ControlAvailability {
  const CapabilityFlags& flags;
  bool highSpeed = false;      ///< high-speed readout, by flag or by probe
  bool gps = false;            ///< a usable GPS block
  bool fanAdjustable = false;  ///< adjustable fan and LED outputs
};

/// The controls of one camera, in the order in which callers enumerate them.
struct ControlOrder {
  std::array<ORQ_CONTROL_TYPE, kControlTypes> ids{};
  std::size_t count = 0;
};
ControlOrder ListControls(const ControlAvailability& available);

/// The public id of an internal one; `ORQ_GAIN` for a value that is none.
ORQ_CONTROL_TYPE PublicControl(Control_TYPE type);

}  // namespace orq
