#pragma once
/// @file
/// Diagonal and norms of CompressedMatrix.

#include <lintrix/complex/access.h>
#include <lintrix/dense/access.h>
#include <lintrix/sparse/compressed_matrix.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace Velmar::Lintrix::detail {

/// The larger one, or NaN if either is.
inline double largerOf(double x, double y)
{
    return std::isnan(x) || x >= y ? x : y;
}

/// sqrt(sum of squares) with a running scale (Higham, Accuracy and Stability of Numerical Algorithms, section
/// 27.8): no square overflows or vanishes.
class ScaledSquares {
public:
    void add(double magnitude, double times)
    {
        if (std::isinf(magnitude)) infinite_ = true;
        if (magnitude == 0.0 || std::isinf(magnitude)) return;
        if (magnitude > scale_) {
            sum_ *= (scale_ / magnitude) * (scale_ / magnitude);
            scale_ = magnitude;
        }
        sum_ += times * (magnitude / scale_) * (magnitude / scale_);
    }
    double root() const
    {
        const double norm = scale_ * std::sqrt(sum_);
        return infinite_ && !std::isnan(norm) ? std::numeric_limits<double>::infinity() : norm;
    }

private:
    double scale_ = std::numeric_limits<double>::min(), sum_ = 0.0;
    bool infinite_ = false;
};

template <class Cell>
auto CompressedMatrix<Cell>::Diagonal() const -> V
{
    V diagonal(std::min(mRows, mCols));
    for (const auto [row, col, value] : *this) {
        if (row == col) diagonal(row) = value;
    }
    return diagonal;
}

template <class Cell>
double CompressedMatrix<Cell>::Norm(NormType type) const
{
    const auto mirrors = [this](std::int32_t row, std::int32_t col) { return _oneTriangle && row != col; };
    if (type == NormType::InfinityNorm || type == NormType::OneNorm) {
        const bool byRows = type == NormType::InfinityNorm;
        // Columns may be past the sizes: those of a mirror image, and those that a refused byte form left.
        const auto columns = ColumnIndices();
        const std::int32_t most = columns.empty() ? 0 : *std::ranges::max_element(columns);
        std::vector<double> sums(static_cast<std::size_t>(std::max(mRows, most)));
        for (const auto [row, col, value] : *this) {
            sums[static_cast<std::size_t>(byRows ? row : col)] += std::abs(value);
            if (mirrors(row, col)) sums[static_cast<std::size_t>(byRows ? col : row)] += std::abs(value);
        }
        double largest = 0.0;
        for (const double sum : sums) largest = largerOf(largest, sum);
        return largest;
    }
    ScaledSquares squares;
    double largest = 0.0;
    for (const auto [row, col, value] : *this) {
        squares.add(std::abs(value), mirrors(row, col) ? 2.0 : 1.0);
        largest = largerOf(largest, std::abs(value));
    }
    return type == NormType::MaxAbsValue ? largest : squares.root();
}

} // namespace Velmar::Lintrix::detail
