// What the parts of the camera's class have in common: what blocks lets other threads run, and ends with Ctrl-C.
#pragma once

#include <memory>
#include <orqcam/orqcam.hpp>

#include "Bindings.h"
#include "Waiting.h"

namespace orq::python {

/// Closing a camera waits for its threads, which may wait for the interpreter.
struct CloseWithoutLock {
  void operator()(Camera* camera) const {
    const pybind11::gil_scoped_release others;
    delete camera;
  }
};
using Holder = std::unique_ptr<Camera, CloseWithoutLock>;
using Class = pybind11::class_<Camera, Holder>;
using Alone = pybind11::call_guard<pybind11::gil_scoped_release>;

/// A call of `camera` that takes long; a signal aborts it.
template <class Work>
auto Long(Camera& camera, Work work) {
  return Interruptible([&camera, work] { return work(camera); }, [&camera] { orq_capture_abort(camera.get()); });
}

void BindDevices(Class& camera);
void BindCorrections(Class& camera, pybind11::module_& module);
void BindExpert(Class& camera);
void BindRecordings(Class& camera, pybind11::module_& module);

}  // namespace orq::python
