// Failures as the package's exceptions: one for each status.
#include <orqcam/orqcam.hpp>

#include "Bindings.h"

namespace py = pybind11;

namespace orq::python {

void BindErrors(py::module_& module) {
  // The package registers its classes, by number of the status, before anything can fail.
  module.attr("errors") = py::dict();
  // NOLINTNEXTLINE(performance-unnecessary-value-param): of this type are translators
  py::register_exception_translator([](std::exception_ptr thrown) {
    try {
      if (thrown) std::rethrow_exception(thrown);
    } catch (const Error& error) {
      const py::dict classes = py::module_::import("orqcam._orqcam").attr("errors");
      const py::int_ status(error.status());
      // A library that is newer than this module may have a status more: Error, which stands at 0.
      const py::object kind = classes[classes.contains(status) ? status : py::int_(0)];
      PyErr_SetString(kind.ptr(), error.what());
    }
  });
}

}  // namespace orq::python
