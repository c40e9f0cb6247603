// The operations of Matrix and CMatrix that the singular values drive: rank and pseudo-inverse.

#include <lintrix/decompositions/svd.h>

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

// Complex matrices tell a failure by the result: 0, and none.

std::int32_t CMatrix::Rank() const
{
    return CSVD(*this, true).Rank();
}

std::optional<CMatrix> CMatrix::PseudoInverse() const
{
    return CSVD(*this).PseudoInverse();
}

std::optional<CMatrix> CMatrix::PseudoInverse(double tolerance) const
{
    return CSVD(*this).PseudoInverse(tolerance);
}

} // namespace Velmar::Lintrix
