// What the page can do with the cameras, beside the requests that ask for it.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "cameras/Cameras.h"
#include "live/tasks/Folder.h"
#include "live/tasks/LongWork.h"
#include "live/tasks/Recorder.h"
#include "live/view/LiveView.h"
#include "live/view/Measures.h"

namespace orq::network {

/// One camera of the page.
struct LiveCamera {
  LiveCamera(std::shared_ptr<CameraSlot> of, const Folder& folder)
      : slot(std::move(of)), view(slot), measures(view, slot), recorder(slot, folder), work(slot) {}

  std::shared_ptr<CameraSlot> slot;
  LiveView view;
  Measures measures;
  Recorder recorder;
  LongWork work;
};

/// All of them, each from the first request for it on. Any thread.
class Live {
 public:
  /// `cameras` must live longer.
  Live(Cameras& cameras, std::string folder) : cameras_(cameras), folder_(std::move(folder)) {}

  /// The camera with that number. Throws NotFoundError.
  LiveCamera& at(const std::string& number);
  const Folder& folder() const { return folder_; }

 private:
  Cameras& cameras_;
  const Folder folder_;
  std::mutex mutex_;
  std::map<int, std::unique_ptr<LiveCamera>> live_;
};

}  // namespace orq::network
