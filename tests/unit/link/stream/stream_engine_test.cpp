#include "link/stream/StreamEngine.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "FrameMaker.h"
#include "ScriptedPipe.h"
#include "support/FreeSlots.h"

namespace orq {
namespace {

using test::Bytes;
using test::MakeFrame;
using test::ScriptedPipe;

constexpr int kTransferBytes = 49152;
constexpr int kLongMs = 20000;
/// 100,080 bytes on the wire: two full transfers and a short one.
constexpr StreamFormat kFormat{.width = 500, .height = 200, .bin = 1, .format = 0};
/// 98,304 bytes on the wire: exactly two transfers.
constexpr StreamFormat kExactFormat{.width = 6139, .height = 16, .bin = 1, .format = 0};

class Streaming : public testing::Test {
 protected:
  static constexpr StreamTuning kTuning{.transfers = 4,
                                        .blocksPerTransfer = 1,
                                        .maxResyncs = 3,
                                        .clearMs = 20,
                                        .drainMs = kLongMs,
                                        .retryMs = 1,
                                        .quietMs = 0,
                                        .maxStarvedRetries = 5};

  explicit Streaming(const StreamFormat& format = kFormat, int slots = 4)
      : format_(format), ring_(format.PayloadBytes(), slots) {
    ring_.StartInstBufThr();
    Make(kTuning);
  }
  ~Streaming() override {
    if (engine_) engine_->Stop();
  }

  void Make(const StreamTuning& tuning) {
    engine_ = std::make_unique<StreamEngine>(pipe_, ring_, format_,
                                             StreamEngine::Output{[this] {
                                                                    pipe_.Log("output on");
                                                                    return outputStarts_;
                                                                  },
                                                                  [this] {
                                                                    pipe_.Log("output off");
                                                                    if (onOutputOff_) onOutputOff_();
                                                                  }},
                                             tuning);
  }
  void Start() {
    ASSERT_TRUE(engine_->Start()) << engine_->Error();
    ASSERT_EQ(pipe_.Queued(), 4);
  }

  void Send(std::uint32_t sequence) { pipe_.SendFrame(MakeFrame(format_, sequence)); }
  /// Only the first transfer of a frame.
  void SendBeginning(std::uint32_t sequence) {
    const Bytes frame = MakeFrame(format_, sequence);
    pipe_.Complete(TransferStatus::Completed, std::span(frame).first(kTransferBytes));
  }
  /// The number of the next frame that the consumer gets, its payload checked; -1 when there is none.
  std::int64_t Take() {
    ring_.WaitJudged();
    CirBuf::Frame frame;
    if (!ring_.Take(buffer_, frame, 0)) return -1;
    const std::uint32_t sequence = static_cast<std::uint32_t>(frame.marks[8]) | frame.marks[9] * 256U;
    EXPECT_EQ(frame.payloadBytes, format_.PayloadBytes());
    for (std::size_t at = 0; at < frame.payloadBytes; ++at)
      if (buffer_[at] != test::PayloadByte(sequence, at)) return -2;
    return sequence;
  }
  StreamCounters Counters() {
    ring_.WaitJudged();
    const StreamCounters c = engine_->Counters();
    EXPECT_TRUE(c.IdentityHolds());
    return c;
  }
  void Fault(TransferStatus status) {
    const int clears = pipe_.Count("clear");
    pipe_.Complete(status);
    ASSERT_TRUE(pipe_.WaitClears(clears + 1));
    ASSERT_TRUE(pipe_.WaitQueued(4));
  }
  /// Waits until the engine has given the stream up.
  bool WaitDead() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLongMs);
    while (engine_->Alive()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }

  const StreamFormat format_;
  ScriptedPipe pipe_;
  CirBuf ring_;
  std::unique_ptr<std::uint8_t[]> buffer_ = std::make_unique<std::uint8_t[]>(ring_.FrameBytes());
  bool outputStarts_ = true;
  std::function<void()> onOutputOff_;
  std::unique_ptr<StreamEngine> engine_;
};

class StreamingExactFrames : public Streaming {
 protected:
  StreamingExactFrames() : Streaming(kExactFormat) {}
};

class StreamingIntoTwoSlots : public Streaming {
 protected:
  StreamingIntoTwoSlots() : Streaming(kFormat, 2) {}
};

TEST(StreamTuning, FourDefaultPoolsShareTheUsualUsbMemory) {
  const StreamTuning tuning;
  EXPECT_EQ(tuning.transfers, 8);
  EXPECT_EQ(tuning.fewestTransfers, 2);
  EXPECT_EQ(tuning.blocksPerTransfer, 10);
  constexpr int kRecordsBytes = 2048;  // what the kernel keeps beside each buffer, at most
  EXPECT_LT(4 * tuning.transfers * (tuning.blocksPerTransfer * 49152 + kRecordsBytes), 16 * 1024 * 1024);
  EXPECT_EQ(tuning.maxResyncs, 8);
}

// Starting ---------------------------------------------------------------------------------------------------

TEST_F(Streaming, StartsByClearingThenQueueingAllThenTellingTheCameraToSend) {
  Start();
  EXPECT_EQ(pipe_.Calls(),
            (std::vector<std::string>{"clear", "submit", "submit", "submit", "submit", "output on"}));
  EXPECT_TRUE(engine_->Alive());
  EXPECT_FALSE(engine_->DeviceLost());
  EXPECT_EQ(engine_->Error(), "");
  EXPECT_EQ(Counters().inFlight, 4U);
}

/// A start that finds what another program left.
class StreamingAfterAnother : public Streaming {
 protected:
  StreamingAfterAnother() {
    tuning_.quietMs = 20;
    Make(tuning_);
  }
  /// Lets the `n`-th submission (from 1) bring this while the start still empties the pipe.
  void LeaveOver(TransferStatus status, std::size_t bytes) {
    pipe_.duringSubmit.emplace_back([] {});
    pipe_.duringSubmit.emplace_back([this, status, bytes] { pipe_.Complete(status, Bytes(bytes, 0xA5)); });
  }

  StreamTuning tuning_ = kTuning;
};

TEST_F(StreamingAfterAnother, StopsTheOutputAndEmptiesThePipeFirst) {
  Start();
  EXPECT_EQ(pipe_.Calls(), (std::vector<std::string>{"clear", "output off", "submit", "submit", "submit", "submit",
                                                     "cancel", "cancel", "cancel", "cancel", "clear", "submit",
                                                     "submit", "submit", "submit", "output on"}));
  EXPECT_EQ(Counters().inFlight, 4U);
}

TEST_F(StreamingAfterAnother, ThrowsAwayHalfAFrameThatWasInThePipe) {
  LeaveOver(TransferStatus::Completed, 5000);
  Start();
  Send(7);
  EXPECT_EQ(Take(), 7);
  const StreamCounters c = Counters();
  EXPECT_EQ(c.started, 1U);
  EXPECT_EQ(c.completed, 1U);
  EXPECT_EQ(c.bytesDiscarded, 5000U);
  EXPECT_EQ(c.bytes, 5000U + 100'080U);
}

TEST_F(StreamingAfterAnother, AHaltAndAFailedTransferAreCleared) {
  for (const TransferStatus status : {TransferStatus::Stall, TransferStatus::Error, TransferStatus::Overflow}) {
    Make(tuning_);
    LeaveOver(status, 0);
    Start();
    Send(7);
    EXPECT_EQ(Take(), 7);
    EXPECT_EQ(Counters().resyncs, 0U);
    engine_->Stop();
  }
}

TEST_F(StreamingAfterAnother, DoesNotWaitForEverForACameraThatGoesOnSending) {
  tuning_.quietMs = 500;  // in which the camera below, on however busy a computer, sends something
  tuning_.emptyingMs = 800;
  Make(tuning_);
  std::atomic<bool> sending{true};
  std::atomic<bool> tired{false};
  std::thread camera([&] {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (sending && !tired) {
      pipe_.Complete(TransferStatus::Completed, Bytes(kTransferBytes));
      tired = std::chrono::steady_clock::now() > end;
    }
  });
  EXPECT_TRUE(engine_->Start()) << engine_->Error();
  EXPECT_FALSE(tired) << "the camera stopped first";
  sending = false;
  camera.join();
  EXPECT_GT(Counters().bytesDiscarded, 0U);
}

TEST_F(StreamingAfterAnother, FailsTheStartWhenTheCameraVanishesMeanwhile) {
  LeaveOver(TransferStatus::NoDevice, 0);
  pipe_.clearResults = {kUsbOk, kUsbNoDevice};
  EXPECT_FALSE(engine_->Start());
  EXPECT_TRUE(engine_->DeviceLost());
  EXPECT_NE(engine_->Error().find("unplugged"), std::string::npos);
  EXPECT_EQ(pipe_.Alive(), 0);
}

TEST_F(Streaming, IsNotAliveBeforeTheStartAndStopIsHarmlessThen) {
  EXPECT_FALSE(engine_->Alive());
  engine_->Stop();
  EXPECT_TRUE(pipe_.Calls().empty());
}

TEST_F(Streaming, FailsTheStartWhenThereIsNoUsbMemoryAtAll) {
  pipe_.submitForEver = kUsbNoMem;
  EXPECT_FALSE(engine_->Start());
  EXPECT_NE(engine_->Error().find("usbcore.usbfs_memory_mb"), std::string::npos);
  EXPECT_EQ(pipe_.Count("output on"), 0);
  EXPECT_FALSE(engine_->Alive());
  EXPECT_EQ(pipe_.Alive(), 0);
  EXPECT_EQ(Counters().inFlight, 0U);
}

TEST_F(Streaming, FailsTheStartWhenThereIsUsbMemoryForOneTransferOnly) {
  pipe_.submitResults = {kUsbNoMem, kUsbOk, kUsbNoMem, kUsbNoMem};
  EXPECT_FALSE(engine_->Start());
  EXPECT_NE(engine_->Error().find("usbcore.usbfs_memory_mb"), std::string::npos);
  EXPECT_EQ(pipe_.Count("output on"), 0);
  EXPECT_EQ(pipe_.Alive(), 0);
  EXPECT_EQ(Counters().inFlight, 0U);
}

TEST_F(Streaming, StartsWithTheTransfersThatFoundMemoryAndGivesUpTheOthers) {
  pipe_.submitResults = {kUsbOk, kUsbNoMem, kUsbNoMem, kUsbOk};
  ASSERT_TRUE(engine_->Start());
  EXPECT_EQ(pipe_.Alive(), 2) << "their buffers are given back";
  for (std::uint32_t sequence = 1; sequence <= 4; ++sequence) {
    Send(sequence);
    EXPECT_EQ(Take(), sequence);
    EXPECT_EQ(pipe_.Queued(), 2);
  }
  EXPECT_EQ(Counters().inFlightMax, 2U);
  EXPECT_EQ(Counters().submitRetries, 0U) << "the memory that is free for a moment is another stream's";
}

TEST_F(Streaming, FailsTheStartWithALostDeviceWhenTheSystemHasTakenItAway) {
  pipe_.gone = true;
  pipe_.clearResults = {kUsbOther};
  EXPECT_FALSE(engine_->Start());
  EXPECT_TRUE(engine_->DeviceLost());
  EXPECT_NE(engine_->Error().find("unplugged"), std::string::npos);
}

TEST_F(Streaming, FailsTheStartWhenThereIsNoMemoryForTheTransfers) {
  pipe_.makeLimit = 3;
  EXPECT_FALSE(engine_->Start());
  EXPECT_NE(engine_->Error().find("not enough memory"), std::string::npos);
  EXPECT_EQ(pipe_.Count("submit"), 0);
  EXPECT_EQ(pipe_.Alive(), 0);
}

TEST_F(Streaming, FailsTheStartWhenTheEndpointCannotBeCleared) {
  pipe_.clearResults = {kUsbIo};
  EXPECT_FALSE(engine_->Start());
  EXPECT_NE(engine_->Error().find("could not be cleared"), std::string::npos);
  EXPECT_FALSE(engine_->DeviceLost());
  EXPECT_EQ(pipe_.Count("submit"), 0);
}

TEST_F(Streaming, FailsTheStartWithALostDeviceWhenItIsGoneAtTheClear) {
  pipe_.clearResults = {kUsbNoDevice};
  EXPECT_FALSE(engine_->Start());
  EXPECT_TRUE(engine_->DeviceLost());
  EXPECT_NE(engine_->Error().find("unplugged"), std::string::npos);
}

TEST_F(Streaming, FailsTheStartWithALostDeviceWhenItIsGoneAtASubmission) {
  pipe_.submitResults = {kUsbOk, kUsbOk, kUsbNoDevice};
  EXPECT_FALSE(engine_->Start());
  EXPECT_TRUE(engine_->DeviceLost());
  EXPECT_EQ(pipe_.Count("output on"), 0);
  EXPECT_EQ(pipe_.Queued(), 0);
  EXPECT_EQ(pipe_.Alive(), 0);
  EXPECT_EQ(Counters().inFlight, 0U);
}

TEST_F(Streaming, FailsTheStartWhenASubmissionFails) {
  pipe_.submitResults = {kUsbOk, kUsbIo};
  EXPECT_FALSE(engine_->Start());
  EXPECT_NE(engine_->Error().find("could not be queued"), std::string::npos);
  EXPECT_EQ(pipe_.Queued(), 0);
  EXPECT_EQ(pipe_.Alive(), 0);
}

TEST_F(Streaming, FailsTheStartAndDrainsWhenTheCameraRefusesToSend) {
  outputStarts_ = false;
  EXPECT_FALSE(engine_->Start());
  EXPECT_NE(engine_->Error().find("refused to start"), std::string::npos);
  EXPECT_EQ(pipe_.Queued(), 0);
  EXPECT_EQ(pipe_.Alive(), 0);
  EXPECT_FALSE(engine_->Alive());
}

// Delivering -------------------------------------------------------------------------------------------------

TEST_F(Streaming, DeliversFramesAcrossTransfersByteForByte) {
  Start();
  Send(1);
  Send(2);
  Send(3);
  EXPECT_EQ(Take(), 1);
  EXPECT_EQ(Take(), 2);
  EXPECT_EQ(Take(), 3);
  EXPECT_EQ(Take(), -1);
  const StreamCounters c = Counters();
  EXPECT_EQ(c.started, 3U);
  EXPECT_EQ(c.completed, 3U);
  EXPECT_EQ(c.bytes, 3U * 100080);
  EXPECT_EQ(c.bytesDiscarded, 0U);
  EXPECT_EQ(c.lost, 0U);
}

TEST_F(StreamingExactFrames, AreEndedByAZeroLengthPacket) {
  Start();
  const Bytes frame = MakeFrame(format_, 1);
  pipe_.Complete(TransferStatus::Completed, std::span(frame).first(kTransferBytes));
  pipe_.Complete(TransferStatus::Completed, std::span(frame).subspan(kTransferBytes));
  EXPECT_EQ(Take(), -1);
  EXPECT_EQ(Counters().filling, 1U);
  pipe_.Complete(TransferStatus::Completed);
  EXPECT_EQ(Take(), 1);
  Send(2);
  EXPECT_EQ(Take(), 2);
}

TEST_F(Streaming, QueuesEveryTransferAgain) {
  Start();
  for (std::uint32_t sequence = 1; sequence <= 20; ++sequence) {
    Send(sequence);
    ASSERT_EQ(pipe_.Queued(), 4);
    ASSERT_EQ(Take(), sequence);
  }
  const StreamCounters c = Counters();
  EXPECT_EQ(c.inFlight, 4U);
  EXPECT_EQ(c.inFlightMax, 4U);
}

TEST_F(StreamingIntoTwoSlots, ASlowConsumerCostsWholeFramesAndNothingElse) {
  Start();
  for (std::uint32_t sequence = 1; sequence <= 5; ++sequence) {
    Send(sequence);
    ring_.WaitJudged();
  }
  StreamCounters c = Counters();
  EXPECT_EQ(c.completed, 2U);
  EXPECT_EQ(c.dropped, 3U);
  EXPECT_EQ(c.bytesDiscarded, 3U * 100080);
  EXPECT_EQ(Take(), 1);
  EXPECT_EQ(Take(), 2);
  Send(6);
  EXPECT_EQ(Take(), 6);
  c = Counters();
  EXPECT_EQ(c.completed, 3U);
  EXPECT_EQ(c.lost, 0U) << "dropped frames did arrive";
}

TEST_F(Streaming, NeverDeliversShortLongDamagedOrRepeatedFrames) {
  Start();
  Bytes shorter = MakeFrame(format_, 2);
  shorter.resize(shorter.size() - 100);
  Bytes longer = MakeFrame(format_, 3);
  longer.resize(longer.size() + 100);
  Bytes damaged = MakeFrame(format_, 4);
  damaged[0] = 0;
  Send(1);
  pipe_.SendFrame(shorter);
  pipe_.SendFrame(longer);
  pipe_.SendFrame(damaged);
  ring_.WaitJudged();
  Send(1);
  Send(9);
  EXPECT_EQ(Take(), 1);
  EXPECT_EQ(Take(), 9);
  EXPECT_EQ(Take(), -1);
  const StreamCounters c = Counters();
  EXPECT_EQ(c.failedShort, 1U);
  EXPECT_EQ(c.failedOversize, 1U);
  EXPECT_EQ(c.failedMarks, 1U);
  EXPECT_EQ(c.failedSequence, 1U);
  EXPECT_EQ(c.lost, 4U);  // of 2 to 8 three arrived damaged
}

TEST_F(Streaming, CompletionsMayComeBeforeTheSubmissionReturns) {
  const Bytes frame = MakeFrame(format_, 1);
  for (int i = 0; i < 3; ++i) {
    pipe_.duringSubmit.push_back([this, &frame, i] {
      const std::size_t from = static_cast<std::size_t>(i) * kTransferBytes;
      const std::size_t count = std::min<std::size_t>(kTransferBytes, frame.size() - from);
      pipe_.Complete(TransferStatus::Completed, std::span(frame).subspan(from, count));
    });
  }
  Start();
  EXPECT_EQ(Take(), 1);
  const StreamCounters c = Counters();
  EXPECT_EQ(c.inFlight, 4U);
  EXPECT_LE(c.inFlightMax, 4U);
}

TEST_F(Streaming, MeasuresTheLongestGapBetweenCompletions) {
  Start();
  Send(1);
  const std::uint64_t before = Counters().longestGapUs;
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  Send(2);
  EXPECT_GE(Counters().longestGapUs, 30000U);
  EXPECT_GE(Counters().longestGapUs, before);
}

// Out of memory ----------------------------------------------------------------------------------------------

TEST_F(Streaming, ParksTransfersThatFindNoMemoryAndTriesThemAgainWhenAnotherCompletes) {
  Start();
  pipe_.submitResults = {kUsbNoMem, kUsbNoMem};
  const Bytes frame = MakeFrame(format_, 1);
  pipe_.SendPart(std::span(frame).first(2 * kTransferBytes));
  EXPECT_EQ(pipe_.Queued(), 2);
  EXPECT_EQ(Counters().inFlight, 2U);
  EXPECT_EQ(Counters().submitRetries, 0U);
  pipe_.submitResults = {kUsbOk, kUsbOk, kUsbNoMem};
  pipe_.SendFrame(std::span(frame).subspan(2 * kTransferBytes));
  EXPECT_EQ(pipe_.Queued(), 3);
  EXPECT_EQ(Counters().submitRetries, 2U);
  EXPECT_EQ(Take(), 1);
  Send(2);
  EXPECT_EQ(pipe_.Queued(), 4);
  EXPECT_EQ(Counters().submitRetries, 3U);
  EXPECT_EQ(Take(), 2);
}

TEST_F(Streaming, CountsOnlyTransfersThatWereQueuedAsInFlight) {
  pipe_.submitResults = {kUsbOk, kUsbOk, kUsbNoMem, kUsbNoMem};
  ASSERT_TRUE(engine_->Start());
  EXPECT_EQ(Counters().inFlightMax, 2U);
}

TEST_F(Streaming, ComesBackWhenEveryTransferWasParked) {
  Start();
  pipe_.submitResults = {kUsbNoMem, kUsbNoMem, kUsbNoMem, kUsbNoMem, kUsbNoMem};
  const Bytes frame = MakeFrame(format_, 1);
  pipe_.SendFrame(frame);  // three of the four transfers
  pipe_.Complete(TransferStatus::Completed);
  ASSERT_TRUE(pipe_.WaitQueued(4));
  EXPECT_EQ(Take(), 1);
  Send(2);
  EXPECT_EQ(Take(), 2);
  EXPECT_TRUE(engine_->Alive());
  EXPECT_GE(Counters().submitRetries, 4U);
}

TEST_F(Streaming, GivesUpWhenTheMemoryNeverComesBack) {
  Start();
  pipe_.submitForEver = kUsbNoMem;
  SendBeginning(1);
  for (int i = 0; i < 3; ++i) pipe_.Complete(TransferStatus::Completed, Bytes(kTransferBytes));
  ASSERT_TRUE(WaitDead());
  EXPECT_NE(engine_->Error().find("usbcore.usbfs_memory_mb"), std::string::npos);
  EXPECT_FALSE(engine_->DeviceLost());
  engine_->Stop();
  EXPECT_EQ(pipe_.Alive(), 0);
  EXPECT_EQ(Counters().filling, 0U);
}

// Faults -----------------------------------------------------------------------------------------------------

struct FaultCase {
  TransferStatus status;
  std::uint64_t StreamCounters::*counter;
};

class StreamingWithFaults : public Streaming, public testing::WithParamInterface<FaultCase> {};

TEST_P(StreamingWithFaults, FailTheFrameInWorkAndGoOnAtAFramesStart) {
  Start();
  Send(1);
  SendBeginning(2);
  Fault(GetParam().status);
  Send(3);
  EXPECT_EQ(Take(), 1);
  EXPECT_EQ(Take(), 3);
  const StreamCounters c = Counters();
  EXPECT_EQ(c.started, 3U);
  EXPECT_EQ(c.completed, 2U);
  EXPECT_EQ(c.failed, 1U);
  EXPECT_EQ(c.*GetParam().counter, 1U);
  EXPECT_EQ(c.haltsCleared, 1U);
  EXPECT_EQ(c.resyncs, 1U);
  EXPECT_EQ(c.lost, 0U);
  EXPECT_EQ(pipe_.Count("clear while in flight"), 0);
  EXPECT_EQ(pipe_.Count("output on"), 1);
  EXPECT_TRUE(engine_->Alive());
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, StreamingWithFaults,
                         testing::Values(FaultCase{TransferStatus::Stall, &StreamCounters::failedStalled},
                                         FaultCase{TransferStatus::Error, &StreamCounters::failedTransport},
                                         FaultCase{TransferStatus::TimedOut, &StreamCounters::failedTimedOut},
                                         FaultCase{TransferStatus::Overflow, &StreamCounters::failedTransport},
                                         FaultCase{TransferStatus::Cancelled, &StreamCounters::failedTransport}));

TEST_F(Streaming, AFaultBetweenFramesFailsNoFrame) {
  Start();
  Send(1);
  Fault(TransferStatus::Stall);
  Send(2);
  EXPECT_EQ(Take(), 1);
  EXPECT_EQ(Take(), 2);
  const StreamCounters c = Counters();
  EXPECT_EQ(c.failed, 0U);
  EXPECT_EQ(c.resyncs, 1U);
}

TEST_F(Streaming, BytesOfAFailedTransferBelongToTheFrameInWork) {
  Start();
  SendBeginning(1);
  pipe_.Complete(TransferStatus::Error, Bytes(1000));
  ASSERT_TRUE(pipe_.WaitClears(2));
  ASSERT_TRUE(pipe_.WaitQueued(4));
  const StreamCounters c = Counters();
  EXPECT_EQ(c.bytes, 49152U + 1000);
  EXPECT_EQ(c.bytesDiscarded, 0U);
  EXPECT_EQ(c.started, 1U);
  EXPECT_EQ(c.failedTransport, 1U);
}

TEST_F(Streaming, AFaultInTheFirstTransferOfAFrameFailsThatFrame) {
  Start();
  Send(1);
  pipe_.Complete(TransferStatus::Stall, Bytes(1024));
  ASSERT_TRUE(pipe_.WaitClears(2));
  ASSERT_TRUE(pipe_.WaitQueued(4));
  Send(3);
  EXPECT_EQ(Take(), 1);
  EXPECT_EQ(Take(), 3);
  const StreamCounters c = Counters();
  EXPECT_EQ(c.started, 3U);
  EXPECT_EQ(c.completed, 2U);
  EXPECT_EQ(c.failedStalled, 1U);
  EXPECT_EQ(c.lost, 0U);
  EXPECT_TRUE(c.IdentityHolds());
}

TEST_F(Streaming, TransfersThatCompleteWhileItDrainsAreDiscardedAndNotQueuedAgain) {
  Start();
  SendBeginning(1);
  pipe_.onCancel = ScriptedPipe::CancelMode::Hold;
  pipe_.Complete(TransferStatus::Stall);
  ASSERT_TRUE(pipe_.WaitCancelled(3));
  const Bytes frame = MakeFrame(format_, 2);
  pipe_.ReleaseCancelled(TransferStatus::Completed, std::span(frame).first(500));
  ASSERT_TRUE(pipe_.WaitQueued(4));
  EXPECT_EQ(pipe_.Count("clear while in flight"), 0);
  EXPECT_EQ(Counters().bytesDiscarded, 3U * 500);
  EXPECT_EQ(Counters().started, 1U);
  pipe_.onCancel = ScriptedPipe::CancelMode::AtOnce;
  Send(3);
  EXPECT_EQ(Take(), 3);
}

TEST_F(Streaming, ASubmissionThatFailsIsAFault) {
  Start();
  pipe_.submitResults = {kUsbIo};
  SendBeginning(1);
  ASSERT_TRUE(pipe_.WaitClears(2));
  ASSERT_TRUE(pipe_.WaitQueued(4));
  EXPECT_EQ(Counters().failedTransport, 1U);
  Send(2);
  EXPECT_EQ(Take(), 2);
}

TEST_F(Streaming, GivesUpAfterTooManyResyncsInARow) {
  Start();
  for (int i = 0; i < 3; ++i) {
    SendBeginning(1);
    Fault(TransferStatus::Stall);
  }
  EXPECT_TRUE(engine_->Alive());
  pipe_.Complete(TransferStatus::Stall);
  ASSERT_TRUE(WaitDead());
  EXPECT_EQ(Counters().resyncs, 3U);
  EXPECT_FALSE(engine_->DeviceLost());
  EXPECT_NE(engine_->Error().find("another cable or port"), std::string::npos);
  engine_->Stop();
  EXPECT_EQ(pipe_.Alive(), 0);
}

TEST_F(Streaming, AGoodFrameStartsTheCountOfResyncsAnew) {
  Start();
  for (std::uint32_t sequence = 1; sequence <= 8; ++sequence) {
    Fault(TransferStatus::Stall);
    Send(sequence);
    ASSERT_EQ(Take(), sequence);
  }
  EXPECT_TRUE(engine_->Alive());
  EXPECT_EQ(Counters().resyncs, 8U);
}

TEST_F(Streaming, TriesAClearThatFailedAgain) {
  Start();
  pipe_.clearResults = {kUsbIo, kUsbTimeout};
  pipe_.Complete(TransferStatus::Stall);
  ASSERT_TRUE(pipe_.WaitClears(4));
  ASSERT_TRUE(pipe_.WaitQueued(4));
  EXPECT_EQ(Counters().haltsCleared, 1U);
  Send(1);
  EXPECT_EQ(Take(), 1);
}

TEST_F(Streaming, GivesUpWhenTheHaltCannotBeCleared) {
  Start();
  pipe_.clearForEver = kUsbIo;
  pipe_.Complete(TransferStatus::Stall);
  // The start's clear went well before.
  ASSERT_TRUE(WaitDead());
  EXPECT_EQ(Counters().haltsCleared, 0U);
  EXPECT_FALSE(engine_->DeviceLost());
  EXPECT_NE(engine_->Error().find("could not be cleared"), std::string::npos);
}

// Unplug -----------------------------------------------------------------------------------------------------

TEST_F(Streaming, AnUnplugEndsTheStreamAtOnceAndForGood) {
  Start();
  SendBeginning(1);
  pipe_.Complete(TransferStatus::NoDevice);
  EXPECT_FALSE(engine_->Alive());
  EXPECT_TRUE(engine_->DeviceLost());
  EXPECT_NE(engine_->Error().find("unplugged"), std::string::npos);
  ASSERT_TRUE(pipe_.WaitQueued(0));
  engine_->Stop();
  const StreamCounters c = Counters();
  EXPECT_EQ(c.failedTransport, 1U);
  EXPECT_EQ(c.filling, 0U);
  EXPECT_EQ(c.inFlight, 0U);
  EXPECT_EQ(pipe_.Count("clear"), 1);
  EXPECT_EQ(pipe_.Alive(), 0);
  EXPECT_FALSE(engine_->Alive());
  EXPECT_TRUE(engine_->DeviceLost());
}

TEST_F(Streaming, AnUnplugSeenByASubmissionEndsTheStreamToo) {
  Start();
  pipe_.submitForEver = kUsbNoDevice;
  SendBeginning(1);
  EXPECT_FALSE(engine_->Alive());
  EXPECT_TRUE(engine_->DeviceLost());
}

TEST_F(Streaming, AnUnplugSeenByTheClearOrWhileDrainingEndsTheStreamToo) {
  Start();
  pipe_.clearResults = {kUsbNoDevice};
  pipe_.Complete(TransferStatus::Stall);
  ASSERT_TRUE(WaitDead());
  EXPECT_TRUE(engine_->DeviceLost());
  engine_->Stop();

  Make(kTuning);
  Start();
  SendBeginning(1);
  pipe_.onCancel = ScriptedPipe::CancelMode::Hold;
  pipe_.Complete(TransferStatus::Stall);
  ASSERT_TRUE(pipe_.WaitCancelled(3));
  pipe_.ReleaseCancelled(TransferStatus::NoDevice);
  EXPECT_FALSE(engine_->Alive());
  EXPECT_TRUE(engine_->DeviceLost());
  engine_->Stop();
  EXPECT_EQ(Counters().failed, 1U);
}

// What the kernel answers while it takes a device away that is still plugged in: its transfers end as if they were
// short, nothing can be queued or cleared, and no call says that the device is gone.
TEST_F(Streaming, ADeviceThatIsNoLongerAuthorisedIsLost) {
  for (const UsbError clear : {kUsbOther, kUsbNotFound, kUsbIo, kUsbPipe}) {
    Make(kTuning);
    Start();
    SendBeginning(1);
    pipe_.gone = true;
    pipe_.submitForEver = kUsbIo;
    pipe_.clearForEver = clear;
    while (pipe_.Complete(TransferStatus::Completed)) {
    }
    ASSERT_TRUE(WaitDead());
    EXPECT_TRUE(engine_->DeviceLost()) << clear;
    EXPECT_NE(engine_->Error().find("unplugged"), std::string::npos) << engine_->Error();
    engine_->Stop();
    EXPECT_EQ(Counters().completed, 0U);
    EXPECT_TRUE(Counters().IdentityHolds());
    pipe_.gone = false;
    pipe_.submitForEver = pipe_.clearForEver = kUsbOk;
  }
}

// A cable that is pulled breaks transfers some time before the hub tells of it.
TEST_F(Streaming, TransfersThatFailBeforeTheUnplugIsKnownEndInALostDevice) {
  StreamTuning patient = kTuning;
  patient.clearMs = kLongMs;
  Make(patient);
  Start();
  SendBeginning(1);
  pipe_.submitForEver = kUsbIo;
  pipe_.clearForEver = kUsbOther;
  pipe_.Complete(TransferStatus::Error);
  ASSERT_TRUE(pipe_.WaitClears(6));
  EXPECT_TRUE(engine_->Alive());
  pipe_.gone = true;
  ASSERT_TRUE(WaitDead());
  EXPECT_TRUE(engine_->DeviceLost());
  EXPECT_NE(engine_->Error().find("unplugged"), std::string::npos) << engine_->Error();
}

TEST_F(Streaming, ADeviceThatBreaksDownUntilItIsGoneIsLost) {
  Start();
  for (int i = 0; i < 3; ++i) {
    SendBeginning(1);
    Fault(TransferStatus::Error);
  }
  pipe_.gone = true;
  pipe_.Complete(TransferStatus::Error);
  ASSERT_TRUE(WaitDead());
  EXPECT_TRUE(engine_->DeviceLost());
}

// Stopping ---------------------------------------------------------------------------------------------------

TEST_F(Streaming, StopsByTellingTheCameraThenCancellingAndReturnsTheFrameInWork) {
  Start();
  Send(1);
  SendBeginning(2);
  engine_->Stop();
  const auto calls = pipe_.Calls();
  const auto off = std::find(calls.begin(), calls.end(), "output off");
  ASSERT_NE(off, calls.end());
  EXPECT_EQ(std::count(calls.begin(), off, "cancel"), 0);
  EXPECT_EQ(std::count(off, calls.end(), "cancel"), 4);
  EXPECT_EQ(std::count(off, calls.end(), "submit"), 0);
  EXPECT_EQ(pipe_.Alive(), 0);
  const StreamCounters c = Counters();
  EXPECT_EQ(c.aborted, 1U);
  EXPECT_EQ(c.completed, 1U);
  EXPECT_EQ(c.inFlight, 0U);
  EXPECT_EQ(c.filling, 0U);
  EXPECT_EQ(Take(), 1);
  EXPECT_EQ(test::FreeSlots(ring_), ring_.Count());
  EXPECT_FALSE(engine_->Alive());
  EXPECT_EQ(engine_->Error(), "");
}

TEST_F(Streaming, AFrameThatTheCameraEndsEarlyBecauseOfTheStopIsAborted) {
  onOutputOff_ = [this] { pipe_.Complete(TransferStatus::Completed, Bytes(100)); };
  Start();
  Send(1);
  SendBeginning(2);
  engine_->Stop();
  const StreamCounters c = Counters();
  EXPECT_EQ(c.aborted, 1U);
  EXPECT_EQ(c.failed, 0U);
}

TEST_F(Streaming, StoppingTwiceIsHarmless) {
  Start();
  engine_->Stop();
  const auto calls = pipe_.Calls();
  engine_->Stop();
  EXPECT_EQ(pipe_.Calls(), calls);
}

TEST_F(Streaming, StopWaitsForTransfersThatAreCancelledLate) {
  Start();
  SendBeginning(1);
  pipe_.onCancel = ScriptedPipe::CancelMode::Hold;
  std::atomic<bool> stopped{false};
  std::thread stopper([&] {
    engine_->Stop();
    stopped = true;
  });
  ASSERT_TRUE(pipe_.WaitCancelled(4));
  EXPECT_FALSE(stopped);
  EXPECT_EQ(pipe_.Alive(), 4);
  pipe_.ReleaseCancelled(TransferStatus::Completed, Bytes(10));
  stopper.join();
  EXPECT_EQ(pipe_.Alive(), 0);
  EXPECT_EQ(Counters().aborted, 1U);
}

TEST_F(Streaming, StopsInTheMiddleOfAMend) {
  Start();
  pipe_.onCancel = ScriptedPipe::CancelMode::Hold;
  pipe_.Complete(TransferStatus::Stall);
  ASSERT_TRUE(pipe_.WaitCancelled(3));
  std::thread stopper([&] { engine_->Stop(); });
  pipe_.ReleaseCancelled();
  // When the mend won the race, the transfers it queued are cancelled in their turn.
  pipe_.onCancel = ScriptedPipe::CancelMode::AtOnce;
  while (pipe_.Alive() != 0) {
    pipe_.ReleaseCancelled();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  stopper.join();
  EXPECT_EQ(Counters().inFlight, 0U);
}

TEST_F(Streaming, StopsFromTheDestructor) {
  Start();
  engine_.reset();
  EXPECT_EQ(pipe_.Alive(), 0);
  EXPECT_EQ(pipe_.Count("output off"), 1);
}

TEST_F(Streaming, CountsFramesThatAStoppedRingNeverJudgedAsAborted) {
  Start();
  ring_.StopInstBufThr();
  Send(1);
  engine_->Stop();
  const StreamCounters c = Counters();
  EXPECT_EQ(c.aborted, 1U);
  EXPECT_EQ(c.filling, 0U);
  ring_.StartInstBufThr();
  EXPECT_EQ(Take(), -1);
}

TEST(StuckTransfers, AreGivenUpAndMayCompleteWhenEverythingElseIsGone) {
  // Never freed, like the transfers: the kernel may write to them at any time.
  static auto* const pipe = new ScriptedPipe;
  pipe->onCancel = ScriptedPipe::CancelMode::Hold;
  {
    CirBuf ring(kFormat.PayloadBytes(), 2);
    ring.StartInstBufThr();
    StreamEngine engine(*pipe, ring, kFormat, {[] { return true; }, [] {}},
                        {.transfers = 2, .blocksPerTransfer = 1, .drainMs = 20, .quietMs = 0});
    ASSERT_TRUE(engine.Start());
    pipe->Complete(TransferStatus::Completed, Bytes(kTransferBytes));
    engine.Stop();
    EXPECT_NE(engine.Error().find("did not end"), std::string::npos);
    EXPECT_EQ(engine.Counters().aborted, 1U);
    EXPECT_EQ(test::FreeSlots(ring), ring.Count());
  }
  EXPECT_EQ(pipe->Alive(), 2);
  pipe->ReleaseCancelled(TransferStatus::Completed, Bytes(100));
  EXPECT_EQ(pipe->Queued(), 0);
}

TEST(StuckTransfers, WhileThePipeIsEmptiedFailTheStartBeforeTheCameraSends) {
  static auto* const pipe = new ScriptedPipe;  // never freed, as above
  pipe->onCancel = ScriptedPipe::CancelMode::Hold;
  bool outputOn = false;
  {
    CirBuf ring(kFormat.PayloadBytes(), 2);
    StreamEngine engine(*pipe, ring, kFormat, {[&] { return outputOn = true; }, [] {}},
                        {.transfers = 2, .blocksPerTransfer = 1, .drainMs = 20, .quietMs = 1});
    EXPECT_FALSE(engine.Start());
    EXPECT_NE(engine.Error().find("did not end"), std::string::npos);
    EXPECT_FALSE(outputOn);
    EXPECT_FALSE(engine.Alive());
  }
  EXPECT_EQ(pipe->Alive(), 2);
  EXPECT_EQ(pipe->Count("clear"), 1);
  pipe->ReleaseCancelled();
  EXPECT_EQ(pipe->Queued(), 0);
}

// All at once ------------------------------------------------------------------------------------------------

TEST_F(StreamingIntoTwoSlots, TheIdentityHoldsAtEveryMomentOfABusyStream) {
  Start();
  std::atomic<bool> over{false};
  std::thread reader([&] {
    while (!over) {
      const StreamCounters c = engine_->Counters();
      ASSERT_TRUE(c.IdentityHolds());
      ASSERT_LE(c.inFlightMax, 4U);
    }
  });
  std::thread consumer([&] {
    auto buffer = std::make_unique<std::uint8_t[]>(ring_.FrameBytes());
    CirBuf::Frame frame;
    while (!over) ring_.Take(buffer, frame, 1);
  });
  std::uint64_t sent = 0;
  for (std::uint32_t sequence = 1; sequence <= 300; ++sequence) {
    if (sequence % 50 == 0) {
      SendBeginning(sequence);
      Fault(TransferStatus::Stall);
    } else {
      Send(sequence);
    }
    ++sent;
  }
  over = true;
  reader.join();
  consumer.join();
  const StreamCounters c = Counters();
  EXPECT_EQ(c.started, sent);
  EXPECT_EQ(c.resyncs, 6U);
  EXPECT_EQ(c.lost, 0U);
  EXPECT_EQ(c.filling, 0U);
  EXPECT_GT(c.completed, 0U);
}

}  // namespace
}  // namespace orq
