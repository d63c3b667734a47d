// Tables of hot pixels.
#include <memory>
#include <utility>

#include "api/Darks.h"
#include "api/Handles.h"
#include "api/Structs.h"
#include "session/camera/CameraHotPixels.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

orq_hot_pixel_table* HandleOf(session::HotPixelView view) {
  auto made = std::make_unique<orq_hot_pixel_table>();
  made->view = std::move(view);
  return made.release();
}

template <class Entries>
const auto& EntryAt(const Entries& entries, int32_t index, const char* what) {
  if (index < 0 || static_cast<std::size_t>(index) >= entries.size()) {
    throw session::Failure(session::Status::Range,
                           "the table has " + std::to_string(entries.size()) + " " + what + ", counted from 0");
  }
  return entries[static_cast<std::size_t>(index)];
}

}  // namespace

orq_status orq_hot_pixels_repair(orq_camera* camera, int32_t on) {
  return Guarded([&] { session::RepairHotPixels(*CameraOf(camera), on != 0); });
}

orq_status orq_hot_pixels_get_repair(orq_camera* camera, int32_t* on) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandResult(on, "on") = session::RepairsHotPixels(*opened) ? 1 : 0;
  });
}

orq_status orq_hot_pixels_read(orq_camera* camera, orq_hot_pixel_table** table) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandResult(table, "table");
    *table = HandleOf(session::ReadHotPixels(*opened));
  });
}

orq_status orq_hot_pixels_find(orq_camera* camera, const orq_dark_options* options, orq_dark_callback callback,
                               void* user, orq_dark_info* info, orq_hot_pixel_table** table) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    const orq_dark_options wanted = options == nullptr ? orq_dark_options{} : TakeStruct(options, "options");
    if (info != nullptr) DemandStruct(info, "info");
    DemandResult(table, "table");
    session::FoundHotPixels found = session::FindHotPixels(*opened, wanted.frames, TellerOf(callback, user));
    *table = HandleOf(std::move(found.table));
    if (info != nullptr) GiveStruct(InfoOf(found.dark), info);
  });
}

orq_status orq_hot_pixel_table_get_counts(const orq_hot_pixel_table* table, orq_hot_pixel_counts* counts) {
  return Guarded([&] {
    const session::HotPixelView& view = Demand(table, "table").view;
    DemandStruct(counts, "counts");
    GiveStruct({sizeof *counts, view.width, view.height, static_cast<int32_t>(view.pixels.size()),
                static_cast<int32_t>(view.badRows.size()), static_cast<int32_t>(view.leftOut)},
               counts);
  });
}

orq_status orq_hot_pixel_table_get_pixel(const orq_hot_pixel_table* table, int32_t index, int32_t* x, int32_t* y) {
  return Guarded([&] {
    const session::HotPixelView& view = Demand(table, "table").view;
    DemandResult(x, "x");
    DemandResult(y, "y");
    const auto& pixel = EntryAt(view.pixels, index, "hot pixels");
    *x = pixel.x;
    *y = pixel.y;
  });
}

orq_status orq_hot_pixel_table_get_bad_row(const orq_hot_pixel_table* table, int32_t index, int32_t* y) {
  return Guarded([&] {
    const session::HotPixelView& view = Demand(table, "table").view;
    DemandResult(y, "y");
    *y = EntryAt(view.badRows, index, "bad rows");
  });
}

orq_status orq_hot_pixel_table_save(const orq_hot_pixel_table* table, const char* path, int32_t format,
                                    int32_t overwrite) {
  return Guarded([&] {
    const session::HotPixelView& view = Demand(table, "table").view;
    DemandText(path, "path");
    if (format < ORQ_TABLE_CSV || format > ORQ_TABLE_PNG)
      throw session::Failure(session::Status::Invalid, "format must be one of ORQ_TABLE_...");
    session::SaveHotPixels(view, path, static_cast<session::TableFormat>(format),
                           overwrite != 0 ? Existing::Overwrite : Existing::Keep);
  });
}

void orq_hot_pixel_table_release(orq_hot_pixel_table* table) {
  Guarded([&] {
    if (table == nullptr) return;
    Demand(table, "table").mark = 0;
    delete table;
  });
}
