// Logs of real receivers through the virtual receiver and back, against a plain reading of their sentences.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "GpsCamera.h"
#include "gps/GpsRecordV0.h"
#include "gps/GpsRecordV1.h"
#include "virtual/GpsBlocks.h"
#include "virtual/GpsReceiver.h"

namespace {

using orq::test::Numbers;

constexpr std::uint32_t kRate = 20'000'173;

struct Log {
  const char* file;
  int fixes;  ///< RMC sentences marked valid, counted by hand
  int years;  ///< by which its dates move
};

struct Expected {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0;
  double second = 0;
  std::string latitude, longitude;  ///< as the sentence writes them
  bool south = false, west = false;
  bool hasGga = false;
  std::string altitude;
  int satellites = 0;
};

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> fields(1);
  for (const char c : text) {
    if (c == ',') {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
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
std::vector<Expected> PlainReading(const std::string& path) {
  const auto sentences = Sentences(path);
  std::map<std::string, std::vector<std::string>> gga;
  for (const auto& s : sentences) {
    if (s[0].substr(2) == "GGA" && !s[1].empty()) gga.insert({s[1], s});
  }
  std::vector<Expected> all;
  for (const auto& s : sentences) {
    if (s[0].substr(2) != "RMC" || s[2] != "A") continue;
    Expected e;
    e.hour = std::stoi(s[1].substr(0, 2));
    e.minute = std::stoi(s[1].substr(2, 2));
    e.second = std::stod(s[1].substr(4));
    e.latitude = s[3];
    e.south = s[4] == "S";
    e.longitude = s[5];
    e.west = s[6] == "W";
    e.day = std::stoi(s[9].substr(0, 2));
    e.month = std::stoi(s[9].substr(2, 2));
    e.year = 2000 + std::stoi(s[9].substr(4, 2));
    if (const auto found = gga.find(s[1]); found != gga.end()) {
      e.hasGga = true;
      e.satellites = std::stoi(found->second[7]);
      e.altitude = found->second[9];
    }
    all.push_back(e);
  }
  return all;
}

double Degrees(const std::string& text) {
  const std::size_t point = text.find('.');
  return std::stod(text.substr(0, point - 2)) + std::stod(text.substr(point - 2)) / 60;
}
/// What the version-0 decoder makes of the angle: five decimals, taken for ten times what they are.
double ScaledDegrees(const std::string& text) {
  const std::size_t point = text.find('.');
  const std::string decimals = (text.substr(point + 1) + "00000").substr(0, 5);
  return std::stod(text.substr(0, point - 2)) + std::stod(text.substr(point - 2, 2)) / 60 +
         std::stod(decimals) / 600000;
}
double Signed(double degrees, bool negative) {
  return negative ? -degrees : degrees;
}
long TenthsOfMicroseconds(const _ORQ_DATE_TIME& time) {
  return time.Second * 10'000'000L + time.MSecond * 10'000L + time.USecond;
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
    expected_ = PlainReading(path_);
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

TEST_P(RealLog, GivesAFixForEveryValidSentenceAndNoOther) {
  EXPECT_EQ(expected_.size(), static_cast<std::size_t>(GetParam().fixes));
  EXPECT_EQ(Fixes().size(), expected_.size());
}

TEST_P(RealLog, EveryFixComesBackFromABlockOfVersionOne) {
  const auto fixes = Fixes();
  ASSERT_EQ(fixes.size(), expected_.size());
  for (std::size_t i = 0; i < fixes.size(); ++i) {
    const Expected& e = expected_[i];
    const orq::GpsBlockV1 block = orq::PackGpsV1(fixes[i], kRate);
    _ORQ_GPS_DATA data{};
    ASSERT_EQ(orq::DecodeGpsV1Time(block, data.Datetime), orq::GpsV1Fault::None);
    ASSERT_EQ(orq::DecodeGpsV1Position(block, data), orq::GpsV1Fault::None);
    EXPECT_EQ(data.Datetime.Year, e.year + GetParam().years);
    EXPECT_EQ(data.Datetime.Month, e.month);
    EXPECT_EQ(data.Datetime.Day, e.day);
    EXPECT_EQ(data.Datetime.Hour, e.hour);
    EXPECT_EQ(data.Datetime.Minute, e.minute);
    // Cut twice, to a tick of 50 ns and to 100 ns.
    EXPECT_NEAR(static_cast<double>(TenthsOfMicroseconds(data.Datetime)), e.second * 1e7 - 1, 1.1);
    // Four decimals of a minute, and single precision: half a step of 2^-16 degrees beyond 128 degrees.
    EXPECT_NEAR(data.Latitude, Signed(Degrees(e.latitude), e.south), 0.0001 / 60 + 0x1p-18);
    EXPECT_NEAR(data.Longitude, Signed(Degrees(e.longitude), e.west), 0.0001 / 60 + 0x1p-17);
    EXPECT_EQ(data.SatelliteNum, e.satellites);
    const bool fits = e.hasGga && e.altitude.size() <= 5;
    EXPECT_EQ(data.Altitude, fits ? std::lround(std::stod(e.altitude) * 10) : 0) << e.altitude;
  }
}

TEST_P(RealLog, EveryFixComesBackFromABlockOfVersionZero) {
  const auto fixes = Fixes();
  ASSERT_EQ(fixes.size(), expected_.size());
  for (std::size_t i = 0; i < fixes.size(); ++i) {
    const Expected& e = expected_[i];
    _ORQ_GPS_DATA data{};
    ASSERT_TRUE(orq::DecodeGpsV0(orq::PackGpsV0(fixes[i]), data));
    const std::vector<int> numbers = Numbers(data.Datetime);
    EXPECT_EQ(std::vector<int>(numbers.begin(), numbers.begin() + 5),
              (std::vector<int>{e.year + GetParam().years, e.month, e.day, e.hour, e.minute}));
    EXPECT_EQ(TenthsOfMicroseconds(data.Datetime), std::lround(e.second * 1e7));
    EXPECT_EQ(data.Latitude, Signed(static_cast<double>(static_cast<float>(ScaledDegrees(e.latitude))), e.south));
    EXPECT_EQ(data.Longitude, Signed(static_cast<double>(static_cast<float>(ScaledDegrees(e.longitude))), e.west));
    EXPECT_EQ(data.SatelliteNum, e.satellites);
    EXPECT_EQ(data.Altitude, e.hasGga ? std::lround(std::stod(e.altitude) * 10) : 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Receivers, RealLog,
                         testing::Values(Log{"bt451.log", 13, 16}, Log{"haicom-305N.log", 68, 16},
                                         Log{"neo-m8n.log", 23, 8}, Log{"quectel.log", 34, 4},
                                         Log{"rx210.log", 40, 8}, Log{"sirfstarv-nmea.log", 59, 4}),
                         NameOf);

}  // namespace
