// Who may ask what.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "http/Address.h"
#include "http/Message.h"
#include "http/Router.h"

namespace orq::network {

/// What the server was started with.
struct GuardSettings {
  std::vector<std::string> hosts;    ///< names by which clients may call this computer, as `hostOf` writes them
  std::optional<std::string> token;  ///< nothing: page and own interface need none
  std::vector<AddressBlock> alpacaAllow;  ///< beside this computer
};

/// Judges requests by their head, before their body is read.
///
/// The Host header has to name this server: the address at which the connection arrived, or one of its names. A
/// page of a stranger whose name suddenly means this computer is refused by that. Requests that a browser makes
/// for the page of another site are refused, but for one that opens our page.
class Guard {
 public:
  explicit Guard(GuardSettings settings) : settings_(std::move(settings)) {}

  /// Nothing: the request may be answered. `local` is the address at which it arrived, `request` need not have its
  /// body. Any thread.
  std::optional<Response> stop(const Request& request, const Address& local, Door door) const;

 private:
  bool isOurName(const std::string& host, const Address& local) const;
  std::optional<Response> stopForeign(const Request& request, const Address& local) const;
  std::optional<Response> stopWithoutToken(const Request& request) const;

  GuardSettings settings_;
};

/// Whether two texts are equal, in a time that does not tell where they differ.
bool sameSecret(const std::string& a, const std::string& b);

}  // namespace orq::network
