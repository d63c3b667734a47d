#include "output/frames/CounterReport.h"

#include <algorithm>

namespace orq::cli {

namespace {

struct Counter {
  const char* name;
  std::uint64_t orq_stream_counters::*member;
  const char* unit;  ///< empty: the name says it
};
constexpr Counter kCounters[] = {
    {"started", &orq_stream_counters::started, "frames"},
    {"completed", &orq_stream_counters::completed, "frames"},
    {"failed", &orq_stream_counters::failed, "frames"},
    {"stale", &orq_stream_counters::stale, "frames"},
    {"dropped", &orq_stream_counters::dropped, "frames"},
    {"aborted", &orq_stream_counters::aborted, "frames"},
    {"filling", &orq_stream_counters::filling, "frames"},
    {"failed_short", &orq_stream_counters::failed_short, "frames"},
    {"failed_oversize", &orq_stream_counters::failed_oversize, "frames"},
    {"failed_marks", &orq_stream_counters::failed_marks, "frames"},
    {"failed_sequence", &orq_stream_counters::failed_sequence, "frames"},
    {"failed_stalled", &orq_stream_counters::failed_stalled, "frames"},
    {"failed_transport", &orq_stream_counters::failed_transport, "frames"},
    {"failed_timed_out", &orq_stream_counters::failed_timed_out, "frames"},
    {"lost", &orq_stream_counters::lost, "frames"},
    {"overwritten", &orq_stream_counters::overwritten, "frames"},
    {"bytes", &orq_stream_counters::bytes, ""},
    {"bytes_discarded", &orq_stream_counters::bytes_discarded, ""},
    {"submit_retries", &orq_stream_counters::submit_retries, ""},
    {"halts_cleared", &orq_stream_counters::halts_cleared, ""},
    {"resyncs", &orq_stream_counters::resyncs, ""},
    {"in_flight", &orq_stream_counters::in_flight, "transfers"},
    {"in_flight_max", &orq_stream_counters::in_flight_max, "transfers"},
    {"longest_gap", &orq_stream_counters::longest_gap_us, "us"},
};

}  // namespace

void AddCounters(Report& report, const orq_stream_counters& counters) {
  for (const Counter& counter : kCounters) report.Add(counter.name, counters.*counter.member, counter.unit);
  report.Add("identity_holds", IdentityHolds(counters));
}

bool IdentityHolds(const orq_stream_counters& counters) {
  return counters.started == counters.completed + counters.failed + counters.stale + counters.dropped +
                                 counters.aborted + counters.filling &&
         counters.failed == counters.failed_short + counters.failed_oversize + counters.failed_marks +
                                counters.failed_sequence + counters.failed_stalled + counters.failed_transport +
                                counters.failed_timed_out;
}

orq_stream_counters Total(const orq_stream_counters& first, const orq_stream_counters& then) {
  orq_stream_counters total = then;
  for (const Counter& counter : kCounters) total.*counter.member += first.*counter.member;
  total.in_flight = then.in_flight;
  total.in_flight_max = std::max(first.in_flight_max, then.in_flight_max);
  total.longest_gap_us = std::max(first.longest_gap_us, then.longest_gap_us);
  return total;
}

}  // namespace orq::cli
