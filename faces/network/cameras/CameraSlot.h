// One camera of the server, from its first mention to the server's end.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <orqcam/orqcam.hpp>
#include <string>

#include "cameras/CaptureTurns.h"

namespace orq::network {

/// Whether a camera can be used.
enum class Presence {
  absent,  ///< it was never there, or another program has it
  open,
  lost  ///< unplugged; it comes back by itself
};

/// "absent", "open", "lost".
const char* nameOf(Presence presence);

/// What is known about a camera without asking it.
struct CameraStanding {
  Presence presence = Presence::absent;
  std::string trouble;  ///< why it is not open; empty: it is
  /// Of the camera when it was opened last; nothing: it never was.
  std::optional<orq_camera_info> info;
  std::uint64_t openings = 0;  ///< times that it was opened or came back
};

/// A camera that all clients share. Kept open, and opened again after an unplug. Any thread; the camera itself
/// serialises its calls.
class CameraSlot {
 public:
  /// `name` as the library takes it.
  CameraSlot(int index, std::string name) : index_(index), name_(std::move(name)) {}

  /// Its number in addresses, from 0.
  int index() const { return index_; }
  const std::string& name() const { return name_; }
  CameraStanding standing() const;
  /// The open camera. Throws NotFoundError or LostError, which say why there is none.
  std::shared_ptr<Camera> camera() const;
  /// The camera as long as it is known, also while it is lost: its counters and its readers go on. Null: never
  /// seen.
  std::shared_ptr<Camera> lastCamera() const;
  CaptureTurns& turns() { return turns_; }

  /// Opens it. Throws what the library throws; `standing().trouble` says it as well.
  void open();
  /// Opens it when it is absent and hears what has happened to it. Called now and then by one thread.
  void tend();
  /// Ends captures and waits on it, so that threads which use it come back.
  void abort();
  void close();

 private:
  void hear(const orq_event& event);
  void setStanding(Presence presence, std::string trouble);

  const int index_;
  const std::string name_;
  CaptureTurns turns_;
  mutable std::mutex mutex_;
  std::shared_ptr<Camera> camera_;
  CameraStanding standing_;
  std::chrono::steady_clock::time_point nextTry_{};
};

}  // namespace orq::network
