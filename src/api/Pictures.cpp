// Pictures of frames, in the caller's memory.
#include <algorithm>

#include "api/Handles.h"
#include "api/Structs.h"
#include "session/pictures/Picture.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

session::PictureOptions OptionsOf(const orq_preview_options* options) {
  if (options == nullptr) return {};
  const orq_preview_options given = TakeStruct(options, "options");
  if (given.max_width < 0 || given.max_height < 0)
    throw session::Failure(session::Status::Invalid, "options.max_width and max_height must not be negative");
  if (given.stretch != ORQ_STRETCH_AUTOMATIC && given.stretch != ORQ_STRETCH_NONE)
    throw session::Failure(session::Status::Invalid, "options.stretch must be one of ORQ_STRETCH_...");
  return {given.max_width, given.max_height, given.stretch == ORQ_STRETCH_AUTOMATIC};
}

}  // namespace

orq_status orq_frame_preview(const orq_frame* frame, const orq_preview_options* options, uint8_t* pixels,
                             size_t capacity, orq_picture* picture) {
  return Guarded([&] {
    const SharedFrame& shared = DemandFrame(frame);
    const session::PictureOptions wanted = OptionsOf(options);
    DemandStruct(picture, "picture");
    session::Picture made = session::PictureOf(shared.Info(), wanted);
    const orq_picture told{sizeof told, made.width, made.height, made.channels};
    if (pixels == nullptr && capacity == 0) return GiveStruct(told, picture);
    DemandResult(pixels, "pixels");
    const std::size_t bytes = static_cast<std::size_t>(made.width) * static_cast<std::size_t>(made.height) *
                              static_cast<std::size_t>(made.channels);
    if (capacity < bytes)
      throw session::Failure(session::Status::Invalid,
                             "the picture takes " + std::to_string(bytes) + " bytes: capacity must be as many");
    made = session::MakePicture(shared.Pixels(), shared.Info(), wanted);
    std::ranges::copy(made.samples, pixels);
    GiveStruct(told, picture);
  });
}
