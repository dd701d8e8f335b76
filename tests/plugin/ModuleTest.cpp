#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <thread>

#include "plugin/HostInterfaces.h"
#include "tests/support/AllocationCount.h"
#include "tests/support/FakeHost.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/Soak.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestClock.h"
#include "tests/support/Text.h"

/// Of the address sanitizer: whether there is memory that nobody can reach any more. Elsewhere there is no
/// such function.
extern "C" __attribute__((weak)) int __lsan_do_recoverable_leak_check();

/// Takes the place of the C library's: tests do not wait for the disk.
extern "C" __attribute__((visibility("default"))) int fsync(int) { return 0; }

// The module as a container loads it. This program links none of its rooms; the platform functions that it
// defines take the place of the platform libraries'.

namespace {

using nettest::FakePlatform;
using nettest::ReadFile;
using nettest::TestClock;

constexpr int WIFI = 1;
constexpr std::time_t START = 1'700'000'000;

struct Module : testing::Test
{
    Module()
    {
        TestClock::Reset(START);
        FakePlatform::Reset();
        FakePlatform::SetUserDataDirectory(directory.Path() + "/");
        connections.SetDevices({{.name = "wlan0", .type = WIFI}});
        FakePlatform::SetRows({{.description = "wlan0", .received = 1000, .sent = 500}});
        handle = dlopen(NETINFO_MODULE, RTLD_NOW | RTLD_LOCAL);
        if (!handle) ADD_FAILURE() << dlerror();
    }
    ~Module() override
    {
        if (handle) dlclose(handle);
    }

    template <class FUNCTION>
    FUNCTION* Find(const char* name)
    {
        void* const symbol = dlsym(handle, name);
        EXPECT_TRUE(symbol) << name;
        return reinterpret_cast<FUNCTION*>(symbol);
    }
    IBasePlugin* Create() { return Find<IBasePlugin*()>("CreatePlugin")(); }
    void ReleaseIt() { Find<void()>("ReleasePlugin")(); }

    /// Closes the module; true if it has left the process with that.
    bool Close()
    {
        dlclose(handle);
        handle = dlopen(NETINFO_MODULE, RTLD_LAZY | RTLD_NOLOAD);
        return !handle;
    }
    IBasePlugin* CreateConnected() { return CreateConnected(container); }
    IBasePlugin* CreateConnected(IPluginContainer& host)
    {
        IBasePlugin* const plugin = Create();
        plugin->SetPluginContainer(&host);
        plugin->Init();
        connections.Report({{.device = "wlan0", .profile = "profile", .state = 1}});
        EXPECT_TRUE(TestClock::Poll());
        EXPECT_TRUE(TestClock::Beat());
        return plugin;
    }

    nettest::TempDir directory;
    nettest::FakeConnectionManager connections;
    nettest::FakeDeviceManager deviceManager;
    nettest::FakeContainer container{&connections, &deviceManager};
    void* handle = nullptr;
};

TEST_F(Module, IsNamedWithoutAPrefix)
{
    EXPECT_EQ(std::filesystem::path(NETINFO_MODULE).filename(), "NetInfoSrvPlugin.so");
}

TEST_F(Module, CountsFromLoadingToUnloading)
{
    IBasePlugin* const plugin = CreateConnected();
    EXPECT_EQ(plugin->GetVersion(), 0x101);
    IBaseInterface* face = nullptr;
    ASSERT_TRUE(plugin->QueryInterface(NETINFO_INTERFACE_SERVICE, &face));
    FakePlatform::SetRowCounters("wlan0", 1100, 510);
    ASSERT_TRUE(TestClock::Beat());

    nis::SNAPSHOT snapshot;
    static_cast<INetInfoService*>(face)->GetSnapShot(snapshot, WIFI);
    EXPECT_EQ(snapshot.ullDL, 100U);
    EXPECT_EQ(snapshot.clkTime, START + 2);
    ASSERT_TRUE(plugin->QueryInterface(NETINFO_INTERFACE_RECORD, &face));
    IConnRecord* const records = static_cast<INetInfoRecord*>(face)->GetAllConnRecord();
    ASSERT_TRUE(records);
    EXPECT_STREQ(records->GetAPN(), "profile");
    EXPECT_STREQ(records->GetDownloadData(), "100");
    records->Release();

    plugin->OnDestroy();
    ReleaseIt();
    EXPECT_NE(ReadFile(directory.File("NetInfo.dat")).find("downloaded=\"100\""), std::string::npos);
    EXPECT_EQ(connections.Listeners(), 0U);
    EXPECT_TRUE(Close());
}

TEST_F(Module, TakesThePlatformFromTheProgram)
{
    IBasePlugin* const plugin = CreateConnected();

    EXPECT_GT(FakePlatform::IfTableReads(), 0);
    EXPECT_EQ(FakePlatform::TraceCount("CHeartBeat::Thread() started"), 1);
    EXPECT_TRUE(std::filesystem::exists(directory.File("NetInfo.dat")));  // in the program's directory

    plugin->OnDestroy();
    ReleaseIt();
    EXPECT_EQ(FakePlatform::TraceCount("CHeartBeat::Thread() stopped"), 1);
    EXPECT_EQ(FakePlatform::Unreleased(), 0);
}

TEST_F(Module, CanBeLoadedAgain)
{
    for (int time = 0; time < 3; ++time) {
        IBasePlugin* const plugin = CreateConnected();
        plugin->OnDestroy();
        ReleaseIt();
        EXPECT_TRUE(Close());
        handle = dlopen(NETINFO_MODULE, RTLD_NOW | RTLD_LOCAL);
        ASSERT_TRUE(handle);
    }
}

// What the process holds beside memory, all of which has to be what it was before the module was loaded.
struct Holdings
{
    std::size_t mappings = 0;
    std::size_t threads = 0;
    std::size_t files = 0;

    static Holdings Now()
    {
        const auto count = [](const char* folder) {
            return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder),
                                                          std::filesystem::directory_iterator()));
        };
        [[maybe_unused]] const std::string maps = ReadFile("/proc/self/maps");
        Holdings now;
        now.threads = count("/proc/self/task");
        now.files = count("/proc/self/fd");
#ifndef NETINFO_SANITIZED  // which map memory for themselves
        now.mappings = static_cast<std::size_t>(std::count(maps.begin(), maps.end(), '\n'));
#endif
        return now;
    }
};

TEST_F(Module, DoesNotGrowOverAThousandLives)
{
    const int lives = nettest::IsSoak() ? 10'000 : 1'000;
    constexpr int WARM = 100;
    std::optional<Holdings> before;
    std::optional<nettest::AllocationCount> memory;
    for (int life = 0; life < lives; ++life) {
        if (life == WARM) {
            before = Holdings::Now();
            memory.emplace();
        }
        nettest::FakeContainer host(&connections, &deviceManager);  // notes what it was asked for
        IBasePlugin* const plugin = CreateConnected(host);
        IBaseInterface* traffic = nullptr;
        IBaseInterface* records = nullptr;
        ASSERT_TRUE(plugin->QueryInterface(NETINFO_INTERFACE_SERVICE, &traffic));
        ASSERT_TRUE(plugin->QueryInterface(NETINFO_INTERFACE_RECORD, &records));
        nis::SNAPSHOT snapshot;
        static_cast<INetInfoService*>(traffic)->GetSnapShot(snapshot, WIFI);
        IConnRecord* const set = static_cast<INetInfoRecord*>(records)->GetAllConnRecord();
        ASSERT_TRUE(set);
        set->Release();
        switch (life % 4) {  // the host may end the services or leave them to the teardown
            case 1:
                traffic->Release();
                records->Release();
                break;
            case 2:
                records->Release();
                traffic->Release();
                break;
            case 3:
                plugin->Init();
                break;
            default:
                break;
        }
        plugin->OnDestroy();
        ReleaseIt();
        ASSERT_TRUE(Close());
        handle = dlopen(NETINFO_MODULE, RTLD_NOW | RTLD_LOCAL);
        ASSERT_TRUE(handle);

        std::filesystem::remove(directory.File("NetInfo.dat"));
        FakePlatform::ClearTraces();
    }
    const long long held = memory->Held();
    const Holdings after = Holdings::Now();

    std::printf("after %d of %d lives: %lld bytes more\n", lives - WARM, lives, held);
    constexpr int SCOPES = 50 * 32;  // bytes; the dynamic linker frees what it has done with some lives later
    EXPECT_LE(held, SCOPES);
    EXPECT_GT(memory->Made(), 0U) << "and something was counted";
    EXPECT_LE(after.mappings, before->mappings + 2);
    EXPECT_EQ(after.threads, before->threads);
    EXPECT_EQ(after.files, before->files);
    if (__lsan_do_recoverable_leak_check) {
        EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
    }
}

// A host that ends in a hurry, by `exit` or by closing the module right away.

TEST_F(Module, EndsItsHeartBeatBeforeTheProcessThatForgotIt)
{
    const auto endInAHurry = [this] {
        std::atexit([] { std::_Exit(FakePlatform::TraceCount("CHeartBeat::Thread() stopped")); });
        CreateConnected();
        std::exit(99);
    };
    EXPECT_EXIT(endInAHurry(), testing::ExitedWithCode(1), "");
}

TEST_F(Module, EndsItsHeartBeatBeforeItIsUnloadedUnderIt)
{
    const auto closeInAHurry = [this] {
        CreateConnected();
        const bool unloaded = Close();
        const int ended = FakePlatform::TraceCount("CHeartBeat::Thread() stopped");
        std::_Exit(unloaded && ended == 1 ? 0 : 1);
    };
    EXPECT_EXIT(closeInAHurry(), testing::ExitedWithCode(0), "");
}

TEST_F(Module, LetsAListenerEndTheProcess)
{
    struct Quitter final : INetInfoEvent
    {
        void OnDataChanged(bool, int) override { std::exit(99); }
    };
    const auto endFromInside = [this] {
        std::atexit([] { std::_Exit(7); });
        Quitter quitter;
        IBaseInterface* face = nullptr;
        CreateConnected()->QueryInterface(NETINFO_INTERFACE_SERVICE, &face);
        static_cast<INetInfoService*>(face)->RegisterCallbackEvent(&quitter);
        TestClock::Beat();
    };
    EXPECT_EXIT(endFromInside(), testing::ExitedWithCode(7), "");
}

TEST_F(Module, DoesNotWaitForItsHeartBeatInAForkedChild)
{
    static bool s_inChild = false;
    std::atexit([] {
        if (s_inChild) std::_Exit(TestClock::Now() == START + 1 ? 0 : 1);
    });
    IBasePlugin* const plugin = CreateConnected();
    TestClock::WaitingTakesTime(true);
    const auto endTheChild = [] {
        s_inChild = true;
        std::exit(99);
    };

    EXPECT_EXIT(endTheChild(), testing::ExitedWithCode(0), "");

    plugin->OnDestroy();
    ReleaseIt();
}

TEST_F(Module, ShowsItsIdentityAndTheNamesOfItsDataFile)
{
    EXPECT_STREQ(*Find<const char* const>("MYCLSID"), "3F2A9C71-6D4B-4c8e-A1E5-7B90C2D4E613");
    EXPECT_STREQ(*Find<const char* const>("PLUGIN_NAME"), "NetInfoSrvPlugin");
    EXPECT_STREQ(*Find<const char* const>("LABEL_MAIN"), "xml");
    EXPECT_STREQ(*Find<const char* const>("ATTRIB_CONNECTEDTIME"), "Lastcntime");
}

TEST_F(Module, LendsItsTypedValues)
{
    auto* const convert = Find<unsigned long long(unsigned long long*, const unsigned char*, unsigned int)>(
        "_Z14dsatutil_atollPyPKhj");
    ASSERT_TRUE(convert);
    unsigned long long value = 0;
    const unsigned char text[] = "1g";
    EXPECT_EQ(convert(&value, text, 16), 1U);
    EXPECT_TRUE(dlsym(handle, "_ZTV7NUMERIC"));
    EXPECT_TRUE(dlsym(handle, "_ZTI5RANGE"));
}

TEST_F(Module, HidesEverythingElse)
{
    for (const char* const name :
         {"_ZN10CStatisticD1Ev", "_ZN14CNetInfoPluginC1Ev", "_Z8getclockv", "_Z9PinModulev"})
        EXPECT_FALSE(dlsym(handle, name)) << name;
}

// The last two, because the module stays.

TEST_F(Module, StaysLoadedUnderAHeartBeatThatHangs)
{
    IBasePlugin* const plugin = CreateConnected();
    TestClock::HoldThread(true);
    TestClock::WaitingTakesTime(true);
    plugin->OnDestroy();
    ReleaseIt();
    EXPECT_EQ(TestClock::Now(), START + 1 + 5);

    EXPECT_FALSE(Close());

    EXPECT_EQ(FakePlatform::TraceCount("CHeartBeat::Thread() stopped"), 0);
    TestClock::RunFree(true);  // it comes back through code that is still there
    while (FakePlatform::TraceCount("CHeartBeat::Thread() stopped") == 0)
        std::this_thread::yield();
    TestClock::RunFree(false);
}

TEST_F(Module, StaysLoadedUnderAnEngineThatWasNotDestroyed)
{
    CreateConnected();
    ReleaseIt();

    EXPECT_FALSE(Close());

    const int reads = FakePlatform::IfTableReads();
    ASSERT_TRUE(TestClock::Beat());  // the heartbeat runs on in its code
    EXPECT_GT(FakePlatform::IfTableReads(), reads);
}

}  // namespace
