// The physics of each simulated sensor as numbers, and the few laws that turn settings into physics.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace orq {

/// How the gain setting amplifies the signal.
enum class SensorGainLaw : std::uint8_t {
  Stepped,      ///< sixteen steps to each doubling up to 8, then whole steps, then 1.6 per step
  TenthDecibel  ///< 10^(g / 200)
};

/// One sensor. Electrons (e-) are photo-electrons; rates are per pixel and second.
struct SensorData {
  std::string_view key;  ///< model name in `virtual:<model>`
  int width = 0;         ///< pixels
  int height = 0;
  int adcBits = 12;
  int bayerPattern = -1;  ///< 0 RGGB … 3 GBRG, -1 monochrome
  /// Hardware binning adds pixels two apart also without a mosaic, as sensors do that come in both kinds.
  bool binsTwoApart = false;
  double pixelSizeUm = 0.0;
  std::uint64_t lineTimeNs = 0;  ///< one row at full rate

  SensorGainLaw gainLaw = SensorGainLaw::TenthDecibel;
  float baseElectronsPerAdu = 1.0F;  ///< e- per ADC count at gain factor 1
  int countsPerOffsetStep = 1;       ///< ADC counts of black level per offset setting
  double fullWellElectrons = 0.0;
  double readNoiseBeforeGain = 0.0;  ///< e- rms, of the pixel; stays when the gain rises
  double readNoiseAfterGain = 0.0;   ///< e- rms at factor 1, of the ADC chain; divided by the gain factor

  double darkElectronsPerSecond = 0.0;  ///< at 20 degrees Celsius
  double hotPixelFraction = 0.0;        ///< of all pixels
  double hotPixelMinRate = 1.0;         ///< e-/s at 20 degrees, log-uniform between the two
  double hotPixelMaxRate = 1000.0;
  int hotRows = 0;
  double hotRowMinRate = 3.0;  ///< e-/s at 20 degrees added to every pixel of the row
  double hotRowMaxRate = 15.0;

  std::array<double, 3> response{1.0, 1.0, 1.0};  ///< of the red, green, blue filter to white light, green 1
  double skyElectronsPerSecond = 0.0;             ///< sky glow under the green (or no) filter
  int starCount = 0;
  double faintestStar = 0.0;  ///< e-/s summed over the star's image, under the green (or no) filter
};

/// The table row of a model, or null.
const SensorData* FindSensor(std::string_view key);

/// What becomes of a pixel's charge.
struct PixelReadout {
  double electronsPerAdu = 1.0;
  double readNoiseElectrons = 0.0;  ///< e- rms
  double fullWellElectrons = 0.0;
  int blackCounts = 0;  ///< ADC counts of a pixel without charge
};

/// Dark current doubles with this many degrees.
inline constexpr double kDarkDoublingDegrees = 6.3;
inline constexpr double kDarkReferenceC = 20.0;

/// Amplification at a gain setting; settings below 0 count as 0.
double GainFactor(SensorGainLaw law, int gain);
/// e- per ADC count at a gain setting.
double ElectronsPerAdu(const SensorData& sensor, int gain);
/// Read noise at a gain setting, e- rms.
double ReadNoiseElectrons(const SensorData& sensor, int gain);
/// Both with the full well and the black level at these settings.
PixelReadout ReadoutOf(const SensorData& sensor, int gain, int offset);
/// Dark current at a temperature relative to the reference temperature. Temperatures are held to -100 … 100.
double DarkScale(double temperatureC);
/// Black level in ADC counts of an offset setting, held to the ADC's range.
int BlackLevelCounts(const SensorData& sensor, int offset);

}  // namespace orq
