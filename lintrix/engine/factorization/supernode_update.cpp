// Optimised builds contract a*b + c to one rounding, which the vector kernels live by.

#include <lintrix/engine/factorization/supernode_update.h>

#include <lintrix/engine/factorization/update_kernel.h>
#include <lintrix/services/dispatch.h>

#include <complex>
#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

namespace {

using update_kernel::VectorKernel;

// Rows of a descendant that a second-level cache holds are read where they lie, group of columns after group:
// packing them costs more than it saves.
constexpr std::int64_t kMostBytesInPlace = std::int64_t{128} << 10;

template <class T>
constexpr int kFewRows = kIsComplex<T> ? 4 : 2;

template <class T, class Kernel>
LINTRIX_ALWAYS_INLINE void run(const UpdateProduct<T>& product, const Kernel& kernel, bool lowerTriangle,
                               T* work)
{
    if (std::int64_t{product.m} * product.w * std::int64_t{sizeof(T)} > kMostBytesInPlace) {
        kernel.runPacked(lowerTriangle, work);
    } else {
        kernel.runInPlace(lowerTriangle);
    }
}

template <class T>
using Kernel = void (*)(const UpdateProduct<T>&, const UpdateTarget<T>&, bool, T*);

// 24 of 32 registers hold sums, or 12 of 16; a complex block has two sums for each vector.
template <class T>
LINTRIX_FOR_AVX512 void runAvx512(const UpdateProduct<T>& product, const UpdateTarget<T>& target,
                                  bool lowerTriangle, T* work)
{
    run(product, VectorKernel < T, 64, 3, kIsComplex<T> ? 4 : 8 > (product, target), lowerTriangle, work);
}
template <class T>
LINTRIX_FOR_AVX2_AND_FMA void runAvx2(const UpdateProduct<T>& product, const UpdateTarget<T>& target,
                                      bool lowerTriangle, T* work)
{
    run(product, VectorKernel < T, 32, 3, kIsComplex<T> ? 2 : 4 > (product, target), lowerTriangle, work);
}
template <class T>
void runSse2(const UpdateProduct<T>& product, const UpdateTarget<T>& target, bool lowerTriangle, T* work)
{
    run(product, VectorKernel < T, 16, 3, kIsComplex<T> ? 2 : 4 > (product, target), lowerTriangle, work);
}

// Fewer rows than a vector has lanes, as in networks: where the target has them here and there, the lanes
// would go through memory one by one.
template <class T>
LINTRIX_FOR_AVX2_AND_FMA void runFewRowsFma(const UpdateProduct<T>& product, const UpdateTarget<T>& target,
                                            bool lowerTriangle, T*)
{
    update_kernel::runByNumbers(product, target, lowerTriangle);
}
template <class T>
void runFewRowsSse2(const UpdateProduct<T>& product, const UpdateTarget<T>& target, bool lowerTriangle, T*)
{
    update_kernel::runByNumbers(product, target, lowerTriangle);
}

template <class T>
LINTRIX_FOR_AVX2_AND_FMA void runColumnFma(const T* l, const T* u, const T& factor, const int* rows, int m,
                                           const ColumnTarget<T>& target)
{
    update_kernel::runByColumns(l, u, factor, rows, m, target);
}
template <class T>
void runColumnSse2(const T* l, const T* u, const T& factor, const int* rows, int m,
                   const ColumnTarget<T>& target)
{
    update_kernel::runByColumns(l, u, factor, rows, m, target);
}

template <class T>
struct Choice {
    Kernel<T> run, runFewRows;
    ColumnUpdate<T> runColumn;
    int lanes;
};

template <class T>
constexpr KernelForms<Choice<T>> kForms{
    .sse2 = {runSse2<T>, runFewRowsSse2<T>, runColumnSse2<T>, 16 / sizeof(T)},
    .avx2 = {runAvx2<T>, runFewRowsFma<T>, runColumnFma<T>, 32 / sizeof(T)},
    .avx512 = {runAvx512<T>, runFewRowsFma<T>, runColumnFma<T>, 64 / sizeof(T)}};

template <class T>
const Choice<T>& chosenForms()
{
    static const Choice<T> chosen = kForms<T>.chosen();
    return chosen;
}

} // namespace

template <class T>
void subtractProduct(const UpdateProduct<T>& product, const UpdateTarget<T>& target, bool lowerTriangle,
                     T* buffer)
{
    const Choice<T>& kernel = chosenForms<T>();
    if (product.m <= 0) return;
    if (product.m + product.above < kernel.lanes || product.m <= kFewRows<T>) {
        kernel.runFewRows(product, target, lowerTriangle, buffer);
    } else {
        kernel.run(product, target, lowerTriangle, buffer);
    }
}

template <class T>
ColumnUpdate<T> columnUpdate()
{
    return chosenForms<T>().runColumn;
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template void subtractProduct(const UpdateProduct<T>&, const UpdateTarget<T>&, bool, T*);                \
    template ColumnUpdate<T> columnUpdate<T>();
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
