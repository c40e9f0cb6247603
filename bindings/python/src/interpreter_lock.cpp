#include "interpreter_lock.h"

#include <cxxabi.h>
#include <unistd.h>

namespace Velmar::Lintrix::python {

namespace py = pybind11;

namespace {

/// Does what takes the lock, in C alone: nothing is left to be destroyed without it.
template <class Work>
auto doOrStandStill(Work work) noexcept
{
    try {
        return work();
    } catch (const abi::__forced_unwind&) { // the end of this thread, which must not leave the handler
        for (;;) pause();
    }
}

} // namespace

WithLock::WithLock() noexcept : before_(doOrStandStill([] { return PyGILState_Ensure(); }))
{
}

WithoutLock::~WithoutLock()
{
    doOrStandStill([&] { PyEval_RestoreThread(own_); });
}

void callInPython(const py::object& callable, const py::tuple& arguments)
{
    PyObject* const result =
        doOrStandStill([&] { return PyObject_Call(callable.ptr(), arguments.ptr(), nullptr); });
    if (result == nullptr) throw py::error_already_set();
    Py_DECREF(result);
}

} // namespace Velmar::Lintrix::python
