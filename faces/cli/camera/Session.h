// One command's use of a camera.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "camera/Context.h"
#include "output/ExitCodes.h"
#include "session/CameraList.h"

namespace orq::cli {

/// Makes the camera that the context names; not yet open. Says on standard error when its settings could not be
/// loaded. Throws CliError: wrong name (usage), no such camera.
NamedCamera FindCamera(const Context& context);

/// An open camera with its kept settings; stopped, set to run freely with its trigger outputs off, and closed at
/// the end of its life. What is set meanwhile ends with it, unless it is kept.
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

  /// What the recording says that the camera replays; empty for other cameras.
  const RecordedFacts& Recorded() const { return named_.recorded; }
  /// Whether what is beyond the limits is an error.
  bool Strict() const { return strict_; }
  /// Whether settings are loaded, and may be kept.
  bool UsesSettings() const { return usesSettings_; }
  std::string Serial();  ///< 16 hex digits, empty when there is none
  std::string UserId();  ///< as a listing shows it, empty when there is none
  std::string Firmware() const;
  std::string Speed() const;

  /// Keeps the settings for later runs; says on standard error when they cannot be.
  void KeepSettings();
  /// The same for settings that the user asked to keep: throws CliError (file) when they cannot be.
  void DemandKept();

  /// Switches the cooler; `keep`: it stays on after the session. Throws Failure when the camera refuses.
  void SwitchCooler(bool on, bool keep);
  /// The cooler was switched by somebody else.
  void NoteCooling(bool on, bool keep);
  /// After a loss: waits until the camera with the same serial number is back, however long, and opens it with
  /// everything as it was. False when the user asked to stop.
  bool Reconnect();

  /// Throws what fits a failure of the link: camera lost when it is gone, else failed with `what` and the reason.
  [[noreturn]] void Fail(const std::string& what);

 private:
  int SaveSettings();  ///< as the camera's `SaveSetting`
  void RunFreely();
  bool Reopen(int index, std::int32_t bandwidth);

  const bool strict_;
  const bool usesSettings_;
  NamedCamera named_;
  std::uint8_t keptDebug_ = 0;  ///< the log's switch as the settings have it
  std::string serial_;          ///< as it was when the camera was opened
  bool cools_ = false;          ///< the cooler is to be on
  bool keepsCooling_ = false;
};

}  // namespace orq::cli
