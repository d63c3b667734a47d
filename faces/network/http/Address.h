// Addresses of computers, and blocks of them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct sockaddr;

namespace orq::network {

/// An IP address; IPv4 ones are held as IPv6 holds them, so that both ways of writing one are equal.
class Address {
 public:
  /// "192.168.1.5", "fe80::1", "::1"; no names, brackets or zones.
  static std::optional<Address> parse(std::string_view text);
  /// Of a socket; nothing where it is of another family.
  static std::optional<Address> of(const sockaddr& socketAddress);

  /// 127.0.0.0/8 and ::1.
  bool isLoopback() const;
  /// 0.0.0.0 and ::, which stand for every address of this computer.
  bool isAny() const;
  bool isIpv4() const;
  std::string text() const;
  const std::array<std::uint8_t, 16>& bytes() const { return bytes_; }

  friend bool operator==(const Address& a, const Address& b) = default;

 private:
  std::array<std::uint8_t, 16> bytes_{};
};

/// A block of addresses: "192.168.1.0/24", "fd00::/8", or a single one.
class AddressBlock {
 public:
  /// Nothing where it is none, or where bits beyond its length are set: "192.168.1.5/24" may have meant either.
  static std::optional<AddressBlock> parse(std::string_view text);
  bool holds(const Address& address) const;

 private:
  Address first_;
  int length_ = 0;  ///< bits of the 128 that count
};

/// The host of a Host header or of an address: "pi.local:8080" is "pi.local", "[::1]:80" is "::1". Lower case,
/// without a full stop at its end. Nothing where it is malformed.
std::optional<std::string> hostOf(std::string_view text);

}  // namespace orq::network
