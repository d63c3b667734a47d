// A host program with a port on a virtual bus.
#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "TestCamera.h"
#include "virtual/bus/VirtualPort.h"

namespace orq::test {

/// Completions as they came, with what the transfer held at that moment.
struct Completion {
  BulkTransfer* transfer = nullptr;
  TransferStatus status = TransferStatus::Completed;
  std::vector<std::uint8_t> bytes;
};

/// A host with one port on the bus.
class Host {
 public:
  explicit Host(std::shared_ptr<VirtualBus> bus) : port(MakeVirtualPort(std::move(bus))) {}
  ~Host() { port->CloseDevice(); }  // before the transfers go

  bool Open(std::uint8_t index = 0, std::uint16_t productId = 0x1101) {
    handle = port->libusb_open_device_with_vid_pid_index(port->Context(), 0xF055, productId, index);
    return handle != nullptr;
  }
  int Claim() { return port->libusb_claim_interface(handle, 0); }
  bool OpenAndClaim(std::uint8_t index = 0) { return Open(index) && Claim() == 0; }

  int Version() {
    std::uint8_t data[4] = {};
    return port->ControlTransfer({0xC0, 0xD4, 0, 0, 4}, data, 1000);
  }
  int Write(std::uint16_t reg, std::uint16_t value) {
    return port->ControlTransfer({0x40, 0xD1, reg, value, 0}, {}, 1000);
  }
  std::vector<std::uint8_t> Serial() {
    std::vector<std::uint8_t> data(8);
    EXPECT_EQ(8, port->ControlTransfer({0xC0, 0xC8, 0, 0, 8}, data, 1000));
    return data;
  }

  BulkTransfer& Transfer(int bytes = 8192) {
    transfers.push_back(port->Pipe().MakeTransfer(bytes));
    BulkTransfer& transfer = *transfers.back();
    transfer.owner = this;
    transfer.onComplete = [](BulkTransfer& done) { static_cast<Host*>(done.owner)->Done(done); };
    return transfer;
  }
  BulkTransfer& Submitted(int bytes = 8192) {
    BulkTransfer& transfer = Transfer(bytes);
    EXPECT_EQ(kUsbOk, port->Pipe().Submit(transfer));
    return transfer;
  }
  Completion Next() {
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, std::chrono::seconds(30), [this] { return !completions.empty(); })) {
      ADD_FAILURE() << "no completion came";
      return {};
    }
    Completion completion = std::move(completions.front());
    completions.pop_front();
    return completion;
  }

  std::shared_ptr<UsbPort> port;
  libusb_device_handle* handle = nullptr;
  std::vector<std::unique_ptr<BulkTransfer>> transfers;
  int resubmissions = 0;  ///< from the completion; set before the first submission

 private:
  void Done(BulkTransfer& transfer) {
    Completion completion{&transfer, transfer.status, {transfer.buffer, transfer.buffer + transfer.actual}};
    const bool again = resubmissions > 0;
    resubmissions -= again ? 1 : 0;
    const std::lock_guard lock(mutex);
    completions.push_back(std::move(completion));
    if (again) EXPECT_EQ(kUsbOk, port->Pipe().Submit(transfer));
    changed.notify_all();
  }

  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Completion> completions;
};

/// A bus to plug cameras into.
class BusTest : public testing::Test {
 protected:
  std::shared_ptr<Firmware> Plug(std::uint64_t seed = 1) {
    VirtualOptions options = Untimed();
    options.seed = seed;
    auto camera = MakeCamera(options);
    EXPECT_TRUE(bus->Attach(camera));
    return camera;
  }

  std::shared_ptr<VirtualBus> bus = std::make_shared<VirtualBus>();
};

}  // namespace orq::test
