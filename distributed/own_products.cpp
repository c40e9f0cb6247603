#include <distributed/own_products.h>

#include <lintrix/systems/quality/error_free.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::Distributed {

namespace {

using detail::TwofoldSum;

/// Visits the entries of this rank's row i.
template <class Cell, class Visit>
void forRow(const OwnRows<Cell>& A, std::int32_t i, Visit visit)
{
    const auto row = static_cast<std::size_t>(i);
    for (auto k = static_cast<std::size_t>(A.starts[row]); k < static_cast<std::size_t>(A.starts[row + 1]);
         ++k)
        visit(static_cast<std::size_t>(A.columns[k]), A.values[k]);
}

/// The sums of the moduli in each column, of all ranks.
template <class Cell>
std::vector<double> columnSums(const Agreement& all, const OwnRows<Cell>& A)
{
    std::vector<double> sums;
    all.reach([&] {
        sums.resize(static_cast<std::size_t>(A.size));
        for (std::int32_t i = 0; i < A.Count(); ++i)
            forRow(A, i, [&](std::size_t col, const Cell& value) { sums[col] += std::abs(value); });
    });
    MPI_Allreduce(MPI_IN_PLACE, sums.data(), A.size, MPI_DOUBLE, MPI_SUM, all.comm());
    return sums;
}

} // namespace

template <class Cell>
OwnResidual<Cell> residualOf(const OwnRows<Cell>& A, std::int32_t columns, const Cell* b, const Cell* x)
{
    const auto rows = static_cast<std::size_t>(A.Count()), all = rows * static_cast<std::size_t>(columns);
    OwnResidual<Cell> residual{std::vector<Cell>(all), std::vector<double>(all)};
    for (std::size_t at = 0; at < all; ++at) {
        const Cell* const column = x + at / rows * static_cast<std::size_t>(A.size);
        TwofoldSum<Cell> sum(b[at]);
        double size = std::abs(b[at]);
        forRow(A, static_cast<std::int32_t>(at % rows), [&](std::size_t col, const Cell& value) {
            sum.addProduct(-value, column[col]);
            size += std::abs(value) * std::abs(column[col]);
        });
        residual.r[at] = sum.value();
        residual.w[at] = size;
    }
    return residual;
}

template <class Cell>
std::vector<Cell> productOf(const OwnRows<Cell>& A, std::int32_t columns, const Cell* x)
{
    const std::vector<Cell> zero(static_cast<std::size_t>(A.Count()) * static_cast<std::size_t>(columns));
    std::vector<Cell> product = residualOf(A, columns, zero.data(), x).r;
    for (Cell& cell : product) cell = -cell;
    return product;
}

template <class Cell>
MatrixNorms normsOf(const Agreement& all, const OwnRows<Cell>& A)
{
    MatrixNorms norms{0.0, 0.0, A.size, A.size};
    for (std::int32_t i = 0; i < A.Count(); ++i) {
        double sum = 0.0;
        forRow(A, i, [&](std::size_t, const Cell& value) { sum += std::abs(value); });
        norms.infinity = std::max(norms.infinity, sum);
        if (sum == 0.0) norms.zeroRow = std::min<long long>(norms.zeroRow, A.first + i);
    }
    norms.infinity = all.largest(norms.infinity);
    norms.zeroRow = all.smallest(norms.zeroRow);
    const std::vector<double> sums = columnSums(all, A);
    norms.one = *std::ranges::max_element(sums);
    norms.zeroColumn = std::ranges::find(sums, 0.0) - sums.begin();
    return norms;
}

using Complex = std::complex<double>;
template OwnResidual<double> residualOf(const OwnRows<double>&, std::int32_t, const double*, const double*);
template OwnResidual<Complex> residualOf(const OwnRows<Complex>&, std::int32_t, const Complex*,
                                         const Complex*);
template std::vector<double> productOf(const OwnRows<double>&, std::int32_t, const double*);
template std::vector<Complex> productOf(const OwnRows<Complex>&, std::int32_t, const Complex*);
template MatrixNorms normsOf(const Agreement&, const OwnRows<double>&);
template MatrixNorms normsOf(const Agreement&, const OwnRows<Complex>&);

} // namespace Velmar::Lintrix::Distributed
