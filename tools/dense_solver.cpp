#include <tools/dense_solver.h>

#include <tools/dense_system.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace Velmar::Lintrix::tools {

namespace {

/// A right-hand side A*z whose solution z is known.
struct Probe {
    Matrix solution;
    Matrix rightHand;
};

/// Signs and sizes at random, sizes in [1/2, 1): no element is small. Seeded: runs are alike.
Matrix randomColumn(std::int32_t rows)
{
    std::mt19937_64 generator(20240607);
    Matrix column(rows, 1);
    for (double& cell : cellsOf(column)) {
        const std::uint64_t bits = generator();
        const double size = 0.5 + static_cast<double>(bits >> 12) * 0x1p-53;
        cell = (bits & 1) != 0 ? size : -size;
    }
    return column;
}

double largestMagnitude(const Matrix& X)
{
    double largest = 0.0;
    for (const double cell : cellsOf(X)) largest = std::max(largest, std::abs(cell));
    return largest;
}

/// The shortest solution of a wide system lies in the row space: z = A'*y.
Probe makeProbe(const Matrix& A)
{
    Matrix z = randomColumn(std::min(A.Rows(), A.Cols()));
    if (A.Rows() < A.Cols()) {
        Matrix shortest(A.Cols(), 1);
        Matrix::Multiply(1.0, TransposeMode::Transposed, A, TransposeMode::NotTransposed, z, 0.0, shortest);
        z = std::move(shortest);
    }
    Matrix b = A * z;
    return {std::move(z), std::move(b)};
}

double probeError(const Probe& probe, const Matrix& found)
{
    return largestDifference(found, probe.solution) / largestMagnitude(probe.solution);
}

Answer solveSquare(const Matrix& A, const Matrix& B, const Probe& probe)
{
    Matrix rightHands(A.Rows(), B.Cols() + 1); // the probe stands last
    copyColumns(B, rightHands, 0);
    copyColumns(probe.rightHand, rightHands, B.Cols());
    SolveRoad road{};
    Matrix x = A.Solve(rightHands, road);

    Answer answer;
    answer.road = "LU";
    if (road == SolveRoad::SingularLQ) {
        answer.status = Status::Singular;
        return answer;
    }
    answer.probeError = probeError(probe, columnOf(x, B.Cols()));
    x.Cols(B.Cols());
    answer.x = std::move(x);
    return answer;
}

std::int32_t rankOf(const Matrix& triangle, std::int32_t longerSide)
{
    const Matrix R = QR(triangle, true).R();
    const double limit = longerSide * 0x1p-52 * std::abs(R(0, 0));
    std::int32_t rank = 0;
    while (rank < R.Rows() && std::abs(R(rank, rank)) > limit) ++rank;
    return rank;
}

/// `triangle` is R of the QR or L of the LQ decomposition `factors`.
template <class Factors>
Answer solveByColumns(const Factors& factors, const Matrix& triangle, std::string_view road, const Matrix& B,
                      const Probe& probe)
{
    Answer answer;
    answer.road = road;
    if (!allFinite(triangle)) {
        answer.status = Status::NotFinite;
        return answer;
    }
    answer.rank = rankOf(triangle, std::max(factors.Rows(), factors.Cols()));
    if (answer.rank < triangle.Rows()) {
        answer.status = Status::RankDeficient;
        return answer;
    }
    Matrix x(factors.Cols(), B.Cols());
    for (std::int32_t j = 0; j < B.Cols(); ++j) copyColumns(factors.Solve(columnOf(B, j)), x, j);
    answer.probeError = probeError(probe, factors.Solve(probe.rightHand));
    answer.x = std::move(x);
    return answer;
}

Answer solveByShape(const Matrix& A, const Matrix& B)
{
    const Probe probe = makeProbe(A);
    if (A.Rows() == A.Cols()) return solveSquare(A, B, probe);
    if (A.Rows() > A.Cols()) {
        const QR qr(A);
        return solveByColumns(qr, qr.R(), "QR (least squares)", B, probe);
    }
    const LQ lq(A);
    return solveByColumns(lq, lq.L(), "LQ (minimum norm)", B, probe);
}

double infinityNorm(const Matrix& A)
{
    std::vector<double> sums(static_cast<std::size_t>(A.Rows()));
    const std::span<const double> cells = cellsOf(A);
    for (std::size_t begin = 0; begin < cells.size(); begin += sums.size()) {
        for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += std::abs(cells[begin + i]);
    }
    return *std::ranges::max_element(sums);
}

double oneNorm(const Matrix& A)
{
    double largest = 0.0;
    const auto rows = static_cast<std::size_t>(A.Rows());
    const std::span<const double> cells = cellsOf(A);
    for (std::size_t begin = 0; begin < cells.size(); begin += rows) {
        double sum = 0.0;
        for (const double cell : cells.subspan(begin, rows)) sum += std::abs(cell);
        largest = std::max(largest, sum);
    }
    return largest;
}

/// The largest over the columns of ||r|| / (factor*(||A|| ||x|| + ||b||)); a zero residual is zero whatever
/// the scale. A norm that overflows gives NaN, not a flattering zero.
double scaledResidual(const Matrix& R, double factor, double normA, const Matrix& X, const Matrix& B)
{
    double worst = 0.0;
    for (std::int32_t j = 0; j < B.Cols(); ++j) {
        const Matrix r = columnOf(R, j);
        const double size = largestMagnitude(r);
        const double scale =
            factor * (normA * largestMagnitude(columnOf(X, j)) + largestMagnitude(columnOf(B, j)));
        const double scaled = !allFinite(r) || !std::isfinite(scale) ? NAN : size == 0.0 ? 0.0 : size / scale;
        if (!(scaled <= worst)) worst = scaled;
    }
    return worst;
}

} // namespace

std::string_view nameOf(Status status)
{
    switch (status) {
    case Status::Solved:
        return "solved";
    case Status::Singular:
        return "singular";
    case Status::RankDeficient:
        return "rank-deficient";
    case Status::NotFinite:
        return "not-finite";
    case Status::Inaccurate:
        break;
    }
    return "inaccurate";
}

Answer solveDense(const Matrix& A, const Matrix& B)
{
    Answer answer = solveByShape(A, B);
    if (answer.x && !allFinite(*answer.x)) answer.status = Status::NotFinite;
    return answer;
}

Quality judge(const Matrix& A, const Matrix& X, const Matrix& B)
{
    Matrix R(B);
    Matrix::Multiply(-1.0, TransposeMode::NotTransposed, A, TransposeMode::NotTransposed, X, 1.0, R);
    const double normA = infinityNorm(A);
    Quality quality;
    quality.residual = scaledResidual(R, 1.0, normA, X, B);
    if (A.Rows() > A.Cols()) {
        Matrix gradient(A.Cols(), B.Cols());
        Matrix::Multiply(1.0, TransposeMode::Transposed, A, TransposeMode::NotTransposed, R, 0.0, gradient);
        quality.normalResidual = scaledResidual(gradient, oneNorm(A), normA, X, B);
    }
    return quality;
}

double largestDifference(const Matrix& X, const Matrix& Y)
{
    double largest = 0.0;
    const std::span<const double> x = cellsOf(X), y = cellsOf(Y);
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double difference = std::abs(x[i] - y[i]);
        if (std::isnan(difference)) return difference;
        largest = std::max(largest, difference);
    }
    return largest;
}

bool allFinite(const Matrix& X)
{
    return std::ranges::all_of(cellsOf(X), [](double cell) { return std::isfinite(cell); });
}

std::string explain(const Answer& answer, const Matrix& A, const Quality& quality)
{
    switch (answer.status) {
    case Status::Singular:
        return "the matrix is singular: LU met an exactly zero pivot";
    case Status::RankDeficient:
        return fmt::format("the matrix has rank {} of {} to working precision: {}", answer.rank,
                           std::min(A.Rows(), A.Cols()),
                           A.Rows() > A.Cols() ? "the least-squares solution is not unique"
                                               : "its rows do not determine a minimum-norm solution");
    case Status::NotFinite:
        return "the solution is not finite: a number overflowed on the way";
    case Status::Inaccurate:
        return fmt::format("the solution is inaccurate: its scaled residual is {:.1e}", quality.judged());
    case Status::Solved:
        break;
    }
    return {};
}

} // namespace Velmar::Lintrix::tools
