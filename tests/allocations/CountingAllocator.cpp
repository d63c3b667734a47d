#include "allocations/CountingAllocator.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::uint64_t> g_taken{0};
thread_local std::uint64_t t_taken = 0;

void* Take(std::size_t bytes, std::size_t alignment) {
  ++t_taken;
  ++g_taken;
  const std::size_t whole = (bytes / alignment + 1) * alignment;  // as that call demands, and never 0
  void* const memory = std::aligned_alloc(alignment, whole);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

namespace orq::test {

std::uint64_t TakenByThisThread() {
  return t_taken;
}

std::uint64_t TakenByAll() {
  return g_taken;
}

}  // namespace orq::test

// In front of the C++ library's, whose other forms call these.
void* operator new(std::size_t bytes) {
  return Take(bytes, alignof(std::max_align_t));
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return Take(bytes, static_cast<std::size_t>(alignment));
}
// Of one kind with the others, which the sanitizer's own would not be.
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  try {
    return Take(bytes, alignof(std::max_align_t));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  std::free(memory);
}
