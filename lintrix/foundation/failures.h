#pragma once
/// @file
/// The failure types of the library and their texts.
///
/// `MatrixException` is the root of the library's own failures; seven types derive directly from it. Callers
/// compare the texts, so they are part of the contract. The second group are the failures of the host: bad
/// arguments, invalid state, unsupported cases, array access.

#include <lintrix/services/export.h>

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Velmar::Lintrix {

class SerializationInfo;
class StreamingContext;

/// Root of the library's own failures: a message and, optionally, an inner failure. Copying never throws.
class LINTRIX_EXPORT MatrixException : public std::exception {
public:
    /// "Exception of type 'Velmar.Lintrix.MatrixException' was thrown."
    MatrixException() noexcept;
    /// A message of the raise site, and the failure that caused this one.
    explicit MatrixException(std::string_view message, std::exception_ptr innerException = nullptr);
    /// Both share the details.
    MatrixException(const MatrixException&) noexcept = default;
    /// Both share the details.
    MatrixException& operator=(const MatrixException&) noexcept = default;
    ~MatrixException() override;

    const char* what() const noexcept override;    ///< the message
    std::string Message() const { return what(); } ///< the message
    /// The failure that caused this one; null if there is none.
    std::exception_ptr InnerException() const noexcept;
    /// A failure owns no buffer: nothing happens.
    void Dispose() noexcept {}
    /// Writes "Message" and "InnerMessage" (empty if there is no inner failure).
    void GetObjectData(SerializationInfo& info, const StreamingContext& context) const;

protected:
    /// For default messages: `text` has static storage, so that nothing is allocated when memory is short.
    struct Default {
        const char* text; ///< the message
    };
    /// A failure with its default message.
    explicit MatrixException(Default message) noexcept : text_(message.text) {}
    /// Restores a failure that `GetObjectData` wrote; an inner failure comes back as a `MatrixException`.
    /// @throws SerializationException  a key is missing or of another type
    MatrixException(const SerializationInfo& info, const StreamingContext& context);

private:
    struct Details {
        std::string message;
        std::exception_ptr inner;
    };
    const char* text_ = nullptr;             ///< the default message, when `details_` is empty
    std::shared_ptr<const Details> details_; ///< shared, so that a copy cannot fail
};

/// "This operation requires a non-singular matrix."
class LINTRIX_EXPORT SingularMatrixException : public MatrixException {
public:
    SingularMatrixException() noexcept;
    using MatrixException::MatrixException;
};

/// "Row or column index exceeds matrix size."
class LINTRIX_EXPORT IndexOutOfBoundsException : public MatrixException {
public:
    IndexOutOfBoundsException() noexcept;
    using MatrixException::MatrixException;
};

/// "Matrix sizes do not match."
class LINTRIX_EXPORT SizeMismatchException : public MatrixException {
public:
    SizeMismatchException() noexcept;
    using MatrixException::MatrixException;
};

/// "Invalid number of rows or columns."
class LINTRIX_EXPORT InvalidSizeException : public MatrixException {
public:
    InvalidSizeException() noexcept;
    using MatrixException::MatrixException;
};

/// "Matrix is not square."
class LINTRIX_EXPORT NotSquareMatrixException : public MatrixException {
public:
    NotSquareMatrixException() noexcept;
    using MatrixException::MatrixException;
};

/// "There is not enough memory to continue the execution." Raised by the allocators, nowhere else.
class LINTRIX_EXPORT NotEnoughMemoryException : public MatrixException {
public:
    NotEnoughMemoryException() noexcept;
    using MatrixException::MatrixException;
};

/// "Operation has failed to complete."
class LINTRIX_EXPORT OperationFailedException : public MatrixException {
public:
    OperationFailedException() noexcept;
    using MatrixException::MatrixException;
};

/// A bad argument; `ParamName` is empty where the raise site names none.
class LINTRIX_EXPORT ArgumentException : public std::invalid_argument {
public:
    /// `paramName`: which argument is bad.
    explicit ArgumentException(const std::string& message, std::string_view paramName = {})
        : std::invalid_argument(message), paramName_(std::make_shared<const std::string>(paramName))
    {
    }
    ~ArgumentException() override;

    std::string Message() const { return what(); }                        ///< the message
    const std::string& ParamName() const noexcept { return *paramName_; } ///< which argument is bad

private:
    std::shared_ptr<const std::string> paramName_;
};

/// An argument outside the values that the operation accepts.
class LINTRIX_EXPORT ArgumentOutOfRangeException : public ArgumentException {
public:
    using ArgumentException::ArgumentException;
    ~ArgumentOutOfRangeException() override;
};

/// The object is not in a state for this operation. The hardened build raises it for a caller's broken duty.
class LINTRIX_EXPORT InvalidOperationException : public std::logic_error {
public:
    using std::logic_error::logic_error;
    ~InvalidOperationException() override;
    std::string Message() const { return what(); } ///< the message
};

/// The case is not supported.
class LINTRIX_EXPORT NotSupportedException : public std::logic_error {
public:
    using std::logic_error::logic_error;
    ~NotSupportedException() override;
    std::string Message() const { return what(); } ///< the message
};

/// An empty function object was called.
class LINTRIX_EXPORT NullReferenceException : public std::logic_error {
public:
    NullReferenceException();
    ~NullReferenceException() override;
    std::string Message() const { return what(); } ///< the message
};

/// Access outside a plain array.
class LINTRIX_EXPORT IndexOutOfRangeException : public std::out_of_range {
public:
    IndexOutOfRangeException();
    ~IndexOutOfRangeException() override;
    std::string Message() const { return what(); } ///< the message
};

/// An archive lacks a key, holds another type, or is damaged.
class LINTRIX_EXPORT SerializationException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~SerializationException() override;
    std::string Message() const { return what(); } ///< the message
};

} // namespace Velmar::Lintrix
