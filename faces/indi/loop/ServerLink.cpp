#include "loop/ServerLink.h"

#include <indiapi.h>
#include <indidriver.h>
#include <lilxml.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

#include "loop/MainLoop.h"

namespace orq::indi {
namespace {

using namespace std::chrono_literals;

constexpr auto kLongestEnd = 10s;
constexpr std::size_t kTrouble = 2048;  // what the library writes of a message that it cannot read

/// How far the server has read what this driver sends. Every picture is followed by a question with a number that
/// counts up, which the server answers once it has read so far.
class Answers {
 public:
  /// Never destroyed: threads may still wait while the process ends.
  static Answers& get() {
    static auto* const answers = new Answers;
    return *answers;
  }

  void note(long number) {
    const std::lock_guard lock(mutex_);
    last_ = std::max(last_, number);
    changed_.notify_all();
  }
  void end() {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  }
  /// Two cameras may wait for the same answer.
  void await(long number) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return ended_ || last_ >= number; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  long last_ = 0;
  bool ended_ = false;
};

/// The number of "SetBLOB/12"; 0: it is no such question.
long numberOf(std::string_view question) {
  long number = 0;
  const std::size_t slash = question.find('/');
  if (slash == std::string_view::npos) return 0;
  const std::string_view digits = question.substr(slash + 1);
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

void take(XMLEle* message) {
  if (std::string_view(tagXMLEle(message)) == "pingReply") {
    Answers::get().note(numberOf(findXMLAttValu(message, "uid")));
    delXMLEle(message);
    return;
  }
  MainLoop::get().post([message] {
    std::array<char, kTrouble> trouble{};
    if (dispatch(message, trouble.data()) < 0) std::fprintf(stderr, "indi_orqcam_ccd: %s\n", trouble.data());
    delXMLEle(message);
  });
}

void readServer(std::function<void()> ended) {
  LilXML* const parser = newLilXML();
  std::array<char, 16384> bytes{};
  std::array<char, kTrouble> trouble{};
  for (;;) {
    const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    for (ssize_t i = 0; i < count; ++i) {
      XMLEle* const message = readXMLEle(parser, bytes[static_cast<std::size_t>(i)], trouble.data());
      if (message != nullptr)
        take(message);
      else if (trouble[0] != '\0')
        std::fprintf(stderr, "indi_orqcam_ccd: the server sent no XML: %s\n", trouble.data());
    }
  }
  Answers::get().end();
  MainLoop::get().post(std::move(ended));
  // Whatever INDI's thread waits for, nobody is left to see it.
  std::this_thread::sleep_for(kLongestEnd);
  std::_Exit(1);
}

std::thread::id loopThread;

}  // namespace

void listenToServer(std::function<void()> ended) {
  loopThread = std::this_thread::get_id();
  MainLoop::get();
  std::thread(readServer, std::move(ended)).detach();
}

}  // namespace orq::indi

/// Called by INDI's library before it sends a picture, with the question that it sent after the last one; takes
/// the place of the library's own. INDI's thread never waits: it has other cameras to serve.
extern "C" __attribute__((visibility("default"))) void waitPingReply(const char* question) {
  if (std::this_thread::get_id() == orq::indi::loopThread) return;
  orq::indi::Answers::get().await(orq::indi::numberOf(question));
}
