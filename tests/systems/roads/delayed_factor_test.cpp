// L*D*L' and LU with pivots that may wait, as a road sees them, and as a file brings them back.

#include <lintrix/systems/roads/delayed_factor.h>

#include "tests/support/files.h"
#include "tests/systems/multifrontal/symmetric_matrices.h"
#include "tests/systems/sparse_lu/sparse_matrices.h"

#include <lintrix/foundation/failures.h>
#include <lintrix/systems/roads/quality.h>

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;
using N = TransposeMode;

template <class Cell>
SparseOf<Cell> saddle(std::int32_t n, bool hermitian)
{
    return SparseOf<Cell>(saddlePoint<Cell>(randomSymmetric<Cell>(n, 0.2, 3, hermitian), n / 4));
}

template <class Cell, class Factor>
void expectRefined(const SparseOf<Cell>& A, Factor factor)
{
    ASSERT_EQ(factor.factorize({}).error, 0);
    EXPECT_EQ(factor.replaced(), 0);
    const std::unique_ptr<detail::roads::Factored<Cell>> other = factor.another();
    for (const N op : {N::NotTransposed, N::Transposed, N::ConjugateTransposed}) {
        std::mt19937_64 generator(5);
        MatrixOf<Cell> known(60, 3), plain(60, 3), refined(60, 3), again(60, 3);
        for (Cell& cell : cellsOf(known)) cell = drawn<Cell>(generator);
        const MatrixOf<Cell> B = productOf<Cell>(A, known, op);
        ASSERT_EQ(factor.solve(B, plain, op).error, 0);
        EXPECT_EQ(factor.refinementSteps(), 0);
        ASSERT_EQ(factor.solve(B, refined, op, 3).error, 0);
        EXPECT_LE(factor.refinementSteps(), 3);
        const MatrixOf<Cell> probe = columnOf(known, 2);
        const double before = judge<Cell>(A, plain, B, probe, op).residual,
                     after = judge<Cell>(A, refined, B, probe, op).residual;
        EXPECT_LE(before, 0x1p-43);
        EXPECT_LE(after, std::min(before, 0x1p-50));
        ASSERT_EQ(other->solve(B, again, op, 3).error, 0);
        EXPECT_TRUE(std::ranges::equal(cellsOf(again), cellsOf(refined)));
        ASSERT_EQ(factor.refine(B, plain, op, 3).error, 0);
        EXPECT_TRUE(std::ranges::equal(cellsOf(plain), cellsOf(refined))) << "a solve and its steps";
    }
}

template <class Cell>
void expectRefined(bool hermitian)
{
    const SparseOf<Cell> A = saddle<Cell>(60, hermitian);
    expectRefined<Cell>(A, DelayedFactor<Cell>(A, hermitian));
}

TEST(DelayedFactor, SolvesAndRefinesByItselfAndByAnother)
{
    expectRefined<double>(true);
    expectRefined<Complex>(true);
    expectRefined<Complex>(false);
}

template <class Cell>
void expectRefinedByLU()
{
    const SparseOf<Cell> A(randomDense<Cell>(60, 0.1, 3));
    expectRefined<Cell>(A, FrontsFactor<Cell>(A));
}

TEST(FrontsFactor, SolvesAndRefinesByItselfAndByAnother)
{
    expectRefinedByLU<double>();
    expectRefinedByLU<Complex>();
}

/// A diagonal that dominates lets nothing wait: what is forecast is what is made.
TEST(DelayedFactor, CostIsWhatIsMadeWhereNothingWaits)
{
    const SparseMatrix A(shifted<double>(randomSymmetric<double>(80, 0.1, 2, true), 40.0));
    DelayedFactor<double> factor(A, true);
    const RoadCost cost = factor.cost();
    ASSERT_EQ(factor.factorize({}).error, 0);
    EXPECT_EQ(factor.entries(), cost.entries);
    EXPECT_EQ(factor.operations(3), 4.0 * 3.0 * static_cast<double>(cost.entries));
    EXPECT_GE(cost.bytes, 8.0 * static_cast<double>(cost.entries));
    EXPECT_EQ(cost.bytes, cost.bytesInMemory);
}

TEST(DelayedFactor, SignsAreToldOfHermitianMatricesAlone)
{
    const CSparseMatrix hermitian = saddle<Complex>(20, true), symmetric = saddle<Complex>(20, false);
    DelayedFactor<Complex> one(hermitian, true), other(symmetric, false);
    ASSERT_EQ(one.factorize({}).error, 0);
    ASSERT_EQ(other.factorize({}).error, 0);
    ASSERT_TRUE(one.inertia().has_value());
    EXPECT_EQ(one.inertia()->order(), 20);
    EXPECT_FALSE(other.inertia().has_value());
}

TEST(DelayedFactor, TellsABoundThatIsPassed)
{
    const SparseMatrix A = saddle<double>(60, true);
    DelayedFactor<double> factor(A, true);
    EXPECT_EQ(factor.factorize({.cells = 100}).error, kTooMuchFill);
}

TEST(DelayedFactor, WhatIsNotFiniteHasNoFactor)
{
    SparseMatrix A = saddle<double>(20, true);
    A(3, 3) = std::numeric_limits<double>::infinity();
    DelayedFactor<double> factor(A, true);
    EXPECT_EQ(factor.cost().entries, 0);
    EXPECT_EQ(factor.factorize({}).error, kEngineNumeric);
}

TEST(FrontsFactor, CostIsWhatIsMadeWhereNothingWaits)
{
    Matrix dense = randomDense<double>(80, 0.05, 2);
    for (std::int32_t i = 0; i < 80; ++i) dense(i, i) = 40.0;
    const SparseMatrix A(dense);
    FrontsFactor<double> factor(A);
    const RoadCost cost = factor.cost();
    ASSERT_EQ(factor.factorize({}).error, 0);
    EXPECT_EQ(factor.entries(), 2 * cost.entries - 80);
    EXPECT_EQ(factor.operations(3), 2.0 * 3.0 * static_cast<double>(factor.entries()));
    EXPECT_GE(cost.bytes, 8.0 * static_cast<double>(factor.entries()));
}

TEST(FrontsFactor, TellsABoundThatIsPassed)
{
    const SparseMatrix A(randomDense<double>(60, 0.1, 3));
    EXPECT_EQ(FrontsFactor<double>(A).factorize({.cells = 100}).error, kTooMuchFill);
}

TEST(FrontsFactor, WhatIsNotFiniteOrHasTooFewPlacesHasNoFactor)
{
    SparseMatrix infinite(randomDense<double>(20, 0.2, 3)), narrow(2, 2);
    infinite(3, 3) = std::numeric_limits<double>::infinity();
    narrow(0, 0) = narrow(1, 0) = 1.0;
    for (const SparseMatrix& A : {infinite, narrow}) {
        FrontsFactor<double> factor(A);
        EXPECT_EQ(factor.cost().entries, 0);
        EXPECT_EQ(factor.factorize({}).error, kEngineNumeric);
    }
}

using Indices = std::vector<std::int32_t>;
struct Head {
    std::int64_t panels, rows;
    std::int32_t replaced = 0, unused = 0;
};

/// Two panels of one pivot each, of (4, 2; 2, 2) = L*D*L' or L*U; the first one has two rows.
void writeFactor(const std::string& path, bool isLU, const Indices& rows, const Indices& columns)
{
    SectionWriter file(path.c_str(), "test");
    const auto add = [&](const char* name, const auto& cells) { file.Add(name, std::span(cells)); };
    const Indices zeros{0, 0}, identity{0, 1}, sizes{2, 1, 1, 1};
    const std::string prefix = isLU ? "mlu" : "ldl";
    file.AddOne(prefix, Head{2, 3});
    for (const char* const name : isLU ? std::array{"mlurexp", "mlucexp"} : std::array{"ldlexp", ""})
        if (*name) add(name, zeros);
    for (const char* const name : isLU ? std::array{"mlurat", "mlucat"} : std::array{"ldlat", ""})
        if (*name) add(name, identity);
    add(isLU ? "mlusizes" : "ldlsizes", sizes);
    add(isLU ? "mlurows" : "ldlrows", rows);
    if (isLU) {
        add("mlucols", columns);
        add("mlulower", std::vector<double>{4.0, 0.5});
        add("mluupper", std::vector<double>{2.0});
        add("mlulower", std::vector<double>{1.0});
        add("mluupper", std::vector<double>{});
    } else {
        add("ldldiag", std::vector<double>{4.0, 1.0});
        add("ldlbelow", std::vector<double>{0.0, 0.0});
        add("ldlpanel", std::vector<double>{0.0, 0.5});
        add("ldlpanel", std::vector<double>{0.0});
    }
    ASSERT_TRUE(file.Commit());
}

std::unique_ptr<detail::roads::Factored<double>> loaded(const SparseMatrix& A, bool isLU, const Indices& rows,
                                                        const Indices& columns)
{
    const Scratch folder;
    writeFactor(folder.at("file"), isLU, rows, columns);
    SectionReader file;
    EXPECT_FALSE(file.Open(folder.at("file").c_str(), "test"));
    if (isLU) return FrontsFactor<double>::load(A, file);
    return DelayedFactor<double>::load(A, true, file);
}

/// A*(1, 2)' = (8, 6)'.
TEST(DelayedFactor, AFileWhosePivotsAreNotEachPositionOnceIsRefused)
{
    SparseMatrix A(2, 2);
    A(0, 0) = 4.0;
    A(0, 1) = A(1, 0) = A(1, 1) = 2.0;
    const Indices good{0, 1, 1};
    for (const bool isLU : {false, true}) {
        Matrix B(2, 1), X(2, 1);
        B(0, 0) = 8.0;
        B(1, 0) = 6.0;
        ASSERT_EQ(loaded(A, isLU, good, good)->solve(B, X, N::NotTransposed, {}).error, 0);
        EXPECT_EQ(X(0, 0), 1.0);
        EXPECT_EQ(X(1, 0), 2.0);
        for (const Indices& bad :
             {Indices{0, 1, 0}, {1, 1, 1}, {0, 0, 1}, {0, 2, 1}, {0, -1, 1}, {0, 1, 2}}) {
            EXPECT_THROW(loaded(A, isLU, bad, good), SerializationException);
            if (isLU) {
                EXPECT_THROW(loaded(A, isLU, good, bad), SerializationException);
            }
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
