#include <lintrix/systems/roads/column_units.h>

#include <lintrix/services/work.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/powers_of_two.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

namespace {

constexpr int kNone = std::numeric_limits<int>::min(); // of a column that is not finite
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// The larger of both parts.
double sizeOf(double value)
{
    return std::abs(value);
}
double sizeOf(const Complex& value)
{
    return std::max(std::abs(value.real()), std::abs(value.imag()));
}

template <class Cells>
int exponentOf(Cells cells)
{
    double largest = 0.0;
    for (const auto& cell : cells) {
        if (!isFinite(cell)) return kNone;
        largest = std::max(largest, sizeOf(cell));
    }
    int exponent = 0;
    std::frexp(largest, &exponent);
    return exponent;
}

} // namespace

template <class Cell>
ColumnUnits<Cell>::ColumnUnits(const MatrixOf<Cell>& B, int ofMatrix) : ofMatrix_(ofMatrix)
{
    for (std::int32_t j = 0; j < B.Cols(); ++j) {
        WorkScope::tell();
        exponents_.push_back(exponentOf(columnCells(B, j)));
    }
    lacksOne_ = std::ranges::find(exponents_, kNone) != exponents_.end();
}

template <class Cell>
bool ColumnUnits<Cell>::isFinite(std::size_t j) const
{
    return exponents_[j] != kNone;
}

template <class Cell>
void ColumnUnits<Cell>::divide(MatrixOf<Cell>& B) const
{
    for (std::int32_t j = 0; j < B.Cols(); ++j) {
        WorkScope::tell();
        const int exponent = exponents_[static_cast<std::size_t>(j)];
        if (exponent == kNone)
            std::ranges::fill(columnCells(B, j), Cell());
        else
            multiplyByPowerOfTwo(columnCells(B, j), -exponent);
    }
}

template <class Cell>
void ColumnUnits<Cell>::multiply(MatrixOf<Cell>& X) const
{
    for (std::int32_t j = 0; j < X.Cols(); ++j) {
        WorkScope::tell();
        const int exponent = exponents_[static_cast<std::size_t>(j)];
        if (exponent == kNone)
            std::ranges::fill(columnCells(X, j), Cell(kNaN));
        else
            multiplyByPowerOfTwo(columnCells(X, j), exponent - ofMatrix_);
    }
}

template <class Cell>
MatrixOf<Cell> ColumnUnits<Cell>::thereAndBack(MatrixOf<Cell> X) const
{
    multiply(X);
    for (std::int32_t j = 0; j < X.Cols(); ++j) {
        WorkScope::tell();
        const int exponent = exponents_[static_cast<std::size_t>(j)];
        if (exponent != kNone) multiplyByPowerOfTwo(columnCells(X, j), ofMatrix_ - exponent);
    }
    return X;
}

template <class Cell>
std::vector<double> ColumnUnits<Cell>::takeThereAndBack(MatrixOf<Cell>& X) const
{
    MatrixOf<Cell> back = thereAndBack(X);
    std::vector<double> changes;
    for (std::int32_t j = 0; j < X.Cols(); ++j) {
        double change = 0.0, size = 0.0;
        for (std::int32_t i = 0; i < X.Rows(); ++i) {
            const Cell left = columnCells(back, j)[static_cast<std::size_t>(i)];
            change = largerOrNaN(change, modulus(left - columnCells(X, j)[static_cast<std::size_t>(i)]));
            size = largerOrNaN(size, modulus(left));
        }
        const double part = change == 0.0 ? 0.0 : change / size;
        changes.push_back(std::isnan(part) ? std::numeric_limits<double>::infinity() : part);
    }
    X = std::move(back);
    return changes;
}

template class ColumnUnits<double>;
template class ColumnUnits<Complex>;

} // namespace Velmar::Lintrix::detail::roads
