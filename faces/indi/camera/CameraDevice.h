// One camera as INDI's clients see it.
#pragma once

#include <indiccd.h>
#include <indifocuserinterface.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <orqcam/orqcam.hpp>
#include <string>
#include <vector>

#include "loop/MainLoop.h"
#include "loop/UploadGate.h"
#include "loop/Worker.h"
#include "panels/Panel.h"
#include "stream/VideoPump.h"

namespace orq::indi {

/// Where a device gets its camera from.
struct CameraChoice {
  std::string name;    ///< as the library names it; empty: the first one that is plugged in and free
  bool offersVirtual;  ///< has the switch SIMULATION, and a text for the virtual camera's name
};

/// Everything runs on INDI's thread, but for two steps of an upload (`processFastExposure`, `addFITSKeywords`),
/// which the gate keeps apart from the rest.
class CameraDevice : public INDI::CCD, public INDI::FocuserInterface {
 public:
  CameraDevice(std::string deviceName, CameraChoice choice);
  ~CameraDevice() override;

  /// Whether it is connected, or holds a camera that it has lost.
  bool isUsed() const { return camera_.has_value(); }
  /// The camera that it is to open, as the library names it; empty: none is known.
  const std::string& cameraName() const { return choice_.name; }
  void choose(std::string cameraName) { choice_.name = std::move(cameraName); }
  /// Of the camera that it opened last.
  std::string model() const { return info_.model; }
  /// Told, on INDI's thread, when the device has let its camera go.
  void onReleased(std::function<void()> told) { released_ = std::move(told); }
  /// Closes the camera, as at the end of the program.
  void release();

  const char* getDefaultName() override { return deviceName_.c_str(); }
  bool initProperties() override;
  void ISGetProperties(const char* device) override;
  bool updateProperties() override;
  bool ISNewNumber(const char* device, const char* name, double values[], char* names[], int n) override;
  bool ISNewSwitch(const char* device, const char* name, ISState* states, char* names[], int n) override;
  bool ISNewText(const char* device, const char* name, char* texts[], char* names[], int n) override;
  bool saveConfigItems(FILE* file) override;

 protected:
  bool Connect() override;
  bool Disconnect() override;

  bool StartExposure(float seconds) override;
  bool AbortExposure() override;
  bool UpdateCCDFrame(int x, int y, int w, int h) override;
  bool UpdateCCDBin(int hor, int ver) override;
  bool UpdateCCDFrameType(INDI::CCDChip::CCD_FRAME type) override;
  bool SetCaptureFormat(uint8_t index) override;
  bool StartStreaming() override;
  bool StopStreaming() override;
  int SetTemperature(double celsius) override;
  IPState GuideNorth(uint32_t ms) override { return guide(ORQ_GUIDE_NORTH, ms); }
  IPState GuideSouth(uint32_t ms) override { return guide(ORQ_GUIDE_SOUTH, ms); }
  IPState GuideEast(uint32_t ms) override { return guide(ORQ_GUIDE_EAST, ms); }
  IPState GuideWest(uint32_t ms) override { return guide(ORQ_GUIDE_WEST, ms); }
  IPState MoveAbsFocuser(uint32_t target) override;
  IPState MoveRelFocuser(FocusDirection direction, uint32_t steps) override;
  bool AbortFocuser() override;
  bool processFastExposure(INDI::CCDChip* chip) override;
  void addFITSKeywords(INDI::CCDChip* chip) override;

 private:
  // CameraDevice.cpp
  bool isMine(const char* device) const;
  std::string wantedName() const;
  void letGo();
  void forgetStates();
  Camera openNow() const;
  Camera openWanted() const;
  void describeSensor();
  void describeFormats();
  void startListening();
  void stopListening();
  void listen();
  void hear(const orq_event& event);
  void tick();
  void becomeLost(const char* text);
  void comeBack();
  template <class Request>
  bool refuse(const Request& request);

  // CameraSettings.cpp
  void loadSettings();
  std::string whyNoVideo() const;
  /// Why a request that the property could take cannot be carried out at present; empty: it can.
  std::string whyNotNow(const NumberRequest& request) const;
  std::string whyNotNow(const SwitchRequest& request) const;
  std::string whyNotNow(const TextRequest& request) const;
  /// Runs `work`; what it throws is told to the clients. False: it threw.
  bool attempt(const std::function<void()>& work);

  // CameraFrames.cpp
  void demandFree() const;
  bool applyRegion(const orq_region& wanted);
  bool applyAsked(int bin, int format);
  void showRegion(const orq_region& region);
  bool setFrame(NumberRequest request);
  bool setBinning(const NumberRequest& request);
  void showBayer(int bayer);
  void takeFrame();
  void deliver(const Frame& frame);
  void forgetFrame();
  void failExposure(const char* text);
  void applyLabels();
  bool afterChange();

  // CameraClimate.cpp
  bool can(std::uint32_t ability) const;
  void initClimate();
  void defineClimate();
  void deleteClimate();
  bool setCooler(const SwitchRequest& request);
  void restTemperature();
  bool isWarmingUp() const { return warmUp_.getState() == IPS_BUSY; }
  void showClimate();
  void markClimate(IPState state);
  IPState guide(int direction, std::uint32_t ms);
  void endPulses();

  // CameraFocus.cpp
  void runLong(std::string what, std::function<void(Camera&)> job, std::function<void(bool done)> told);
  void initFocus();
  void showFocus();

  // CameraStream.cpp
  void showStream();
  void endStream(const char* why);
  void putOnAlert(const char* property);
  void switchRecordingOff();
  void closeRecording();
  void endRecording(const std::string& why);
  void undoFailedRecording();
  void awaitRecordingsEnd();
  void applyStreamExposure();
  void setStreamExposure();

  std::string deviceName_;
  CameraChoice choice_;
  std::function<void()> released_;
  INDI::PropertyText virtualName_{1};
  INDI::PropertyNumber streamCounts_{4};
  INDI::PropertyNumber power_{1};
  INDI::PropertySwitch cooler_{2};
  INDI::PropertySwitch warmUp_{1};

  std::optional<Camera> camera_;
  orq_camera_info info_{};
  orq_region asked_{};        ///< region as clients asked for it, in sensor pixels
  std::vector<int> formats_;  ///< ORQ_FORMAT_... in the order of the switch
  std::vector<std::unique_ptr<Panel>> panels_;
  bool lost_ = false;
  bool returned_ = false;    ///< it is lost, and plugged in again
  std::string lastTrouble_;  ///< that kept it from being opened then
  int listening_ = -1;       ///< of the event loop
  INDI::Timer ticks_;

  std::atomic<bool> exposing_{false};
  std::atomic<std::int64_t> exposureUs_{0};
  std::chrono::steady_clock::time_point countdownTold_{};
  UploadGate uploads_;
  Frame shown_;                       ///< that is being uploaded, or was last
  std::vector<std::uint8_t> planes_;  ///< its colours, when it has any
  std::unique_ptr<VideoPump> pump_;
  std::chrono::steady_clock::time_point streamShown_{};

  unsigned tickCount_ = 0;
  std::string busyWith_;  ///< work that has the camera to itself; empty: none
  unsigned opened_ = 0;   ///< which camera this is; what was begun with an earlier one tells nobody

  Worker guideNorthSouth_, guideEastWest_, longWork_;
  PosterOwner posts_;
};

}  // namespace orq::indi
