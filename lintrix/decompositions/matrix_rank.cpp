// The operations of Matrix that the singular values drive: rank and pseudo-inverse.

#include <lintrix/decompositions/svd.h>
#include <lintrix/dense/matrix.h>

namespace Velmar::Lintrix {

namespace {

// A decomposition that failed keeps that as a state; a caller of these operations has no object to ask, so
// here it turns into a failure.
const SVD& converged(const SVD& svd)
{
    if (!svd.Succeeded()) throw OperationFailedException();
    return svd;
}

} // namespace

std::int32_t Matrix::Rank() const
{
    return converged(SVD(*this, true)).Rank();
}

Matrix Matrix::PseudoInverse() const
{
    return converged(SVD(*this)).PseudoInverse().value();
}

Matrix Matrix::PseudoInverse(double tolerance) const
{
    return converged(SVD(*this)).PseudoInverse(tolerance).value();
}

} // namespace Velmar::Lintrix
