#include <lintrix/systems/roads/dense_solver.h>

#include <lintrix/systems/roads/dense_refinement.h>
#include <lintrix/systems/roads/dense_reflections.h>
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

/// Of a tall system in the units of its columns. The shortest solution of a wide one lies in the row space:
/// z = A^H*y, y in the units of the rows.
template <class Block>
Probe<Block> makeProbe(const Block& A, const DenseReflections<ElementOf<Block>>& factors)
{
    Block z = probeSolution<ElementOf<Block>>(std::min(A.Rows(), A.Cols()));
    factors.multiplyByScales(z);
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
Answer<Block> solveDense(const Block& A, const Block& B, bool bounded)
{
    Answer<Block> answer;
    answer.road = A.Rows() > A.Cols() ? "QR (least squares)" : "LQ (minimum norm)";
    const DenseReflections<ElementOf<Block>> factors(A);
    if (!allFinite(factors.triangle())) {
        answer.status = Status::NotFinite;
        return answer;
    }
    answer.rank = factors.rank();
    if (answer.rank < std::min(A.Rows(), A.Cols())) {
        answer.status = Status::RankDeficient;
        return answer;
    }
    answer.x = factors.solve(B);
    if (bounded) answer.errorBounds = refineAndBound(A, factors, B, *answer.x);
    const Probe<Block> probe = makeProbe(A, factors);
    answer.probeError = errorOf(factors.solve(probe.rightHand), probe);
    if (!allFinite(*answer.x)) answer.status = Status::NotFinite;
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

template Answer<Matrix> solveDense(const Matrix&, const Matrix&, bool);
template Answer<CMatrix> solveDense(const CMatrix&, const CMatrix&, bool);
template std::string explain(const Answer<Matrix>&, const Matrix&, const Quality&);
template std::string explain(const Answer<CMatrix>&, const CMatrix&, const Quality&);

} // namespace Velmar::Lintrix::detail::roads
