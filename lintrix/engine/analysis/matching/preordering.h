#pragma once
/// @file
/// What comes before the ordering: the matching, the scaling and, for symmetric matrices, the pivot pairs.

#include <lintrix/engine/analysis/matching/bit_vector.h>
#include <lintrix/engine/analysis/matching/csr_record.h>
#include <lintrix/engine/analysis/matching/matching_pairs.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/memory.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Which of the two forms a matrix type and its matching setting ask for.
enum class Preordering {
    None,           ///< nothing is made
    Identity,       ///< 11 and 13 without matching: the identity and factors 1
    Unsymmetric,    ///< 11 and 13: rows move, and the ordering is still to be found
    SymmetricPairs, ///< -2, -4, 6: the pairs give the ordering
};

/// Other matrix types do not honour the setting. Settings 1 and 2 give the same matching.
LINTRIX_TESTABLE Preordering preorderingFor(int matrixType, int matching) noexcept;

/// The blocks of the slots for matching and scaling, empty when nothing is made.
struct PreorderingBlocks {
    /// Without pairs: columnOfRow, n numbers; row i of A is row columnOfRow[i] of P A. With pairs, see
    /// PivotPairs. A matching that is not perfect leaves -1 in unmatched rows.
    Scratch<int> matching;
    /// 2n factors, see scaling.h.
    Scratch<double> scaling;
};

/// The blocks that a kind makes for order n.
LINTRIX_TESTABLE BlockSum preorderingBlocks(Preordering kind, int n) noexcept;

/// Reads the matching's block of a symmetric matrix: columnOfRow (n), vertexAt (n), the two counts of
/// PivotParts, and the bits of pairs that stand as two 1x1 pivots.
class PivotPairs {
public:
    static std::int64_t blockSize(int n) noexcept { return 2LL * n + 2 + bvec_new::wordsFor(n / 2); }

    PivotPairs(std::span<int> block, int n) noexcept : block_(block), n_(n) {}

    std::span<int> columnOfRow() const noexcept { return block_.first(n_); }
    std::span<int> vertexAt() const noexcept { return block_.subspan(n_, n_); }
    bvec_new split() const noexcept { return bvec_new(block_.subspan(2 * std::size_t(n_) + 2)); }
    PivotParts parts() const noexcept { return {count(0), count(1)}; }
    void setParts(PivotParts parts) const noexcept
    {
        count(0) = parts.front;
        count(1) = parts.pairs;
    }

private:
    int& count(int number) const noexcept { return block_[2 * std::size_t(n_) + std::size_t(number)]; }

    std::span<int> block_;
    int n_;
};

/// Makes the blocks that `kind` asks for, `scaled` telling whether the duals scale or all factors are 1.
/// `matrix` is not changed; a symmetric one is its upper triangle.
///
/// Failures, in order: -403 and -404, the two results; -401, working record and its companions; an overflow
/// where both triangles pass 32 bits; -402, the search; Matching with internal -size, and then the matching's
/// block holds what is matched. `blocks` is otherwise untouched by a failure.
template <class T>
Failure preorder(const CompressedRows<T>& matrix, Preordering kind, bool scaled,
                 PreorderingBlocks& blocks) noexcept;

/// The blocks of kind Unsymmetric where the matching is known. Failures: -403 and -404.
LINTRIX_TESTABLE Failure takePreordering(std::span<const int> columnOfRow, std::span<const double> factors,
                                         PreorderingBlocks& blocks) noexcept;

} // namespace Velmar::Lintrix::detail::engine
