// What the parts of the camera's class have in common: what blocks lets other threads run, and ends with Ctrl-C.
#pragma once

#include <memory>
#include <orqcam/orqcam.hpp>

#include "Bindings.h"
#include "Waiting.h"

namespace orq::python {

/// What ends with an object may take a while, and others run meanwhile: a camera's threads, which may wait for the
/// interpreter, a recording's disk, a video's last transfers.
template <class Object>
struct WithoutLock {
  void operator()(Object* object) const {
    const pybind11::gil_scoped_release others;
    delete object;
  }
};
using Holder = std::unique_ptr<Camera, WithoutLock<Camera>>;
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
