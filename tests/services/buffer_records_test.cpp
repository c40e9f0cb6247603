#include "tests/services/slot_recorder.h"

#include <lintrix/services/buffer_records.h>
#include <lintrix/services/system_allocator.h>

#include <gmock/gmock.h>

#include <initializer_list>

using namespace Velmar::Lintrix;
using ::testing::ElementsAre;
using Velmar::Lintrix::detail::BufferRecord;
using Velmar::Lintrix::detail::BufferRecords;
using Velmar::Lintrix::testing::SlotRecorder;

namespace {

BufferRecord* claimWithBlock(BufferRecords& records, std::size_t total)
{
    BufferRecord* const record = records.claim(total);
    record->block = record->address = SystemAllocatorSlots().malloc(total);
    record->realSize = total;
    return record;
}

/// Records of these real sizes, in this order, all free.
void prepare(BufferRecords& records, std::initializer_list<std::size_t> sizes)
{
    std::vector<BufferRecord*> claimed;
    for (const std::size_t size : sizes) claimed.push_back(claimWithBlock(records, size));
    for (BufferRecord* record : claimed) record->inUse = false;
}

class Records : public ::testing::Test {
protected:
    void TearDown() override
    {
        for (BufferRecord* record : held) record->inUse = false;
        records.freeIdle();
        EXPECT_EQ(slots.live(), 0U);
    }

    BufferRecord* claim(std::size_t total)
    {
        BufferRecord* const record = records.claim(total);
        if (record != nullptr) held.push_back(record);
        return record;
    }

    SlotRecorder slots;
    BufferRecords records;
    std::vector<BufferRecord*> held;
};

TEST_F(Records, TakeAFreeOneOfExactlyTheSizeBeforeAnEarlierLargerOne)
{
    prepare(records, {300, 250, 200, 200});
    BufferRecord* const first = claim(200);
    EXPECT_EQ(first->realSize, 200U);
    EXPECT_TRUE(first->inUse);
    BufferRecord* const second = claim(200);
    EXPECT_EQ(second, first + 1);
}

TEST_F(Records, TakeTheFirstLargerOneAsItStands)
{
    prepare(records, {100, 300, 250});
    EXPECT_EQ(claim(200)->realSize, 300U);
    EXPECT_EQ(claim(200)->realSize, 250U);
}

TEST_F(Records, AddOneWhileThereAreFewerThanFiveThoughASmallerOneIsFree)
{
    prepare(records, {100, 100});
    for (int i = 0; i < 3; ++i) {
        BufferRecord* const added = claim(200);
        ASSERT_NE(added, nullptr);
        EXPECT_EQ(added->block, nullptr);
        EXPECT_EQ(added->realSize, 0U);
    }
    EXPECT_EQ(claim(200)->realSize, 100U); // the fifth was the last to be added
}

TEST_F(Records, OfferTheFirstSmallerOneForReplacementWhenFull)
{
    prepare(records, {100, 90, 80, 70, 60});
    claim(100); // in use: no longer a candidate
    EXPECT_EQ(claim(200)->realSize, 90U);
}

TEST_F(Records, AreExhaustedWhenAllFiveAreInUse)
{
    for (int i = 0; i < 5; ++i) EXPECT_NE(claim(10), nullptr);
    EXPECT_EQ(claim(10), nullptr);
}

TEST_F(Records, AreFoundByTheAddressHandedOut)
{
    prepare(records, {100, 200});
    BufferRecord* const record = claim(200);
    EXPECT_EQ(records.find(record->address), record);
    int elsewhere = 0;
    EXPECT_EQ(records.find(&elsewhere), nullptr);
}

TEST_F(Records, GiveIdleBlocksBackAndKeepThoseInUse)
{
    prepare(records, {100, 200, 300});
    BufferRecord* const kept = claim(200);
    slots.calls();
    EXPECT_EQ(records.freeIdle(), 1U);
    EXPECT_THAT(slots.calls(), ElementsAre("free", "free"));
    EXPECT_NE(kept->block, nullptr);
    // The count stays: the emptied records are taken again only as smaller ones of a full pool.
    BufferRecord* const fourth = claim(50);
    BufferRecord* const fifth = claim(50);
    EXPECT_EQ(fourth, kept + 2);
    EXPECT_EQ(fifth, kept + 3);
    EXPECT_EQ(claim(50), kept - 1);
    EXPECT_EQ(claim(50), kept + 1);
    EXPECT_EQ(claim(50), nullptr);
}

TEST_F(Records, StartAfreshWhenNoneIsInUse)
{
    BufferRecord* const first = claimWithBlock(records, 100);
    prepare(records, {200, 300});
    first->inUse = false;
    EXPECT_EQ(records.freeIdle(), 0U);
    EXPECT_EQ(claim(50), first);
    EXPECT_EQ(claim(50), first + 1);
}

} // namespace
