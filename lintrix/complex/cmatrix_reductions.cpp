// Reductions, normalization and tests of CMatrix.

#include <lintrix/complex/cmatrix.h>

#include <lintrix/complex/detail/normalization.h>
#include <lintrix/dense/detail/column_major.h>
#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/identity.h>
#include <lintrix/dense/detail/line.h>
#include <lintrix/dense/detail/norm.h>

#include <complex>

namespace Velmar::Lintrix {

// ---- reductions

double CMatrix::Norm(NormType type) const
{
    return detail::normOf(type, view());
}

Complex CMatrix::Trace() const
{
    return detail::sumOf(view().diagonal());
}

Complex CMatrix::RowSum(std::int32_t rowIndex) const
{
    return detail::sumOf(rowLine(rowIndex));
}

Complex CMatrix::ColSum(std::int32_t colIndex) const
{
    return detail::sumOf(columnLine(colIndex));
}

Complex CMatrix::RowsDotProduct(std::int32_t row1, std::int32_t row2) const
{
    const auto x = rowLine(row1), y = rowLine(row2);
    return detail::dotProduct(x, y);
}

Complex CMatrix::ColsDotProduct(std::int32_t col1, std::int32_t col2) const
{
    const auto x = columnLine(col1), y = columnLine(col2);
    return detail::dotProduct(x, y);
}

void CMatrix::NormalizeCols(NormalizeMode mode)
{
    for (std::int32_t c = 0; c < mCols; ++c) detail::normalizeColumn(columnLine(c), mode);
}

void CMatrix::NormalizeRows(NormalizeMode mode)
{
    for (std::int32_t r = 0; r < mRows; ++r) detail::normalizeRow(rowLine(r), mode);
}

// ---- tests

bool CMatrix::IsSymmetric(double tolerance) const
{
    return IsSquare() &&
           detail::eachPairPasses(view(), [tolerance](const Complex& below, const Complex& above) {
               return detail::isClose(below, above, tolerance);
           });
}

bool CMatrix::IsHermitian(double tolerance) const
{
    return IsSquare() &&
           detail::eachPairPasses(view(), [tolerance](const Complex& below, const Complex& above) {
               return detail::isClose(below, std::conj(above), tolerance);
           });
}

bool CMatrix::IsEqual(const CMatrix& A, double tolerance) const
{
    return detail::closeCells(cells(), A.cells(), mCells, A.mCells, tolerance);
}

bool CMatrix::HasINFs() const
{
    return detail::anyInfinite(cells(), mCells);
}

bool CMatrix::HasNaNs() const
{
    return detail::anyNaN(cells(), mCells);
}

// What the name says; Matrix answers the opposite question.
bool CMatrix::IsFinite() const
{
    return detail::allFinite(cells(), mCells);
}

} // namespace Velmar::Lintrix
