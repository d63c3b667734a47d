// Reading and writing the memory of the program that uses an emulated device.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <span>

namespace orq {

/// How bytes get into the client's memory.
enum class CopyMode : std::uint8_t {
  Best,     ///< the fastest that works
  Direct,   ///< the client is this very process: plain copies
  Process,  ///< the kernel copies between the processes
  Wire,     ///< the client's preloaded library copies, through its socket; slow, works everywhere
};

/// The memory behind one connection. Caller-serialised. False: the client is gone, or the address is not its own.
class ClientMemory {
 public:
  virtual ~ClientMemory() = default;
  virtual bool Read(std::uint64_t address, std::span<std::uint8_t> out) = 0;
  virtual bool Write(std::uint64_t address, std::span<const std::uint8_t> bytes) = 0;
  /// Whether the memory is within reach at any time, or only while the client waits in a call.
  virtual bool AnyTime() const = 0;
  /// The client's memory itself, where it is this process's own; else null.
  virtual std::uint8_t* Direct(std::uint64_t address) { return (void)address, nullptr; }

  template <typename T>
  bool Get(std::uint64_t address, T& value) {
    return Read(address, {reinterpret_cast<std::uint8_t*>(&value), sizeof value});
  }
  template <typename T>
  bool Put(std::uint64_t address, const T& value) {
    return Write(address, {reinterpret_cast<const std::uint8_t*>(&value), sizeof value});
  }
};

/// Memory of process `pid`, whose preloaded library is at the other end of `socket`.
std::unique_ptr<ClientMemory> ReachMemory(CopyMode mode, pid_t pid, int socket);

}  // namespace orq
