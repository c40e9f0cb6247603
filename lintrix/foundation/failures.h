#pragma once
/// @file
/// The failure types of the library and their texts.
///
/// `MatrixException` is the root of the library's own failures; seven types derive directly from it. Callers
/// compare the texts, so they are part of the contract. The second group are the failures of the host: bad
/// arguments, invalid state, unsupported cases, array access, formats, archives.

#include <lintrix/services/export.h>

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Velmar::Lintrix {

class SerializationInfo;
class StreamingContext;

namespace detail {
struct ArchiveAccess;
}

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

    const char* what() const noexcept override; ///< the message, which ends here at its first zero character
    std::string Message() const;                ///< the message, zero characters included
    /// The failure that caused this one; null if there is none.
    std::exception_ptr InnerException() const noexcept;
    /// A failure owns no buffer: nothing happens.
    void Dispose() noexcept {}
    /// Writes "Message", "InnerFailures" (how many there are, one inside the other), and the text of each,
    /// the nearest first, as "InnerMessage1", "InnerMessage2", ...
    void GetObjectData(SerializationInfo& info, const StreamingContext& context) const;

protected:
    /// For default messages: `text` has static storage, so that nothing is allocated when memory is short.
    struct Default {
        const char* text; ///< the message
    };
    /// A failure with its default message.
    explicit MatrixException(Default message) noexcept : text_(message.text) {}
    friend struct detail::ArchiveAccess;

    /// Restores a failure that `GetObjectData` wrote, for `FromArchive`; each inner failure comes back as a
    /// `MatrixException`.
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

/// The message of a failure of the host, whole, where `what` ends at the first zero character.
class LINTRIX_EXPORT FailureText {
public:
    const std::string& Message() const noexcept
    {
        return *message_;
    } ///< the message, zero characters included

protected:
    explicit FailureText(const std::string& message) : message_(std::make_shared<const std::string>(message))
    {
    }
    ~FailureText() = default;
    FailureText(const FailureText&) noexcept = default;
    FailureText& operator=(const FailureText&) noexcept = default;

private:
    std::shared_ptr<const std::string> message_; ///< shared, so that a copy cannot fail
};

/// A bad argument; `ParamName` is empty where the raise site names none.
class LINTRIX_EXPORT ArgumentException : public std::invalid_argument, public FailureText {
public:
    /// `paramName`: which argument is bad.
    explicit ArgumentException(const std::string& message, std::string_view paramName = {})
        : std::invalid_argument(message), FailureText(message),
          paramName_(std::make_shared<const std::string>(paramName))
    {
    }
    ~ArgumentException() override;

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
class LINTRIX_EXPORT InvalidOperationException : public std::logic_error, public FailureText {
public:
    explicit InvalidOperationException(const std::string& message)
        : std::logic_error(message), FailureText(message)
    {
    }
    ~InvalidOperationException() override;
};

/// The case is not supported.
class LINTRIX_EXPORT NotSupportedException : public std::logic_error, public FailureText {
public:
    explicit NotSupportedException(const std::string& message)
        : std::logic_error(message), FailureText(message)
    {
    }
    ~NotSupportedException() override;
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

/// A format of `FormatNumber` is none that it knows: "Format specifier was invalid."
class LINTRIX_EXPORT FormatException : public std::invalid_argument {
public:
    FormatException(); ///< its one text
    ~FormatException() override;
    std::string Message() const { return what(); } ///< the message
};

/// An archive lacks a key, holds another type, or is damaged.
class LINTRIX_EXPORT SerializationException : public std::runtime_error, public FailureText {
public:
    explicit SerializationException(const std::string& message)
        : std::runtime_error(message), FailureText(message)
    {
    }
    ~SerializationException() override;
};

} // namespace Velmar::Lintrix
