// The least that reads a camera's frame endpoint over libusb: what a stream costs before anything is done with it.
//
// Sets the camera running as a client of the wire protocol, keeps 8 transfers of 480 KiB in flight, counts bytes
// and frames (a frame ends in a short packet), and prints what it got.
#include <libusb-1.0/libusb.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "link/WireProtocol.h"

namespace {

namespace wire = orq::wire;
using Clock = std::chrono::steady_clock;

constexpr int kTransfers = 8;
constexpr int kTransferBytes = 10 * wire::kBlockBytes;
constexpr unsigned kTimeoutMs = 1000;
constexpr std::uint8_t kOut = 0x40;

struct Reader {
  std::uint64_t bytes = 0;
  std::uint64_t frames = 0;
  int inFlight = 0;
  bool stopping = false;
  bool failed = false;
};

void Completed(libusb_transfer* transfer) {
  auto& reader = *static_cast<Reader*>(transfer->user_data);
  --reader.inFlight;
  reader.bytes += static_cast<std::uint64_t>(transfer->actual_length);
  reader.failed |= transfer->status != LIBUSB_TRANSFER_COMPLETED && !reader.stopping;
  if (reader.stopping || reader.failed) return;
  reader.frames += transfer->actual_length < kTransferBytes ? 1 : 0;
  if (libusb_submit_transfer(transfer) == LIBUSB_SUCCESS)
    ++reader.inFlight;
  else
    reader.failed = true;
}

bool WriteRegister(libusb_device_handle* camera, std::uint16_t reg, std::uint8_t value) {
  return libusb_control_transfer(camera, kOut, wire::kReqWriteFpga, reg, value, nullptr, 0, kTimeoutMs) == 0;
}

/// Exposure in microseconds, frames of the whole sensor.
bool Program(libusb_device_handle* camera, std::uint32_t exposureUs, std::uint8_t format) {
  bool done = WriteRegister(camera, wire::kFpgaFormat, format);
  for (unsigned i = 0; i < 5; ++i) {
    const auto byte = static_cast<std::uint8_t>(i < 4 ? exposureUs >> (8 * i) : 0);
    done = done && WriteRegister(camera, static_cast<std::uint16_t>(wire::kFpgaExposure + i), byte);
  }
  return done;
}

int Fail(const char* what) {
  std::fprintf(stderr, "libusb_reader: %s\n", what);
  return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return Fail("usage: libusb_reader PRODUCT_ID EXPOSURE_US 8|16 FRAMES");
  const auto product = static_cast<std::uint16_t>(std::strtoul(argv[1], nullptr, 0));
  const auto exposureUs = static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 0));
  const std::uint8_t format = std::strtoul(argv[3], nullptr, 0) == 16 ? wire::kFormat16Bit : 0;
  const std::uint64_t frames = std::strtoull(argv[4], nullptr, 0);

  libusb_context* context = nullptr;
  if (libusb_init(&context) != LIBUSB_SUCCESS) return Fail("no USB");
  libusb_device_handle* camera = libusb_open_device_with_vid_pid(context, wire::kVendorId, product);
  if (camera == nullptr || libusb_claim_interface(camera, wire::kInterface) != LIBUSB_SUCCESS)
    return Fail("no such camera, or it is in use");
  if (!Program(camera, exposureUs, format)) return Fail("the camera refused its settings");

  Reader reader;
  std::vector<std::vector<std::uint8_t>> buffers(kTransfers, std::vector<std::uint8_t>(kTransferBytes));
  std::vector<libusb_transfer*> transfers;
  for (auto& buffer : buffers) {
    libusb_transfer* transfer = libusb_alloc_transfer(0);
    libusb_fill_bulk_transfer(transfer, camera, wire::kFrameEndpoint, buffer.data(), kTransferBytes, Completed,
                              &reader, 0);
    if (libusb_submit_transfer(transfer) != LIBUSB_SUCCESS) return Fail("a transfer was refused");
    ++reader.inFlight;
    transfers.push_back(transfer);
  }
  if (!WriteRegister(camera, wire::kFpgaRun, wire::kRunOutput)) return Fail("the camera did not start");

  const auto begin = Clock::now();
  while (!reader.failed && reader.frames < frames) {
    timeval patience{0, 100'000};
    libusb_handle_events_timeout(context, &patience);
  }
  const double took = std::chrono::duration<double>(Clock::now() - begin).count();
  const Reader result = reader;

  reader.stopping = true;
  WriteRegister(camera, wire::kFpgaRun, 0);
  for (libusb_transfer* transfer : transfers) libusb_cancel_transfer(transfer);
  while (reader.inFlight > 0) libusb_handle_events(context);
  for (libusb_transfer* transfer : transfers) libusb_free_transfer(transfer);
  libusb_close(camera);
  libusb_exit(context);
  if (result.failed) return Fail("a transfer failed");
  std::printf("fps = %.2f\nrate = %.2f MB/s\nbytes = %llu\n", static_cast<double>(result.frames) / took,
              static_cast<double>(result.bytes) / took * 1e-6, static_cast<unsigned long long>(result.bytes));
  return EXIT_SUCCESS;
}
