#include <lintrix/systems/structure/column_block.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <lintrix/systems/cells.h>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kEps = std::numeric_limits<double>::epsilon();
constexpr int kSweeps = 40; ///< a handful is the rule

double largestPart(double x)
{
    return std::abs(x);
}
double largestPart(const std::complex<double>& x)
{
    return std::max(std::abs(x.real()), std::abs(x.imag()));
}

/// A power of two by which the largest part of the cells becomes about 1; 1 for zeros.
template <class Cell>
double scaleOf(const Cell* x, std::size_t count)
{
    double largest = 0.0;
    for (std::size_t i = 0; i < count; ++i) largest = std::max(largest, largestPart(x[i]));
    return largest > 0.0 ? std::ldexp(1.0, std::min(-std::ilogb(largest), 1023)) : 1.0;
}

template <class Cell>
double squareSum(std::int32_t length, const Cell* x)
{
    double sum = 0.0;
    for (std::int32_t i = 0; i < length; ++i) sum += std::norm(x[i]);
    return sum;
}

/// x, y := c*x - s*phase^-1*y, s*x + c*phase^-1*y.
template <class Cell>
struct Rotation {
    double c, s;
    Cell inversePhase;

    void apply(std::int32_t length, Cell* x, Cell* y) const
    {
        for (std::int32_t i = 0; i < length; ++i) {
            const Cell turned = inversePhase * y[i], before = x[i];
            x[i] = c * before - s * turned;
            y[i] = s * before + c * turned;
        }
    }
};

/// That makes columns of squares a, b with the scalar product g orthogonal: cot(2*angle) = (b - a)/(2*|g|).
template <class Cell>
Rotation<Cell> rotationFor(double a, double b, const Cell& g)
{
    const double modulus = std::abs(g), zeta = (b - a) / (2.0 * modulus);
    const double t = std::copysign(1.0, zeta) / (std::abs(zeta) + std::hypot(1.0, zeta));
    const double c = 1.0 / std::hypot(1.0, t);
    return {c, c * t, conjugate(g) / modulus};
}

/// @return whether any pair had to be rotated
template <class Cell>
bool sweep(ColumnBlock<Cell>& W, ColumnBlock<Cell>* companion)
{
    const double tolerance = kEps * std::sqrt(static_cast<double>(W.length));
    bool rotated = false;
    for (std::int32_t i = 0; i < W.count; ++i) {
        for (std::int32_t j = i + 1; j < W.count; ++j) {
            Cell *const x = W.column(i), *const y = W.column(j);
            const double a = squareSum(W.length, x), b = squareSum(W.length, y);
            const Cell g = scalarProduct(W.length, x, y);
            if (!(std::abs(g) > tolerance * std::sqrt(a) * std::sqrt(b))) continue;
            const Rotation<Cell> rotation = rotationFor(a, b, g);
            rotation.apply(W.length, x, y);
            if (companion != nullptr)
                rotation.apply(companion->length, companion->column(i), companion->column(j));
            rotated = true;
        }
    }
    return rotated;
}

template <class Cell>
void swapColumns(ColumnBlock<Cell>& W, std::int32_t i, std::int32_t j)
{
    if (i != j) std::swap_ranges(W.column(i), W.column(i) + W.length, W.column(j));
}

} // namespace

template <class Cell>
Cell scalarProduct(std::int32_t length, const Cell* x, const Cell* y)
{
    Cell sum = 0.0;
    for (std::int32_t i = 0; i < length; ++i) sum += conjugate(x[i]) * y[i];
    return sum;
}

template <class Cell>
double euclideanNorm(std::int32_t length, const Cell* x)
{
    const double scale = scaleOf(x, static_cast<std::size_t>(length));
    double sum = 0.0;
    for (std::int32_t i = 0; i < length; ++i) sum += std::norm(scale * x[i]);
    return std::sqrt(sum) / scale;
}

template <class Cell>
void addMultiple(std::int32_t length, const Cell& factor, const Cell* x, Cell* y)
{
    for (std::int32_t i = 0; i < length; ++i) y[i] += factor * x[i];
}

template <class Cell>
std::vector<double> orthogonalize(ColumnBlock<Cell>& W, ColumnBlock<Cell>* companion)
{
    const double scale = scaleOf(W.cells.data(), W.cells.size());
    for (Cell& x : W.cells) x *= scale;
    for (int done = 0; done < kSweeps && sweep(W, companion); ++done) {
    }
    for (Cell& x : W.cells) x /= scale;
    std::vector<double> lengths;
    for (std::int32_t j = 0; j < W.count; ++j) lengths.push_back(euclideanNorm(W.length, W.column(j)));
    for (std::int32_t j = 0; j < W.count; ++j) {
        const auto longest =
            static_cast<std::int32_t>(std::max_element(lengths.begin() + j, lengths.end()) - lengths.begin());
        std::swap(lengths[j], lengths[longest]);
        swapColumns(W, j, longest);
        if (companion != nullptr) swapColumns(*companion, j, longest);
    }
    return lengths;
}

template <class Cell>
std::vector<double> orthonormalize(ColumnBlock<Cell>& W)
{
    std::vector<double> lengths = orthogonalize(W);
    std::erase(lengths, 0.0); // the last ones
    // Of more columns than rows, what is left over is rounding.
    lengths.resize(std::min(lengths.size(), static_cast<std::size_t>(W.length)));
    W.shrink(static_cast<std::int32_t>(lengths.size()));
    for (std::int32_t j = 0; j < W.count; ++j)
        for (Cell* x = W.column(j); x != W.column(j + 1); ++x) *x /= lengths[j];
    return lengths;
}

template double scalarProduct(std::int32_t, const double*, const double*);
template std::complex<double> scalarProduct(std::int32_t, const std::complex<double>*,
                                            const std::complex<double>*);
template LINTRIX_TESTABLE double euclideanNorm(std::int32_t, const double*);
template LINTRIX_TESTABLE double euclideanNorm(std::int32_t, const std::complex<double>*);
template void addMultiple(std::int32_t, const double&, const double*, double*);
template void addMultiple(std::int32_t, const std::complex<double>&, const std::complex<double>*,
                          std::complex<double>*);
template LINTRIX_TESTABLE std::vector<double> orthogonalize(ColumnBlock<double>&, ColumnBlock<double>*);
template LINTRIX_TESTABLE std::vector<double> orthogonalize(ColumnBlock<std::complex<double>>&,
                                                            ColumnBlock<std::complex<double>>*);
template LINTRIX_TESTABLE std::vector<double> orthonormalize(ColumnBlock<double>&);
template LINTRIX_TESTABLE std::vector<double> orthonormalize(ColumnBlock<std::complex<double>>&);

} // namespace Velmar::Lintrix::detail
