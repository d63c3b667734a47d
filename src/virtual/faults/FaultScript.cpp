#include "virtual/faults/FaultScript.h"

#include <algorithm>

#include "support/Mix64.h"

namespace orq {

std::uint64_t SeededNumber(std::uint64_t seed, std::uint64_t counter) {
  return Mix64(seed * kGolden + (counter + 1) * 0xD1B54A32D192ED03U);
}

FrameFaults::FrameFaults(const VirtualOptions& options)
    : seed_(options.seed), dropRate_(options.dropRate), faults_(options.frameFaults) {}

FramePlan FrameFaults::PlanOf(std::uint64_t frame) const {
  FramePlan plan;
  constexpr double kTwoTo53 = 9007199254740992.0;
  plan.drop = static_cast<double>(SeededNumber(seed_, frame) >> 11) / kTwoTo53 < dropRate_;
  for (const FrameFault& fault : faults_) {
    if (fault.frame != frame) continue;
    switch (fault.kind) {
      case FrameFault::Kind::Short:
        plan.shortFrame = true;
        break;
      case FrameFault::Kind::Oversize:
        plan.oversize = true;
        break;
      case FrameFault::Kind::BadHeader:
        plan.badHeader = true;
        break;
      case FrameFault::Kind::BadTrailer:
        plan.badTrailer = true;
        break;
      case FrameFault::Kind::OutOfSequence:
        plan.outOfSequence = true;
        break;
      case FrameFault::Kind::Drop:
        plan.drop = true;
        break;
      case FrameFault::Kind::Stall:
        plan.event = FramePlan::Event::Stall;
        break;
      case FrameFault::Kind::Error:
        plan.event = FramePlan::Event::Error;
        break;
      case FrameFault::Kind::Unplug:
        plan.event = FramePlan::Event::Unplug;
        break;
    }
  }
  return plan;
}

RequestFaults::RequestFaults(const VirtualOptions& options)
    : refused_(options.refuse), flashOperationsLeft_(options.flashFail) {}

void RequestFaults::Fail(std::uint8_t request, UsbError error, int skip, int count) {
  rules_.push_back({request, error, skip, count});
}

UsbError RequestFaults::Next(std::uint8_t request) {
  if (std::ranges::find(refused_, request) != refused_.end()) return kUsbPipe;
  for (Rule& rule : rules_) {
    if (rule.request != 0 && rule.request != request) continue;
    if (rule.skip > 0) {
      --rule.skip;
    } else if (rule.count != 0) {
      rule.count -= rule.count > 0 ? 1 : 0;
      return rule.error;
    }
  }
  return kUsbOk;
}

bool RequestFaults::FlashOperationFails() {
  return flashOperationsLeft_ > 0 && --flashOperationsLeft_ == 0;
}

}  // namespace orq
