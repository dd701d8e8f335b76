#include "host/Checkpoint.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "host/Settings.h"
#include "tests/support/TempDir.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A record service that notes how it is used.
struct Records final : INetInfoRecord
{
    std::vector<std::string> calls;

    void Release() override {}
    int GetLastError() override { return 0; }
    IConnRecord* GetAllConnRecord() override { return nullptr; }
    IConnRecord* GetLastConnRecord() override { return nullptr; }
    bool BeginRemoveRecord() override
    {
        calls.emplace_back("begin");
        return true;
    }
    bool RemoveRecord(int nIndex) override
    {
        calls.push_back("remove " + std::to_string(nIndex));
        return true;
    }
    bool EndRemoveRecord() override
    {
        calls.emplace_back("end");
        return true;
    }
};

struct CheckpointTest : testing::Test
{
    void SetUp() override { setenv("NETINFO_CONFIG_DIR", config.Path().c_str(), 1); }

    static void Every(const std::string& seconds)
    {
        ASSERT_TRUE(netinfo::WriteSetting("checkpoint", seconds));
    }
    /// A second passes; whether there was a checkpoint.
    bool Tick()
    {
        now += 1'000'000'000;
        records.calls.clear();
        checkpoint.OnTick();
        return !records.calls.empty();
    }
    int TicksToCheckpoint(int most)
    {
        for (int ticks = 1; ticks <= most; ++ticks)
            if (Tick()) return ticks;
        return 0;
    }

    nettest::TempDir config;
    long long now = 5'000'000'000;
    Records records;
    netinfo::Checkpoint checkpoint{records, [this] { return now; }};
};

}  // namespace

TEST_F(CheckpointTest, WritesThroughARemovalThatNamesNoRecord)
{
    Every("1");
    checkpoint.OnChange();

    EXPECT_TRUE(Tick());
    EXPECT_THAT(records.calls, ElementsAre("begin", "remove -1", "end"));
}

TEST_F(CheckpointTest, NeverComesLaterThanTheIntervalAfterAChange)
{
    checkpoint.OnChange();
    EXPECT_EQ(TicksToCheckpoint(1000), 300);  // nothing is stored

    for (const int seconds : {1, 2, 60, 3600}) {
        Every(std::to_string(seconds));
        checkpoint.OnChange();
        EXPECT_EQ(TicksToCheckpoint(4000), seconds);
    }

    Every("60");
    checkpoint.OnChange();
    now += 500'000'000;  // the ticks fall between: a whole interval is one tick too late
    EXPECT_EQ(TicksToCheckpoint(100), 59);
}

TEST_F(CheckpointTest, CountsFromTheFirstChangeThatIsNotWritten)
{
    Every("10");
    for (int tick = 1; tick <= 35; ++tick) {
        checkpoint.OnChange();
        EXPECT_EQ(Tick(), tick % 10 == 0) << tick;
    }
}

TEST_F(CheckpointTest, LeavesTheDiskAloneWithoutAChange)
{
    Every("1");
    EXPECT_EQ(TicksToCheckpoint(100), 0);

    checkpoint.OnChange();
    EXPECT_TRUE(Tick());
    EXPECT_EQ(TicksToCheckpoint(100), 0);
}

TEST_F(CheckpointTest, WritesNothingFromInsideANotification)
{
    Every("1");
    now += 3'600'000'000'000;
    checkpoint.OnChange();
    checkpoint.OnChange();
    EXPECT_THAT(records.calls, IsEmpty());
}

TEST_F(CheckpointTest, CanBeSwitchedOffAndOn)
{
    Every("0");
    checkpoint.OnChange();
    EXPECT_EQ(TicksToCheckpoint(1000), 0);

    Every("5");
    EXPECT_EQ(TicksToCheckpoint(10), 1);  // what has waited longer is written at once
}

TEST_F(CheckpointTest, FollowsTheSettingWhileItWaits)
{
    Every("1000");
    checkpoint.OnChange();
    EXPECT_EQ(TicksToCheckpoint(10), 0);

    Every("15");
    EXPECT_EQ(TicksToCheckpoint(10), 5);
}
