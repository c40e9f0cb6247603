// What Vector does otherwise than CVector.

#include <lintrix/dense/vector.h>

#include <lintrix/dense/detail/sizes.h>
#include <lintrix/services/blas.h>

#include <cmath>

namespace Velmar::Lintrix {

void Vector::Resize(std::int32_t size)
{
    if (size != mCells) resizeTo(size);
}

// ---- operations of two vectors

// A copy of the second operand, then y := x + y: the lengths are compared after the copy.
Vector operator+(const Vector& x, const Vector& y)
{
    Vector sum(y);
    Vector::Add(1.0, x, sum);
    return sum;
}

double Vector::DotProduct(const Vector& x, const Vector& y)
{
    detail::requireSameLength(x, y);
    const double *p = x.cells(), *q = y.cells();
    double sum = 0.0;
    for (std::int32_t i = 0; i < x.mCells; ++i) sum += p[i] * q[i];
    return sum;
}

// ---- normalization

void Vector::Normalize(NormalizeMode mode)
{
    if (mCells == 0) return;
    double* x = cells();
    if (mode == NormalizeMode::UnitLength) {
        const double s = detail::blas::dot(mCells, x, 1, x, 1);
        if (s != 0.0) detail::blas::scal(mCells, 1.0 / std::sqrt(s), x, 1);
    } else if (mode == NormalizeMode::MaximumOne) {
        // The factor is the element itself, not its reciprocal; Matrix differs here.
        const double largest = x[detail::blas::iamax(mCells, x, 1)];
        detail::blas::scal(mCells, largest, x, 1);
    } else if (mode == NormalizeMode::ZScores) {
        toZScores();
    }
}

// x := (x - mean) / |last - mean|. The scale is the last centred element alone, not the standard deviation;
// Matrix differs here.
void Vector::toZScores()
{
    const double mean = Sum() / mCells;
    double* x = cells();
    double q = 0.0;
    for (std::int32_t i = 0; i < mCells; ++i) {
        x[i] -= mean;
        q = x[i] * x[i];
    }
    if (q != 0.0) detail::blas::scal(mCells, 1.0 / std::sqrt(q), x, 1);
}

} // namespace Velmar::Lintrix
