#include "http/Listener.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <orqcam/orqcam.hpp>
#include <string>
#include <utility>

namespace orq::network {
namespace {

constexpr int kBacklog = 128;

[[noreturn]] void complain(const std::string& where, int error) {
  switch (error) {
    case EADDRINUSE:
      throw BusyError("another program listens at " + where + "; choose another --port");
    case EADDRNOTAVAIL:
      throw NotFoundError(where + " is no address of this computer; see ip address");
    case EACCES:
      throw PermissionError("ports below 1024 are for root only; choose another --port than that of " + where);
    default:
      throw FileError("cannot listen at " + where + ": " + std::strerror(error));
  }
}

}  // namespace

Listener::Listener(const Address& address, std::uint16_t port) : address_(address), port_(port) {
  sockaddr_in four{};
  sockaddr_in6 six{};
  const bool isFour = address.isIpv4();
  if (isFour) {
    four.sin_family = AF_INET;
    four.sin_port = htons(port);
    std::memcpy(&four.sin_addr, address.bytes().data() + 12, sizeof four.sin_addr);
  } else {
    six.sin6_family = AF_INET6;
    six.sin6_port = htons(port);
    std::memcpy(&six.sin6_addr, address.bytes().data(), sizeof six.sin6_addr);
  }
  auto* const where = isFour ? reinterpret_cast<sockaddr*>(&four) : reinterpret_cast<sockaddr*>(&six);
  socklen_t size = isFour ? sizeof four : sizeof six;

  const int on = 1;
  const int made = socket(where->sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  bool fine = made >= 0 && setsockopt(made, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0;
  // "::" and "0.0.0.0" can then be listened at both.
  if (fine && !isFour) fine = setsockopt(made, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on) == 0;
  fine =
      fine && bind(made, where, size) == 0 && listen(made, kBacklog) == 0 && getsockname(made, where, &size) == 0;
  if (!fine) {
    const int error = errno;
    if (made >= 0) close(made);
    complain(text(), error);
  }
  socket_ = made;
  port_ = ntohs(isFour ? four.sin_port : six.sin6_port);
}

Listener::~Listener() {
  if (socket_ >= 0) close(socket_);
}

Listener::Listener(Listener&& other) noexcept
    : address_(other.address_), port_(other.port_), socket_(std::exchange(other.socket_, -1)) {}

std::string Listener::text() const {
  std::string where = address_.text();
  if (!address_.isIpv4()) where.insert(0, 1, '[').append(1, ']');
  return where.append(1, ':').append(std::to_string(port_));
}

int Listener::take() {
  return std::exchange(socket_, -1);
}

}  // namespace orq::network
