// How panels pass through a bounded room: every group and chunk fits, and nothing that is needed is left out.

#include <lintrix/engine/factorization/panel_schedule.h>

#include "tests/engine/factorization/factorization_case.h"

#include <set>

namespace Velmar::Lintrix::testing {
namespace {

class PanelSchedules : public ::testing::TestWithParam<Method> {
protected:
    PanelSchedules()
        : graph_(grid(17, 19)),
          A_(graph_.view(), isUnsymmetric(GetParam()) ? Kind::Unsymmetric : Kind::Symmetric, 30, 3),
          c_(graph_.view(), A_, {GetParam(), false, 0.0}, 4, 1), plan_(c_.plan())
    {
    }

    int supernodes() const { return plan_.structure.supernodes(); }
    std::int64_t elements(PositionRange range) const
    {
        std::int64_t sum = 0;
        for (int J = range.first; J <= range.last; ++J) {
            const std::int64_t width = plan_.structure.width(J), height = plan_.structure.height(J);
            sum += width * height + (isUnsymmetric(GetParam()) ? width * (height - width) : 0);
        }
        return sum;
    }
    std::int64_t all() const { return elements({0, supernodes() - 1}); }
    std::int64_t largest() const
    {
        std::int64_t most = 0;
        for (int J = 0; J < supernodes(); ++J) most = std::max(most, elements({J, J}));
        return most;
    }
    std::vector<std::int64_t> rooms() const
    {
        return {-5, 0, 1, largest(), 2 * largest(), all() / 7, all() / 3, all() - 1, all(), 10 * all()};
    }
    // By definition: a row below K that is a column of the group.
    std::set<int> sourcesOf(PositionRange group) const
    {
        std::set<int> sources;
        for (int K = 0; K < group.first; ++K) {
            for (const int row : plan_.structure.rowsBelow(K)) {
                const int J = plan_.structure.supernodeOf[static_cast<std::size_t>(row)];
                if (J >= group.first && J <= group.last) sources.insert(K);
            }
        }
        return sources;
    }

    OwnedGraph graph_;
    TestMatrix<double> A_;
    FactorizationCase<double> c_;
    FactorPlan plan_;
};

TEST_P(PanelSchedules, GroupsFollowEachOtherAndFit)
{
    for (const std::int64_t room : rooms()) {
        const PanelSchedule schedule = PanelSchedule::ofFactorization(plan_, room);
        EXPECT_LE(schedule.groupRoom() + schedule.slots() * schedule.chunkRoom(),
                  std::max(room, 2 * largest()));
        int next = 0;
        while (next < supernodes()) {
            const PositionRange group = schedule.groupFrom(next);
            EXPECT_EQ(group.first, next);
            ASSERT_LE(group.first, group.last);
            EXPECT_LE(elements(group), schedule.groupRoom());
            if (group.last + 1 < supernodes()) {
                EXPECT_GT(elements({group.first, group.last + 1}), schedule.groupRoom());
            }
            next = group.last + 1;
        }
        EXPECT_EQ(next, supernodes());
    }
}

TEST_P(PanelSchedules, AFactorThatFitsIsOneGroupAndNothingPassesBy)
{
    const PanelSchedule schedule = PanelSchedule::ofFactorization(plan_, all());
    EXPECT_EQ(schedule.groupFrom(0).last, supernodes() - 1);
    EXPECT_EQ(schedule.groupRoom(), all());
    EXPECT_EQ(schedule.chunkRoom(), 0);
}

TEST_P(PanelSchedules, EveryPanelThatUpdatesAGroupPassesByOnceAndInOrder)
{
    for (const std::int64_t room : rooms()) {
        const PanelSchedule schedule = PanelSchedule::ofFactorization(plan_, room);
        for (int J = 0; J < supernodes();) {
            const PositionRange group = schedule.groupFrom(J);
            std::set<int> expected = sourcesOf(group), passed;
            int behind = 0;
            for (PositionRange chunk = schedule.chunkFrom(0, group); chunk.first <= chunk.last;
                 chunk = schedule.chunkFrom(chunk.last + 1, group)) {
                EXPECT_GE(chunk.first, behind);
                EXPECT_LT(chunk.last, group.first);
                EXPECT_LE(elements(chunk), schedule.chunkRoom());
                for (int K = chunk.first; K <= chunk.last; ++K) {
                    EXPECT_EQ(schedule.updates(K, group), expected.count(K) == 1);
                    if (schedule.updates(K, group)) passed.insert(K);
                }
                behind = chunk.last + 1;
            }
            EXPECT_EQ(passed, expected);
            J = group.last + 1;
        }
    }
}

// A slot that is filled while the one before it is worked with, wherever there is room for it.
TEST_P(PanelSchedules, TwoChunksHaveRoomWhereItIsNotSmall)
{
    for (const std::int64_t room : {6 * largest(), 8 * largest(), 20 * largest()}) {
        if (room >= all()) continue;
        EXPECT_EQ(PanelSchedule::ofFactorization(plan_, room).slots(), 2);
        EXPECT_GE(PanelSchedule::ofFactorization(plan_, room).groupRoom(), room / 3 * 2);
    }
    for (const std::int64_t room : {2 * largest(), 3 * largest(), all() / 2})
        EXPECT_GE(PanelSchedule::ofSolve(plan_, room).slots(), 2);
}

TEST_P(PanelSchedules, ASolvePassesTheSameChunksUpwardsAndDownwards)
{
    for (const std::int64_t room : rooms()) {
        const PanelSchedule schedule = PanelSchedule::ofSolve(plan_, room);
        EXPECT_EQ(schedule.groupRoom(), 0);
        EXPECT_EQ(schedule.holdsAll(), room >= all());
        const std::int64_t taken = schedule.chunkRoom() * (schedule.holdsAll() ? 1 : schedule.slots());
        EXPECT_LE(taken, std::max(room, largest()));
        EXPECT_LE(schedule.slotsAtHand(), schedule.slots());
        EXPECT_GE(schedule.slotsAtHand(), 1);
        std::vector<PositionRange> chunks;
        const PanelPass up = PanelPass::upwards(schedule), down = PanelPass::downwards(schedule);
        for (PositionRange chunk = up.first(); chunk.first <= chunk.last; chunk = up.after(chunk)) {
            EXPECT_EQ(chunk.first, chunks.empty() ? 0 : chunks.back().last + 1);
            if (chunk.first < chunk.last) {
                EXPECT_LE(elements(chunk), schedule.chunkRoom());
            }
            EXPECT_EQ(up.left(chunk), elements({chunk.first, supernodes() - 1}));
            EXPECT_EQ(down.left(chunk), elements({0, chunk.last}));
            chunks.push_back(chunk);
        }
        EXPECT_EQ(chunks.back().last, supernodes() - 1);
        if (schedule.holdsAll()) {
            EXPECT_LE(chunks.size(), static_cast<std::size_t>(schedule.slots()));
        }
        for (PositionRange chunk = down.first(); chunk.first <= chunk.last; chunk = down.after(chunk)) {
            ASSERT_FALSE(chunks.empty());
            EXPECT_EQ(chunk.first, chunks.back().first);
            EXPECT_EQ(chunk.last, chunks.back().last);
            chunks.pop_back();
        }
        EXPECT_TRUE(chunks.empty());
    }
}

// Also in a room that the largest supernode takes whole, small ones are read ahead.
TEST_P(PanelSchedules, TheLeastRoomOfASolveHasSeveralSlots)
{
    EXPECT_GE(PanelSchedule::ofSolve(plan_, 0).slots(), 2);
    EXPECT_GE(PanelSchedule::ofSolve(plan_, largest()).slots(), 2);
}

INSTANTIATE_TEST_SUITE_P(Storages, PanelSchedules,
                         ::testing::Values(Method::CompletePivoting, Method::BunchKaufman),
                         [](const auto& method) {
                             return isUnsymmetric(method.param) ? "Unsymmetric" : "Symmetric";
                         });

} // namespace
} // namespace Velmar::Lintrix::testing
