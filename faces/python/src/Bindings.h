// The parts of the extension.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

namespace orq::python {

/// A text of a struct of the C interface.
template <std::size_t kBytes>
std::string Text(const char (&text)[kBytes]) {
  return {text};
}

void BindErrors(pybind11::module_& module);
void BindStructs(pybind11::module_& module);
void BindFrame(pybind11::module_& module);
void BindStars(pybind11::module_& module);
void BindCamera(pybind11::module_& module);

}  // namespace orq::python
