#include "tests/engine/engine_call.h"
#include "tests/services/slot_recorder.h"

#include <lintrix/engine/analysis/analysis_steps.h>
#include <lintrix/engine/analysis/symbolic/permanent_structure.h>
#include <lintrix/engine/call/handle.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <type_traits>
#include <utility>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::EngineCall;
using Velmar::Lintrix::testing::SlotRecorder;
using Velmar::Lintrix::testing::tridiagonal;

namespace {

class HandleTest : public ::testing::Test {
protected:
    bool isEmpty() const
    {
        return std::all_of(slots.begin(), slots.end(), [](void* slot) { return slot == nullptr; });
    }

    SlotRecorder recorder; // before the handle: what it holds must be gone first
    std::array<void*, 64> slots{};
    Handle handle{slots.data()};
};

// What is const writes nowhere.
static_assert(std::is_same_v<decltype(std::declval<const Handle&>().control()), const ControlBlock&>);
static_assert(
    std::is_same_v<decltype(std::declval<const Handle&>().factors()), std::span<const FactorEntry>>);
static_assert(std::is_same_v<decltype(std::declval<const Handle&>().block<int>(Slot::Matching)), const int*>);
static_assert(
    std::is_same_v<decltype(std::declval<const Handle&>().array<int>(Slot::FactorStructure, Array::Rows, 1)),
                   std::span<const int>>);
static_assert(std::is_same_v<decltype(std::declval<const Analysis&>().control()), const ControlBlock&>);
static_assert(std::is_same_v<decltype(std::declval<const PermanentStructure&>().subgraphs()),
                             std::span<const PositionRange>>);

TEST_F(HandleTest, CreatedHasItsBasicBlocks)
{
    EXPECT_FALSE(handle.create(3));
    EXPECT_TRUE(handle.live());
    EXPECT_EQ(handle.calls(), 1U);
    EXPECT_EQ(handle.control()[Word::Maxfct], 3);
    ASSERT_EQ(handle.factors().size(), 3U);
    for (const FactorEntry& entry : handle.factors()) {
        EXPECT_EQ(entry.storage, nullptr);
        EXPECT_EQ(entry.size, 777777777);
    }
    EXPECT_EQ(handle.control()[Array::Rows], 777777777);
    EXPECT_EQ(handle.releaseAll(), 0);
    EXPECT_TRUE(isEmpty());
    EXPECT_EQ(recorder.live(), 0U);
}

TEST_F(HandleTest, BlocksAreAlignedAndZero)
{
    EXPECT_FALSE(handle.create(1));
    for (const Slot slot : {Slot::Control, Slot::FactorTable}) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(handle.block<char>(slot)) % 128, 0U);
    }
    void* const block = handle.allocate(Slot::RealWork, 1000);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 128, 0U);
    EXPECT_TRUE(std::all_of(static_cast<char*>(block), static_cast<char*>(block) + 1000,
                            [](char byte) { return byte == 0; }));
    handle.releaseAll();
    EXPECT_EQ(recorder.live(), 0U);
}

TEST_F(HandleTest, CreationIsAllOrNothing)
{
    const std::array expected = {BlockCode::Control, BlockCode::FactorTable};
    for (int k = 0; k < 2; ++k) {
        recorder.failOnly(k);
        const Failure failure = handle.create(2);
        EXPECT_EQ(failure.error, Error::Memory);
        EXPECT_EQ(failure.internal, static_cast<int>(expected[static_cast<std::size_t>(k)]));
        EXPECT_GT(failure.bytes, 0);
        EXPECT_TRUE(isEmpty());
        EXPECT_EQ(recorder.live(), 0U);
    }
}

TEST_F(HandleTest, ClearsWhatACallerLeftInTheSlots)
{
    slots[3] = slots[10] = slots[17] = this;
    EXPECT_FALSE(handle.create(1));
    EXPECT_EQ(slots[10], nullptr);
    EXPECT_EQ(slots[17], nullptr);
    handle.releaseAll();
}

TEST_F(HandleTest, OutOfCoreControlHoldsABlankPath)
{
    EXPECT_FALSE(handle.create(1));
    EXPECT_FALSE(handle.createOutOfCoreControl());
    const OutOfCoreTable& table = *handle.block<OutOfCoreTable>(Slot::OutOfCoreControl);
    EXPECT_EQ(std::count(table.path, table.path + 1024, ' '), 1024);
    const std::size_t blocks = recorder.live();
    EXPECT_FALSE(handle.createOutOfCoreControl());
    EXPECT_EQ(recorder.live(), blocks);
    handle.releaseAll();
    EXPECT_TRUE(isEmpty());
    EXPECT_EQ(recorder.live(), 0U);
}

TEST_F(HandleTest, OutOfCoreControlIsAllOrNothing)
{
    EXPECT_FALSE(handle.create(1));
    const std::size_t blocks = recorder.live();
    for (const auto& [k, code] : {std::pair{0, -201}, {1, -202}, {2, -203}, {3, -203}, {4, -203}}) {
        recorder.failOnly(k);
        EXPECT_EQ(handle.createOutOfCoreControl().internal, code);
        EXPECT_EQ(recorder.live(), blocks);
    }
    handle.releaseAll();
}

TEST_F(HandleTest, FactorsAreReleasedOneByOneAndCounted)
{
    EXPECT_FALSE(handle.create(3));
    for (FactorEntry& entry : handle.factors()) {
        entry.storage = Scratch<double>::uninitialised(8).release();
        entry.size = 8;
    }
    Handle::releaseFactor(handle.factors()[1]);
    EXPECT_EQ(handle.factors()[1].storage, nullptr);
    EXPECT_EQ(handle.factors()[1].size, 777777777);
    EXPECT_EQ(handle.releaseAnalysis(), 2);
    EXPECT_TRUE(handle.live());
    EXPECT_EQ(recorder.live(), 2U);
    handle.releaseAll();
    EXPECT_EQ(recorder.live(), 0U);
}

TEST_F(HandleTest, LayoutPutsArraysOneAfterAnother)
{
    EXPECT_FALSE(handle.create(1));
    BlockLayout layout(handle.control());
    layout.add<int>(Array::VertexAt, 3).add<std::int64_t>(Array::RowStarts, 2).add<int>(Array::Rows, 0);
    layout.add<int>(Array::Targets, 1);
    EXPECT_EQ(handle.control()[Array::VertexAt], 0);
    EXPECT_EQ(handle.control()[Array::RowStarts], 4);
    EXPECT_EQ(handle.control()[Array::Rows], 8);
    EXPECT_EQ(handle.control()[Array::Targets], 8);
    EXPECT_EQ(layout.bytes(), 40);
    EXPECT_FALSE(layout.allocate(handle, Slot::FactorStructure, BlockCode::FactorStructure));
    handle.array<std::int64_t>(Slot::FactorStructure, Array::RowStarts, 2)[1] = 5;
    EXPECT_EQ(handle.block<std::int64_t>(Slot::FactorStructure)[3], 5);
    handle.releaseAll();
}

TEST_F(HandleTest, LayoutBeyondItsOffsetsIsAnOverflow)
{
    EXPECT_FALSE(handle.create(1));
    BlockLayout layout(handle.control());
    layout.add<int>(Array::MapSource, 0x7fffffff).add<int>(Array::MapPlace, 0x7fffffff);
    const Failure failure = layout.allocate(handle, Slot::FactorStructure, BlockCode::FactorStructure);
    EXPECT_EQ(failure.error, Error::Overflow);
    EXPECT_EQ(failure.internal, -182);
    EXPECT_FALSE(handle.holds(Slot::FactorStructure));
    handle.releaseAll();
}

// Whole calls.

/// Requests to the system among the recorded calls.
int requests(SlotRecorder& recorder)
{
    const auto calls = recorder.calls();
    return static_cast<int>(
        std::ranges::count_if(calls, [](const std::string& call) { return call != "free"; }));
}

class FailingRuns : public ::testing::TestWithParam<int> {};

TEST_P(FailingRuns, ReportTheBlockAndAreReleasedFully)
{
    const int mtype = GetParam();
    SlotRecorder recorder;
    int wanted = 0;
    {
        EngineCall call(tridiagonal(120, mtype % 2 == 0), mtype);
        call.set(60, 1);
        call.set(13, 1);
        call.A.a.resize(1000, 1.);
        ASSERT_EQ(call.run(11), 0);
        wanted = requests(recorder);
    }
    EXPECT_EQ(recorder.live(), 0U);
    ASSERT_GT(wanted, 12);
    int failures = 0;
    for (int k = 0; k < wanted; ++k) {
        for (const bool once : {true, false}) {
            SCOPED_TRACE(k);
            EngineCall call(tridiagonal(120, mtype % 2 == 0), mtype);
            call.set(60, 1);
            call.set(13, 1);
            call.A.a.resize(1000, 1.);
            const auto ia = call.A.ia, ja = call.A.ja;
            once ? recorder.failOnly(k) : recorder.failFrom(k);
            const auto [error, text] = call.runPrinting(11, -1);
            recorder.failOnly(-1);
            EXPECT_TRUE(error == -2 || error == 0) << error;
            EXPECT_EQ(text.find("*** Error in PARDISO memory allocation: ") != std::string::npos, error == -2)
                << text;
            EXPECT_EQ(text.find("size to allocate: 0 bytes"), std::string::npos);
            EXPECT_EQ(call.A.ia, ia);
            EXPECT_EQ(call.A.ja, ja);
            failures += error == -2;
            if (error == -2) {
                EXPECT_EQ(call.run(22), -1);
            }
            call.release();
            EXPECT_EQ(recorder.live(), 0U);
        }
    }
    EXPECT_GT(failures, wanted);
}

TEST_P(FailingRuns, ServeAgainWhenMemoryIsBack)
{
    const int mtype = GetParam();
    SlotRecorder recorder;
    for (int k = 0; k < 30; ++k) {
        EngineCall call(tridiagonal(120, mtype % 2 == 0), mtype);
        call.A.a.resize(1000, 1.);
        recorder.failFrom(k);
        const int error = call.run(11);
        recorder.failOnly(-1);
        EXPECT_TRUE(error == -2 || error == 0) << error;
        EXPECT_EQ(call.run(11), 0);
        call.release();
        EXPECT_EQ(recorder.live(), 0U);
    }
}

INSTANTIATE_TEST_SUITE_P(Types, FailingRuns, ::testing::Values(11, 13, -2, 2, 6));

TEST(Handles, AreReleasedInEveryState)
{
    SlotRecorder recorder;
    using Steps = std::vector<int>;
    for (const Steps& steps : {Steps{}, Steps{0}, Steps{33}, Steps{11}, Steps{11, 11}, Steps{13},
                               Steps{11, 33}, Steps{11, 99}, Steps{11, 0}, Steps{22, 0, 11}}) {
        EngineCall call(tridiagonal(120));
        for (const int phase : steps) call.run(phase);
        call.release();
        EXPECT_EQ(recorder.live(), 0U) << ::testing::PrintToString(steps);
    }
}

TEST(Handles, AreIndependent)
{
    EngineCall first(tridiagonal(120)), second(tridiagonal(60, true), -2);
    EXPECT_EQ(first.run(11), 0);
    EXPECT_EQ(second.run(11), 0);
    first.release();
    EXPECT_TRUE(Handle(second.pt.data()).holds(Slot::FactorStructure));
    EXPECT_EQ(Handle(second.pt.data()).control()[Word::Order], 60);
}

TEST(Handles, TakeAnyNumberOfFactorsBelowOneForATableThatNobodyUses)
{
    for (const int maxfct : {0, -1, -2147483647 - 1}) {
        EngineCall call(tridiagonal(4));
        call.maxfct = maxfct;
        EXPECT_EQ(call.run(11), -1) << maxfct;
        EXPECT_EQ(call.run(0), -1) << maxfct;
    }
}

} // namespace
