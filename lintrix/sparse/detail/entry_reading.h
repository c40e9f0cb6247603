#pragma once
/// @file
/// Entries that a file gives one after another, made a matrix: what mirrors them, and how they are put
/// together.
///
/// `visit` is given what takes an entry, take(row, col, value) from 0, and calls it for each entry as it
/// stands in the file: of one with a symmetry the lower triangle.

#include <lintrix/complex/access.h>
#include <lintrix/dense/access.h>
#include <lintrix/sparse/matrix_market.h>
#include <lintrix/sparse/sparse_assembler.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Velmar::Lintrix::detail {

/// What stands on the other side of the diagonal.
inline double across(MatrixMarketSymmetry symmetry, double value)
{
    return symmetry == MatrixMarketSymmetry::SkewSymmetric ? -value : value;
}
inline std::complex<double> across(MatrixMarketSymmetry symmetry, std::complex<double> value)
{
    if (symmetry == MatrixMarketSymmetry::Hermitian) return std::conj(value);
    return symmetry == MatrixMarketSymmetry::SkewSymmetric ? -value : value;
}

/// Mirrored entries included; `entriesRead` grows by how many these are.
template <class Cell, class Visit, class Take>
void visitBothTriangles(MatrixMarketSymmetry symmetry, std::int64_t& entriesRead, Visit visit, Take take)
{
    const bool mirrored = symmetry != MatrixMarketSymmetry::General;
    std::int64_t pairs = 0;
    visit([&](std::int32_t row, std::int32_t col, const Cell& value) {
        take(row, col, value);
        if (!mirrored || row == col) return;
        take(col, row, across(symmetry, value));
        ++pairs;
    });
    entriesRead += pairs;
}

/// Whether a class of these cells can mark it. A symmetric matrix of real numbers is Hermitian, one of
/// complex numbers is not.
template <class Cell>
bool canBeMarked(const MatrixMarketHeader& header)
{
    const bool symmetric = header.symmetry == MatrixMarketSymmetry::Symmetric;
    if constexpr (sizeof(Cell) == sizeof(double)) return symmetric;
    return header.symmetry == MatrixMarketSymmetry::Hermitian ||
           (symmetric && header.field != MatrixMarketField::ComplexNumber);
}

/// Upper triangle where that is asked for and can be marked, or all entries with the mirrored ones. Entries
/// below the diagonal are those of the file, so the ones above are their mirror images.
template <class Cell, class Visit>
SparseOf<Cell> sparseFrom(const MatrixMarketHeader& header, MatrixMarketStorage storage, std::size_t reserved,
                          std::int64_t& entriesRead, Visit visit)
{
    const bool upper = storage == MatrixMarketStorage::UpperTriangle && canBeMarked<Cell>(header);
    SparseAssemblerOptions options;
    if (upper) options = {.storage = AssemblyStorage::Symmetric, .lower = LowerEntries::Mirror};
    Assembler<Cell> entries(header.rows, header.cols, options);
    entries.Reserve(reserved);
    const auto add = [&entries](std::int32_t row, std::int32_t col, const Cell& value) {
        entries.Add(row, col, value);
    };
    if (upper) {
        visit(add);
    } else {
        visitBothTriangles<Cell>(header.symmetry, entriesRead, visit, add);
    }
    return entries.Assemble();
}

/// @throws FileFormatException  more cells than a dense matrix holds
inline void requireDenseSize(const MatrixMarketHeader& header)
{
    const std::int64_t rows = header.rows, cols = header.cols;
    if (rows * cols <= INT32_MAX) return;
    throw FileFormatException(header.file, header.sizeLine,
                              "a dense " + std::to_string(rows) + " x " + std::to_string(cols) +
                                  " matrix has " + std::to_string(rows * cols) + " cells, more than " +
                                  std::to_string(INT32_MAX));
}

/// The full matrix. An array gives each cell once; of entries only those behind the first at their place are
/// added to it, for a sum with the zero that stands there would lose the sign of a -0.0.
template <class Cell, class Visit>
MatrixOf<Cell> denseFrom(const MatrixMarketHeader& header, std::int64_t& entriesRead, Visit visit)
{
    requireDenseSize(header);
    MatrixOf<Cell> matrix(header.rows, header.cols);
    Cell* const cells = AccessTo<Cell>::cells(matrix);
    const std::size_t rows = static_cast<std::size_t>(header.rows);
    std::vector<bool> given(header.form == MatrixMarketForm::Array ? 0 : matrix.size());
    visitBothTriangles<Cell>(header.symmetry, entriesRead, visit,
                             [&](std::size_t row, std::size_t col, const Cell& value) {
                                 const std::size_t place = row + rows * col;
                                 if (given.empty() || !given[place])
                                     cells[place] = value;
                                 else
                                     cells[place] += value;
                                 if (!given.empty()) given[place] = true;
                             });
    return matrix;
}

template <class Visit>
MatrixMarketTriplets tripletsFrom(const MatrixMarketHeader& header, std::size_t reserved, Visit visit)
{
    MatrixMarketTriplets triplets{header.rows, header.cols, header.field, header.symmetry, {}, {}, {}};
    triplets.rowIndices.reserve(reserved);
    triplets.colIndices.reserve(reserved);
    triplets.values.reserve(reserved);
    visit([&triplets](std::int32_t row, std::int32_t col, const std::complex<double>& value) {
        triplets.rowIndices.push_back(row);
        triplets.colIndices.push_back(col);
        triplets.values.push_back(value);
    });
    return triplets;
}

} // namespace Velmar::Lintrix::detail
