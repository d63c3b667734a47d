#include "emulation/bus/ClientMemory.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "emulation/bus/PreloadProtocol.h"

namespace orq {
namespace preload {

bool SendAll(int socket, const void* data, std::size_t bytes) {
  const auto* next = static_cast<const std::uint8_t*>(data);
  while (bytes > 0) {
    const ssize_t sent = ::send(socket, next, bytes, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    next += sent;
    bytes -= static_cast<std::size_t>(sent);
  }
  return true;
}

bool ReceiveAll(int socket, void* data, std::size_t bytes) {
  auto* next = static_cast<std::uint8_t*>(data);
  while (bytes > 0) {
    const ssize_t received = ::recv(socket, next, bytes, 0);
    if (received < 0 && errno == EINTR) continue;
    if (received <= 0) return false;
    next += received;
    bytes -= static_cast<std::size_t>(received);
  }
  return true;
}

}  // namespace preload

namespace {

/// The thread sanitizer cannot see that the client's call orders its accesses and ours: the library must copy.
constexpr bool kDirectAllowed =
#if defined(__SANITIZE_THREAD__)
    false;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
    false;
#else
    true;
#endif
#else
    true;
#endif

/// Programs say in a number where their memory is.
std::uint8_t* PlaceOf(std::uint64_t address) {
  return reinterpret_cast<std::uint8_t*>(address);  // NOLINT(performance-no-int-to-ptr)
}

class DirectMemory : public ClientMemory {
 public:
  bool Read(std::uint64_t address, std::span<std::uint8_t> out) override {
    std::memcpy(out.data(), Direct(address), out.size());
    return true;
  }
  bool Write(std::uint64_t address, std::span<const std::uint8_t> bytes) override {
    std::memcpy(Direct(address), bytes.data(), bytes.size());
    return true;
  }
  bool AnyTime() const override { return true; }
  std::uint8_t* Direct(std::uint64_t address) override { return PlaceOf(address); }
};

class ProcessMemory : public ClientMemory {
 public:
  explicit ProcessMemory(pid_t pid) : pid_(pid) {}
  bool Read(std::uint64_t address, std::span<std::uint8_t> out) override {
    const iovec here{out.data(), out.size()};
    const iovec there{PlaceOf(address), out.size()};
    return ::process_vm_readv(pid_, &here, 1, &there, 1, 0) == static_cast<ssize_t>(out.size());
  }
  bool Write(std::uint64_t address, std::span<const std::uint8_t> bytes) override {
    const iovec here{const_cast<std::uint8_t*>(bytes.data()), bytes.size()};
    const iovec there{PlaceOf(address), bytes.size()};
    return ::process_vm_writev(pid_, &here, 1, &there, 1, 0) == static_cast<ssize_t>(bytes.size());
  }
  bool AnyTime() const override { return true; }

 private:
  pid_t pid_;
};

class WireMemory : public ClientMemory {
 public:
  explicit WireMemory(int socket) : socket_(socket) {}
  bool Read(std::uint64_t address, std::span<std::uint8_t> out) override {
    const preload::Message message{preload::kReadMemory, address, out.size()};
    return preload::SendAll(socket_, &message, sizeof message) &&
           preload::ReceiveAll(socket_, out.data(), out.size());
  }
  bool Write(std::uint64_t address, std::span<const std::uint8_t> bytes) override {
    const preload::Message message{preload::kWriteMemory, address, bytes.size()};
    return preload::SendAll(socket_, &message, sizeof message) &&
           preload::SendAll(socket_, bytes.data(), bytes.size());
  }
  bool AnyTime() const override { return false; }

 private:
  int socket_;
};

/// Whether the system lets us into the other process: it says no before it finds that there is nothing at address
/// 0.
bool ProcessWithinReach(pid_t pid) {
  char byte = 0;
  const iovec here{&byte, 1};
  const iovec nowhere{nullptr, 1};
  return pid > 0 && ::process_vm_readv(pid, &here, 1, &nowhere, 1, 0) < 0 && errno == EFAULT;
}

CopyMode Choose(CopyMode wished, pid_t pid) {
  if (wished != CopyMode::Best) return wished;
  if (pid == ::getpid()) return kDirectAllowed ? CopyMode::Direct : CopyMode::Wire;
  return ProcessWithinReach(pid) ? CopyMode::Process : CopyMode::Wire;
}

}  // namespace

std::unique_ptr<ClientMemory> ReachMemory(CopyMode mode, pid_t pid, int socket) {
  switch (Choose(mode, pid)) {
    case CopyMode::Direct:
      return std::make_unique<DirectMemory>();
    case CopyMode::Process:
      return std::make_unique<ProcessMemory>(pid);
    default:
      return std::make_unique<WireMemory>(socket);
  }
}

}  // namespace orq
