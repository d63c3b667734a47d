// Single bulk transfers on the frame endpoint: how each of them can end.
#include <libusb-1.0/libusb.h>

#include <cerrno>
#include <condition_variable>
#include <mutex>

#include "OpenLink.h"
#include "support/VirtualRig.h"

namespace orq::test {
namespace {

/// Transfers of one pipe, and what became of them.
class Transfers {
 public:
  explicit Transfers(BulkPipe& pipe) : pipe_(pipe) {}
  ~Transfers() {
    for (const auto& transfer : all_) pipe_.Cancel(*transfer);
    Await(submitted_);
  }
  Transfers(const Transfers&) = delete;
  Transfers& operator=(const Transfers&) = delete;

  BulkTransfer& Make(int bytes) {
    all_.push_back(pipe_.MakeTransfer(bytes));
    BulkTransfer& transfer = *all_.back();
    transfer.owner = this;
    transfer.onComplete = [](BulkTransfer& done) { static_cast<Transfers*>(done.owner)->CountOne(); };
    return transfer;
  }
  UsbError Submit(BulkTransfer& transfer) {
    {
      const std::lock_guard lock(mutex_);
      ++submitted_;
    }
    const UsbError error = pipe_.Submit(transfer);
    if (error != kUsbOk) {
      const std::lock_guard lock(mutex_);
      --submitted_;
    }
    return error;
  }
  /// Waits until that many submissions have completed.
  bool Await(int count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::milliseconds(kPatienceMs), [&] { return completed_ >= count; });
  }
  int Completed() const {
    const std::lock_guard lock(mutex_);
    return completed_;
  }

 private:
  void CountOne() {
    const std::lock_guard lock(mutex_);
    ++completed_;
    changed_.notify_all();
  }

  BulkPipe& pipe_;
  std::vector<std::unique_ptr<BulkTransfer>> all_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  int submitted_ = 0;
  int completed_ = 0;
};

constexpr int kBlock = 49152;
constexpr int kPayloadBytes = 64 * 32 * 2;            // 16 bits a sample
constexpr int kFrameBytes = 64 + kPayloadBytes + 16;  // header, payload, trailer

template <typename Door>
class Transfer : public LinkTest<Door> {
 protected:
  BulkPipe& Pipe() { return this->link.Port().Pipe(); }
  void SendOneFrame() {
    UseSoftTrigger(this->link);
    ASSERT_TRUE(this->link.FPGAStart());
    ASSERT_TRUE(this->link.SendSoftTrigger());
  }
};
TYPED_TEST_SUITE(Transfer, BothDoors, DoorNames);

TYPED_TEST(Transfer, EndsShortWithTheFrame) {
  this->PlugAndOpen();
  Transfers transfers(this->Pipe());
  BulkTransfer& transfer = transfers.Make(kBlock);
  ASSERT_EQ(transfers.Submit(transfer), kUsbOk);
  this->SendOneFrame();
  ASSERT_TRUE(transfers.Await(1));
  EXPECT_EQ(transfer.status, TransferStatus::Completed);
  ASSERT_EQ(transfer.actual, kFrameBytes);
  const auto header = wire::GetHeader({transfer.buffer, wire::kHeaderBytes});
  ASSERT_TRUE(header);
  const std::vector<std::uint8_t> payload(transfer.buffer + 64, transfer.buffer + 64 + kPayloadBytes);
  EXPECT_TRUE(payload == this->camera->SentPayload(header->sequence));
}

TYPED_TEST(Transfer, ASecondOneBringsTheRestOfALongFrame) {
  this->PlugAndOpen();
  Transfers transfers(this->Pipe());
  BulkTransfer& first = transfers.Make(1024);
  BulkTransfer& second = transfers.Make(4096);
  ASSERT_EQ(transfers.Submit(first), kUsbOk);
  ASSERT_EQ(transfers.Submit(second), kUsbOk);
  this->SendOneFrame();
  ASSERT_TRUE(transfers.Await(2));
  EXPECT_EQ(first.actual, 1024);
  EXPECT_EQ(second.actual, kFrameBytes - 1024);
  EXPECT_EQ(second.status, TransferStatus::Completed);
}

TYPED_TEST(Transfer, CancelledWhileItWaits) {
  this->PlugAndOpen();
  Transfers transfers(this->Pipe());
  BulkTransfer& transfer = transfers.Make(kBlock);
  ASSERT_EQ(transfers.Submit(transfer), kUsbOk);
  EXPECT_EQ(transfers.Completed(), 0);
  this->Pipe().Cancel(transfer);
  ASSERT_TRUE(transfers.Await(1));
  EXPECT_EQ(transfer.status, TransferStatus::Cancelled);
  EXPECT_EQ(transfer.actual, 0);
}

TYPED_TEST(Transfer, ACancelInTheMiddleOfManyLeavesTheOthers) {
  this->PlugAndOpen();
  Transfers transfers(this->Pipe());
  BulkTransfer& first = transfers.Make(kBlock);
  BulkTransfer& second = transfers.Make(kBlock);
  ASSERT_EQ(transfers.Submit(first), kUsbOk);
  ASSERT_EQ(transfers.Submit(second), kUsbOk);
  this->Pipe().Cancel(first);
  ASSERT_TRUE(transfers.Await(1));
  EXPECT_EQ(first.status, TransferStatus::Cancelled);
  this->SendOneFrame();
  ASSERT_TRUE(transfers.Await(2));
  EXPECT_EQ(second.status, TransferStatus::Completed);
  EXPECT_EQ(second.actual, kFrameBytes);
}

TYPED_TEST(Transfer, ACancelAfterTheEndChangesNothing) {
  this->PlugAndOpen();
  Transfers transfers(this->Pipe());
  BulkTransfer& transfer = transfers.Make(kBlock);
  ASSERT_EQ(transfers.Submit(transfer), kUsbOk);
  this->SendOneFrame();
  ASSERT_TRUE(transfers.Await(1));
  this->Pipe().Cancel(transfer);
  EXPECT_EQ(transfer.status, TransferStatus::Completed);
  EXPECT_EQ(transfers.Completed(), 1);
}

TYPED_TEST(Transfer, AStallLastsUntilTheHaltIsCleared) {
  this->PlugAndOpen();
  Transfers transfers(this->Pipe());
  BulkTransfer& transfer = transfers.Make(kBlock);
  this->camera->AddFrameFault({FrameFault::Kind::Stall, 1});
  ASSERT_EQ(transfers.Submit(transfer), kUsbOk);
  this->SendOneFrame();
  ASSERT_TRUE(transfers.Await(1));
  EXPECT_EQ(transfer.status, TransferStatus::Stall);
  ASSERT_EQ(transfers.Submit(transfer), kUsbOk);
  ASSERT_TRUE(transfers.Await(2));
  EXPECT_EQ(transfer.status, TransferStatus::Stall) << "still halted";
  EXPECT_EQ(this->Pipe().ClearHalt(), kUsbOk);
  ASSERT_EQ(transfers.Submit(transfer), kUsbOk);
  ASSERT_TRUE(this->link.SendSoftTrigger());
  ASSERT_TRUE(transfers.Await(3));
  EXPECT_EQ(transfer.status, TransferStatus::Completed);
  EXPECT_EQ(transfer.actual, kFrameBytes);
}

TYPED_TEST(Transfer, AnErrorOnTheBusEndsOneTransfer) {
  this->PlugAndOpen();
  Transfers transfers(this->Pipe());
  BulkTransfer& transfer = transfers.Make(kBlock);
  this->camera->AddFrameFault({FrameFault::Kind::Error, 1});
  ASSERT_EQ(transfers.Submit(transfer), kUsbOk);
  this->SendOneFrame();
  ASSERT_TRUE(transfers.Await(1));
  EXPECT_EQ(transfer.status, TransferStatus::Error);
  ASSERT_EQ(transfers.Submit(transfer), kUsbOk);
  ASSERT_TRUE(this->link.SendSoftTrigger());
  ASSERT_TRUE(transfers.Await(2));
  EXPECT_EQ(transfer.status, TransferStatus::Completed);
}

TYPED_TEST(Transfer, UnplugEndsAllOfThemAndRefusesMore) {
  this->PlugAndOpen();
  Transfers transfers(this->Pipe());
  std::vector<BulkTransfer*> eight;
  for (int i = 0; i < 8; ++i) {
    eight.push_back(&transfers.Make(kBlock));
    ASSERT_EQ(transfers.Submit(*eight.back()), kUsbOk);
  }
  this->door.Unplug(this->number);
  ASSERT_TRUE(transfers.Await(8));
  for (const BulkTransfer* transfer : eight) EXPECT_EQ(transfer->status, TransferStatus::NoDevice);
  EXPECT_EQ(transfers.Submit(*eight.front()), kUsbNoDevice);
  EXPECT_EQ(this->Pipe().ClearHalt(), kUsbNoDevice);
}

// What only libusb and the kernel have --------------------------------------------------------------------------

using UsbTransfer = Transfer<LibusbDoor>;

TEST_F(UsbTransfer, TooShortABufferForTheDevicesPacketOverflows) {
  PlugAndOpen();
  Transfers transfers(Pipe());
  BulkTransfer& transfer = transfers.Make(1500);  // the frame's second packet has 1024 bytes, 476 have a place
  ASSERT_EQ(transfers.Submit(transfer), kUsbOk);
  SendOneFrame();
  ASSERT_TRUE(transfers.Await(1));
  EXPECT_EQ(transfer.status, TransferStatus::Overflow);
}

TEST_F(UsbTransfer, TheLastShortPacketFitsABufferThatIsNoMultipleOfPackets) {
  PlugAndOpen();
  Transfers transfers(Pipe());
  BulkTransfer& transfer = transfers.Make(kFrameBytes);
  ASSERT_EQ(transfers.Submit(transfer), kUsbOk);
  SendOneFrame();
  ASSERT_TRUE(transfers.Await(1));
  EXPECT_EQ(transfer.status, TransferStatus::Completed);
  EXPECT_EQ(transfer.actual, kFrameBytes);
}

TEST_F(UsbTransfer, AFailureOfTheHostControllerIsAnError) {
  PlugAndOpen();
  Transfers transfers(Pipe());
  BulkTransfer& transfer = transfers.Make(kBlock);
  door.Device(number).FailNextTransfer(-EPROTO);
  ASSERT_EQ(transfers.Submit(transfer), kUsbOk);
  ASSERT_TRUE(transfers.Await(1));
  EXPECT_EQ(transfer.status, TransferStatus::Error);
  door.Device(number).FailNextTransfer(-EOVERFLOW);
  ASSERT_EQ(transfers.Submit(transfer), kUsbOk);
  ASSERT_TRUE(transfers.Await(2));
  EXPECT_EQ(transfer.status, TransferStatus::Overflow);
}

TEST_F(UsbTransfer, ASilentDeviceTimesOut) {
  PlugAndOpen();
  std::vector<std::uint8_t> buffer(kBlock);
  int came = -1;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(libusb_bulk_transfer(link.usbHandle, wire::kFrameEndpoint, buffer.data(), kBlock, &came, 150),
            LIBUSB_ERROR_TIMEOUT);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(140));
  EXPECT_EQ(came, 0);
  SendOneFrame();
  EXPECT_EQ(libusb_bulk_transfer(link.usbHandle, wire::kFrameEndpoint, buffer.data(), kBlock, &came, kPatienceMs),
            LIBUSB_SUCCESS);
  EXPECT_EQ(came, kFrameBytes);
}

TEST_F(UsbTransfer, TheSystemsUsbMemoryIsLimited) {
  PlugAndOpen();
  constexpr int kFourMiB = 4 << 20;
  Transfers transfers(Pipe());
  std::vector<BulkTransfer*> all;
  for (int i = 0; i < 4; ++i) all.push_back(&transfers.Make(kFourMiB));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(transfers.Submit(*all[static_cast<std::size_t>(i)]), kUsbOk) << i;
  EXPECT_EQ(transfers.Submit(*all[3]), kUsbNoMem) << "16 MiB and the requests' own records";
  Pipe().Cancel(*all[0]);
  ASSERT_TRUE(transfers.Await(1));
  EXPECT_EQ(transfers.Submit(*all[3]), kUsbOk) << "the memory of the cancelled one is free";
  door.Bus().Memory().limit = 0;
  EXPECT_EQ(transfers.Submit(*all[0]), kUsbOk) << "no limit";
}

TEST_F(UsbTransfer, AllUsbMemoryComesBack) {
  PlugAndOpen();
  {
    Transfers transfers(Pipe());
    for (int i = 0; i < 8; ++i) ASSERT_EQ(transfers.Submit(transfers.Make(kBlock)), kUsbOk);
    EXPECT_GT(door.Bus().Memory().used, 8U * kBlock);
  }
  unsigned char value = 0;
  EXPECT_TRUE(link.ReadFPGAREG(0x1C, &value));
  link.CloseDevice();
  EXPECT_EQ(door.Bus().Memory().used, 0U);
}

TEST_F(UsbTransfer, AStreamGetsAlongWithLittleUsbMemory) {
  PlugAndOpen(Untimed(), 1000, 500);
  door.Bus().Memory().limit = 1'100'000;  // two of eight transfers
  UseSoftTrigger(link);
  const StreamFormat format{1000, 500, 1, wire::kFormat16Bit};
  Program(link, format);
  CirBuf ring(1'000'000, 3);
  ring.StartInstBufThr();
  ASSERT_TRUE(link.StartStream(ring, format)) << link.LinkError();
  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(link.SendSoftTrigger());
    const auto frame = TakeFrame(ring);
    ASSERT_TRUE(frame) << link.LinkError();
    EXPECT_TRUE(frame->payload == camera->SentPayload(frame->header.sequence));
  }
  link.StopStream();
  EXPECT_EQ(link.Counters().inFlightMax, 2U);
  EXPECT_EQ(link.Counters().failed, 0U);
}

TEST_F(UsbTransfer, FourCamerasStreamWithTheUsualUsbMemoryAndASixthNamesTheSetting) {
  constexpr int kCameras = 6;
  ASSERT_EQ(door.Bus().Memory().limit, 16U << 20U);
  const StreamFormat format{1500, 1000, 1, wire::kFormat16Bit};
  std::vector<std::shared_ptr<Firmware>> cameras;
  std::vector<std::unique_ptr<CirBuf>> rings;
  std::vector<std::unique_ptr<CCameraFX3>> links;
  for (int i = 0; i < kCameras; ++i) {
    VirtualOptions options = Untimed();
    options.seed = static_cast<std::uint64_t>(i + 1);
    cameras.push_back(MakeCamera(options, 1500, 1000, 1000));
    door.Attach(cameras.back());
    rings.push_back(std::make_unique<CirBuf>(std::size_t{3'000'000}, 3));
    rings.back()->StartInstBufThr();
    links.push_back(std::make_unique<CCameraFX3>());
  }
  for (int i = 0; i < kCameras; ++i) {
    CCameraFX3& one = *links[static_cast<std::size_t>(i)];
    ASSERT_TRUE(Open(one, door.MakePort(), static_cast<std::uint8_t>(i))) << one.LinkError();
    UseSoftTrigger(one);
    Program(one, format);
    EXPECT_EQ(one.StartStream(*rings[static_cast<std::size_t>(i)], format), i < 5) << i << ": " << one.LinkError();
  }
  EXPECT_NE(links[5]->LinkError().find("usbcore.usbfs_memory_mb"), std::string::npos) << links[5]->LinkError();
  for (int round = 0; round < 3; ++round) {
    for (std::size_t i = 0; i < 5; ++i) {
      ASSERT_TRUE(links[i]->SendSoftTrigger());
      const auto frame = TakeFrame(*rings[i]);
      ASSERT_TRUE(frame) << i << ": " << links[i]->LinkError();
      EXPECT_TRUE(frame->payload == cameras[i]->SentPayload(frame->header.sequence)) << i;
    }
  }
  for (std::size_t i = 0; i < 5; ++i) {
    const StreamCounters counters = links[i]->Counters();
    EXPECT_EQ(counters.inFlightMax, i < 4 ? 8U : 2U) << i;
    EXPECT_TRUE(Eventually([&] { return links[i]->Counters().inFlight == counters.inFlightMax; }))
        << "it shrank: " << i;
    EXPECT_EQ(counters.submitRetries, 0U) << i;
  }
  for (const auto& one : links) one->CloseDevice();
  EXPECT_EQ(door.Bus().Memory().used, 0U);
}

TEST_F(UsbTransfer, WithoutUsbMemoryAStreamDoesNotStartAndNamesTheSetting) {
  PlugAndOpen();
  const StreamFormat format{64, 32, 1, 0};
  CirBuf ring(64 * 32, 2);
  ring.StartInstBufThr();
  door.Bus().Memory().limit = 100'000;
  EXPECT_FALSE(link.StartStream(ring, format));
  EXPECT_NE(link.LinkError().find("usbcore.usbfs_memory_mb"), std::string::npos) << link.LinkError();
  door.Bus().Memory().limit = UsbMemory::kUsualLimit;
  EXPECT_TRUE(link.StartStream(ring, format)) << link.LinkError();
  link.StopStream();
}

}  // namespace
}  // namespace orq::test
