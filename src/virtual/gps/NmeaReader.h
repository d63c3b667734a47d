// Logs of GPS receivers (NMEA 0183).
#pragma once

#include <chrono>
#include <string_view>
#include <vector>

#include "virtual/gps/GpsFix.h"

namespace orq {

/// What the receiver said of one moment.
struct NmeaEpoch {
  std::chrono::nanoseconds at{};  ///< since the log's first moment; rises strictly
  GpsFix fix;
};

/// Whether `sentence` ("$…*hh", without its line end) has the checksum it states.
bool ChecksumHolds(std::string_view sentence);

/// The moments of a log, from its RMC and GGA sentences of any talker; other lines, sentences without a right
/// checksum and all that is malformed are passed over. There is a fix where RMC is marked valid with time, date
/// and position and GGA, if it is there, has a fix too. Altitude and satellites come from the moment's first GGA.
/// A moment without date and time, or one that is not within a minute after the one before, is taken for one
/// second later than that.
std::vector<NmeaEpoch> ReadNmea(std::string_view log);

}  // namespace orq
