#include "emulation/bus/Uevents.h"

#include <dlfcn.h>
#include <sys/socket.h>

#include <cerrno>

namespace {

thread_local bool telling = false;

template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

// umockdev bears a listener that has gone (a program that was killed, or has closed its libusb) only where the
// connection is refused: one that goes before or after that moment ends the program. So a lost listener is
// refused, and a word that nobody hears any more counts as said. Shared libraries find these two before the C
// library's.
extern "C" {

__attribute__((visibility("default"))) int connect(int socket, const sockaddr* address, socklen_t length) {
  static auto* const next = Next<int(int, const sockaddr*, socklen_t)>("connect");
  const int result = next(socket, address, length);
  if (result != 0 && telling && errno == ENOENT) errno = ECONNREFUSED;
  return result;
}

__attribute__((visibility("default"))) ssize_t sendmsg(int socket, const msghdr* message, int flags) {
  static auto* const next = Next<ssize_t(int, const msghdr*, int)>("sendmsg");
  const ssize_t sent = next(socket, message, flags);
  if (sent >= 0 || !telling) return sent;
  ssize_t all = 0;
  for (std::size_t i = 0; i < message->msg_iovlen; ++i) all += static_cast<ssize_t>(message->msg_iov[i].iov_len);
  return all;
}

}  // extern "C"

namespace orq {

TellingListeners::TellingListeners() {
  telling = true;
}
TellingListeners::~TellingListeners() {
  telling = false;
}

}  // namespace orq
