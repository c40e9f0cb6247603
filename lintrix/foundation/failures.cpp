#include <lintrix/foundation/archive.h>
#include <lintrix/foundation/failures.h>

#include <utility>

namespace Velmar::Lintrix {

namespace {

constexpr const char* kMatrix = "Exception of type 'Velmar.Lintrix.MatrixException' was thrown.";
constexpr const char* kSingularMatrix = "This operation requires a non-singular matrix.";
constexpr const char* kIndexOutOfBounds = "Row or column index exceeds matrix size.";
constexpr const char* kSizeMismatch = "Matrix sizes do not match.";
constexpr const char* kInvalidSize = "Invalid number of rows or columns.";
constexpr const char* kNotSquareMatrix = "Matrix is not square.";
constexpr const char* kNotEnoughMemory = "There is not enough memory to continue the execution.";
constexpr const char* kOperationFailed = "Operation has failed to complete.";
constexpr const char* kNullReference = "Object reference not set to an instance of an object.";
constexpr const char* kIndexOutOfRange = "Index was outside the bounds of the array.";
constexpr const char* kFormat = "Format specifier was invalid.";

std::string messageOf(const std::exception_ptr& failure)
{
    if (!failure) return {};
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "Unknown failure.";
    }
}

std::exception_ptr restoredInner(const std::string& message)
{
    return message.empty() ? nullptr : std::make_exception_ptr(MatrixException(message));
}

} // namespace

MatrixException::MatrixException() noexcept : text_(kMatrix)
{
}

MatrixException::MatrixException(std::string_view message, std::exception_ptr innerException)
    : details_(std::make_shared<const Details>(Details{std::string(message), std::move(innerException)}))
{
}

MatrixException::MatrixException(const SerializationInfo& info, const StreamingContext&)
    // Braces: read in this order, so that the first missing key is the one complained of.
    : details_(std::make_shared<const Details>(
          Details{info.GetString("Message"), restoredInner(info.GetString("InnerMessage"))}))
{
}

MatrixException::~MatrixException() = default;

const char* MatrixException::what() const noexcept
{
    return details_ ? details_->message.c_str() : text_;
}

std::exception_ptr MatrixException::InnerException() const noexcept
{
    return details_ ? details_->inner : nullptr;
}

void MatrixException::GetObjectData(SerializationInfo& info, const StreamingContext&) const
{
    info.AddValue("Message", Message());
    info.AddValue("InnerMessage", messageOf(InnerException()));
}

SingularMatrixException::SingularMatrixException() noexcept : MatrixException(Default{kSingularMatrix})
{
}
IndexOutOfBoundsException::IndexOutOfBoundsException() noexcept : MatrixException(Default{kIndexOutOfBounds})
{
}
SizeMismatchException::SizeMismatchException() noexcept : MatrixException(Default{kSizeMismatch})
{
}
InvalidSizeException::InvalidSizeException() noexcept : MatrixException(Default{kInvalidSize})
{
}
NotSquareMatrixException::NotSquareMatrixException() noexcept : MatrixException(Default{kNotSquareMatrix})
{
}
NotEnoughMemoryException::NotEnoughMemoryException() noexcept : MatrixException(Default{kNotEnoughMemory})
{
}
OperationFailedException::OperationFailedException() noexcept : MatrixException(Default{kOperationFailed})
{
}

ArgumentException::~ArgumentException() = default;
ArgumentOutOfRangeException::~ArgumentOutOfRangeException() = default;
InvalidOperationException::~InvalidOperationException() = default;
NotSupportedException::~NotSupportedException() = default;
NullReferenceException::NullReferenceException() : std::logic_error(kNullReference)
{
}
NullReferenceException::~NullReferenceException() = default;
IndexOutOfRangeException::IndexOutOfRangeException() : std::out_of_range(kIndexOutOfRange)
{
}
IndexOutOfRangeException::~IndexOutOfRangeException() = default;
FormatException::FormatException() : std::invalid_argument(kFormat)
{
}
FormatException::~FormatException() = default;
SerializationException::~SerializationException() = default;

} // namespace Velmar::Lintrix
