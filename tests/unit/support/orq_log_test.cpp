#include "support/ORQLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "unit/support/TempDirectory.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

constexpr std::uintmax_t kMiB = 1048576;
constexpr std::size_t kStampedPrefix = 30;  // "2026-01-31T23:59:59.123Z INFO "

std::vector<std::string> LinesOf(const fs::path& file) {
  std::ifstream in(file);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> TextsOf(const fs::path& file) {
  std::vector<std::string> texts;
  for (const std::string& line : LinesOf(file)) texts.push_back(line.substr(kStampedPrefix));
  return texts;
}

std::string PathOf(const ORQLog& log) {
  std::array<char, 4096> path{};
  path.fill('x');
  log.getLogPath(path.data());
  return path.data();
}

std::set<std::string> NamesIn(const fs::path& directory) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) names.insert(entry.path().filename());
  return names;
}

class ORQLogTest : public testing::Test {
 protected:
  const TempDirectory temp;
  const fs::path directory = temp.Path() / "state" / "orqcam";
  const fs::path file = directory / "orqcam.log";
};

TEST_F(ORQLogTest, ALineHoldsUtcTimeLevelAndText) {
  ORQLog log(directory);
  const std::time_t before = std::time(nullptr);
  log.info("open camera success");
  const std::time_t after = std::time(nullptr);

  const auto lines = LinesOf(file);
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_THAT(lines[0], MatchesRegex("[0-9T:-]{19}\\.[0-9]{3}Z INFO open camera success"));
  std::tm utc{};
  const char* rest = strptime(lines[0].c_str(), "%Y-%m-%dT%H:%M:%S", &utc);
  ASSERT_NE(rest, nullptr);
  EXPECT_EQ(*rest, '.');
  EXPECT_GE(timegm(&utc), before);
  EXPECT_LE(timegm(&utc), after);
}

TEST_F(ORQLogTest, TextIsNeverTakenForAFormat) {
  ORQLog log(directory);
  log.info("100%s of %n and %%");
  EXPECT_THAT(TextsOf(file), ElementsAre("100%s of %n and %%"));
}

TEST_F(ORQLogTest, TextIsCutAt4096Bytes) {
  ORQLog log(directory);
  log.info(std::string(4097, 'a').c_str());
  log.info(std::string(4096, 'b').c_str());
  EXPECT_THAT(TextsOf(file), ElementsAre(std::string(4096, 'a'), std::string(4096, 'b')));
}

TEST_F(ORQLogTest, PriorityBelowInfoSilencesTheLog) {
  ORQLog log(directory);
  log.info("at first");
  log.setPriority(599);
  log.info("silenced");
  log.setPriority(600);
  log.info("at info");
  log.setPriority(700);
  log.info("at debug");
  EXPECT_THAT(TextsOf(file), ElementsAre("at first", "at info", "at debug"));
}

TEST_F(ORQLogTest, AskingForThePathLeavesNoTraceOnTheDisk) {
  const ORQLog log(directory);
  EXPECT_EQ(PathOf(log), file.string());
  EXPECT_FALSE(fs::exists(directory.parent_path()));
}

TEST_F(ORQLogTest, ASilencedLineLeavesNoTraceOnTheDisk) {
  ORQLog log(directory);
  log.setPriority(0);
  log.info("silenced");
  EXPECT_FALSE(fs::exists(directory.parent_path()));
}

TEST_F(ORQLogTest, TheFirstLineMakesADirectoryThatIsTheUsersOwn) {
  ORQLog log(directory);
  log.info("text");
  struct stat status {};
  ASSERT_EQ(::stat(directory.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(ORQLogTest, ALaterLogContinuesTheFile) {
  ORQLog(directory).info("first night");
  ORQLog(directory).info("second night");
  EXPECT_THAT(TextsOf(file), ElementsAre("first night", "second night"));
}

TEST_F(ORQLogTest, KeepsAtMostOneMebibyteAndThreeOlderFiles) {
  ORQLog log(directory);
  const std::string filling(4000, '.');
  constexpr int kLines = 1400;  // 5.6 MB: more than the four files can hold
  for (int i = 0; i < kLines; ++i) log.info((std::to_string(i) + ' ' + filling).c_str());

  ASSERT_THAT(NamesIn(directory), ElementsAre("orqcam.log", "orqcam.log.1", "orqcam.log.2", "orqcam.log.3"));
  int expected = kLines;
  for (const char* name : {"orqcam.log", "orqcam.log.1", "orqcam.log.2", "orqcam.log.3"}) {
    EXPECT_LE(fs::file_size(directory / name), kMiB);
    const auto texts = TextsOf(directory / name);
    for (auto text = texts.rbegin(); text != texts.rend(); ++text) ASSERT_EQ(std::stoi(*text), --expected) << name;
  }
  EXPECT_GT(kLines - expected, 3 * 250) << "three full files of 4 kB lines";
}

TEST_F(ORQLogTest, TheLongestLinesStayWithinTheLimitToo) {
  ORQLog log(directory);
  const std::string longest(5000, '.');
  for (int i = 0; i < 600; ++i) log.info(longest.c_str());
  for (const std::string& name : NamesIn(directory)) EXPECT_LE(fs::file_size(directory / name), kMiB) << name;
  EXPECT_TRUE(fs::exists(directory / "orqcam.log.1"));
}

TEST_F(ORQLogTest, ADirectoryThatCannotBeMadeIsNoFailure) {
  const fs::path blocked = temp.Path() / "file";
  std::ofstream(blocked) << "a file where the directory should be";
  ORQLog log(blocked / "orqcam");
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_NO_THROW(log.info("lost"));
  EXPECT_NO_THROW(log.info("lost as well"));
  EXPECT_THAT(testing::internal::GetCapturedStdout(), IsEmpty());
  EXPECT_THAT(testing::internal::GetCapturedStderr(), IsEmpty());
  EXPECT_EQ(PathOf(log), (blocked / "orqcam/orqcam.log").string());
  EXPECT_TRUE(fs::is_regular_file(blocked));
}

TEST_F(ORQLogTest, AFullDiskIsNoFailure) {
  fs::create_directories(directory);
  fs::create_symlink("/dev/full", file);
  ORQLog log(directory);
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  for (int i = 0; i < 300; ++i) EXPECT_NO_THROW(log.info(std::string(4096, 'x').c_str()));
  EXPECT_THAT(testing::internal::GetCapturedStdout(), IsEmpty());
  EXPECT_THAT(testing::internal::GetCapturedStderr(), IsEmpty());
}

TEST_F(ORQLogTest, ADirectoryThatVanishesIsNoFailure) {
  ORQLog log(directory);
  log.info("text");
  fs::remove_all(temp.Path() / "state");
  for (int i = 0; i < 300; ++i) EXPECT_NO_THROW(log.info(std::string(4096, 'x').c_str()));
  EXPECT_FALSE(fs::exists(directory));
}

TEST(ORQLog, WithoutADirectoryThereIsNoPathAndNoFile) {
  ORQLog log("");
  EXPECT_NO_THROW(log.info("lost"));
  EXPECT_EQ(PathOf(log), "");
  EXPECT_FALSE(fs::exists("/orqcam.log"));
}

TEST(ORQLog, APathThatDoesNotFitItsBufferIsNotUsed) {
  const std::string fits = '/' + std::string(4083, 'd');  // 4095 characters with the file name
  EXPECT_EQ(PathOf(ORQLog(fits)), fits + "/orqcam.log");
  EXPECT_EQ(PathOf(ORQLog(fits + 'd')), "");
}

TEST_F(ORQLogTest, LinesOfSeveralThreadsStayWhole) {
  ORQLog log(directory);
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&log, t] {
      const std::string text(100, static_cast<char>('a' + t));
      for (int i = 0; i < kLines; ++i) {
        log.setPriority(700);
        log.info(text.c_str());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  std::array<int, kThreads> counts{};
  for (const std::string& text : TextsOf(file)) {
    ASSERT_THAT(text, SizeIs(100));
    ASSERT_EQ(text.find_first_not_of(text[0]), std::string::npos);
    ++counts.at(static_cast<std::size_t>(text[0] - 'a'));
  }
  EXPECT_THAT(counts, testing::Each(kLines));
}

// The process-wide instance is built once, so each of its tests has a process of its own.

[[noreturn]] void PrintInstancePathAndExit(const char* stateHome, const char* home) {
  stateHome != nullptr ? ::setenv("XDG_STATE_HOME", stateHome, 1) : ::unsetenv("XDG_STATE_HOME");
  home != nullptr ? ::setenv("HOME", home, 1) : ::unsetenv("HOME");
  ORQLog::get_instance().setPriority(0);
  ORQLog::get_instance().info("silenced");
  std::fprintf(stderr, "<%s>", PathOf(ORQLog::get_instance()).c_str());
  std::exit(0);
}

TEST(ORQLogInstanceDeathTest, LogsBelowXdgStateHome) {
  EXPECT_EXIT(PrintInstancePathAndExit("/s/t", "/h"), testing::ExitedWithCode(0), "^</s/t/orqcam/orqcam.log>$");
}

TEST(ORQLogInstanceDeathTest, LogsBelowTheHomeDirectoryByDefault) {
  EXPECT_EXIT(PrintInstancePathAndExit(nullptr, "/h"), testing::ExitedWithCode(0),
              "^</h/.local/state/orqcam/orqcam.log>$");
}

TEST(ORQLogInstanceDeathTest, IgnoresAnEmptyOrRelativeXdgStateHome) {
  EXPECT_EXIT(PrintInstancePathAndExit("", "/h"), testing::ExitedWithCode(0), "^</h/.local/state/");
  EXPECT_EXIT(PrintInstancePathAndExit("s/t", "/h"), testing::ExitedWithCode(0), "^</h/.local/state/");
}

TEST(ORQLogInstanceDeathTest, LogsNowhereWithoutAHome) {
  EXPECT_EXIT(PrintInstancePathAndExit(nullptr, nullptr), testing::ExitedWithCode(0), "^<>$");
  EXPECT_EXIT(PrintInstancePathAndExit(nullptr, "relative"), testing::ExitedWithCode(0), "^<>$");
}

using ORQLogFileDeathTest = ORQLogTest;

TEST_F(ORQLogFileDeathTest, LinesAfterTheExitHandlersGoNowhere) {
  const auto logDuringAndAfter = [this] {
    ::setenv("XDG_STATE_HOME", (temp.Path() / "state").c_str(), 1);
    // Registered before the instance exists, so it runs after the instance was closed.
    std::atexit([] { ORQLog::get_instance().info("late"); });
    ORQLog::get_instance().info("early");
    std::exit(0);
  };
  EXPECT_EXIT(logDuringAndAfter(), testing::ExitedWithCode(0), "^$");
  EXPECT_THAT(TextsOf(file), ElementsAre("early"));
}

}  // namespace
