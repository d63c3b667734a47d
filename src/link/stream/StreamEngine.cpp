#include "link/stream/StreamEngine.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "link/stream/StreamCore.h"

namespace orq {

StreamEngine::StreamEngine(BulkPipe& pipe, CirBuf& ring, const StreamFormat& format, Output output,
                           const StreamTuning& tuning)
    : core_(std::make_shared<Core>(pipe, ring, format, std::move(output), tuning)) {}

StreamEngine::~StreamEngine() {
  Stop();
}

bool StreamEngine::Start() {
  if (core_->Start()) return true;
  KeepStuckCore();
  return false;
}

void StreamEngine::Stop() {
  core_->Stop();
  KeepStuckCore();
}

void StreamEngine::KeepStuckCore() {
  if (!core_->Stuck()) return;
  // A completion may still come at any time and must find its transfer and its owner: never freed.
  static std::mutex mutex;
  static auto* const kept = new std::vector<std::shared_ptr<Core>>;
  const std::lock_guard lock(mutex);
  if (std::find(kept->begin(), kept->end(), core_) == kept->end()) kept->push_back(core_);
}

bool StreamEngine::Alive() const {
  return core_->Alive();
}
bool StreamEngine::DeviceLost() const {
  return core_->DeviceLost();
}
StreamCounters StreamEngine::Counters() const {
  return core_->Counters();
}
std::string StreamEngine::Error() const {
  return core_->Error();
}

}  // namespace orq
