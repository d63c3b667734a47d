// The counters of a stream, for people and programs.
#pragma once

#include "link/stream/StreamCounters.h"
#include "output/Output.h"

namespace orq::cli {

void AddCounters(Report& report, const StreamCounters& counters);

}  // namespace orq::cli
