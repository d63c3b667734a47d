// A camera as a program uses it.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "session/CameraList.h"
#include "session/Failure.h"
#include "session/Pause.h"
#include "session/camera/EventQueue.h"
#include "session/controls/Controls.h"
#include "session/frame/FrameOrigin.h"
#include "support/threads/Mutex.h"

namespace orq::session {

struct OpenOptions {
  SettingsUse settings = SettingsUse::Off;
  std::string settingsFolder;        ///< where they are kept, from the root on; empty: the store decides
  std::size_t frameMemoryBytes = 0;  ///< bound of all frames, ready and held; 0: four frames of the whole sensor
  bool resume = false;  ///< after a loss: reopen by itself when the camera is back, and go on with a video
};

/// What does not change while a camera is open.
struct CameraFacts {
  std::string model;     ///< full name
  std::string serial;    ///< 16 hexadecimal digits; empty: none
  std::string userId;    ///< the user's own name for it; empty: none
  std::string firmware;  ///< "1.2.3"
  bool usb3 = false;
  bool isVirtual = false;
};

struct ExposureProgress {
  bool running = false;  ///< an exposure or its readout is under way
  std::chrono::microseconds elapsed{0};
  std::chrono::microseconds exposure{0};
  std::chrono::microseconds limit{0};  ///< in which a frame comes that is exposed as the controls say
};

/// One camera from its opening to its closing; frames and readers outlive both. Any-thread throughout: what must
/// not overlap waits for its turn, and closing or aborting wakes whoever waits for a frame. Everything throws
/// Failure; on a closed camera with State, on one that was lost with Lost.
class Camera {
 public:
  /// Opens the camera called `name` (empty: the only one that is connected).
  static std::shared_ptr<Camera> Open(std::string_view name, const OpenOptions& options);
  ~Camera();
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;

  /// Ends capture and closes the device; whoever waits for a frame is cancelled. Closing again does nothing. Busy
  /// during flash work, which can be aborted.
  void Close();
  /// Closes in every state; flash work is aborted and waited for.
  void Leave();
  /// Opens again after `Close` or a loss: the camera with the same serial number, wherever it is plugged in, with
  /// controls, region, format, mode and cooler target as they were. No capture runs then. Nothing when it is open.
  /// NotFound: it is not there. Refused: only other ones of its model are.
  void Reopen();

  CameraFacts Facts();
  /// Asks the device for them again.
  void RefreshFacts();
  /// The file that flash was saved to before it was last overwritten; empty: it was not. Also of a closed camera.
  std::string LastBackup();
  void NoteBackup(const std::string& path);
  /// What a fresh camera of the model has; 0 for what can only be read.
  std::int64_t DefaultOf(const Control& control);
  const ModelData& Model() const { return named_.camera->Model(); }
  const NamedCamera& Named() const { return named_; }
  /// Whether kept settings have to do with this camera.
  bool HasSettings() const { return options_.settings != SettingsUse::Off; }

  /// Starts one exposure. `exposure` 0: as the control says. State: a capture runs.
  void StartExposure(std::chrono::microseconds exposure);
  ExposureProgress Progress();
  void StartVideo();
  /// Ends a video; nothing when none runs.
  void StopVideo();
  /// Ends exposure, video or long work (a dark, flash work) without its result, at once for whoever waits; the
  /// device's part may take longer than the call. Nothing when nothing runs.
  void Abort();
  /// The same for an exposure or a video only: guide pulses, the cooler and the focus motor go on.
  void AbortCapture();
  bool IsCapturing();
  /// Of the stream that runs or ran last; also of a camera that is lost or closed.
  StreamCounters Counters();

  /// A frame of `reader`, or of the default one when that is null. Waits up to `waitMs`; negative: for ever.
  FramePtr AwaitFrame(FrameReader* reader, int waitMs);
  std::shared_ptr<FrameReader> OpenReader(ReadMode mode, std::size_t depth);
  FrameMailbox& Frames() { return named_.camera->Mailbox(); }

  /// What goes with every frame that is published from now on; also of a closed camera.
  FrameOrigin Origin();
  void ChangeOrigin(const std::function<void(FrameOrigin&)>& change);

  void FitRegion(const FrameRegion& wanted, FrameRegion& fitted);
  void SetRegion(const FrameRegion& wanted, FrameRegion& applied);
  FrameRegion Region();

  EventQueue& Events() { return *events_; }

  /// Pulls a virtual camera's cable and plugs it in again; Unsupported for others.
  void UnplugVirtual();
  void ReplugVirtual();

  /// For services that a running capture does not disturb: the device, which is neither opened nor closed while
  /// this lives. Short: whoever closes waits for it.
  class Use {
   public:
    /// Throws when the camera cannot be used.
    explicit Use(Camera& camera);
    CModelCamera& operator*() const { return camera_; }
    CModelCamera* operator->() const { return &camera_; }

   private:
    std::shared_lock<std::shared_mutex> lock_;
    CModelCamera& camera_;
  };
  /// For services that start and stop captures, change the geometry or take long: one at a time. An abort that is
  /// under way is finished first.
  class Turn {
   public:
    explicit Turn(Camera& camera);
    CModelCamera& operator*() const { return camera_.Device(); }
    CModelCamera* operator->() const { return &camera_.Device(); }
    /// Whether somebody has aborted or closed since this turn began.
    bool IsOver() const { return camera_.aborts_ != aborts_; }

   private:
    Camera& camera_;
    std::unique_lock<std::mutex> lock_;
    std::uint64_t aborts_;
  };
  /// A turn during which the camera is not to be closed: `Close` answers Busy until its end.
  class FlashTurn : public Turn {
   public:
    explicit FlashTurn(Camera& camera) : Turn(camera), working_(camera.flashWork_) { working_ = true; }
    ~FlashTurn() { working_ = false; }
    FlashTurn(const FlashTurn&) = delete;
    FlashTurn& operator=(const FlashTurn&) = delete;

   private:
    std::atomic<bool>& working_;
  };

  /// Throws what fits a failure of the device: Lost when it is gone, else `what` with the link's reason.
  [[noreturn]] void Fail(const std::string& what);
  /// For work that an abort, a close or a loss cuts short; a video that ends beside it does not.
  Pause UntilAborted();
  /// For work on a video's frames: its end cuts it short, too.
  Pause UntilStopped();
  /// What is to be switched on again after a reopen.
  void NoteCooling(bool on) { cools_ = on; }

 private:
  enum class State : std::uint8_t { Open, Lost, Closed };
  enum class Capture : std::uint8_t { None, Exposure, Video };

  Camera() = default;
  CModelCamera& Device() const { return *named_.camera; }
  void OpenDevice(std::string_view name, const OpenOptions& options);
  void ReopenNow();
  CameraFacts ReadFacts();
  void KeepFacts(CameraFacts facts);
  void DemandOpen() const;
  void Start(Capture capture);
  void StopNow();
  void EndCapture();
  void FinishAbort();
  void Abort(bool all);
  void WakeWaiters();
  void CancelAll();
  Pause Until(const std::atomic<std::uint64_t>& count);
  /// Wakes the camera's own thread.
  void LookSoon(bool captureEnded);
  /// `starved`: frames came, and there was no memory for them.
  [[noreturn]] void FailWait(FrameMailbox::Result result, std::uint64_t stopsBefore, bool starved);

  // Camera's own thread.
  void Watch();
  void RunAbort();
  void Look(bool captureEnded);
  void NoticeLoss();
  void BecomeLost();
  void LookForReturn();
  void Resume();
  void TellFailure();
  void TellCooling();
  void TellGps();

  NamedCamera named_;
  OpenOptions options_;
  std::unique_ptr<EventQueue> events_ = std::make_unique<EventQueue>();

  /// Serialises what starts, stops, opens and closes, and long work. Taken before `life_`.
  std::mutex turn_;
  Capture capture_ = Capture::None;  ///< that began last; guarded by turn_, as the next three
  std::chrono::steady_clock::time_point exposureBegan_{};
  std::chrono::microseconds exposure_{0};
  bool goOn_ = false;  ///< a video that a loss has ended is to go on
  /// Held for writing while the device is opened or closed.
  std::shared_mutex life_;
  mutable Mutex factsMutex_;
  CameraFacts facts_ ORQ_GUARDED_BY(factsMutex_);
  FrameOrigin origin_ ORQ_GUARDED_BY(factsMutex_);
  std::string lastBackup_ ORQ_GUARDED_BY(factsMutex_);
  /// By control; found out when somebody asks, because it takes a camera object to tell.
  std::map<ORQ_CONTROL_TYPE, std::int64_t> defaults_ ORQ_GUARDED_BY(factsMutex_);

  std::atomic<State> state_{State::Closed};
  std::atomic<bool> flashWork_{false};
  std::atomic<bool> cools_{false};
  /// Counts up with every abort and close: long work that has begun before is cancelled.
  std::atomic<std::uint64_t> aborts_{0};
  /// Counts up with these, and with every stop of a video: whoever waits for its frames since before is cancelled.
  std::atomic<std::uint64_t> stops_{0};

  Mutex watchMutex_;
  std::condition_variable watchChanged_;
  std::atomic<bool> abortWanted_{false};  ///< its device part is still to be done
  bool look_ ORQ_GUARDED_BY(watchMutex_) = false;
  bool captureEnded_ ORQ_GUARDED_BY(watchMutex_) = false;
  bool ending_ ORQ_GUARDED_BY(watchMutex_) = false;
  std::thread watcher_;

  std::atomic<bool> justLost_{false};  ///< the camera's own thread is to look for a return from the beginning

  // Of the camera's own thread.
  bool returned_ = false;  ///< the camera that was lost is there again, and the program has been told
  std::string coolerTrouble_;
  std::optional<bool> gpsTimes_;  ///< the last frame had GPS time; nothing: was not asked
  std::vector<UsbDeviceEntry> seen_;
  std::chrono::steady_clock::time_point lookedAt_{};
};

}  // namespace orq::session
