// One command's use of a camera, through the public library.
#pragma once

#include <orqcam/orqcam.hpp>
#include <string>
#include <utility>

#include "camera/Context.h"
#include "output/ExitCodes.h"

namespace orq::cli {

/// An open camera with its kept settings; stopped, set to run freely with its trigger outputs off, and closed at
/// the end of its life. What is set meanwhile ends with it, unless it is kept.
class Device {
 public:
  /// The name of the camera that the user has chosen; empty: the only one that is plugged in. Throws CliError
  /// (usage).
  static std::string NameIn(const Context& context);

  /// Says on standard error what is wrong with the settings. Throws CliError: wrong name (usage), no such camera,
  /// cannot be opened.
  explicit Device(const Context& context);
  ~Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  Camera& operator*() { return camera_; }
  Camera* operator->() { return &camera_; }
  const Camera* operator->() const { return &camera_; }

  /// As it was when the camera was opened.
  const orq_camera_info& Info() const { return info_; }
  bool Can(std::uint32_t ability) const { return (info_.abilities & ability) != 0; }
  /// Whether what is beyond the limits is an error.
  bool Strict() const { return strict_; }

  /// The cooler was switched; `keep`: it stays on when the camera is closed.
  void NoteCooling(bool on, bool keep);
  /// After a loss: waits until the camera with the same serial number is back, however long, and opens it with
  /// everything as it was. False when the user asked to stop.
  bool Reconnect();

  /// Keeps the settings for later runs, as the user asked for; says on standard error what was wrong with the
  /// file. Throws CliError (file) when they cannot be kept.
  void DemandKept();

  /// What `ask` answers. A failure of the link says that `what` could not be done, with the link's reason.
  template <class Ask>
  auto Do(const std::string& what, Ask&& ask) {
    try {
      return std::forward<Ask>(ask)(camera_);
    } catch (const Error& error) {
      Rethrow(what, error);
    }
  }

 private:
  [[noreturn]] static void Rethrow(const std::string& what, const Error& error);
  bool Reopen(bool& told);
  void RunFreely();

  const bool strict_;
  Camera camera_;
  const orq_camera_info info_;
  bool cools_ = false;  ///< the cooler is to be on
  bool keepsCooling_ = false;
};

}  // namespace orq::cli
