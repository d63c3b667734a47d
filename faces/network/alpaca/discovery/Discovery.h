// Answers Alpaca clients that search for servers.
#pragma once

#include <cstdint>
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

/// Answers from its beginning to its end: those who ask at an address where Alpaca listens, and may use it.
/// Several programs on one computer can do this. IPv4 only, as clients do.
class Discovery {
 public:
  /// Throws Error where the port cannot be had.
  explicit Discovery(DiscoverySettings settings);
  ~Discovery();
  Discovery(const Discovery&) = delete;
  Discovery& operator=(const Discovery&) = delete;

 private:
  void run();
  void answerOne();
  bool isForUs(const Address& local, const Address& peer) const;

  const DiscoverySettings settings_;
  int socket_ = -1;
  int end_ = -1;
  std::thread thread_;
};

}  // namespace orq::network::alpaca
