// Controls, cooling, guiding and the corrections of an open camera, beside whatever else it does.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "gps/GpsTypes.h"
#include "session/DarkSession.h"
#include "session/camera/Camera.h"
#include "session/controls/ControlValues.h"
#include "session/darks/DarkFile.h"
#include "session/darks/DarkStore.h"
#include "session/gps/GpsLines.h"
#include "session/guide/GuideLine.h"
#include "session/measure/GainPresets.h"

namespace orq::session {

/// The controls that the camera offers, in catalogue order.
std::vector<Control> ControlsOf(Camera& camera);
/// By name in any case, or by number. Throws Failure: Invalid when no camera has such a control, Unsupported when
/// this one does not.
Control ControlOf(Camera& camera, std::string_view name);
Control ControlOf(Camera& camera, std::int32_t id);
/// Throws Failure, also when the value is not known (Refused).
ControlReading Read(Camera& camera, const Control& control);
/// Nothing is changed when the value is beyond the limits (Range). Controls that change the frames of a running
/// capture restart it. Automatic control runs as long as a control is automatic.
void Write(Camera& camera, const Control& control, const ControlSetting& setting);

/// A gain with a meaning of its own, in the present readout mode.
PresetGain PresetOf(Camera& camera, GainPreset preset);

/// What the cooler does.
struct CoolerState {
  bool on = false;
  double targetC = 0.0;
  std::optional<double> sensorC;
  double power = 0.0;            ///< percent of the full drive
  std::optional<double> reachC;  ///< how cold it gets, once that is known to fall short of the target
  std::string trouble;           ///< why it cannot regulate; empty: it can
};
CoolerState Cooling(Camera& camera);
/// Switches the cooler on with a target, or off at once. `keep`: it stays on when the camera is closed.
void Cool(Camera& camera, bool on, double targetC, bool keep);
/// Both block until it is done, `seconds` have passed (Timeout) or somebody aborts (Cancelled).
void AwaitCold(Camera& camera, double seconds);
void Warm(Camera& camera, double seconds);

/// The sensor's temperature. Unsupported: no thermometer. Refused: it does not answer.
double Temperature(Camera& camera);
/// Volts. Unsupported: the board does not measure them.
double SupplyVoltage(Camera& camera);

/// Blocks until the line is off again, which it is in every case. Cancelled: somebody has aborted.
void Guide(Camera& camera, GuideD direction, int ms);

/// What the GPS receiver latched last.
struct GpsReceiver {
  int version = 0;
  bool readable = true;  ///< else it is too old for that
  bool fix = false;      ///< valid time and position in both
  _ORQ_GPS_DATA start{};
  _ORQ_GPS_DATA end{};
};
GpsReceiver ReceiverOf(Camera& camera);
/// Throws Failure (State) when frames of the present region cannot have GPS time.
void CheckGpsTimes(Camera& camera);
/// The lines at which the GPS takes the time, and whether they follow the region.
GpsLines LinesOf(Camera& camera, bool& follow);
void SetLines(Camera& camera, const GpsLines& lines);
void FollowLines(Camera& camera, bool follow);

/// Where a dark is to be written; no path: the camera's own place, which is replaced and chosen.
struct DarkTarget {
  std::optional<std::string> path;
  bool overwrite = false;
};
/// Throws Failure when no dark could be written there.
void CheckDarkTarget(Camera& camera, const DarkTarget& target);
/// Throws Failure (Range) for a number of frames that no dark has.
void DemandDarkFrames(int frames);
/// Takes a dark into memory with the turn held, and brings the camera back to what it did.
DarkDescription CollectDark(Camera& camera, const Camera::Turn& turn, int frames,
                            const std::function<void(const DarkProgress&)>& tell);
/// Takes a dark of `frames` frames (0: as many as the exposure asks for) with the present exposure, gain and
/// offset, and writes it, a .bmp with a description beside it. The sensor must be covered. A running capture is
/// interrupted for it.
DarkDescription TakeDark(Camera& camera, const DarkTarget& target, int frames,
                         const std::function<void(const DarkProgress&)>& tell);
/// The dark in a file, which must be of this camera's sensor.
DarkFile ReadDark(Camera& camera, const std::string& path);
void CopyDark(Camera& camera, const std::string& from, const DarkTarget& to);
/// Subtracts the dark in the file `path` from frames to come; nothing: none.
void UseDark(Camera& camera, const std::optional<std::string>& path);
struct DarkState {
  bool inUse = false;
  std::string trouble;      ///< why its description does not count; empty: it does, or there is none
  std::string differences;  ///< how the camera is set differently; empty: it is not, or that is not known
};
DarkState DarkInUse(Camera& camera);
/// The place of the camera's own dark, and of the user's choice.
DarkStore DarkStoreOf(Camera& camera);

}  // namespace orq::session
