#include "host/ChangeInbox.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <thread>

#include "tests/host/FakeTraffic.h"

using netinfo::ChangeInbox;
using netinfo::ChangeSubscription;
using nettest::FakeTraffic;

namespace {

bool Readable(const ChangeInbox& inbox)
{
    pollfd wait{inbox.Descriptor(), POLLIN, 0};
    return poll(&wait, 1, 0) == 1;
}

}  // namespace

TEST(ChangeInbox, NotesWhichTypesChangedAndWakesTheLoop)
{
    ChangeInbox inbox;
    EXPECT_FALSE(Readable(inbox));

    inbox.OnDataChanged(true, 1);
    inbox.OnDataChanged(false, 4);

    EXPECT_TRUE(Readable(inbox));
    EXPECT_EQ(inbox.Take(), 0b110U);
    EXPECT_FALSE(Readable(inbox));
    EXPECT_EQ(inbox.Take(), 0U);
}

TEST(ChangeInbox, TakesATypeThatItDoesNotKnowForNoChange)
{
    ChangeInbox inbox;
    inbox.OnDataChanged(true, 7);
    EXPECT_EQ(inbox.Take(), 0U);
}

TEST(ChangeInbox, LosesNothingBetweenThreads)
{
    ChangeInbox inbox;
    std::thread heartbeat([&] {
        for (int i = 0; i < 1000; ++i)
            inbox.OnDataChanged(true, i % 2);
        inbox.OnDataChanged(true, 4);
    });
    unsigned seen = 0;
    while (seen != 0b111U) {
        pollfd wait{inbox.Descriptor(), POLLIN, 0};
        ASSERT_EQ(poll(&wait, 1, 10'000), 1);
        seen |= inbox.Take();
    }
    heartbeat.join();
}

TEST(ChangeSubscription, HearsThroughListenerAndFunctionUntilItEnds)
{
    FakeTraffic traffic;
    ChangeInbox inbox;
    {
        const ChangeSubscription subscription(traffic, inbox);
        ASSERT_EQ(traffic.listeners.size(), 1U);
        ASSERT_EQ(traffic.callbacks.size(), 1U);

        traffic.listeners[0]->OnDataChanged(true, 0);
        EXPECT_EQ(inbox.Take(), 0b001U);

        NETINFO_CHANGE change{true, 1};
        EXPECT_EQ(traffic.callbacks[0](NETINFO_MESSAGE_CHANGE, &change), 1);
        EXPECT_EQ(inbox.Take(), 0b010U);
    }
    EXPECT_TRUE(traffic.listeners.empty());
    EXPECT_TRUE(traffic.callbacks.empty());
}

TEST(ChangeSubscription, IgnoresOtherMessages)
{
    FakeTraffic traffic;
    ChangeInbox inbox;
    const ChangeSubscription subscription(traffic, inbox);
    NETINFO_CHANGE change{true, 1};

    EXPECT_EQ(traffic.callbacks[0](8001, &change), 0);
    EXPECT_EQ(traffic.callbacks[0](NETINFO_MESSAGE_CHANGE, nullptr), 0);
    EXPECT_EQ(inbox.Take(), 0U);
}

TEST(ChangeSubscription, ToleratesALateCallAfterItsEnd)
{
    FakeTraffic traffic;
    ChangeInbox inbox;
    FakeTraffic::Callback late = nullptr;
    {
        const ChangeSubscription subscription(traffic, inbox);
        late = traffic.callbacks[0];
    }
    NETINFO_CHANGE change{true, 1};
    EXPECT_EQ(late(NETINFO_MESSAGE_CHANGE, &change), 0);
}

TEST(ChangeSubscription, SurvivesAServiceThatThrows)
{
    FakeTraffic traffic;
    traffic.throwsOnDeregister = true;
    ChangeInbox inbox;
    {
        const ChangeSubscription subscription(traffic, inbox);
    }
    NETINFO_CHANGE change{true, 1};
    EXPECT_EQ(traffic.callbacks[0](NETINFO_MESSAGE_CHANGE, &change), 0);
}
