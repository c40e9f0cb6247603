#pragma once
/// @file
/// Products and residuals with the caller's matrix.

#include <lintrix/engine/call/scalar.h>
#include <lintrix/services/export.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Velmar::Lintrix::detail::engine {

/// What the stored entries stand for.
enum class Storage {
    General,   ///< all entries
    Symmetric, ///< the upper triangle of a symmetric matrix
    Hermitian  ///< the upper triangle of a Hermitian one, whose diagonal counts as real
};

/// A matrix in the caller's compressed rows; row starts and columns count from 1. Columns must lie in 1..n.
template <class T>
struct CallersMatrix {
    int n;
    const int* ia;
    const int* ja;
    const T* a;
    Storage storage;
    bool transposed; ///< op(A) is A'; of a general matrix only
};

/// op(A) times blocks of vectors, column after column, n apart. The rows are cut into one slice a thread with
/// about as many entries each. Where entries reach into other rows than their own, each slice sums into an
/// array of its own, and the arrays are added in the order of the slices: for a given number of threads the
/// bits are always the same.
template <class T>
class LINTRIX_TESTABLE SparseOperator {
public:
    /// 80 bits, real or complex.
    using Extended = std::conditional_t<kIsComplex<T>, std::complex<long double>, long double>;

    /// `work` has workBytes() bytes and the alignment of a block, and belongs to this alone.
    SparseOperator(const CallersMatrix<T>& matrix, int threads, std::byte* work) noexcept
        : A_(matrix), slices_(slicesOf(matrix, threads)), work_(work)
    {
    }
    static std::int64_t workBytes(const CallersMatrix<T>& matrix, int threads, bool extended) noexcept
    {
        const bool scatters = matrix.storage != Storage::General || matrix.transposed;
        const std::int64_t cell = extended ? sizeof(Extended) : sizeof(T);
        return scatters ? std::int64_t{matrix.n} * slicesOf(matrix, threads) * cell : 0;
    }

    /// Y := op(A)*X.
    void multiply(const T* x, T* y, int count) const;
    /// R := B - op(A)*X.
    void residual(const T* b, const T* x, T* r, int count) const;
    /// The same with each row summed up in 80-bit precision and rounded once, at the end.
    void extendedResidual(const T* b, const T* x, T* r, int count) const;

private:
    /// One a thread, and no more than there are rows.
    static int slicesOf(const CallersMatrix<T>& matrix, int threads) noexcept
    {
        return std::clamp(threads, 1, std::max(matrix.n, 1));
    }
    template <class Sum, class Finish>
    void forEachRow(const T* x, const Finish& finish) const;
    template <class Sum, class Finish>
    void gatherRows(int first, int last, const T* x, const Finish& finish) const;
    template <class Sum>
    void scatterRows(int first, int last, const T* x, Sum* sums) const;
    int sliceStart(int slice) const;

    bool scatters() const noexcept { return A_.storage != Storage::General || A_.transposed; }

    CallersMatrix<T> A_;
    int slices_;
    std::byte* work_;
};

} // namespace Velmar::Lintrix::detail::engine
