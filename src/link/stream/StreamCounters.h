// What the streaming engine counts.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace orq {

/// One consistent snapshot of a stream. `started == completed + failed + stale + dropped + aborted + filling`
/// always holds, and `failed` is the sum of its kinds.
struct StreamCounters {
  std::uint64_t started = 0;    ///< frames of which at least one byte came
  std::uint64_t completed = 0;  ///< whole and good, offered to the consumer
  std::uint64_t failed = 0;     ///< not delivered because of the stream; the kinds follow
  std::uint64_t stale = 0;      ///< exposed before this capture began: what another one, or a dead program, left
  std::uint64_t dropped = 0;    ///< read and discarded because no slot was free (slow consumer)
  std::uint64_t aborted = 0;    ///< cut off by a stop
  std::uint64_t filling = 0;    ///< in work now (0 or 1), or waiting for their check

  std::uint64_t failedShort = 0;      ///< ended before its length
  std::uint64_t failedOversize = 0;   ///< longer than its length
  std::uint64_t failedMarks = 0;      ///< header or trailer damaged, or of another geometry
  std::uint64_t failedSequence = 0;   ///< sequence number repeated or going back
  std::uint64_t failedStalled = 0;    ///< in work when the endpoint stalled
  std::uint64_t failedTransport = 0;  ///< in work when a transfer failed or the device vanished
  std::uint64_t failedTimedOut = 0;   ///< in work when a transfer timed out

  std::uint64_t lost = 0;            ///< sequence numbers that never arrived
  std::uint64_t overwritten = 0;     ///< good frames that the reader did not fetch in time
  std::uint64_t bytes = 0;           ///< bytes that transfers actually brought
  std::uint64_t bytesDiscarded = 0;  ///< of these, bytes that went into no slot
  std::uint64_t submitRetries = 0;   ///< submissions tried again after out-of-memory
  std::uint64_t haltsCleared = 0;
  std::uint64_t resyncs = 0;
  std::uint64_t inFlight = 0;
  std::uint64_t inFlightMax = 0;
  std::uint64_t longestGapUs = 0;  ///< longest time between two completions

  bool IdentityHolds() const {
    return started == completed + failed + stale + dropped + aborted + filling &&
           failed == failedShort + failedOversize + failedMarks + failedSequence + failedStalled +
                         failedTransport + failedTimedOut;
  }
};

/// A counter for users.
struct StreamCounterName {
  std::string_view name;
  std::uint64_t StreamCounters::*member;
  std::string_view unit;  ///< empty: the name says it
};

/// All of them, in the order of listings.
inline constexpr StreamCounterName kStreamCounterNames[] = {
    {"started", &StreamCounters::started, "frames"},
    {"completed", &StreamCounters::completed, "frames"},
    {"failed", &StreamCounters::failed, "frames"},
    {"stale", &StreamCounters::stale, "frames"},
    {"dropped", &StreamCounters::dropped, "frames"},
    {"aborted", &StreamCounters::aborted, "frames"},
    {"filling", &StreamCounters::filling, "frames"},
    {"failed_short", &StreamCounters::failedShort, "frames"},
    {"failed_oversize", &StreamCounters::failedOversize, "frames"},
    {"failed_marks", &StreamCounters::failedMarks, "frames"},
    {"failed_sequence", &StreamCounters::failedSequence, "frames"},
    {"failed_stalled", &StreamCounters::failedStalled, "frames"},
    {"failed_transport", &StreamCounters::failedTransport, "frames"},
    {"failed_timed_out", &StreamCounters::failedTimedOut, "frames"},
    {"lost", &StreamCounters::lost, "frames"},
    {"overwritten", &StreamCounters::overwritten, "frames"},
    {"bytes", &StreamCounters::bytes, ""},
    {"bytes_discarded", &StreamCounters::bytesDiscarded, ""},
    {"submit_retries", &StreamCounters::submitRetries, ""},
    {"halts_cleared", &StreamCounters::haltsCleared, ""},
    {"resyncs", &StreamCounters::resyncs, ""},
    {"in_flight", &StreamCounters::inFlight, "transfers"},
    {"in_flight_max", &StreamCounters::inFlightMax, "transfers"},
    {"longest_gap", &StreamCounters::longestGapUs, "us"},
};

/// Of two streams, one after the other: what is counted adds up, what is in work now is that of the later one.
inline StreamCounters Total(const StreamCounters& first, const StreamCounters& then) {
  StreamCounters total = then;
  for (const StreamCounterName& counter : kStreamCounterNames) total.*counter.member += first.*counter.member;
  total.inFlight = then.inFlight;
  total.inFlightMax = std::max(first.inFlightMax, then.inFlightMax);
  total.longestGapUs = std::max(first.longestGapUs, then.longestGapUs);
  return total;
}

}  // namespace orq
