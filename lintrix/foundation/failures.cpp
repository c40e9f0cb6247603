#include <lintrix/foundation/archive.h>
#include <lintrix/foundation/failures.h>

#include <cstdint>
#include <utility>
#include <vector>

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

// The text of an inner failure, whole where its type keeps it whole, and the failure inside it.
std::pair<std::string, std::exception_ptr> toldBy(const std::exception_ptr& failure)
{
    try {
        std::rethrow_exception(failure);
    } catch (const MatrixException& e) {
        return {e.Message(), e.InnerException()};
    } catch (const FailureText& e) {
        return {e.Message(), nullptr};
    } catch (const std::exception& e) {
        return {e.what(), nullptr};
    } catch (...) {
        return {"Unknown failure.", nullptr};
    }
}

// The texts of the inner failures, the nearest first.
std::vector<std::string> innerMessages(std::exception_ptr failure)
{
    std::vector<std::string> messages;
    while (failure) {
        auto [message, inner] = toldBy(failure);
        messages.push_back(std::move(message));
        failure = std::move(inner);
    }
    return messages;
}

std::string innerKey(std::int32_t depth)
{
    return "InnerMessage" + std::to_string(depth);
}

// The chain of `count` inner failures; null for none.
std::exception_ptr restoredInner(const SerializationInfo& info, std::int32_t count)
{
    std::vector<std::string_view> messages; // read first: the first missing key is the one complained of
    for (std::int32_t depth = 1; depth <= count; ++depth) messages.push_back(info.GetString(innerKey(depth)));
    std::exception_ptr inner;
    for (auto message = messages.rbegin(); message != messages.rend(); ++message) {
        inner = std::make_exception_ptr(MatrixException(*message, std::move(inner)));
    }
    return inner;
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
          Details{info.GetString("Message"), restoredInner(info, info.GetInt32("InnerFailures"))}))
{
}

MatrixException::~MatrixException() = default;

std::string MatrixException::Message() const
{
    return details_ ? details_->message : text_;
}

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
    const std::vector<std::string> inner = innerMessages(InnerException());
    const auto count = static_cast<std::int32_t>(inner.size());
    info.AddValue("Message", Message());
    info.AddValue("InnerFailures", count);
    for (std::int32_t depth = 1; depth <= count; ++depth) {
        info.AddValue(innerKey(depth), inner[static_cast<std::size_t>(depth - 1)]);
    }
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
