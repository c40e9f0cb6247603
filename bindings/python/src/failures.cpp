#include "module.h"

#include <lintrix/foundation/failures.h>
#include <lintrix/sparse/file_format_exception.h>

#include <exception>
#include <new>
#include <string>

namespace Velmar::Lintrix::python {

namespace {

/// A message may name a file, whose name is bytes of any kind.
py::str textOf(const std::string& message)
{
    const auto length = static_cast<Py_ssize_t>(message.size());
    PyObject* const text = PyUnicode_DecodeUTF8(message.data(), length, "surrogateescape");
    if (text == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(text);
}

/// The classes of Python's front, which is there when the first failure comes.
template <class... More>
void raise(const char* name, const std::string& message, const More&... more)
{
    const py::object raised = py::module_::import("lintrix").attr(name)(textOf(message), more...);
    PyErr_SetObject(py::type::handle_of(raised).ptr(), raised.ptr());
}

const char* nameOf(const OperationFailedException& failure)
{
    return failure.Message() == "The deadline has passed." ? "DeadlineError" : "OperationError";
}

/// The nearest class of Python's for each failure of the library, its text as it is.
void translate(std::exception_ptr failure)
{
    try {
        if (failure) std::rethrow_exception(failure);
    } catch (const NotEnoughMemoryException& error) {
        raise("OutOfMemoryError", error.Message());
    } catch (const std::bad_alloc&) {
        raise("OutOfMemoryError", NotEnoughMemoryException().Message());
    } catch (const OperationFailedException& error) {
        raise(nameOf(error), error.Message());
    } catch (const FileFormatException& error) {
        raise("FileFormatError", error.Message(), error.Line());
    } catch (const MatrixException& error) { // sizes and indices
        raise("ArgumentError", error.Message());
    } catch (const ArgumentException& error) {
        raise("ArgumentError", error.Message());
    } catch (const NotSupportedException& error) {
        raise("OperationError", error.Message());
    } catch (const InvalidOperationException& error) {
        raise("OperationError", error.Message());
    } catch (const SerializationException& error) {
        raise("SavedSystemError", error.Message());
    }
}

} // namespace

void bindFailures(py::module_&)
{
    py::register_exception_translator(&translate);
}

} // namespace Velmar::Lintrix::python
