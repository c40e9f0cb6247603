// The calls of LAPACK and BLAS that the complex decompositions make: letters, sizes, leading dimensions, work
// space.

#include <lintrix/decompositions/cholesky.h>
#include <lintrix/decompositions/eigen.h>
#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>
#include <lintrix/decompositions/svd.h>
#include <lintrix/decompositions/sym_eigen.h>

#include "tests/decompositions/cases.h"
#include "tests/decompositions/native_calls.h"

#include <gmock/gmock.h>

#include <complex>

using namespace Velmar::Lintrix::testing;
using Velmar::Lintrix::Complex;

STANDS_IN zgetrf_(const int* m, const int* n, Complex* a, const int* lda, int* ipiv, int* info)
{
    record("zgetrf",
           [&] { return number("M", m) + number("N", n) + number("LDA", lda) + block("ipiv", ipiv); });
    passOn("zgetrf_", m, n, a, lda, ipiv, info);
}

STANDS_IN zgetri_(const int* n, Complex* a, const int* lda, const int* ipiv, Complex* work, const int* lwork,
                  int* info)
{
    record("zgetri", [&] {
        return number("N", n) + number("LDA", lda) + block("work", work) + number("LWORK", lwork);
    });
    if (inverseFails) {
        *info = 1;
        return;
    }
    passOn("zgetri_", n, a, lda, ipiv, work, lwork, info);
}

STANDS_IN zgeqrf_(const int* m, const int* n, Complex* a, const int* lda, Complex* tau, Complex* work,
                  const int* lwork, int* info)
{
    record("zgeqrf", [&] {
        return number("M", m) + number("N", n) + number("LDA", lda) + block("tau", tau) +
               block("work", work) + number("LWORK", lwork);
    });
    passOn("zgeqrf_", m, n, a, lda, tau, work, lwork, info);
}

STANDS_IN zgeqp3_(const int* m, const int* n, Complex* a, const int* lda, int* jpvt, Complex* tau,
                  Complex* work, const int* lwork, double* rwork, int* info)
{
    record("zgeqp3", [&] {
        return number("M", m) + number("N", n) + number("LDA", lda) + block("jpvt", jpvt) +
               block("tau", tau) + block("work", work) + number("LWORK", lwork) + block("rwork", rwork);
    });
    passOn("zgeqp3_", m, n, a, lda, jpvt, tau, work, lwork, rwork, info);
}

STANDS_IN zungqr_(const int* m, const int* n, const int* k, Complex* a, const int* lda, const Complex* tau,
                  Complex* work, const int* lwork, int* info)
{
    record("zungqr", [&] {
        return number("M", m) + number("N", n) + number("K", k) + block("a", a) + number("LDA", lda) +
               block("work", work) + number("LWORK", lwork);
    });
    passOn("zungqr_", m, n, k, a, lda, tau, work, lwork, info);
}

STANDS_IN zgelqf_(const int* m, const int* n, Complex* a, const int* lda, Complex* tau, Complex* work,
                  const int* lwork, int* info)
{
    record("zgelqf", [&] {
        return number("M", m) + number("N", n) + number("LDA", lda) + block("tau", tau) +
               block("work", work) + number("LWORK", lwork);
    });
    passOn("zgelqf_", m, n, a, lda, tau, work, lwork, info);
}

STANDS_IN zunglq_(const int* m, const int* n, const int* k, Complex* a, const int* lda, const Complex* tau,
                  Complex* work, const int* lwork, int* info)
{
    record("zunglq", [&] {
        return number("M", m) + number("N", n) + number("K", k) + block("a", a) + number("LDA", lda) +
               block("work", work) + number("LWORK", lwork);
    });
    passOn("zunglq_", m, n, k, a, lda, tau, work, lwork, info);
}

STANDS_IN ztrsm_(const char* side, const char* uplo, const char* transa, const char* diag, const int* m,
                 const int* n, const Complex* alpha, const Complex* a, const int* lda, Complex* b,
                 const int* ldb, std::size_t l1, std::size_t l2, std::size_t l3, std::size_t l4)
{
    record("ztrsm", [&] {
        return letters({side, uplo, transa, diag}) + number("M", m) + number("N", n) +
               (*alpha == 1.0 ? " ALPHA=1" : " ALPHA!") + number("LDA", lda) + block("b", b) +
               number("LDB", ldb);
    });
    passOn("ztrsm_", side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb, l1, l2, l3, l4);
}

STANDS_IN zgemm_(const char* transa, const char* transb, const int* m, const int* n, const int* k,
                 const Complex* alpha, const Complex* a, const int* lda, const Complex* b, const int* ldb,
                 const Complex* beta, Complex* c, const int* ldc, std::size_t l1, std::size_t l2)
{
    record("zgemm", [&] {
        return letters({transa, transb}) + number("M", m) + number("N", n) + number("K", k) +
               (*alpha == 1.0 && *beta == 0.0 ? " ALPHA=1 BETA=0" : " ALPHA! BETA!") + number("LDA", lda) +
               number("LDB", ldb) + number("LDC", ldc);
    });
    passOn("zgemm_", transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, l1, l2);
}

STANDS_IN zpotrf_(const char* uplo, const int* n, Complex* a, const int* lda, int* info, std::size_t length)
{
    record("zpotrf", [&] { return letters({uplo}) + number("N", n) + block("a", a) + number("LDA", lda); });
    passOn("zpotrf_", uplo, n, a, lda, info, length);
}

STANDS_IN zpotri_(const char* uplo, const int* n, Complex* a, const int* lda, int* info, std::size_t length)
{
    record("zpotri", [&] { return letters({uplo}) + number("N", n) + block("a", a) + number("LDA", lda); });
    passOn("zpotri_", uplo, n, a, lda, info, length);
}

STANDS_IN zgesdd_(const char* jobz, const int* m, const int* n, Complex* a, const int* lda, double* s,
                  Complex* u, const int* ldu, Complex* vt, const int* ldvt, Complex* work, const int* lwork,
                  double* rwork, int* iwork, int* info, std::size_t length)
{
    record("zgesdd", [&] {
        return letters({jobz}) + number("M", m) + number("N", n) + block("a", a) + number("LDA", lda) +
               block("s", s) + block("u", u) + number("LDU", ldu) + block("vt", vt) + number("LDVT", ldvt) +
               block("work", work) + number("LWORK", lwork) + block("rwork", rwork) + block("iwork", iwork);
    });
    passOn("zgesdd_", jobz, m, n, a, lda, s, u, ldu, vt, ldvt, work, lwork, rwork, iwork, info, length);
    if (iterationStops) *info = 1;
}

STANDS_IN zheev_(const char* jobz, const char* uplo, const int* n, Complex* a, const int* lda, double* w,
                 Complex* work, const int* lwork, double* rwork, int* info, std::size_t l1, std::size_t l2)
{
    record("zheev", [&] {
        return letters({jobz, uplo}) + number("N", n) + block("a", a) + number("LDA", lda) + block("w", w) +
               block("work", work) + number("LWORK", lwork) + block("rwork", rwork);
    });
    passOn("zheev_", jobz, uplo, n, a, lda, w, work, lwork, rwork, info, l1, l2);
    if (iterationStops) *info = 1;
}

STANDS_IN zgeevx_(const char* balanc, const char* jobvl, const char* jobvr, const char* sense, const int* n,
                  Complex* a, const int* lda, Complex* w, Complex* vl, const int* ldvl, Complex* vr,
                  const int* ldvr, int* ilo, int* ihi, double* scale, double* abnrm, double* rconde,
                  double* rcondv, Complex* work, const int* lwork, double* rwork, int* info, std::size_t l1,
                  std::size_t l2, std::size_t l3, std::size_t l4)
{
    record("zgeevx", [&] {
        return letters({balanc, jobvl, jobvr, sense}) + number("N", n) + block("a", a) + number("LDA", lda) +
               block("w", w) + block("vl", vl) + number("LDVL", ldvl) + block("vr", vr) +
               number("LDVR", ldvr) + block("scale", scale) + block("rconde", rconde) +
               block("rcondv", rcondv) + block("work", work) + number("LWORK", lwork) + block("rwork", rwork);
    });
    passOn("zgeevx_", balanc, jobvl, jobvr, sense, n, a, lda, w, vl, ldvl, vr, ldvr, ilo, ihi, scale, abnrm,
           rconde, rcondv, work, lwork, rwork, info, l1, l2, l3, l4);
    if (iterationStops) *info = 1;
}

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

const CMatrix kSquare = matrixWith<CMatrix>({5, 5}, Spectrum::Random, kSeed);
const CMatrix kTall = matrixWith<CMatrix>({9, 5}, Spectrum::Random, kSeed);
const CMatrix kWide = matrixWith<CMatrix>({5, 9}, Spectrum::Random, kSeed);

TEST(ComplexNativeCalls, OfLU)
{
    EXPECT_THAT(callsOf([] { CLU lu(kTall); }), ElementsAre("zgetrf M=9 N=5 LDA=9 ipiv[5]"));
    const CLU lu(kSquare);
    EXPECT_THAT(callsOf([&] { lu.Inverse(); }), ElementsAre("zgetri N=5 LDA=5 work[321] LWORK=320"));
}

TEST(ComplexNativeCalls, OfQRTakeLessWorkSpaceThanTheRealOnesAndRealOneBeside)
{
    EXPECT_THAT(callsOf([] { CQR qr(kTall); }), ElementsAre("zgeqrf M=9 N=5 LDA=9 tau[5] work[6] LWORK=6"));
    EXPECT_THAT(callsOf([] { CQR qr(kTall, true); }),
                ElementsAre("zgeqp3 M=9 N=5 LDA=9 jpvt[5] tau[5] work[6] LWORK=6 rwork[10]"));
    const CQR tall(kTall);
    EXPECT_THAT(callsOf([&] { tall.Q(); }),
                ElementsAre("zungqr M=9 N=5 K=5 a[45] LDA=9 work[320] LWORK=320"));
    EXPECT_THAT(callsOf([&] { tall.Solve(CMatrix(9, 3)); }),
                ElementsAre("ztrsm L U N N M=5 N=3 ALPHA=1 LDA=9 b[27] LDB=5"));
}

// The routines read rows, and past them: so the operand has another column behind. The object keeps none.
TEST(ComplexNativeCalls, OfLQ)
{
    EXPECT_THAT(callsOf([] { CLQ lq(kWide); }),
                ElementsAre("zgelqf M=5 N=9 LDA=5 tau[9] work[320] LWORK=320"));
    const CLQ wide(kWide);
    EXPECT_THAT(callsOf([&] { wide.Q(); }),
                ElementsAre("zunglq M=5 N=9 K=5 a[50] LDA=5 work[320] LWORK=320"));
    EXPECT_THAT(callsOf([&] { wide.Solve(CMatrix(5, 3)); }),
                ElementsAre("ztrsm L L N N M=5 N=3 ALPHA=1 LDA=5 b[27] LDB=5"));
}

TEST(ComplexNativeCalls, OfCholesky)
{
    const CMatrix A = identity<CMatrix>(5);
    EXPECT_THAT(callsOf([&] { CCholesky cholesky(A); }), ElementsAre("zpotrf L N=5 a[25] LDA=5"));
    const CCholesky cholesky(A);
    EXPECT_THAT(callsOf([&] { cholesky.Inverse(); }), ElementsAre("zpotri L N=5 a[25] LDA=5"));
}

TEST(ComplexNativeCalls, OfSVD)
{
    EXPECT_THAT(callsOf([] { CSVD svd(kTall); }),
                ElementsAre("zgesdd S M=9 N=5 a[54] LDA=9 s[5] u[81] LDU=9 vt[30] LDVT=5 "
                            "work[44] LWORK=44 rwork[160] iwork[40]"));
    EXPECT_THAT(callsOf([] { CSVD svd(kWide); }),
                ElementsAre("zgesdd S M=5 N=9 a[50] LDA=5 s[5] u[25] LDU=5 vt[90] LDVT=9 "
                            "work[44] LWORK=44 rwork[160] iwork[40]"));
    EXPECT_THAT(callsOf([] { CSVD svd(kTall, true); }),
                ElementsAre("zgesdd N M=9 N=5 a[54] LDA=9 s[5] u=null LDU=9 vt=null LDVT=5 "
                            "work[19] LWORK=19 rwork[160] iwork[40]"));
    const CSVD tall(kTall);
    EXPECT_THAT(callsOf([&] { tall.PseudoInverse(); }),
                ElementsAre("zgemm N C M=5 N=9 K=5 ALPHA=1 BETA=0 LDA=5 LDB=9 LDC=5"));
}

TEST(ComplexNativeCalls, OfSymEigen)
{
    EXPECT_THAT(callsOf([] { CSymEigen eigen(kSquare); }),
                ElementsAre("zheev V L N=5 a[25] LDA=5 w[5] work[325] LWORK=325 rwork[15]"));
    EXPECT_THAT(callsOf([] { CSymEigen eigen(kSquare, false); }),
                ElementsAre("zheev N L N=5 a[25] LDA=5 w[5] work[325] LWORK=325 rwork[15]"));
}

TEST(ComplexNativeCalls, OfEigen)
{
    EXPECT_THAT(callsOf([] { CEigen eigen(kSquare); }),
                ElementsAre("zgeevx B N V N N=5 a[25] LDA=5 w[5] vl=null LDVL=1 vr[25] LDVR=5 scale[5] "
                            "rconde[5] rcondv[5] work[15] LWORK=15 rwork[10]"));
    EXPECT_THAT(callsOf([] { CEigen eigen(kSquare, false, true, BalanceType::None); }),
                ElementsAre("zgeevx N V N N N=5 a[25] LDA=5 w[5] vl[25] LDVL=5 vr=null LDVR=1 scale[5] "
                            "rconde[5] rcondv[5] work[15] LWORK=15 rwork[10]"));
    EXPECT_THAT(callsOf([] { CEigen eigen(kSquare, false, false, BalanceType::Scale); }),
                ElementsAre(StartsWith("zgeevx S N N N N=5 ")));
    EXPECT_THAT(callsOf([] { CEigen eigen(kSquare, true, true, BalanceType::Permute); }),
                ElementsAre(StartsWith("zgeevx P V V N N=5 ")));
}

TEST(ComplexNativeCalls, NoneIsRefused)
{
    complaints.clear();
    for (const CMatrix& A : {kSquare, kTall, kWide, CMatrix(1, 1), CMatrix(1, 9), CMatrix(9, 1)}) {
        const CLU lu(A);
        const CQR qr(A, true);
        const CLQ lq(A);
        const CSVD svd(A), values(A, true);
        qr.Q(), lq.Q(), svd.PseudoInverse();
        if (A.Rows() >= A.Cols()) qr.Solve(CMatrix(A.Rows(), 2));
        if (A.Rows() <= A.Cols()) lq.Solve(CMatrix(A.Rows(), 2));
        if (A.Rows() != A.Cols()) continue;
        const CSymEigen hermitian(A);
        const CEigen eigen(A, true, true);
    }
    EXPECT_THAT(complaints, ElementsAre());
}

// ---- iterations that stop, and an inverse that fails

TEST(ComplexNativeCalls, SVDThatDidNotConvergeHasRankZeroAndNoInverse)
{
    const CSVD good(kWide);
    const StoppedIterations stopped;
    const CSVD svd(kWide);
    EXPECT_FALSE(svd.Succeeded());
    EXPECT_TRUE(identical(svd.SingularValues(), good.SingularValues()));
    EXPECT_TRUE(identical(svd.U().value(), good.U().value()));
    EXPECT_EQ(svd.Rank(), 0);
    EXPECT_EQ(svd.Rank(1e-3), 0);
    EXPECT_EQ(svd.PseudoInverse(), std::nullopt);
    EXPECT_EQ(svd.PseudoInverse(1e-3), std::nullopt);
    EXPECT_EQ(kWide.Rank(), 0);
    EXPECT_EQ(kWide.PseudoInverse(), std::nullopt);
}

TEST(ComplexNativeCalls, SymEigenThatDidNotConvergeIsTurnedRoundAndReadable)
{
    const CSymEigen good(kSquare);
    const StoppedIterations stopped;
    const CSymEigen eigen(kSquare);
    EXPECT_FALSE(eigen.Succeeded());
    EXPECT_TRUE(identical(eigen.Eigenvalues(), good.Eigenvalues()));
    EXPECT_TRUE(identical(eigen.Eigenvectors().value(), good.Eigenvectors().value()));
}

TEST(ComplexNativeCalls, EigenThatDidNotConvergeShowsWhatTheRoutineLeftAndSucceeds)
{
    const Threads one(1);
    const CEigen good(kSquare);
    const StoppedIterations stopped;
    const CEigen eigen(kSquare);
    EXPECT_TRUE(eigen.Succeeded());
    EXPECT_TRUE(identical(eigen.Eigenvalues(), good.Eigenvalues()));
}

TEST(ComplexNativeCalls, FailingInverseIsAnUndefinedErrorAndLeavesNothingBehind)
{
    const CLU lu(kSquare);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    inverseFails = true;
    expectFailure<MatrixException>([&] { lu.Inverse(); }, "Undefined Error.");
    expectFailure<MatrixException>([&] { kSquare.Inverse(); }, "Undefined Error.");
    inverseFails = false;
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

} // namespace
} // namespace Velmar::Lintrix::testing
