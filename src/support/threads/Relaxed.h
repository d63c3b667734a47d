// A field that several threads share without a lock.
#pragma once

#include <atomic>

namespace orq {

/// A plain value that threads may read and write at once: it reads and assigns like `T`, with relaxed
/// atomic accesses underneath. Single accesses never tear; sequences of accesses are not atomic.
/// Thread rule: any-thread.
template <class T>
class Relaxed {
 public:
  constexpr Relaxed() noexcept : value_(T{}) {}
  constexpr Relaxed(T value) noexcept : value_(value) {}  // NOLINT: reads like the plain type
  Relaxed(const Relaxed& other) noexcept : value_(other.Load()) {}

  Relaxed& operator=(T value) noexcept {
    value_.store(value, std::memory_order_relaxed);
    return *this;
  }
  Relaxed& operator=(const Relaxed& other) noexcept { return *this = other.Load(); }

  operator T() const noexcept { return Load(); }  // NOLINT: reads like the plain type
  T Load() const noexcept { return value_.load(std::memory_order_relaxed); }

 private:
  std::atomic<T> value_;
};

}  // namespace orq
