#pragma once
/// @file
/// The directions that a square matrix nearly sends to zero, on either side, and what stands in them.

#include <lintrix/services/export.h>
#include <lintrix/systems/linear_map.h>
#include <lintrix/systems/structure/column_block.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Velmar::Lintrix::detail {

struct NearNullSettings {
    std::int32_t vectors = 4; ///< on each side; no more than the order are sought
    double threshold = 0.0;   ///< singular values up to here count as none; 0: order*2^-52*norm
    double share = 0.1;       ///< of the largest part, from which a row or column carries the vectors
    /// As long as all that were found are null, as many more are sought across them, up to so many in all.
    std::int32_t most = 0;
    bool hermitian = false; ///< A = A^H, and so the inverse: the vectors of one side are those of the other
};

/// Unit vectors with A*v_i and A^H*u_i small, each set orthonormal, the smallest first.
template <class Cell>
struct NearNull {
    ColumnBlock<Cell> left{}, right{}; ///< u_i and v_i
    /// max(||A*v_i||, ||A^H*u_i||), ascending: but for the rounding of these products the i-th smallest
    /// singular value is not larger (by Cauchy's interlacing), and it is much smaller only where the
    /// iteration has missed a direction.
    std::vector<double> singularValues{};
    double norm = 0.0, threshold = 0.0;
    std::int32_t nullity = 0; ///< of singularValues, up to the threshold
    /// Whether a singular value above the threshold was seen as well: then `nullity` is all there is.
    bool complete = false;
    /// Rows that carry the left null vectors, columns that carry the right ones (the first of each, if none
    /// is null): row i by the length of (u_1i, u_2i, ...), which no other basis of the space changes. By
    /// share of the largest, in steps of an eighth, then by index.
    std::vector<std::int32_t> rows{}, columns{};
};

/// By subspace iteration with A^-1*A^-H, which turns any few vectors towards the right singular vectors of
/// the smallest singular values, and its halves towards the left ones (Golub and Van Loan, Matrix
/// Computations, 4th ed., sections 8.2.4 and 8.6), then Rayleigh-Ritz steps with A itself: V is replaced by
/// the best of the span of V and inverse*(A*V). Where `inverse` is that of A + E, as after replaced pivots,
/// these steps turn V from the null vectors of A + E to those of A, at the rate ||inverse*E|| off the null
/// space.
///
/// Where a first step and what refines it leave null vectors and others that are far from it, the others are
/// turned once more, and that is all; else all are turned until they settle.
///
/// `norm` stands for ||A||_2: any norm of its size. Nothing is found (no vectors, `complete` false) when a
/// solve is not finite. Cost: mostly one to three solves with each of A and A^H and as many products, at most
/// 14, of a column for each vector; half of that for A = A^H; and orthogonal factorizations of the vectors.
template <class Cell>
LINTRIX_TESTABLE NearNull<Cell> findNearNull(const LinearMap<Cell>& A, const LinearMap<Cell>& inverse,
                                             double norm, const NearNullSettings& settings = {});

/// Whether A*x = b has a solution though A is singular.
template <class Cell>
struct Consistency {
    enum class Verdict {
        Consistent,
        Inconsistent,
        Unknown, ///< not all null vectors are known, or the solves are too bad to tell
    };
    Verdict verdict = Verdict::Unknown;
    bool isShortest = false; ///< of a consistent one: all null vectors are known
    double leftPart = 0.0;   ///< length of (u_1^H*b, u_2^H*b, ...), u_i the null vectors: 0 if consistent
    double residual = 0.0;   ///< ||b - A*x||
    double bound = 0.0;      ///< on what rounding explains, see below
    std::vector<Cell> x{};   ///< orthogonal to the null vectors that are known
};

/// b is consistent exactly when it is orthogonal to all left null vectors. So b less its left part is solved
/// off the null vectors, and x improved while that helps; what is then left of b - A*x is the left part and
/// rounding. b is consistent when a change of A by max(order*2^-52*norm, threshold) and of b by
/// order*2^-52*||b|| explains it all (the backward error; Rigal and Gaches, J. ACM 14 (1967)), inconsistent
/// when that does not explain the left part, which no x makes good. Where not all null vectors are known, x
/// may be long along the others, and a change of A by a little explain anything: then that of b alone counts.
template <class Cell>
LINTRIX_TESTABLE Consistency<Cell> judgeConsistency(const NearNull<Cell>& nearNull, const LinearMap<Cell>& A,
                                                    const LinearMap<Cell>& inverse, const Cell* b);

/// For people: "The matrix is singular to working precision: its smallest singular value is 2.1e-17, 1.1e-17
/// of the norm. Columns 3, 17 and 20 are linearly dependent, rows 5 and 9 are linearly dependent." Empty
/// where nothing was found. Rows and columns are counted from `firstIndex`; the vectors are not asked.
template <class Cell>
LINTRIX_TESTABLE std::string explain(const NearNull<Cell>& nearNull, std::int32_t firstIndex = 0);

} // namespace Velmar::Lintrix::detail
