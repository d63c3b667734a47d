// A camera whose FPGA holds latched GPS blocks, and blocks to put there.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "gps/GpsTypes.h"
#include "support/RecordingCamera.h"

namespace orq::test {

using BlockV1 = std::array<std::uint8_t, 55>;

inline void PutWord(BlockV1& block, std::size_t at, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) block[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
}
/// Stores `text` so that its last character stands at `first` and its first one highest.
inline void PutReversed(BlockV1& block, std::size_t first, std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i)
    block[first + text.size() - 1 - i] = static_cast<std::uint8_t>(text[i]);
}
inline void PutTicks(BlockV1& block, std::uint32_t ticks, std::uint32_t perSecond) {
  PutWord(block, 16, ticks);
  PutWord(block, 20, perSecond);
}

/// 7 May 2024, 08:09:10.1234567; 48° 7.0381' N, 11° 31.5000' E, 123.4 m, 9 satellites.
inline BlockV1 GoodBlock() {
  BlockV1 block{};
  block[0] = 'A';
  block[1] = 7;
  block[2] = 5;
  block[3] = 24;
  block[7] = 10;
  block[8] = 9;
  block[9] = 8;
  PutTicks(block, 12345678, 100000000);
  block[24] = 'N';
  PutReversed(block, 25, "4807.03812");
  block[35] = 'E';
  PutReversed(block, 36, "01131.50009");
  PutReversed(block, 48, "123.4");
  PutReversed(block, 53, "09");
  return block;
}

/// A record of which every byte has the given value.
inline _ORQ_GPS_DATA Filled(int byte) {
  _ORQ_GPS_DATA data;
  std::memset(&data, byte, sizeof data);
  return data;
}
inline bool SameBytes(const _ORQ_GPS_DATA& a, const _ORQ_GPS_DATA& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

inline _ORQ_DATE_TIME Time(int year, int month, int day, int hour, int minute, int second, int ms = 0,
                           int us = 0) {
  _ORQ_DATE_TIME time{};
  time.Year = year;
  time.Month = month;
  time.Day = day;
  time.Hour = hour;
  time.Minute = minute;
  time.Second = second;
  time.MSecond = ms;
  time.USecond = us;
  return time;
}
/// The numbers of a time, for comparisons that print themselves.
inline std::vector<int> Numbers(const _ORQ_DATE_TIME& t) {
  return {t.Year, t.Month, t.Day, t.Hour, t.Minute, t.Second, t.MSecond, t.USecond};
}

/// The request that reads one FPGA register.
inline std::string ReadRequest(unsigned reg) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "C0 D0 %02X 00 00 00 01 00", reg & 0xFFU);
  return text.data();
}
inline std::string WriteRequest(unsigned reg, unsigned value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "40 D1 %02X 00 %02X 00 00 00", reg & 0xFFU, value & 0xFFU);
  return text.data();
}

/// Board type 3 with a version-1 block unless the test says otherwise.
class GpsCamera : public BareCamera {
 public:
  GpsCamera() {
    iMaxHeight = 1096;
    port->fpga[0x1C] = 3;
    port->fpga[0x46] = 0x03;
  }
  int GetSHR0Time(float& time) override {
    ++shr0Reads;
    seenShr0 = time;
    if (writesShr0) time = shr0;
    return shr0Known ? 1 : 0;
  }
  void Latch(unsigned base, const BlockV1& block) {
    for (unsigned n = 0; n < block.size(); ++n) port->fpga[static_cast<std::uint16_t>(base + n)] = block[n];
  }

  bool shr0Known = true;
  bool writesShr0 = true;
  float shr0 = 0.0F;
  float seenShr0 = -1.0F;  ///< what the last call found in its argument
  int shr0Reads = 0;
};

}  // namespace orq::test
