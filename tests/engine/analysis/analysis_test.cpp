#include "tests/engine/allowance.h"
#include "tests/engine/engine_call.h"
#include "tests/support/poisoned_allocator.h"

#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/call/shifted_indices.h>
#include <lintrix/services/work.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <span>
#include <tuple>
#include <vector>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::Allowance;
using Velmar::Lintrix::testing::EngineCall;
using Velmar::Lintrix::testing::PoisonedAllocator;
using Velmar::Lintrix::testing::Rows;
using Velmar::Lintrix::testing::ThreadSetting;
using Velmar::Lintrix::testing::tridiagonal;

namespace {

/// The five-point matrix of a square grid; with `upper` its upper triangle.
Rows grid(int side, bool upper = false)
{
    Rows A{side * side, {}, {1}, {}};
    const auto add = [&A, upper](int i, int j, double value) {
        if (upper && j < i) return;
        A.ja.push_back(j + 1);
        A.a.push_back(value);
    };
    for (int i = 0; i < A.n; ++i) {
        if (i >= side) add(i, i - side, -1.);
        if (i % side > 0) add(i, i - 1, -1.);
        add(i, i, 4.);
        if (i % side < side - 1) add(i, i + 1, -1.);
        if (i + side < A.n) add(i, i + side, -1.);
        A.ia.push_back(static_cast<int>(A.ja.size()) + 1);
    }
    return A;
}

/// The entries of one triangle and the other of the factor's pattern, by position.
class FactorPattern {
public:
    explicit FactorPattern(const FactorStructure& structure)
        : n_(structure.supernodeOf.size()), stored_(n_ * n_, false)
    {
        for (int J = 0; J < structure.supernodes(); ++J) {
            for (int column = structure.starts[J]; column < structure.starts[J + 1]; ++column) {
                for (const int row : structure.rowsOf(J)) mark(row, column);
            }
        }
    }
    bool holds(int row, int column) const
    {
        return stored_[static_cast<std::size_t>(row) * n_ + static_cast<std::size_t>(column)];
    }

private:
    void mark(int row, int column)
    {
        stored_[static_cast<std::size_t>(row) * n_ + static_cast<std::size_t>(column)] = true;
    }
    std::size_t n_;
    std::vector<bool> stored_;
};

/// What elimination of the columns of J leaves behind stands in the parent's columns.
void expectRowsHandedUp(const FactorStructure& structure, int J)
{
    const int parent = structure.parent(J);
    if (parent < 0) return;
    const auto rows = structure.rowsBelow(J), above = structure.rowsOf(parent);
    ASSERT_TRUE(std::ranges::includes(above, rows)) << J;
}

void expectSoundStructure(EngineCall& call)
{
    const Handle handle(call.pt.data());
    PermanentStructure permanent(handle);
    const Ordering ordering = permanent.ordering();
    for (int k = 0; k < call.n; ++k) ASSERT_EQ(ordering.positionOf[ordering.vertexAt[k]], k);

    const auto upper = permanent.upperStarts();
    EXPECT_EQ(upper.empty(), call.mtype % 2 == 0);
    for (int J = 0; J < permanent.structure().supernodes(); ++J) expectRowsHandedUp(permanent.structure(), J);

    // Every entry of A has its place in the pattern of the factor, and each entry of A is mapped once.
    const FactorPattern pattern(permanent.structure());
    const bool rowsMove = call.mtype > 10 && handle.holds(Slot::Matching);
    const int* const columnOfRow = handle.block<int>(Slot::Matching);
    for (int i = 0; i < call.n; ++i) {
        for (int p = call.A.ia[i] - 1; p < call.A.ia[i + 1] - 1; ++p) {
            const int row = ordering.positionOf[rowsMove ? columnOfRow[i] : i];
            const int column = ordering.positionOf[call.A.ja[p] - 1];
            ASSERT_TRUE(pattern.holds(std::max(row, column), std::min(row, column)));
        }
    }
    std::vector<int> source(permanent.maps().source.begin(), permanent.maps().source.end());
    std::ranges::sort(source);
    std::vector<int> all(call.A.ja.size());
    std::iota(all.begin(), all.end(), 0);
    EXPECT_EQ(source, all);
}

TEST(Analysis, LeavesAStructureThatHoldsTheMatrix)
{
    for (const int mtype : {1, 2, -2, 11}) {
        for (const int ordering : {0, 1, 2, 3}) {
            for (const int matching : {0, 1}) {
                SCOPED_TRACE(::testing::Message() << mtype << ' ' << ordering << ' ' << matching);
                EngineCall call(grid(15, mtype % 2 == 0), mtype);
                call.set(2, ordering);
                call.set(11, matching);
                call.set(13, matching);
                ASSERT_EQ(call.run(11), 0);
                expectSoundStructure(call);
            }
        }
    }
}

TEST(Analysis, WithSeveralThreadsCutsTheOrderIntoPartsAndSeparators)
{
    const ThreadSetting setting(4, 0);
    EngineCall call(grid(30)), whole(grid(30));
    call.set(2, 3);
    ASSERT_EQ(call.run(11), 0);
    ASSERT_EQ(whole.run(11), 0);
    expectSoundStructure(call);
    const ControlBlock& control = Handle(call.pt.data()).control();
    EXPECT_EQ(control[WideWord::LowerNonZeros],
              Handle(whole.pt.data()).control()[WideWord::LowerNonZeros]); // parts change no fill
    EXPECT_EQ(control[Word::TwoLevel], 1);
    EXPECT_EQ(control[Word::IndependentSubgraphs], 4);
    EXPECT_EQ(control[Word::Subgraphs], 7);
    PermanentStructure permanent(Handle(call.pt.data()));
    EXPECT_EQ(permanent.targetStarts().back(), control[Word::UpdateTargets]);
    EXPECT_GE(control[Word::UpdateTargets], 4); // each part updates at least the root
    const auto ranges = permanent.subgraphs();
    EXPECT_EQ(ranges.front().first, 0);
    EXPECT_EQ(ranges.back().last, call.n - 1);
}

TEST(Analysis, ByConstrainedMinimumDegreeCutsTheOrderToo)
{
    const ThreadSetting setting(4, 0);
    EngineCall call(grid(30));
    call.set(2, 1);
    const auto [error, text] = call.runPrinting(11, 1);
    ASSERT_EQ(error, 0);
    expectSoundStructure(call);
    const ControlBlock& control = Handle(call.pt.data()).control();
    EXPECT_EQ(control[Word::TwoLevel], 0); // of dissections alone
    EXPECT_EQ(control[Word::IndependentSubgraphs], control[Word::PartTarget]);
    EXPECT_EQ(control[Word::Subgraphs], 2 * control[Word::PartTarget] - 1);
    EXPECT_NE(text.find("< Preprocessing with multiple minimum degree with constraints >\n"
                        " < with multiple minimum degree on the separator nodes         >\n"),
              std::string::npos);
}

TEST(Analysis, WithTheCallersOrderTakesItAsItStands)
{
    EngineCall call(tridiagonal(8));
    call.set(5, 1);
    call.perm = {8, 7, 6, 5, 4, 3, 2, 1};
    ASSERT_EQ(call.run(11), 0);
    const auto vertexAt = PermanentStructure(Handle(call.pt.data())).ordering().vertexAt;
    EXPECT_EQ(std::vector(vertexAt.begin(), vertexAt.end()), (std::vector{7, 6, 5, 4, 3, 2, 1, 0}));
    EXPECT_EQ(call.perm, (std::vector{8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST(Analysis, GivesTheSameStructureTwice)
{
    EngineCall first(grid(15)), second(grid(15));
    ASSERT_EQ(first.run(11), 0);
    ASSERT_EQ(second.run(11), 0);
    ASSERT_EQ(second.run(11), 0);
    const auto rows = PermanentStructure(Handle(first.pt.data())).rows();
    EXPECT_TRUE(std::ranges::equal(rows, PermanentStructure(Handle(second.pt.data())).rows()));
    EXPECT_EQ(first.iparm(15), second.iparm(15));
}

// Whatever the blocks of memory hold before they are written to.
TEST(Analysis, ThatIsEndedIsNoneAndTheNextOneServes)
{
    constexpr int kSide = 150, kMostStops = 12;
    const ThreadSetting one(1);
    for (const auto& [type, matching, ordering] :
         {std::tuple(11, 1, 0), std::tuple(2, 0, 0), std::tuple(11, 0, 2)}) {
        SCOPED_TRACE(::testing::Message() << "type " << type << ", ordering " << ordering);
        EngineCall call(grid(kSide, type == 2), type);
        call.set(2, ordering);
        call.set(13, matching);
        Allowance endless(std::numeric_limits<int>::max());
        {
            const detail::WorkScope scope(endless);
            ASSERT_EQ(call.run(11), 0);
        }
        const int last = endless.asked() - 1;
        for (int questions = last; questions >= 0; questions -= 1 + last / kMostStops) {
            const PoisonedAllocator poisoned(0x7f);
            {
                Allowance some(questions);
                const detail::WorkScope scope(some);
                ASSERT_EQ(call.run(11), -4) << questions;
                ASSERT_EQ(call.run(22), -1) << questions;
            }
            ASSERT_EQ(call.run(13), 0) << questions;
            // The inverse of this matrix has no element below 0.
            EXPECT_TRUE(std::ranges::all_of(std::span(call.x).first(std::size_t{kSide} * kSide),
                                            [](double x) { return x > 0.; }));
        }
    }
}

TEST(Analysis, MatchesAndScalesInSinglePrecisionToo)
{
    EngineCall call(tridiagonal(4));
    const float values[] = {0.F, 5.F, 2.F, 0.F, -1.F, -1.F, 0.F, 3.F, 7.F, 0.F};
    std::array<int, 64> iparm{};
    iparm[0] = iparm[10] = iparm[12] = iparm[27] = 1;
    iparm[1] = 2;
    std::array<void*, 64> pt{};
    int error = 1;
    pardiso(pt.data(), 1, 1, 11, 11, 4, values, call.A.ia.data(), call.A.ja.data(), nullptr, 1, iparm.data(),
            0, nullptr, nullptr, error);
    EXPECT_EQ(error, 0);
    const Handle handle(pt.data());
    const int* const columnOfRow = handle.block<int>(Slot::Matching);
    EXPECT_EQ(std::vector(columnOfRow, columnOfRow + 4), (std::vector{1, 0, 3, 2}));
    EXPECT_EQ(handle.control()[Word::SinglePrecision], 1);
    pardiso(pt.data(), 1, 1, 11, -1, 4, nullptr, nullptr, nullptr, nullptr, 1, iparm.data(), 0, nullptr,
            nullptr, error);
    EXPECT_EQ(error, 0);
}

TEST(ShiftedIndices, ComeBackWhateverTheyHold)
{
    std::vector<int> ia = {1, 2147483647, -2147483647 - 1}, ja = {0, 5};
    const auto iaBefore = ia, jaBefore = ja;
    {
        const ShiftedIndices shifted(ia, ja);
        EXPECT_EQ(ia, (std::vector{0, 2147483646, 2147483647}));
        EXPECT_EQ(shifted.ja()[1], 4);
    }
    EXPECT_EQ(ia, iaBefore);
    EXPECT_EQ(ja, jaBefore);
}

} // namespace
