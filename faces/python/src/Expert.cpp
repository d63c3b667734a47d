// Registers and requests, for engineers: the package's module expert.
#include <orqcam/orqcam-expert.h>

#include <orqcam/orqcam.hpp>
#include <string>

#include "CameraClass.h"

namespace py = pybind11;

namespace orq::python {
namespace {

py::bytes RequestIn(Camera& camera, unsigned request, unsigned value, unsigned index, unsigned size) {
  constexpr unsigned kMost = 4096;
  if (size > kMost) throw RangeError("a request moves at most 4096 bytes");
  std::string data(size, '\0');
  {
    const py::gil_scoped_release others;
    check(orq_expert_request(camera.get(), 1, request, value, index, reinterpret_cast<std::uint8_t*>(data.data()),
                             size));
  }
  return data;
}

void RequestOut(Camera& camera, unsigned request, unsigned value, unsigned index, const py::bytes& sent) {
  std::string data = sent;
  const py::gil_scoped_release others;
  check(orq_expert_request(camera.get(), 0, request, value, index, reinterpret_cast<std::uint8_t*>(data.data()),
                           static_cast<std::uint32_t>(data.size())));
}

}  // namespace

void BindExpert(Class& camera) {
  camera
      .def(
          "read_register",
          [](Camera& device, int chip, unsigned address) {
            std::uint8_t value = 0;
            check(orq_expert_register_read(device.get(), chip, address, &value));
            return static_cast<unsigned>(value);
          },
          Alone())
      .def(
          "write_register",
          [](Camera& device, int chip, unsigned address, unsigned value) {
            check(orq_expert_register_write(device.get(), chip, address, value));
          },
          Alone())
      .def("request_in", &RequestIn)
      .def("request_out", &RequestOut);
}

}  // namespace orq::python
