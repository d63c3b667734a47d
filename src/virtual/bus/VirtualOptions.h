// What a virtual camera is told: `virtual:<model>[,option=value…]`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "virtual/gps/UtcText.h"

namespace orq {

/// A fault at a numbered frame (counted from 1 since the camera was made).
struct FrameFault {
  enum class Kind : std::uint8_t {
    Short,
    Oversize,
    BadHeader,
    BadTrailer,
    OutOfSequence,
    Drop,
    Stall,
    Error,
    Unplug
  };
  Kind kind = Kind::Short;
  std::uint64_t frame = 0;
};

/// The GPS receiver of a virtual camera.
struct VirtualGps {
  static constexpr std::string_view kNoFix = "nofix";
  static constexpr std::string_view kSimulated = "sim";

  std::string source{kSimulated};  ///< `gps=nofix|sim|FILE`: the file is an NMEA log
  std::optional<int> version;      ///< `gpsver=0|1` of the records; default: the model's
  double latitude = 47.26;         ///< `gpspos=LAT/LON/ALT` where a simulated route begins, degrees
  double longitude = 11.38;        ///< degrees, east positive
  double altitudeMetres = 574.3;   ///< above mean sea level
  double metresPerSecond = 0;      ///< `gpsroute=SPEED/COURSE`
  double courseDegrees = 0;        ///< from north over east
  UtcTime start = kDefaultStart;   ///< `gpstime=`: simulated UTC when the camera is made

  static constexpr UtcTime kDefaultStart = std::chrono::sys_days(std::chrono::January / 1 / 2030);
};

/// A flash of even light over the whole sensor, whose instant the receiver's time tells.
struct VirtualFlash {
  UtcTime start{};
  double seconds = 0;
};

/// The star in the middle of the sensor goes out and comes back, at instants that the receiver's time tells.
struct VirtualOccultation {
  UtcTime start{};
  double seconds = 0;
};

/// The disc of `scene=planet`.
struct VirtualPlanet {
  double diameter = 60;  ///< pixels
  double driftX = 0;     ///< pixels of the sensor per second
  double driftY = 0;
};

/// A fault at a numbered operation of the flash; each kind counts its own operations, from 1.
struct FlashFault {
  enum class Kind : std::uint8_t { Erase, Read, WeakWrite, PowerLoss };
  Kind kind = Kind::Erase;
  std::uint64_t operation = 0;
};

/// Options of one virtual camera. `docs/virtual-camera.md` describes each for users.
struct VirtualOptions {
  std::string model = "k1c";           ///< a key of the device table
  std::uint64_t seed = 1;              ///< same seed, same run
  double timeScale = 1.0;              ///< `timescale=` 0.01: all takes a hundredth of its time; 0: none
  bool usb3 = true;                    ///< `usb=2` or `usb=3`
  std::string file;                    ///< `file=`: frames to replay (FITS, PGM, SER)
  std::optional<int> bayer;            ///< `bayer=RGGB|BGGR|GRBG|GBRG|mono` for replayed frames
  int preRender = 0;                   ///< `prerender=N`: N frames made beforehand and sent in turn
  std::string serial;                  ///< `serial=` 16 hex digits; by default made from the seed
  std::string state;                   ///< `state=FILE`: keeps flash, registers and serial number
  std::optional<double> temperatureC;  ///< `temp=` sensor at the start; default: settled in `ambient=`, else 20
  std::optional<double> ambientC;      ///< `ambient=` surroundings; default: such that the sensor keeps `temp=`
  std::string scene = "stars";         ///< `scene=stars|planet|flat|dark`
  double fluxElectronsPerSecond = 0;  ///< `flux=`: light of a flat scene or planet, electrons per pixel and second
  double illuminantKelvin = 6000;     ///< `illuminant=`: colour of a flat scene's light; 6000 is white
  std::optional<VirtualFlash> flash;  ///< `flash=UTC/DURATION`, on models with a GPS
  int focus = 0;                      ///< `focus=`: where the focus motor has the stars sharpest, steps
  std::optional<VirtualOccultation> occultation;  ///< `occult=UTC/DURATION`, likewise
  std::optional<VirtualPlanet> planet;            ///< `planet=DIAMETER/X/Y` of `scene=planet`
  double dropRate = 0.0;                          ///< `drop=`: fraction of frames that the device loses
  std::vector<FrameFault> frameFaults;  ///< `short@N`, `oversize@N`, `badheader@N`, `badtrailer@N`, `order@N`,
                                        ///< `lose@N`, `stall@N`, `error@N`, `unplug@N`
  std::optional<VirtualGps> gps;        ///< for models with a GPS; without any `gps…=` word the defaults
  int flashFail = 0;                    ///< `flashfail=N`: the N-th flash operation from now is refused
  bool countLines = false;              ///< `countlines=1`: exposures are whole lines, cut, and reported so
  int flashMs = 0;                      ///< `flashms=`: a flash request takes this long, before `timescale`
  std::vector<FlashFault> flashFaults;  ///< `flasherase@N`, `flashread@N`, `flashflip@N`, `flashpower@N`
  std::vector<std::uint8_t> refuse;     ///< `refuse=0xD4`: requests that are always refused

  /// `fpga=0xC0`: type code of the FPGA; by default the model's.
  std::optional<std::uint8_t> fpgaType;
  std::int64_t replugUs = 0;         ///< `replug=2s`: an unplugged camera comes back after this time; 0: never
  std::int64_t triggerPeriodUs = 0;  ///< `trigger=200ms`: pulses on the trigger input; 0: none
};

/// Colour temperatures that `illuminant=` takes.
inline constexpr double kLowestIlluminant = 1000;
inline constexpr double kHighestIlluminant = 40'000;

/// The options in `text` (what stands behind `virtual:`); nothing and a one-line reason in `error` when a word is
/// wrong (the reason lists the right ones).
std::optional<VirtualOptions> ParseVirtualOptions(std::string_view text, std::string& error);

/// Names of the virtual models with a line for users each: all that have a row in the tables of devices and
/// sensors.
struct VirtualModelName {
  std::string name;
  std::string summary;
};
const std::vector<VirtualModelName>& VirtualModels();

}  // namespace orq
