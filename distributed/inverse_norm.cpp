#include <distributed/inverse_norm.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Velmar::Lintrix::Distributed {

namespace {

constexpr int kMostSteps = 4;

double conjugated(double value)
{
    return value;
}
std::complex<double> conjugated(std::complex<double> value)
{
    return std::conj(value);
}

template <class Cell>
double oneNorm(const std::vector<Cell>& v)
{
    double sum = 0.0;
    for (const Cell& cell : v) sum += std::abs(cell);
    return sum;
}

/// v/|v|, element by element.
template <class Cell>
void toSigns(std::vector<Cell>& v)
{
    for (Cell& cell : v) cell = cell == Cell() ? Cell(1.0) : cell / std::abs(cell);
}

/// (-1)^i * (1 + i/(n - 1)): what the steps before have missed, this does not.
template <class Cell>
void toAlternating(std::vector<Cell>& v)
{
    const double last = std::max<double>(static_cast<double>(v.size()) - 1.0, 1.0);
    for (std::size_t i = 0; i < v.size(); ++i)
        v[i] = (i % 2 == 0 ? 1.0 : -1.0) * (1.0 + static_cast<double>(i) / last);
}

/// The unit vector of the largest element.
template <class Cell>
std::size_t toUnitOfLargest(std::vector<Cell>& v)
{
    const auto largest = std::ranges::max_element(v, {}, [](const Cell& cell) { return std::abs(cell); });
    const std::size_t at = static_cast<std::size_t>(largest - v.begin());
    std::ranges::fill(v, Cell());
    v[at] = 1.0;
    return at;
}

} // namespace

// The vectors are rank 0's alone, and so are all decisions: processors may differ in the last bit.
template <class Cell>
double inverseOneNorm(const Agreement& all, std::int32_t size, DirectEngine<Cell>& factor)
{
    std::vector<Cell> v;
    const auto root = [&](auto work) {
        if (all.isRoot()) work();
    };
    const auto conjugate = [&] {
        for (Cell& cell : v) cell = conjugated(cell);
    };
    all.reachAtRoot([&] { v.assign(static_cast<std::size_t>(size), Cell(1.0 / size)); });
    double norm = 0.0;
    std::size_t unit = v.size();
    for (int step = 0, going = 1; step < kMostSteps && going != 0; ++step) {
        factor.solve(1, v.data());
        root([&] {
            const double found = oneNorm(v);
            going = found > norm ? 1 : 0;
            norm = std::max(norm, found);
            toSigns(v);
            conjugate();
        });
        MPI_Bcast(&going, 1, MPI_INT, 0, all.comm());
        if (going == 0) break;
        factor.solve(1, v.data(), true);
        root([&] {
            conjugate();
            const std::size_t before = unit;
            unit = toUnitOfLargest(v);
            going = unit == before ? 0 : 1;
        });
        MPI_Bcast(&going, 1, MPI_INT, 0, all.comm());
    }
    root([&] { toAlternating(v); });
    factor.solve(1, v.data());
    root([&] { norm = std::max(norm, 2.0 * oneNorm(v) / (3.0 * size)); });
    MPI_Bcast(&norm, 1, MPI_DOUBLE, 0, all.comm());
    return norm;
}

template double inverseOneNorm(const Agreement&, std::int32_t, DirectEngine<double>&);
template double inverseOneNorm(const Agreement&, std::int32_t, DirectEngine<std::complex<double>>&);

} // namespace Velmar::Lintrix::Distributed
