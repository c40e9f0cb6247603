#pragma once
/// @file
/// LU of a sparse matrix in block triangular form, with exchanges of rows.

#include <lintrix/services/export.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_matrix.h>
#include <lintrix/systems/sparse_lu/elimination_plan.h>
#include <lintrix/systems/sparse_lu/left_looking.h>
#include <lintrix/systems/sparse_lu/lu_arrays.h>
#include <lintrix/systems/structure/sparse_pattern.h>

#include <cstdint>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail::sparse_lu {

/// What a factor is made of.
template <class Cell>
struct SparseLuParts {
    std::vector<double> scales{}; ///< of rows
    EliminationPlan plan{};       ///< with the rows at their pivots
    LuArrays<Cell> arrays{};
};

/// P*R*A*Q = L*U + F with R of powers of two, U + F upper block triangular, and below its diagonal entries of
/// L in the blocks alone. No element of L passes 1 / threshold, of complex cells sqrt(2) / threshold.
///
/// R brings each row's largest element near 1, unless the exponents of the rows are given: where columns are
/// in units far apart, the largest of a row tells of its column alone, and pivots chosen by it may be bad
/// ones.
///
///     SparseLU<double> lu(A);
///     if (lu.factorize(A) == LuOutcome::Done) lu.solve(op, cells);
///
/// Pivots are looked for in all of a block, and so nothing is replaced: what an elimination within dense
/// panels loses to their bounds is found here, at the price of a lower rate where there is much to eliminate
/// (T. A. Davis, Direct Methods for Sparse Linear Systems, SIAM 2006, chapter 6).
///
/// Where an elimination makes far more than the order along the diagonal foretold, rows were exchanged
/// against it: then the columns are ordered for whatever rows, and it starts again.
template <class Cell>
class LINTRIX_TESTABLE SparseLU {
public:
    /// Analyses `A`, which is square with both triangles stored, and keeps its values; stored zeros are left
    /// out. `threshold`, in (0, 1], is that of the pivots; `rowExponents` are those of R, one a row, or none.
    /// @throws NotEnoughMemoryException, std::bad_alloc
    explicit SparseLU(const SparseOf<Cell>& A, double threshold = 0.1,
                      std::span<const int> rowExponents = {});

    /// A factor that was made before, of a matrix of this order.
    SparseLU(SparseLuParts<Cell> parts, double threshold);

    /// Of the analysis: Done, NotFinite or StructurallySingular.
    LuOutcome analysed() const noexcept { return analysed_; }
    const EliminationPlan& plan() const noexcept { return plan_; }

    /// Of the same matrix, within bounds of entries and operations. @throws as the constructor
    LuOutcome factorize(const SparseOf<Cell>& A, const LuBounds& bounds = {});
    /// The same pivots for the values of `A`, of the same pattern as before.
    /// @return  Done, NotFinite, or PivotsSpoilt: then it has to be made anew
    LuOutcome refactorize(const SparseOf<Cell>& A, std::span<const int> rowExponents = {});

    /// X = op(A)^-1*X for right-hand sides one behind the other. @pre factorized
    void solve(TransposeMode op, std::span<Cell> X) const { solve(op, X, X); }
    /// X with op(A)*X = B, beside B or in its place.
    void solve(TransposeMode op, std::span<const Cell> B, std::span<Cell> X) const;

    /// Of a Singular factorization: the column of A without pivot, and its block, from 0.
    std::int32_t singularColumn() const noexcept { return singularColumn_; }
    std::int32_t singularBlock() const noexcept { return singularBlock_; }

    const LuArrays<Cell>& arrays() const noexcept { return arrays_; }
    std::span<const std::int32_t> rowAt() const noexcept { return plan_.rowAt; }
    std::span<const std::int32_t> columnAt() const noexcept { return plan_.columnAt; }
    std::span<const double> rowScales() const noexcept { return scales_; }
    /// Of L and U with both diagonals in one, and of F.
    std::int64_t entries() const noexcept;
    double operations() const noexcept { return arrays_.operations; }
    double growth() const noexcept { return arrays_.growth; }

private:
    struct Columns;

    bool scaleRows(const SparseOf<Cell>& A, std::span<const int> exponents);
    Columns columnsOf(const SparseOf<Cell>& A) const;
    std::vector<double> sizesOf(const Columns& columns, const SparseOf<Cell>& A) const;
    void plan(const SparseOf<Cell>& A, const Columns& columns, ColumnOrder order);
    void place(const SparseOf<Cell>& A, const Columns& columns);
    LuOutcome eliminate(const LuBounds& bounds);
    template <int W, int C>
    void solveWide(TransposeMode op, const Cell* b, Cell* x, Cell* y) const;

    std::int32_t order_;
    double threshold_;
    LuOutcome analysed_ = LuOutcome::Done;
    std::vector<double> scales_; ///< of rows
    BipartiteMatching matching_{};
    EliminationPlan plan_{};
    LuArrays<Cell> arrays_{};
    std::int32_t singularColumn_ = -1, singularBlock_ = -1;
};

} // namespace Velmar::Lintrix::detail::sparse_lu
