#pragma once
/// @file
/// The complex compressed-row kernels. Not for callers yet: the complex sparse class will stand in front of
/// them. Each is as its real form in lintrix/sparse/kernels.h, with the same checks under the name in
/// capitals with a Z; "C" conjugates the values of the operand.

#include <lintrix/services/export.h>
#include <lintrix/sparse/kernels.h>

#include <complex>

namespace Velmar::Lintrix::detail {

using ComplexCell = std::complex<double>;

LINTRIX_TESTABLE void mkl_zcsrmv(const char* transa, const int& m, const int& k, const ComplexCell& alpha,
                                 const char* descriptor, const ComplexCell* values, const int* columns,
                                 const int* rowStarts, const int* rowEnds, const ComplexCell* x,
                                 const ComplexCell& beta, ComplexCell* y);

LINTRIX_TESTABLE void mkl_zcsrmm(const char* transa, const int& m, const int& n, const int& k,
                                 const ComplexCell& alpha, const char* descriptor, const ComplexCell* values,
                                 const int* columns, const int* rowStarts, const int* rowEnds,
                                 const ComplexCell* B, const int& ldb, const ComplexCell& beta,
                                 ComplexCell* C, const int& ldc);

LINTRIX_TESTABLE void mkl_zcsradd(const char* trans, const int& request, const int& sort, const int& m,
                                  const int& n, const ComplexCell* a, const int* ja, const int* ia,
                                  const ComplexCell& beta, const ComplexCell* b, const int* jb, const int* ib,
                                  ComplexCell* c, int* jc, int* ic, const int& nzmax, int& info);

LINTRIX_TESTABLE void mkl_zcsrmultcsr(const char* trans, const int& request, const int& sort, const int& m,
                                      const int& n, const int& k, const ComplexCell* a, const int* ja,
                                      const int* ia, const ComplexCell* b, const int* jb, const int* ib,
                                      ComplexCell* c, int* jc, int* ic, const int& nzmax, int& info);

} // namespace Velmar::Lintrix::detail
