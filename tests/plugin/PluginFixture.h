#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "plugin/Interfaces.h"
#include "tests/support/FakeHost.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestClock.h"

inline constexpr int DIALUP = 0;
inline constexpr int WIFI = 1;
inline constexpr int ADSL = 4;

/// A host: it makes the plug-in through the entry points, and scripts its devices and counters. Each device
/// has one row of the interface table, described by its name. What a test has not torn down is torn down at
/// its end.
struct PluginFixture : testing::Test
{
    static constexpr std::time_t START = 1'700'000'000;

    PluginFixture()
    {
        nettest::TestClock::Reset(START);
        nettest::FakePlatform::Reset();
        nettest::FakePlatform::SetUserDataDirectory(directory.Path() + "/");
    }
    ~PluginFixture() override
    {
        if (plugin) TearDownPlugin();
    }

    /// Created, with a container, not initialised.
    void Create()
    {
        plugin = CreatePlugin();
        plugin->SetPluginContainer(&container);
    }
    void CreateAndInit()
    {
        Create();
        plugin->Init();
    }
    void TearDownPlugin()
    {
        plugin->OnDestroy();
        ReleasePlugin();
        plugin = nullptr;
    }

    template <class SERVICE>
    SERVICE* Query(int number)
    {
        IBaseInterface* face = nullptr;
        EXPECT_TRUE(plugin->QueryInterface(number, &face));
        return static_cast<SERVICE*>(face);
    }
    INetInfoService* Service() { return Query<INetInfoService>(NETINFO_INTERFACE_SERVICE); }
    INetInfoRecord* RecordService() { return Query<INetInfoRecord>(NETINFO_INTERFACE_RECORD); }

    /// The device `name` connects; its counters (bytes) are in its row.
    void Connect(const std::string& name, int type, unsigned int received, unsigned int sent)
    {
        known.push_back({.name = name, .type = type});
        connections.SetDevices(known);
        rows.push_back({.description = name, .received = received, .sent = sent});
        nettest::FakePlatform::SetRows(rows);
        connections.Report({{.device = name, .profile = "profile", .state = 1}});
    }
    void Disconnect(const std::string& name) { connections.Report({{.device = name, .state = 0}}); }

    nettest::TempDir directory;
    nettest::FakeConnectionManager connections;
    nettest::FakeDeviceManager deviceManager;
    nettest::FakeContainer container{&connections, &deviceManager};
    std::vector<nettest::FakeDevice> known;
    std::vector<nettest::FakeRow> rows;
    IBasePlugin* plugin = nullptr;
};
