#pragma once
/// @file
/// The compressed-row kernels on raw arrays, real (`mkl_d...`) and complex (`mkl_z...`): products with dense
/// operands, sums and products of sparse matrices, conversion from dense. The sparse classes stand in front
/// of them; call them where the arrays are your own and are not to be copied.
///
/// Style of the standard numerical routines: every scalar by reference, 32-bit integers, one-letter modes,
/// result codes, no exceptions, nothing allocated for the caller.
///
/// **Format.** A sparse matrix of m rows is three arrays: `values`, `columns`, and m + 1 row pointers. Both
/// index arrays are one-based: row i, counted from 0, has the places pointers[i] - 1 up to but not including
/// pointers[i + 1] - 1. Columns ascend within a row; stored zeros are elements. Where a routine takes
/// `rowStarts` and `rowEnds`, the end of row i is rowEnds[i]: pass the pointers, and the pointers from the
/// second one on. Rows that are not sorted and columns out of range are the caller's fault and are not looked
/// for: they lead out of the arrays. So do dense operands and results that overlap.
///
/// **Modes.** `transa` and `trans` point to "N" for op(A) = A, "T" for the transpose, "C" for the conjugate
/// transpose, which for real matrices is the same. `descriptor` points to four letters: "G" general or "S"
/// symmetric, "U" upper triangle, "N" non-unit diagonal, "F" one-based with column-major dense operands.
/// "GUNF" is the matrix as stored; "SUNF" lets the stored upper triangle stand for the full matrix and skips
/// elements below the diagonal. That matrix is symmetric, of complex cells too: no cell is conjugated but by
/// "C".
///
/// **Parameter faults.** Each routine checks its arguments first, in the order told with it. The first fault
/// prints "MKL ERROR: Parameter %d was incorrect on entry to %s" with its place in the list, counted from 1,
/// and the routine's name in capitals, on standard output, and the routine returns with all its outputs as
/// they were, `info` included: set `info` to a value that no routine writes, and a fault does not read as
/// success.
///
/// **Legal arguments that are not served.** Other descriptors (triangular, Hermitian, diagonal,
/// antisymmetric, lower triangle, unit diagonal, zero-based) leave the dense result as it is. `request` 0,
/// `sort` other than 0 and other jobs set `info` to KernelNotServed and touch nothing else.
///
/// **Threads.** Up to `MKL_Get_Max_Threads()`, where told; the others run on the calling thread. The
/// routines keep no state: calls may run at the same time. Results of the symmetric product depend on the
/// thread count in their last bits. Scratch comes from the buffer pool and goes back to it.

#include <lintrix/services/export.h>

#include <complex>

namespace Velmar::Lintrix {

/// What `info` tells beside 0, which is success, and one-based row numbers.
enum KernelInfo : int {
    KernelNotServed = -1,      ///< legal arguments that this library does not serve
    KernelNoMemory = -2,       ///< the scratch could not be had; outputs are as they were
    KernelTooManyElements = -3 ///< request 1: the result has more than 2^31 - 2 elements; `ic` is half done
};

/// y := alpha*op(A)*x + beta*y, A m x k before op.
///
/// "N": x has k cells, y m; else x has m and y k. With beta 0 y is not read, so that a NaN in it does not
/// survive. "S" asks for m <= k and, where m < k, for no columns behind m: the triangle addresses x and y by
/// its rows and by its columns.
///
/// Cost: one pass over the elements. "G" and "N": as many blocks of rows as there are threads. "S": in
/// parallel if threads*100 < m, with scratch of up to m cells a thread; without memory for it, on one thread.
/// Transposed: one thread.
///
/// Checks, with the number reported: transa 1, m >= 0: 2, k >= 0: 3, descriptor 5.
LINTRIX_EXPORT void mkl_dcsrmv(const char* transa, const int& m, const int& k, const double& alpha,
                               const char* descriptor, const double* values, const int* columns,
                               const int* rowStarts, const int* rowEnds, const double* x, const double& beta,
                               double* y);

/// The same of complex cells; beta is compared with complex zero.
LINTRIX_EXPORT void mkl_zcsrmv(const char* transa, const int& m, const int& k,
                               const std::complex<double>& alpha, const char* descriptor,
                               const std::complex<double>* values, const int* columns, const int* rowStarts,
                               const int* rowEnds, const std::complex<double>* x,
                               const std::complex<double>& beta, std::complex<double>* y);

/// C := alpha*op(A)*B + beta*C, A m x k before op, B and C dense with n columns, `ldb` and `ldc` cells apart.
///
/// "N": B has k rows, C m; else B has m and C k. Each column is a product as by `mkl_dcsrmv`, under the same
/// conditions. Neither ldb nor ldc is checked.
///
/// Cost: n passes over the elements, four columns at a time. Column blocks in parallel if threads*200 < n.
/// "G" and "N" with at least 16*k elements copies k cells of eight columns of B at a time into scratch, if
/// there is memory for it; the result is the same bit by bit.
///
/// Checks: transa 1, m >= 0: 2, n >= 0: 3, k >= 0: 4, descriptor 6.
LINTRIX_EXPORT void mkl_dcsrmm(const char* transa, const int& m, const int& n, const int& k,
                               const double& alpha, const char* descriptor, const double* values,
                               const int* columns, const int* rowStarts, const int* rowEnds, const double* B,
                               const int& ldb, const double& beta, double* C, const int& ldc);

/// The same of complex cells; four columns of B are copied at a time.
LINTRIX_EXPORT void mkl_zcsrmm(const char* transa, const int& m, const int& n, const int& k,
                               const std::complex<double>& alpha, const char* descriptor,
                               const std::complex<double>* values, const int* columns, const int* rowStarts,
                               const int* rowEnds, const std::complex<double>* B, const int& ldb,
                               const std::complex<double>& beta, std::complex<double>* C, const int& ldc);

/// C := A + beta*op(B), all compressed rows. A and op(B) are m x n.
///
/// Two calls make a sum. `request` 1 writes the m + 1 row pointers `ic` and nothing else, and c and jc may be
/// null; the element count is ic[m] - 1. `request` 2 takes `ic` as the first call left it and writes that
/// many values `c` and columns `jc`. The pattern is the union of both: zero results are stored, and where
/// beta is 0 so are the places of B. `sort` is 0, `nzmax` is not used. Served calls set `info` to 0,
/// KernelNoMemory or KernelTooManyElements.
///
/// Cost: one merge of the rows a call. Transposed, besides, two passes over the elements of B, and scratch of
/// at most 36 bytes for each of its rows and 8 for each of its columns.
///
/// Checks: trans 1, request 0 to 2: 2, m >= 0: 4, n >= 0: 5, nzmax >= 0 with request 0: 16.
LINTRIX_EXPORT void mkl_dcsradd(const char* trans, const int& request, const int& sort, const int& m,
                                const int& n, const double* a, const int* ja, const int* ia,
                                const double& beta, const double* b, const int* jb, const int* ib, double* c,
                                int* jc, int* ic, const int& nzmax, int& info);

/// The same of complex cells; "C" conjugates those of B.
LINTRIX_EXPORT void mkl_zcsradd(const char* trans, const int& request, const int& sort, const int& m,
                                const int& n, const std::complex<double>* a, const int* ja, const int* ia,
                                const std::complex<double>& beta, const std::complex<double>* b,
                                const int* jb, const int* ib, std::complex<double>* c, int* jc, int* ic,
                                const int& nzmax, int& info);

/// C := op(A)*B, all compressed rows. A is m x n before op, B has k columns; B and C have n and m rows for
/// "N", m and n rows otherwise.
///
/// Two calls make a product, as with `mkl_dcsradd`. Columns of C come out ascending. "N" keeps what cancels
/// as stored zeros. "T" and "C" drop it in the second call and write `ic` anew, so that the arrays may then
/// be longer than what is used: read the element count off `ic` again.
///
/// Cost: linear in the multiplications, in both calls. Scratch: 4 bytes for each column of B in the first
/// call, 17 in the second; transposed, besides, for A what `mkl_dcsradd` takes for B.
///
/// Checks: trans 1, request 0 to 2: 2, m >= 0: 4, n >= 0: 5, k >= 0: 6, nzmax >= 0 with request 0: 16.
LINTRIX_EXPORT void mkl_dcsrmultcsr(const char* trans, const int& request, const int& sort, const int& m,
                                    const int& n, const int& k, const double* a, const int* ja, const int* ia,
                                    const double* b, const int* jb, const int* ib, double* c, int* jc,
                                    int* ic, const int& nzmax, int& info);

/// The same of complex cells, with 25 bytes in the second call; "C" conjugates those of A.
LINTRIX_EXPORT void mkl_zcsrmultcsr(const char* trans, const int& request, const int& sort, const int& m,
                                    const int& n, const int& k, const std::complex<double>* a, const int* ja,
                                    const int* ia, const std::complex<double>* b, const int* jb,
                                    const int* ib, std::complex<double>* c, int* jc, int* ic,
                                    const int& nzmax, int& info);

/// The real m x n array `dense`, row-major with rows `lda` cells apart, to compressed rows.
///
/// Six entries of `job`: 0 (from dense); 0 or 1, not used; the base of the compressed rows, 0 or 1; 2 (the
/// whole matrix); the most elements to store; 0 to write the row pointers only, with `values` and `columns`
/// null, else to write all three. Elements that compare equal to zero are skipped: -0.0 is, a NaN is not.
///
/// `info` is the one-based number of the row that reached the limit: with job[5] other than 0 the work ends
/// after that row, with 0 the counting goes on and the last such row is told. It is left as it was if none
/// did. A matrix with exactly as many elements as the limit reaches it, and is complete.
///
/// Cost: one pass over the array.
///
/// Checks: job 1, m >= 0: 2, n >= 0: 3, lda >= 0: 5.
LINTRIX_EXPORT void mkl_ddnscsr(const int* job, const int& m, const int& n, const double* dense,
                                const int& lda, double* values, int* columns, int* rowPointers, int& info);

} // namespace Velmar::Lintrix
