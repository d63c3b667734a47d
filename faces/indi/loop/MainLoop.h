// Work for INDI's own thread, on which everything that clients see is read and changed.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace orq::indi {

/// The thread that runs INDI's event loop.
class MainLoop {
 public:
  /// Made by the first call, which must come from that thread.
  static MainLoop& get();
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  /// Runs `work` there soon, in the order of the calls. Any thread.
  void post(std::function<void()> work);

 private:
  MainLoop();
  ~MainLoop() = default;
  void run();

  int wake_;
  std::mutex mutex_;
  std::vector<std::function<void()>> work_;
};

/// Posts work for one object, and forgets it when the object is gone. Copies post for the same object.
class Poster {
 public:
  /// Any thread.
  void post(std::function<void()> work) const;

 private:
  friend class PosterOwner;
  explicit Poster(std::weak_ptr<bool> alive) : alive_(std::move(alive)) {}
  std::weak_ptr<bool> alive_;
};

/// A member of the object that work is posted for; its last one, so that it goes first.
class PosterOwner {
 public:
  Poster poster() const { return Poster(alive_); }

 private:
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace orq::indi
