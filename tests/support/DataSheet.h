// The power sequences of a sensor's page in docs/sensors, as a test follows them.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace orq::test {

struct SheetStep {
  std::uint16_t reg = 0;
  std::uint8_t value = 0;
  std::uint32_t waitUs = 0;
  std::pair<int, int> Both() const { return {reg, value}; }
  bool operator==(const SheetStep&) const = default;
};

/// What the tables of the section "Power-up" say, and the sentence about standby.
struct DataSheet {
  explicit DataSheet(const std::string& sensor) {
    std::ifstream page(std::string(ORQ_SOURCE_DIR) + "/docs/sensors/" + sensor + ".md");
    const std::regex row(R"(\| 0x([0-9A-F]{4}) \| 0x([0-9A-F]{2}) \| (\d*) ?\|)");
    const std::regex trims("([0-9A-F]{2} ){15}[0-9A-F]{2}");
    std::smatch match;
    std::vector<SheetStep>* into = nullptr;
    for (std::string line; std::getline(page, line);) {
      if (line.starts_with("## ")) into = line == "## Power-up" ? &powerUp : nullptr;
      if (into == nullptr) continue;
      if (line.starts_with("Wake-up")) into = &wake;
      if (std::regex_match(line, match, row)) {
        const unsigned long wait = match[3].length() == 0 ? 0 : std::stoul(match[3]);
        into->push_back({static_cast<std::uint16_t>(std::stoul(match[1], nullptr, 16)),
                         static_cast<std::uint8_t>(std::stoul(match[2], nullptr, 16)),
                         static_cast<std::uint32_t>(wait)});
      } else if (std::regex_match(line, trims)) {
        std::istringstream bytes(line);
        for (std::string byte; bytes >> byte;) {
          powerUp.push_back({trim++, static_cast<std::uint8_t>(std::stoul(byte, nullptr, 16))});
        }
      }
    }
    EXPECT_GT(powerUp.size(), 4U) << sensor;
    EXPECT_EQ(wake.size(), 2U) << sensor;
    if (sensor == "l3") {
      model = "l3m";
      standby = {{0x3002, 1}, {0x3000, 1}};
      pllRuns = {0x3010, 1};
      firstRegister = 0x3000;
    } else {
      model = "d6m";
      standby = {{0x4000, 2}, {0x4000, 0}};
      pllRuns = {0x4002, 3};
      firstRegister = 0x4000;
    }
  }

  std::string model;
  std::vector<SheetStep> powerUp, wake, standby;
  std::pair<int, int> pllRuns;  ///< register and value
  std::uint16_t firstRegister = 0;

 private:
  std::uint16_t trim = 0x4100;
};

}  // namespace orq::test
