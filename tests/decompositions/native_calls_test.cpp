// The calls of LAPACK and BLAS that the decompositions make: letters, sizes, leading dimensions, work space.
//
// This program defines the routines itself. Its definitions come before those of the library of routines, so
// that every call of a decomposition arrives here, is written down, and goes on to the routine proper.

#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>
#include <lintrix/foundation/allocators.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/lapack.h>

#include "tests/decompositions/cases.h"

#include <gmock/gmock.h>

#include <dlfcn.h>

#include <string>
#include <vector>

namespace {

using Velmar::Lintrix::detail::blockBytes;

std::vector<std::string> calls;
bool inverseFails = false;  // dgetri then answers INFO = 1 without doing anything
thread_local int depth = 0; // the routines call one another; only the outermost call is ours

// How many doubles or integers the block of the library holds that starts at `cells`.
std::string block(const char* name, const double* cells)
{
    return std::string(" ") + name + '[' + std::to_string(blockBytes(cells) / sizeof(double)) + ']';
}
std::string block(const char* name, const int* cells)
{
    return std::string(" ") + name + '[' + std::to_string(blockBytes(cells) / sizeof(int)) + ']';
}

std::string letters(std::initializer_list<const char*> modes)
{
    std::string text;
    for (const char* mode : modes) text += std::string(" ") + *mode;
    return text;
}

std::string number(const char* name, const int* value)
{
    return std::string(" ") + name + '=' + std::to_string(*value);
}

// Writes the call down; `describe` is not called within another routine, where blocks are not the library's.
template <class Describe>
void record(const char* routine, Describe describe)
{
    if (depth == 0) calls.push_back(routine + describe());
}

template <class... Args>
void passOn(const char* symbol, Args... args)
{
    const auto routine = reinterpret_cast<void (*)(Args...)>(dlsym(RTLD_NEXT, symbol));
    ++depth;
    routine(args...);
    --depth;
}

} // namespace

#define STANDS_IN extern "C" __attribute__((visibility("default"))) void

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

namespace Velmar::Lintrix::testing {
namespace {

using ::testing::ElementsAre;

template <class Operation>
std::vector<std::string> callsOf(Operation operation)
{
    calls.clear();
    operation();
    return calls;
}

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

} // namespace
} // namespace Velmar::Lintrix::testing
