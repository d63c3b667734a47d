// Who may run a camera's capture: an exposure for a program and a live view cannot both.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace orq::network {

/// What a capture is for. A view gives way to the others; those give way to nobody.
enum class Purpose { view, exposure, recording };

/// "a live view", "an exposure", "a recording".
std::string nameOf(Purpose purpose);

/// The right to start and stop a camera's captures and to change its region; one holds it at a time. Any thread.
class CaptureTurns {
 public:
  /// While it lives, the capture is its holder's; the camera's slot lives longer. Whoever lets it go has stopped
  /// the capture.
  class Turn {
   public:
    explicit Turn(CaptureTurns& turns) : turns_(&turns) {}
    ~Turn();
    Turn(Turn&& other) noexcept : turns_(std::exchange(other.turns_, nullptr)) {}
    Turn& operator=(Turn&&) = delete;
    /// Of a view: somebody waits for the capture; stop it and let this go.
    bool isWanted() const;

   private:
    CaptureTurns* turns_;
  };

  /// Waits at most `patience`: for a view that is to give way, or, for a view, until nobody else has the capture.
  /// Throws BusyError, which says what the camera does. What is no view waits for views only.
  Turn take(Purpose purpose, std::chrono::milliseconds patience = std::chrono::seconds(5));
  /// Runs `change`, which changes what captures depend on, while nobody but a view captures and nobody else
  /// changes anything. Whoever wants a capture meanwhile waits for its end. Throws BusyError, which says what the
  /// camera does: an exposure or a recording keeps what it began with. `what` is to change: "the region".
  void change(const std::string& what, const std::function<void()>& change);
  /// What the capture is for now; nothing: nobody has it.
  std::optional<Purpose> holder() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<Purpose> holder_;
  int wanted_ = 0;         ///< those that wait for a view to give way
  bool changing_ = false;  ///< what captures depend on
};

}  // namespace orq::network
