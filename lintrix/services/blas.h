#pragma once
/// @file
/// BLAS, as one overload set by cell type under the standard names.
///
/// Every argument is passed on as it stands (column-major, 32-bit integers, one-letter modes); the call runs
/// under the thread count that thread control answers at that moment. This header alone declares the symbols.

#include <lintrix/services/thread_scope.h>

#include <complex>
#include <cstddef>
#include <cstdint>

// Character arguments of Fortran routines carry a hidden length, by value, after all others.
extern "C" {
void dgemm_(const char* transa, const char* transb, const int* m, const int* n, const int* k,
            const double* alpha, const double* a, const int* lda, const double* b, const int* ldb,
            const double* beta, double* c, const int* ldc, std::size_t, std::size_t);
void dgemv_(const char* trans, const int* m, const int* n, const double* alpha, const double* a,
            const int* lda, const double* x, const int* incx, const double* beta, double* y, const int* incy,
            std::size_t);
void dtrsm_(const char* side, const char* uplo, const char* transa, const char* diag, const int* m,
            const int* n, const double* alpha, const double* a, const int* lda, double* b, const int* ldb,
            std::size_t, std::size_t, std::size_t, std::size_t);
void sgemm_(const char* transa, const char* transb, const int* m, const int* n, const int* k,
            const float* alpha, const float* a, const int* lda, const float* b, const int* ldb,
            const float* beta, float* c, const int* ldc, std::size_t, std::size_t);
void strsm_(const char* side, const char* uplo, const char* transa, const char* diag, const int* m,
            const int* n, const float* alpha, const float* a, const int* lda, float* b, const int* ldb,
            std::size_t, std::size_t, std::size_t, std::size_t);
void cgemm_(const char* transa, const char* transb, const int* m, const int* n, const int* k,
            const std::complex<float>* alpha, const std::complex<float>* a, const int* lda,
            const std::complex<float>* b, const int* ldb, const std::complex<float>* beta,
            std::complex<float>* c, const int* ldc, std::size_t, std::size_t);
void ctrsm_(const char* side, const char* uplo, const char* transa, const char* diag, const int* m,
            const int* n, const std::complex<float>* alpha, const std::complex<float>* a, const int* lda,
            std::complex<float>* b, const int* ldb, std::size_t, std::size_t, std::size_t, std::size_t);
void zgemm_(const char* transa, const char* transb, const int* m, const int* n, const int* k,
            const std::complex<double>* alpha, const std::complex<double>* a, const int* lda,
            const std::complex<double>* b, const int* ldb, const std::complex<double>* beta,
            std::complex<double>* c, const int* ldc, std::size_t, std::size_t);
void ztrsm_(const char* side, const char* uplo, const char* transa, const char* diag, const int* m,
            const int* n, const std::complex<double>* alpha, const std::complex<double>* a, const int* lda,
            std::complex<double>* b, const int* ldb, std::size_t, std::size_t, std::size_t, std::size_t);
void zgemv_(const char* trans, const int* m, const int* n, const std::complex<double>* alpha,
            const std::complex<double>* a, const int* lda, const std::complex<double>* x, const int* incx,
            const std::complex<double>* beta, std::complex<double>* y, const int* incy, std::size_t);
void zaxpy_(const int* n, const std::complex<double>* alpha, const std::complex<double>* x, const int* incx,
            std::complex<double>* y, const int* incy);
void daxpy_(const int* n, const double* alpha, const double* x, const int* incx, double* y, const int* incy);
void cblas_dscal(int n, double alpha, double* x, int incx);
void cblas_zscal(int n, const void* alpha, void* x, int incx);
void cblas_zdscal(int n, double alpha, void* x, int incx);
void cblas_dcopy(int n, const double* x, int incx, double* y, int incy);
void cblas_zcopy(int n, const void* x, int incx, void* y, int incy);
void cblas_dswap(int n, double* x, int incx, double* y, int incy);
void cblas_zswap(int n, void* x, int incx, void* y, int incy);
double cblas_ddot(int n, const double* x, int incx, const double* y, int incy);
void cblas_zdotu_sub(int n, const void* x, int incx, const void* y, int incy, void* dotu);
double cblas_dnrm2(int n, const double* x, int incx);
double cblas_dznrm2(int n, const void* x, int incx);
double cblas_dasum(int n, const double* x, int incx);
double cblas_dzasum(int n, const void* x, int incx);
std::size_t cblas_idamax(int n, const double* x, int incx);
}

namespace Velmar::Lintrix::detail::blas {

/// Factors by which cells are multiplied here, since libraries differ: by a zero some clear, and lose NaN,
/// infinities and signs; and a NaN some kernels for complex cells take for a zero.
template <class Factor>
bool isLeftToNoKernel(const Factor& alpha)
{
    return alpha == 0.0 || alpha != alpha;
}

/// x := alpha*x
inline void scal(const int& n, const double& alpha, double* x, const int& incx)
{
    if (isLeftToNoKernel(alpha)) {
        for (std::int64_t i = 0; i < n; ++i) x[i * incx] *= alpha;
        return;
    }
    const BlasThreadScope threads;
    cblas_dscal(n, alpha, x, incx);
}
inline void scal(const int& n, const std::complex<double>& alpha, std::complex<double>* x, const int& incx)
{
    if (isLeftToNoKernel(alpha)) {
        const double re = alpha.real(), im = alpha.imag();
        for (std::int64_t i = 0; i < n; ++i) {
            std::complex<double>& cell = x[i * incx];
            cell = {cell.real() * re - cell.imag() * im, cell.imag() * re + cell.real() * im};
        }
        return;
    }
    const BlasThreadScope threads;
    cblas_zscal(n, &alpha, x, incx);
}
/// Each part of x by the real alpha.
inline void scal(const int& n, const double& alpha, std::complex<double>* x, const int& incx)
{
    if (isLeftToNoKernel(alpha)) {
        for (std::int64_t i = 0; i < n; ++i) x[i * incx] *= alpha;
        return;
    }
    const BlasThreadScope threads;
    cblas_zdscal(n, alpha, x, incx);
}

/// C := alpha*op(A)*op(B) + beta*C; op(A) is m x k, op(B) k x n, C m x n. With beta = 0 C is not read.
inline void gemm(const char& transa, const char& transb, const int& m, const int& n, const int& k,
                 const double& alpha, const double* a, const int& lda, const double* b, const int& ldb,
                 const double& beta, double* c, const int& ldc)
{
    const BlasThreadScope threads;
    dgemm_(&transa, &transb, &m, &n, &k, &alpha, a, &lda, b, &ldb, &beta, c, &ldc, 1, 1);
}
inline void gemm(const char& transa, const char& transb, const int& m, const int& n, const int& k,
                 const float& alpha, const float* a, const int& lda, const float* b, const int& ldb,
                 const float& beta, float* c, const int& ldc)
{
    const BlasThreadScope threads;
    sgemm_(&transa, &transb, &m, &n, &k, &alpha, a, &lda, b, &ldb, &beta, c, &ldc, 1, 1);
}

inline void gemm(const char& transa, const char& transb, const int& m, const int& n, const int& k,
                 const std::complex<float>& alpha, const std::complex<float>* a, const int& lda,
                 const std::complex<float>* b, const int& ldb, const std::complex<float>& beta,
                 std::complex<float>* c, const int& ldc)
{
    const BlasThreadScope threads;
    cgemm_(&transa, &transb, &m, &n, &k, &alpha, a, &lda, b, &ldb, &beta, c, &ldc, 1, 1);
}

inline void gemm(const char& transa, const char& transb, const int& m, const int& n, const int& k,
                 const std::complex<double>& alpha, const std::complex<double>* a, const int& lda,
                 const std::complex<double>* b, const int& ldb, const std::complex<double>& beta,
                 std::complex<double>* c, const int& ldc)
{
    if (beta != beta) { // which kernels take for a zero, and forget C
        for (std::ptrdiff_t j = 0; j < n; ++j) scal(m, beta, c + j * ldc, 1);
        gemm(transa, transb, m, n, k, alpha, a, lda, b, ldb, std::complex<double>(1.0), c, ldc);
        return;
    }
    const BlasThreadScope threads;
    zgemm_(&transa, &transb, &m, &n, &k, &alpha, a, &lda, b, &ldb, &beta, c, &ldc, 1, 1);
}

/// y := alpha*op(A)*x + beta*y; A is m x n.
inline void gemv(const char& trans, const int& m, const int& n, const double& alpha, const double* a,
                 const int& lda, const double* x, const int& incx, const double& beta, double* y,
                 const int& incy)
{
    const BlasThreadScope threads;
    dgemv_(&trans, &m, &n, &alpha, a, &lda, x, &incx, &beta, y, &incy, 1);
}
/// incx > 0. Not transposed, OpenBLAS's kernels read one cell past x: so the last column is multiplied apart,
/// and the cell past the others is its own.
inline void gemv(const char& trans, const int& m, const int& n, const std::complex<double>& alpha,
                 const std::complex<double>* a, const int& lda, const std::complex<double>* x,
                 const int& incx, const std::complex<double>& beta, std::complex<double>* y, const int& incy)
{
    if (beta != beta) { // as in gemm
        scal(trans == 'N' ? m : n, beta, y, incy);
        gemv(trans, m, n, alpha, a, lda, x, incx, std::complex<double>(1.0), y, incy);
        return;
    }
    const BlasThreadScope threads;
    if (trans != 'N' || n < 1) {
        zgemv_(&trans, &m, &n, &alpha, a, &lda, x, &incx, &beta, y, &incy, 1);
        return;
    }
    const int others = n - 1, one = 1;
    const std::ptrdiff_t last = others;
    const std::complex<double> lastOfX[2] = {x[last * incx]}, sum = 1.0;
    if (others > 0) zgemv_(&trans, &m, &others, &alpha, a, &lda, x, &incx, &beta, y, &incy, 1);
    zgemv_(&trans, &m, &one, &alpha, a + last * lda, &lda, lastOfX, &one, others > 0 ? &sum : &beta, y, &incy,
           1);
}

/// B := alpha*inv(op(A))*B (side 'L') or alpha*B*inv(op(A)) (side 'R'); A triangular, B m x n.
inline void trsm(const char& side, const char& uplo, const char& transa, const char& diag, const int& m,
                 const int& n, const double& alpha, const double* a, const int& lda, double* b,
                 const int& ldb)
{
    const BlasThreadScope threads;
    dtrsm_(&side, &uplo, &transa, &diag, &m, &n, &alpha, a, &lda, b, &ldb, 1, 1, 1, 1);
}
inline void trsm(const char& side, const char& uplo, const char& transa, const char& diag, const int& m,
                 const int& n, const float& alpha, const float* a, const int& lda, float* b, const int& ldb)
{
    const BlasThreadScope threads;
    strsm_(&side, &uplo, &transa, &diag, &m, &n, &alpha, a, &lda, b, &ldb, 1, 1, 1, 1);
}

inline void trsm(const char& side, const char& uplo, const char& transa, const char& diag, const int& m,
                 const int& n, const std::complex<float>& alpha, const std::complex<float>* a, const int& lda,
                 std::complex<float>* b, const int& ldb)
{
    const BlasThreadScope threads;
    ctrsm_(&side, &uplo, &transa, &diag, &m, &n, &alpha, a, &lda, b, &ldb, 1, 1, 1, 1);
}

inline void trsm(const char& side, const char& uplo, const char& transa, const char& diag, const int& m,
                 const int& n, const std::complex<double>& alpha, const std::complex<double>* a,
                 const int& lda, std::complex<double>* b, const int& ldb)
{
    const BlasThreadScope threads;
    ztrsm_(&side, &uplo, &transa, &diag, &m, &n, &alpha, a, &lda, b, &ldb, 1, 1, 1, 1);
}

/// y := alpha*x + y
inline void axpy(const int& n, const double& alpha, const double* x, const int& incx, double* y,
                 const int& incy)
{
    const BlasThreadScope threads;
    daxpy_(&n, &alpha, x, &incx, y, &incy);
}
inline void axpy(const int& n, const std::complex<double>& alpha, const std::complex<double>* x,
                 const int& incx, std::complex<double>* y, const int& incy)
{
    const BlasThreadScope threads;
    zaxpy_(&n, &alpha, x, &incx, y, &incy);
}

/// y := x
inline void copy(const int& n, const double* x, const int& incx, double* y, const int& incy)
{
    const BlasThreadScope threads;
    cblas_dcopy(n, x, incx, y, incy);
}
inline void copy(const int& n, const std::complex<double>* x, const int& incx, std::complex<double>* y,
                 const int& incy)
{
    const BlasThreadScope threads;
    cblas_zcopy(n, x, incx, y, incy);
}

/// x <-> y
inline void swap(const int& n, double* x, const int& incx, double* y, const int& incy)
{
    const BlasThreadScope threads;
    cblas_dswap(n, x, incx, y, incy);
}
inline void swap(const int& n, std::complex<double>* x, const int& incx, std::complex<double>* y,
                 const int& incy)
{
    const BlasThreadScope threads;
    cblas_zswap(n, x, incx, y, incy);
}

/// x . y; complex cells are not conjugated, and incx, incy > 0. At strides other than 1, OpenBLAS's kernels
/// read one complex cell past either vector: so the last product is added apart.
inline double dot(const int& n, const double* x, const int& incx, const double* y, const int& incy)
{
    const BlasThreadScope threads;
    return cblas_ddot(n, x, incx, y, incy);
}
inline std::complex<double> dot(const int& n, const std::complex<double>* x, const int& incx,
                                const std::complex<double>* y, const int& incy)
{
    const BlasThreadScope threads;
    std::complex<double> product;
    if (n < 1 || (incx == 1 && incy == 1)) {
        cblas_zdotu_sub(n, x, incx, y, incy, &product);
        return product;
    }
    const std::ptrdiff_t last = n - 1;
    cblas_zdotu_sub(n - 1, x, incx, y, incy, &product);
    const std::complex<double> a = x[last * incx], b = y[last * incy];
    return {product.real() + (a.real() * b.real() - a.imag() * b.imag()),
            product.imag() + (a.real() * b.imag() + a.imag() * b.real())};
}

/// Euclidean norm of x
inline double nrm2(const int& n, const double* x, const int& incx)
{
    const BlasThreadScope threads;
    return cblas_dnrm2(n, x, incx);
}
inline double nrm2(const int& n, const std::complex<double>* x, const int& incx)
{
    const BlasThreadScope threads;
    return cblas_dznrm2(n, x, incx);
}

/// Sum of the magnitudes of x; of complex cells, of those of their parts
inline double asum(const int& n, const double* x, const int& incx)
{
    const BlasThreadScope threads;
    return cblas_dasum(n, x, incx);
}
inline double asum(const int& n, const std::complex<double>* x, const int& incx)
{
    const BlasThreadScope threads;
    return cblas_dzasum(n, x, incx);
}

/// Zero-based place of the first element of largest magnitude
inline int iamax(const int& n, const double* x, const int& incx)
{
    const BlasThreadScope threads;
    return static_cast<int>(cblas_idamax(n, x, incx));
}

} // namespace Velmar::Lintrix::detail::blas
