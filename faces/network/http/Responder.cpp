#include "http/Responder.h"

#include <atomic>
#include <utility>

namespace orq::network {

class Responder::Once {
 public:
  explicit Once(std::function<void(Response)> answer) : answer_(std::move(answer)) {}
  ~Once() { answer(Response::failure(500, "internal", "the request was not answered; please report this")); }
  Once(const Once&) = delete;
  Once& operator=(const Once&) = delete;

  void answer(Response response) {
    if (!done_.exchange(true)) answer_(std::move(response));
  }

 private:
  std::function<void(Response)> answer_;
  std::atomic<bool> done_{false};
};

Responder::Responder(std::function<void(Response)> answer) : once_(std::make_shared<Once>(std::move(answer))) {}

void Responder::answer(Response response) const {
  once_->answer(std::move(response));
}

}  // namespace orq::network
