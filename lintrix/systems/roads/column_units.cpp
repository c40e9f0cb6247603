#include <lintrix/systems/roads/column_units.h>

#include <lintrix/systems/cells.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmar::Lintrix::detail::roads {

namespace {

constexpr int kNone = std::numeric_limits<int>::min(); // of a column that is not finite
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kLeast = std::numeric_limits<double>::denorm_min();
constexpr double kSubnormalFrom = 0x1p-960; // of a column: elements of no weight may have lost digits
constexpr int kShift = 600;

double scaled(double value, int exponent)
{
    return std::ldexp(value, exponent);
}
Complex scaled(const Complex& value, int exponent)
{
    return {std::ldexp(value.real(), exponent), std::ldexp(value.imag(), exponent)};
}

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

/// Half of the last place of an element, in a column of this size.
void loseDigits(ColumnQuality& column, double size)
{
    const double lost = 0x1p-1 * std::ldexp(kLeast, kShift) / std::ldexp(size, kShift);
    if (column.errorBound && *column.errorBound != 0.0) *column.errorBound += lost;
    if (lost >= kNoDigit)
        column.verdict = Verdict::Failed;
    else if (lost > kFewDigits)
        column.verdict = std::max(column.verdict, Verdict::Degraded);
}

} // namespace

template <class Cell>
ColumnUnits<Cell>::ColumnUnits(const MatrixOf<Cell>& B)
{
    for (std::int32_t j = 0; j < B.Cols(); ++j) exponents_.push_back(exponentOf(columnCells(B, j)));
    lacksOne_ = std::ranges::find(exponents_, kNone) != exponents_.end();
}

template <class Cell>
void ColumnUnits<Cell>::divide(MatrixOf<Cell>& X) const
{
    for (std::int32_t j = 0; j < X.Cols(); ++j) {
        const int exponent = exponents_[static_cast<std::size_t>(j)];
        for (Cell& cell : columnCells(X, j)) cell = exponent == kNone ? Cell() : scaled(cell, -exponent);
    }
}

template <class Cell>
void ColumnUnits<Cell>::multiply(MatrixOf<Cell>& X) const
{
    for (std::int32_t j = 0; j < X.Cols(); ++j) {
        const int exponent = exponents_[static_cast<std::size_t>(j)];
        for (Cell& cell : columnCells(X, j)) cell = exponent == kNone ? Cell(kNaN) : scaled(cell, exponent);
    }
}

template <class Cell>
std::string_view ColumnUnits<Cell>::judgeAnew(const MatrixOf<Cell>& X,
                                              std::vector<ColumnQuality>& columns) const
{
    std::string_view reason;
    for (std::size_t j = 0; j < columns.size(); ++j) {
        const auto cells = columnCells(X, static_cast<std::int32_t>(j));
        const double size = largestModulus(cells.data(), X.Rows());
        const Verdict before = columns[j].verdict;
        if (!std::isfinite(size))
            columns[j] = {Verdict::Failed, kNaN, kNaN};
        else if (size < kSubnormalFrom && exponents_[j] != 0)
            loseDigits(columns[j], size);
        if (exponents_[j] == kNone)
            reason = "a right-hand side is not finite";
        else if (columns[j].verdict > before && reason.empty())
            reason = std::isfinite(size) ? "a number underflowed" : "a number overflowed";
    }
    return reason;
}

template class ColumnUnits<double>;
template class ColumnUnits<Complex>;

} // namespace Velmar::Lintrix::detail::roads
