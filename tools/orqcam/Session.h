// One command's use of a camera.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "ExitCodes.h"
#include "Output.h"
#include "models/CameraList.h"

namespace orq::cli {

/// What every command is given.
struct Context {
  Output& out;
  std::optional<std::string> camera = std::nullopt;  ///< name as the user wrote it; none: the only one connected
  bool json = false;
  bool debug = false;
  bool settings = true;  ///< load and keep settings
};

/// Makes the camera that the context names; not yet open. Says on standard error when its settings could not be
/// loaded. Throws CliError: wrong name (usage), no such camera.
NamedCamera FindCamera(const Context& context);

/// An open camera; stopped, set to run freely with its trigger outputs off, and closed at the end of its life,
/// which keeps its settings after a capture.
class Session {
 public:
  /// Throws CliError: wrong name (usage), no such camera, cannot be opened.
  explicit Session(const Context& context);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  CModelCamera& Camera() { return *named_.camera; }
  const CModelCamera& Camera() const { return *named_.camera; }
  const ModelData& Model() const { return named_.camera->Model(); }

  std::string Serial();  ///< 16 hex digits, empty when there is none
  std::string UserId();  ///< as a listing shows it, empty when there is none
  std::string Firmware() const;
  std::string Speed() const;

  /// From now on kept settings say of the dark what the camera says now, whichever is in use then: settings are by
  /// model, a dark belongs to one camera.
  void FreezeDarkSetting();
  /// The camera's `StopCapture`, which keeps the settings after a video.
  void StopCapture();
  /// Keeps the settings for later runs; says on standard error when they cannot be.
  void KeepSettings();

  /// Throws what fits a failure of the link: camera lost when it is gone, else failed with `what` and the reason.
  [[noreturn]] void Fail(const std::string& what);

 private:
  struct DarkSetting {
    std::uint8_t on = 0;
    std::array<char, 256> path{};
  };
  DarkSetting SwapDarkSetting(const DarkSetting& setting);
  template <class Keeper>
  void Keep(Keeper&& keeper);
  void RunFreely();

  std::optional<DarkSetting> frozen_;
  NamedCamera named_;
  std::uint8_t keptDebug_ = 0;  ///< the log's switch as the settings have it
};

}  // namespace orq::cli
