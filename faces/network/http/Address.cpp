#include "http/Address.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstring>

namespace orq::network {
namespace {

constexpr std::array<std::uint8_t, 12> kIpv4Prefix = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
constexpr int kIpv4PrefixBits = 96;
constexpr int kAllBits = 128;

// A whole number without sign or space.
std::optional<int> numberOf(std::string_view text, int most) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || text.front() == '-' || error != std::errc() || end != text.data() + text.size())
    return std::nullopt;
  return number <= most ? std::optional(number) : std::nullopt;
}

bool isOfName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_';
}

// Whether what follows the host is a port or nothing.
bool isPort(std::string_view text) {
  return text.empty() || (text.front() == ':' && numberOf(text.substr(1), 65535).has_value());
}

}  // namespace

std::optional<Address> Address::parse(std::string_view text) {
  const std::string whole(text);
  Address read;
  if (whole.find('\0') != std::string::npos) return std::nullopt;
  if (inet_pton(AF_INET6, whole.c_str(), read.bytes_.data()) == 1) return read;
  if (inet_pton(AF_INET, whole.c_str(), read.bytes_.data() + kIpv4Prefix.size()) != 1) return std::nullopt;
  std::copy(kIpv4Prefix.begin(), kIpv4Prefix.end(), read.bytes_.begin());
  return read;
}

std::optional<Address> Address::of(const sockaddr& socketAddress) {
  Address read;
  if (socketAddress.sa_family == AF_INET6) {
    const auto& six = reinterpret_cast<const sockaddr_in6&>(socketAddress);
    std::memcpy(read.bytes_.data(), &six.sin6_addr, read.bytes_.size());
    return read;
  }
  if (socketAddress.sa_family != AF_INET) return std::nullopt;
  const auto& four = reinterpret_cast<const sockaddr_in&>(socketAddress);
  std::copy(kIpv4Prefix.begin(), kIpv4Prefix.end(), read.bytes_.begin());
  std::memcpy(read.bytes_.data() + kIpv4Prefix.size(), &four.sin_addr, sizeof four.sin_addr);
  return read;
}

bool Address::isIpv4() const {
  return std::equal(kIpv4Prefix.begin(), kIpv4Prefix.end(), bytes_.begin());
}

bool Address::isLoopback() const {
  if (isIpv4()) return bytes_[kIpv4Prefix.size()] == 127;
  return std::all_of(bytes_.begin(), bytes_.end() - 1, [](std::uint8_t byte) { return byte == 0; }) &&
         bytes_.back() == 1;
}

bool Address::isAny() const {
  const auto from = isIpv4() ? bytes_.begin() + kIpv4Prefix.size() : bytes_.begin();
  return std::all_of(from, bytes_.end(), [](std::uint8_t byte) { return byte == 0; });
}

std::string Address::text() const {
  std::array<char, INET6_ADDRSTRLEN> text{};
  const bool four = isIpv4();
  inet_ntop(four ? AF_INET : AF_INET6, bytes_.data() + (four ? kIpv4Prefix.size() : 0), text.data(), text.size());
  return text.data();
}

std::optional<AddressBlock> AddressBlock::parse(std::string_view text) {
  const std::size_t slash = text.find('/');
  const std::optional<Address> first = Address::parse(text.substr(0, slash));
  if (!first) return std::nullopt;
  // "::ffff:10.0.0.0/104" is an IPv4 address written as IPv6 writes it, and so is its length.
  const bool four = text.substr(0, slash).find(':') == std::string_view::npos;
  const int before = four ? kIpv4PrefixBits : 0;
  AddressBlock read;
  read.first_ = *first;
  read.length_ = kAllBits;
  if (slash != std::string_view::npos) {
    const std::optional<int> length = numberOf(text.substr(slash + 1), kAllBits - before);
    if (!length) return std::nullopt;
    read.length_ = before + *length;
  }
  for (int bit = read.length_; bit < kAllBits; ++bit) {
    const auto byte = static_cast<std::size_t>(bit / 8);
    if ((first->bytes()[byte] >> (7 - bit % 8) & 1) != 0) return std::nullopt;
  }
  return read;
}

bool AddressBlock::holds(const Address& address) const {
  for (int bit = 0; bit < length_; bit += 8) {
    const auto byte = static_cast<std::size_t>(bit / 8);
    const int unused = std::max(0, 8 - (length_ - bit));
    if ((address.bytes()[byte] ^ first_.bytes()[byte]) >> unused != 0) return false;
  }
  return true;
}

std::optional<std::string> hostOf(std::string_view text) {
  if (!text.empty() && text.front() == '[') {
    const std::size_t end = text.find(']');
    if (end == std::string_view::npos || !isPort(text.substr(end + 1))) return std::nullopt;
    const std::optional<Address> address = Address::parse(text.substr(1, end - 1));
    return address && !address->isIpv4() ? std::optional(address->text()) : std::nullopt;
  }
  const std::size_t colon = std::min(text.find(':'), text.size());
  if (!isPort(text.substr(colon))) return std::nullopt;
  std::string host(text.substr(0, colon));
  std::transform(host.begin(), host.end(), host.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  if (host.size() > 1 && host.back() == '.') host.pop_back();
  // The parts of a name are not empty: "pi.." is none.
  const bool hasGap = host.starts_with('.') || host.ends_with('.') || host.find("..") != std::string::npos;
  if (host.empty() || hasGap || !std::all_of(host.begin(), host.end(), isOfName)) return std::nullopt;
  return host;
}

}  // namespace orq::network
