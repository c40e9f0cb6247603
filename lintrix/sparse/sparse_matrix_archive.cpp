// Byte form and archive of SparseMatrix.

#include <lintrix/sparse/sparse_matrix.h>

#include <lintrix/dense/detail/byte_form.h>
#include <lintrix/sparse/detail/foreign_rows.h>
#include <lintrix/sparse/detail/sizes.h>

#include <array>
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
    const std::array sizes{mRows, mCols};
    const std::span<const std::byte> parts[] = {std::as_bytes(std::span(sizes)), std::as_bytes(RowPointers()),
                                                std::as_bytes(Values()), std::as_bytes(ColumnIndices())};
    std::vector<std::byte> data;
    data.reserve(parts[0].size() + parts[1].size() + parts[2].size() + parts[3].size());
    for (const auto part : parts) data.insert(data.end(), part.begin(), part.end());
    return data;
}

void SparseMatrix::Data(std::span<const std::byte> data)
{
    if constexpr (detail::kHardened) {
        if (!ia) detail::raiseReleased();
    }
    const std::int32_t rows = detail::sizeInBytes(data, 0), cols = detail::sizeInBytes(data, 1);
    if (rows < 1 || cols < 1) { // stored first and refused then: what a caller reads after the failure
        mRows = rows;
        mCols = cols;
    }
    detail::requireSparseSizes(rows, cols);
    auto rest = data.subspan(2 * sizeof(std::int32_t));
    auto starts = takeBlock<std::int32_t>(rest, std::int64_t{rows} + 1);
    const std::int32_t elements = detail::elementsTold(starts, rows);
    auto values = takeBlock<double>(rest, elements);
    auto columns = takeBlock<std::int32_t>(rest, elements);
    detail::requireForeignColumns(starts, columns, rows, cols);
    mRows = rows;
    mCols = cols;
    setArrays(elements, std::move(values), std::move(starts), std::move(columns));
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
    setArrays(elements, std::move(values), std::move(starts), std::move(columns));
}

} // namespace Velmar::Lintrix
