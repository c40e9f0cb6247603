// The factorization through the entry: what it stores, counts, tells and refuses.

#include "tests/engine/factorization/factored_call.h"

#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/call/matrix_type.h>
#include <lintrix/engine/factorization/factor_plan.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <string>
#include <vector>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::EngineCall;
using Velmar::Lintrix::testing::hasFactor;
using Velmar::Lintrix::testing::inElementsOf;
using Velmar::Lintrix::testing::Rows;
using Velmar::Lintrix::testing::ThreadSetting;
using Velmar::Lintrix::testing::toSingle;
using Velmar::Lintrix::testing::tridiagonal;

namespace {

constexpr int kTypes[] = {1, 2, -2, 3, 4, -4, 6, 11, 13};

double powerOfTen(int p)
{
    return std::exp(p * -2.302585092994046);
}

/// The tridiagonal matrix in the element of the type, with room for complex and double values.
Rows matrixFor(int mtype, int n)
{
    return inElementsOf(mtype, tridiagonal(n, isSymmetricStorage(mtype)));
}

/// The diagonals of the blocks, supernode after supernode.
template <class T = double>
std::vector<T> pivots(EngineCall& call)
{
    const Handle handle(call.pt.data());
    const FactorPlan plan = planOf(handle);
    std::vector<T> all;
    for (int J = 0; J < plan.structure.supernodes(); ++J) {
        const T* const block = factorIn<T>(handle, call.mnum).lower + plan.lowerStarts[std::size_t(J)];
        for (int k = 0; k < plan.structure.width(J); ++k)
            all.push_back(block[k + std::ptrdiff_t{k} * plan.structure.height(J)]);
    }
    return all;
}

/// The factor's storage, byte by byte.
std::string bytes(EngineCall& call)
{
    const FactorEntry& entry = Handle(call.pt.data()).factors()[std::size_t(call.mnum) - 1];
    return {static_cast<const char*>(entry.storage), static_cast<std::size_t>(entry.bytes)};
}

TEST(FactorStep, EveryTypeIsFactoredInBothPrecisionsByOneAndMoreThreads)
{
    for (const int threads : {1, 2, 4}) {
        const ThreadSetting setting(threads, 0);
        for (const int mtype : kTypes) {
            for (const int single : {0, 1}) {
                SCOPED_TRACE(::testing::Message() << mtype << ' ' << threads << ' ' << single);
                EngineCall call(matrixFor(mtype, 120), mtype);
                if (single != 0) toSingle(call.A.a);
                call.set(28, single);
                EXPECT_EQ(call.run(12), 0);
                EXPECT_TRUE(hasFactor(call, single != 0));
                EXPECT_FALSE(hasFactor(call, single == 0));
                EXPECT_EQ(call.iparm(14), 0);
                const bool counts = isSymmetricStorage(mtype) && mtype != 6;
                EXPECT_EQ(call.iparm(22), counts ? 120 : 0); // it is positive definite
                EXPECT_EQ(call.iparm(23), 0);
            }
        }
    }
}

TEST(FactorStep, TheMethodFollowsFromTheType)
{
    for (const int mtype : {11, 13}) EXPECT_EQ(methodFor(mtype, 1), Method::CompletePivoting);
    for (const int mtype : {1, 3}) EXPECT_EQ(methodFor(mtype, 1), Method::RowPivoting);
    for (const int mtype : {2, 4}) EXPECT_EQ(methodFor(mtype, 1), Method::Cholesky);
    for (const int mtype : {-2, -4, 6}) {
        EXPECT_EQ(methodFor(mtype, 0), Method::DiagonalPivoting);
        EXPECT_EQ(methodFor(mtype, 1), Method::BunchKaufman);
        EXPECT_EQ(methodFor(mtype, -7), Method::BunchKaufman);
    }
}

TEST(FactorStep, ZeroBlocksOfAnUnsymmetricMatrixArePerturbedAndCounted)
{
    for (const auto& [exponent, expected] :
         {std::pair{13, powerOfTen(13)}, {-5, powerOfTen(5)}, {0, 1e-13}}) {
        EngineCall call(tridiagonal(7), 11);
        std::ranges::fill(call.A.a, 0.);
        call.set(10, exponent);
        EXPECT_EQ(call.run(12), 0);
        EXPECT_EQ(call.iparm(14), 7);
        for (const double pivot : pivots(call)) EXPECT_EQ(pivot, expected) << exponent;
    }
}

TEST(FactorStep, AnAllZeroSymmetricMatrixIsPerturbedAsIfItsLargestEntryWereOne)
{
    for (const int form : {0, 1}) {
        EngineCall call(tridiagonal(7, true), -2);
        std::ranges::fill(call.A.a, 0.);
        call.set(10, 8);
        call.set(21, form);
        EXPECT_EQ(call.run(12), 0);
        EXPECT_EQ(call.iparm(14), 7);
        for (const double pivot : pivots(call)) EXPECT_EQ(pivot, powerOfTen(8));
    }
}

// Two equations that meet in an exact zero, and one that is all zero.
Rows withZeroPivot(double size)
{
    return {3, {size, 0., 0., 0., -size}, {1, 3, 5, 6}, {1, 2, 2, 3, 3}};
}

TEST(FactorStep, TheThresholdOfSymmetricTypesShrinksWithLargeAndWithSmallEntries)
{
    for (const double size : {1e4, 1e-4}) {
        EngineCall call(withZeroPivot(size), -2);
        call.set(10, 8);
        EXPECT_EQ(call.run(12), 0);
        EXPECT_EQ(call.iparm(14), 1);
        EXPECT_EQ(call.iparm(22), 2); // the perturbed pivot is positive
        EXPECT_EQ(call.iparm(23), 1);
        const std::vector<double> found = pivots(call);
        const double smallest =
            *std::ranges::min_element(found, [](double x, double y) { return std::abs(x) < std::abs(y); });
        EXPECT_EQ(smallest, size >= 1. ? powerOfTen(8) / std::sqrt(size) : powerOfTen(8) * std::sqrt(size));
    }
}

// The modulus of 3e4 + 4e4 i is 5e4. The diagonal is zero, so that the first pivot is the threshold.
TEST(FactorStep, TheThresholdOfComplexTypesTakesTheModulusOfTheLargestEntry)
{
    for (const int mtype : {-4, 6}) {
        EngineCall call({2, {0., 0., 3e4, 4e4, 0., 0.}, {1, 3, 4}, {1, 2, 2}}, mtype);
        call.set(10, 8);
        EXPECT_EQ(call.run(12), 0);
        const std::complex<double> first = pivots<std::complex<double>>(call).front();
        EXPECT_DOUBLE_EQ(first.real(), powerOfTen(8) / std::sqrt(5e4));
        EXPECT_EQ(first.imag(), 0.);
    }
}

TEST(FactorStep, AComplexPivotIsComparedWithTheThresholdByItsModulus)
{
    for (const auto& [imaginary, perturbed] : {std::pair{0.7e-3, 1}, {0.9e-3, 0}}) {
        EngineCall call({2, {0.6e-3, imaginary, 0., 0., 0., 0., 1., 0.}, {1, 3, 5}, {1, 2, 1, 2}}, 13);
        call.set(10, 3);
        EXPECT_EQ(call.run(12), 0);
        EXPECT_EQ(call.iparm(14), perturbed);
    }
}

TEST(FactorStep, TheThresholdOfOtherTypesIsNotScaled)
{
    EngineCall call(tridiagonal(4), 11);
    std::ranges::fill(call.A.a, 0.);
    call.A.a[0] = 1e6;
    call.set(10, 3);
    EXPECT_EQ(call.run(12), 0);
    EXPECT_EQ(call.iparm(14), 3);
    EXPECT_EQ(std::ranges::count(pivots(call), powerOfTen(3)), 3);
}

TEST(FactorStep, SinglePrecisionTakesTheStandardThresholdWhereItsOwnVanishes)
{
    EngineCall call(tridiagonal(5), 11);
    std::ranges::fill(call.A.a, 0.);
    call.set(10, 60);
    call.set(28, 1);
    EXPECT_EQ(call.run(12), 0);
    EXPECT_EQ(call.iparm(14), 5);
    for (const float pivot : pivots<float>(call)) EXPECT_EQ(pivot, 1e-13f);
}

TEST(FactorStep, ARepeatedFactorizationKeepsTheBlock)
{
    EngineCall call(tridiagonal(80), 11);
    EXPECT_EQ(call.run(12), 0);
    const void* const block = Handle(call.pt.data()).factors()[0].storage;
    const std::string first = bytes(call);
    EXPECT_EQ(call.run(22), 0);
    EXPECT_EQ(Handle(call.pt.data()).factors()[0].storage, block);
    EXPECT_EQ(bytes(call), first);
}

TEST(FactorStep, FactorsOfOneStructureStandSideBySide)
{
    EngineCall call(tridiagonal(80), 11);
    call.maxfct = 3;
    EXPECT_EQ(call.run(12), 0);
    const std::string first = bytes(call);
    call.mnum = 3;
    for (double& a : call.A.a) a *= 2.;
    EXPECT_EQ(call.run(22), 0);
    EXPECT_NE(bytes(call), first);
    call.mnum = 2;
    EXPECT_FALSE(hasFactor(call));
    call.mnum = 1;
    EXPECT_EQ(bytes(call), first);
    EXPECT_EQ(call.run(0), 0);
    EXPECT_FALSE(hasFactor(call));
    call.mnum = 3;
    EXPECT_TRUE(hasFactor(call));
}

TEST(FactorStep, AFactorOfOneTypeMakesRoomForOneOfAnotherElement)
{
    EngineCall call(matrixFor(13, 60), 11);
    EXPECT_EQ(call.run(12), 0);
    call.mtype = 13;
    EXPECT_FALSE(hasFactor(call));
    EXPECT_EQ(call.run(22), 0);
    EXPECT_TRUE(hasFactor(call));
    call.mtype = 3;
    EXPECT_EQ(call.run(22), 0);
}

TEST(FactorStep, AnAnalysisForCholeskyServesTheIndefiniteFormToo)
{
    EngineCall call(tridiagonal(60, true), 2);
    call.A.a[0] = -5.;
    EXPECT_EQ(call.run(12), -4);
    call.mtype = -2;
    EXPECT_EQ(call.run(22), 0);
    EXPECT_EQ(call.iparm(22) + call.iparm(23), 60);
    EXPECT_GE(call.iparm(23), 1);
}

TEST(FactorStep, TimeAndBudgetAreKept)
{
    EngineCall call(tridiagonal(500), 11);
    EXPECT_EQ(call.run(11), 0);
    const ControlBlock& control = Handle(call.pt.data()).control();
    EXPECT_EQ(control[Real::FactorSeconds], 0.);
    EXPECT_EQ(call.run(22), 0);
    EXPECT_GT(control[Real::FactorSeconds], 0.);
    EXPECT_EQ(control[Word::IterationBudget], 4);
}

TEST(FactorStep, AnEntryEntersScaled)
{
    for (const int mtype : {11, -2}) {
        Rows A = tridiagonal(40, mtype == -2);
        for (std::size_t k = 0; k < A.a.size(); ++k) A.a[k] *= std::pow(10., int(7 * k % 11) - 5);
        EngineCall scaled(A, mtype), plain(A, mtype);
        for (EngineCall* call : {&scaled, &plain}) call->set(13, 1);
        scaled.set(11, 1);
        scaled.set(10, 13);
        plain.set(10, 13);
        ASSERT_EQ(scaled.run(11), 0);
        ASSERT_EQ(plain.run(11), 0);
        const double* const r = Handle(scaled.pt.data()).block<double>(Slot::Scaling);
        const double* const c = mtype == 11 ? r + A.n : r;
        for (int i = 0; i < A.n; ++i) {
            for (int k = A.ia[std::size_t(i)]; k < A.ia[std::size_t(i) + 1]; ++k) {
                double& a = plain.A.a[std::size_t(k) - 1];
                a = a * c[A.ja[std::size_t(k) - 1] - 1] * r[i];
            }
        }
        ASSERT_EQ(scaled.run(22), 0);
        ASSERT_EQ(plain.run(22), 0);
        const std::vector<double> expected = pivots(plain), found = pivots(scaled);
        for (std::size_t k = 0; k < found.size(); ++k) {
            EXPECT_NEAR(found[k], expected[k], 1e-13 * std::abs(expected[k])) << mtype << ", column " << k;
        }
        EXPECT_NE(*std::max_element(r, r + A.n), 1.);
    }
}

TEST(FactorStep, IndicesAreBackAtTheirBaseAndNothingIsPrintedWithoutBeingAsked)
{
    EngineCall call(tridiagonal(60), 11);
    const auto ia = call.A.ia, ja = call.A.ja;
    EXPECT_EQ(call.runPrinting(12, 0).text, "");
    EXPECT_EQ(call.A.ia, ia);
    EXPECT_EQ(call.A.ja, ja);
}

} // namespace
