// Registers and requests.
#include "orqcam/orqcam-expert.h"

#include <cstring>
#include <vector>

#include "api/Handles.h"
#include "api/Structs.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

constexpr std::uint32_t kMostRequestBytes = 4096;

void DemandRegister(std::int32_t chip, std::uint32_t address) {
  if (chip != ORQ_CHIP_FPGA && chip != ORQ_CHIP_SENSOR)
    throw session::Failure(session::Status::Invalid, "chip must be one of ORQ_CHIP_...");
  if (address > 0xFFFF) throw session::Failure(session::Status::Range, "a register address is 0 to 65535");
}

}  // namespace

orq_status orq_expert_register_read(orq_camera* camera, int32_t chip, uint32_t address, uint8_t* value) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandResult(value, "value");
    const session::Camera::Use device(*opened);
    DemandRegister(chip, address);
    const auto reg = static_cast<unsigned short>(address);
    unsigned char read = 0;
    const bool done = chip == ORQ_CHIP_FPGA ? device->ReadFPGAREG(reg, &read) : device->ReadSONYREG(reg, &read);
    if (!done) opened->Fail("the register cannot be read");
    *value = read;
  });
}

orq_status orq_expert_register_write(orq_camera* camera, int32_t chip, uint32_t address, uint32_t value) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    const session::Camera::Use device(*opened);
    DemandRegister(chip, address);
    if (value > 0xFF) throw session::Failure(session::Status::Range, "a register holds 0 to 255");
    const auto reg = static_cast<unsigned short>(address);
    const auto byte = static_cast<unsigned char>(value);
    const bool done = chip == ORQ_CHIP_FPGA ? device->WriteFPGAREG(reg, byte) : device->WriteSONYREG(reg, byte);
    if (!done) opened->Fail("the register cannot be written");
  });
}

orq_status orq_expert_request(orq_camera* camera, int32_t in, uint32_t request, uint32_t value, uint32_t index,
                              uint8_t* data, uint32_t size) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    if (size != 0) DemandResult(data, "data");
    const session::Camera::Use device(*opened);
    if (request > 0xFF || value > 0xFFFF || index > 0xFFFF || size > kMostRequestBytes)
      throw session::Failure(session::Status::Range,
                             "a request is 0 to 255, value and index 0 to 65535, and 4096 bytes the most");
    std::vector<std::uint8_t> bytes(size);
    if (in == 0 && size != 0) std::memcpy(bytes.data(), data, size);
    const bool done =
        device->SendCMD(static_cast<unsigned char>(request), static_cast<unsigned short>(value),
                        static_cast<unsigned short>(index), in != 0, bytes.data(), static_cast<long>(size));
    if (!done) opened->Fail("the camera did not take the request");
    if (in != 0 && size != 0) std::memcpy(data, bytes.data(), size);
  });
}
