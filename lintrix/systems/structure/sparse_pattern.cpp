#include <lintrix/systems/structure/sparse_pattern.h>

#include <functional>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

/// A' of the pattern, row i called name(i); move(from, to) tells where each element goes.
template <class Name, class Move>
PatternArrays transposedBy(const SparsePattern& A, Name name, Move move)
{
    PatternArrays result{A.cols, A.rows, std::vector<std::int32_t>(static_cast<std::size_t>(A.cols) + 1),
                         std::vector<std::int32_t>(A.columns.size())};
    for (const std::int32_t j : A.columns) ++result.starts[j + 1];
    std::partial_sum(result.starts.begin(), result.starts.end(), result.starts.begin());
    std::vector<std::int32_t> next(result.starts.begin(), result.starts.end() - 1);
    for (std::int32_t i = 0; i < A.rows; ++i) {
        const std::int32_t called = name(i);
        for (std::int32_t k = A.starts[i]; k < A.starts[i + 1]; ++k) {
            const std::int32_t place = next[A.columns[k]]++;
            result.columns[place] = called;
            move(k, place);
        }
    }
    return result;
}

} // namespace

template <class Cell>
EntryArrays<Cell> nonZerosOf(const SparseEntries<Cell>& A)
{
    EntryArrays<Cell> result{{A.rows, A.cols}};
    result.pattern.starts.reserve(A.starts.size());
    result.pattern.columns.reserve(A.columns.size());
    result.values.reserve(A.values.size());
    for (std::int32_t i = 0; i < A.rows; ++i) {
        for (std::int32_t k = A.starts[i]; k < A.starts[i + 1]; ++k) {
            if (A.values[k] == 0.0) continue;
            result.pattern.columns.push_back(A.columns[k]);
            result.values.push_back(A.values[k]);
        }
        result.pattern.starts.push_back(static_cast<std::int32_t>(result.values.size()));
    }
    return result;
}

PatternArrays transposed(const SparsePattern& A)
{
    return transposedBy(A, std::identity(), [](std::int32_t, std::int32_t) {});
}

PatternArrays transposed(const SparsePattern& A, std::span<const std::int32_t> names)
{
    return transposedBy(
        A, [&](std::int32_t i) { return names[i]; }, [](std::int32_t, std::int32_t) {});
}

template <class Cell>
EntryArrays<Cell> transposed(const SparseEntries<Cell>& A)
{
    std::vector<Cell> values(A.values.size());
    PatternArrays pattern = transposedBy(
        A, std::identity(), [&](std::int32_t from, std::int32_t to) { values[to] = A.values[from]; });
    return {std::move(pattern), std::move(values)};
}

template LINTRIX_TESTABLE EntryArrays<double> nonZerosOf(const SparseEntries<double>&);
template LINTRIX_TESTABLE EntryArrays<std::complex<double>>
nonZerosOf(const SparseEntries<std::complex<double>>&);
template LINTRIX_TESTABLE EntryArrays<double> transposed(const SparseEntries<double>&);
template LINTRIX_TESTABLE EntryArrays<std::complex<double>>
transposed(const SparseEntries<std::complex<double>>&);

} // namespace Velmar::Lintrix::detail
