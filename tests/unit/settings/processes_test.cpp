// Several processes with one settings file, some of which are killed.
#include <gtest/gtest.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <functional>
#include <random>
#include <string>

#include "SettingsFixture.h"
#include "support/RecordingCamera.h"

namespace orq::test {
namespace {

using Processes = SettingsTest;

pid_t Start(const std::function<bool()>& action) {
  const pid_t child = fork();
  if (child == 0) _exit(action() ? 0 : 1);
  return child;
}

bool Succeeded(pid_t child) {
  int status = -1;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// A camera of a model whose settings all follow from one number.
struct NumberedCamera : BareCamera {
  explicit NumberedCamera(const std::string& model) { settingsName = model; }
  void Number(std::int32_t number) {
    gain = Brightness = Fclk = TargetTemp = WB_Red = WB_Blue = number;
    const std::string path = "/path/" + std::to_string(number);
    BMPPATH.fill('\0');
    path.copy(BMPPATH.data(), BMPPATH.size() - 1);
  }
  /// The number that the loaded settings follow from; -1 when they follow from none, or from several.
  std::int32_t Loaded() {
    Number(-1);
    LoadSetting();
    const std::int32_t number = gain;
    const bool one = Brightness == number && Fclk == number && TargetTemp == number && WB_Red == number &&
                     WB_Blue == number && BMPPATH.data() == "/path/" + std::to_string(number);
    return one ? number : -1;
  }
};

TEST_F(Processes, TwoThatHammerTheFileLoseNothing) {
  constexpr int kRounds = 150;
  const auto hammer = [](const std::string& model) {
    NumberedCamera camera(model);
    for (std::int32_t round = 1; round <= kRounds; ++round) {
      do {  // a machine that is busy beyond measure may not get the lock in time
        camera.Number(round);
        camera.SaveSetting();
      } while (camera.Loaded() != round && !TakeXmlTrouble().empty());
      if (camera.Loaded() != round) return false;
    }
    return true;
  };
  const pid_t a = Start([&] { return hammer("A"); });
  const pid_t b = Start([&] { return hammer("B"); });
  EXPECT_TRUE(Succeeded(a));
  EXPECT_TRUE(Succeeded(b));
  EXPECT_EQ(NumberedCamera("A").Loaded(), kRounds);
  EXPECT_EQ(NumberedCamera("B").Loaded(), kRounds);
}

TEST_F(Processes, OneThatIsKilledNeverLeavesADamagedFile) {
  constexpr int kKills = 500;
  constexpr std::int32_t kSpan = 1'000'000;  // more numbers than a child saves before it is killed
  NumberedCamera other("Other");
  other.Number(4711);
  other.SaveSetting();

  NumberedCamera camera("Model");
  std::mt19937 random(1);
  std::int32_t last = -1;
  for (int kill = 0; kill < kKills; ++kill) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    const pid_t child = Start([&] {
      for (std::int32_t number = kill * kSpan;; ++number) {
        camera.Number(number);
        camera.SaveSetting();
        if (number == kill * kSpan && ::write(pipe[1], "", 1) != 1) return false;
      }
    });
    // Half of them get as far as one whole save, the others get as far as they get.
    const bool saved = kill % 2 == 1;
    char byte = 0;
    if (saved) ASSERT_EQ(::read(pipe[0], &byte, 1), 1);
    usleep(static_cast<useconds_t>(random() % 8000));
    ::kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    for (const int end : pipe) ::close(end);

    const std::int32_t found = NumberedCamera("Model").Loaded();
    const bool its = found >= kill * kSpan && found < (kill + 1) * kSpan;
    ASSERT_TRUE(its || (!saved && found == last)) << found << " instead of " << last << " after kill " << kill;
    last = found;
    ASSERT_EQ(NumberedCamera("Other").Loaded(), 4711) << "lost after kill " << kill;
  }
  EXPECT_EQ(TakeXmlTrouble(), "");

  camera.Number(1);
  camera.SaveSetting();
  EXPECT_EQ(Names(), (std::set<std::string>{"ORQconfig.xml", "ORQconfig.xml.lock"}));
}

}  // namespace
}  // namespace orq::test
