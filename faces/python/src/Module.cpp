// The extension behind the package: orqcam.hpp, with the interpreter's lock released wherever a call waits or
// walks over pixels. The package's own modules give it the shape that Python's users expect.
#include "Bindings.h"

#include <pybind11/stl.h>

#include <orqcam/orqcam.hpp>

namespace py = pybind11;

PYBIND11_MODULE(_orqcam, module) {
  module.doc() = "orqcam.hpp for the package orqcam, which is what programs import.";
  orq::python::BindErrors(module);
  orq::python::BindStructs(module);
  orq::python::BindFrame(module);
  orq::python::BindStars(module);
  orq::python::BindCamera(module);
  module.def(
      "cameras",
      [](bool usb, bool isVirtual) {
        const py::gil_scoped_release others;
        std::uint32_t flags = 0;
        if (usb) flags |= ORQ_LIST_USB;
        if (isVirtual) flags |= ORQ_LIST_VIRTUAL;
        return flags == 0 ? std::vector<orq_camera_entry>() : orq::cameras(flags);
      },
      py::arg("usb"), py::arg("virtual"));
  module.def("clock_state", &orq::clockState);
  module.def("library_version", [] {
    std::int32_t major = 0;
    std::int32_t minor = 0;
    std::int32_t patch = 0;
    orq_library_version(&major, &minor, &patch);
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
  });
}
