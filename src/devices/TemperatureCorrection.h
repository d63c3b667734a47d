// Correction of the temperature that a sensor's thermometer reports.
#pragma once

#include <array>
#include <span>

namespace orq {

/// One measured pair, degrees Celsius.
struct CorrectionPoint {
  float reported;
  float corrected;
};

/// Reported temperatures fall from 16.94 to -13.55.
extern const std::array<CorrectionPoint, 73> tempTable;

/// The temperature behind a reported one, degrees Celsius: beyond both ends of `tempTable` a fixed offset, else
/// `CorrectedByTable`. Any-thread.
float CorrectedTemperature(float reported);

/// The first point of `table` (reported temperatures falling, the last one only as a neighbour) within less than
/// one degree of `reported`, else the mean of the two points around it, else `reported` itself. Any-thread.
float CorrectedByTable(float reported, std::span<const CorrectionPoint> table);

}  // namespace orq
