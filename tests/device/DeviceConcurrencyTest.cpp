#include <atomic>
#include <functional>
#include <thread>

#include "tests/device/DeviceFixture.h"

namespace nettest {
namespace {

/// Runs `action` again and again on a thread of its own until the end of its life.
class Repeating
{
public:
    explicit Repeating(std::function<void()> action)
        : m_thread([this, action = std::move(action)] {
              while (!m_stop)
                  action();
          })
    {}
    ~Repeating()
    {
        m_stop = true;
        m_thread.join();
    }
    Repeating(const Repeating&) = delete;
    Repeating& operator=(const Repeating&) = delete;

private:
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

class DeviceConcurrency : public DeviceFixture
{
protected:
    DeviceConcurrency()
    {
        m_manager.SetDevices(WithWlan());
        FakePlatform::SetRows({{"modem adapter", 1, 2, ""}, {"any", 10, 20, "0A1B2C3D4E5F"}});
        FakePlatform::SetDialups({{1, "modem", 100, 200}});
    }

    static std::vector<FakeDevice> WithWlan() { return {{"modem", DIALUP}, {"wlan", WIFI, "0A1B2C3D4E5F"}}; }

    /// Everything that can happen to the device list, once.
    void HappenOnce()
    {
        m_manager.Report({{"modem", "Home", 1}, {"wlan", "Cafe", 1}});
        m_deviceManager.Fire(EVENT_DEVICE_REJECT, nullptr);
        m_manager.Report({{"modem", "Home", 1}});
        m_manager.Report({{"modem", "", 0}, {"nobody", "", 1}});
        m_manager.SetDevices({{"modem", DIALUP}});
        m_manager.Report({{"modem", "Home", 1}});
        m_manager.SetDevices(WithWlan());
        m_deviceManager.FirePower(0);
        m_deviceManager.FirePower(1);
        FakePlatform::ClearTraces();
    }

    /// A snapshot may see the list change between two links, but each link counts whole or not at all.
    static void ExpectWholeLinks(CDeviceMgr& tracker)
    {
        std::vector<nis::SNAPSHOT> out;
        tracker.GetSnapShot(out);
        EXPECT_LE(out.size(), 2U);
        for (const nis::SNAPSHOT& snapshot : out) {
            if (snapshot.nDevice == WIFI) {
                EXPECT_EQ(snapshot.ullDL, 10U);
            } else {
                EXPECT_EQ(snapshot.nDevice, DIALUP);
                EXPECT_TRUE(snapshot.ullDL == 1 || snapshot.ullDL == 100 || snapshot.ullDL == 101)
                    << snapshot.ullDL;
            }
            EXPECT_EQ(snapshot.ullUL, 2 * snapshot.ullDL);
        }
    }
};

TEST_F(DeviceConcurrency, SnapshotsAtFullPaceMeetEveryEvent)
{
    Tracker();
    {
        const Repeating snapshots([this] { ExpectWholeLinks(Tracker()); });
        const Repeating queries([this] {
            Tracker().HaveConnected();
            const std::string profile = ProfileOf("");
            EXPECT_TRUE(profile.empty() || profile == "Home" || profile == "Cafe") << profile;
        });
        for (int i = 0; i < 1'000; ++i)
            HappenOnce();
    }
    EXPECT_FALSE(Tracker().HaveConnected()) << "hibernation came last";
    EXPECT_EQ(FakePlatform::Unreleased(), 0);
    EXPECT_EQ(m_manager.UnreleasedEnumerators(), 0);
}

TEST_F(DeviceConcurrency, EventsKeepComingWhileTrackersComeAndGo)
{
    const Repeating events([this] { HappenOnce(); });
    for (int i = 0; i < 300; ++i) {
        CDeviceMgr tracker;
        ExpectWholeLinks(tracker);
    }
    EXPECT_EQ(m_manager.Listeners(), 0U);
    EXPECT_EQ(m_deviceManager.Listeners(), 0U);
}

}  // namespace
}  // namespace nettest
