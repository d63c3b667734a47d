#include "support/TextSink.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace orq {
namespace {

/// Leaves no sink behind.
class Text : public testing::Test {
 protected:
  ~Text() override { SetTextSink({}); }

  struct Streams {
    std::string output, error;
  };
  /// What `print` sends to the two descriptors.
  template <class Print>
  static Streams Captured(Print print) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    print();
    const std::string output = testing::internal::GetCapturedStdout();
    return {output, testing::internal::GetCapturedStderr()};
  }
};

void PrintBoth() {
  PrintText(TextStream::Output, "bmpheader size=14\n");
  PrintText(TextStream::Error, "uname: Bad address\n");
}

TEST_F(Text, GoesToTheStandardStreamsUnlessSomebodyTakesIt) {
  const Streams streams = Captured(PrintBoth);
  EXPECT_EQ(streams.output, "bmpheader size=14\n");
  EXPECT_EQ(streams.error, "uname: Bad address\n");
}

TEST_F(Text, GoesToTheSinkWithTheStreamItWasMeantFor) {
  std::string output;
  std::string error;
  SetTextSink(
      [&](TextStream stream, std::string_view text) { (stream == TextStream::Output ? output : error) += text; });
  const Streams streams = Captured(PrintBoth);
  EXPECT_EQ(streams.output + streams.error, "");
  EXPECT_EQ(output, "bmpheader size=14\n");
  EXPECT_EQ(error, "uname: Bad address\n");
}

TEST_F(Text, IsDroppedWhereNobodyWantsIt) {
  SetTextSink(DropText);
  const Streams streams = Captured(PrintBoth);
  EXPECT_EQ(streams.output + streams.error, "");
}

TEST_F(Text, GoesToTheStandardStreamsAgainOnceTheSinkIsTakenAway) {
  SetTextSink(DropText);
  SetTextSink({});
  EXPECT_EQ(Captured(PrintBoth).error, "uname: Bad address\n");
}

TEST_F(Text, OfASinkItselfIsDropped) {
  int calls = 0;
  SetTextSink([&](TextStream, std::string_view) {
    ++calls;
    PrintText(TextStream::Error, "again\n");
  });
  EXPECT_EQ(Captured([] { PrintText(TextStream::Error, "once\n"); }).error, "");
  PrintText(TextStream::Error, "once more\n");
  EXPECT_EQ(calls, 2);
}

TEST_F(Text, LeavesTheCallersErrorNumberAlone) {
  SetTextSink([](TextStream, std::string_view) { errno = EIO; });
  errno = ENOENT;
  PrintText(TextStream::Error, "a line\n");
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(Text, SinkIsNoLongerCalledOnceItIsReplaced) {
  std::atomic<bool> inside{false};
  std::atomic<bool> leave{false};
  SetTextSink([&](TextStream, std::string_view) {
    inside = true;
    while (!leave) std::this_thread::yield();
  });
  std::thread printing([] { PrintText(TextStream::Error, "a line\n"); });
  while (!inside) std::this_thread::yield();
  std::atomic<bool> replaced{false};
  std::thread replacing([&] {
    SetTextSink(DropText);
    replaced = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(replaced) << "while a thread was in the sink";
  leave = true;
  replacing.join();
  printing.join();
  EXPECT_TRUE(replaced);
}

TEST_F(Text, SinkThatHoldsSomethingLetsItGo) {
  const auto held = std::make_shared<int>(0);
  SetTextSink([held](TextStream, std::string_view) {});
  EXPECT_EQ(held.use_count(), 2);
  SetTextSink({});
  EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
}  // namespace orq
