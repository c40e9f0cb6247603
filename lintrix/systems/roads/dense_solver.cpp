#include <lintrix/systems/roads/dense_solver.h>

#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/qr.h>
#include <lintrix/systems/roads/words.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

namespace {

/// A right-hand side A*z whose solution z is known.
template <class Block>
struct Probe {
    Block solution;
    Block rightHand;
};

/// The shortest solution of a wide system lies in the row space: z = A^H*y.
template <class Block>
Probe<Block> makeProbe(const Block& A)
{
    Block z = probeSolution<ElementOf<Block>>(std::min(A.Rows(), A.Cols()));
    if (A.Rows() < A.Cols()) {
        Block shortest(A.Cols(), 1);
        Block::Multiply(1.0, TransposeMode::ConjugateTransposed, A, TransposeMode::NotTransposed, z, 0.0,
                        shortest);
        z = std::move(shortest);
    }
    Block b = A * z;
    return {std::move(z), std::move(b)};
}

template <class Block>
double errorOf(const Block& found, const Probe<Block>& probe)
{
    return probeError(probe.solution, found);
}

/// The least-squares solution of one column of a tall system, or the shortest one of a wide system.
class RealTall {
public:
    explicit RealTall(const Matrix& A) : qr_(A) {}
    Matrix triangle() const { return qr_.R(); }
    Matrix solve(const Matrix& b) const { return qr_.Solve(b); }

private:
    QR qr_;
};

class RealWide {
public:
    explicit RealWide(const Matrix& A) : lq_(A) {}
    Matrix triangle() const { return lq_.L(); }
    Matrix solve(const Matrix& b) const { return lq_.Solve(b); }

private:
    LQ lq_;
};

/// The class solves with R alone: it is given Q^H*b, with as many rows as A has.
class ComplexTall {
public:
    explicit ComplexTall(const CMatrix& A) : qr_(A), adjointOfQ_(qr_.Q().Adjoint()) {}
    CMatrix triangle() const { return qr_.R(); }
    CMatrix solve(const CMatrix& b) const
    {
        CMatrix projected = adjointOfQ_ * b;
        projected.Rows(b.Rows());
        return qr_.Solve(projected);
    }

private:
    CQR qr_;
    CMatrix adjointOfQ_;
};

/// The class solves with L alone: Q^H is applied to the cells that it has solved for.
class ComplexWide {
public:
    explicit ComplexWide(const CMatrix& A) : lq_(A), adjointOfQ_(lq_.Q().Adjoint()) {}
    CMatrix triangle() const { return lq_.L(); }
    CMatrix solve(const CMatrix& b) const
    {
        CMatrix solved = lq_.Solve(b);
        solved.Rows(b.Rows());
        return adjointOfQ_ * solved;
    }

private:
    CLQ lq_;
    CMatrix adjointOfQ_;
};

Matrix pivotedTriangle(const Matrix& triangle)
{
    return QR(triangle, true).R();
}
CMatrix pivotedTriangle(const CMatrix& triangle)
{
    return CQR(triangle, true).R();
}

template <class Block>
std::int32_t rankOf(const Block& triangle, std::int32_t longerSide)
{
    const Block R = pivotedTriangle(triangle);
    const double limit = longerSide * 0x1p-52 * std::abs(R(0, 0));
    std::int32_t rank = 0;
    while (rank < R.Rows() && std::abs(R(rank, rank)) > limit) ++rank;
    return rank;
}

template <class Factors, class Block>
Answer<Block> solveByColumns(const Factors& factors, const Block& A, std::string_view road, const Block& B,
                             const Probe<Block>& probe)
{
    Answer<Block> answer;
    answer.road = road;
    const Block triangle = factors.triangle();
    if (!allFinite(triangle)) {
        answer.status = Status::NotFinite;
        return answer;
    }
    answer.rank = rankOf(triangle, std::max(A.Rows(), A.Cols()));
    if (answer.rank < triangle.Rows()) {
        answer.status = Status::RankDeficient;
        return answer;
    }
    Block x(A.Cols(), B.Cols());
    for (std::int32_t j = 0; j < B.Cols(); ++j) copyColumns(factors.solve(columnOf(B, j)), x, j);
    answer.probeError = errorOf(factors.solve(probe.rightHand), probe);
    answer.x = std::move(x);
    return answer;
}

template <class Block>
Answer<Block> solveByShape(const Block& A, const Block& B)
{
    constexpr bool kReal = std::is_same_v<Block, Matrix>;
    using Tall = std::conditional_t<kReal, RealTall, ComplexTall>;
    using Wide = std::conditional_t<kReal, RealWide, ComplexWide>;
    const Probe<Block> probe = makeProbe(A);
    if (A.Rows() > A.Cols()) return solveByColumns(Tall(A), A, "QR (least squares)", B, probe);
    return solveByColumns(Wide(A), A, "LQ (minimum norm)", B, probe);
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

template <class Block>
Answer<Block> solveDense(const Block& A, const Block& B)
{
    Answer<Block> answer = solveByShape(A, B);
    if (answer.x && !allFinite(*answer.x)) answer.status = Status::NotFinite;
    return answer;
}

template <class Block>
std::string explain(const Answer<Block>& answer, const Block& A, const Quality& quality)
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
                           numberInWords(quality.judged()));
    case Status::IllConditioned:
        return fmt::format("no digit of the solution can be trusted: a known solution came back with a "
                           "relative error of {}",
                           numberInWords(quality.error));
    case Status::Solved:
        break;
    }
    return {};
}

template Answer<Matrix> solveDense(const Matrix&, const Matrix&);
template Answer<CMatrix> solveDense(const CMatrix&, const CMatrix&);
template std::string explain(const Answer<Matrix>&, const Matrix&, const Quality&);
template std::string explain(const Answer<CMatrix>&, const CMatrix&, const Quality&);

} // namespace Velmar::Lintrix::detail::roads
