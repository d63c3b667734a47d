// What the preloaded library and the emulator say to each other over the socket of an emulated device node.
//
// umockdev has a server for this protocol. The emulator speaks it itself because it has to know which process is
// at the other end (to copy frames straight into its memory) and to serve calls with the latency of a system call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orq::preload {

enum Command : std::uint64_t {
  kIoctl = 1,        ///< client: arguments are the request and its argument
  kDone = 3,         ///< emulator: result and errno; the call returns
  kReadMemory = 5,   ///< emulator: address and length; the bytes come back
  kWriteMemory = 6,  ///< emulator: address and length; the bytes follow
  kReadFile = 7,     ///< client: buffer and length of a read()
  kWriteFile = 8,    ///< client: buffer and length of a write()
};

struct Message {
  std::uint64_t command = 0;
  std::uint64_t first = 0;
  std::uint64_t second = 0;
};

/// All of it, or false when the other end is gone.
bool SendAll(int socket, const void* data, std::size_t bytes);
bool ReceiveAll(int socket, void* data, std::size_t bytes);

}  // namespace orq::preload
