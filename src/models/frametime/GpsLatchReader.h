// Reads the time and place that a camera's GPS latched for a frame.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "camera/CameraBase.h"
#include "gps/GpsRecordV0.h"
#include "gps/GpsRecordV1.h"
#include "models/camera/FrameTypes.h"

namespace orq {

/// For one thread, on which all frames of a capture pass by.
class GpsLatchReader {
 public:
  /// What decides where and how fast lines are read. Frames under way when it changes have the old one.
  struct Setting {
    int startLine = 0;
    int endLine = 0;
    int rowInterval = 0;  ///< as GetRollingInterval tells it
    bool operator==(const Setting&) const = default;
  };

  explicit GpsLatchReader(CCameraBase& camera) : camera_(camera) {}

  /// Before the first frame of a capture: asks the camera what it has.
  void Begin();
  /// The latch of the frame whose header bears `latch`: 5 requests. Of a camera that does not offer the latch in
  /// one request, at most 345 register reads, usually 232; 8 when the latch is not there any more.
  FrameGps Read(std::uint32_t latch);
  /// What was there instead of the latch that `Read` missed: that of another frame, as its counter says.
  struct Other {
    std::uint32_t latch = 0;
    FrameGps gps;  ///< of a fix
  };
  /// Of the last `Read`. By registers it takes as long again, so that `patient` decides whether they are read.
  std::optional<Other> ReadOther(bool patient);
  /// The setting that `Read` found.
  const Setting& Found() const { return setting_; }

 private:
  static constexpr std::size_t kLines = 2;
  struct Latch {
    std::uint32_t count = 0;
    std::array<std::array<std::uint8_t, kGpsV0Bytes>, kLines> blocks{};
    bool operator==(const Latch&) const = default;
  };
  enum class Outcome { Good, OtherFrame, Failed };

  void AskVersion();
  bool ReadSetting(Setting& setting);
  Outcome ReadWanted(std::uint32_t wanted, Latch& latch);
  bool ReadAtOnce(Latch& latch);
  Outcome ReadLatch(std::uint32_t wanted, Latch& latch);
  Outcome ReadRegisters(std::uint32_t wanted, Latch& latch);
  Outcome ReadOldBlocks(std::uint32_t wanted, Latch& latch);
  bool ReadCount(std::uint32_t& count);
  Outcome ReadStable(std::uint32_t wanted, Latch& latch);
  void Decode(Latch& latch, FrameGps& gps);
  std::optional<UtcTenths> DecodeLine(Latch& latch, std::size_t line, _ORQ_GPS_DATA& data);
  void AddPosition(const Latch& latch, const _ORQ_GPS_DATA& data, FrameGps& gps) const;

  CCameraBase& camera_;
  int version_ = -1;  ///< of the records; -1: no GPS found
  Setting setting_;
  int unsettledFrames_ = 0;
  bool atOnce_ = false;  ///< the camera may offer its latch in one request
  Latch found_;          ///< by the last `Read`
  bool whole_ = false;   ///< `found_` is one latch, be it of another frame
};

}  // namespace orq
