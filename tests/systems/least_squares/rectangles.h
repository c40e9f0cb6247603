#pragma once
/// @file
/// Sparse rectangular matrices of known null space, and judges of x in extended precision.

#include <lintrix/systems/least_squares/tall_matrix.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::testing {

using Real = double;
using Complex16 = std::complex<double>;

template <class Cell>
class Draw {
public:
    explicit Draw(std::uint64_t seed) : generator_(seed) {}

    /// Uniform in [-1, 1], both parts.
    Cell cell()
    {
        if constexpr (std::is_same_v<Cell, double>) {
            return number();
        } else {
            const double real = number();
            return {real, number()};
        }
    }
    std::int32_t below(std::int32_t bound)
    {
        return static_cast<std::int32_t>(generator_() % static_cast<std::uint64_t>(bound));
    }
    std::vector<Cell> cells(std::int32_t size)
    {
        std::vector<Cell> x(static_cast<std::size_t>(size));
        for (Cell& value : x) value = cell();
        return x;
    }

private:
    double number() { return static_cast<double>(generator_() >> 11) * 0x1p-52 - 1.0; }

    std::mt19937_64 generator_;
};

/// Rows of columns from 0 with their values, and the compressed rows of them.
template <class Cell>
class Rectangle {
public:
    Rectangle(std::int32_t rows, std::int32_t cols) : cols_(cols), cells_(static_cast<std::size_t>(rows)) {}

    std::int32_t rows() const { return static_cast<std::int32_t>(cells_.size()); }
    std::int32_t cols() const { return cols_; }
    Cell& at(std::int32_t row, std::int32_t column) { return cells_[static_cast<std::size_t>(row)][column]; }
    const std::map<std::int32_t, Cell>& row(std::int32_t i) const
    {
        return cells_[static_cast<std::size_t>(i)];
    }

    /// Good until the next change or call.
    detail::RowsView<Cell> view()
    {
        a_.clear();
        ja_.clear();
        ia_.assign(1, 1);
        for (const auto& cells : cells_) {
            for (const auto& [column, value] : cells) {
                ja_.push_back(column + 1);
                a_.push_back(value);
            }
            ia_.push_back(static_cast<std::int32_t>(a_.size()) + 1);
        }
        return {rows(), cols_, a_.data(), ia_.data(), ja_.data()};
    }

    Rectangle adjoint() const
    {
        Rectangle other(cols_, rows());
        for (std::int32_t i = 0; i < rows(); ++i) {
            for (const auto& [column, value] : row(i)) other.at(column, i) = detail::conjugate(value);
        }
        return other;
    }

private:
    std::int32_t cols_;
    std::vector<std::map<std::int32_t, Cell>> cells_;
    std::vector<Cell> a_;
    std::vector<std::int32_t> ia_, ja_;
};

/// Full column rank: 2 or so on the diagonal, `more` entries a row anywhere.
template <class Cell>
Rectangle<Cell> regular(std::int32_t rows, std::int32_t cols, int more, std::uint64_t seed)
{
    Draw<Cell> draw(seed);
    Rectangle<Cell> A(rows, cols);
    for (std::int32_t i = 0; i < rows; ++i) {
        if (i < cols) A.at(i, i) = 3.0 * (more + 1);
        for (int k = 0; k < more; ++k) A.at(i, draw.below(cols)) += draw.cell();
    }
    return A;
}

/// [B, B*C] with a regular B of `rank` columns: x is in the range of its adjoint if C^H*x1 = x2.
template <class Cell>
struct Deficient {
    Rectangle<Cell> A, C;
};

template <class Cell>
Deficient<Cell> deficient(std::int32_t rows, std::int32_t rank, std::int32_t surplus, std::uint64_t seed)
{
    Draw<Cell> draw(seed);
    Rectangle<Cell> A = regular<Cell>(rows, rank, 3, seed + 1), C(rank, surplus);
    for (std::int32_t j = 0; j < surplus; ++j) {
        for (int k = 0; k < 3; ++k) C.at(draw.below(rank), j) += draw.cell();
    }
    Rectangle<Cell> wide(rows, rank + surplus);
    for (std::int32_t i = 0; i < rows; ++i) {
        for (const auto& [k, value] : A.row(i)) {
            wide.at(i, k) += value;
            for (const auto& [j, factor] : C.row(k)) wide.at(i, rank + j) += value * factor;
        }
    }
    return {wide, C};
}

/// A column times each scale.
template <class Cell>
Rectangle<Cell> scaledColumns(Rectangle<Cell> A, const std::vector<double>& scale)
{
    for (std::int32_t i = 0; i < A.rows(); ++i) {
        const std::map<std::int32_t, Cell> cells = A.row(i);
        for (const auto& [column, value] : cells)
            A.at(i, column) = value * scale[static_cast<std::size_t>(column)];
    }
    return A;
}

template <class Cell>
using Extended = std::conditional_t<std::is_same_v<Cell, double>, long double, std::complex<long double>>;

template <class Cell>
std::vector<Extended<Cell>> residualOf(const Rectangle<Cell>& A, const std::vector<Cell>& b,
                                       const std::vector<Cell>& x)
{
    std::vector<Extended<Cell>> r(b.begin(), b.end());
    for (std::int32_t i = 0; i < A.rows(); ++i) {
        for (const auto& [column, value] : A.row(i))
            r[static_cast<std::size_t>(i)] -=
                Extended<Cell>(value) * Extended<Cell>(x[static_cast<std::size_t>(column)]);
    }
    return r;
}

template <class Number>
long double lengthOf(const std::vector<Number>& x)
{
    long double sum = 0.0L;
    for (const Number& cell : x) {
        const auto size = static_cast<long double>(std::abs(cell));
        sum += size * size;
    }
    return std::sqrt(sum);
}

template <class Cell>
long double normOf(const Rectangle<Cell>& A)
{
    std::vector<Cell> all;
    for (std::int32_t i = 0; i < A.rows(); ++i) {
        for (const auto& [column, value] : A.row(i)) all.push_back(value);
    }
    return lengthOf(all);
}

/// ||A^H r|| / (||A||_F ||r||)
template <class Cell>
double normalResidualOf(const Rectangle<Cell>& A, const std::vector<Extended<Cell>>& r)
{
    std::vector<Extended<Cell>> g(static_cast<std::size_t>(A.cols()));
    for (std::int32_t i = 0; i < A.rows(); ++i) {
        for (const auto& [column, value] : A.row(i))
            g[static_cast<std::size_t>(column)] +=
                Extended<Cell>(detail::conjugate(value)) * r[static_cast<std::size_t>(i)];
    }
    return static_cast<double>(lengthOf(g) / (normOf(A) * lengthOf(r)));
}

/// ||C^H*x1 - x2|| / ||x||: the part of x in the null space, but for a factor of the size of C.
template <class Cell>
double nullPartOf(const Rectangle<Cell>& C, const std::vector<Cell>& x)
{
    std::vector<Cell> part(x.begin() + C.rows(), x.end());
    for (Cell& cell : part) cell = -cell;
    for (std::int32_t k = 0; k < C.rows(); ++k) {
        for (const auto& [j, factor] : C.row(k))
            part[static_cast<std::size_t>(j)] += detail::conjugate(factor) * x[static_cast<std::size_t>(k)];
    }
    return static_cast<double>(lengthOf(part) / lengthOf(x));
}

template <class Cell>
std::vector<Cell> product(const Rectangle<Cell>& A, const std::vector<Cell>& x)
{
    std::vector<Cell> y(static_cast<std::size_t>(A.rows()));
    for (std::int32_t i = 0; i < A.rows(); ++i) {
        for (const auto& [column, value] : A.row(i))
            y[static_cast<std::size_t>(i)] += value * x[static_cast<std::size_t>(column)];
    }
    return y;
}

} // namespace Velmar::Lintrix::testing
