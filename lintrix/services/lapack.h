#pragma once
/// @file
/// LAPACK, as one overload set by cell type under the standard names, with `orgqr`, `ormqr`, ... for the real
/// routines.
///
/// Every argument is passed on as it stands and `info` comes back as the routine left it; the call runs under
/// the thread count that thread control answers at that moment. No call asks for a workspace size: each
/// caller states its fixed formula beside the call. This header alone declares the symbols.

#include <lintrix/services/thread_scope.h>

#include <complex>
#include <cstddef>

extern "C" {
void dgetrf_(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info);
void sgetrf_(const int* m, const int* n, float* a, const int* lda, int* ipiv, int* info);
void cgetrf_(const int* m, const int* n, std::complex<float>* a, const int* lda, int* ipiv, int* info);
void zgetrf_(const int* m, const int* n, std::complex<double>* a, const int* lda, int* ipiv, int* info);
void dgetrs_(const char* trans, const int* n, const int* nrhs, const double* a, const int* lda,
             const int* ipiv, double* b, const int* ldb, int* info, std::size_t);
void dgetri_(const int* n, double* a, const int* lda, const int* ipiv, double* work, const int* lwork,
             int* info);
void dgeqrf_(const int* m, const int* n, double* a, const int* lda, double* tau, double* work,
             const int* lwork, int* info);
void dgeqp3_(const int* m, const int* n, double* a, const int* lda, int* jpvt, double* tau, double* work,
             const int* lwork, int* info);
void dorgqr_(const int* m, const int* n, const int* k, double* a, const int* lda, const double* tau,
             double* work, const int* lwork, int* info);
void dormqr_(const char* side, const char* trans, const int* m, const int* n, const int* k, const double* a,
             const int* lda, const double* tau, double* c, const int* ldc, double* work, const int* lwork,
             int* info, std::size_t, std::size_t);
void dgelqf_(const int* m, const int* n, double* a, const int* lda, double* tau, double* work,
             const int* lwork, int* info);
void dorglq_(const int* m, const int* n, const int* k, double* a, const int* lda, const double* tau,
             double* work, const int* lwork, int* info);
void dormlq_(const char* side, const char* trans, const int* m, const int* n, const int* k, const double* a,
             const int* lda, const double* tau, double* c, const int* ldc, double* work, const int* lwork,
             int* info, std::size_t, std::size_t);
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info, std::size_t);
void spotrf_(const char* uplo, const int* n, float* a, const int* lda, int* info, std::size_t);
void cpotrf_(const char* uplo, const int* n, std::complex<float>* a, const int* lda, int* info, std::size_t);
void zpotrf_(const char* uplo, const int* n, std::complex<double>* a, const int* lda, int* info, std::size_t);
void dpotrs_(const char* uplo, const int* n, const int* nrhs, const double* a, const int* lda, double* b,
             const int* ldb, int* info, std::size_t);
void dpotri_(const char* uplo, const int* n, double* a, const int* lda, int* info, std::size_t);
void dgesdd_(const char* jobz, const int* m, const int* n, double* a, const int* lda, double* s, double* u,
             const int* ldu, double* vt, const int* ldvt, double* work, const int* lwork, int* iwork,
             int* info, std::size_t);
void dsyev_(const char* jobz, const char* uplo, const int* n, double* a, const int* lda, double* w,
            double* work, const int* lwork, int* info, std::size_t, std::size_t);
void dbdsdc_(const char* uplo, const char* compq, const int* n, double* d, double* e, double* u,
             const int* ldu, double* vt, const int* ldvt, double* q, int* iq, double* work, int* iwork,
             int* info, std::size_t, std::size_t);
double dlange_(const char* norm, const int* m, const int* n, const double* a, const int* lda, double* work,
               std::size_t);
}

namespace Velmar::Lintrix::detail::lapack {

/// A = P*L*U in place, A m x n; `ipiv` gets min(m, n) one-based interchanges. info > 0: exact zero pivot.
inline void getrf(const int& m, const int& n, double* a, const int& lda, int* ipiv, int& info)
{
    const BlasThreadScope threads;
    dgetrf_(&m, &n, a, &lda, ipiv, &info);
}
inline void getrf(const int& m, const int& n, float* a, const int& lda, int* ipiv, int& info)
{
    const BlasThreadScope threads;
    sgetrf_(&m, &n, a, &lda, ipiv, &info);
}
inline void getrf(const int& m, const int& n, std::complex<float>* a, const int& lda, int* ipiv, int& info)
{
    const BlasThreadScope threads;
    cgetrf_(&m, &n, a, &lda, ipiv, &info);
}
inline void getrf(const int& m, const int& n, std::complex<double>* a, const int& lda, int* ipiv, int& info)
{
    const BlasThreadScope threads;
    zgetrf_(&m, &n, a, &lda, ipiv, &info);
}

/// B := inv(op(A))*B from the factors of getrf; B is n x nrhs.
inline void getrs(const char& trans, const int& n, const int& nrhs, const double* a, const int& lda,
                  const int* ipiv, double* b, const int& ldb, int& info)
{
    const BlasThreadScope threads;
    dgetrs_(&trans, &n, &nrhs, a, &lda, ipiv, b, &ldb, &info, 1);
}

/// A := inv(A) from the factors of getrf.
inline void getri(const int& n, double* a, const int& lda, const int* ipiv, double* work, const int& lwork,
                  int& info)
{
    const BlasThreadScope threads;
    dgetri_(&n, a, &lda, ipiv, work, &lwork, &info);
}

/// A = Q*R in place: R on and above the diagonal, the Householder vectors below it; `tau` min(m, n) cells.
inline void geqrf(const int& m, const int& n, double* a, const int& lda, double* tau, double* work,
                  const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dgeqrf_(&m, &n, a, &lda, tau, work, &lwork, &info);
}

/// A*P = Q*R with column pivoting; `jpvt[j]` = 0 marks column j free, on exit the one-based source column.
inline void geqp3(const int& m, const int& n, double* a, const int& lda, int* jpvt, double* tau, double* work,
                  const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dgeqp3_(&m, &n, a, &lda, jpvt, tau, work, &lwork, &info);
}

/// A := the first n columns of the product of k reflectors of geqrf, m x n.
inline void orgqr(const int& m, const int& n, const int& k, double* a, const int& lda, const double* tau,
                  double* work, const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dorgqr_(&m, &n, &k, a, &lda, tau, work, &lwork, &info);
}

/// C := op(Q)*C (side 'L') or C*op(Q) (side 'R'), Q from geqrf; C is m x n.
inline void ormqr(const char& side, const char& trans, const int& m, const int& n, const int& k,
                  const double* a, const int& lda, const double* tau, double* c, const int& ldc, double* work,
                  const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dormqr_(&side, &trans, &m, &n, &k, a, &lda, tau, c, &ldc, work, &lwork, &info, 1, 1);
}

/// A = L*Q in place: L on and below the diagonal, the Householder vectors above it.
inline void gelqf(const int& m, const int& n, double* a, const int& lda, double* tau, double* work,
                  const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dgelqf_(&m, &n, a, &lda, tau, work, &lwork, &info);
}

/// A := the first m rows of the product of k reflectors of gelqf, m x n.
inline void orglq(const int& m, const int& n, const int& k, double* a, const int& lda, const double* tau,
                  double* work, const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dorglq_(&m, &n, &k, a, &lda, tau, work, &lwork, &info);
}

/// C := op(Q)*C (side 'L') or C*op(Q) (side 'R'), Q from gelqf; C is m x n.
inline void ormlq(const char& side, const char& trans, const int& m, const int& n, const int& k,
                  const double* a, const int& lda, const double* tau, double* c, const int& ldc, double* work,
                  const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dormlq_(&side, &trans, &m, &n, &k, a, &lda, tau, c, &ldc, work, &lwork, &info, 1, 1);
}

/// A = L*L' (uplo 'L') in place, the other triangle untouched. info > 0: that leading minor is not positive
/// definite.
inline void potrf(const char& uplo, const int& n, double* a, const int& lda, int& info)
{
    const BlasThreadScope threads;
    dpotrf_(&uplo, &n, a, &lda, &info, 1);
}
inline void potrf(const char& uplo, const int& n, float* a, const int& lda, int& info)
{
    const BlasThreadScope threads;
    spotrf_(&uplo, &n, a, &lda, &info, 1);
}
inline void potrf(const char& uplo, const int& n, std::complex<float>* a, const int& lda, int& info)
{
    const BlasThreadScope threads;
    cpotrf_(&uplo, &n, a, &lda, &info, 1);
}
inline void potrf(const char& uplo, const int& n, std::complex<double>* a, const int& lda, int& info)
{
    const BlasThreadScope threads;
    zpotrf_(&uplo, &n, a, &lda, &info, 1);
}

/// B := inv(A)*B from the factor of potrf; B is n x nrhs.
inline void potrs(const char& uplo, const int& n, const int& nrhs, const double* a, const int& lda, double* b,
                  const int& ldb, int& info)
{
    const BlasThreadScope threads;
    dpotrs_(&uplo, &n, &nrhs, a, &lda, b, &ldb, &info, 1);
}

/// One triangle of inv(A) from the factor of potrf, in place.
inline void potri(const char& uplo, const int& n, double* a, const int& lda, int& info)
{
    const BlasThreadScope threads;
    dpotri_(&uplo, &n, a, &lda, &info, 1);
}

/// A = U*S*V' by divide and conquer, A m x n destroyed. jobz 'S': the first min(m, n) columns of U and rows
/// of V'; 'N': `s` alone. `iwork` has 8*min(m, n) entries. info > 0: not converged.
inline void gesdd(const char& jobz, const int& m, const int& n, double* a, const int& lda, double* s,
                  double* u, const int& ldu, double* vt, const int& ldvt, double* work, const int& lwork,
                  int* iwork, int& info)
{
    const BlasThreadScope threads;
    dgesdd_(&jobz, &m, &n, a, &lda, s, u, &ldu, vt, &ldvt, work, &lwork, iwork, &info, 1);
}

/// Eigenvalues of the symmetric A in rising order, with jobz 'V' the eigenvectors in place of A. info > 0:
/// not converged.
inline void syev(const char& jobz, const char& uplo, const int& n, double* a, const int& lda, double* w,
                 double* work, const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dsyev_(&jobz, &uplo, &n, a, &lda, w, work, &lwork, &info, 1, 1);
}

/// B = U*S*V' by divide and conquer, B n x n bidiagonal with diagonal `d` and off-diagonal `e`, upper or
/// lower by `uplo`. compq 'I': all of U and V'; `d` gets the singular values, largest first, `e` is
/// destroyed. `q` and `iq` are not used then; `work` has 3*n*n + 4*n cells, `iwork` 8*n. info > 0: not
/// converged.
inline void bdsdc(const char& uplo, const char& compq, const int& n, double* d, double* e, double* u,
                  const int& ldu, double* vt, const int& ldvt, double* q, int* iq, double* work, int* iwork,
                  int& info)
{
    const BlasThreadScope threads;
    dbdsdc_(&uplo, &compq, &n, d, e, u, &ldu, vt, &ldvt, q, iq, work, iwork, &info, 1, 1);
}

/// Norm of A by letter: 'F' Frobenius, 'I' largest row sum (`work` has m cells), '1' largest column sum, 'M'
/// largest magnitude.
inline double lange(const char& norm, const int& m, const int& n, const double* a, const int& lda,
                    double* work)
{
    const BlasThreadScope threads;
    return dlange_(&norm, &m, &n, a, &lda, work, 1);
}

} // namespace Velmar::Lintrix::detail::lapack
