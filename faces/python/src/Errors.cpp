// Failures as the package's exceptions: one for each status.
#include <orqcam/orqcam.hpp>

#include "Bindings.h"

namespace py = pybind11;

namespace orq::python {

void BindErrors(py::module_& module) {
  // The package registers its classes, by number of the status, before anything can fail.
  module.attr("errors") = py::dict();
  py::register_exception_translator([](std::exception_ptr thrown) {
    try {
      if (thrown) std::rethrow_exception(thrown);
    } catch (const Error& error) {
      const py::dict classes = py::module_::import("orqcam._orqcam").attr("errors");
      const py::int_ status(error.status());
      const py::object kind = classes.contains(status) ? py::object(classes[status])
                                                       : py::reinterpret_borrow<py::object>(PyExc_RuntimeError);
      PyErr_SetString(kind.ptr(), error.what());
    }
  });
}

}  // namespace orq::python
