// Reads the time and place that a camera's GPS latched for a frame.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "camera/CameraBase.h"
#include "gps/GpsRecordV0.h"
#include "gps/GpsRecordV1.h"
#include "models/FrameTypes.h"

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
  /// The latch of the frame whose header bears `latch`. At most 345 register reads, usually 232; 8 when the latch
  /// is not there any more.
  FrameGps Read(std::uint32_t latch);
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
};

}  // namespace orq
