#pragma once
/// @file
/// Builds a sparse matrix from elements in any order.

#include <lintrix/services/export.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/detail/mirror.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <span>
#include <vector>

namespace Velmar::Lintrix {

namespace detail {

/// One element and its place, counted from 0.
template <class Cell>
struct Triplet {
    std::int32_t row, col;
    Cell value;
};

} // namespace detail

using SparseTriplet = detail::Triplet<double>;
using CSparseTriplet = detail::Triplet<Complex>;

/// What several entries at one place become.
enum class DuplicateEntries : std::int32_t {
    Add,     ///< their sum, formed in the order of entry
    KeepLast ///< the one entered last
};

/// Which triangle an assembled matrix stores.
enum class AssemblyStorage : std::int32_t {
    General,              ///< all elements, as entered
    Symmetric,            ///< the upper triangle and the whole diagonal; `Symmetric()` is true
    Hermitian = Symmetric ///< the same of a complex matrix, whose `Hermitian()` is true
};

/// What becomes of an entry below the diagonal when one triangle is stored. No rule suits everyone, and a
/// wrong one gives a wrong matrix without a word; so the default asks.
enum class LowerEntries : std::int32_t {
    Refuse, ///< a failure
    Ignore, ///< dropped: right for full element matrices of the finite-element method, which bring both
            ///< halves
    Mirror  ///< entered above the diagonal, conjugated: right where each pair comes once, in either triangle
};

struct SparseAssemblerOptions {
    DuplicateEntries duplicates = DuplicateEntries::Add;
    AssemblyStorage storage = AssemblyStorage::General;
    LowerEntries lower = LowerEntries::Refuse;

    friend bool operator==(const SparseAssemblerOptions&, const SparseAssemblerOptions&) = default;
};

namespace detail {

/// Takes elements in any order and makes compressed rows of them, in time linear in entries + rows + columns.
///
///     SparseAssembler entries(n, n, {.storage = AssemblyStorage::Symmetric, .lower = LowerEntries::Ignore});
///     for (const Element& e : mesh) {
///         for (int i = 0; i < 3; ++i)
///             for (int j = 0; j < 3; ++j) entries.Add(e.node[i], e.node[j], e.stiffness[i][j]);
///     }
///     const SparseMatrix K = entries.Assemble();
///
/// Several threads fill one assembler each and join them with `Append`. The result depends on the order of
/// entry alone, bit by bit: join in a fixed order, and it is the same for any number of threads.
///
/// An entry takes 16 bytes until the assembler is cleared, a complex one 24. An object is used by one thread
/// at a time. A failing member leaves it as it was; besides the failures told, entering raises
/// std::bad_alloc.
template <class Cell>
class LINTRIX_EXPORT Assembler {
public:
    /// For a rows x cols matrix. Checks in this order:
    /// @throws InvalidSizeException      rows, then cols outside 1 .. MaxSize: "Invalid number of rows.";
    ///         "Invalid number of columns."
    /// @throws NotSquareMatrixException  storage of one triangle, rows != cols
    explicit Assembler(std::int32_t rows, std::int32_t cols, SparseAssemblerOptions options = {});

    std::int32_t Rows() const noexcept { return rows_; }
    std::int32_t Cols() const noexcept { return cols_; }
    const SparseAssemblerOptions& Options() const noexcept { return options_; }
    /// Entries taken so far, duplicates counted, ignored ones not.
    std::int64_t NumEntries() const noexcept;

    /// Enters `value` at (row, col), counted from 0. A zero is an entry like any other.
    /// @throws IndexOutOfBoundsException  "Row index exceeds matrix size."; "Column index exceeds matrix
    ///         size."; the row is tested first
    /// @throws ArgumentException  storage of one triangle with LowerEntries::Refuse, row > col: "The entry is
    /// below
    ///         the diagonal of a symmetric matrix; choose LowerEntries::Ignore or LowerEntries::Mirror"
    void Add(std::int32_t row, std::int32_t col, Cell value)
    {
        if (takes(row, col)) openPiece().push_back(placed(row, col, value));
    }
    /// Enters all of `triplets`, in their order, or none: all are checked first. Failures as above.
    void Add(std::span<const Triplet<Cell>> triplets);

    /// Room for `entries` more in one piece of memory. Not needed; it saves the growing.
    void Reserve(std::size_t entries);

    /// Takes the entries of `other` behind the own ones and leaves it empty, to be filled anew. Constant
    /// time: nothing is copied. Appended to itself, an assembler stays as it is.
    /// @throws SizeMismatchException  the sizes differ
    /// @throws ArgumentException      the options differ: "Assemblers with different options cannot be
    /// joined"
    void Append(Assembler&& other);

    /// Forgets all entries and gives their memory back.
    void Clear() noexcept { pieces_.clear(); }

    /// The matrix of all entries, growth factor 1.2f, with nothing spare. Storage of one triangle has
    /// every diagonal element, value 0 where none was entered. The entries stay: more may be added, and
    /// another matrix be assembled.
    ///
    /// Two stable counting sorts, first by column and then by row (Knuth, The Art of Computer Programming 3,
    /// section 5.2.5), so duplicates meet in the order of entry. Cost: O(entries + rows + cols) time;
    /// besides the result 12 bytes an entry (20 of a complex one), 8 a row and up to 16 a column while it
    /// runs.
    /// @throws NotSupportedException  "A sparse matrix holds at most 2147483646 elements."
    /// @throws NotEnoughMemoryException, std::bad_alloc  result, work arrays
    SparseOf<Cell> Assemble() const;

private:
    using Piece = std::vector<Triplet<Cell>>;

    bool takes(std::int32_t row, std::int32_t col) const
    {
        if (static_cast<std::uint32_t>(row) >= static_cast<std::uint32_t>(rows_) ||
            static_cast<std::uint32_t>(col) >= static_cast<std::uint32_t>(cols_)) {
            refusePlace(row);
        }
        return options_.storage == AssemblyStorage::General || row <= col || takesBelowDiagonal();
    }
    Triplet<Cell> placed(std::int32_t row, std::int32_t col, const Cell& value) const noexcept
    {
        if (options_.storage == AssemblyStorage::Symmetric && row > col) return {col, row, mirrored(value)};
        return {row, col, value};
    }
    Piece& openPiece() { return pieces_.empty() ? pieces_.emplace_back() : pieces_.back(); }
    [[noreturn]] void refusePlace(std::int32_t row) const;
    bool takesBelowDiagonal() const;

    std::int32_t rows_, cols_;
    SparseAssemblerOptions options_;
    std::list<Piece> pieces_; ///< entries in their order; a list, because joining lists cannot fail
};

extern template class Assembler<double>;
extern template class Assembler<Complex>;

} // namespace detail

class SparseAssembler : public detail::Assembler<double> {
public:
    using Assembler::Assembler;
};

class CSparseAssembler : public detail::Assembler<Complex> {
public:
    using Assembler::Assembler;
};

} // namespace Velmar::Lintrix
