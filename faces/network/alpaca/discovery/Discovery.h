// Answers Alpaca clients that search for servers.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <thread>
#include <vector>

#include "http/Address.h"

namespace orq::network::alpaca {

/// Who is answered, and what.
struct DiscoverySettings {
  std::vector<Address> listening;   ///< where Alpaca listens; the one of all addresses stands for each
  std::vector<AddressBlock> allow;  ///< beside this computer
  std::uint16_t port = 0;           ///< of Alpaca
};

/// Whether a datagram asks for servers of the version that is spoken here.
bool asksForServers(std::string_view datagram);

/// Answers from its beginning to its end: those who ask at an address where Alpaca listens, and may use it: over
/// IPv4, which clients broadcast to, and over IPv6, where they ask a group. Several programs on one computer can
/// do this.
class Discovery {
 public:
  /// Throws Error where the port cannot be had.
  explicit Discovery(DiscoverySettings settings);
  ~Discovery();
  Discovery(const Discovery&) = delete;
  Discovery& operator=(const Discovery&) = delete;

 private:
  void hear(bool isIpv4);
  void closeAll();
  void joinGroup();
  void run();
  void answerOne(int socket);
  bool isAllowed(const Address& peer) const;
  std::optional<Address> listeningAt(const std::vector<Address>& asked) const;

  const DiscoverySettings settings_;
  int four_ = -1;  ///< sockets; -1: Alpaca does not listen there
  int six_ = -1;
  int end_ = -1;
  std::thread thread_;
};

}  // namespace orq::network::alpaca
