// Reductions, statistics, normalization and tests of Matrix.
//
// The formulas hold down to the order of operations, since their results are compared with stored ones: the
// statistics are one-pass sums without centring, the divisor is the full row count, and several tests have
// edges of their own.

#include <lintrix/dense/matrix.h>

#include <lintrix/dense/detail/sizes.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix {

using detail::Block;

namespace {

// One row or column of a matrix: n cells at distance `stride`.
struct Line {
    double* cells;
    std::int32_t n, stride;

    double& operator[](std::int64_t i) const { return cells[i * stride]; }
    void scale(double factor) const { detail::blas::scal(n, factor, cells, stride); }
};

void toZScores(const Line& x)
{
    double mean = 0.0;
    for (std::int32_t i = 0; i < x.n; ++i) mean += x[i];
    mean /= x.n;
    double ss = 0.0;
    for (std::int32_t i = 0; i < x.n; ++i) {
        x[i] -= mean;
        ss += x[i] * x[i];
    }
    if (ss != 0.0) x.scale(1.0 / std::sqrt(ss / x.n));
}

void toUnitLength(const Line& x)
{
    const double s = detail::blas::dot(x.n, x.cells, x.stride, x.cells, x.stride);
    if (s != 0.0) x.scale(1.0 / std::sqrt(s));
}

void toMaximumOne(const Line& x)
{
    const double largest = x[detail::blas::iamax(x.n, x.cells, x.stride)];
    if (largest != 0.0) x.scale(1.0 / largest);
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

// ---- reductions

double Matrix::Norm(NormType type) const
{
    const std::int32_t lda = detail::leadingDimension(mRows);
    switch (type) {
    case NormType::InfinityNorm:
        return detail::lapack::lange('I', mRows, mCols, cells(), lda, Block<double>(mRows).get());
    case NormType::OneNorm:
        return detail::lapack::lange('1', mRows, mCols, cells(), lda, nullptr);
    case NormType::MaxAbsValue:
        return detail::lapack::lange('M', mRows, mCols, cells(), lda, nullptr);
    default: // other values are the caller's fault; they read as FrobeniusNorm
        return detail::lapack::lange('F', mRows, mCols, cells(), lda, nullptr);
    }
}

double Matrix::Trace() const
{
    double sum = 0.0;
    for (std::int32_t i = 0; i < std::min(mRows, mCols); ++i) sum += column(i)[i];
    return sum;
}

double Matrix::RowSum(std::int32_t rowIndex) const
{
    requireRow(rowIndex);
    double sum = 0.0;
    for (std::int32_t j = 0; j < mCols; ++j) sum += column(j)[rowIndex];
    return sum;
}

double Matrix::ColSum(std::int32_t colIndex) const
{
    requireColumn(colIndex);
    const double* x = column(colIndex);
    double sum = 0.0;
    for (std::int32_t i = 0; i < mRows; ++i) sum += x[i];
    return sum;
}

double Matrix::RowsDotProduct(std::int32_t row1, std::int32_t row2) const
{
    requireRow(row1);
    requireRow(row2);
    return detail::blas::dot(mCols, cells() + row1, mRows, cells() + row2, mRows);
}

double Matrix::ColsDotProduct(std::int32_t col1, std::int32_t col2) const
{
    requireColumn(col1);
    requireColumn(col2);
    return detail::blas::dot(mRows, column(col1), 1, column(col2), 1);
}

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
    for (std::int32_t c = 0; c < mCols; ++c) normalize({column(c), mRows, 1}, mode);
}

void Matrix::NormalizeRows(NormalizeMode mode)
{
    for (std::int32_t r = 0; r < mRows; ++r) normalize({cells() + r, mCols, mRows}, mode);
}

// ---- tests

bool Matrix::IsSymmetric(double tolerance) const
{
    if (mRows != mCols) return false;
    for (std::int32_t j = 0; j < mCols; ++j) {
        for (std::int32_t i = j + 1; i < mRows; ++i) {
            if (std::abs(column(j)[i] - column(i)[j]) > tolerance) return false;
        }
    }
    return true;
}

bool Matrix::IsEqual(const Matrix& A, double tolerance) const
{
    if constexpr (detail::kHardened) {
        if (A.mCells < mCells) throw InvalidOperationException("The other matrix has fewer cells.");
    }
    const double t = std::abs(tolerance);
    const double *x = cells(), *y = A.cells();
    for (std::int32_t k = 0; k < mCells; ++k) {
        if (std::abs(y[k] - x[k]) > t) return false;
    }
    return true;
}

bool Matrix::HasINFs() const
{
    return std::any_of(cells(), cells() + mCells, [](double x) { return std::isinf(x); });
}

bool Matrix::HasNaNs() const
{
    return std::any_of(cells(), cells() + mCells, [](double x) { return std::isnan(x); });
}

// The opposite of what the name says; callers of the class test for it, so it stays.
bool Matrix::IsFinite() const
{
    return !std::all_of(cells(), cells() + mCells, [](double x) { return std::isfinite(x); });
}

} // namespace Velmar::Lintrix
