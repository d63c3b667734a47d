// The bulk requests of a virtual machine: those under way and those whose answers wait to be sent.
#pragma once

#include <cstdint>
#include <list>
#include <vector>

#include "emulation/common/BulkRequests.h"

namespace orq {

/// One request. Its bytes stay here until they are sent as one answer.
struct RedirRequest : BulkRequest {
  std::uint64_t id = 0;             ///< the virtual machine's key
  std::size_t length = 0;           ///< bytes that it asks for
  std::vector<std::uint8_t> bytes;  ///< room for all of them, once the first have come
  std::size_t filled = 0;
  int status = 0;

  std::size_t Room() const override { return length - filled; }
  std::span<std::uint8_t> Window(std::size_t most) override;
  bool Keep(std::size_t came) override;
};

/// Caller-serialised.
class RedirRequests : public BulkRequests {
 public:
  void Submit(std::uint64_t id, std::size_t length);
  RedirRequest* Oldest() override;
  void Finish(BulkRequest& request, int status) override;
  /// Ends the request as cancelled (-ENOENT); false when there is none under way with this id.
  bool Cancel(std::uint64_t id);

  /// The answer that is to be sent next, or null; `Forget` it once it is sent.
  const RedirRequest* Ended() const { return ended_.empty() ? nullptr : &ended_.front(); }
  void Forget() { ended_.pop_front(); }

 private:
  std::list<RedirRequest> underWay_;
  std::list<RedirRequest> ended_;
};

}  // namespace orq
