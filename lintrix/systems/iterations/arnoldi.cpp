#include <lintrix/systems/iterations/arnoldi.h>

#include <lintrix/sparse/kernels/cell.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <cmath>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kEps = 0x1p-53;

template <class Cell>
double lengthOf(const std::vector<Cell>& x) noexcept
{
    return euclideanNorm(x.data(), static_cast<std::int32_t>(x.size()));
}

/// Divides, since 1/length of a short vector overflows.
template <class Cell>
std::vector<Cell> unit(std::vector<Cell> x, double length)
{
    for (Cell& value : x) value /= length;
    return x;
}

/// v^H*x
template <class Cell>
Cell innerProduct(const std::vector<Cell>& v, const std::vector<Cell>& x) noexcept
{
    Cell sum(0.0);
    for (std::size_t i = 0; i < v.size(); ++i) sum += times(conjugatedIf<true>(v[i]), x[i]);
    return sum;
}

} // namespace

template <class Cell>
void Arnoldi<Cell>::Rotation::apply(Cell& first, Cell& second) const noexcept
{
    const Cell turned = c * first + times(s, second);
    second = c * second - times(conjugatedIf<true>(s), first);
    first = turned;
}

template <class Cell>
Arnoldi<Cell>::Arnoldi(Vector r) : remainder_(lengthOf(r))
{
    v_.push_back(unit(std::move(r), remainder_));
    right_.push_back(remainder_);
}

// image := image - V*(V^H*image), and V^H*image is added to the column.
template <class Cell>
void Arnoldi<Cell>::project(Vector& image, Vector& column) const
{
    for (std::size_t j = 0; j < v_.size(); ++j) {
        const Cell part = innerProduct(v_[j], image);
        for (std::size_t i = 0; i < image.size(); ++i) image[i] -= times(part, v_[j][i]);
        column[j] += part;
    }
}

template <class Cell>
bool Arnoldi<Cell>::extend(Vector image)
{
    const double whole = lengthOf(image);
    if (!std::isfinite(whole)) return false;
    Vector column(v_.size());
    project(image, column);
    double left = lengthOf(image);
    if (left < std::sqrt(0.5) * whole) {
        project(image, column);
        left = lengthOf(image);
    }
    // What the sweeps leave of a vector that lies in the space: their own rounding.
    const double noise = 4.0 * static_cast<double>(v_.size()) * kEps * whole;
    complete_ = !(left > noise);
    rotate(std::move(column), complete_ ? 0.0 : left);
    dependent_ = modulus(r_.back().back()) <= noise;
    if (dependent_) remainder_ = std::hypot(remainder_, modulus(right_[right_.size() - 2]));
    if (!complete_) v_.push_back(unit(std::move(image), left));
    return true;
}

// The rotations so far turn the new column of H; one more takes the element below its diagonal away.
template <class Cell>
void Arnoldi<Cell>::rotate(Vector column, double below)
{
    for (std::size_t j = 0; j < rotations_.size(); ++j) rotations_[j].apply(column[j], column[j + 1]);
    Cell& diagonal = column.back();
    const double size = modulus(diagonal), length = std::hypot(size, below);
    const Cell sign = size == 0.0 ? Cell(1.0) : diagonal / size;
    const Rotation last =
        length == 0.0 ? Rotation{1.0, Cell(0.0)} : Rotation{size / length, sign * (below / length)};
    diagonal = sign * length;
    right_.emplace_back(0.0);
    last.apply(right_[right_.size() - 2], right_.back());
    remainder_ = modulus(right_.back());
    rotations_.push_back(last);
    r_.push_back(std::move(column));
}

template <class Cell>
std::vector<Cell> Arnoldi<Cell>::minimizer() const
{
    const std::size_t k = r_.size() - (dependent_ ? 1 : 0);
    Vector y(right_.begin(), right_.begin() + static_cast<std::ptrdiff_t>(k));
    for (std::size_t j = k; j-- > 0;) {
        y[j] /= r_[j][j];
        for (std::size_t i = 0; i < j; ++i) y[i] -= times(r_[j][i], y[j]);
    }
    return y;
}

template class Arnoldi<double>;
template class Arnoldi<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
