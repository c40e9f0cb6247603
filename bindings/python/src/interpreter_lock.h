#pragma once
/// @file
/// Who may call Python. At the end of the process a thread that Python does not wait for, a daemon or one of
/// the module's own, no longer gets the lock; Python then unwinds it, which no frame of C++ between would
/// survive. Here it stands still instead for what is left of the process.

#include <pybind11/pybind11.h>

namespace Velmar::Lintrix::python {

/// Holds the interpreter's lock as long as it lives, in any thread.
class WithLock {
public:
    WithLock() noexcept;
    WithLock(const WithLock&) = delete;
    WithLock& operator=(const WithLock&) = delete;
    ~WithLock() { PyGILState_Release(before_); }

private:
    PyGILState_STATE before_;
};

/// Others may hold the interpreter's lock as long as it lives. @pre this thread holds it
class WithoutLock {
public:
    WithoutLock() noexcept : own_(PyEval_SaveThread()) {}
    WithoutLock(const WithoutLock&) = delete;
    WithoutLock& operator=(const WithoutLock&) = delete;
    ~WithoutLock();

private:
    PyThreadState* own_;
};

/// Calls what may give the lock away and want it back, as all that is written in Python does.
/// @pre this thread holds the lock   @throws py::error_already_set
void callInPython(const pybind11::object& callable, const pybind11::tuple& arguments);

} // namespace Velmar::Lintrix::python
