// What a firmware's author is told to provide, against what the host asks for.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <string>

#include "link/WireProtocol.h"
#include "models/camera/ModelCamera.h"
#include "support/Cameras.h"
#include "support/FakePort.h"

namespace orq {
namespace {

/// Notes requests and the FPGA registers that they name.
class NotingPort : public test::FakePort {
 public:
  std::set<int> requests, registers;

  int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) override {
    requests.insert(setup.request);
    if (setup.request == wire::kReqReadFpga || setup.request == wire::kReqWriteFpga) registers.insert(setup.value);
    return FakePort::ControlTransfer(setup, data, timeoutMs);
  }
};

/// All numbers of the page's first two chapters, and those between the ends of "0x28 to 0x35".
std::set<int> NumbersOfThePage() {
  std::ifstream page(std::string(ORQ_SOURCE_DIR) + "/docs/porting-firmware.md");
  std::string text;
  for (std::string line; std::getline(page, line) && line != "## Requests to try";) text += line + " ";
  const std::regex range("0x([0-9A-F]{2})\\b(?: to 0x([0-9A-F]{2})\\b)?");
  std::set<int> numbers;
  for (std::sregex_iterator at(text.begin(), text.end(), range), end; at != end; ++at) {
    const int first = std::stoi((*at)[1], nullptr, 16);
    const int last = (*at)[2].matched ? std::stoi((*at)[2], nullptr, 16) : first;
    for (int number = first; number <= last; ++number) numbers.insert(number);
  }
  return numbers;
}

// All controls of every model are set and read, on boards without anything, with a fast readout, and with all.
TEST(PortingPage, NamesWhateverTheHostAsksFor) {
  const std::set<int> named = NumbersOfThePage();
  for (const char* key : test::CameraKeys()) {
    for (const int type : {1, 6, 0xC0}) {
      const auto port = std::make_shared<NotingPort>();
      port->fpga[wire::kFpgaType] = static_cast<std::uint8_t>(type);
      port->fpga[wire::kFpgaGpsStatus] = type == 0xC0 ? 3 : 0;
      port->fpga[wire::kFpgaAdjustable] = type == 0xC0 ? 1 : 0;
      CModelCamera camera(*FindModel(key), SettingsUse::Off);
      camera.UsePort(port);
      ASSERT_EQ(camera.OpenCamera(0), 1) << key;
      for (int i = 0; i < camera.controlCount; ++i) {
        const auto id = static_cast<ORQ_CONTROL_TYPE>(camera.controlList.at(static_cast<std::size_t>(i)));
        long value = 0;
        camera.GetControlValue(id, &value, nullptr);
        camera.SetControlValue(id, value, false);
      }
      camera.CloseCamera();
      ASSERT_TRUE(port->registers.contains(wire::kFpgaExposure) || !camera.Model().sensor->PowerUp().empty());
      for (const int request : port->requests)
        EXPECT_TRUE(named.contains(request)) << key << ": request 0x" << std::hex << request;
      for (const int reg : port->registers)
        EXPECT_TRUE(named.contains(reg)) << key << ": register 0x" << std::hex << reg;
    }
  }
}

}  // namespace
}  // namespace orq
