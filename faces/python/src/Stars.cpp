// The stars of a frame. Their list is a table of its own, so that the frame's memory may be free again.
#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <array>
#include <optional>
#include <orqcam/orqcam.hpp>
#include <vector>

#include "Bindings.h"

namespace py = pybind11;

namespace orq::python {
namespace {

/// A row of the table: what is said of a star.
struct Row {
  double x;
  double y;
  double flux;
  double peak;
  double hfr;
  double fwhm;
  bool saturated;
  bool cut_off;
};

Stars Find(const Frame& frame, const std::optional<std::array<std::int32_t, 4>>& part) {
  if (!part) return frame.stars();
  auto area = sized<orq_area>();
  area.x = (*part)[0];
  area.y = (*part)[1];
  area.width = (*part)[2];
  area.height = (*part)[3];
  return frame.stars(area);
}

py::array TableOf(const Stars& found) {
  std::vector<Row> rows;
  rows.reserve(found.stars.size());
  for (const orq_star& star : found.stars) {
    rows.push_back(
        {star.x, star.y, star.flux, star.peak, star.hfr, star.fwhm, star.saturated != 0, star.cut_off != 0});
  }
  return py::array_t<Row>(static_cast<py::ssize_t>(rows.size()), rows.data());
}

}  // namespace

void BindStars(py::module_& module) {
  PYBIND11_NUMPY_DTYPE(Row, x, y, flux, peak, hfr, fwhm, saturated, cut_off);
  py::class_<orq_star_summary>(module, "StarSummary")
      .def_readonly("stars", &orq_star_summary::stars)
      .def_readonly("measured", &orq_star_summary::measured)
      .def_readonly("saturated", &orq_star_summary::saturated)
      .def_readonly("hfr", &orq_star_summary::hfr)
      .def_readonly("fwhm", &orq_star_summary::fwhm)
      .def_readonly("arcsec_per_pixel", &orq_star_summary::arcsec_per_pixel)
      .def_readonly("background", &orq_star_summary::background)
      .def_readonly("noise", &orq_star_summary::noise);
  py::class_<Stars>(module, "Stars").def_readonly("summary", &Stars::summary).def("table", &TableOf);
  module.def("find_stars", &Find, py::call_guard<py::gil_scoped_release>());
}

}  // namespace orq::python
