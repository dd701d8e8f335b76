#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "device/DeviceMgr.h"
#include "sampling/Statistic.h"
#include "tests/support/ContainerInstalled.h"
#include "tests/support/FakeHost.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestClock.h"
#include "tests/support/Text.h"

inline constexpr int DIALUP = 0;
inline constexpr int WIFI = 1;
inline constexpr int ADSL = 4;

/// A listener's calls, in order: (connected, type).
using Heard = std::vector<std::pair<bool, int>>;

/// Writes down what it hears, and does with each call what the test says.
struct Listener final : INetInfoEvent
{
    Listener() = default;
    explicit Listener(std::function<void(bool, int)> action) : onChange(std::move(action)) {}

    void OnDataChanged(bool bConnected, int nValue) override
    {
        heard.emplace_back(bConnected, nValue);
        if (onChange) onChange(bConnected, nValue);
    }

    Heard heard;
    std::function<void(bool, int)> onChange;
};

/// A statistic engine over a real device tracker and a real store, with scripted devices and counters. Each
/// device has one row of the interface table, described by its name.
///
/// The engine's own heartbeat thread stands in its first poll; a test beats on its own thread with `Beat`, or
/// lets the heartbeat thread do it with `TestClock::Beat`.
struct EngineFixture : testing::Test
{
    static constexpr std::time_t START = 1'700'000'000;

    EngineFixture()
    {
        nettest::TestClock::Reset(START);
        nettest::FakePlatform::Reset();
        nettest::FakePlatform::SetUserDataDirectory(directory.Path() + "/");
        Start();
    }

    void Start()
    {
        device = std::make_unique<CDeviceMgr>();
        engine = std::make_unique<CStatistic>(device.get());
        EXPECT_TRUE(nettest::TestClock::AwaitPoll());
    }
    void Stop()
    {
        engine.reset();
        device.reset();
    }

    /// The device `name` connects; its counters (bytes) are in its row.
    void Connect(const std::string& name, int type, unsigned int received, unsigned int sent,
                 const std::string& profile = "profile")
    {
        known.push_back({.name = name, .type = type});
        connections.SetDevices(known);
        rows.push_back({.description = name, .received = received, .sent = sent});
        nettest::FakePlatform::SetRows(rows);
        Report(name, profile, 1);
    }
    void Disconnect(const std::string& name) { Report(name, "", 0); }
    void Report(const std::string& name, const std::string& profile, int state)
    {
        connections.Report({{.device = name, .profile = profile, .state = state}});
    }
    static void Count(const std::string& name, unsigned int received, unsigned int sent)
    {
        ASSERT_TRUE(nettest::FakePlatform::SetRowCounters(name, received, sent));
    }

    /// A heartbeat on the test's own thread, `seconds` after the last.
    void Beat(int seconds = 1)
    {
        nettest::TestClock::AdvanceSeconds(seconds);
        engine->OnHeartBeat();
    }

    /// The increments that a heartbeat would take now.
    std::vector<nis::SNAPSHOT> Increments()
    {
        std::vector<nis::SNAPSHOT> increments;
        engine->GetIncrement(increments);
        return increments;
    }
    nis::SNAPSHOT TheIncrement()
    {
        const auto increments = Increments();
        EXPECT_EQ(increments.size(), 1U);
        return increments.empty() ? nis::SNAPSHOT{} : increments.front();
    }

    nis::SNAPSHOT Total(int type)
    {
        nis::SNAPSHOT total;
        engine->GetSnapShot(total, type);
        return total;
    }
    nis::REPORT Since(int type)
    {
        nis::REPORT report;
        engine->GetSinceReport(report, type);
        return report;
    }
    int Records()
    {
        IConnRecord* const records = engine->GetAllConnRecord();
        if (!records) return 0;
        const int count = records->GetAllRecordCount();
        records->Release();
        return count;
    }
    std::string DataFile() const { return directory.File("NetInfo.dat"); }

    nettest::TempDir directory;
    nettest::FakeConnectionManager connections;
    nettest::FakeDeviceManager deviceManager;
    nettest::FakeContainer container{&connections, &deviceManager};
    nettest::ContainerInstalled installed{container};
    std::vector<nettest::FakeDevice> known;
    std::vector<nettest::FakeRow> rows;
    std::unique_ptr<CDeviceMgr> device;
    std::unique_ptr<CStatistic> engine;
};
