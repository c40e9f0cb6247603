// The operations of Matrix that the singular values drive: rank and pseudo-inverse.

#include <lintrix/decompositions/svd.h>
#include <lintrix/dense/matrix.h>

namespace Velmar::Lintrix {

namespace {

// By contract only here does a decomposition that did not converge turn into a failure.
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
