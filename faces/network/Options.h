// The command line of orqcam-serve, which `orqcam serve` writes for it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "http/Address.h"

namespace orq::network {

/// What the server is told to do.
struct Options {
  std::vector<std::string> cameras;       ///< empty: all that are plugged in
  std::vector<Address> listen;            ///< at least one
  std::uint16_t port = 11111;             ///< 0: any free one
  std::optional<std::string> token;       ///< nothing: none is needed
  std::vector<std::string> hosts;         ///< as `hostOf` writes them
  std::vector<AddressBlock> alpacaAllow;  ///< beside this computer
  std::string folder;                     ///< of what is recorded; empty: orqcam in the user's home
  bool discovery = true;
  std::uint32_t clientSeconds = 20;  ///< that a client may take for a request
  bool json = false;
  bool debug = false;
};

/// Throws InvalidError with one line that says what would have been right. Where the server listens beyond this
/// computer and nothing is said about a token, one is drawn.
Options parseOptions(const std::vector<std::string>& arguments);

/// 32 hexadecimal digits that nobody can guess.
std::string drawToken();

}  // namespace orq::network
