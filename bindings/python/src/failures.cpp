#include "module.h"

#include <lintrix/foundation/failures.h>
#include <lintrix/sparse/file_format_exception.h>

#include <exception>
#include <new>
#include <string>

namespace Velmar::Lintrix::python {

namespace {

/// The classes of Python's front, which is there when the first failure comes.
void raise(const char* name, const std::string& message)
{
    const py::object type = py::module_::import("lintrix").attr(name);
    PyErr_SetObject(type.ptr(), py::str(message).ptr());
}

void raiseFileFailure(const FileFormatException& failure)
{
    const py::object raised =
        py::module_::import("lintrix").attr("FileFormatError")(failure.Message(), failure.Line());
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
        raiseFileFailure(error);
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
