#include "CounterReport.h"

namespace orq::cli {

void AddCounters(Report& report, const StreamCounters& counters) {
  report.Add("started", counters.started, "frames");
  report.Add("completed", counters.completed, "frames");
  report.Add("failed", counters.failed, "frames");
  report.Add("dropped", counters.dropped, "frames");
  report.Add("aborted", counters.aborted, "frames");
  report.Add("filling", counters.filling, "frames");
  report.Add("failed_short", counters.failedShort, "frames");
  report.Add("failed_oversize", counters.failedOversize, "frames");
  report.Add("failed_marks", counters.failedMarks, "frames");
  report.Add("failed_sequence", counters.failedSequence, "frames");
  report.Add("failed_stalled", counters.failedStalled, "frames");
  report.Add("failed_transport", counters.failedTransport, "frames");
  report.Add("failed_timed_out", counters.failedTimedOut, "frames");
  report.Add("lost", counters.lost, "frames");
  report.Add("overwritten", counters.overwritten, "frames");
  report.Add("bytes", counters.bytes);
  report.Add("bytes_discarded", counters.bytesDiscarded);
  report.Add("submit_retries", counters.submitRetries);
  report.Add("halts_cleared", counters.haltsCleared);
  report.Add("resyncs", counters.resyncs);
  report.Add("in_flight", counters.inFlight, "transfers");
  report.Add("in_flight_max", counters.inFlightMax, "transfers");
  report.Add("longest_gap", counters.longestGapUs, "us");
  report.Add("identity_holds", counters.IdentityHolds());
}

}  // namespace orq::cli
