// Finding cameras.
#include <utility>

#include "api/Handles.h"
#include "api/Structs.h"
#include "link/usb/LibusbPort.h"
#include "virtual/bus/VirtualOptions.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

orq_camera_entry EntryOf(const CameraEntry& camera) {
  orq_camera_entry entry{};
  entry.size = sizeof entry;
  entry.speed = camera.speed == "USB 3" ? ORQ_SPEED_USB3 : ORQ_SPEED_USB2;
  CopyText(NameOf(camera), entry.name);
  CopyText(camera.model, entry.model);
  CopyText(camera.serial, entry.serial);
  CopyText(camera.userId, entry.user_id);
  CopyText(camera.trouble, entry.trouble);
  return entry;
}

orq_camera_entry VirtualEntry(const VirtualModelName& named, const ModelData& model) {
  orq_camera_entry entry{};
  entry.size = sizeof entry;
  entry.speed = model.usb3Camera ? ORQ_SPEED_USB3 : ORQ_SPEED_USB2;
  CopyText("virtual:" + named.name, entry.name);
  CopyText(model.name, entry.model);
  CopyText(named.summary, entry.summary);
  return entry;
}

}  // namespace

orq_status orq_list_cameras(uint32_t flags, orq_camera_list** list) {
  return Guarded([&] {
    orq_camera_list*& result = DemandResult(list, "list");
    constexpr uint32_t kAll = ORQ_LIST_USB | ORQ_LIST_VIRTUAL | ORQ_LIST_REPLAY;
    if (flags == 0 || (flags & ~kAll) != 0)
      throw session::Failure(session::Status::Invalid, "flags must be a sum of ORQ_LIST_...");
    auto made = std::make_unique<orq_camera_list>();
    if ((flags & ORQ_LIST_USB) != 0)
      for (const CameraEntry& camera : ListCameras()) made->entries.push_back(EntryOf(camera));
    for (const VirtualModelName& named : VirtualModels()) {
      const ModelData& model = *FindModel(named.name);
      const bool replays = model.maxWidth == 0;
      if ((flags & (replays ? ORQ_LIST_REPLAY : ORQ_LIST_VIRTUAL)) != 0)
        made->entries.push_back(VirtualEntry(named, model));
    }
    result = made.release();
  });
}

orq_status orq_camera_list_count(const orq_camera_list* list, int32_t* count) {
  return Guarded(
      [&] { DemandResult(count, "count") = static_cast<int32_t>(Demand(list, "list").entries.size()); });
}

orq_status orq_camera_list_get(const orq_camera_list* list, int32_t index, orq_camera_entry* entry) {
  return Guarded([&] {
    const auto& entries = Demand(list, "list").entries;
    DemandStruct(entry, "entry");
    if (index < 0 || static_cast<std::size_t>(index) >= entries.size())
      throw session::Failure(session::Status::Range,
                             "the list has " + std::to_string(entries.size()) + " cameras, counted from 0");
    GiveStruct(entries[static_cast<std::size_t>(index)], entry);
  });
}

void orq_camera_list_release(orq_camera_list* list) {
  Guarded([&] {
    if (list == nullptr) return;
    Demand(list, "list").mark = 0;
    delete list;
  });
}

orq_status orq_watch_cameras(orq_watch_callback callback, void* user, orq_watch** watch) {
  return Guarded([&] {
    orq_watch*& result = DemandResult(watch, "watch");
    if (callback == nullptr) throw session::Failure(session::Status::Invalid, "callback is null");
    auto made = std::make_unique<orq_watch>();
    const auto tell = [callback, user](bool pluggedIn, const CameraEntry& camera) {
      const orq_camera_entry entry = EntryOf(camera);
      callback(user, pluggedIn ? 1 : 0, &entry);
    };
    made->watcher = std::make_unique<session::CameraWatcher>(MakeLibusbPort, tell);
    result = made.release();
  });
}

void orq_watch_release(orq_watch* watch) {
  Guarded([&] {
    if (watch == nullptr) return;
    Demand(watch, "watch").mark = 0;
    delete watch;
  });
}
