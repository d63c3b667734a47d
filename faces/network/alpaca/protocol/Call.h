// One call of an Alpaca client, and its errors.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "http/Message.h"
#include "http/Parameters.h"

namespace orq::network::alpaca {

/// A call that cannot be understood: answered with 400 and its text.
class BadCall : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Error numbers of the protocol.
enum ErrorNumber : std::int32_t {
  kNotImplemented = 0x400,
  kInvalidValue = 0x401,
  kNotConnected = 0x407,
  kInvalidOperation = 0x40B,
  kActionNotImplemented = 0x40C,
  kOperationCancelled = 0x40E,
  kDriverError = 0x500  ///< this and above, to 0xFFF, are a driver's own
};

/// A call that was understood and cannot be done.
class CallError : public std::runtime_error {
 public:
  CallError(ErrorNumber number, const std::string& text) : std::runtime_error(text), number_(number) {}
  ErrorNumber number() const { return number_; }

 private:
  ErrorNumber number_;
};

/// What a client says with a call: the query of a GET, the form of a PUT. Names are taken in any case of letters,
/// numbers and truth values in the protocol's own writing.
class Call {
 public:
  /// Throws BadCall.
  explicit Call(const Request& request);

  /// 0 where none was given, or nothing that can be one.
  std::uint32_t clientId() const { return clientId_; }
  std::uint32_t transaction() const { return transaction_; }
  /// Parameters that have to be there: BadCall where they are not, or are of another type.
  std::string text(std::string_view name) const;
  bool truth(std::string_view name) const;
  std::int32_t integer(std::string_view name) const;
  double number(std::string_view name) const;

 private:
  std::uint32_t idOf(std::string_view name) const;

  Parameters parameters_;
  std::uint32_t clientId_ = 0;
  std::uint32_t transaction_ = 0;
};

}  // namespace orq::network::alpaca
