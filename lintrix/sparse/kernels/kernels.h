#pragma once
/// @file
/// The compressed-row kernels on raw arrays: products with dense operands, sums and products of sparse
/// matrices, conversion from dense. Not for callers; the sparse classes stand in front of them.
///
/// Style of the standard numerical routines: every scalar by reference, 32-bit integers, one-letter modes,
/// result codes, no exceptions. A compressed-row matrix is three arrays, values, columns and row pointers,
/// one-based, columns ascending within a row. Rows that are not sorted and columns out of range are the
/// caller's fault and are not looked for.
///
/// Each routine checks its arguments first, in the order of the list; the first fault prints
/// "MKL ERROR: Parameter %d was incorrect on entry to %s" (position from 1, name in capitals) on standard
/// output, and the routine returns with all its outputs, `info` included, as they were.
///
/// `trans` is "N", "T" or "C"; "C" conjugates in the complex forms and is "T" in the real ones. `descriptor`
/// has four letters: "G" general or "S" symmetric, "U" upper triangle, "N" non-unit diagonal, "F" one-based
/// with column-major dense operands. Legal arguments with which the library never calls are not served: other
/// descriptors leave the dense result as it is, `request` 0, `sort` other than 0 and other jobs set `info` to
/// kNotServed and touch nothing else.

#include <lintrix/services/export.h>

#include <complex>
#include <cstdint>

namespace Velmar::Lintrix::detail {

using ComplexCell = std::complex<double>;

/// @name Values of `info` beside 0 and one-based row numbers
/// @{
inline constexpr int kNotServed = -1;       ///< legal arguments that no caller in the library needs
inline constexpr int kNoMemory = -2;        ///< the scratch could not be had; outputs are as they were
inline constexpr int kTooManyElements = -3; ///< request 1: the result has more elements than an int counts
/// @}

/// @name y := alpha*op(A)*x + beta*y
/// A is m x k before op. With beta 0 y is not read. "G" and "N": rows in as many blocks as there are threads.
/// "S": the upper triangle stands for the full matrix, elements below the diagonal are skipped; in parallel
/// if threads*100 < m. Transposed: one thread.
/// @{
LINTRIX_TESTABLE void mkl_dcsrmv(const char* transa, const int& m, const int& k, const double& alpha,
                                 const char* descriptor, const double* values, const int* columns,
                                 const int* rowStarts, const int* rowEnds, const double* x,
                                 const double& beta, double* y);
LINTRIX_TESTABLE void mkl_zcsrmv(const char* transa, const int& m, const int& k, const ComplexCell& alpha,
                                 const char* descriptor, const ComplexCell* values, const int* columns,
                                 const int* rowStarts, const int* rowEnds, const ComplexCell* x,
                                 const ComplexCell& beta, ComplexCell* y);
/// @}

/// @name C := alpha*op(A)*B + beta*C
/// A is m x k before op, B and C have n columns, `ldb` and `ldc` apart. Column blocks in parallel if
/// threads*200 < n. "G" and "N" with at least 16*k elements copies k cells of 64/sizeof(cell) columns of B at
/// a time into scratch from the buffer pool, if there is memory for it; the result is the same bit by bit.
/// @{
LINTRIX_TESTABLE void mkl_dcsrmm(const char* transa, const int& m, const int& n, const int& k,
                                 const double& alpha, const char* descriptor, const double* values,
                                 const int* columns, const int* rowStarts, const int* rowEnds,
                                 const double* B, const int& ldb, const double& beta, double* C,
                                 const int& ldc);
LINTRIX_TESTABLE void mkl_zcsrmm(const char* transa, const int& m, const int& n, const int& k,
                                 const ComplexCell& alpha, const char* descriptor, const ComplexCell* values,
                                 const int* columns, const int* rowStarts, const int* rowEnds,
                                 const ComplexCell* B, const int& ldb, const ComplexCell& beta,
                                 ComplexCell* C, const int& ldc);
/// @}

/// @name C := A + beta*op(B)
/// A is m x n. `request` 1 writes `ic` only, 2 takes `ic` as given and writes c and jc. `sort` is 0. The
/// pattern is the union of both; nothing is dropped. One thread; the transposed forms take scratch from the
/// buffer pool.
/// @{
LINTRIX_TESTABLE void mkl_dcsradd(const char* trans, const int& request, const int& sort, const int& m,
                                  const int& n, const double* a, const int* ja, const int* ia,
                                  const double& beta, const double* b, const int* jb, const int* ib,
                                  double* c, int* jc, int* ic, const int& nzmax, int& info);
LINTRIX_TESTABLE void mkl_zcsradd(const char* trans, const int& request, const int& sort, const int& m,
                                  const int& n, const ComplexCell* a, const int* ja, const int* ia,
                                  const ComplexCell& beta, const ComplexCell* b, const int* jb, const int* ib,
                                  ComplexCell* c, int* jc, int* ic, const int& nzmax, int& info);
/// @}

/// @name C := op(A)*B
/// A is m x n, B has k columns. `request` and `sort` as above. Columns come out ascending. "N" keeps what
/// cancels as stored zeros; "T" and "C" drop it in request 2 and rewrite `ic`. One thread; scratch from the
/// buffer pool.
/// @{
LINTRIX_TESTABLE void mkl_dcsrmultcsr(const char* trans, const int& request, const int& sort, const int& m,
                                      const int& n, const int& k, const double* a, const int* ja,
                                      const int* ia, const double* b, const int* jb, const int* ib, double* c,
                                      int* jc, int* ic, const int& nzmax, int& info);
LINTRIX_TESTABLE void mkl_zcsrmultcsr(const char* trans, const int& request, const int& sort, const int& m,
                                      const int& n, const int& k, const ComplexCell* a, const int* ja,
                                      const int* ia, const ComplexCell* b, const int* jb, const int* ib,
                                      ComplexCell* c, int* jc, int* ic, const int& nzmax, int& info);
/// @}

/// Dense to compressed rows. `job`: 0 (this direction), 0 (dense indices from 0), base of the compressed
/// rows, 2 (whole matrix), most elements to store, 0 for row pointers only. `dense` is row-major, rows `lda`
/// apart. Elements that compare equal to zero are skipped. `info` is the one-based row at which the limit
/// stopped the filling; it is left as it was if nothing stopped it.
LINTRIX_TESTABLE void mkl_ddnscsr(const int* job, const int& m, const int& n, const double* dense,
                                  const int& lda, double* values, int* columns, int* rowPointers, int& info);

} // namespace Velmar::Lintrix::detail
