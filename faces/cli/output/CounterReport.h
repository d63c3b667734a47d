// The counters of a stream, for people and programs.
#pragma once

#include "output/Output.h"
#include "link/StreamCounters.h"

namespace orq::cli {

void AddCounters(Report& report, const StreamCounters& counters);

}  // namespace orq::cli
