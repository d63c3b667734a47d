#include "support/DbgPrint.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include "support/ORQLog.h"
#include "unit/support/DebugLogFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using DbgPrintTest = DebugLogFixture;

/// Puts another descriptor in the place of standard error; -1 closes it.
class StandardErrorReplaced {
 public:
  explicit StandardErrorReplaced(int descriptor) : saved_(::dup(STDERR_FILENO)) {
    descriptor >= 0 ? ::dup2(descriptor, STDERR_FILENO) : ::close(STDERR_FILENO);
  }
  ~StandardErrorReplaced() {
    ::dup2(saved_, STDERR_FILENO);
    ::close(saved_);
  }
  StandardErrorReplaced(const StandardErrorReplaced&) = delete;
  StandardErrorReplaced& operator=(const StandardErrorReplaced&) = delete;

 private:
  int saved_;
};

TEST_F(DbgPrintTest, OffWritesNothingAnywhere) {
  g_bDebugPrint = false;
  DbgPrint(-1, "OpenCamera", "open camera success\n");
  EXPECT_THAT(TakeStandardError(), IsEmpty());
  EXPECT_THAT(LogFileTexts(), IsEmpty());
}

TEST_F(DbgPrintTest, WritesTheShortPrefixAndTheMessageToBothPlaces) {
  DbgPrint(-1, "OpenCamera", "open camera success\n");
  const std::string line = Prefix("OpenCamera") + "open camera success";
  EXPECT_EQ(TakeStandardError(), line + '\n');
  EXPECT_THAT(LogFileTexts(), ElementsAre(line));
}

TEST_F(DbgPrintTest, AHandleAboveZeroStandsInHexadecimalBeforeTheName) {
  DbgPrint(0x1F, "SetGain", "gain %d\n", 7);
  DbgPrint(1, "SetGain", "\n");
  EXPECT_EQ(TakeStandardError(), Prefix("1F::SetGain") + "gain 7\n" + Prefix("1::SetGain") + '\n');
}

TEST_F(DbgPrintTest, HandleZeroHasTheShortPrefix) {
  DbgPrint(0, "SetGain", "text\n");
  EXPECT_EQ(TakeStandardError(), Prefix("SetGain") + "text\n");
}

TEST_F(DbgPrintTest, NamesTheCallingThread) {
  std::string expected;
  std::thread other([&expected] {
    expected = Prefix("Worker") + "text\n";
    DbgPrint(-1, "Worker", "text\n");
  });
  other.join();
  EXPECT_EQ(TakeStandardError(), expected);
  EXPECT_NE(expected, Prefix("Worker") + "text\n");
}

TEST_F(DbgPrintTest, AMessageWithoutNewlineGoesUnchangedToTheLogFile) {
  DbgPrint(-1, "F", "no newline");
  EXPECT_EQ(TakeStandardError(), Prefix("F") + "no newline");
  EXPECT_THAT(LogFileTexts(), ElementsAre(Prefix("F") + "no newline"));
}

TEST_F(DbgPrintTest, OnlyTheLastNewlineIsKeptFromTheLogFile) {
  DbgPrint(-1, "F", "two\n\n");
  EXPECT_EQ(TakeStandardError(), Prefix("F") + "two\n\n");
  EXPECT_THAT(LogFileTexts(), ElementsAre(Prefix("F") + "two", "(no stamp) "));
}

TEST_F(DbgPrintTest, AnEmptyMessageLeavesThePrefix) {
  DbgPrint(-1, "F", "%s", "");
  EXPECT_EQ(TakeStandardError(), Prefix("F"));
  EXPECT_THAT(LogFileTexts(), ElementsAre(Prefix("F")));
}

TEST_F(DbgPrintTest, ALongMessageIsCutAt255Characters) {
  const std::string message(300, 'm');
  DbgPrint(-1, "F", "%s\n", message.c_str());
  const std::string line = (Prefix("F") + message).substr(0, 255);
  EXPECT_EQ(TakeStandardError(), line);
  EXPECT_THAT(LogFileTexts(), ElementsAre(line));
}

TEST_F(DbgPrintTest, ALineOf255CharactersKeepsItsNewlineAndOneMoreLosesIt) {
  const std::string fits(255 - 1 - Prefix("F").size(), 'm');
  DbgPrint(-1, "F", "%s\n", fits.c_str());
  EXPECT_EQ(TakeStandardError(), Prefix("F") + fits + '\n');
  DbgPrint(-1, "F", "%sm\n", fits.c_str());
  EXPECT_EQ(TakeStandardError(), Prefix("F") + fits + 'm');
  EXPECT_THAT(LogFileTexts(), ElementsAre(Prefix("F") + fits, Prefix("F") + fits + 'm'));
}

TEST_F(DbgPrintTest, ANameLongerThanTheLineLeavesNoRoomForTheMessage) {
  const std::string name(1000, 'f');
  DbgPrint(-1, name.c_str(), "message %d\n", 1);
  DbgPrint(5, name.c_str(), "message %d\n", 2);
  EXPECT_EQ(TakeStandardError(), Prefix(name).substr(0, 255) + Prefix("5::" + name).substr(0, 255));
}

TEST_F(DbgPrintTest, ANameThatFillsTheLineExactlyLeavesNoRoomForTheMessage) {
  const std::string name(255 - Prefix("").size(), 'f');
  DbgPrint(-1, name.c_str(), "message\n");
  EXPECT_EQ(TakeStandardError(), Prefix(name));
}

TEST_F(DbgPrintTest, ArgumentsAreNotTakenForFormats) {
  DbgPrint(-1, "F", "%s\n", "100%s%n");
  EXPECT_EQ(TakeStandardError(), Prefix("F") + "100%s%n\n");
  EXPECT_THAT(LogFileTexts(), ElementsAre(Prefix("F") + "100%s%n"));
}

TEST_F(DbgPrintTest, LeavesTheCallersErrorNumber) {
  const StandardErrorReplaced closed(-1);  // so that writing fails with an error number of its own
  errno = EXDEV;
  DbgPrint(-1, "F", "text\n");
  EXPECT_EQ(errno, EXDEV);
}

TEST_F(DbgPrintTest, RaisesThePriorityOfTheLog) {
  ORQLog::get_instance().setPriority(0);
  DbgPrint(-1, "F", "text\n");
  EXPECT_THAT(LogFileTexts(), ElementsAre(Prefix("F") + "text"));
}

TEST_F(DbgPrintTest, ALineIsWrittenToStandardErrorAtOnce) {
  std::array<int, 2> sockets{};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM, 0, sockets.data()), 0);
  {
    const StandardErrorReplaced replaced(sockets[0]);
    DbgPrint(-1, "F", "%d and %s\n", 1, "two");
  }
  std::array<char, 512> datagram{};
  const ssize_t length = ::recv(sockets[1], datagram.data(), datagram.size(), MSG_DONTWAIT);
  EXPECT_EQ(std::string(datagram.data()), Prefix("F") + "1 and two\n");
  EXPECT_EQ(static_cast<std::size_t>(length), Prefix("F").size() + 10) << "no terminator is written";
  ::close(sockets[0]);
  ::close(sockets[1]);
}

TEST_F(DbgPrintTest, WithoutStandardErrorTheLogFileStillGetsTheLine) {
  {
    const StandardErrorReplaced closed(-1);
    DbgPrint(-1, "F", "text\n");
  }
  EXPECT_THAT(LogFileTexts(), ElementsAre(Prefix("F") + "text"));
}

TEST_F(DbgPrintTest, LinesOfSeveralThreadsDoNotMix) {
  constexpr int kThreads = 4;
  constexpr int kLines = 100;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      const std::string text(80, static_cast<char>('a' + t));
      for (int i = 0; i < kLines; ++i) DbgPrint(-1, "Worker", "%s\n", text.c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();

  std::istringstream lines(TakeStandardError());
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    const std::size_t text = line.find("Worker]: ") + 9;
    ASSERT_THAT(line.substr(text), SizeIs(80)) << line;
    ASSERT_EQ(line.find_first_not_of(line[text], text), std::string::npos) << line;
  }
  EXPECT_EQ(count, kThreads * kLines);
  EXPECT_THAT(LogFileTexts(), SizeIs(kThreads * kLines));
}

TEST_F(DbgPrintTest, TheLogFilesPathIsThatOfTheLog) {
  std::array<char, 4096> path{};
  EXPECT_EQ(ORQGetDebugLogPath(path.data()), 1);
  EXPECT_EQ(std::string(path.data()), std::string(std::getenv("XDG_STATE_HOME")) + "/orqcam/orqcam.log");
}

}  // namespace
