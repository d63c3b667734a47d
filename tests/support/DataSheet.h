// The power sequences of the sensors' pages in docs/sensors, as tests follow them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace orq::test {

inline std::filesystem::path SheetFolder() {
  return std::filesystem::path(ORQ_SOURCE_DIR) / "docs" / "sensors";
}

/// All pages, by the name of their sensor: tests about data sheets run over them.
inline std::vector<std::string> SheetNames() {
  std::vector<std::string> names;
  for (const auto& file : std::filesystem::directory_iterator(SheetFolder()))
    if (file.path().extension() == ".md") names.push_back(file.path().stem());
  std::ranges::sort(names);
  return names;
}

struct SheetStep {
  std::uint16_t reg = 0;
  std::uint8_t value = 0;
  std::uint32_t waitUs = 0;
  bool operator==(const SheetStep&) const = default;
};

/// Which models the page's first sentence names, what the tables of its section "Power-up" say, and its sentence
/// about standby. Whatever looks like a step and cannot be read fails the test.
struct DataSheet {
  explicit DataSheet(const std::string& sensor) {
    std::ifstream page(SheetFolder() / (sensor + ".md"));
    std::vector<SheetStep>* into = nullptr;
    for (std::string line; std::getline(page, line);) {
      if (line.starts_with("The image sensor of ")) models = Quoted(line.substr(0, line.find('.')));
      if (line.starts_with("## ")) into = line == "## Power-up" ? &powerUp : nullptr;
      if (into == nullptr) continue;
      if (line.starts_with("Wake-up")) into = &wake;
      if (line.starts_with("Standby: ")) ReadStandby(line);
      if (line.starts_with("| 0")) ReadStep(line, *into);
      ReadTrims(line);
    }
    EXPECT_FALSE(models.empty()) << sensor << ".md begins with \"The image sensor of `key`\"";
    EXPECT_GT(powerUp.size(), 4U) << sensor << ".md, table of the power-up";
    EXPECT_FALSE(wake.empty()) << sensor << ".md, table of the wake-up";
    EXPECT_FALSE(standby.empty()) << sensor << ".md, \"Standby: 1 to 0x3000, …\"";
  }

  std::vector<std::string> models;
  std::vector<SheetStep> powerUp, wake, standby;

  /// The lowest register of the sequences: control registers are near it.
  std::uint16_t FirstRegister() const {
    std::uint16_t lowest = 0xFFFF;
    for (const auto* steps : {&powerUp, &wake})
      for (const SheetStep& step : *steps) lowest = std::min(lowest, step.reg);
    return lowest;
  }
  /// The step that starts the PLL: the last of the power-up that asks for a wait.
  std::size_t PllStart() const {
    std::size_t last = 0;
    for (std::size_t i = 0; i < powerUp.size(); ++i)
      if (powerUp[i].waitUs > 0) last = i;
    return last;
  }

 private:
  static std::vector<std::string> Quoted(const std::string& line) {
    const std::regex name("`([a-z0-9]+)`");
    std::vector<std::string> names;
    for (std::sregex_iterator at(line.begin(), line.end(), name), end; at != end; ++at) names.push_back((*at)[1]);
    return names;
  }
  static SheetStep Step(const std::string& reg, const std::string& value, const std::string& wait) {
    return {static_cast<std::uint16_t>(std::stoul(reg, nullptr, 16)),
            static_cast<std::uint8_t>(std::stoul(value, nullptr, 16)),
            static_cast<std::uint32_t>(wait.empty() ? 0 : std::stoul(wait))};
  }
  static void ReadStep(const std::string& line, std::vector<SheetStep>& into) {
    const std::regex row(R"(\| 0x([0-9A-F]{4}) \| 0x([0-9A-F]{2}) \| (\d*) ?\|)");
    std::smatch match;
    if (std::regex_match(line, match, row))
      into.push_back(Step(match[1], match[2], match[3]));
    else
      ADD_FAILURE() << "not \"| 0x3000 | 0x01 | 500 |\": " << line;
  }
  void ReadStandby(const std::string& line) {
    const std::regex write("([0-9A-F]+) to 0x([0-9A-F]{4})");
    for (std::sregex_iterator at(line.begin(), line.end(), write), end; at != end; ++at)
      standby.push_back(Step((*at)[2], (*at)[1], ""));
  }
  /// Sixteen bytes a line, from the register on that the sentence before them names.
  void ReadTrims(const std::string& line) {
    const std::regex range("Then the trims, 0x([0-9A-F]{4}) .*");
    const std::regex bytes("([0-9A-F]{2} ){15}[0-9A-F]{2}");
    std::smatch match;
    if (std::regex_match(line, match, range)) trim = static_cast<std::uint16_t>(std::stoul(match[1], nullptr, 16));
    if (!std::regex_match(line, bytes)) return;
    std::istringstream words(line);
    for (std::string byte; words >> byte;)
      powerUp.push_back({trim++, static_cast<std::uint8_t>(std::stoul(byte, nullptr, 16)), 0});
  }

  std::uint16_t trim = 0;
};

}  // namespace orq::test
