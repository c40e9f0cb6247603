#pragma once
/// @file
/// Solves A*X = B, A dense and not square, and tells what came of dense systems.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/roads/quality.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

enum class Status {
    Solved,
    Singular,      ///< square, LU met an exactly zero pivot
    RankDeficient, ///< tall or wide, the rank is smaller than the smaller side
    NotFinite,     ///< the solution overflowed
    Inaccurate,    ///< there is a solution, but its residual is too large
    IllConditioned ///< there is one with a small residual, but not a digit of what is known came back
};

/// "solved", "singular", "rank-deficient", "not-finite", "inaccurate", "ill-conditioned".
LINTRIX_TESTABLE std::string_view nameOf(Status status);

/// `Block` is Matrix or CMatrix.
template <class Block>
struct Answer {
    Status status = Status::Solved;
    std::string_view road;              ///< "LU", "QR (least squares)" or "LQ (minimum norm)"
    std::optional<Block> x{};           ///< n x nrhs; none when singular or rank-deficient
    std::optional<double> probeError{}; ///< largest error of z, relative to its largest element
    std::int32_t rank = 0;              ///< of a tall or wide matrix, to working precision
    std::vector<double> errorBounds{};  ///< of each column, where they were asked for
};

/// X with A*X = B: tall in the least-squares sense by QR, wide with smallest norm by LQ.
///
/// Matrix::Solve settles only the first column of such a system, and nothing of a complex one; so these are
/// factorized here. Their rank is that of a pivoted QR of the triangular factor: diagonal elements above
/// max(m, n)*2^-52 times the first one count (Golub and Van Loan, Matrix Computations, 4th ed., section 5.5).
/// With `bounded` the columns are refined, and their errors bounded (see `refineAndBound`); the probe is not,
/// so that it tells what the condition takes. What is done is told to the listener of `WorkScope`.
/// @throws NotEnoughMemoryException, as `WorkScope::tell`
template <class Block>
LINTRIX_TESTABLE Answer<Block> solveDense(const Block& A, const Block& B, bool bounded = false);

/// Why there is no good answer, in words; for a status other than Solved.
template <class Block>
LINTRIX_TESTABLE std::string explain(const Answer<Block>& answer, const Block& A, const Quality& quality);

} // namespace Velmar::Lintrix::detail::roads
