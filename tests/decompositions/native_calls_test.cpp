// The calls of LAPACK and BLAS that the real decompositions make: letters, sizes, leading dimensions, work
// space.

#include <lintrix/decompositions/cholesky.h>
#include <lintrix/decompositions/eigen.h>
#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>
#include <lintrix/decompositions/svd.h>
#include <lintrix/decompositions/sym_eigen.h>
#include <lintrix/dense/vector.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>

#include "tests/decompositions/cases.h"
#include "tests/decompositions/native_calls.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

using namespace Velmar::Lintrix::testing;

STANDS_IN dgetrf_(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info)
{
    record("dgetrf",
           [&] { return number("M", m) + number("N", n) + number("LDA", lda) + block("ipiv", ipiv); });
    passOn("dgetrf_", m, n, a, lda, ipiv, info);
}

STANDS_IN dgetrs_(const char* trans, const int* n, const int* nrhs, const double* a, const int* lda,
                  const int* ipiv, double* b, const int* ldb, int* info, std::size_t length)
{
    record("dgetrs", [&] {
        return letters({trans}) + number("N", n) + number("NRHS", nrhs) + number("LDA", lda) +
               number("LDB", ldb);
    });
    passOn("dgetrs_", trans, n, nrhs, a, lda, ipiv, b, ldb, info, length);
}

STANDS_IN dgetri_(const int* n, double* a, const int* lda, const int* ipiv, double* work, const int* lwork,
                  int* info)
{
    record("dgetri", [&] {
        return number("N", n) + number("LDA", lda) + block("work", work) + number("LWORK", lwork);
    });
    if (inverseFails) {
        *info = 1;
        return;
    }
    passOn("dgetri_", n, a, lda, ipiv, work, lwork, info);
}

STANDS_IN dgeqrf_(const int* m, const int* n, double* a, const int* lda, double* tau, double* work,
                  const int* lwork, int* info)
{
    record("dgeqrf", [&] {
        return number("M", m) + number("N", n) + number("LDA", lda) + block("tau", tau) +
               block("work", work) + number("LWORK", lwork);
    });
    passOn("dgeqrf_", m, n, a, lda, tau, work, lwork, info);
}

STANDS_IN dgeqp3_(const int* m, const int* n, double* a, const int* lda, int* jpvt, double* tau, double* work,
                  const int* lwork, int* info)
{
    record("dgeqp3", [&] {
        std::string free = " JPVT=";
        for (int j = 0; j < *n; ++j) free += std::to_string(jpvt[j]);
        return number("M", m) + number("N", n) + number("LDA", lda) + free + block("jpvt", jpvt) +
               block("tau", tau) + block("work", work) + number("LWORK", lwork);
    });
    passOn("dgeqp3_", m, n, a, lda, jpvt, tau, work, lwork, info);
}

STANDS_IN dorgqr_(const int* m, const int* n, const int* k, double* a, const int* lda, const double* tau,
                  double* work, const int* lwork, int* info)
{
    record("dorgqr", [&] {
        return number("M", m) + number("N", n) + number("K", k) + block("a", a) + number("LDA", lda) +
               block("work", work) + number("LWORK", lwork);
    });
    passOn("dorgqr_", m, n, k, a, lda, tau, work, lwork, info);
}

STANDS_IN dormqr_(const char* side, const char* trans, const int* m, const int* n, const int* k,
                  const double* a, const int* lda, const double* tau, double* c, const int* ldc, double* work,
                  const int* lwork, int* info, std::size_t lengthSide, std::size_t lengthTrans)
{
    record("dormqr", [&] {
        return letters({side, trans}) + number("M", m) + number("N", n) + number("K", k) +
               number("LDA", lda) + block("c", c) + number("LDC", ldc) + block("work", work) +
               number("LWORK", lwork);
    });
    passOn("dormqr_", side, trans, m, n, k, a, lda, tau, c, ldc, work, lwork, info, lengthSide, lengthTrans);
}

STANDS_IN dgelqf_(const int* m, const int* n, double* a, const int* lda, double* tau, double* work,
                  const int* lwork, int* info)
{
    record("dgelqf", [&] {
        return number("M", m) + number("N", n) + number("LDA", lda) + block("tau", tau) +
               block("work", work) + number("LWORK", lwork);
    });
    passOn("dgelqf_", m, n, a, lda, tau, work, lwork, info);
}

STANDS_IN dorglq_(const int* m, const int* n, const int* k, double* a, const int* lda, const double* tau,
                  double* work, const int* lwork, int* info)
{
    record("dorglq", [&] {
        return number("M", m) + number("N", n) + number("K", k) + block("a", a) + number("LDA", lda) +
               block("work", work) + number("LWORK", lwork);
    });
    passOn("dorglq_", m, n, k, a, lda, tau, work, lwork, info);
}

STANDS_IN dormlq_(const char* side, const char* trans, const int* m, const int* n, const int* k,
                  const double* a, const int* lda, const double* tau, double* c, const int* ldc, double* work,
                  const int* lwork, int* info, std::size_t lengthSide, std::size_t lengthTrans)
{
    record("dormlq", [&] {
        return letters({side, trans}) + number("M", m) + number("N", n) + number("K", k) +
               number("LDA", lda) + number("LDC", ldc) + block("work", work) + number("LWORK", lwork);
    });
    passOn("dormlq_", side, trans, m, n, k, a, lda, tau, c, ldc, work, lwork, info, lengthSide, lengthTrans);
}

STANDS_IN dtrsm_(const char* side, const char* uplo, const char* transa, const char* diag, const int* m,
                 const int* n, const double* alpha, const double* a, const int* lda, double* b,
                 const int* ldb, std::size_t l1, std::size_t l2, std::size_t l3, std::size_t l4)
{
    record("dtrsm", [&] {
        return letters({side, uplo, transa, diag}) + number("M", m) + number("N", n) +
               (*alpha == 1.0 ? " ALPHA=1" : " ALPHA!") + number("LDA", lda) + block("b", b) +
               number("LDB", ldb);
    });
    passOn("dtrsm_", side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb, l1, l2, l3, l4);
}

STANDS_IN dgemm_(const char* transa, const char* transb, const int* m, const int* n, const int* k,
                 const double* alpha, const double* a, const int* lda, const double* b, const int* ldb,
                 const double* beta, double* c, const int* ldc, std::size_t l1, std::size_t l2)
{
    record("dgemm", [&] {
        return letters({transa, transb}) + number("M", m) + number("N", n) + number("K", k) +
               (*alpha == 1.0 && *beta == 0.0 ? " ALPHA=1 BETA=0" : " ALPHA! BETA!") + block("a", a) +
               number("LDA", lda) + block("b", b) + number("LDB", ldb) + block("c", c) + number("LDC", ldc);
    });
    passOn("dgemm_", transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, l1, l2);
}

STANDS_IN dgemv_(const char* trans, const int* m, const int* n, const double* alpha, const double* a,
                 const int* lda, const double* x, const int* incx, const double* beta, double* y,
                 const int* incy, std::size_t length)
{
    record("dgemv", [&] { return letters({trans}) + number("M", m) + number("N", n) + number("LDA", lda); });
    passOn("dgemv_", trans, m, n, alpha, a, lda, x, incx, beta, y, incy, length);
}

extern "C" __attribute__((visibility("default"))) double dlange_(const char* norm, const int* m, const int* n,
                                                                 const double* a, const int* lda,
                                                                 double* work, std::size_t length)
{
    record("dlange", [&] { return letters({norm}) + number("M", m) + number("N", n) + number("LDA", lda); });
    const auto routine = reinterpret_cast<decltype(&dlange_)>(dlsym(RTLD_NEXT, "dlange_"));
    return routine(norm, m, n, a, lda, work, length);
}

STANDS_IN dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info, std::size_t length)
{
    record("dpotrf", [&] { return letters({uplo}) + number("N", n) + block("a", a) + number("LDA", lda); });
    passOn("dpotrf_", uplo, n, a, lda, info, length);
}

STANDS_IN dpotrs_(const char* uplo, const int* n, const int* nrhs, const double* a, const int* lda, double* b,
                  const int* ldb, int* info, std::size_t length)
{
    record("dpotrs", [&] {
        return letters({uplo}) + number("N", n) + number("NRHS", nrhs) + number("LDA", lda) + block("b", b) +
               number("LDB", ldb);
    });
    passOn("dpotrs_", uplo, n, nrhs, a, lda, b, ldb, info, length);
}

STANDS_IN dpotri_(const char* uplo, const int* n, double* a, const int* lda, int* info, std::size_t length)
{
    record("dpotri", [&] { return letters({uplo}) + number("N", n) + block("a", a) + number("LDA", lda); });
    passOn("dpotri_", uplo, n, a, lda, info, length);
}

STANDS_IN dgesdd_(const char* jobz, const int* m, const int* n, double* a, const int* lda, double* s,
                  double* u, const int* ldu, double* vt, const int* ldvt, double* work, const int* lwork,
                  int* iwork, int* info, std::size_t length)
{
    record("dgesdd", [&] {
        return letters({jobz}) + number("M", m) + number("N", n) + block("a", a) + number("LDA", lda) +
               block("s", s) + block("u", u) + number("LDU", ldu) + block("vt", vt) + number("LDVT", ldvt) +
               block("work", work) + number("LWORK", lwork) + block("iwork", iwork);
    });
    passOn("dgesdd_", jobz, m, n, a, lda, s, u, ldu, vt, ldvt, work, lwork, iwork, info, length);
    if (iterationStops) *info = 1;
}

STANDS_IN dsyev_(const char* jobz, const char* uplo, const int* n, double* a, const int* lda, double* w,
                 double* work, const int* lwork, int* info, std::size_t l1, std::size_t l2)
{
    record("dsyev", [&] {
        return letters({jobz, uplo}) + number("N", n) + block("a", a) + number("LDA", lda) + block("w", w) +
               block("work", work) + number("LWORK", lwork);
    });
    passOn("dsyev_", jobz, uplo, n, a, lda, w, work, lwork, info, l1, l2);
    if (iterationStops) *info = 1;
}

STANDS_IN dgeevx_(const char* balanc, const char* jobvl, const char* jobvr, const char* sense, const int* n,
                  double* a, const int* lda, double* wr, double* wi, double* vl, const int* ldvl, double* vr,
                  const int* ldvr, int* ilo, int* ihi, double* scale, double* abnrm, double* rconde,
                  double* rcondv, double* work, const int* lwork, int* iwork, int* info, std::size_t l1,
                  std::size_t l2, std::size_t l3, std::size_t l4)
{
    record("dgeevx", [&] {
        return letters({balanc, jobvl, jobvr, sense}) + number("N", n) + block("a", a) + number("LDA", lda) +
               block("wr", wr) + block("wi", wi) + block("vl", vl) + number("LDVL", ldvl) + block("vr", vr) +
               number("LDVR", ldvr) + block("scale", scale) + block("rconde", rconde) +
               block("rcondv", rcondv) + block("work", work) + number("LWORK", lwork) + block("iwork", iwork);
    });
    passOn("dgeevx_", balanc, jobvl, jobvr, sense, n, a, lda, wr, wi, vl, ldvl, vr, ldvr, ilo, ihi, scale,
           abnrm, rconde, rcondv, work, lwork, iwork, info, l1, l2, l3, l4);
    if (iterationStops) *info = 1;
}

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;

// Regular in all their leading parts; the sizes are told apart at sight.
const Matrix kSquare = matrixWith({5, 5}, Spectrum::Random, kSeed);
const Matrix kTall = matrixWith({9, 5}, Spectrum::Random, kSeed);
const Matrix kWide = matrixWith({5, 9}, Spectrum::Random, kSeed);

TEST(NativeCalls, OfLU)
{
    EXPECT_THAT(callsOf([] { LU lu(kSquare); }), ElementsAre("dgetrf M=5 N=5 LDA=5 ipiv[5]"));
    EXPECT_THAT(callsOf([] { LU lu(kTall); }), ElementsAre("dgetrf M=9 N=5 LDA=9 ipiv[5]"));
    EXPECT_THAT(callsOf([] { LU lu(kWide); }), ElementsAre("dgetrf M=5 N=9 LDA=5 ipiv[5]"));
    const LU lu(kSquare);
    EXPECT_THAT(callsOf([&] { lu.Solve(Matrix(5, 3)); }), ElementsAre("dgetrs N N=5 NRHS=3 LDA=5 LDB=5"));
    EXPECT_THAT(callsOf([&] { lu.Inverse(); }), ElementsAre("dgetri N=5 LDA=5 work[321] LWORK=320"));
    EXPECT_THAT(callsOf([&] {
                    lu.L();
                    lu.U();
                    lu.P();
                    lu.Determinant();
                }),
                ElementsAre());
}

TEST(NativeCalls, OfQR)
{
    EXPECT_THAT(callsOf([] { QR qr(kTall); }), ElementsAre("dgeqrf M=9 N=5 LDA=9 tau[5] work[16] LWORK=16"));
    EXPECT_THAT(callsOf([] { QR qr(kWide); }), ElementsAre("dgeqrf M=5 N=9 LDA=5 tau[5] work[28] LWORK=28"));
    EXPECT_THAT(callsOf([] { QR qr(kTall, true); }),
                ElementsAre("dgeqp3 M=9 N=5 LDA=9 JPVT=00000 jpvt[5] tau[5] work[16] LWORK=16"));
    const QR tall(kTall), wide(kWide);
    EXPECT_THAT(callsOf([&] { tall.Q(); }),
                ElementsAre("dorgqr M=9 N=5 K=5 a[45] LDA=9 work[320] LWORK=320"));
    EXPECT_THAT(callsOf([&] { wide.Q(); }),
                ElementsAre("dorgqr M=5 N=5 K=5 a[25] LDA=5 work[320] LWORK=320"));
    EXPECT_THAT(callsOf([&] { tall.Solve(Matrix(9, 3)); }),
                ElementsAre("dormqr L T M=9 N=3 K=5 LDA=9 c[27] LDC=9 work[192] LWORK=192",
                            "dtrsm L U N N M=5 N=3 ALPHA=1 LDA=9 b[27] LDB=5"));
    EXPECT_THAT(callsOf([&] {
                    tall.R();
                    tall.P();
                }),
                ElementsAre());
}

TEST(NativeCalls, OfLQ)
{
    EXPECT_THAT(callsOf([] { LQ lq(kWide); }),
                ElementsAre("dgelqf M=5 N=9 LDA=5 tau[9] work[320] LWORK=320"));
    EXPECT_THAT(callsOf([] { LQ lq(kTall); }),
                ElementsAre("dgelqf M=9 N=5 LDA=9 tau[9] work[576] LWORK=576"));
    const LQ wide(kWide), tall(kTall);
    EXPECT_THAT(callsOf([&] { wide.Q(); }),
                ElementsAre("dorglq M=5 N=9 K=5 a[45] LDA=5 work[320] LWORK=320"));
    EXPECT_THAT(callsOf([&] { tall.Q(); }),
                ElementsAre("dorglq M=5 N=5 K=5 a[45] LDA=9 work[320] LWORK=320"));
    EXPECT_THAT(callsOf([&] { wide.Solve(Matrix(5, 3)); }),
                ElementsAre("dtrsm L L N N M=5 N=3 ALPHA=1 LDA=5 b[27] LDB=5",
                            "dormlq L T M=9 N=3 K=5 LDA=5 LDC=9 work[576] LWORK=576"));
    EXPECT_THAT(callsOf([&] { wide.L(); }), ElementsAre());
}

TEST(NativeCalls, OfLQWithMoreRightHandColumnsThanWorkSpace)
{
    EXPECT_THAT(callsOf([] { LQ(identity(2)).Solve(Matrix(2, 128)); }),
                ElementsAre("dgelqf M=2 N=2 LDA=2 tau[2] work[128] LWORK=128",
                            "dtrsm L L N N M=2 N=128 ALPHA=1 LDA=2 b[256] LDB=2",
                            "dormlq L T M=2 N=128 K=2 LDA=2 LDC=2 work[128] LWORK=128"));
    EXPECT_THAT(callsOf([] { LQ(identity(2)).Solve(Matrix(2, 300)); }),
                ElementsAre("dgelqf M=2 N=2 LDA=2 tau[2] work[128] LWORK=128",
                            "dtrsm L L N N M=2 N=300 ALPHA=1 LDA=2 b[600] LDB=2",
                            "dormlq L T M=2 N=128 K=2 LDA=2 LDC=2 work[128] LWORK=128",
                            "dormlq L T M=2 N=128 K=2 LDA=2 LDC=2 work[128] LWORK=128",
                            "dormlq L T M=2 N=44 K=2 LDA=2 LDC=2 work[128] LWORK=128"));
}

TEST(NativeCalls, OfMatrixSolveFollowTheShapeAndTheState)
{
    const auto routinesOf = [](const Matrix& A) {
        std::vector<std::string> routines = callsOf([&] { A.Solve(Matrix(A.Rows(), 1)); });
        for (std::string& call : routines) call.resize(call.find(' '));
        return routines;
    };
    EXPECT_THAT(routinesOf(kSquare), ElementsAre("dgetrf", "dgetrs"));
    EXPECT_THAT(routinesOf(kTall), ElementsAre("dgeqrf", "dormqr", "dtrsm"));
    EXPECT_THAT(routinesOf(kWide), ElementsAre("dgelqf", "dtrsm", "dormlq"));
    EXPECT_THAT(routinesOf(Matrix(3, 3)), ElementsAre("dgetrf", "dgelqf", "dtrsm", "dormlq"));
}

TEST(NativeCalls, OfCholesky)
{
    const Matrix A = identity(5);
    EXPECT_THAT(callsOf([&] { Cholesky cholesky(A); }), ElementsAre("dpotrf L N=5 a[25] LDA=5"));
    const Cholesky cholesky(A);
    EXPECT_THAT(callsOf([&] { cholesky.Solve(Matrix(5, 3)); }),
                ElementsAre("dpotrs L N=5 NRHS=3 LDA=5 b[15] LDB=5"));
    EXPECT_THAT(callsOf([&] { cholesky.Inverse(); }), ElementsAre("dpotri L N=5 a[25] LDA=5"));
    EXPECT_THAT(callsOf([&] { cholesky.L(); }), ElementsAre());
}

TEST(NativeCalls, OfSVD)
{
    EXPECT_THAT(callsOf([] { SVD svd(kTall); }),
                ElementsAre("dgesdd S M=9 N=5 a[45] LDA=9 s[5] u[81] LDU=9 vt[25] LDVT=5 "
                            "work[195] LWORK=195 iwork[40]"));
    EXPECT_THAT(callsOf([] { SVD svd(kWide); }),
                ElementsAre("dgesdd S M=5 N=9 a[45] LDA=5 s[5] u[25] LDU=5 vt[81] LDVT=9 "
                            "work[195] LWORK=195 iwork[40]"));
    EXPECT_THAT(callsOf([] { SVD svd(kTall, true); }),
                ElementsAre("dgesdd N M=9 N=5 a[45] LDA=9 s[5] u=null LDU=9 vt=null LDVT=5 "
                            "work[195] LWORK=195 iwork[40]"));
    // the larger side decides
    EXPECT_THAT(callsOf([] { SVD svd(Matrix(100, 2), true); }),
                ElementsAre("dgesdd N M=100 N=2 a[200] LDA=100 s[2] u=null LDU=100 vt=null LDVT=2 "
                            "work[112] LWORK=112 iwork[16]"));
    const SVD wide(kWide), tall(kTall);
    EXPECT_THAT(callsOf([&] { wide.PseudoInverse(); }),
                ElementsAre("dgemm N T M=9 N=5 K=5 ALPHA=1 BETA=0 a[45] LDA=9 b[25] LDB=5 c[45] LDC=9"));
    EXPECT_THAT(callsOf([&] { tall.PseudoInverse(); }),
                ElementsAre("dgemm N T M=5 N=9 K=5 ALPHA=1 BETA=0 a[25] LDA=5 b[81] LDB=9 c[45] LDC=5"));
    EXPECT_THAT(callsOf([&] {
                    wide.U();
                    wide.S();
                    wide.V();
                    wide.Rank();
                }),
                ElementsAre());
}

TEST(NativeCalls, OfSymEigen)
{
    EXPECT_THAT(callsOf([] { SymEigen eigen(kSquare); }),
                ElementsAre("dsyev V L N=5 a[25] LDA=5 w[5] work[330] LWORK=330"));
    EXPECT_THAT(callsOf([] { SymEigen eigen(kSquare, false); }),
                ElementsAre("dsyev N L N=5 a[25] LDA=5 w[5] work[330] LWORK=330"));
}

TEST(NativeCalls, OfEigen)
{
    EXPECT_THAT(
        callsOf([] { Eigen eigen(kSquare); }),
        ElementsAre("dgeevx B N V N N=5 a[25] LDA=5 wr[5] wi[5] vl=null LDVL=1 vr[25] LDVR=5 scale[5] "
                    "rconde[5] rcondv[5] work[15] LWORK=15 iwork[10]"));
    EXPECT_THAT(
        callsOf([] { Eigen eigen(kSquare, false, true, BalanceType::None); }),
        ElementsAre("dgeevx N V N N N=5 a[25] LDA=5 wr[5] wi[5] vl[25] LDVL=5 vr=null LDVR=1 scale[5] "
                    "rconde[5] rcondv[5] work[15] LWORK=15 iwork[10]"));
    EXPECT_THAT(callsOf([] { Eigen eigen(kSquare, false, false, BalanceType::Scale); }),
                ElementsAre(::testing::StartsWith("dgeevx S N N N N=5 ")));
    EXPECT_THAT(callsOf([] { Eigen eigen(kSquare, true, true, BalanceType::Permute); }),
                ElementsAre(::testing::StartsWith("dgeevx P V V N N=5 ")));
}

TEST(NativeCalls, OfMatrixRankAndPseudoInverse)
{
    EXPECT_THAT(callsOf([] { kTall.Rank(); }), ElementsAre(::testing::StartsWith("dgesdd N ")));
    EXPECT_THAT(callsOf([] { kTall.PseudoInverse(); }),
                ElementsAre(::testing::StartsWith("dgesdd S "), ::testing::StartsWith("dgemm N T ")));
}

// Each member of a decomposition of a matrix without rows or columns gives another such matrix, or refuses
// to.
void expectMatricesOrSizeRefusals(std::initializer_list<std::function<Matrix()>> members)
{
    for (const auto& member : members) {
        try {
            EXPECT_LE(member().Rows(), 1);
        } catch (const InvalidSizeException& e) {
            EXPECT_STREQ(e.what(), "Invalid number of rows or columns.");
        }
    }
}

// 0 x 1, 1 x 0 and 0 x 0, as a vector without elements makes them.
std::vector<Matrix> emptyMatrices()
{
    const Matrix noRows = Vector(std::vector<double>{}).ToMatrix(), noColumns = noRows.Transpose();
    return {noRows, noColumns, noRows * noColumns};
}

TEST(NativeCalls, OfMatricesWithoutRowsOrColumnsHaveLegalArguments)
{
    complaints.clear();
    for (const Matrix& A : emptyMatrices()) {
        SCOPED_TRACE(::testing::Message() << A.Rows() << " x " << A.Cols());
        const LU lu(A);
        const QR qr(A), pivoting(A, true);
        const LQ lq(A);
        const SVD svd(A), values(A, true);
        EXPECT_TRUE(svd.Succeeded());
        EXPECT_TRUE(values.Succeeded());
        EXPECT_EQ(svd.Rank(), 0);
        EXPECT_EQ(std::ssize(lu.GetPivots()), A.Rows());
        EXPECT_EQ(std::ssize(qr.GetPivots()), A.Cols());
        expectMatricesOrSizeRefusals(
            {[&] { return lu.L(); }, [&] { return lu.U(); }, [&] { return lu.P(); }, [&] { return qr.Q(); },
             [&] { return qr.R(); }, [&] { return qr.P(); }, [&] { return lq.L(); }, [&] { return lq.Q(); },
             [&] { return svd.S(); }, [&] { return svd.U().value(); }, [&] { return svd.VH().value(); },
             [&] { return svd.PseudoInverse().value(); }, [&] { return A.Solve(A); }});
        if (A.Rows() >= A.Cols()) expectMatricesOrSizeRefusals({[&] { return pivoting.Solve(A); }});
        if (A.Rows() <= A.Cols()) expectMatricesOrSizeRefusals({[&] { return lq.Solve(A); }});
        EXPECT_THAT(complaints, ElementsAre());
    }
}

TEST(NativeCalls, OfSquareMatricesWithoutCellsHaveLegalArguments)
{
    complaints.clear();
    const Matrix A = emptyMatrices().back();
    const LU lu(A);
    EXPECT_EQ(lu.Determinant(), 1.0); // the empty product
    EXPECT_EQ(lu.Inverse().Rows(), 0);
    EXPECT_EQ(lu.Solve(A).Rows(), 0);
    const Cholesky cholesky(A);
    EXPECT_TRUE(cholesky.Succeeded());
    EXPECT_EQ(cholesky.Inverse().Rows(), 0);
    EXPECT_EQ(cholesky.Solve(A).Rows(), 0);
    EXPECT_TRUE(SymEigen(A).Succeeded());
    EXPECT_EQ(SymEigen(A, false).Eigenvalues().Length(), 0);
    EXPECT_EQ(Eigen(A, true, true).Size(), 0);
    EXPECT_THAT(complaints, ElementsAre());
}

TEST(NativeCalls, SVDThatDidNotConvergeShowsWhatTheRoutineLeft)
{
    const SVD good(kWide);
    const StoppedIterations stopped;
    const SVD svd(kWide);
    EXPECT_FALSE(svd.Succeeded());
    EXPECT_TRUE(identical(svd.SingularValues(), good.SingularValues()));
    EXPECT_TRUE(identical(svd.S(), good.S()));
    EXPECT_TRUE(identical(svd.U().value(), good.U().value()));
    EXPECT_TRUE(identical(svd.VH().value(), good.VH().value()));
    EXPECT_EQ(svd.Rank(), 5); // rank and pseudo-inverse do not look at the state
    EXPECT_TRUE(identical(svd.PseudoInverse().value(), good.PseudoInverse().value()));
}

TEST(NativeCalls, OperationsOfMatrixTurnNoConvergenceIntoAFailure)
{
    constexpr const char* kFailed = "Operation has failed to complete.";
    const StoppedIterations stopped;
    const std::int64_t before = TrellConfiguration::TotalMemory();
    expectFailure<OperationFailedException>([] { kTall.Rank(); }, kFailed);
    expectFailure<OperationFailedException>([] { kTall.PseudoInverse(); }, kFailed);
    expectFailure<OperationFailedException>([] { kTall.PseudoInverse(0.5); }, kFailed);
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(NativeCalls, SymEigenThatDidNotConvergeIsTurnedRoundAndReadable)
{
    const SymEigen good(kSquare);
    const StoppedIterations stopped;
    const SymEigen eigen(kSquare), values(kSquare, false);
    EXPECT_FALSE(eigen.Succeeded());
    EXPECT_TRUE(identical(eigen.Eigenvalues(), good.Eigenvalues()));
    EXPECT_TRUE(identical(eigen.Eigenvectors().value(), good.Eigenvectors().value()));
    EXPECT_TRUE(identical(eigen.D(), good.D()));
    EXPECT_FALSE(values.Succeeded());
    EXPECT_GT(values.Eigenvalue(0), values.Eigenvalue(4));
    EXPECT_FALSE(values.Eigenvectors().has_value());
}

TEST(NativeCalls, EigenThatDidNotConvergeShowsWhatTheRoutineLeftAndSucceeds)
{
    const Threads one(1);
    const Eigen good(kSquare);
    const StoppedIterations stopped;
    const Eigen eigen(kSquare);
    EXPECT_TRUE(eigen.Succeeded());
    for (int i = 0; i < 5; ++i) EXPECT_EQ(eigen.Eigenvalue(i), good.Eigenvalue(i));
}

TEST(NativeCalls, FailingInverseIsAnUndefinedErrorAndLeavesNothingBehind)
{
    const LU lu(kSquare);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    inverseFails = true;
    expectFailure<MatrixException>([&] { lu.Inverse(); }, "Undefined Error.");
    expectFailure<MatrixException>([&] { kSquare.Inverse(); }, "Undefined Error.");
    inverseFails = false;
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_LT(differenceRatio(kSquare, naiveProduct(lu.P(), naiveProduct(lu.L(), lu.U()))), kResidualLimit);
}

// An empty vector as a column has no rows, and still goes by leading dimensions that the routines take.
TEST(NativeCalls, OfProductsAndNormsWithoutRowsHaveLegalLeadingDimensions)
{
    const Matrix none = Vector(std::vector<double>{}).ToMatrix(), across = none.Transpose();
    complaints.clear();
    const auto seen = callsOf([&] {
        EXPECT_TRUE(identical(across * none, Matrix(1, 1)));
        EXPECT_EQ((none * across).Rows(), 0);
        EXPECT_TRUE(
            identical(Matrix::Multiply(2.0, across, none, 3.0, Matrix(1, 1, 5.0)), Matrix(1, 1, 15.0)));
        Matrix C(1, 1, 5.0);
        Matrix::Multiply(1.0, TransposeMode::Transposed, none, TransposeMode::NotTransposed, none, 1.0, C);
        EXPECT_EQ(C(0, 0), 5.0);
        EXPECT_TRUE(identical(Vector(std::vector<double>{}) * none, Vector(1)));
        for (const NormType type :
             {NormType::FrobeniusNorm, NormType::InfinityNorm, NormType::OneNorm, NormType::MaxAbsValue}) {
            EXPECT_EQ(none.Norm(type), 0.0);
        }
    });
    for (const std::string& call : seen) {
        EXPECT_THAT(call, ::testing::Not(::testing::ContainsRegex("LD[A-Z]+=0")));
    }
    EXPECT_EQ(seen.size(), 9u); // four products of matrices, one with a vector, four norms
    EXPECT_THAT(complaints, ElementsAre());
}

} // namespace
} // namespace Velmar::Lintrix::testing
