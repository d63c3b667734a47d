// A small virtual camera for the tests: a sensor whose samples are known, its firmware, a host's view of it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "link/WireProtocol.h"
#include "virtual/device/Firmware.h"

namespace orq::test {

/// 12-bit sensor; a sample tells where and when it was taken.
class PatternSource : public FrameSource {
 public:
  PatternSource(int width, int height, std::uint64_t lineTimeNs = 1000)
      : width_(width), height_(height), lineTimeNs_(lineTimeNs) {}

  static std::uint16_t Sample(const ExposureSettings& s, int x, int y) {
    return static_cast<std::uint16_t>(
        (static_cast<unsigned>(s.startX + x) + 7U * static_cast<unsigned>(s.startY + y) + 31U * s.frameNumber) %
        4096U);
  }

  int Width() const override { return width_; }
  int Height() const override { return height_; }
  int AdcBits() const override { return 12; }
  int BayerPattern() const override { return -1; }
  std::uint64_t LineTimeNs() const override { return lineTimeNs_; }
  void Expose(const ExposureSettings& settings, std::span<std::uint16_t> adu) override {
    for (int y = 0; y < settings.height; ++y)
      for (int x = 0; x < settings.width; ++x)
        adu[static_cast<std::size_t>(y * settings.width + x)] = Sample(settings, x, y);
  }

 private:
  int width_;
  int height_;
  std::uint64_t lineTimeNs_;
};

inline VirtualOptions Untimed() {
  VirtualOptions options;
  options.timeScale = 0;
  return options;
}

/// A plugged-in camera with a `width` x `height` sensor.
inline std::shared_ptr<Firmware> MakeCamera(const VirtualOptions& options, int width = 64, int height = 32,
                                            std::uint64_t lineTimeNs = 1000) {
  std::string error;
  auto camera = Firmware::Make(options, std::make_unique<PatternSource>(width, height, lineTimeNs), error);
  EXPECT_NE(camera, nullptr) << error;
  camera->PowerCycle();
  return camera;
}

inline int Out(VirtualCamera& camera, std::uint8_t request, std::uint16_t value = 0, std::uint16_t index = 0) {
  return camera.Control({kVendorOut, request, value, index, 0}, {});
}

inline int WriteFpga(VirtualCamera& camera, std::uint16_t reg, std::uint8_t value) {
  return Out(camera, wire::kReqWriteFpga, reg, value);
}

inline void WriteFpgaWide(VirtualCamera& camera, std::uint16_t reg, int bytes, std::uint64_t value) {
  for (int i = 0; i < bytes; ++i) {
    ASSERT_EQ(0,
              WriteFpga(camera, static_cast<std::uint16_t>(reg + i), static_cast<std::uint8_t>(value >> (8 * i))));
  }
}

/// Reads one register; fails the test when the request does.
inline std::uint8_t ReadFpga(VirtualCamera& camera, std::uint16_t reg) {
  std::uint8_t value = 0;
  EXPECT_EQ(1, camera.Control({kVendorIn, wire::kReqReadFpga, reg, 0, 1}, std::span(&value, 1)));
  return value;
}

inline void SetRegion(VirtualCamera& camera, int width, int height) {
  WriteFpgaWide(camera, wire::kFpgaWidth, 2, static_cast<std::uint64_t>(width));
  WriteFpgaWide(camera, wire::kFpgaHeight, 2, static_cast<std::uint64_t>(height));
}

inline void RunOutput(VirtualCamera& camera, bool on = true) {
  WriteFpga(camera, wire::kFpgaRun, on ? 1 : 0);
}

/// What one bulk transfer brings.
struct TransferResult {
  BulkStep::Kind kind = BulkStep::Kind::Wait;  ///< how it ended; Wait: nothing more came
  std::vector<std::uint8_t> bytes;
  bool ended = false;  ///< by a short or zero-length packet
};

/// One transfer of `size` bytes, as a port would run it. Without a wake-up it looks again every millisecond, for
/// at most `patience`.
inline TransferResult Transfer(VirtualCamera& camera, std::size_t size,
                               std::chrono::milliseconds patience = std::chrono::seconds(20)) {
  TransferResult result;
  std::vector<std::uint8_t> buffer(size);
  std::size_t filled = 0;
  const auto giveUp = std::chrono::steady_clock::now() + patience;
  while (filled < size) {
    const BulkStep step = camera.ReadStream(std::span(buffer).subspan(filled));
    result.kind = step.kind;
    if (step.kind == BulkStep::Kind::Data) {
      filled += step.bytes;
      if (step.endOfTransfer) {
        result.ended = true;
        break;
      }
      continue;
    }
    if (step.kind != BulkStep::Kind::Wait || std::chrono::steady_clock::now() > giveUp) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  buffer.resize(filled);
  result.bytes = std::move(buffer);
  return result;
}

struct Frame {
  BulkStep::Kind kind = BulkStep::Kind::Wait;
  std::vector<std::uint8_t> bytes;

  std::optional<wire::FrameHeader> Header() const { return wire::GetHeader(bytes); }
  std::vector<std::uint8_t> Payload() const {
    const std::size_t marks = wire::kHeaderBytes + wire::kTrailerBytes;
    return bytes.size() < marks
               ? std::vector<std::uint8_t>{}
               : std::vector<std::uint8_t>(bytes.begin() + wire::kHeaderBytes, bytes.end() - wire::kTrailerBytes);
  }
  /// The trailer's sequence number, when the frame is whole.
  std::optional<std::uint32_t> Trailer() const {
    const auto header = Header();
    if (!header || bytes.size() < wire::kHeaderBytes + header->payloadBytes) return std::nullopt;
    return wire::GetTrailer(std::span(bytes).subspan(wire::kHeaderBytes + header->payloadBytes),
                            header->payloadBytes);
  }
};

/// Transfers of `size` bytes up to the one that a short or zero-length packet ends.
inline Frame ReadFrame(VirtualCamera& camera, std::size_t size = 49152,
                       std::chrono::milliseconds patience = std::chrono::seconds(20)) {
  Frame frame;
  while (true) {
    const TransferResult transfer = Transfer(camera, size, patience);
    frame.kind = transfer.kind;
    frame.bytes.insert(frame.bytes.end(), transfer.bytes.begin(), transfer.bytes.end());
    if (transfer.ended || transfer.kind != BulkStep::Kind::Data) return frame;
  }
}

/// True when nothing comes for a while (a condition that cannot be waited for).
inline bool Silent(VirtualCamera& camera) {
  return Transfer(camera, 4096, std::chrono::milliseconds(60)).kind == BulkStep::Kind::Wait;
}

}  // namespace orq::test
