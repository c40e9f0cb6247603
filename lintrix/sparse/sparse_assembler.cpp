#include <lintrix/sparse/sparse_assembler.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/sparse/access.h>
#include <lintrix/sparse/detail/sizes.h>
#include <lintrix/sparse/detail/triplet_compression.h>

#include <algorithm>

namespace Velmar::Lintrix {

SparseAssembler::SparseAssembler(std::int32_t rows, std::int32_t cols, SparseAssemblerOptions options)
    : rows_(rows), cols_(cols), options_(options)
{
    detail::requireSparseSizes(rows, cols);
    if (options.storage == AssemblyStorage::Symmetric && rows != cols) throw NotSquareMatrixException();
}

std::int64_t SparseAssembler::NumEntries() const noexcept
{
    std::int64_t entries = 0;
    for (const Piece& piece : pieces_) entries += static_cast<std::int64_t>(piece.size());
    return entries;
}

void SparseAssembler::Add(std::span<const SparseTriplet> triplets)
{
    const auto taken = static_cast<std::size_t>(
        std::ranges::count_if(triplets, [this](const SparseTriplet& t) { return takes(t.row, t.col); }));
    Piece& piece = openPiece();
    if (piece.capacity() - piece.size() < taken) {
        piece.reserve(std::max(2 * piece.capacity(), piece.size() + taken));
    }
    for (const SparseTriplet& t : triplets) {
        if (takes(t.row, t.col)) piece.push_back(placed(t.row, t.col, t.value));
    }
}

void SparseAssembler::Reserve(std::size_t entries)
{
    Piece& piece = openPiece();
    if (piece.capacity() - piece.size() >= entries) return;
    if (piece.empty()) {
        piece.reserve(entries);
    } else {
        pieces_.emplace_back().reserve(entries);
    }
}

void SparseAssembler::Append(SparseAssembler&& other)
{
    if (&other == this) return;
    if (other.rows_ != rows_ || other.cols_ != cols_) throw SizeMismatchException();
    if (other.options_ != options_) {
        throw ArgumentException("Assemblers with different options cannot be joined", "other");
    }
    pieces_.splice(pieces_.end(), other.pieces_);
}

SparseMatrix SparseAssembler::Assemble() const
{
    const bool symmetric = options_.storage == AssemblyStorage::Symmetric;
    const auto sorted = detail::columnOrder<double>(pieces_, cols_);
    detail::RowSort<double> sort(sorted, rows_, symmetric);
    SparseMatrix matrix =
        detail::SparseAccess::adopt(rows_, cols_, sort.run(options_.duplicates == DuplicateEntries::Add));
    matrix.Symmetric(symmetric);
    return matrix;
}

void SparseAssembler::refusePlace(std::int32_t row) const
{
    const bool rowFits = row >= 0 && row < rows_;
    throw IndexOutOfBoundsException(rowFits ? "Column index exceeds matrix size."
                                            : "Row index exceeds matrix size.");
}

bool SparseAssembler::takesBelowDiagonal() const
{
    if (options_.lower != LowerEntries::Refuse) return options_.lower == LowerEntries::Mirror;
    throw ArgumentException("The entry is below the diagonal of a symmetric matrix; choose "
                            "LowerEntries::Ignore or LowerEntries::Mirror");
}

} // namespace Velmar::Lintrix
