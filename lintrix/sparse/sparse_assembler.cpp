#include <lintrix/sparse/sparse_assembler.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/sparse/access.h>
#include <lintrix/sparse/detail/sizes.h>
#include <lintrix/sparse/detail/triplet_compression.h>

#include <algorithm>

namespace Velmar::Lintrix::detail {

template <class Cell>
Assembler<Cell>::Assembler(std::int32_t rows, std::int32_t cols, SparseAssemblerOptions options)
    : rows_(rows), cols_(cols), options_(options)
{
    requireSparseSizes(rows, cols);
    if (options.storage == AssemblyStorage::Symmetric && rows != cols) throw NotSquareMatrixException();
}

template <class Cell>
std::int64_t Assembler<Cell>::NumEntries() const noexcept
{
    std::int64_t entries = 0;
    for (const Piece& piece : pieces_) entries += static_cast<std::int64_t>(piece.size());
    return entries;
}

template <class Cell>
void Assembler<Cell>::Add(std::span<const Triplet<Cell>> triplets)
{
    const auto taken = static_cast<std::size_t>(
        std::ranges::count_if(triplets, [this](const Triplet<Cell>& t) { return takes(t.row, t.col); }));
    Piece& piece = openPiece();
    if (piece.capacity() - piece.size() < taken) {
        piece.reserve(std::max(2 * piece.capacity(), piece.size() + taken));
    }
    for (const Triplet<Cell>& t : triplets) {
        if (takes(t.row, t.col)) piece.push_back(placed(t.row, t.col, t.value));
    }
}

template <class Cell>
void Assembler<Cell>::Reserve(std::size_t entries)
{
    Piece& piece = openPiece();
    if (piece.capacity() - piece.size() >= entries) return;
    if (piece.empty()) {
        piece.reserve(entries);
    } else {
        pieces_.emplace_back().reserve(entries);
    }
}

template <class Cell>
void Assembler<Cell>::Append(Assembler&& other)
{
    if (&other == this) return;
    if (other.rows_ != rows_ || other.cols_ != cols_) throw SizeMismatchException();
    if (other.options_ != options_) {
        throw ArgumentException("Assemblers with different options cannot be joined", "other");
    }
    pieces_.splice(pieces_.end(), other.pieces_);
}

template <class Cell>
SparseOf<Cell> Assembler<Cell>::Assemble() const
{
    const bool oneTriangle = options_.storage == AssemblyStorage::Symmetric;
    const auto sorted = columnOrder<Cell>(pieces_, cols_);
    RowSort<Cell> sort(sorted, rows_, oneTriangle);
    auto matrix = SparseAccess::adopt(rows_, cols_, sort.run(options_.duplicates == DuplicateEntries::Add));
    SparseAccess::mark(matrix, oneTriangle);
    return matrix;
}

template <class Cell>
void Assembler<Cell>::refusePlace(std::int32_t row) const
{
    const bool rowFits = row >= 0 && row < rows_;
    throw IndexOutOfBoundsException(rowFits ? "Column index exceeds matrix size."
                                            : "Row index exceeds matrix size.");
}

template <class Cell>
bool Assembler<Cell>::takesBelowDiagonal() const
{
    if (options_.lower != LowerEntries::Refuse) return options_.lower == LowerEntries::Mirror;
    throw ArgumentException("The entry is below the diagonal of a symmetric matrix; choose "
                            "LowerEntries::Ignore or LowerEntries::Mirror");
}

template class Assembler<double>;
template class Assembler<Complex>;

} // namespace Velmar::Lintrix::detail
