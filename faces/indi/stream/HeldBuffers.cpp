#include "stream/HeldBuffers.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <new>

namespace orq::indi {
namespace {

/// One block that is held. Taken by compare and exchange of `block`, so that no lock is needed within new and
/// delete.
struct Slot {
  std::atomic<void*> block{nullptr};
  std::atomic<const HeldBuffers*> owner{nullptr};
};

// More than all cameras of a computer hold: a stream hands its next frame over when two are held.
constexpr std::size_t kSlots = 64;
std::array<Slot, kSlots> slots;
std::atomic<int> held{0};

struct Wanted {
  const HeldBuffers* owner = nullptr;
  std::size_t bytes = 0;
};
thread_local Wanted wanted;

void note(void* block) {
  for (Slot& slot : slots) {
    void* none = nullptr;
    if (!slot.block.compare_exchange_strong(none, block)) continue;
    slot.owner = wanted.owner;
    ++held;
    return;
  }
}

void forget(void* block) {
  for (Slot& slot : slots) {
    if (slot.block != block) continue;
    slot.owner = nullptr;
    slot.block = nullptr;
    --held;
    return;
  }
}

void* allocate(std::size_t bytes) {
  for (;;) {
    if (void* const block = std::malloc(bytes != 0 ? bytes : 1)) {
      if (wanted.owner != nullptr && bytes == wanted.bytes) note(block);
      return block;
    }
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

void release(void* block) {
  if (block != nullptr && held.load(std::memory_order_relaxed) != 0) forget(block);
  std::free(block);
}

}  // namespace

HeldBuffers::~HeldBuffers() {
  for (Slot& slot : slots) {
    const HeldBuffers* self = this;
    slot.owner.compare_exchange_strong(self, nullptr);
  }
}

HeldBuffers::Counting::Counting(HeldBuffers& buffers, std::size_t bytes) {
  wanted = {&buffers, bytes};
}

HeldBuffers::Counting::~Counting() {
  wanted = {};
}

int HeldBuffers::count() const {
  int count = 0;
  for (const Slot& slot : slots)
    if (slot.owner == this) ++count;
  return count;
}

}  // namespace orq::indi

void* operator new(std::size_t bytes) {
  return orq::indi::allocate(bytes);
}
void* operator new[](std::size_t bytes) {
  return orq::indi::allocate(bytes);
}
void operator delete(void* block) noexcept {
  orq::indi::release(block);
}
void operator delete[](void* block) noexcept {
  orq::indi::release(block);
}
void operator delete(void* block, std::size_t) noexcept {
  orq::indi::release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  orq::indi::release(block);
}
