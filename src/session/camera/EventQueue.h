// What a program is told about a camera without asking, and the descriptor that wakes its event loop.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "support/threads/Mutex.h"

namespace orq::session {

enum class EventKind : std::int32_t {
  Frame = 1,           ///< the default reader holds a frame that was not told of yet
  Lost = 2,            ///< the camera is gone
  Returned = 3,        ///< the camera that was lost is there again
  ExposureFailed = 4,  ///< a capture ended by itself without its frame
  CoolerTrouble = 5,   ///< the cooler cannot keep its target, or can again (an empty text)
  GpsLost = 6,         ///< frames have no GPS time any more
  GpsBack = 7,         ///< they have again
  Settings = 8,        ///< kept settings could not be read or kept as they were
  Uncorrected = 9,     ///< a correction that the settings have on is not made
};

struct Event {
  EventKind kind = EventKind::Frame;
  std::string text{};  ///< one line for a user; may be empty
};

/// Events in the order in which they came; of one kind only the latest one waits. Any-thread.
class EventQueue {
 public:
  EventQueue() = default;
  ~EventQueue();
  EventQueue(const EventQueue&) = delete;
  EventQueue& operator=(const EventQueue&) = delete;

  void Put(EventKind kind, std::string text);
  /// Whether the default reader holds a frame; each call with true is a new frame.
  void FrameWaits(bool waits);
  /// False when there is none.
  bool Next(Event& event);
  /// Readable while `Next` has something, so that a loop which takes what there is sleeps until there is more.
  /// Stays this object's. Throws Failure (Memory) when the system gives none.
  int Descriptor();

 private:
  void Show() ORQ_REQUIRES(mutex_);

  Mutex mutex_;
  std::deque<Event> events_ ORQ_GUARDED_BY(mutex_);
  bool frameWaits_ ORQ_GUARDED_BY(mutex_) = false;
  bool frameTold_ ORQ_GUARDED_BY(mutex_) = false;
  int descriptor_ ORQ_GUARDED_BY(mutex_) = -1;  ///< made when somebody asks for it
  bool shown_ ORQ_GUARDED_BY(mutex_) = false;   ///< the descriptor is readable
};

}  // namespace orq::session
