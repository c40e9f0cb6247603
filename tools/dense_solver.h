#pragma once
// Solves A*X = B by the dense road that the shape asks for, and judges the answer.
//
// Every run solves one right-hand side more than was asked for, A*z with a random solution z that is known.
// How well z comes back is measured, not estimated, and tells how many digits of X can be trusted: at the
// price of two triangular solves, where a condition number would cost another factorization.

#include <lintrix/lintrix.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Velmar::Lintrix::tools {

enum class Status {
    Solved,
    Singular,      ///< square, LU met an exactly zero pivot
    RankDeficient, ///< tall or wide, the rank is smaller than the smaller side
    NotFinite,     ///< the solution overflowed
    Inaccurate,    ///< there is a solution, but its residual is too large
};

/// "solved", "singular", "rank-deficient", "not-finite", "inaccurate".
std::string_view nameOf(Status status);

struct Answer {
    Status status = Status::Solved;
    std::string_view road;            ///< "LU", "QR (least squares)" or "LQ (minimum norm)"
    std::optional<Matrix> x;          ///< n x nrhs; none when singular or rank-deficient
    std::optional<double> probeError; ///< largest error of z, relative to its largest element
    std::int32_t rank = 0;            ///< of a tall or wide matrix, to working precision
};

/// X with A*X = B: square by LU, tall in the least-squares sense by QR, wide with smallest norm by LQ.
///
/// Square systems go through Matrix::Solve. There the contract settles only the first column of a tall or
/// wide system; so these are factorized once and solved column by column. Their rank is read off a pivoted QR
/// of the triangular factor: diagonal elements above max(m, n)*2^-52 times the first one count (Golub and Van
/// Loan, Matrix Computations, 4th ed., section 5.5).
Answer solveDense(const Matrix& A, const Matrix& B);

struct Quality {
    /// Largest over the columns of ||b - A*x|| / (||A|| ||x|| + ||b||), infinity norms.
    double residual = 0.0;
    /// Of a tall system, whose residual is large by nature when b is not in the range of A: the same for the
    /// normal equations, ||A'*(b - A*x)|| / (||A'|| (||A|| ||x|| + ||b||)).
    std::optional<double> normalResidual;

    /// What is small for an accurate solution.
    double judged() const { return normalResidual.value_or(residual); }
};

Quality judge(const Matrix& A, const Matrix& X, const Matrix& B);

/// The largest |x - y|; NaN if there is one among them.
double largestDifference(const Matrix& X, const Matrix& Y);

bool allFinite(const Matrix& X);

/// Why there is no good answer, in words; for a status other than Solved.
std::string explain(const Answer& answer, const Matrix& A, const Quality& quality);

} // namespace Velmar::Lintrix::tools
