#include <lintrix/systems/multifrontal/unsymmetric_plan.h>

#include <lintrix/systems/multifrontal/little_fill.h>
#include <lintrix/systems/multifrontal/symmetric_plan.h>
#include <lintrix/systems/sparse_lu/cell_arithmetic.h>
#include <lintrix/systems/sparse_lu/elimination_plan.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <new>
#include <utility>

namespace Velmar::Lintrix::detail::multifrontal {

namespace {

constexpr std::size_t kMostEntries = std::size_t{1}
                                     << 30; ///< or rows: twice as many are not counted in 32 bits
constexpr double kLargeEnough = 0.1; ///< of an element of the diagonal, beside the largest of its column

/// (0, A; A', 0), whose symmetric scales are those of the rows of A and of its columns.
template <class Cell>
EntryArrays<Cell> augmented(const SparseEntries<Cell>& A, const EntryArrays<Cell>& columns)
{
    const std::int32_t n = A.rows, entries = static_cast<std::int32_t>(A.columns.size());
    EntryArrays<Cell> both{{2 * n, 2 * n, {A.starts.begin(), A.starts.end()}, {}}, {}};
    for (std::int32_t j = 1; j <= n; ++j) both.pattern.starts.push_back(entries + columns.pattern.starts[j]);
    both.pattern.columns.reserve(2 * A.columns.size());
    for (const std::int32_t j : A.columns) both.pattern.columns.push_back(n + j);
    both.pattern.columns.insert(both.pattern.columns.end(), columns.pattern.columns.begin(),
                                columns.pattern.columns.end());
    both.values.assign(A.values.begin(), A.values.end());
    both.values.insert(both.values.end(), columns.values.begin(), columns.values.end());
    return both;
}

/// Magnitudes of the scaled elements, beside those of `columns`.
template <class Cell>
std::vector<double> sizesOf(const EntryArrays<Cell>& columns, const UnsymmetricPlan& plan)
{
    std::vector<double> sizes(columns.values.size());
    for (std::int32_t j = 0; j < columns.pattern.rows; ++j)
        for (std::int32_t k = columns.pattern.starts[j]; k < columns.pattern.starts[j + 1]; ++k)
            sizes[k] = std::ldexp(sparse_lu::sizeOf(columns.values[k]),
                                  plan.columnExponents[j] + plan.rowExponents[columns.pattern.columns[k]]);
    return sizes;
}

/// B + B': a row goes by the name of its column.
PatternArrays symmetrized(const PatternArrays& columns, const BipartiteMatching& matching)
{
    PatternArrays named = columns;
    for (std::int32_t& row : named.columns) row = matching.rowOf[row];
    const PatternArrays mirror = transposed(named);
    PatternArrays both{columns.rows, columns.cols};
    std::vector<std::int32_t> metBy(static_cast<std::size_t>(columns.rows), -1);
    for (std::int32_t j = 0; j < columns.rows; ++j) {
        for (const PatternArrays* const half : {&std::as_const(named), &mirror})
            for (const std::int32_t i : SparsePattern(*half).row(j))
                if (std::exchange(metBy[i], j) != j) both.columns.push_back(i);
        both.starts.push_back(static_cast<std::int32_t>(both.columns.size()));
    }
    return both;
}

} // namespace

template <class Cell>
UnsymmetricPlan unsymmetricPlanOf(const SparseEntries<Cell>& A)
{
    if (std::max(A.columns.size(), A.starts.size()) >= kMostEntries) throw std::bad_alloc();
    const EntryArrays<Cell> columns = transposed(A);
    const std::vector<int> exponents = equilibrate<Cell>(augmented(A, columns));
    UnsymmetricPlan plan;
    plan.rowExponents.assign(exponents.begin(), exponents.begin() + A.rows);
    plan.columnExponents.assign(exponents.begin() + A.rows, exponents.end());
    plan.matching = sparse_lu::strongMatching(columns.pattern, sizesOf(columns, plan), kLargeEnough);
    if (plan.matching.size < A.rows) return plan;
    const PatternArrays pattern = symmetrized(columns.pattern, plan.matching);
    const auto by = [&](FillInReducingMethod method) {
        return frontTreeOf(pattern, orderOf(pattern, method));
    };
    plan.tree = withLessWork(by(FillInReducingMethod::MinimumDegree),
                             [&] { return by(FillInReducingMethod::NestedDissection); });
    return plan;
}

template UnsymmetricPlan unsymmetricPlanOf(const SparseEntries<double>&);
template UnsymmetricPlan unsymmetricPlanOf(const SparseEntries<std::complex<double>>&);

} // namespace Velmar::Lintrix::detail::multifrontal
