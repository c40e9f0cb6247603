#include <lintrix/systems/roads/dense_factor.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/services/lapack.h>
#include <lintrix/services/work.h>

namespace Velmar::Lintrix::detail::roads {

namespace {

char letterOf(TransposeMode op)
{
    return op == TransposeMode::NotTransposed ? 'N' : op == TransposeMode::Transposed ? 'T' : 'C';
}

} // namespace

template <class Cell>
DenseFactor<Cell>::DenseFactor(const SparseOf<Cell>& A) : A_(A), factors_(A.ToDense()), pivots_(A.Rows())
{
    const std::int32_t n = A.Rows();
    lapack::getrf(n, n, AccessTo<Cell>::cells(factors_), n, pivots_.get(), info_);
}

template <class Cell>
MatrixOf<Cell> DenseFactor<Cell>::solved(const MatrixOf<Cell>& B, TransposeMode op) const
{
    MatrixOf<Cell> X(B);
    const std::int32_t n = A_.Rows();
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
    return kEach * rightHands * A_.Rows() * A_.Rows();
}

template <class Cell>
EngineAnswer DenseFactor<Cell>::solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                                      std::optional<std::int32_t>)
try {
    X = solved(B, op);
    WorkScope::tell(operations(B.Cols()));
    X = X + solved(residualOf<Cell>(A_, X, B, op), op);
    return {};
} catch (const NotEnoughMemoryException&) {
    return {.error = kEngineNoMemory};
}

template class DenseFactor<double>;
template class DenseFactor<Complex>;

} // namespace Velmar::Lintrix::detail::roads
