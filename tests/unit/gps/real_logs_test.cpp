// Logs of real receivers through the virtual receiver and back, against a plain reading of their sentences.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <ratio>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "GpsCamera.h"
#include "gps/GpsRecordV0.h"
#include "gps/GpsRecordV1.h"
#include "virtual/gps/GpsBlocks.h"
#include "virtual/gps/GpsReceiver.h"

namespace {

using orq::test::GpsCamera;
using orq::test::Numbers;

constexpr std::uint32_t kRate = 20'000'173;

struct Log {
  const char* file;
  int fixes;  ///< RMC sentences marked valid, counted by hand
  int years;  ///< by which its dates move
};

constexpr std::array kLogs = {Log{"bt451.log", 13, 16},  Log{"haicom-305N.log", 68, 16},
                              Log{"neo-m8n.log", 23, 8}, Log{"quectel.log", 34, 4},
                              Log{"rx210.log", 40, 8},   Log{"sirfstarv-nmea.log", 59, 4}};

/// Units of 0.1 µs, the smallest that a record has.
using Units = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

/// What a sentence says, its date moved as the receiver moves it.
struct Expected {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0;
  Units second{};                   ///< within the minute
  std::string latitude, longitude;  ///< as the sentence writes them
  bool south = false, west = false;
  bool hasGga = false;
  std::string altitude;
  int satellites = 0;
};

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> fields(1);
  for (const char c : text)
    if (c == ',')
      fields.emplace_back();
    else
      fields.back() += c;
  return fields;
}

/// The fields of the sentences whose checksum is right.
std::vector<std::vector<std::string>> Sentences(const std::string& path) {
  std::vector<std::vector<std::string>> sentences;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const std::size_t star = line.find('*');
    if (line.empty() || line[0] != '$' || star == std::string::npos || line.size() != star + 3) continue;
    int sum = 0;
    for (std::size_t i = 1; i < star; ++i) sum ^= line[i];
    if (std::stoi(line.substr(star + 1), nullptr, 16) != sum) continue;
    sentences.push_back(Split(line.substr(1, star - 1)));
  }
  return sentences;
}

/// One for each valid RMC sentence; altitude and satellites from the first GGA of the same time of day.
std::vector<Expected> PlainReading(const std::string& path, int years) {
  const auto sentences = Sentences(path);
  std::map<std::string, std::vector<std::string>> gga;
  for (const auto& s : sentences)
    if (s[0].substr(2) == "GGA" && !s[1].empty()) gga.insert({s[1], s});
  std::vector<Expected> all;
  for (const auto& s : sentences) {
    if (s[0].substr(2) != "RMC" || s[2] != "A") continue;
    Expected e;
    e.hour = std::stoi(s[1].substr(0, 2));
    e.minute = std::stoi(s[1].substr(2, 2));
    e.second = Units(std::lround(std::stod(s[1].substr(4)) * 1e7));
    e.latitude = s[3];
    e.south = s[4] == "S";
    e.longitude = s[5];
    e.west = s[6] == "W";
    e.day = std::stoi(s[9].substr(0, 2));
    e.month = std::stoi(s[9].substr(2, 2));
    e.year = 2000 + std::stoi(s[9].substr(4, 2)) + years;
    if (const auto found = gga.find(s[1]); found != gga.end()) {
      e.hasGga = true;
      e.satellites = std::stoi(found->second[7]);
      e.altitude = found->second[9];
    }
    all.push_back(e);
  }
  return all;
}

/// What the decoders make of an angle: the first `count` decimals of its minutes, taken for four. Five, as version
/// 0 has them, so count for ten times what they are.
double DecodedAngle(const std::string& text, std::size_t count, bool negative) {
  const std::size_t point = text.find('.');
  const std::string decimals = (text.substr(point + 1) + "00000").substr(0, count);
  const double degrees = std::stod(text.substr(0, point - 2)) + std::stod(text.substr(point - 2, 2)) / 60 +
                         std::stod(decimals) / 600000;
  const double rounded = static_cast<float>(degrees);
  return negative ? -rounded : rounded;
}

/// The time of a record, `after` the sentence's.
_ORQ_DATE_TIME RecordTime(const Expected& e, Units after) {
  using namespace std::chrono;
  const sys_days date = year(e.year) / month(static_cast<unsigned>(e.month)) / day(static_cast<unsigned>(e.day));
  const auto time = sys_time<Units>(date) + hours(e.hour) + minutes(e.minute) + e.second + after;
  const year_month_day newDate(floor<days>(time));
  const hh_mm_ss clock(time - floor<days>(time));
  const auto below = static_cast<int>(clock.subseconds().count());
  return orq::test::Time(static_cast<int>(newDate.year()),
                         static_cast<int>(static_cast<unsigned>(newDate.month())),
                         static_cast<int>(static_cast<unsigned>(newDate.day())),
                         static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                         static_cast<int>(clock.seconds().count()), below / 10'000, below % 10'000);
}

/// By how much a block of version 1 is early: its time is cut to a tick, and what comes of that to 0.1 µs.
Units LostToTicks(const Expected& e) {
  const Units below = e.second % std::chrono::seconds(1);
  const std::int64_t ticks = below.count() * kRate / 10'000'000;
  return Units(ticks * 10'000'000 / kRate) - below;
}

/// A record of version 1 whose time is moved by `offset`, numbers and texts.
void ExpectRecordV1(const _ORQ_GPS_DATA& data, const Expected& e, Units offset) {
  const _ORQ_DATE_TIME time = RecordTime(e, LostToTicks(e) + offset);
  EXPECT_EQ(Numbers(data.Datetime), Numbers(time));
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%d-%02d-%02dUTC%02d:%02d:%02d.%03d%03d", time.Year, time.Month,
                time.Day, time.Hour, time.Minute, time.Second, time.MSecond, time.USecond / 10);
  EXPECT_STREQ(data.Datetime.TimeText, text.data());

  const double latitude = DecodedAngle(e.latitude, 4, e.south);
  const double longitude = DecodedAngle(e.longitude, 4, e.west);
  EXPECT_EQ(data.Latitude, latitude);
  EXPECT_EQ(data.Longitude, longitude);
  std::snprintf(text.data(), text.size(), "%.6f%c,%.6f%c", longitude, e.west ? 'W' : 'E', latitude,
                e.south ? 'S' : 'N');
  EXPECT_STREQ(data.PositionText, text.data());

  const bool fits = e.hasGga && e.altitude.size() <= 5;
  EXPECT_EQ(data.Altitude, fits ? std::lround(std::stod(e.altitude) * 10) : 0) << e.altitude;
  EXPECT_EQ(data.SatelliteNum, e.satellites);
}

std::string NameOf(const testing::TestParamInfo<Log>& log) {
  std::string name = log.param.file;
  std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
  return name;
}

class RealLog : public testing::TestWithParam<Log> {
 protected:
  void SetUp() override {
    path_ = std::string(ORQ_REALDATA_DIR) + "/nmea/" + GetParam().file;
    if (!std::filesystem::exists(path_)) GTEST_SKIP() << "no real data: " << path_ << " is absent";
    std::ifstream file(path_, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    epochs_ = orq::ReadNmea(text.str());
    expected_ = PlainReading(path_, GetParam().years);
  }
  /// The fixes of the log as a receiver that replays it gives them.
  std::vector<orq::GpsFix> Fixes() const {
    const orq::GpsReceiver receiver(epochs_);
    std::vector<orq::GpsFix> fixes;
    for (const orq::NmeaEpoch& epoch : epochs_) {
      const orq::GpsFix fix = receiver.At(std::chrono::duration<double>(epoch.at).count());
      EXPECT_EQ(fix.valid, epoch.fix.valid);
      if (fix.valid) fixes.push_back(fix);
    }
    return fixes;
  }

  std::string path_;
  std::vector<orq::NmeaEpoch> epochs_;
  std::vector<Expected> expected_;
};

TEST(RealLogs, AreAllReadHere) {
  const std::string folder = std::string(ORQ_REALDATA_DIR) + "/nmea";
  if (!std::filesystem::exists(folder)) GTEST_SKIP() << "no real data: " << folder << " is absent";
  std::set<std::string> there;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    if (entry.path().extension() == ".log") there.insert(entry.path().filename());
  std::set<std::string> read;
  for (const Log& log : kLogs) read.insert(log.file);
  EXPECT_EQ(there, read);
}

TEST_P(RealLog, GivesAFixForEveryValidSentenceAndNoOther) {
  EXPECT_EQ(expected_.size(), static_cast<std::size_t>(GetParam().fixes));
  EXPECT_EQ(Fixes().size(), expected_.size());
}

TEST_P(RealLog, EveryFixComesBackFromABlockOfVersionOne) {
  const auto fixes = Fixes();
  ASSERT_EQ(fixes.size(), expected_.size());
  for (std::size_t i = 0; i < fixes.size(); ++i) {
    const orq::GpsBlockV1 block = orq::PackGpsV1(fixes[i], kRate);
    _ORQ_GPS_DATA data{};
    ASSERT_EQ(orq::DecodeGpsV1Time(block, data.Datetime), orq::GpsV1Fault::None);
    ASSERT_EQ(orq::DecodeGpsV1Position(block, data), orq::GpsV1Fault::None);
    orq::WriteTimeText(data.Datetime);
    ExpectRecordV1(data, expected_[i], Units(0));
  }
}

TEST_P(RealLog, TwoFixesComeBackThroughTheRegistersMovedByTheSensorsOffset) {
  const auto fixes = Fixes();
  ASSERT_EQ(fixes.size(), expected_.size());
  GpsCamera camera;
  camera.shr0 = 131.2F;  // microseconds, of which whole ones count
  camera.Latch(0x50, orq::PackGpsV1(fixes.front(), kRate));
  camera.Latch(0x90, orq::PackGpsV1(fixes.back(), kRate));
  _ORQ_GPS_DATA start{};
  _ORQ_GPS_DATA end{};
  EXPECT_EQ(camera.GPSGetData(&start, &end), 0);
  ExpectRecordV1(start, expected_.front(), Units(1310));
  ExpectRecordV1(end, expected_.back(), Units(1310));
}

TEST_P(RealLog, EveryFixComesBackFromABlockOfVersionZero) {
  const auto fixes = Fixes();
  ASSERT_EQ(fixes.size(), expected_.size());
  for (std::size_t i = 0; i < fixes.size(); ++i) {
    const Expected& e = expected_[i];
    _ORQ_GPS_DATA data{};
    ASSERT_TRUE(orq::DecodeGpsV0(orq::PackGpsV0(fixes[i]), data));
    EXPECT_EQ(Numbers(data.Datetime), Numbers(RecordTime(e, Units(0))));
    EXPECT_EQ(data.Latitude, DecodedAngle(e.latitude, 5, e.south));
    EXPECT_EQ(data.Longitude, DecodedAngle(e.longitude, 5, e.west));
    EXPECT_EQ(data.SatelliteNum, e.satellites);
    EXPECT_EQ(data.Altitude, e.hasGga ? std::lround(std::stod(e.altitude) * 10) : 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Receivers, RealLog, testing::ValuesIn(kLogs), NameOf);

}  // namespace
