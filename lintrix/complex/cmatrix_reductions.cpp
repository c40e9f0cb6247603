// Normalization of CMatrix, and its own tests.

#include <lintrix/complex/cmatrix.h>

#include <lintrix/complex/detail/normalization.h>
#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/identity.h>
#include <lintrix/dense/detail/line.h>

#include <complex>

namespace Velmar::Lintrix {

void CMatrix::NormalizeCols(NormalizeMode mode)
{
    for (std::int32_t c = 0; c < mCols; ++c) detail::normalizeColumn(columnLine(c), mode);
}

void CMatrix::NormalizeRows(NormalizeMode mode)
{
    for (std::int32_t r = 0; r < mRows; ++r) detail::normalizeRow(rowLine(r), mode);
}

bool CMatrix::IsHermitian(double tolerance) const
{
    return IsSquare() &&
           detail::eachPairPasses(view(), [tolerance](const Complex& below, const Complex& above) {
               return detail::isClose(below, std::conj(above), tolerance);
           });
}

// What the name says; Matrix answers the opposite question.
bool CMatrix::IsFinite() const
{
    return detail::allFinite(cells(), mCells);
}

} // namespace Velmar::Lintrix
