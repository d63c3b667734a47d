#include <gmock/gmock.h>

#include "TestHost.h"

namespace orq::test {
namespace {

using testing::HasSubstr;

using VirtualPipeTest = BusTest;

TEST_F(VirtualPipeTest, FramesComeInTheOrderOfSubmission) {
  Plug();
  Host host(bus);
  ASSERT_TRUE(host.OpenAndClaim());
  ASSERT_EQ(kUsbOk, host.port->Pipe().ClearHalt());
  for (int i = 0; i < 4; ++i) host.Submitted();
  EXPECT_EQ(kUsbBusy, host.port->Pipe().Submit(*host.transfers[0]));
  EXPECT_EQ(kUsbBusy, host.port->Pipe().ClearHalt());
  EXPECT_EQ(0, host.Write(0, 1));
  for (std::uint32_t i = 0; i < 4; ++i) {
    const Completion completion = host.Next();
    EXPECT_EQ(host.transfers[i].get(), completion.transfer);
    EXPECT_EQ(TransferStatus::Completed, completion.status);
    EXPECT_EQ(4176U, completion.bytes.size());
    EXPECT_EQ(0xFFFFFFF0U + i, wire::GetHeader(completion.bytes).value().sequence);
  }
}

TEST_F(VirtualPipeTest, TransfersMayBeSubmittedAgainFromTheirCompletion) {
  Plug();
  Host host(bus);
  host.resubmissions = 50;
  ASSERT_TRUE(host.OpenAndClaim());
  host.Submitted(4096);
  host.Submitted(4096);
  EXPECT_EQ(0, host.Write(0, 1));
  std::vector<std::uint8_t> stream;
  for (int i = 0; i < 52; ++i) {
    const Completion completion = host.Next();
    EXPECT_EQ(i % 2 == 0 ? 4096U : 80U, completion.bytes.size());
    stream.insert(stream.end(), completion.bytes.begin(), completion.bytes.end());
  }
  for (std::uint32_t frame = 0; frame < 26; ++frame)
    EXPECT_EQ(0xFFFFFFF0U + frame, wire::GetHeader(std::span(stream).subspan(frame * 4176)).value().sequence);
}

TEST_F(VirtualPipeTest, ACancelledTransferEndsAsCancelled) {
  Plug();
  Host host(bus);
  ASSERT_TRUE(host.OpenAndClaim());
  BulkTransfer& first = host.Submitted();
  BulkTransfer& second = host.Submitted();
  host.port->Pipe().Cancel(second);
  Completion completion = host.Next();
  EXPECT_EQ(&second, completion.transfer);
  EXPECT_EQ(TransferStatus::Cancelled, completion.status);
  host.port->Pipe().Cancel(first);
  host.port->Pipe().Cancel(first);
  EXPECT_EQ(TransferStatus::Cancelled, host.Next().status);
  EXPECT_EQ(kUsbOk, host.port->Pipe().Submit(first));  // a cancel that came late has no effect on the next use
  EXPECT_EQ(0, host.Write(0, 1));
  EXPECT_EQ(TransferStatus::Completed, host.Next().status);
}

TEST_F(VirtualPipeTest, ACancelledTransferKeepsTheBytesItGot) {
  auto camera = MakeCamera(VirtualOptions{}, 2048, 32, 1000000000);  // a packet every 250 ms
  ASSERT_TRUE(bus->Attach(camera));
  Host host(bus);
  ASSERT_TRUE(host.OpenAndClaim());
  BulkTransfer& part = host.Submitted(1024);
  BulkTransfer& rest = host.Submitted(65536);
  for (int i = 0; i < 5; ++i) host.Write(static_cast<std::uint16_t>(0x30 + i), i == 0 ? 1 : 0);
  EXPECT_EQ(0, host.Write(0, 1));
  const Completion first = host.Next();
  EXPECT_EQ(&part, first.transfer);
  EXPECT_EQ(1024U, first.bytes.size());
  host.port->Pipe().Cancel(rest);
  const Completion second = host.Next();
  EXPECT_EQ(TransferStatus::Cancelled, second.status);
  EXPECT_LT(second.bytes.size(), 65536U);
  EXPECT_EQ(0U, second.bytes.size() % 1024);
}

TEST_F(VirtualPipeTest, UnplugEndsTransfersInFlightAndAllElse) {
  auto camera = Plug();
  Host host(bus);
  ASSERT_TRUE(host.OpenAndClaim());
  for (int i = 0; i < 8; ++i) host.Submitted();
  bus->Unplug(camera);
  for (int i = 0; i < 8; ++i) {
    const Completion completion = host.Next();
    EXPECT_EQ(host.transfers[static_cast<std::size_t>(i)].get(), completion.transfer);
    EXPECT_EQ(TransferStatus::NoDevice, completion.status);
  }
  EXPECT_EQ(kUsbNoDevice, host.Version());
  EXPECT_THAT(host.port->LastError(), HasSubstr("unplugged"));
  EXPECT_EQ(kUsbNoDevice, host.port->Pipe().Submit(*host.transfers[0]));
  EXPECT_EQ(kUsbNoDevice, host.port->Pipe().ClearHalt());
  EXPECT_EQ(kUsbNoDevice, host.port->libusb_set_configuration(host.handle, 1));
  EXPECT_TRUE(host.port->List(0xF055).empty());
  host.port->CloseDevice();
  EXPECT_FALSE(host.Open());
}

TEST_F(VirtualPipeTest, AnUnplugFaultTakesTheCameraOffTheBus) {
  auto camera = Plug();
  camera->AddFrameFault({FrameFault::Kind::Unplug, 1});
  Host host(bus);
  ASSERT_TRUE(host.OpenAndClaim());
  host.Submitted();
  host.Submitted();
  EXPECT_EQ(0, host.Write(0, 1));
  const Completion first = host.Next();
  EXPECT_EQ(TransferStatus::NoDevice, first.status);
  EXPECT_EQ(2048U, first.bytes.size());
  EXPECT_EQ(TransferStatus::NoDevice, host.Next().status);
  EXPECT_TRUE(bus->List(0xF055).empty());
}

TEST_F(VirtualPipeTest, StallsAreClearedAndTheStreamGoesOn) {
  auto camera = Plug();
  camera->AddFrameFault({FrameFault::Kind::Stall, 1});
  Host host(bus);
  ASSERT_TRUE(host.OpenAndClaim());
  host.Submitted();
  host.Submitted();
  EXPECT_EQ(0, host.Write(0, 1));
  EXPECT_EQ(TransferStatus::Stall, host.Next().status);
  EXPECT_EQ(TransferStatus::Stall, host.Next().status);
  EXPECT_EQ(kUsbOk, host.port->Pipe().ClearHalt());
  EXPECT_EQ(kUsbOk, host.port->Pipe().Submit(*host.transfers[0]));
  const Completion good = host.Next();
  EXPECT_EQ(TransferStatus::Completed, good.status);
  EXPECT_EQ(0xFFFFFFF1U, wire::GetHeader(good.bytes).value().sequence);
}

TEST_F(VirtualPipeTest, ATransferErrorHitsOneTransfer) {
  auto camera = Plug();
  camera->AddFrameFault({FrameFault::Kind::Error, 1});
  Host host(bus);
  ASSERT_TRUE(host.OpenAndClaim());
  host.Submitted();
  host.Submitted();
  EXPECT_EQ(0, host.Write(0, 1));
  EXPECT_EQ(TransferStatus::Error, host.Next().status);
  EXPECT_EQ(TransferStatus::Completed, host.Next().status);
}

TEST_F(VirtualPipeTest, ClosingWithTransfersInFlightCancelsThem) {
  Plug();
  Host host(bus);
  ASSERT_TRUE(host.OpenAndClaim());
  host.Submitted();
  host.Submitted();
  host.port->CloseDevice();
  EXPECT_EQ(TransferStatus::Cancelled, host.Next().status);
  EXPECT_EQ(TransferStatus::Cancelled, host.Next().status);
}

TEST_F(VirtualPipeTest, TwoCamerasStreamSideBySide) {
  Plug(1);
  Plug(2);
  Host first(bus);
  Host second(bus);
  ASSERT_TRUE(first.OpenAndClaim(0));
  ASSERT_TRUE(second.OpenAndClaim(1));
  EXPECT_NE(first.Serial(), second.Serial());
  for (Host* host : {&first, &second}) {
    host->resubmissions = 30;
    host->Submitted();
    host->Submitted();
    EXPECT_EQ(0, host->Write(0, 1));
  }
  for (std::uint32_t i = 0; i < 32; ++i) {
    EXPECT_EQ(0xFFFFFFF0U + i, wire::GetHeader(first.Next().bytes).value().sequence);
    EXPECT_EQ(0xFFFFFFF0U + i, wire::GetHeader(second.Next().bytes).value().sequence);
  }
}

TEST_F(VirtualPipeTest, UnplugAndReplugWhileStreamingIsSafe) {
  auto camera = Plug();
  for (int round = 0; round < 20; ++round) {
    Host host(bus);
    ASSERT_TRUE(host.OpenAndClaim());
    for (int i = 0; i < 4; ++i) host.Submitted();
    std::thread plug([&] {
      bus->Unplug(camera);
      bus->Attach(camera);
    });
    host.Write(0, 1);
    for (int i = 0; i < 4; ++i) {
      const TransferStatus status = host.Next().status;
      EXPECT_TRUE(status == TransferStatus::Completed || status == TransferStatus::NoDevice);
    }
    plug.join();
  }
}

}  // namespace
}  // namespace orq::test
