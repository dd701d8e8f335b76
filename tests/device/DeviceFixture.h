#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "device/DeviceMgr.h"
#include "tests/support/ContainerInstalled.h"
#include "tests/support/FakeHost.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace nettest {

inline constexpr int DIALUP = 0;
inline constexpr int WIFI = 1;
inline constexpr int ADSL = 4;

/// The tracker, with the one thing that outlives it within reach.
class TrackerUnderTest final : public CDeviceMgr
{
public:
    /// The next connection event counts as the first of the process again.
    static void ForgetEvents() { s_bFirstEvent = true; }
};

/// A scripted host and platform, and a tracker that is made when a test first asks for it.
class DeviceFixture : public ::testing::Test
{
protected:
    DeviceFixture()
    {
        FakePlatform::Reset();
        FakePlatform::SetModuleDirectory(m_modules.Path() + "/");
        TrackerUnderTest::ForgetEvents();
    }

    TrackerUnderTest& Tracker()
    {
        if (!m_tracker) m_tracker.emplace();
        return *m_tracker;
    }

    void WriteSettings(const std::string& content) { WriteFile(m_modules.File("SysSetting.xml"), content); }
    void WriteKeywords(const std::vector<std::string>& keywords)
    {
        std::string items;
        for (const std::string& keyword : keywords)
            items += "<item name=\"" + keyword + "\"/>";
        WriteSettings("<nimbdoc><FluxconflictSoft>" + items + "</FluxconflictSoft></nimbdoc>");
    }

    /// The connection manager lists the devices and reports all of them connected, each with the profile
    /// "of " and its name.
    void Connect(const std::vector<FakeDevice>& devices)
    {
        Tracker();
        m_manager.SetDevices(devices);
        std::vector<FakeConnection> entries;
        entries.reserve(devices.size());
        for (const FakeDevice& device : devices)
            entries.push_back({device.name, "of " + device.name.value_or(""), 1});
        m_manager.Report(entries);
    }
    void Disconnect(const std::string& name) { m_manager.Report({{name, "", 0}}); }

    bool IsCounted(const std::string& name)
    {
        int type = -1;
        U16String device;
        return Tracker().IsSelected(U16(name), type, device);
    }
    std::string ProfileOf(const std::string& name) { return Narrow(Tracker().GetProfileName(U16(name))); }

    TempDir m_modules;
    FakeConnectionManager m_manager;
    FakeDeviceManager m_deviceManager;
    FakeContainer m_container{&m_manager, &m_deviceManager};
    std::optional<ContainerInstalled> m_installed{m_container};
    std::optional<TrackerUnderTest> m_tracker;  ///< last: it leaves the host before the host goes
};

}  // namespace nettest
