// Single exposures of a camera for clients that start one and ask for it later.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <orqcam/orqcam.hpp>
#include <string>
#include <vector>

#include "alpaca/image/Image.h"
#include "alpaca/image/Subframe.h"
#include "cameras/CameraSlot.h"
#include "http/Workers.h"

namespace orq::network::alpaca {

/// One exposure at a time; its picture stays until the next one is there. Any thread.
class Exposures {
 public:
  explicit Exposures(CameraSlot& slot) : slot_(slot) {}
  Exposures(const Exposures&) = delete;
  Exposures& operator=(const Exposures&) = delete;

  enum class Stage { idle, exposing, reading, failed };
  struct Standing {
    Stage stage = Stage::idle;
    int percent = 0;      ///< of the exposure under way; 100 when its picture is there
    std::string trouble;  ///< why the last one failed
  };

  /// Begins one. Throws StateError while one is under way, BusyError while the camera does something else, or
  /// while too many earlier pictures are still being sent.
  void start(const Reading& reading, const Optics& optics, std::uint64_t exposureUs);
  /// Ends the one under way without its picture, and waits for its end; nothing when there is none.
  void abort();
  Standing standing() const;
  /// The last picture; null: there is none, or another one is under way.
  std::shared_ptr<const Image> image() const;

 private:
  void begin(std::uint64_t exposureUs);
  void finish(std::shared_ptr<const Image> image, std::string trouble);

  CameraSlot& slot_;
  mutable std::mutex mutex_;
  std::condition_variable ended_;
  bool underWay_ = false;
  bool aborted_ = false;
  std::uint64_t exposureUs_ = 0;
  std::shared_ptr<const Image> image_;
  std::vector<std::weak_ptr<const Image>> made_;  ///< pictures that somebody may still hold
  std::string trouble_;
  Workers waiter_{1, 4};  // last: it uses the others
};

}  // namespace orq::network::alpaca
