#pragma once
/// @file
/// The parts of the module `_lintrix`. What they offer is for the Python front alone, which brings arrays to
/// native cells and knows the defaults.

#include "arrays.h"

#include <pybind11/pybind11.h>

#include <functional>

namespace Velmar::Lintrix::python {

void bindFailures(py::module_& module);
void bindMatrices(py::module_& module);
void bindSystems(py::module_& module);
void bindTruncatedSvd(py::module_& module);
void bindMatrixMarket(py::module_& module);

} // namespace Velmar::Lintrix::python
