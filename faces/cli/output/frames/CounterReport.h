// The counters of a stream, for people and programs.
#pragma once

#include <orqcam/orqcam.hpp>

#include "output/Output.h"

namespace orq::cli {

void AddCounters(Report& report, const orq_stream_counters& counters);

/// Whether every frame that began is counted as what became of it.
bool IdentityHolds(const orq_stream_counters& counters);

/// Of two streams, one after the other: what is counted adds up, what is in work now is that of the later one.
orq_stream_counters Total(const orq_stream_counters& first, const orq_stream_counters& then);

}  // namespace orq::cli
