// A socket that waits for clients.
#pragma once

#include <cstdint>

#include "http/Address.h"

namespace orq::network {

/// Owns the socket until somebody takes it.
class Listener {
 public:
  /// Throws Error with what to do: the port is taken, the address is not this computer's. Port 0: any free one.
  Listener(const Address& address, std::uint16_t port);
  ~Listener();
  Listener(Listener&& other) noexcept;
  Listener& operator=(Listener&&) = delete;

  const Address& address() const { return address_; }
  std::uint16_t port() const { return port_; }
  /// "127.0.0.1:11111", "[::1]:11111".
  std::string text() const;
  /// Gives the socket up.
  int take();

 private:
  Address address_;
  std::uint16_t port_ = 0;
  int socket_ = -1;
};

}  // namespace orq::network
