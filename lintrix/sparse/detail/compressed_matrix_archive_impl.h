#pragma once
/// @file
/// Byte form and archive of CompressedMatrix.

#include <lintrix/dense/detail/archive_form.h>
#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/dense/detail/kept.h>
#include <lintrix/sparse/compressed_matrix.h>
#include <lintrix/sparse/detail/foreign_rows.h>
#include <lintrix/sparse/detail/sizes.h>
#include <lintrix/sparse/detail/sparse_twin.h>

#include <utility>

namespace Velmar::Lintrix::detail {

// ---- bytes

template <class Cell>
std::vector<std::byte> CompressedMatrix<Cell>::Data() const
{
    return rowsToBytes(mRows, mCols, RowPointers(), Values(), ColumnIndices());
}

template <class Cell>
void CompressedMatrix<Cell>::Data(std::span<const std::byte> data)
{
    if constexpr (kHardened) requireKept(ia);
    const std::int32_t rows = sizeInBytes(data, 0), cols = sizeInBytes(data, 1);
    if (rows < 1 || cols < 1) { // stored first and refused then: what a caller reads after the failure
        mRows = rows;
        mCols = cols;
    }
    requireSparseSizes(rows, cols);
    ForeignRows<Cell> taken = rowsFromBytes<Cell>(data, rows, cols);
    mRows = rows;
    mCols = cols;
    setArrays(taken.elements, std::move(taken));
}

// ---- archive

template <class Cell>
void CompressedMatrix<Cell>::GetObjectData(SerializationInfo& info, const StreamingContext&) const
{
    const auto pointers = RowPointers(), indices = ColumnIndices();
    std::vector<std::int32_t> starts(pointers.begin(), pointers.end()),
        columns(indices.begin(), indices.end());
    auto values = archivedCells(a.get(), NumElements());
    info.AddValue("mRows", mRows);
    info.AddValue("mCols", mCols);
    info.AddValue("growFactor", _growFactor);
    info.AddValue(SparseTwin<Cell>::kMark, _oneTriangle);
    info.AddValue("_IA", std::move(starts));
    info.AddValue("_A", std::move(values));
    info.AddValue("_JA", std::move(columns));
}

template <class Cell>
CompressedMatrix<Cell>::CompressedMatrix(const SerializationInfo& info, const StreamingContext&)
{
    InitSer(info);
}

template <class Cell>
void CompressedMatrix<Cell>::InitSer(const SerializationInfo& info)
{
    mRows = info.GetInt32("mRows");
    mCols = info.GetInt32("mCols");
    if (mRows < 0) throw InvalidSizeException("Invalid number of rows."); // 0 may be set, and comes back
    _growFactor = info.GetSingle("growFactor");
    _oneTriangle = info.GetBoolean(SparseTwin<Cell>::kMark);
    auto IA = info.GetInt32Array("_IA");
    auto starts = takeBlock<std::int32_t>(IA, std::int64_t{mRows} + 1);
    const std::int32_t elements = elementsTold(starts, mRows);
    auto A = info.GetDoubleArray("_A");
    auto values = takeBlock<Cell>(A, elements);
    auto JA = info.GetInt32Array("_JA");
    auto columns = takeBlock<std::int32_t>(JA, elements);
    requireForeignColumns(starts, columns, mRows, mCols);
    setArrays(elements, {std::move(values), std::move(starts), std::move(columns)});
}

} // namespace Velmar::Lintrix::detail
