#pragma once
/// @file
/// What the fuzzers of matrix files have in common: what a file gives is written and read back to the same
/// bits, the ways of reading agree on it, and what is refused is refused with its place.

#include "fuzz/fuzzing.h"

#include <lintrix/files/matrix_file.h>

#include <algorithm>
#include <bit>
#include <complex>

namespace Velmar::Lintrix::fuzzing {

constexpr std::int64_t kLargest = 1000; // rows and columns: a size is taken at its word, and takes memory

/// Entries in the order of the file; nothing where it is refused, or large.
inline std::optional<MatrixMarketTriplets> readFile(const std::string& input, const std::string& name)
{
    std::istringstream in(input);
    try {
        MatrixFileReader reader(in, name);
        if (std::max(reader.Header().rows, reader.Header().cols) > kLargest || reader.RightHands() > kLargest)
            return std::nullopt;
        reader.AcceptNonFinite();
        auto triplets = reader.ReadTriplets();
        if (reader.RightHands() > 0) reader.ReadComplexRightHands();
        return triplets;
    } catch (const FileFormatException& e) {
        require(std::string_view(e.what()).starts_with(name + ":"), "a refusal names its file");
        return std::nullopt;
    } catch (const NotSupportedException&) { // more entries than a sparse matrix holds
        return std::nullopt;
    }
}

inline std::string bitsOf(const CSparseMatrix& A)
{
    std::ostringstream out;
    for (const auto [row, col, value] : A) {
        out << row << ',' << col << ',' << std::bit_cast<std::uint64_t>(value.real()) << ','
            << std::bit_cast<std::uint64_t>(value.imag()) << ' ';
    }
    return out.str();
}

inline CSparseMatrix readMatrix(const std::string& input, const std::string& name)
{
    std::istringstream in(input);
    MatrixFileReader reader(in, name);
    reader.AcceptNonFinite();
    return reader.ReadComplexSparse(MatrixMarketStorage::BothTriangles);
}

/// Through the archive, which holds every number.
inline void checkFile(const std::string& input, const std::string& name)
{
    const auto triplets = readFile(input, name);
    if (!triplets) return;
    const CSparseMatrix A = readMatrix(input, name);
    std::string archive;
    WriteMatrixFile(
        MatrixFileFormat::NumpyArchive, [&archive](std::string_view bytes) { archive.append(bytes); }, A);
    require(bitsOf(readMatrix(archive, "again.npz")) == bitsOf(A), "what was read survives an archive");
}

} // namespace Velmar::Lintrix::fuzzing
