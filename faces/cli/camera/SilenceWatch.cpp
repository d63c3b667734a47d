#include "camera/SilenceWatch.h"

#include <algorithm>

namespace orq::cli {

bool SilenceWatch::Overdue(Clock::time_point now, std::uint64_t started, Clock::duration limit) {
  if (!since_ || started != started_) {
    limit_ = since_ ? std::max(limit, limitThen_) : limit;
    limitThen_ = limit;
    since_ = now;
    started_ = started;
    return false;
  }
  limit_ = std::max(limit_, limit);
  return now - *since_ > limit_;
}

}  // namespace orq::cli
