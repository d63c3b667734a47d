// What a client asks, and what it is answered.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "http/Address.h"
#include "http/Parameters.h"

namespace orq::network {

/// A request that has come whole and may be answered: addresses, token and origin have been checked.
struct Request {
  std::string method;  ///< "GET" also for HEAD, whose answer loses its body by itself
  std::string path;    ///< escapes resolved, without the query
  Parameters query;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  Address peer;
  std::map<std::string, std::string, std::less<>> captures;  ///< of the route's {names}

  /// The first header of that name, in any case of letters.
  std::optional<std::string> header(std::string_view name) const;
  /// What stands in the place of {name} in the route's path.
  const std::string& capture(std::string_view name) const;
};

/// Bytes that others hold as well: pixels of a frame, a picture for several watchers.
struct SharedBytes {
  std::shared_ptr<const void> owner;
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;
};

/// A body that is made while it is sent, so that it is never in memory whole.
struct GeneratedBody {
  std::optional<std::uint64_t> size;  ///< nothing: not known before its end
  std::size_t block = 0;              ///< bytes that are asked for at a time
  /// Writes up to `room` bytes from byte `at` of the body on and tells how many; 0 at its end. Called by one
  /// thread at a time, each time with the byte that follows the last one.
  std::function<std::size_t(std::uint64_t at, char* to, std::size_t room)> fill;
  std::uint64_t most = 0;  ///< bytes at most, where `size` is not known: clients get the time for them
};

/// A part of an open file, which is closed when it has been sent.
struct FileBody {
  std::shared_ptr<const int> descriptor;
  std::uint64_t start = 0;
  std::uint64_t size = 0;
};

/// An answer.
struct Response {
  int status = 200;
  std::vector<std::pair<std::string, std::string>> headers;
  std::variant<std::string, SharedBytes, GeneratedBody, FileBody> body;

  static Response json(const nlohmann::json& value, int status = 200);
  /// {"error": {"name": ..., "text": ...}}: the name is for programs, the text is one line for a user.
  static Response failure(int status, std::string_view name, std::string_view text);
  static Response text(int status, std::string_view contentType, std::string text);

  /// Bytes of its body as far as they are known.
  std::uint64_t size() const;
};

}  // namespace orq::network
