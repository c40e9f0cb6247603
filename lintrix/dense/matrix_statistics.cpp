// Statistics and normalization of Matrix, and its answer to IsFinite.
//
// The formulas hold down to the order of operations, since their results are compared with stored ones: the
// statistics are one-pass sums without centring, the divisor is the full row count, and several tests have
// edges of their own.

#include <lintrix/dense/matrix.h>

#include <lintrix/dense/detail/finite.h>
#include <lintrix/dense/detail/line.h>
#include <lintrix/services/blas.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix {

using detail::Block;

namespace {

using Line = detail::Line<double>;

void scale(const Line& x, double factor)
{
    detail::blas::scal(x.n, factor, x.cells, x.step());
}

void toZScores(const Line& x)
{
    const double mean = detail::sumOf(x) / x.n;
    double ss = 0.0;
    for (std::int32_t i = 0; i < x.n; ++i) {
        x[i] -= mean;
        ss += x[i] * x[i];
    }
    if (ss != 0.0) scale(x, 1.0 / std::sqrt(ss / x.n));
}

void toUnitLength(const Line& x)
{
    const double s = detail::dotProduct(x, x);
    if (s != 0.0) scale(x, 1.0 / std::sqrt(s));
}

void toMaximumOne(const Line& x)
{
    const double largest = x[detail::blas::iamax(x.n, x.cells, x.step())];
    if (largest != 0.0) scale(x, 1.0 / largest);
}

void normalize(const Line& x, NormalizeMode mode)
{
    if (x.n == 0) return; // a column without rows has no largest cell
    if (mode == NormalizeMode::ZScores) toZScores(x);
    if (mode == NormalizeMode::UnitLength) toUnitLength(x);
    if (mode == NormalizeMode::MaximumOne) toMaximumOne(x);
}

// Sums over the rows for one pair of columns x, y, in one pass.
struct PairSums {
    PairSums(const double* x, const double* y, std::int32_t n)
    {
        for (std::int32_t i = 0; i < n; ++i) {
            sx += x[i];
            sxx += x[i] * x[i];
            sy += y[i];
            syy += y[i] * y[i];
            sxy += y[i] * x[i];
        }
    }
    double sx = 0.0, sxx = 0.0, sy = 0.0, syy = 0.0, sxy = 0.0;
};

// The cross sums P(i, j), i < j, of the p columns of a block, into the upper triangle of `cross` (p x p).
// Each is one kernel call and they may come in any order: tiles of columns i stay in the second cache
// together, and are met by groups of columns j that stay in the first. Without rows, n = 0, the sums are 0.
void fillCrossSums(const double* cells, std::int64_t n, std::int64_t p, double* cross)
{
    constexpr std::int64_t kTileCells = 65536, kGroupCells = 3072; // 512 KiB, 24 KiB
    const std::int64_t height = std::max<std::int64_t>(1, n);
    const std::int64_t tile = std::max<std::int64_t>(1, kTileCells / height);
    const std::int64_t group = std::max<std::int64_t>(1, kGroupCells / height);
    const auto fill = [&](std::int64_t iFirst, std::int64_t iEnd, std::int64_t jFirst, std::int64_t jEnd) {
        for (std::int64_t i = iFirst; i < std::min(iEnd, jEnd); ++i) {
            for (std::int64_t j = std::max(jFirst, i + 1); j < jEnd; ++j) {
                cross[i + p * j] = detail::blas::dot(static_cast<int>(n), cells + n * i, 1, cells + n * j, 1);
            }
        }
    };
    for (std::int64_t i = 0; i < p; i += tile) {
        for (std::int64_t j = i + 1; j < p; j += group) {
            fill(i, std::min(p, i + tile), j, std::min(p, j + group));
        }
    }
}

// Sums and sums of squares of the p columns of a block, each in one pass in row order.
struct ColumnSums {
    ColumnSums(const double* cells, std::int64_t n, std::int64_t p)
        : sum(Block<double>::zeroed(p)), squares(Block<double>::zeroed(p))
    {
        for (std::int64_t i = 0; i < p; ++i) {
            for (const double* t = cells + n * i; t != cells + n * (i + 1); ++t) {
                sum[i] += *t;
                squares[i] += *t * *t;
            }
        }
    }
    Block<double> sum, squares;
};

} // namespace

// ---- statistics

Matrix Matrix::CorrelationMatrix() const
{
    Matrix R(Uninitialised{}, mCols, mCols);
    const ColumnSums sums(cells(), mRows, mCols);
    fillCrossSums(cells(), mRows, mCols, R.cells());
    const double f = mRows;
    Block<double> spread(mCols);
    for (std::int32_t i = 0; i < mCols; ++i) {
        spread[i] = std::sqrt(sums.squares[i] * f - sums.sum[i] * sums.sum[i]);
    }
    for (std::int32_t j = 0; j < mCols; ++j) {
        R.column(j)[j] = 1.0; // whatever the column holds
        for (std::int32_t i = 0; i < j; ++i) {
            double d = spread[j] * spread[i];
            if (d != 0.0) d = (R.column(j)[i] * f - sums.sum[j] * sums.sum[i]) / d;
            R.column(j)[i] = R.column(i)[j] = d;
        }
    }
    return R;
}

Matrix Matrix::CovarianceMatrix() const
{
    Matrix R(Uninitialised{}, mCols, mCols);
    const ColumnSums sums(cells(), mRows, mCols);
    fillCrossSums(cells(), mRows, mCols, R.cells());
    const double f = mRows;
    for (std::int32_t j = 0; j < mCols; ++j) {
        R.column(j)[j] = sums.squares[j];
        for (std::int32_t i = 0; i <= j; ++i) {
            const double covariance = R.column(j)[i] / f - (sums.sum[j] / f) * (sums.sum[i] / f);
            R.column(j)[i] = R.column(i)[j] = covariance;
        }
    }
    return R;
}

double Matrix::ColCorrelation(std::int32_t col1, std::int32_t col2) const
{
    requireColumn(col1);
    requireColumn(col2);
    if (col1 == col2) return 1.0;
    const PairSums s(column(col1), column(col2), mRows);
    const double f = mRows;
    // No test for zero, where CorrelationMatrix has one: a constant column is NaN here and 0 there.
    return (f * s.sxy - s.sy * s.sx) /
           (std::sqrt(f * s.syy - s.sy * s.sy) * std::sqrt(f * s.sxx - s.sx * s.sx));
}

double Matrix::ColCovariance(std::int32_t col1, std::int32_t col2) const
{
    requireColumn(col1);
    requireColumn(col2);
    const PairSums s(column(col1), column(col2), mRows);
    const double f = mRows;
    return s.sxy / f - (s.sy / f) * (s.sx / f);
}

void Matrix::NormalizeCols(NormalizeMode mode)
{
    for (std::int32_t c = 0; c < mCols; ++c) normalize(columnLine(c), mode);
}

void Matrix::NormalizeRows(NormalizeMode mode)
{
    for (std::int32_t r = 0; r < mRows; ++r) normalize(rowLine(r), mode);
}

// The opposite of what the name says; callers of the class test for it, so it stays.
bool Matrix::IsFinite() const
{
    return !detail::allFinite(cells(), mCells);
}

} // namespace Velmar::Lintrix
