#include <lintrix/engine/solution/sparse_operator.h>

#include <lintrix/services/team.h>

#include <algorithm>
#include <complex>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr double kNanosecondsAnEntry = 1.0;

// a*x in the precision of the sum.
template <class Sum, class T>
Sum productAs(T a, T x) noexcept
{
    return product(Sum(a), Sum(x));
}

} // namespace

// The first row of a slice: that with the first entry of the slice's share.
template <class T>
int SparseOperator<T>::sliceStart(int slice) const
{
    if (slice == slices_) return A_.n;
    const std::int64_t entries = std::int64_t{A_.ia[A_.n]} - 1;
    const std::int64_t before = entries * slice / slices_;
    const int* const row = std::lower_bound(A_.ia, A_.ia + A_.n, before + 1);
    return static_cast<int>(row - A_.ia);
}

template <class T>
template <class Sum, class Finish>
void SparseOperator<T>::gatherRows(int first, int last, const T* x, const Finish& finish) const
{
    for (int i = first; i < last; ++i) {
        Sum sum(0);
        for (int k = A_.ia[i] - 1; k < A_.ia[i + 1] - 1; ++k) {
            sum += productAs<Sum>(A_.a[k], x[A_.ja[k] - 1]);
        }
        finish(i, sum);
    }
}

// Entry (i, j) of a triangle stands for (j, i) too; in a transposed matrix for (j, i) alone.
template <class T>
template <class Sum>
void SparseOperator<T>::scatterRows(int first, int last, const T* x, Sum* sums) const
{
    const bool hermitian = A_.storage == Storage::Hermitian;
    for (int i = first; i < last; ++i) {
        Sum own(0);
        for (int k = A_.ia[i] - 1; k < A_.ia[i + 1] - 1; ++k) {
            const int j = A_.ja[k] - 1;
            const T a = A_.a[k];
            if (A_.transposed) {
                sums[j] += productAs<Sum>(a, x[i]);
            } else if (j == i) {
                own += productAs<Sum>(hermitian ? T(realPart(a)) : a, x[i]);
            } else {
                own += productAs<Sum>(a, x[j]);
                sums[j] += productAs<Sum>(conjugate(a, hermitian), x[i]);
            }
        }
        sums[i] += own;
    }
}

// Calls finish(i, row i of op(A)*x) for every row.
template <class T>
template <class Sum, class Finish>
void SparseOperator<T>::forEachRow(const T* x, const Finish& finish) const
{
    const int n = A_.n;
    Sum* const sums = reinterpret_cast<Sum*>(work_);
    const double entries = static_cast<double>(A_.ia[n]) - 1.0;
    runTeam(repaidTeam(slices_, kNanosecondsAnEntry * entries), [&](const TeamMember& member) {
        member.takeTurns(slices_, [&](int slice) {
            const int first = sliceStart(slice), last = sliceStart(slice + 1);
            if (!scatters()) return gatherRows<Sum>(first, last, x, finish);
            Sum* const own = sums + std::ptrdiff_t{n} * slice;
            std::fill_n(own, n, Sum(0));
            scatterRows(first, last, x, own);
        });
        if (!scatters()) return;
        member.meet();
        const auto [first, behind] = member.shareOf(n);
        for (int i = first; i < behind; ++i) {
            Sum sum = sums[i];
            for (int slice = 1; slice < slices_; ++slice) sum += sums[i + std::ptrdiff_t{n} * slice];
            finish(i, sum);
        }
    });
}

template <class T>
void SparseOperator<T>::multiply(const T* x, T* y, int count) const
{
    for (int c = 0; c < count; ++c) {
        const std::ptrdiff_t column = std::ptrdiff_t{A_.n} * c;
        forEachRow<T>(x + column, [=](int i, T sum) { y[column + i] = sum; });
    }
}

template <class T>
void SparseOperator<T>::residual(const T* b, const T* x, T* r, int count) const
{
    for (int c = 0; c < count; ++c) {
        const std::ptrdiff_t column = std::ptrdiff_t{A_.n} * c;
        forEachRow<T>(x + column, [=](int i, T sum) { r[column + i] = b[column + i] - sum; });
    }
}

template <class T>
void SparseOperator<T>::extendedResidual(const T* b, const T* x, T* r, int count) const
{
    for (int c = 0; c < count; ++c) {
        const std::ptrdiff_t column = std::ptrdiff_t{A_.n} * c;
        forEachRow<Extended>(x + column, [=](int i, Extended sum) {
            r[column + i] = static_cast<T>(Extended(b[column + i]) - sum);
        });
    }
}

template class SparseOperator<float>;
template class SparseOperator<double>;
template class SparseOperator<std::complex<float>>;
template class SparseOperator<std::complex<double>>;

} // namespace Velmar::Lintrix::detail::engine
