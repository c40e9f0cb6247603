#pragma once
/// @file
/// What the tests of the files room share.

#include "tests/support/files.h"

#include <lintrix/files/matrix_file.h>
#include <lintrix/sparse/entries.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {

inline SparseMatrix readSparse(const std::string& text, const std::string& name = "a.rua")
{
    std::istringstream in(text);
    return MatrixFileReader(in, name).ReadSparse();
}

inline CSparseMatrix readComplexSparse(const std::string& text, const std::string& name = "a.cua")
{
    std::istringstream in(text);
    return MatrixFileReader(in, name).ReadComplexSparse();
}

/// What is said of a text that is no sound file.
inline std::string faultOf(const std::string& text, const std::string& name = "a.rua")
{
    try {
        std::istringstream in(text);
        MatrixFileReader reader(in, name);
        reader.ReadComplexSparse();
        if (reader.RightHands() > 0) reader.ReadComplexRightHands();
    } catch (const FileFormatException& fault) {
        return fault.what();
    }
    return "no fault";
}

template <class Matrix>
std::string written(MatrixFileFormat format, const Matrix& matrix)
{
    std::string text;
    WriteMatrixFile(
        format, [&text](std::string_view piece) { text.append(piece); }, matrix);
    return text;
}

/// Places and bits of all stored entries.
template <class Sparse>
std::string bitsOf(const Sparse& A)
{
    std::ostringstream out;
    out << A.Rows() << ' ' << A.Cols() << ':';
    for (const auto [row, col, value] : A) {
        out << row << ',' << col << '=' << std::hex << std::bit_cast<std::uint64_t>(std::real(value)) << '+'
            << std::bit_cast<std::uint64_t>(std::imag(value)) << std::dec << ' ';
    }
    return out.str();
}

template <class Dense>
std::string bitsOfDense(const Dense& A)
{
    return std::to_string(A.Rows()) + " " + std::to_string(A.Cols()) + ":" +
           std::string(reinterpret_cast<const char*>(A.data()), A.size() * sizeof(*A.data()));
}

} // namespace Velmar::Lintrix::testing
