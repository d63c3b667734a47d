#include "output/CounterReport.h"

#include <string>

namespace orq::cli {

void AddCounters(Report& report, const StreamCounters& counters) {
  for (const StreamCounterName& counter : kStreamCounterNames) {
    report.Add(std::string(counter.name), counters.*counter.member, std::string(counter.unit));
  }
  report.Add("identity_holds", counters.IdentityHolds());
}

}  // namespace orq::cli
