// Lets a test make POSIX thread functions fail, hold them, and count them.
#pragma once

#include <atomic>
#include <semaphore>

namespace faults {

/// What each function returns instead of doing its work; 0 lets it work.
struct Results {
  std::atomic<int> mutexAttrInit{0};
  std::atomic<int> mutexAttrSetType{0};
  std::atomic<int> mutexInit{0};
  std::atomic<int> mutexDestroy{0};
  std::atomic<int> mutexAttrDestroy{0};
  std::atomic<int> create{0};
};
extern Results results;

/// How often each function was called by the program since `Reset`.
struct Calls {
  std::atomic<int> mutexAttrSetType{0};
  std::atomic<int> mutexInit{0};
  std::atomic<int> mutexDestroy{0};
  std::atomic<int> created{0};
  std::atomic<int> joined{0};
  std::atomic<int> detached{0};
};
extern Calls calls;

/// Holds threads at a place: each one that comes there reports itself and waits to be let through.
class Gate {
 public:
  void Close() { closed_ = true; }
  /// For the thread that is to be held.
  void Pass() {
    if (!closed_) return;
    arrived_.release();
    open_.acquire();
  }
  void WaitForArrival() { arrived_.acquire(); }
  /// Lets the one thread through that waits, and all later ones.
  void Open() {
    closed_ = false;
    open_.release();
  }

 private:
  std::atomic<bool> closed_{false};
  std::counting_semaphore<> arrived_{0};
  std::counting_semaphore<> open_{0};
};

/// Before the first instruction of a new thread, and inside `pthread_detach`. To be opened again by their user.
extern Gate threadBegin;
extern Gate detach;

/// All functions work again and all counts are 0.
void Reset();

}  // namespace faults
