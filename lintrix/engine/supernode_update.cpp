// Compiled with contraction of a*b + c to one rounding, which the vector kernels live by.

#include <lintrix/engine/supernode_update.h>

#include <lintrix/engine/update_kernel.h>
#include <lintrix/services/blas.h>

#include <algorithm>
#include <complex>
#include <cstddef>

namespace Velmar::Lintrix::detail::engine {

namespace {

using update_kernel::RegisterKernel;
using update_kernel::runByElements;

template <class T>
using Kernel = void (*)(const UpdateProduct<T>&, const UpdateTarget<T>&, bool);

// A complex block needs two sums for each vector, so its tall blocks are half as tall.
template <class T>
[[gnu::target("avx512f,avx512dq,avx512vl,avx2,fma")]] void
runAvx512(const UpdateProduct<T>& product, const UpdateTarget<T>& target, bool lowerTriangle)
{
    RegisterKernel<T, 64, kIsComplex<T> ? 2 : 4>{product, target}.run(lowerTriangle);
}
template <class T>
[[gnu::target("avx2,fma")]] void runAvx2(const UpdateProduct<T>& product, const UpdateTarget<T>& target,
                                         bool lowerTriangle)
{
    RegisterKernel<T, 32, kIsComplex<T> ? 1 : 2>{product, target}.run(lowerTriangle);
}
template <class T>
void runSse2(const UpdateProduct<T>& product, const UpdateTarget<T>& target, bool lowerTriangle)
{
    RegisterKernel<T, 16, kIsComplex<T> ? 1 : 2>{product, target}.run(lowerTriangle);
}

template <class T>
struct Choice {
    Kernel<T> run;
    int lanes;
};

template <class T>
Choice<T> choose() noexcept
{
    constexpr int bytes = sizeof(T);
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl")) {
        return {runAvx512<T>, 64 / bytes};
    }
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) return {runAvx2<T>, 32 / bytes};
    return {runSse2<T>, 16 / bytes};
}

// Products of more multiplications than this go to gemm.
constexpr std::int64_t kLargestInRegisters = 8000;
// Columns that one call of gemm makes, so that little of the upper triangle is made in vain.
constexpr int kColumnsAtOnce = 64;

bool areNeighbours(const int* row, int m)
{
    return row[m - 1] - row[0] == m - 1; // they ascend
}

// Rows that one call makes where its product goes through the buffer, which then stays in the cache.
constexpr int kRowsAtOnce = 512;

// Rows [i, i + rows) of columns [c, c + columns), made in the buffer and scattered.
template <class T>
void subtractPiece(const UpdateProduct<T>& product, const UpdateTarget<T>& target, int i, int rows, int c,
                   int columns, bool lowerTriangle, T* buffer)
{
    blas::gemm('N', 'T', rows, columns, product.w, T(1), product.a + i, product.lda, product.b + c,
               product.ldb, T(0), buffer, rows);
    for (int q = 0; q < columns; ++q) {
        T* const cells = target.cells + std::ptrdiff_t{target.ld} * target.column[c + q];
        const T* const from = buffer + std::ptrdiff_t{rows} * q;
        for (int r = lowerTriangle ? std::max(0, c + q - i) : 0; r < rows; ++r) {
            cells[target.row[i + r]] -= from[r];
        }
    }
}

template <class T>
void subtractByGemm(const UpdateProduct<T>& product, const UpdateTarget<T>& target, bool lowerTriangle,
                    T* buffer)
{
    const bool straight = areNeighbours(target.row, product.m) && areNeighbours(target.column, product.k);
    const int step = lowerTriangle ? std::min(kColumnsAtOnce, product.k) : product.k;
    for (int c = 0; c < product.k; c += step) {
        const int columns = std::min(step, product.k - c), first = lowerTriangle ? c : 0;
        if (straight) {
            T* const cells = target.cells + target.row[first] + std::ptrdiff_t{target.ld} * target.column[c];
            blas::gemm('N', 'T', product.m - first, columns, product.w, T(-1), product.a + first, product.lda,
                       product.b + c, product.ldb, T(1), cells, target.ld);
            continue;
        }
        for (int i = first; i < product.m; i += kRowsAtOnce) {
            const int rows = std::min(kRowsAtOnce, product.m - i);
            subtractPiece(product, target, i, rows, c, columns, lowerTriangle, buffer);
        }
    }
}

} // namespace

template <class T>
void subtractProduct(const UpdateProduct<T>& product, const UpdateTarget<T>& target, bool lowerTriangle,
                     T* buffer)
{
    static const Choice<T> kernel = choose<T>();
    if (product.m <= 0) return;
    if (std::int64_t{product.m} * product.k * product.w > kLargestInRegisters) {
        subtractByGemm(product, target, lowerTriangle, buffer);
    } else if (product.m + product.above >= kernel.lanes) {
        kernel.run(product, target, lowerTriangle);
    } else {
        runByElements(product, target, lowerTriangle);
    }
}

template void subtractProduct(const UpdateProduct<float>&, const UpdateTarget<float>&, bool, float*);
template void subtractProduct(const UpdateProduct<double>&, const UpdateTarget<double>&, bool, double*);
template void subtractProduct(const UpdateProduct<std::complex<float>>&,
                              const UpdateTarget<std::complex<float>>&, bool, std::complex<float>*);
template void subtractProduct(const UpdateProduct<std::complex<double>>&,
                              const UpdateTarget<std::complex<double>>&, bool, std::complex<double>*);

} // namespace Velmar::Lintrix::detail::engine
