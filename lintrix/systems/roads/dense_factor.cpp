#include <lintrix/systems/roads/dense_factor.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/services/lapack.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/roads/columns.h>

#include <utility>

namespace Velmar::Lintrix::detail::roads {

namespace {

char letterOf(TransposeMode op)
{
    return op == TransposeMode::NotTransposed ? 'N' : op == TransposeMode::Transposed ? 'T' : 'C';
}

} // namespace

template <class Cell>
DenseFactor<Cell>::DenseFactor(const MatrixView<Cell>& A, MatrixOf<Cell> cells)
    : A_(A), factors_(std::move(cells)), pivots_(A.rows())
{
    const std::int32_t n = A.rows();
    lapack::getrf(n, n, AccessTo<Cell>::cells(factors_), n, pivots_.get(), info_);
}

template <class Cell>
MatrixOf<Cell> DenseFactor<Cell>::solved(const MatrixOf<Cell>& B, TransposeMode op) const
{
    MatrixOf<Cell> X(B);
    const std::int32_t n = A_.rows();
    int info = 0;
    lapack::getrs(letterOf(op), n, X.Cols(), AccessTo<Cell>::cells(factors_), n, pivots_.get(),
                  AccessTo<Cell>::cells(X), n, info);
    return X;
}

/// Of a solve and of its step of refinement.
template <class Cell>
double DenseFactor<Cell>::operations(std::int32_t rightHands) const
{
    constexpr double kEach = std::is_same_v<Cell, double> ? 4.0 : 16.0;
    return kEach * rightHands * A_.rows() * A_.rows();
}

template <class Cell>
EngineAnswer DenseFactor<Cell>::solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                                      std::optional<std::int32_t>)
try {
    X = solved(B, op);
    WorkScope::tell(operations(B.Cols()));
    MatrixOf<Cell> R(B.Rows(), B.Cols());
    residual(A_, op, B.Cols(), cellsOf(B).data(), cellsOf(std::as_const(X)).data(), cellsOf(R).data());
    X = X + solved(R, op);
    return {};
} catch (const NotEnoughMemoryException&) {
    return {.error = kEngineNoMemory};
}

template class DenseFactor<double>;
template class DenseFactor<Complex>;

} // namespace Velmar::Lintrix::detail::roads
