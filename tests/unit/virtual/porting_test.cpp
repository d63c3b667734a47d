// The requests that a page tells a firmware's author to try, on every virtual camera.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/Cameras.h"
#include "virtual/bus/VirtualCamera.h"

namespace orq {
namespace {

struct Trial {
  SetupPacket setup;
  std::string answer;
};

std::vector<Trial> Trials() {
  std::ifstream page(std::string(ORQ_SOURCE_DIR) + "/docs/porting-firmware.md");
  const std::regex row(
      R"(\| ([0-9A-F]{2}) ([0-9A-F]{2}) ([0-9A-F]{4}) ([0-9A-F]{4}) ([0-9A-F]{4}) \| ([^|]+) \|.*)");
  std::vector<Trial> trials;
  std::smatch match;
  for (std::string line; std::getline(page, line);) {
    if (!std::regex_match(line, match, row)) continue;
    const auto number = [&](std::size_t i) {
      return static_cast<std::uint16_t>(std::stoul(match[i], nullptr, 16));
    };
    trials.push_back({{static_cast<std::uint8_t>(number(1)), static_cast<std::uint8_t>(number(2)), number(3),
                       number(4), number(5)},
                      match[6]});
  }
  return trials;
}

/// As the page writes an answer; bytes that it leaves open are written so.
std::string Answer(VirtualCamera& camera, const Trial& trial) {
  std::vector<std::uint8_t> data(trial.setup.length);
  const int result = camera.Control(trial.setup, data);
  if (result == kUsbPipe) return "stall";
  if (result != static_cast<int>(data.size())) return "result " + std::to_string(result);
  if (!trial.setup.In()) return "done";
  std::istringstream wanted(trial.answer);
  std::string text;
  for (const std::uint8_t byte : data) {
    std::string open;
    wanted >> open;
    char hex[4];
    std::snprintf(hex, sizeof hex, "%02X", unsigned{byte});
    text += (text.empty() ? "" : " ") + (open == ".." ? open : std::string(hex));
  }
  return text;
}

TEST(PortingPage, SaysHowEveryVirtualCameraAnswers) {
  const std::vector<Trial> trials = Trials();
  ASSERT_EQ(trials.size(), 26U);
  for (const char* key : test::CameraKeys()) {
    VirtualOptions options;
    options.model = key;
    std::string error;
    const auto camera = VirtualCamera::Make(options, error);
    ASSERT_NE(camera, nullptr) << error;
    camera->PowerCycle();
    for (std::size_t i = 0; i < trials.size(); ++i)
      EXPECT_EQ(Answer(*camera, trials[i]), trials[i].answer) << key << " line " << i;
  }
}

}  // namespace
}  // namespace orq
