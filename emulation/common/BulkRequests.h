// What a host asks of the frame endpoint: requests for bytes, whatever carries them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orq {

/// Room in a host's memory for bytes of the frame stream. Caller-serialised.
class BulkRequest {
 public:
  virtual ~BulkRequest() = default;
  /// Bytes that still fit.
  virtual std::size_t Room() const = 0;
  /// Where the next bytes go: `most` of them (at most the room), or fewer, but then a multiple of 1024.
  virtual std::span<std::uint8_t> Window(std::size_t most) = 0;
  /// That many bytes came into the window; false when the host's memory is out of reach.
  virtual bool Keep(std::size_t bytes) = 0;
};

/// The requests that a host has under way. Caller-serialised.
class BulkRequests {
 public:
  virtual ~BulkRequests() = default;
  /// The request that is to be filled next; null when there is none.
  virtual BulkRequest* Oldest() = 0;
  /// Ends a request with 0 or a negative errno: -EPIPE stalled, -EPROTO failed, -EOVERFLOW too much came.
  virtual void Finish(BulkRequest& request, int status) = 0;
};

}  // namespace orq
