// The requests of an emulated device node: those under way and those that wait to be fetched.
#pragma once

#include <linux/usbdevice_fs.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <span>
#include <vector>

#include "emulation/bus/ClientMemory.h"
#include "emulation/common/BulkRequests.h"

namespace orq {

/// What the system grants to all USB requests together, as the kernel's `usbfs_memory_mb` does.
struct UsbMemory {
  static constexpr std::size_t kUsualLimit = std::size_t{16} << 20U;
  std::atomic<std::size_t> limit{kUsualLimit};  ///< bytes; 0: none
  std::atomic<std::size_t> used{0};
};

/// One request of a client.
struct Urb : BulkRequest {
  const void* owner = nullptr;                  ///< the connection that submitted it
  ClientMemory* memory = nullptr;               ///< the owner's
  std::uint64_t address = 0;                    ///< of the client's own record, which is its key
  std::vector<std::uint8_t> staged;             ///< bytes that go to the client when it fetches the request
  std::size_t stagedAt = 0;                     ///< their place in the client's buffer
  std::size_t charge = 0;                       ///< memory accounted for it
  std::vector<std::uint8_t>* bounce = nullptr;  ///< the queue's, on the way into another process
  usbdevfs_urb record{};                        ///< the client's record, results filled in

  std::uint64_t Buffer() const { return reinterpret_cast<std::uint64_t>(record.buffer); }
  std::size_t Room() const override {
    return static_cast<std::size_t>(record.buffer_length - record.actual_length);
  }
  std::span<std::uint8_t> Window(std::size_t most) override;
  bool Keep(std::size_t bytes) override;
};

/// Caller-serialised.
class UrbQueue : public BulkRequests {
 public:
  explicit UrbQueue(UsbMemory& memory) : memory_(memory) {}
  ~UrbQueue() override;
  UrbQueue(const UrbQueue&) = delete;
  UrbQueue& operator=(const UrbQueue&) = delete;

  /// Null when the memory limit forbids it.
  Urb* Submit(std::unique_ptr<Urb> urb);
  /// The oldest bulk request under way, or null.
  Urb* Oldest() override;
  void Finish(BulkRequest& request, int status) override;
  void FinishAll(int status);
  /// False when the owner has no such request under way.
  bool Discard(const void* owner, std::uint64_t address);
  /// The owner's request that ended first; null when none has.
  std::unique_ptr<Urb> Reap(const void* owner);
  bool AnyReapable() const { return !ended_.empty(); }
  bool Holds(const void* owner) const;
  /// Drops all requests of a client that has gone.
  void Forget(const void* owner);

 private:
  using List = std::list<std::unique_ptr<Urb>>;
  void Refund(const Urb& urb);

  UsbMemory& memory_;
  List underWay_;
  List ended_;
  std::vector<std::uint8_t> bounce_;
};

}  // namespace orq
