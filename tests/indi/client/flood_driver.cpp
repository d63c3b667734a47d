// A driver that hands one and the same frame of 1936 x 1096 pixels over as fast as INDI takes it: what the way
// from a driver to a client carries when nothing is done for the frames.
#include <indiccd.h>
#include <stream/streammanager.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr int kWidth = 1936;
constexpr int kHeight = 1096;
constexpr std::size_t kBytes = std::size_t{kWidth} * kHeight;

class Flood : public INDI::CCD {
 public:
  ~Flood() override { end(); }
  const char* getDefaultName() override { return "Flood"; }
  bool initProperties() override {
    INDI::CCD::initProperties();
    SetCCDCapability(CCD_CAN_ABORT | CCD_HAS_STREAMING);
    addCaptureFormat({"INDI_MONO_8", "Mono 8", 8, true});
    return true;
  }
  bool updateProperties() override {
    INDI::CCD::updateProperties();
    if (!isConnected()) return true;
    SetCCDParams(kWidth, kHeight, 8, 2.9F, 2.9F);
    PrimaryCCD.setFrameBufferSize(kBytes);
    Streamer->setPixelFormat(INDI_MONO, 8);
    Streamer->setSize(kWidth, kHeight);
    return true;
  }

 protected:
  bool Connect() override { return true; }
  bool Disconnect() override {
    end();
    return true;
  }
  bool SetCaptureFormat(std::uint8_t) override { return true; }
  bool StartStreaming() override {
    runs_ = true;
    thread_ = std::thread([this] {
      const std::vector<std::uint8_t> frame(kBytes, 77);
      while (runs_) {
        Streamer->newFrame(frame.data(), kBytes);  // dropped when the manager's queue is full
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      }
    });
    return true;
  }
  bool StopStreaming() override {
    end();
    return true;
  }

 private:
  void end() {
    runs_ = false;
    if (thread_.joinable()) thread_.join();
  }
  std::thread thread_;
  std::atomic<bool> runs_{false};
};

const std::unique_ptr<Flood> flood = std::make_unique<Flood>();

}  // namespace
