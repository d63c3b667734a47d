// Several clients of one Alpaca camera at the same time.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "alpaca/devices/CameraDevice.h"

namespace orq::network::alpaca {
namespace {

constexpr int kRounds = 500;

nlohmann::json answerOf(CameraDevice& device, const std::string& verb, const std::string& method,
                        const std::string& words) {
  Request request;
  request.method = verb;
  if (verb == "PUT")
    request.body = words;
  else
    request.query = Parameters::parse(words).value_or(Parameters());
  return nlohmann::json::parse(std::get<std::string>(device.answer(method, request).body));
}

TEST(CameraDevice, KeepsEachNumberOfASubframeThatOthersSetAsWell) {
  const auto slot = std::make_shared<CameraSlot>(0, "virtual:l3m");
  slot->open();
  CameraDevice device(slot);
  ASSERT_EQ(answerOf(device, "PUT", "connected", "Connected=True&ClientID=1")["ErrorNumber"], 0);
  std::atomic<int> ready{0};
  std::atomic<int> wrong{0};
  const auto set = [&](const std::string& parameter, const std::string& method) {
    ++ready;
    while (ready < 4) std::this_thread::yield();
    for (int value = 1; value <= kRounds; ++value) {
      answerOf(device, "PUT", method, parameter + "=" + std::to_string(value) + "&ClientID=1");
      if (answerOf(device, "GET", method, "ClientID=1")["Value"] != value) ++wrong;
    }
  };
  std::vector<std::thread> clients;
  for (const auto& [parameter, method] : {std::pair("StartX", "startx"), std::pair("StartY", "starty"),
                                          std::pair("NumX", "numx"), std::pair("NumY", "numy")})
    clients.emplace_back(set, parameter, method);
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(wrong, 0);
  slot->close();
}

}  // namespace
}  // namespace orq::network::alpaca
