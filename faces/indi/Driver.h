// All cameras of this computer for INDI's clients.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <orqcam/orqcam.hpp>
#include <string>
#include <utility>
#include <vector>

#include "camera/CameraDevice.h"
#include "loop/MainLoop.h"

namespace orq::indi {

/// The device "ORQ Camera" is always there: it stands for the first camera that is plugged in, or for a virtual
/// one. Every further camera is a device of its own, named by model and id or serial number, as long as it is
/// plugged in or in use. Everything runs on INDI's thread.
class Driver {
 public:
  Driver();
  ~Driver();
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;

  /// Lets all cameras go, as at the end of the program.
  void release();

 private:
  void start();
  void pluggedIn(const orq_camera_entry& camera);
  void unplugged(const std::string& reported);
  bool isPresent(const std::string& cameraName) const;
  /// All devices, the one that is always there first.
  std::vector<CameraDevice*> devices();
  /// Removes devices whose camera is neither there nor in use.
  void tidy();

  /// What is plugged in: under the name that it was reported with, the name that it is opened with.
  std::map<std::string, std::string> present_;
  CameraDevice first_;
  std::vector<std::unique_ptr<CameraDevice>> further_;
  std::optional<Watch> watch_;
  PosterOwner posts_;
};

}  // namespace orq::indi
