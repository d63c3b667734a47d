// Frames and readers. A frame's pixels are never copied: arrays are views that hold the frame.
#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <orqcam/orqcam.hpp>
#include <utility>
#include <vector>

#include "Bindings.h"
#include "Waiting.h"

namespace py = pybind11;

namespace orq::python {
namespace {

/// How the pixels lie. Colours are seen as red, green, blue, while they lie the other way round.
py::buffer_info BufferOf(const Frame& frame) {
  using Steps = std::vector<py::ssize_t>;
  const orq_frame_info info = frame.info();
  const auto width = static_cast<py::ssize_t>(info.width);
  const auto height = static_cast<py::ssize_t>(info.height);
  auto* const bytes = const_cast<std::uint8_t*>(frame.data());
  const auto view = [](auto* first, Steps shape, Steps strides) {
    return py::buffer_info(first, std::move(shape), std::move(strides), true);
  };
  if (info.format == ORQ_FORMAT_RGB24) return view(bytes + 2, {height, width, 3}, {3 * width, 3, -1});
  if (info.format == ORQ_FORMAT_RAW16)
    return view(reinterpret_cast<std::uint16_t*>(bytes), {height, width}, {2 * width, 2});
  return view(bytes, {height, width}, {width, 1});
}

py::array ArrayOf(const py::object& holder) {
  py::array view(BufferOf(holder.cast<const Frame&>()), holder);
  view.attr("flags").attr("writeable") = false;
  return view;
}

py::object ValueOf(const orq_card& card) {
  switch (card.type) {
    case ORQ_CARD_LOGICAL:
      return py::bool_(card.integer != 0);
    case ORQ_CARD_INTEGER:
      return py::int_(card.integer);
    case ORQ_CARD_REAL:
      return py::float_(card.real);
    default:
      return py::str(Text(card.text));
  }
}

py::list CardsOf(const Frame& frame) {
  py::list cards;
  for (const orq_card& card : frame.header())
    cards.append(py::make_tuple(Text(card.name), ValueOf(card), Text(card.comment)));
  return cards;
}

py::array PreviewOf(const Frame& frame, int maxWidth, int maxHeight, bool stretch) {
  auto options = sized<orq_preview_options>();
  options.max_width = maxWidth;
  options.max_height = maxHeight;
  options.stretch = stretch ? ORQ_STRETCH_AUTOMATIC : ORQ_STRETCH_NONE;
  Picture picture;
  {
    const py::gil_scoped_release others;
    picture = frame.preview(options);
  }
  std::vector<py::ssize_t> shape{picture.height, picture.width};
  if (picture.channels == 3) shape.push_back(3);
  return py::array_t<std::uint8_t>(shape, picture.pixels.data());
}

/// The file's name.
std::string Save(const Frame& frame, const std::string& path, bool overwrite, bool preview, bool fast,
                 std::uint64_t number) {
  auto options = sized<orq_save_options>();
  options.overwrite = overwrite ? 1 : 0;
  options.preview = preview ? 1 : 0;
  options.fast = fast ? 1 : 0;
  options.number = number;
  const py::gil_scoped_release others;
  const orq_saved_files saved = frame.saveFiles(path, options);
  if (*saved.trouble != '\0') throw FileError(saved.trouble);
  return saved.file;
}

}  // namespace

void BindFrame(py::module_& module) {
  py::class_<Frame>(module, "Frame", py::buffer_protocol(), py::dynamic_attr())
      .def_buffer([](Frame& frame) { return BufferOf(frame); })
      .def_property_readonly(
          "array", &ArrayOf,
          "The pixels, a read-only view: (height, width), or (height, width, 3) with red, green, blue.")
      .def_property_readonly(
          "address", [](const Frame& frame) { return reinterpret_cast<std::uintptr_t>(frame.data()); },
          "Where the pixels lie in memory.")
      .def_property_readonly("info", &Frame::info, "All that is known about the frame: a FrameInfo.")
      .def_property_readonly("gps", &Frame::gps, "What the GPS says about it: a FrameGps.")
      .def("disc", &Frame::disc, py::call_guard<py::gil_scoped_release>())
      .def("statistics", &Frame::statistics, py::call_guard<py::gil_scoped_release>())
      .def("cards", &CardsOf)
      .def("preview", &PreviewOf, py::arg("max_width"), py::arg("max_height"), py::arg("stretch"))
      .def("save", &Save, py::arg("path"), py::arg("overwrite"), py::arg("preview"), py::arg("fast"),
           py::arg("number"));

  py::class_<Reader>(module, "Reader")
      .def("wait",
           [](Reader& reader, std::optional<double> seconds) {
             return AwaitFrame([&](std::chrono::nanoseconds slice) { return reader.wait(slice); }, seconds);
           })
      .def("counters", &Reader::counters);
}

}  // namespace orq::python
