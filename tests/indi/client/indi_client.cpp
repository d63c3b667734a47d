// A client on INDI's own client library, which counts and times what it gets. On the server's unix socket pictures
// come as shared memory, which only this library reads.
//
//   indi_client PORT|SOCKET DEVICE stream SECONDS
//   indi_client PORT|SOCKET DEVICE expose SECONDS COUNT
//
// One line of JSON on standard output; exit status 1 when something did not come.
#include <baseclient.h>
#include <basedevice.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr Seconds kPatience = 60s;

class Client : public INDI::BaseClient {
 public:
  explicit Client(std::string device) : device_(std::move(device)) { watchDevice(device_.c_str()); }

  bool connectTo(const std::string& where) {
    const bool isPort = where.find_first_not_of("0123456789") == std::string::npos;
    // The library's notation of a socket's path; the port does not matter then.
    setServer((isPort ? std::string("localhost") : "localhost:" + where).c_str(),
              isPort ? std::stoul(where) : 7624U);
    if (!isPort) enableDirectBlobAccess(device_.c_str());
    if (!connectServer()) return false;
    if (!awaitProperty("CONNECTION")) return false;
    connectDevice(device_.c_str());
    return awaitProperty("CCD_EXPOSURE") && awaitProperty("CCD1");
  }

  bool awaitProperty(const char* name) {
    for (const auto end = Clock::now() + kPatience; Clock::now() < end; std::this_thread::sleep_for(5ms)) {
      const INDI::BaseDevice device = getDevice(device_.c_str());
      if (device.isValid() && device.getProperty(name).isValid()) return true;
    }
    return false;
  }

  /// One element on, the others off: the library's own call for one leaves them on.
  void choose(const char* property, const char* element) {
    INDI::Property known = getDevice(device_.c_str()).getProperty(property);
    auto* const switches = known.getSwitch();
    switches->reset();
    switches->findWidgetByName(element)->setState(ISS_ON);
    sendNewSwitch(known);
  }

  /// Once the one before is told to be over: the library sends what the server has told meanwhile, if that comes
  /// just then.
  void expose(double seconds) {
    INDI::Property exposure = getDevice(device_.c_str()).getProperty("CCD_EXPOSURE");
    while (exposure.getState() == IPS_BUSY) std::this_thread::sleep_for(5ms);
    sendNewNumber(device_.c_str(), "CCD_EXPOSURE", "CCD_EXPOSURE_VALUE", seconds);
  }

  /// Forgets what has come, and begins to count.
  void restart() {
    const std::lock_guard lock(mutex_);
    times_.clear();
    bytes_ = 0;
  }
  bool awaitBlobs(std::size_t count, Seconds patience) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return gone_ || times_.size() >= count; }) && !gone_;
  }
  std::vector<Clock::time_point> times() {
    const std::lock_guard lock(mutex_);
    return times_;
  }
  double bytes() {
    const std::lock_guard lock(mutex_);
    return bytes_;
  }

 protected:
  void newDevice(INDI::BaseDevice device) override {
    if (device_ == device.getDeviceName()) setBLOBMode(B_ALSO, device_.c_str(), nullptr);
  }
  void serverDisconnected(int) override {
    const std::lock_guard lock(mutex_);
    gone_ = true;
    changed_.notify_all();
  }
  void updateProperty(INDI::Property property) override {
    if (property.getType() != INDI_BLOB) return;
    const int bytes = property.getBLOB()->at(0)->getBlobLen();
    if (bytes == 0) return;  // the server tells so of a frame that it has left out
    const std::lock_guard lock(mutex_);
    times_.push_back(Clock::now());
    bytes_ += bytes;
    changed_.notify_all();
  }

 private:
  std::string device_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Clock::time_point> times_;
  double bytes_ = 0;
  bool gone_ = false;
};

double processorSeconds() {
  rusage use{};
  getrusage(RUSAGE_SELF, &use);
  const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
  return seconds(use.ru_utime) + seconds(use.ru_stime);
}

int stream(Client& client, double seconds) {
  if (!client.awaitProperty("CCD_VIDEO_STREAM")) return 1;
  client.choose("CCD_VIDEO_STREAM", "STREAM_ON");
  if (!client.awaitBlobs(3, kPatience)) return 1;  // it runs: what comes now is counted
  client.restart();
  const double cpu = processorSeconds();
  std::this_thread::sleep_for(Seconds(seconds));
  const std::vector<Clock::time_point> times = client.times();
  const double bytes = client.bytes();
  const double used = processorSeconds() - cpu;
  const auto stop = Clock::now();
  client.choose("CCD_VIDEO_STREAM", "STREAM_OFF");
  std::size_t before = 0;  // until nothing has come for a while
  do {
    before = client.times().size();
    std::this_thread::sleep_for(500ms);
  } while (client.times().size() != before);
  if (times.size() < 2) return 1;
  Seconds worst{};
  for (std::size_t i = 1; i < times.size(); ++i) worst = std::max<Seconds>(worst, times[i] - times[i - 1]);
  const Seconds span = times.back() - times.front();
  const Seconds late = std::max(Seconds{}, Seconds(client.times().back() - stop));
  std::printf(R"({"frames": %zu, "after": %zu, "fps": %.2f, "megabytes_per_s": %.1f, "worst_gap_s": %.4f, )"
              R"("last_after_stop_s": %.4f, "processor_s": %.2f})"
              "\n",
              times.size(), client.times().size() - times.size(), double(times.size() - 1) / span.count(),
              bytes / seconds / 1e6, worst.count(), late.count(), used);
  return 0;
}

int expose(Client& client, double seconds, int count) {
  std::vector<double> delays;
  for (int i = 0; i < count; ++i) {
    client.restart();
    const auto begin = Clock::now();
    client.expose(seconds);
    if (!client.awaitBlobs(1, kPatience)) return 1;
    delays.push_back(Seconds(client.times().front() - begin).count() - seconds);
  }
  std::sort(delays.begin(), delays.end());
  std::printf(R"({"pictures": %d, "bytes": %.0f, "median_s": %.4f, "worst_s": %.4f, "processor_s": %.2f})"
              "\n",
              count, client.bytes(), delays[delays.size() / 2], delays.back(), processorSeconds());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc > 3 ? argv[3] : "";
  if (!(argc == 5 && what == "stream") && !(argc == 6 && what == "expose")) {
    std::fprintf(stderr, "usage: indi_client PORT|SOCKET DEVICE stream SECONDS | expose SECONDS COUNT\n");
    return 2;
  }
  Client client(argv[2]);
  const double seconds = std::atof(argv[4]);
  int status = 1;
  if (!client.connectTo(argv[1])) {
    std::fprintf(stderr, "indi_client: no connection to %s\n", argv[2]);
  } else {
    status = what == "stream" ? stream(client, seconds) : expose(client, seconds, std::atoi(argv[5]));
    if (status != 0) std::fprintf(stderr, "indi_client: not all of it came\n");
  }
  client.disconnectServer();
  return status;
}
