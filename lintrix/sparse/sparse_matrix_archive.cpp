// Byte form and archive of SparseMatrix.

#include <lintrix/sparse/sparse_matrix.h>

#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/dense/detail/kept.h>
#include <lintrix/sparse/detail/foreign_rows.h>
#include <lintrix/sparse/detail/sizes.h>

#include <utility>

namespace Velmar::Lintrix {

using detail::Block;
using detail::takeBlock;

namespace {

template <class Cell>
std::vector<Cell> copied(std::span<const Cell> array)
{
    return {array.begin(), array.end()};
}

} // namespace

// ---- bytes

std::vector<std::byte> SparseMatrix::Data() const
{
    return detail::rowsToBytes(mRows, mCols, RowPointers(), Values(), ColumnIndices());
}

void SparseMatrix::Data(std::span<const std::byte> data)
{
    if constexpr (detail::kHardened) detail::requireKept(ia);
    const std::int32_t rows = detail::sizeInBytes(data, 0), cols = detail::sizeInBytes(data, 1);
    if (rows < 1 || cols < 1) { // stored first and refused then: what a caller reads after the failure
        mRows = rows;
        mCols = cols;
    }
    detail::requireSparseSizes(rows, cols);
    detail::ForeignRows<double> taken = detail::rowsFromBytes<double>(data, rows, cols);
    mRows = rows;
    mCols = cols;
    setArrays(taken.elements, std::move(taken));
}

// ---- archive

void SparseMatrix::GetObjectData(SerializationInfo& info, const StreamingContext&) const
{
    auto starts = copied(RowPointers());
    auto values = copied(Values());
    auto columns = copied(ColumnIndices());
    info.AddValue("mRows", mRows);
    info.AddValue("mCols", mCols);
    info.AddValue("growFactor", _growFactor);
    info.AddValue("symm", _symmetric);
    info.AddValue("_IA", std::move(starts));
    info.AddValue("_A", std::move(values));
    info.AddValue("_JA", std::move(columns));
}

SparseMatrix::SparseMatrix(const SerializationInfo& info, const StreamingContext&)
{
    InitSer(info);
}

void SparseMatrix::InitSer(const SerializationInfo& info)
{
    mRows = info.GetInt32("mRows");
    mCols = info.GetInt32("mCols");
    if (mRows < 0) throw InvalidSizeException("Invalid number of rows."); // 0 may be set, and comes back
    _growFactor = info.GetSingle("growFactor");
    _symmetric = info.GetBoolean("symm");
    auto IA = info.GetInt32Array("_IA");
    auto starts = takeBlock<std::int32_t>(IA, std::int64_t{mRows} + 1);
    const std::int32_t elements = detail::elementsTold(starts, mRows);
    auto A = info.GetDoubleArray("_A");
    auto values = takeBlock<double>(A, elements);
    auto JA = info.GetInt32Array("_JA");
    auto columns = takeBlock<std::int32_t>(JA, elements);
    detail::requireForeignColumns(starts, columns, mRows, mCols);
    setArrays(elements, {std::move(values), std::move(starts), std::move(columns)});
}

} // namespace Velmar::Lintrix
