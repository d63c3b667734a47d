#include "Options.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <fstream>
#include <functional>
#include <map>
#include <orqcam/orqcam.hpp>

namespace orq::network {
namespace {

constexpr std::size_t kShortestToken = 16;

std::uint32_t numberOf(const std::string& option, const std::string& text, std::uint32_t least,
                       std::uint32_t most) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < least || number > most) {
    throw InvalidError("'" + text + "' is no value of " + option + ": give a whole number from " +
                       std::to_string(least) + " to " + std::to_string(most));
  }
  return number;
}

Address listenAddressOf(const std::string& text) {
  if (const std::optional<Address> address = Address::parse(text)) return *address;
  throw InvalidError("'" + text +
                     "' is no address to --listen at: give one of this computer's, or 0.0.0.0 for all");
}

AddressBlock blockOf(const std::string& text) {
  if (const std::optional<AddressBlock> block = AddressBlock::parse(text)) return *block;
  throw InvalidError("'" + text + "' is no block of addresses for --alpaca-allow: give one like 192.168.1.0/24");
}

std::string hostNameOf(const std::string& text) {
  if (const std::optional<std::string> host = hostOf(text); host && text.find(':') == std::string::npos)
    return *host;
  throw InvalidError("'" + text + "' is no name for --host: give one like telescope.local, without a port");
}

// A cookie and a header have to carry it as it stands.
std::string checkedToken(std::string token) {
  const auto isPlain = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
           c == '.';
  };
  if (token.size() >= kShortestToken && std::all_of(token.begin(), token.end(), isPlain)) return token;
  throw InvalidError("a token has at least " + std::to_string(kShortestToken) +
                     " letters, digits, '-', '_' and '.'; without --token one is drawn");
}

std::string tokenIn(const std::string& path) {
  std::ifstream file(path);
  std::string token;
  if (!std::getline(file, token)) throw FileError("there is no token to be read in " + path);
  return checkedToken(token);
}

}  // namespace

std::string drawToken() {
  std::array<unsigned char, 16> bytes{};
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
    throw Error(ORQ_ERROR_INTERNAL, "the system gives no random numbers for a token");
  std::string token;
  for (const unsigned char byte : bytes) {
    constexpr const char* kDigits = "0123456789abcdef";
    token += kDigits[byte >> 4];
    token += kDigits[byte & 15];
  }
  return token;
}

Options parseOptions(const std::vector<std::string>& arguments) {
  Options options;
  bool noToken = false;
  const std::map<std::string, std::function<void(const std::string&)>> valued = {
      {"--camera", [&](const std::string& value) { options.cameras.push_back(value); }},
      {"--listen", [&](const std::string& value) { options.listen.push_back(listenAddressOf(value)); }},
      {"--port",
       [&](const std::string& value) {
         options.port = static_cast<std::uint16_t>(numberOf("--port", value, 0, 65535));
       }},
      {"--token", [&](const std::string& value) { options.token = checkedToken(value); }},
      {"--token-file", [&](const std::string& value) { options.token = tokenIn(value); }},
      {"--host", [&](const std::string& value) { options.hosts.push_back(hostNameOf(value)); }},
      {"--alpaca-allow", [&](const std::string& value) { options.alpacaAllow.push_back(blockOf(value)); }},
      {"--folder", [&](const std::string& value) { options.folder = value; }},
      {"--client-seconds",
       [&](const std::string& value) { options.clientSeconds = numberOf("--client-seconds", value, 1, 600); }},
  };
  const std::map<std::string, std::function<void()>> switches = {
      {"--no-token", [&] { noToken = true; }},
      {"--no-discovery", [&] { options.discovery = false; }},
      {"--json", [&] { options.json = true; }},
      {"--debug", [&] { options.debug = true; }},
  };
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& name = arguments[i];
    if (const auto found = switches.find(name); found != switches.end())
      found->second();
    else if (const auto taking = valued.find(name); taking == valued.end())
      throw InvalidError("there is no option '" + name + "'; see orqcam serve --help");
    else if (++i == arguments.size())
      throw InvalidError(name + " needs a value; see orqcam serve --help");
    else
      taking->second(arguments[i]);
  }
  if (noToken && options.token) throw InvalidError("--no-token and a token exclude each other");
  if (options.listen.empty()) options.listen.push_back(*Address::parse("127.0.0.1"));
  const bool beyond = !std::all_of(options.listen.begin(), options.listen.end(),
                                   [](const Address& one) { return one.isLoopback(); });
  if (beyond && !noToken && !options.token) options.token = drawToken();
  return options;
}

}  // namespace orq::network
