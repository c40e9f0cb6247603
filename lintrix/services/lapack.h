#pragma once
/// @file
/// LAPACK, as one overload set by cell type under the standard names; where those differ, under the real one:
/// `orgqr` of complex cells is zungqr, `ormlq` zunmlq, `syev` zheev.
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
void zgetrs_(const char* trans, const int* n, const int* nrhs, const std::complex<double>* a, const int* lda,
             const int* ipiv, std::complex<double>* b, const int* ldb, int* info, std::size_t);
void dgetri_(const int* n, double* a, const int* lda, const int* ipiv, double* work, const int* lwork,
             int* info);
void zgetri_(const int* n, std::complex<double>* a, const int* lda, const int* ipiv,
             std::complex<double>* work, const int* lwork, int* info);
void dgeqrf_(const int* m, const int* n, double* a, const int* lda, double* tau, double* work,
             const int* lwork, int* info);
void zgeqrf_(const int* m, const int* n, std::complex<double>* a, const int* lda, std::complex<double>* tau,
             std::complex<double>* work, const int* lwork, int* info);
void dgeqp3_(const int* m, const int* n, double* a, const int* lda, int* jpvt, double* tau, double* work,
             const int* lwork, int* info);
void zgeqp3_(const int* m, const int* n, std::complex<double>* a, const int* lda, int* jpvt,
             std::complex<double>* tau, std::complex<double>* work, const int* lwork, double* rwork,
             int* info);
void dorgqr_(const int* m, const int* n, const int* k, double* a, const int* lda, const double* tau,
             double* work, const int* lwork, int* info);
void zungqr_(const int* m, const int* n, const int* k, std::complex<double>* a, const int* lda,
             const std::complex<double>* tau, std::complex<double>* work, const int* lwork, int* info);
void dormqr_(const char* side, const char* trans, const int* m, const int* n, const int* k, const double* a,
             const int* lda, const double* tau, double* c, const int* ldc, double* work, const int* lwork,
             int* info, std::size_t, std::size_t);
void zunmqr_(const char* side, const char* trans, const int* m, const int* n, const int* k,
             const std::complex<double>* a, const int* lda, const std::complex<double>* tau,
             std::complex<double>* c, const int* ldc, std::complex<double>* work, const int* lwork, int* info,
             std::size_t, std::size_t);
void dgelqf_(const int* m, const int* n, double* a, const int* lda, double* tau, double* work,
             const int* lwork, int* info);
void zgelqf_(const int* m, const int* n, std::complex<double>* a, const int* lda, std::complex<double>* tau,
             std::complex<double>* work, const int* lwork, int* info);
void dorglq_(const int* m, const int* n, const int* k, double* a, const int* lda, const double* tau,
             double* work, const int* lwork, int* info);
void zunglq_(const int* m, const int* n, const int* k, std::complex<double>* a, const int* lda,
             const std::complex<double>* tau, std::complex<double>* work, const int* lwork, int* info);
void dormlq_(const char* side, const char* trans, const int* m, const int* n, const int* k, const double* a,
             const int* lda, const double* tau, double* c, const int* ldc, double* work, const int* lwork,
             int* info, std::size_t, std::size_t);
void zunmlq_(const char* side, const char* trans, const int* m, const int* n, const int* k,
             const std::complex<double>* a, const int* lda, const std::complex<double>* tau,
             std::complex<double>* c, const int* ldc, std::complex<double>* work, const int* lwork, int* info,
             std::size_t, std::size_t);
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info, std::size_t);
void spotrf_(const char* uplo, const int* n, float* a, const int* lda, int* info, std::size_t);
void cpotrf_(const char* uplo, const int* n, std::complex<float>* a, const int* lda, int* info, std::size_t);
void zpotrf_(const char* uplo, const int* n, std::complex<double>* a, const int* lda, int* info, std::size_t);
void dpotrs_(const char* uplo, const int* n, const int* nrhs, const double* a, const int* lda, double* b,
             const int* ldb, int* info, std::size_t);
void zpotrs_(const char* uplo, const int* n, const int* nrhs, const std::complex<double>* a, const int* lda,
             std::complex<double>* b, const int* ldb, int* info, std::size_t);
void dpotri_(const char* uplo, const int* n, double* a, const int* lda, int* info, std::size_t);
void zpotri_(const char* uplo, const int* n, std::complex<double>* a, const int* lda, int* info, std::size_t);
void dgesdd_(const char* jobz, const int* m, const int* n, double* a, const int* lda, double* s, double* u,
             const int* ldu, double* vt, const int* ldvt, double* work, const int* lwork, int* iwork,
             int* info, std::size_t);
void zgesdd_(const char* jobz, const int* m, const int* n, std::complex<double>* a, const int* lda, double* s,
             std::complex<double>* u, const int* ldu, std::complex<double>* vt, const int* ldvt,
             std::complex<double>* work, const int* lwork, double* rwork, int* iwork, int* info, std::size_t);
void dsyev_(const char* jobz, const char* uplo, const int* n, double* a, const int* lda, double* w,
            double* work, const int* lwork, int* info, std::size_t, std::size_t);
void zheev_(const char* jobz, const char* uplo, const int* n, std::complex<double>* a, const int* lda,
            double* w, std::complex<double>* work, const int* lwork, double* rwork, int* info, std::size_t,
            std::size_t);
void dsytrd_(const char* uplo, const int* n, double* a, const int* lda, double* d, double* e, double* tau,
             double* work, const int* lwork, int* info, std::size_t);
void dormtr_(const char* side, const char* uplo, const char* trans, const int* m, const int* n,
             const double* a, const int* lda, const double* tau, double* c, const int* ldc, double* work,
             const int* lwork, int* info, std::size_t, std::size_t, std::size_t);
void dstedc_(const char* compz, const int* n, double* d, double* e, double* z, const int* ldz, double* work,
             const int* lwork, int* iwork, const int* liwork, int* info, std::size_t);
void dgeevx_(const char* balanc, const char* jobvl, const char* jobvr, const char* sense, const int* n,
             double* a, const int* lda, double* wr, double* wi, double* vl, const int* ldvl, double* vr,
             const int* ldvr, int* ilo, int* ihi, double* scale, double* abnrm, double* rconde,
             double* rcondv, double* work, const int* lwork, int* iwork, int* info, std::size_t, std::size_t,
             std::size_t, std::size_t);
void zgeevx_(const char* balanc, const char* jobvl, const char* jobvr, const char* sense, const int* n,
             std::complex<double>* a, const int* lda, std::complex<double>* w, std::complex<double>* vl,
             const int* ldvl, std::complex<double>* vr, const int* ldvr, int* ilo, int* ihi, double* scale,
             double* abnrm, double* rconde, double* rcondv, std::complex<double>* work, const int* lwork,
             double* rwork, int* info, std::size_t, std::size_t, std::size_t, std::size_t);
void dbdsdc_(const char* uplo, const char* compq, const int* n, double* d, double* e, double* u,
             const int* ldu, double* vt, const int* ldvt, double* q, int* iq, double* work, int* iwork,
             int* info, std::size_t, std::size_t);
double dlange_(const char* norm, const int* m, const int* n, const double* a, const int* lda, double* work,
               std::size_t);
double zlange_(const char* norm, const int* m, const int* n, const std::complex<double>* a, const int* lda,
               double* work, std::size_t);
void dladiv_(const double* a, const double* b, const double* c, const double* d, double* p, double* q);
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
inline void getrs(const char& trans, const int& n, const int& nrhs, const std::complex<double>* a,
                  const int& lda, const int* ipiv, std::complex<double>* b, const int& ldb, int& info)
{
    const BlasThreadScope threads;
    zgetrs_(&trans, &n, &nrhs, a, &lda, ipiv, b, &ldb, &info, 1);
}

/// A := inv(A) from the factors of getrf.
inline void getri(const int& n, double* a, const int& lda, const int* ipiv, double* work, const int& lwork,
                  int& info)
{
    const BlasThreadScope threads;
    dgetri_(&n, a, &lda, ipiv, work, &lwork, &info);
}
inline void getri(const int& n, std::complex<double>* a, const int& lda, const int* ipiv,
                  std::complex<double>* work, const int& lwork, int& info)
{
    const BlasThreadScope threads;
    zgetri_(&n, a, &lda, ipiv, work, &lwork, &info);
}

/// A = Q*R in place: R on and above the diagonal, the Householder vectors below it; `tau` min(m, n) cells.
inline void geqrf(const int& m, const int& n, double* a, const int& lda, double* tau, double* work,
                  const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dgeqrf_(&m, &n, a, &lda, tau, work, &lwork, &info);
}
inline void geqrf(const int& m, const int& n, std::complex<double>* a, const int& lda,
                  std::complex<double>* tau, std::complex<double>* work, const int& lwork, int& info)
{
    const BlasThreadScope threads;
    zgeqrf_(&m, &n, a, &lda, tau, work, &lwork, &info);
}

/// A*P = Q*R with column pivoting; `jpvt[j]` = 0 marks column j free, on exit the one-based source column.
inline void geqp3(const int& m, const int& n, double* a, const int& lda, int* jpvt, double* tau, double* work,
                  const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dgeqp3_(&m, &n, a, &lda, jpvt, tau, work, &lwork, &info);
}
/// Besides, `rwork` has 2*n cells.
inline void geqp3(const int& m, const int& n, std::complex<double>* a, const int& lda, int* jpvt,
                  std::complex<double>* tau, std::complex<double>* work, const int& lwork, double* rwork,
                  int& info)
{
    const BlasThreadScope threads;
    zgeqp3_(&m, &n, a, &lda, jpvt, tau, work, &lwork, rwork, &info);
}

/// A := the first n columns of the product of k reflectors of geqrf, m x n.
inline void orgqr(const int& m, const int& n, const int& k, double* a, const int& lda, const double* tau,
                  double* work, const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dorgqr_(&m, &n, &k, a, &lda, tau, work, &lwork, &info);
}
inline void orgqr(const int& m, const int& n, const int& k, std::complex<double>* a, const int& lda,
                  const std::complex<double>* tau, std::complex<double>* work, const int& lwork, int& info)
{
    const BlasThreadScope threads;
    zungqr_(&m, &n, &k, a, &lda, tau, work, &lwork, &info);
}

/// C := op(Q)*C (side 'L') or C*op(Q) (side 'R'), Q from geqrf; C is m x n. trans 'T'; of complex cells 'C',
/// and 'T' is refused (info -2), C left alone.
inline void ormqr(const char& side, const char& trans, const int& m, const int& n, const int& k,
                  const double* a, const int& lda, const double* tau, double* c, const int& ldc, double* work,
                  const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dormqr_(&side, &trans, &m, &n, &k, a, &lda, tau, c, &ldc, work, &lwork, &info, 1, 1);
}
inline void ormqr(const char& side, const char& trans, const int& m, const int& n, const int& k,
                  const std::complex<double>* a, const int& lda, const std::complex<double>* tau,
                  std::complex<double>* c, const int& ldc, std::complex<double>* work, const int& lwork,
                  int& info)
{
    const BlasThreadScope threads;
    zunmqr_(&side, &trans, &m, &n, &k, a, &lda, tau, c, &ldc, work, &lwork, &info, 1, 1);
}

/// A = L*Q in place: L on and below the diagonal, the Householder vectors above it.
inline void gelqf(const int& m, const int& n, double* a, const int& lda, double* tau, double* work,
                  const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dgelqf_(&m, &n, a, &lda, tau, work, &lwork, &info);
}
inline void gelqf(const int& m, const int& n, std::complex<double>* a, const int& lda,
                  std::complex<double>* tau, std::complex<double>* work, const int& lwork, int& info)
{
    const BlasThreadScope threads;
    zgelqf_(&m, &n, a, &lda, tau, work, &lwork, &info);
}

/// A := the first m rows of the product of k reflectors of gelqf, m x n.
inline void orglq(const int& m, const int& n, const int& k, double* a, const int& lda, const double* tau,
                  double* work, const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dorglq_(&m, &n, &k, a, &lda, tau, work, &lwork, &info);
}
inline void orglq(const int& m, const int& n, const int& k, std::complex<double>* a, const int& lda,
                  const std::complex<double>* tau, std::complex<double>* work, const int& lwork, int& info)
{
    const BlasThreadScope threads;
    zunglq_(&m, &n, &k, a, &lda, tau, work, &lwork, &info);
}

/// C := op(Q)*C (side 'L') or C*op(Q) (side 'R'), Q from gelqf; C is m x n. trans as in ormqr.
inline void ormlq(const char& side, const char& trans, const int& m, const int& n, const int& k,
                  const double* a, const int& lda, const double* tau, double* c, const int& ldc, double* work,
                  const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dormlq_(&side, &trans, &m, &n, &k, a, &lda, tau, c, &ldc, work, &lwork, &info, 1, 1);
}
inline void ormlq(const char& side, const char& trans, const int& m, const int& n, const int& k,
                  const std::complex<double>* a, const int& lda, const std::complex<double>* tau,
                  std::complex<double>* c, const int& ldc, std::complex<double>* work, const int& lwork,
                  int& info)
{
    const BlasThreadScope threads;
    zunmlq_(&side, &trans, &m, &n, &k, a, &lda, tau, c, &ldc, work, &lwork, &info, 1, 1);
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
inline void potrs(const char& uplo, const int& n, const int& nrhs, const std::complex<double>* a,
                  const int& lda, std::complex<double>* b, const int& ldb, int& info)
{
    const BlasThreadScope threads;
    zpotrs_(&uplo, &n, &nrhs, a, &lda, b, &ldb, &info, 1);
}

/// One triangle of inv(A) from the factor of potrf, in place.
inline void potri(const char& uplo, const int& n, double* a, const int& lda, int& info)
{
    const BlasThreadScope threads;
    dpotri_(&uplo, &n, a, &lda, &info, 1);
}
inline void potri(const char& uplo, const int& n, std::complex<double>* a, const int& lda, int& info)
{
    const BlasThreadScope threads;
    zpotri_(&uplo, &n, a, &lda, &info, 1);
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
/// V' is the conjugate transpose. Besides, `rwork` has min(m, n)*(5*min(m, n) + 7) cells.
inline void gesdd(const char& jobz, const int& m, const int& n, std::complex<double>* a, const int& lda,
                  double* s, std::complex<double>* u, const int& ldu, std::complex<double>* vt,
                  const int& ldvt, std::complex<double>* work, const int& lwork, double* rwork, int* iwork,
                  int& info)
{
    const BlasThreadScope threads;
    zgesdd_(&jobz, &m, &n, a, &lda, s, u, &ldu, vt, &ldvt, work, &lwork, rwork, iwork, &info, 1);
}

/// Eigenvalues of the symmetric A in rising order, with jobz 'V' the eigenvectors in place of A. info > 0:
/// not converged.
inline void syev(const char& jobz, const char& uplo, const int& n, double* a, const int& lda, double* w,
                 double* work, const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dsyev_(&jobz, &uplo, &n, a, &lda, w, work, &lwork, &info, 1, 1);
}
/// A Hermitian (zheev): the imaginary parts of its diagonal are taken as zero. Besides, `rwork` has 3*n
/// cells.
inline void syev(const char& jobz, const char& uplo, const int& n, std::complex<double>* a, const int& lda,
                 double* w, std::complex<double>* work, const int& lwork, double* rwork, int& info)
{
    const BlasThreadScope threads;
    zheev_(&jobz, &uplo, &n, a, &lda, w, work, &lwork, rwork, &info, 1, 1);
}

/// Eigenvalues wr + i*wi of a general A, which is destroyed, in no order but that conjugate pairs are
/// neighbours, positive imaginary part first; with jobvr, jobvl 'V' right and left eigenvectors, each of norm
/// 1: one column for a real eigenvalue, for a pair its real and its imaginary part in two. `balanc` 'N', 'P'
/// permutes, 'S' scales, 'B' both; `scale` (n cells), `ilo`, `ihi` and `abnrm` tell what it did. sense 'N':
/// `rconde` and `rcondv` (n cells), `iwork` (2*n - 2 entries) are not used. info > 0: not converged.
inline void geevx(const char& balanc, const char& jobvl, const char& jobvr, const char& sense, const int& n,
                  double* a, const int& lda, double* wr, double* wi, double* vl, const int& ldvl, double* vr,
                  const int& ldvr, int& ilo, int& ihi, double* scale, double& abnrm, double* rconde,
                  double* rcondv, double* work, const int& lwork, int* iwork, int& info)
{
    const BlasThreadScope threads;
    dgeevx_(&balanc, &jobvl, &jobvr, &sense, &n, a, &lda, wr, wi, vl, &ldvl, vr, &ldvr, &ilo, &ihi, scale,
            &abnrm, rconde, rcondv, work, &lwork, iwork, &info, 1, 1, 1, 1);
}
/// Eigenvalues in `w`, each eigenvector a column; `rwork` has 2*n cells, and there are no integers.
inline void geevx(const char& balanc, const char& jobvl, const char& jobvr, const char& sense, const int& n,
                  std::complex<double>* a, const int& lda, std::complex<double>* w, std::complex<double>* vl,
                  const int& ldvl, std::complex<double>* vr, const int& ldvr, int& ilo, int& ihi,
                  double* scale, double& abnrm, double* rconde, double* rcondv, std::complex<double>* work,
                  const int& lwork, double* rwork, int& info)
{
    const BlasThreadScope threads;
    zgeevx_(&balanc, &jobvl, &jobvr, &sense, &n, a, &lda, w, vl, &ldvl, vr, &ldvr, &ilo, &ihi, scale, &abnrm,
            rconde, rcondv, work, &lwork, rwork, &info, 1, 1, 1, 1);
}

/// T = Q'*A*Q, A symmetric, T tridiagonal with diagonal `d` and off-diagonal `e`; A and `tau` hold Q as
/// reflections. uplo 'U': they leave the last row alone. `work` has some 32*n cells.
inline void sytrd(const char& uplo, const int& n, double* a, const int& lda, double* d, double* e,
                  double* tau, double* work, const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dsytrd_(&uplo, &n, a, &lda, d, e, tau, work, &lwork, &info, 1);
}

/// C := Q*C or Q'*C (side 'L'), C*Q or C*Q' (side 'R'), C m x n, Q as `sytrd` leaves it. `work` has some 32
/// cells for each column (side 'L') or row.
inline void ormtr(const char& side, const char& uplo, const char& trans, const int& m, const int& n,
                  const double* a, const int& lda, const double* tau, double* c, const int& ldc, double* work,
                  const int& lwork, int& info)
{
    const BlasThreadScope threads;
    dormtr_(&side, &uplo, &trans, &m, &n, a, &lda, tau, c, &ldc, work, &lwork, &info, 1, 1, 1);
}

/// Eigenvalues of a symmetric tridiagonal T in rising order in `d`, by divide and conquer; compz 'I': its
/// eigenvectors in Z. `e` is destroyed; `work` has 1 + 4*n + n*n cells, `iwork` 3 + 5*n. info > 0: not
/// converged.
inline void stedc(const char& compz, const int& n, double* d, double* e, double* z, const int& ldz,
                  double* work, const int& lwork, int* iwork, const int& liwork, int& info)
{
    const BlasThreadScope threads;
    dstedc_(&compz, &n, d, e, z, &ldz, work, &lwork, iwork, &liwork, &info, 1);
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
inline double lange(const char& norm, const int& m, const int& n, const std::complex<double>* a,
                    const int& lda, double* work)
{
    const BlasThreadScope threads;
    return zlange_(&norm, &m, &n, a, &lda, work, 1);
}

/// p + iq = (a + ib) / (c + id) without needless overflow or underflow. A few operations, which no thread
/// shares, so that no thread count is set for them.
inline void ladiv(const double& a, const double& b, const double& c, const double& d, double& p, double& q)
{
    dladiv_(&a, &b, &c, &d, &p, &q);
}

} // namespace Velmar::Lintrix::detail::lapack
