// The faults a virtual camera was told to have.
#pragma once

#include <cstdint>
#include <vector>

#include "link/usb/UsbTypes.h"
#include "virtual/bus/VirtualOptions.h"

namespace orq {

/// What goes wrong with one frame.
struct FramePlan {
  bool drop = false;
  bool shortFrame = false;
  bool oversize = false;
  bool badHeader = false;
  bool badTrailer = false;
  bool outOfSequence = false;
  enum class Event : std::uint8_t { None, Stall, Error, Unplug };
  Event event = Event::None;  ///< strikes in the middle of the frame
};

/// Faults of the frame stream. Caller-serialised.
class FrameFaults {
 public:
  explicit FrameFaults(const VirtualOptions& options);
  void Add(const FrameFault& fault) { faults_.push_back(fault); }
  /// The faults of the `frame`-th exposure, from 1. The same for the same seed.
  FramePlan PlanOf(std::uint64_t frame) const;

 private:
  std::uint64_t seed_;
  double dropRate_;
  std::vector<FrameFault> faults_;
};

/// Faults of control requests. Caller-serialised.
class RequestFaults {
 public:
  explicit RequestFaults(const VirtualOptions& options);
  void Fail(std::uint8_t request, UsbError error, int skip, int count);
  /// Ends what `Fail` asked for; the options' own refusals stay.
  void Clear() { rules_.clear(); }
  /// How this request fails; `kUsbOk` when it does not. Counts the request.
  UsbError Next(std::uint8_t request);
  /// True when this flash operation is the one to be refused. Counts the operation.
  bool FlashOperationFails();

 private:
  struct Rule {
    std::uint8_t request;
    UsbError error;
    int skip;
    int count;  ///< negative: for ever
  };
  std::vector<std::uint8_t> refused_;
  std::vector<Rule> rules_;
  int flashOperationsLeft_;
};

/// A well-mixed number from a seed and a counter: the source of everything seeded here.
std::uint64_t SeededNumber(std::uint64_t seed, std::uint64_t counter);

}  // namespace orq
