// Controls by name, with units, and with word of what was changed.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "camera/Session.h"

namespace orq::cli {

/// One control of a camera: its catalogue record.
struct Control {
  ORQ_CONTROL_TYPE id = ORQ_GAIN;
  _ORQ_CONTROL_CAPS caps{};
  std::string Name() const { return caps.name; }
};

/// How a control's raw values read: `raw / scale` in `unit`.
struct ControlUnit {
  const char* unit;
  int scale;
};
ControlUnit UnitOf(ORQ_CONTROL_TYPE id);
/// A raw value in its unit, as a number for JSON and for text.
Json ScaledValue(ORQ_CONTROL_TYPE id, std::int64_t raw);

/// The camera's controls in catalogue order.
std::vector<Control> ListControls(CModelCamera& camera);
/// By catalogue name in any case. Throws CliError: usage with the right names when no camera has such a control,
/// failed when this one does not.
Control FindControl(CModelCamera& camera, std::string_view name);
/// The same for a control that the tool itself needs.
Control FindControl(CModelCamera& camera, ORQ_CONTROL_TYPE id);

/// What the controls of a fresh camera have: of the session's model on the session's port, with nothing kept.
class FreshValues {
 public:
  explicit FreshValues(Session& session);
  ~FreshValues();
  FreshValues(const FreshValues&) = delete;
  FreshValues& operator=(const FreshValues&) = delete;
  /// Nothing for what can only be read.
  std::optional<std::int64_t> Of(const Control& control) const;

 private:
  const std::unique_ptr<CModelCamera> camera_;
};

struct ControlReading {
  std::int64_t raw = 0;
  bool automatic = false;
  std::string trouble{};  ///< why the value is unknown; empty: it is known
};
/// Nothing when the camera lists the control but does not support it. Throws CliError.
std::optional<ControlReading> TryReadControl(Session& session, const Control& control);
/// Throws CliError.
ControlReading ReadControl(Session& session, const Control& control);

/// What to set: a raw value, or automatic.
struct ControlSetting {
  std::int64_t raw = 0;
  bool automatic = false;
};
/// "300", "on", "auto", "200ms" (exposure), "-5.5" (temperatures). Throws CliError (usage).
ControlSetting ParseSetting(const Control& control, std::string_view text);
/// Throws CliError (range) when the value is beyond the control's limits.
void DemandWithin(const Control& control, const ControlSetting& setting);
/// Sets it and says on standard error when the value had to be clamped. Throws CliError when it is read-only, not
/// supported or refused, or beyond its limits in a strict session.
void WriteControl(Session& session, const Control& control, const ControlSetting& setting);
/// Both for an option of the tool itself; one that was not given changes nothing.
void ApplyControl(Session& session, ORQ_CONTROL_TYPE id, const std::optional<std::string>& text);

}  // namespace orq::cli
