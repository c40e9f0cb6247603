#include <lintrix/engine/analysis/matching/csr_record.h>

#include <lintrix/engine/analysis/matching/bit_vector.h>
#include <lintrix/engine/call/scalar.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <limits>

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

// Row i of the record begins at start[i + 1] from here on: the filling moves it on by the row's length, to
// where row i + 1 begins.
template <class T>
void countRows(const CompressedRows<T>& matrix, Triangles triangles, std::span<int> start) noexcept
{
    forEachNonZero(matrix, triangles, [&](int row, int, int) {
        if (row + 2 < static_cast<int>(start.size())) ++start[row + 2];
    });
    for (std::size_t i = 2; i < start.size(); ++i) start[i] += start[i - 1];
}

} // namespace

template <class T>
double magnitudeOf(const T& x) noexcept
{
    return std::fmin(modulus(x), std::numeric_limits<double>::max());
}

template <class T>
Failure copyMagnitudes(const CompressedRows<T>& matrix, Triangles triangles, csr_new& record) noexcept
{
    std::int64_t entries = 0;
    forEachNonZero(matrix, triangles, [&](int, int, int) { ++entries; });
    if (entries > std::numeric_limits<int>::max()) return overflow();

    csr_new fresh{matrix.rows(), static_cast<int>(entries), Scratch<int>::zeroed(matrix.rows() + 1LL),
                  Scratch<int>::uninitialised(entries), Scratch<double>::uninitialised(entries)};
    if (!fresh.ia || !fresh.ja || !fresh.m)
        return outOfMemory(BlockCode::MatchingWork, missingBytes(fresh.ia, fresh.ja, fresh.m));

    countRows(matrix, triangles, fresh.ia.span());
    forEachNonZero(matrix, triangles, [&](int row, int column, int k) {
        const int place = fresh.ia[row + 1]++;
        fresh.ja[place] = column;
        fresh.m[place] = magnitudeOf(matrix.a[k]);
    });
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
