#include "devices/TemperatureCorrection.h"

#include <cmath>
#include <cstddef>

namespace orq {
namespace {

// Beyond these the table is not asked; close to the ends the offsets go on where it stops.
constexpr float kWarmest = 16.94F;
constexpr float kWarmOffset = 3.84F;
constexpr float kColdest = -12.94F;
constexpr float kColdOffset = 8.35F;

}  // namespace

const std::array<CorrectionPoint, 73> tempTable{{
    {16.94F, 13.1F},   {16.59F, 12.8F},   {16.24F, 11.4F},   {15.89F, 9.9F},    {15.54F, 8.6F},
    {15.18F, 6.9F},    {14.83F, 5.8F},    {14.48F, 5.0F},    {14.12F, 4.1F},    {13.77F, 3.4F},
    {13.42F, 2.6F},    {13.10F, 1.8F},    {12.71F, 1.2F},    {12.35F, 0.8F},    {11.98F, 0.5F},
    {11.63F, -0.2F},   {11.27F, -0.6F},   {10.91F, -1.1F},   {10.55F, -1.4F},   {10.18F, -1.9F},
    {9.82F, -2.2F},    {9.45F, -2.5F},    {9.08F, -2.7F},    {8.71F, -3.2F},    {8.34F, -3.4F},
    {7.97F, -3.9F},    {7.60F, -4.2F},    {7.22F, -4.6F},    {6.84F, -4.9F},    {6.46F, -5.3F},
    {6.08F, -5.6F},    {5.70F, -6.1F},    {5.31F, -6.3F},    {4.92F, -6.7F},    {4.53F, -7.1F},
    {4.14F, -7.4F},    {3.74F, -7.7F},    {3.35F, -8.0F},    {2.94F, -8.4F},    {2.54F, -8.9F},
    {2.13F, -9.1F},    {1.72F, -9.5F},    {1.31F, -9.9F},    {0.89F, -10.3F},   {0.48F, -10.7F},
    {0.05F, -11.1F},   {-0.38F, -11.2F},  {-0.81F, -11.5F},  {-1.24F, -11.9F},  {-1.68F, -12.2F},
    {-2.13F, -12.4F},  {-2.57F, -12.9F},  {-3.03F, -13.0F},  {-3.49F, -13.4F},  {-3.96F, -13.7F},
    {-4.42F, -14.1F},  {-4.90F, -14.2F},  {-5.38F, -14.8F},  {-5.87F, -15.1F},  {-6.36F, -15.7F},
    {-6.86F, -15.9F},  {-7.37F, -16.4F},  {-7.89F, -16.6F},  {-8.41F, -17.2F},  {-8.94F, -17.6F},
    {-9.48F, -18.2F},  {-10.03F, -18.6F}, {-10.59F, -19.3F}, {-11.16F, -19.4F}, {-11.74F, -20.0F},
    {-12.33F, -20.7F}, {-12.94F, -21.4F}, {-13.55F, -21.9F},
}};

float CorrectedTemperature(float reported) {
  if (reported > kWarmest) return reported - kWarmOffset;
  if (reported < kColdest) return reported - kColdOffset;
  return CorrectedByTable(reported, tempTable);
}

float CorrectedByTable(float reported, std::span<const CorrectionPoint> table) {
  for (std::size_t i = 1; i < table.size(); ++i) {
    const CorrectionPoint& a = table[i - 1];
    const CorrectionPoint& b = table[i];
    const float difference = reported - a.reported;
    // Coarse on purpose: only whole degrees of the difference count, so that the first point less than one
    // degree away wins, not the nearest.
    if (std::abs(difference) < 1.0F) return a.corrected;
    if (difference < 0.1 && reported - b.reported > 0.1) return (a.corrected + b.corrected) / 2;
  }
  return reported;
}

}  // namespace orq
