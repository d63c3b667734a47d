// What the store does to its file, and what the file system does to the store.
#include "settings/SettingsFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <thread>

#include "SettingsFixture.h"

namespace orq::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

class SettingsFile : public SettingsTest {
 protected:
  /// How often the log file holds `text`.
  int Logged(const std::string& text) const {
    const std::string log = Text(logFile);
    int count = 0;
    for (std::size_t at = 0; (at = log.find(text, at)) != std::string::npos; ++at) ++count;
    return count;
  }
  /// Stores a number; false when it did not reach the file.
  static bool TryToStore(const std::string& path, std::int32_t number) {
    xmlHandle key;
    if (XMLOpenKey(kFile, path.c_str(), &key) == 0 && XMLCreateKey(kFile, path.c_str(), &key, nullptr) == 0)
      return false;
    Set(key, "a", number);
    return XMLCloseKey(&key) != 0;
  }
  /// The result of `action` in a process of its own.
  static bool InOtherProcess(const std::function<bool()>& action) {
    const pid_t child = fork();
    if (child == 0) _exit(action() ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }
  /// Gives up the rights of an administrator, whom no permissions stop.
  static bool BecomeAnybody() { return ::geteuid() != 0 || ::setuid(12345) == 0; }
  /// A process that may not do it itself can write to the log file then.
  static void OpenLog() { ORQLog::get_instance().info("opened"); }
  ino_t Inode() const {
    struct stat status {};
    return ::stat(File().c_str(), &status) == 0 ? status.st_ino : 0;
  }
};

TEST_F(SettingsFile, LeavesOnlyTheFileAndItsLock) {
  Store("software\\Model", "a", 1);
  EXPECT_THAT(Names(), UnorderedElementsAre("ORQconfig.xml", "ORQconfig.xml.lock"));
}

TEST_F(SettingsFile, IsReplacedWhenSomethingChangedAndOnlyThen) {
  Store("software\\Model", "a", 1);
  const ino_t first = Inode();
  Store("software\\Model", "a", 1);
  EXPECT_EQ(Inode(), first);
  // The old file is kept open, so that its number is not given to the new one.
  const int old = ::open(File().c_str(), O_RDONLY);
  Store("software\\Model", "a", 2);
  EXPECT_NE(Inode(), first);
  ::close(old);
}

TEST_F(SettingsFile, ReadingTouchesNothing) {
  WriteValues("<int name='a' value='1'/>");
  const ino_t before = Inode();
  xmlHandle key = Open();
  EXPECT_EQ(Number(key, "a"), 1);
  EXPECT_NE(XMLCloseKey(&key), 0);
  EXPECT_EQ(Inode(), before);
  EXPECT_THAT(Names(), UnorderedElementsAre("ORQconfig.xml"));
}

TEST_F(SettingsFile, TakesInWhatOthersWroteMeanwhile) {
  Store("software\\A", "a", 1);
  xmlHandle key = Open("software\\A");
  Set(key, "a", 2);
  ASSERT_TRUE(InOtherProcess([&] { return TryToStore("software\\B", 3); }));
  EXPECT_NE(XMLCloseKey(&key), 0);
  EXPECT_EQ(Stored("software\\A", "a"), 2);
  EXPECT_EQ(Stored("software\\B", "a"), 3);
}

TEST_F(SettingsFile, ComesBackWhenItWasDeletedMeanwhile) {
  xmlHandle key = Create();
  Set(key, "a", 2);
  fs::remove(File());
  EXPECT_NE(XMLCloseKey(&key), 0);
  EXPECT_EQ(Stored("software\\Model", "a"), 2);
}

TEST_F(SettingsFile, KeepsItsPermissions) {
  Store("software\\Model", "a", 1);
  for (const mode_t mode : {0600U, 0640U, 0664U}) {
    ASSERT_EQ(::chmod(File().c_str(), mode), 0);
    Store("software\\Model", "a", static_cast<std::int32_t>(mode));
    struct stat status {};
    ASSERT_EQ(::stat(File().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, mode);
  }
}

TEST_F(SettingsFile, KeepsItsOwnerWhenAnAdministratorWrites) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs to be run as root";
  Store("software\\Model", "a", 1);
  ASSERT_EQ(::chown(File().c_str(), 12345, 12346), 0);
  Store("software\\Model", "a", 2);
  struct stat status {};
  ASSERT_EQ(::stat(File().c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 12345U);
  EXPECT_EQ(status.st_gid, 12346U);
}

TEST_F(SettingsFile, FollowsALinkAndReplacesItsTarget) {
  fs::create_directory(directory / "real");
  const fs::path target = directory / "real" / "mine.xml";
  fs::create_symlink("real/mine.xml", directory / "second");
  fs::create_symlink(directory / "second", File());
  Store("software\\Model", "a", 1);  // also where the target is not there yet
  EXPECT_TRUE(fs::is_symlink(File()));
  EXPECT_TRUE(fs::is_symlink(directory / "second"));
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(target)));
  Store("software\\Model", "a", 2);
  EXPECT_TRUE(fs::is_symlink(File()));
  EXPECT_THAT(Text(target), HasSubstr("value=\"2\""));
  EXPECT_TRUE(fs::exists(directory / "real" / "mine.xml.lock"));
}

TEST_F(SettingsFile, LinksInACircleAreReported) {
  fs::create_symlink(File(), directory / "b");
  fs::create_symlink(directory / "b", File());
  EXPECT_FALSE(TryToStore("software\\Model", 1));
  EXPECT_THAT(TakeXmlTrouble(), AllOf(HasSubstr(File().string()), HasSubstr("Too many levels of symbolic links")));
  EXPECT_THAT(Names(), UnorderedElementsAre("ORQconfig.xml", "b"));
}

TEST_F(SettingsFile, WhatIsNoRegularFileIsLeftAlone) {
  ASSERT_EQ(::mkfifo(File().c_str(), 0600), 0);  // reading it would wait for ever
  EXPECT_FALSE(TryToStore("software\\Model", 1));
  EXPECT_THAT(TakeXmlTrouble(), HasSubstr("it is not a regular file"));
  EXPECT_TRUE(fs::is_fifo(File()));
  fs::remove(File());
  fs::create_directory(File());
  EXPECT_FALSE(TryToStore("software\\Model", 1));
  EXPECT_TRUE(fs::is_directory(File()));
  fs::remove(File());
  fs::create_symlink("/dev/null", File());
  EXPECT_FALSE(InOtherProcess([] { return TryToStore("software\\Model", 1); }));
  EXPECT_TRUE(fs::is_symlink(File()));
  EXPECT_FALSE(fs::exists("/dev/null.lock"));
}

TEST_F(SettingsFile, APlaceThatCannotBeIsReportedOnce) {
  WriteText("");
  const std::string below = (File() / "below").string();
  SetXmlDirectory(below);
  for (int i = 0; i < 5; ++i) EXPECT_FALSE(TryToStore("software\\Model", i));
  const std::string trouble = TakeXmlTrouble();
  EXPECT_EQ(trouble, "settings file " + below + "/ORQconfig.xml: its directory cannot be made: Not a directory");
  EXPECT_EQ(TakeXmlTrouble(), "");
  EXPECT_EQ(Logged(trouble), 1);
}

TEST_F(SettingsFile, APlaceWhereNothingCanBeMadeIsReported) {
  SetXmlDirectory("/proc/self");  // not even an administrator makes files there
  EXPECT_FALSE(TryToStore("software\\Model", 1));
  EXPECT_THAT(TakeXmlTrouble(), HasSubstr("/proc/self/ORQconfig.xml: cannot be locked, so nothing was written: "));
}

TEST_F(SettingsFile, ADirectoryOfAnotherUserIsReportedOnce) {
  OpenLog();
  const std::string trouble =
      "settings file " + File().string() + ": cannot be locked, so nothing was written: Permission denied";
  ASSERT_EQ(::chmod(directory.c_str(), 0555), 0);
  EXPECT_TRUE(InOtherProcess([&] {
    bool stored = !BecomeAnybody();
    for (int i = 0; i < 5; ++i) stored = TryToStore("software\\Model", i) || stored;
    return !stored && TakeXmlTrouble() == trouble;
  }));
  ASSERT_EQ(::chmod(directory.c_str(), 0755), 0);
  EXPECT_EQ(Logged(trouble), 1);
  EXPECT_TRUE(Names().empty());
}

TEST_F(SettingsFile, AFileThatCannotBeReadStays) {
  Store("software\\Model", "a", 1);
  ASSERT_EQ(::chmod(directory.c_str(), 0777), 0);
  ASSERT_EQ(::chmod(File().c_str(), 0), 0);
  const std::string trouble = "settings file " + File().string() + ": cannot be read: Permission denied";
  EXPECT_TRUE(InOtherProcess(
      [&] { return BecomeAnybody() && !TryToStore("software\\Model", 2) && TakeXmlTrouble() == trouble; }));
  ASSERT_EQ(::chmod(File().c_str(), 0600), 0);
  EXPECT_EQ(Stored("software\\Model", "a"), 1);
}

TEST_F(SettingsFile, ADamagedFileIsNotTouchedByReading) {
  WriteText("<orqcam><key na");
  xmlHandle key;
  EXPECT_EQ(XMLOpenKey(kFile, "software\\Model", &key), 0);
  EXPECT_THAT(TakeXmlTrouble(), HasSubstr("cannot be used: it is no XML"));
  EXPECT_EQ(Text(), "<orqcam><key na");
  EXPECT_THAT(Names(), UnorderedElementsAre("ORQconfig.xml"));
}

TEST_F(SettingsFile, ADamagedFileIsSetAsideUnderAReportedName) {
  WriteText("first wreck");
  EXPECT_TRUE(TryToStore("software\\Model", 1));
  EXPECT_EQ(Text(directory / "ORQconfig.xml.damaged-1"), "first wreck");
  EXPECT_EQ(Logged("it is now " + (directory / "ORQconfig.xml.damaged-1").string()), 1);
  EXPECT_EQ(Stored("software\\Model", "a"), 1);

  WriteText("second wreck");
  EXPECT_TRUE(TryToStore("software\\Model", 2));
  EXPECT_EQ(Text(directory / "ORQconfig.xml.damaged-1"), "first wreck");
  EXPECT_EQ(Text(directory / "ORQconfig.xml.damaged-2"), "second wreck");
  EXPECT_EQ(Stored("software\\Model", "a"), 2);
}

TEST_F(SettingsFile, AFileDamagedMeanwhileIsSetAsideToo) {
  xmlHandle key = Create();
  Set(key, "a", 1);
  WriteText("wreck");
  EXPECT_NE(XMLCloseKey(&key), 0);
  EXPECT_EQ(Text(directory / "ORQconfig.xml.damaged-1"), "wreck");
  EXPECT_EQ(Stored("software\\Model", "a"), 1);
}

TEST_F(SettingsFile, ADamagedFileThatCannotBeSetAsideStays) {
  for (int number = 1; number <= 1000; ++number)
    std::ofstream(directory / ("ORQconfig.xml.damaged-" + std::to_string(number))) << number;
  WriteText("wreck");
  EXPECT_FALSE(TryToStore("software\\Model", 1));
  EXPECT_EQ(TakeXmlTrouble(), "settings file " + File().string() +
                                  ": is damaged and cannot be set aside: all names for it are taken");
  EXPECT_EQ(Text(), "wreck");
  EXPECT_EQ(Text(directory / "ORQconfig.xml.damaged-1"), "1");
  EXPECT_EQ(Text(directory / "ORQconfig.xml.damaged-1000"), "1000");
}

TEST_F(SettingsFile, EveryKindOfDamageIsSetAside) {
  const std::string tooLarge = "<orqcam><!--" + std::string(kMaxXmlBytes, 'x') + "--></orqcam>";
  std::string deep;
  for (int i = 0; i < 50'000; ++i) deep += "<a>";
  int number = 0;
  for (const std::string& damage : {std::string(), std::string(100, '\0'), std::string("<?xml version=\"1.0\"?>"),
                                    std::string("<other/>"), tooLarge, deep, std::string("\xff\xfe\x00\xd8", 4)}) {
    WriteText(damage);
    EXPECT_TRUE(TryToStore("software\\Model", ++number));
    EXPECT_EQ(Text(directory / ("ORQconfig.xml.damaged-" + std::to_string(number))), damage);
    EXPECT_EQ(Stored("software\\Model", "a"), number);
  }
}

TEST_F(SettingsFile, RemovingAKeySetsADamagedFileAside) {
  WriteText("wreck");
  std::string trouble;
  EXPECT_TRUE(RemoveXmlKey(kFile, "software\\Model", trouble));
  EXPECT_EQ(Text(directory / "ORQconfig.xml.damaged-1"), "wreck");
  EXPECT_THAT(Text(), HasSubstr("<orqcam"));
}

TEST_F(SettingsFile, ListingADamagedFileSaysWhy) {
  WriteText("wreck");
  std::string trouble;
  EXPECT_TRUE(ListXmlKeys(kFile, trouble).empty());
  EXPECT_THAT(trouble, HasSubstr("cannot be used"));
}

TEST_F(SettingsFile, ItDoesNotGrowWithoutEnd) {
  Store("software\\Model", "a", 1);
  int stored = 0;
  for (int i = 0; i < 40; ++i) {
    xmlHandle key = Open();
    Set(key, "v" + std::to_string(i), 3, Bytes(65'536, 'x'));
    stored += XMLCloseKey(&key) != 0 ? 1 : 0;
  }
  EXPECT_EQ(stored, 15);  // of 64 KiB each, in a file of 1 MiB
  EXPECT_THAT(TakeXmlTrouble(), HasSubstr("it would become too large"));
  EXPECT_EQ(Stored("software\\Model", "a"), 1);
}

TEST_F(SettingsFile, AFullDiskLeavesTheOldFile) {
  Store("software\\Model", "a", 1);
  const std::string before = Text();
  // A limit on the size of files stands for the disk: the write breaks off in the middle.
  EXPECT_TRUE(InOtherProcess([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{before.size() / 2, before.size() / 2};
    if (::setrlimit(RLIMIT_FSIZE, &small) != 0) return false;
    if (TryToStore("software\\Model", 2)) return false;
    return TakeXmlTrouble().find("cannot be written: File too large") != std::string::npos;
  }));
  EXPECT_EQ(Text(), before);
  EXPECT_THAT(Names(), UnorderedElementsAre("ORQconfig.xml", "ORQconfig.xml.lock"));
}

TEST_F(SettingsFile, AFullDiskDoesNotHideWhereADamagedFileIsNow) {
  OpenLog();
  WriteText("wreck");
  const std::string aside = File().string() + ".damaged-1";
  EXPECT_TRUE(InOtherProcess([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit nothing{0, 0};
    if (::setrlimit(RLIMIT_FSIZE, &nothing) != 0 || TryToStore("software\\Model", 1)) return false;
    return TakeXmlTrouble() == "settings file " + File().string() +
                                   ": cannot be written: File too large; its old contents are now " + aside;
  }));
  EXPECT_EQ(Text(aside), "wreck");
  EXPECT_THAT(Names(), UnorderedElementsAre("ORQconfig.xml.damaged-1", "ORQconfig.xml.lock"));
  EXPECT_TRUE(TryToStore("software\\Model", 2));
  EXPECT_EQ(Stored("software\\Model", "a"), 2);
}

TEST_F(SettingsFile, WhatAKilledProcessLeftIsReplaced) {
  Store("software\\Model", "a", 1);
  std::ofstream(directory / "ORQconfig.xml.new") << "half of";
  Store("software\\Model", "a", 2);
  EXPECT_EQ(Stored("software\\Model", "a"), 2);
  EXPECT_THAT(Names(), UnorderedElementsAre("ORQconfig.xml", "ORQconfig.xml.lock"));
}

TEST_F(SettingsFile, ALockIsWaitedFor) {
  std::string reason;
  std::optional<FileLock> first(std::in_place, File().string(), 0ms, reason);
  ASSERT_TRUE(first->Held()) << reason;
  auto second = std::async(std::launch::async, [this] {
    std::string unused;
    return FileLock(File().string(), 60s, unused).Held();
  });
  EXPECT_EQ(second.wait_for(50ms), std::future_status::timeout);
  first.reset();
  EXPECT_TRUE(second.get());
}

TEST_F(SettingsFile, ALockEndsWithItsObjectThoughAnotherProcessWasForked) {
  std::string reason;
  std::optional<FileLock> lock(std::in_place, File().string(), 0ms, reason);
  ASSERT_TRUE(lock->Held()) << reason;
  std::array<int, 2> pipe{};
  ASSERT_EQ(::pipe(pipe.data()), 0);
  const pid_t child = fork();
  if (child == 0) {
    ::close(pipe[1]);
    char byte = 0;
    _exit(::read(pipe[0], &byte, 1) == 0 ? 0 : 1);  // until the other end is closed
  }
  ::close(pipe[0]);
  lock.reset();
  EXPECT_TRUE(FileLock(File().string(), 0ms, reason).Held()) << reason;
  ::close(pipe[1]);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST_F(SettingsFile, WaitsForTheLockButNotForEver) {
  Store("software\\Model", "a", 1);
  const int lock = ::open((File().string() + ".lock").c_str(), O_RDWR);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(TryToStore("software\\Model", 2));
  EXPECT_GE(std::chrono::steady_clock::now() - start, 2s);
  EXPECT_THAT(TakeXmlTrouble(), AllOf(HasSubstr("nothing was written"), HasSubstr("another process holds")));
  EXPECT_EQ(Stored("software\\Model", "a"), 1);  // reading needs no lock
  ::close(lock);
  EXPECT_TRUE(TryToStore("software\\Model", 2));
}

TEST_F(SettingsFile, ALockOfAnotherUserServesAsWell) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs to be run as root";
  ASSERT_EQ(::chmod(directory.c_str(), 0777), 0);
  Store("software\\Model", "a", 1);
  ASSERT_EQ(::chmod((File().string() + ".lock").c_str(), 0644), 0);
  EXPECT_TRUE(InOtherProcess([] { return BecomeAnybody() && TryToStore("software\\Model", 2); }));
  EXPECT_EQ(Stored("software\\Model", "a"), 2);
}

TEST_F(SettingsFile, ALinkInPlaceOfTheLockIsNotFollowed) {
  fs::create_symlink(directory / "victim", File().string() + ".lock");
  EXPECT_FALSE(TryToStore("software\\Model", 1));
  EXPECT_FALSE(fs::exists(directory / "victim"));
}

TEST_F(SettingsFile, ThreadsDoNotLoseEachOthersValues) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 25;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int round = 1; round <= kRounds; ++round) {
        while (!TryToStore("software\\T" + std::to_string(t), round)) {
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(Stored("software\\T" + std::to_string(t), "a"), kRounds);
}

}  // namespace
}  // namespace orq::test
