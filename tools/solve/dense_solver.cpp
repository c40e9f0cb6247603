#include <tools/solve/dense_solver.h>

#include <tools/input/dense_system.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::tools {

namespace {

/// A right-hand side A*z whose solution z is known.
struct Probe {
    Matrix solution;
    Matrix rightHand;
};

/// The shortest solution of a wide system lies in the row space: z = A'*y.
Probe makeProbe(const Matrix& A)
{
    Matrix z = probeSolution<double>(std::min(A.Rows(), A.Cols()));
    if (A.Rows() < A.Cols()) {
        Matrix shortest(A.Cols(), 1);
        Matrix::Multiply(1.0, TransposeMode::Transposed, A, TransposeMode::NotTransposed, z, 0.0, shortest);
        z = std::move(shortest);
    }
    Matrix b = A * z;
    return {std::move(z), std::move(b)};
}

double errorOf(const Matrix& found, const Probe& probe)
{
    return probeError(probe.solution, found);
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
    answer.probeError = errorOf(columnOf(x, B.Cols()), probe);
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
    answer.probeError = errorOf(factors.Solve(probe.rightHand), probe);
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
        return "inaccurate";
    case Status::IllConditioned:
        break;
    }
    return "ill-conditioned";
}

Answer solveDense(const Matrix& A, const Matrix& B)
{
    Answer answer = solveByShape(A, B);
    if (answer.x && !allFinite(*answer.x)) answer.status = Status::NotFinite;
    return answer;
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
        return fmt::format("the solution is inaccurate: its scaled residual is {}",
                           numberInWords(quality.judged(), "{:.1e}"));
    case Status::IllConditioned:
        return fmt::format("no digit of the solution can be trusted: a known solution came back with a "
                           "relative error of {}",
                           numberInWords(quality.error, "{:.1e}"));
    case Status::Solved:
        break;
    }
    return {};
}

} // namespace Velmar::Lintrix::tools
