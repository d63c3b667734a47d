#include "emulation/common/ListeningSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace orq {
namespace {

const sockaddr* Generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

/// Left behind by a program that was killed.
void RemoveDeadSocket(const sockaddr_un& address) {
  const FileDescriptor probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (::connect(probe.Get(), Generic(address), sizeof address) != 0 && errno == ECONNREFUSED)
    ::unlink(address.sun_path);
}

}  // namespace

FileDescriptor ListenAt(const std::string& path, std::string& error) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    error = "the name of the socket is too long: " + path;
    return FileDescriptor();
  }
  std::copy(path.begin(), path.end(), address.sun_path);
  RemoveDeadSocket(address);
  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  constexpr mode_t kOwner = 0600;
  if (!socket.Open() || ::bind(socket.Get(), Generic(address), sizeof address) != 0 ||
      ::chmod(path.c_str(), kOwner) != 0 || ::listen(socket.Get(), SOMAXCONN) != 0) {
    error = "no socket at " + path + ": " + std::strerror(errno);
    return FileDescriptor();
  }
  return socket;
}

}  // namespace orq
