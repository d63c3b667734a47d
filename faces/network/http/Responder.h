// The answer to one request, whenever it is ready.
#pragma once

#include <functional>
#include <memory>

#include "http/Message.h"

namespace orq::network {

/// Answers one request, once; copies answer the same one. Whoever lets the last copy go without an answer has
/// answered that the server failed. Any thread. The client may be gone by then, which does no harm.
class Responder {
 public:
  /// `answer` is called once.
  explicit Responder(std::function<void(Response)> answer);
  /// The first answer counts.
  void answer(Response response) const;

 private:
  class Once;
  std::shared_ptr<Once> once_;
};

}  // namespace orq::network
