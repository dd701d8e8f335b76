#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "host/ConnectionManager.h"
#include "host/Container.h"
#include "host/DeviceManager.h"
#include "host/SleepDetector.h"

using netinfo::ConnectionManager;
using netinfo::Container;
using netinfo::DeviceManager;
using netinfo::SleepDetector;
using testing::ElementsAre;

namespace {

class FakeListener : public IDeviceMgrEvent
{
public:
    virtual ~FakeListener() = default;
    int OnDeviceMgrEvent(unsigned long nEvent, void* pData) override
    {
        heard.push_back(std::to_string(nEvent) + ":" + std::to_string(*static_cast<int*>(pData)));
        if (throws) throw std::runtime_error("scripted");
        return 1;
    }

    bool throws = false;
    std::vector<std::string> heard;
};

}  // namespace

TEST(Container, KnowsTheTwoSiblingsByTheirClassIdentifiers)
{
    ConnectionManager connections;
    DeviceManager devices;
    Container container(connections, devices);
    IConnectionManager* const asConnections = &connections;
    IDeviceManager* const asDevices = &devices;

    EXPECT_EQ(container.QueryPlugin(CONNECTION_MANAGER_CLSID, CONNECTION_MANAGER_FLAGS), asConnections);
    EXPECT_EQ(container.QueryPlugin(DEVICE_MANAGER_CLSID, DEVICE_MANAGER_FLAGS), asDevices);
    EXPECT_EQ(container.QueryPlugin("3F2A9C71-6D4B-4c8e-A1E5-7B90C2D4E613", 1), nullptr);
    EXPECT_EQ(container.QueryPlugin("", 1), nullptr);
    EXPECT_EQ(container.QueryPlugin(nullptr, 1), nullptr);
}

TEST(Container, MayHaveNoSiblings)
{
    Container container;

    EXPECT_EQ(container.QueryPlugin(CONNECTION_MANAGER_CLSID, CONNECTION_MANAGER_FLAGS), nullptr);
    EXPECT_EQ(container.QueryPlugin(DEVICE_MANAGER_CLSID, DEVICE_MANAGER_FLAGS), nullptr);
}

TEST(DeviceManager, TellsOfASleepAsHibernationAndWakeUp)
{
    DeviceManager manager;
    FakeListener listener;
    EXPECT_TRUE(manager.AddDeviceEventListener(&listener));
    EXPECT_FALSE(manager.AddDeviceEventListener(&listener));
    EXPECT_FALSE(manager.AddDeviceEventListener(nullptr));

    manager.ReportSleep();
    EXPECT_THAT(listener.heard, ElementsAre("6616:0", "6616:1"));

    EXPECT_TRUE(manager.RemoveDeviceEventListener(&listener));
    EXPECT_FALSE(manager.RemoveDeviceEventListener(&listener));
    manager.ReportSleep();
    EXPECT_EQ(listener.heard.size(), 2U);
}

TEST(DeviceManager, SurvivesAListenerThatThrows)
{
    DeviceManager manager;
    FakeListener first;
    FakeListener second;
    first.throws = true;
    manager.AddDeviceEventListener(&first);
    manager.AddDeviceEventListener(&second);

    manager.ReportSleep();

    EXPECT_EQ(second.heard.size(), 2U);
}

TEST(SleepDetector, HearsOfASleepOnce)
{
    constexpr long long SECOND = 1'000'000'000;
    SleepDetector detector;

    EXPECT_FALSE(detector.Slept(100 * SECOND, 40 * SECOND));  // slept before, that is past
    EXPECT_FALSE(detector.Slept(101 * SECOND, 41 * SECOND));
    EXPECT_FALSE(detector.Slept(102 * SECOND + 999'999'999, 42 * SECOND));  // the clocks were read apart
    EXPECT_TRUE(detector.Slept(3703 * SECOND + 999'999'999, 43 * SECOND));
    EXPECT_FALSE(detector.Slept(3704 * SECOND + 999'999'999, 44 * SECOND));
}

TEST(SleepDetector, HearsOfNoSleepWhileTheMachineRuns)
{
    SleepDetector detector;
    EXPECT_FALSE(detector.Slept());
    EXPECT_FALSE(detector.Slept());
}
