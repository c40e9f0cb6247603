#include <lintrix/engine/analysis/matching/csr_record.h>

#include <lintrix/engine/analysis/matching/bit_vector.h>
#include <lintrix/engine/call/scalar.h>

#include <algorithm>
#include <complex>
#include <cstdio>
#include <limits>
#include <numeric>

namespace Velmar::Lintrix::detail::engine {

namespace {

// visit(row, column, k) for each entry of the record, k being the place of its value in the matrix.
template <class T, class Visit>
void forEachNonZero(const CompressedRows<T>& matrix, Triangles triangles, Visit visit) noexcept
{
    for (int i = 0; i < matrix.rows(); ++i) {
        for (int k = matrix.ia[i]; k < matrix.ia[i + 1]; ++k) {
            if (matrix.a[k] == T{}) continue;
            const int j = matrix.ja[k];
            visit(i, j, k);
            if (triangles == Triangles::Both && i != j) visit(j, i, k);
        }
    }
}

// The entries of row i, which are no more than those of A, at count[i + 1]; returns them all.
template <class T>
std::int64_t countRows(const CompressedRows<T>& matrix, Triangles triangles, std::span<int> count) noexcept
{
    forEachNonZero(matrix, triangles, [&](int row, int, int) { ++count[row + 1]; });
    return std::accumulate(count.begin(), count.end(), std::int64_t{0});
}

template <class T>
bool holdsZeros(const CompressedRows<T>& matrix) noexcept
{
    return std::ranges::find(matrix.a, T{}) != matrix.a.end();
}

// Counts become starts: row i begins at start[i + 1], until the filling moves that on by the row's length, to
// where row i + 1 begins.
void beginRows(std::span<int> start) noexcept
{
    std::exclusive_scan(start.begin() + 1, start.end(), start.begin() + 1, 0);
}

} // namespace

template <class T>
double magnitudeOf(const T& x) noexcept
{
    constexpr double largest = std::numeric_limits<double>::max();
    const double size = modulus(x);
    return size < largest ? size : largest; // of NaN, too
}

namespace {

Failure allocateEntries(std::int64_t entries, csr_new& record) noexcept
{
    record.nnz = static_cast<int>(entries);
    record.ja = Scratch<int>::uninitialised(entries);
    record.m = Scratch<double>::uninitialised(entries);
    const bool isThere = record.ja && record.m;
    return isThere ? Failure{} : outOfMemory(BlockCode::MatchingWork, missingBytes(record.ja, record.m));
}

// The rows as they are, in one run over all of them.
template <class T>
Failure copyWhole(const CompressedRows<T>& matrix, csr_new& record) noexcept
{
    if (const Failure failure = allocateEntries(static_cast<std::int64_t>(matrix.a.size()), record))
        return failure;
    std::ranges::copy(matrix.ia, record.ia.get());
    std::ranges::copy(matrix.ja, record.ja.get());
    std::ranges::transform(matrix.a, record.m.get(), magnitudeOf<T>);
    return {};
}

template <class T>
Failure copyEntries(const CompressedRows<T>& matrix, Triangles triangles, csr_new& record) noexcept
{
    const std::int64_t entries = countRows(matrix, triangles, record.ia.span());
    if (entries > std::numeric_limits<int>::max()) return overflow();
    if (const Failure failure = allocateEntries(entries, record)) return failure;
    beginRows(record.ia.span());
    forEachNonZero(matrix, triangles, [&](int row, int column, int k) {
        const int place = record.ia[row + 1]++;
        record.ja[place] = column;
        record.m[place] = magnitudeOf(matrix.a[k]);
    });
    return {};
}

} // namespace

template <class T>
Failure copyMagnitudes(const CompressedRows<T>& matrix, Triangles triangles, csr_new& record) noexcept
{
    csr_new fresh;
    fresh.n = matrix.rows();
    fresh.ia = Scratch<int>::zeroed(fresh.n + 1LL);
    if (!fresh.ia) return outOfMemory(BlockCode::MatchingWork, missingBytes(fresh.ia));
    const bool isWhole = triangles == Triangles::AsStored && !holdsZeros(matrix);
    const Failure failure = isWhole ? copyWhole(matrix, fresh) : copyEntries(matrix, triangles, fresh);
    if (failure) return failure;
    record = std::move(fresh);
    return {};
}

PermutationFault checkPermutation(std::span<const int> forward, std::span<const int> inverse,
                                  std::span<int> marks) noexcept
{
    using Kind = PermutationFault::Kind;
    const int n = static_cast<int>(forward.size());
    const bvec_new seen(marks);
    PermutationFault outOfRange, multiple, inconsistent;
    const auto note = [&](PermutationFault& fault, Kind kind, int i) {
        if (fault.count++ == 0) fault = {kind, 1, i, forward[i]};
    };
    for (int i = 0; i < n; ++i) {
        const int value = forward[i];
        if (value < 0 || value >= n) {
            note(outOfRange, Kind::OutOfRange, i);
        } else {
            if (seen.test(value)) note(multiple, Kind::MultipleElements, i);
            seen.set(value);
            if (!inverse.empty() && inverse[value] != i) note(inconsistent, Kind::Inconsistent, i);
        }
    }
    return outOfRange ? outOfRange : multiple ? multiple : inconsistent;
}

void describe(const PermutationFault& fault, std::span<char> text) noexcept
{
    using Kind = PermutationFault::Kind;
    const auto print = [&](const char* form, auto... numbers) {
        std::snprintf(text.data(), text.size(), form, numbers...);
    };
    const long value = fault.value;
    switch (fault.kind) {
    case Kind::None:
        print("%s", "");
        break;
    case Kind::Inconsistent:
        print("%s", "Permutation is inconsistent!");
        break;
    case Kind::OutOfRange:
        print("Permutation contains %d out-of-range elements (first:  %d -> %ld)", fault.count, fault.first,
              value);
        break;
    case Kind::MultipleElements:
        print("Permutation contains %d multiple element pairs (first: %d -> %ld)", fault.count, fault.first,
              value);
        break;
    }
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template LINTRIX_TESTABLE double magnitudeOf(const T&) noexcept;                                         \
    template LINTRIX_TESTABLE Failure copyMagnitudes(const CompressedRows<T>&, Triangles, csr_new&) noexcept;
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
