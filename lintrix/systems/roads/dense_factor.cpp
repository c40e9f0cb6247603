#include <lintrix/systems/roads/dense_factor.h>

#include <lintrix/foundation/failures.h>

namespace Velmar::Lintrix::detail::roads {

namespace {

Matrix turned(const Matrix& A, TransposeMode)
{
    return A.Transpose();
}
CMatrix turned(const CMatrix& A, TransposeMode op)
{
    return op == TransposeMode::Transposed ? A.Transpose() : A.Adjoint();
}

} // namespace

template <class Cell>
auto DenseFactor<Cell>::factorsOf(TransposeMode op) -> const Factors&
{
    if (op == TransposeMode::NotTransposed) return factors_;
    if (!turned_ || turnedBy_ != op) {
        turned_.emplace(turned(A_.ToDense(), op));
        turnedBy_ = op;
    }
    return *turned_;
}

template <class Cell>
EngineAnswer DenseFactor<Cell>::solve(const MatrixOf<Cell>& B, MatrixOf<Cell>& X, TransposeMode op,
                                      std::optional<std::int32_t>)
try {
    const Factors& factors = factorsOf(op);
    X = factors.Solve(B);
    X = X + factors.Solve(residualOf<Cell>(A_, X, B, op));
    return {};
} catch (const NotEnoughMemoryException&) {
    return {.error = kEngineNoMemory};
}

template class DenseFactor<double>;
template class DenseFactor<Complex>;

} // namespace Velmar::Lintrix::detail::roads
