#pragma once
/// @file
/// One array as NumPy keeps it in a file, versions 1 to 3 of its form: "\x93NUMPY", the version, a dictionary
/// that tells type, order and shape, then the elements.

#include <lintrix/services/export.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Bytes one after another, with the name of their file and how far they are, for messages.
class BinaryReader {
public:
    /// As `ByteSource::read`: the next bytes, at most `size`; 0 at the end, and at a fault.
    using Read = std::function<std::size_t(char* target, std::size_t size)>;
    /// Empty, or what is wrong with the bytes.
    using Fault = std::function<std::string()>;

    /// No more than `limit` bytes can come.
    BinaryReader(Read read, Fault fault, std::string name, std::uint64_t limit)
        : read_(std::move(read)), fault_(std::move(fault)), name_(std::move(name)), limit_(limit)
    {
    }

    /// All of `size` bytes. @throws FileFormatException  they are not there: "... the file ends before
    /// `what`"
    void take(char* target, std::size_t size, std::string_view what);
    std::string take(std::size_t size, std::string_view what);
    bool atEnd();

    const std::string& name() const noexcept { return name_; }
    std::uint64_t limit() const noexcept { return limit_; }
    std::uint64_t position() const noexcept { return position_; }
    /// "FILE: byte 17: ..."
    [[noreturn]] void fail(std::string_view text) const;
    [[noreturn]] void failAt(std::uint64_t position, std::string_view text) const;

private:
    Read read_;
    Fault fault_;
    std::string name_;
    std::uint64_t limit_;
    std::uint64_t position_ = 0;
};

/// What the elements are.
enum class NpyKind : std::int32_t { Real, Integer, Unsigned, Boolean, ComplexNumber, Text, WideText };

struct NpyHeader {
    NpyKind kind = NpyKind::Real;
    std::int32_t bytes = 8; ///< of an element
    bool swapped = false;   ///< most significant byte first
    bool fortranOrder = false;
    std::vector<std::int64_t> shape{};

    /// The product of the shape. 1 of a single number.
    std::int64_t elements() const noexcept;
};

/// Reads as far as the elements. @throws FileFormatException  it is no such array, its type is none of
/// numbers or plain text, or it has more elements than the bytes that can follow
NpyHeader readNpyHeader(BinaryReader& bytes);

/// Visits the elements in the order in which they stand: take(index, value).
using NpyTake = std::function<void(std::int64_t index, const std::complex<double>& value)>;
void readNpyElements(BinaryReader& bytes, const NpyHeader& header, const NpyTake& take);
/// An array of whole numbers that fit 64 bits with a sign; any other is a fault, which calls it `what`.
std::vector<std::int64_t> readNpyWholes(BinaryReader& bytes, std::string_view what);
/// A single word, without zeros at its end.
std::string readNpyText(BinaryReader& bytes);

/// The head of an array of doubles ("<f8"), complex numbers ("<c16"), 32- or 64-bit whole numbers ("<i4",
/// "<i8") or bytes ("|S3"), 64 bytes aligned; `shape` as "(3, 4)".
std::string npyHead(std::string_view type, bool fortranOrder, std::string_view shape);

} // namespace Velmar::Lintrix::detail
