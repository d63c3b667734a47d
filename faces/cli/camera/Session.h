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

  /// Whether what is beyond the limits is an error.
  bool Strict() const { return strict_; }
  std::string Serial();  ///< 16 hex digits, empty when there is none
  std::string UserId();  ///< as a listing shows it, empty when there is none

  /// Keeps the settings for later runs; says on standard error when they cannot be.
  void KeepSettings();

  /// Throws what fits a failure of the link: camera lost when it is gone, else failed with `what` and the reason.
  [[noreturn]] void Fail(const std::string& what);

 private:
  int SaveSettings();  ///< as the camera's `SaveSetting`
  void RunFreely();

  const bool strict_;
  NamedCamera named_;
  std::uint8_t keptDebug_ = 0;  ///< the log's switch as the settings have it
};

}  // namespace orq::cli
