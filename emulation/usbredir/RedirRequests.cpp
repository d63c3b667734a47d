#include "emulation/usbredir/RedirRequests.h"

#include <algorithm>
#include <cerrno>

namespace orq {

std::span<std::uint8_t> RedirRequest::Window(std::size_t most) {
  bytes.resize(length);
  return std::span(bytes).subspan(filled, most);
}

bool RedirRequest::Keep(std::size_t came) {
  filled += came;
  return true;
}

void RedirRequests::Submit(std::uint64_t id, std::size_t length) {
  RedirRequest& request = underWay_.emplace_back();
  request.id = id;
  request.length = length;
}

RedirRequest* RedirRequests::Oldest() {
  return underWay_.empty() ? nullptr : &underWay_.front();
}

void RedirRequests::Finish(BulkRequest& request, int status) {
  static_cast<RedirRequest&>(request).status = status;
  const auto place =
      std::ranges::find_if(underWay_, [&](const RedirRequest& candidate) { return &candidate == &request; });
  ended_.splice(ended_.end(), underWay_, place);
}

bool RedirRequests::Cancel(std::uint64_t id) {
  const auto found = std::ranges::find(underWay_, id, &RedirRequest::id);
  if (found == underWay_.end()) return false;
  Finish(*found, -ENOENT);
  return true;
}

}  // namespace orq
