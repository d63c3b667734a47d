// All cameras of the server.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <orqcam/orqcam.hpp>
#include <string>
#include <thread>
#include <vector>

#include "cameras/CameraSlot.h"

namespace orq::network {

/// Keeps the cameras that were named; when none was, every one that is plugged in, now or later. A camera keeps
/// its number. Any thread.
class Cameras {
 public:
  /// Throws InvalidError for a name that can mean no camera. One that is not there is waited for.
  explicit Cameras(const std::vector<std::string>& names);
  ~Cameras();
  Cameras(const Cameras&) = delete;
  Cameras& operator=(const Cameras&) = delete;

  /// In the order of their numbers.
  std::vector<std::shared_ptr<CameraSlot>> all() const;
  /// The camera whose number the text is. Throws NotFoundError.
  std::shared_ptr<CameraSlot> at(const std::string& number) const;
  /// Before the server stops: whoever waits for a camera comes back.
  void abort();

 private:
  void add(const std::string& name);
  void pluggedIn(const std::string& name);
  void keep();

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::shared_ptr<CameraSlot>> slots_;
  bool ending_ = false;
  std::thread keeper_;
  std::optional<Watch> watch_;
};

}  // namespace orq::network
