#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "plugin/HostInterfaces.h"
#include "plugin/Interfaces.h"
#include "tests/support/FakeHost.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestClock.h"
#include "tests/support/Text.h"

// The built module, loaded as a host loads it, with scripted counters and a clock that only moves when told.

namespace {

using nettest::FakePlatform;
using nettest::TestClock;

constexpr int DIAL_UP = 0;
constexpr int WIFI = 1;

constexpr long HALF_HOUR = 1800;
constexpr long DAY = 86400;
// Midnights of CET, as seconds since 1970.
constexpr long TUESDAY_30_DECEMBER_2025 = 1'767'049'200;
constexpr long THURSDAY_1_JANUARY_2026 = TUESDAY_30_DECEMBER_2025 + 2 * DAY;
constexpr long SUNDAY_4_JANUARY_2026 = TUESDAY_30_DECEMBER_2025 + 5 * DAY;
constexpr long MONDAY_5_JANUARY_2026 = TUESDAY_30_DECEMBER_2025 + 6 * DAY;
constexpr long SUNDAY_28_DECEMBER_2025 = TUESDAY_30_DECEMBER_2025 - 2 * DAY;
constexpr long NOON = DAY / 2;

/// What the callback function of the test has been told: (connected, type) and how often.
std::map<std::pair<bool, int>, int> g_changes;

unsigned char CountChange(unsigned int code, void* data)
{
    const auto* const change = static_cast<const NETINFO_CHANGE*>(data);
    if (code == NETINFO_MESSAGE_CHANGE) ++g_changes[{change->bConnected, change->nValue}];
    return 0;
}

std::string Attribute(const std::string& name, unsigned long long value)
{
    return " " + name + "=\"" + std::to_string(value) + "\"";
}

std::string Attribute(const std::string& name, const std::string& value)
{
    return " " + name + "=\"" + value + "\"";
}

std::string Element(const std::string& name, const std::string& attributes)
{
    return "<" + name + attributes + "/>\r\n";
}

std::string Transfer(const std::string& type, const std::string& periods)
{
    return "<transfer type=\"" + type + "\">\r\n" + periods + "</transfer>\r\n";
}

const std::string HEADER = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";

std::string Document(const std::string& transfers, const std::string& items)
{
    return HEADER + "<xml>\r\n" + transfers + "<total>\r\n" + items + "</total>\r\n</xml>\r\n";
}

/// The totals of a type that has never been connected, in a file begun at `start`.
std::string UntouchedTransfer(const std::string& type, long start)
{
    const std::string nothing = Attribute("uploaded", 0) + Attribute("downloaded", 0);
    return Transfer(
        type, Element("today", nothing + Attribute("todaytime", 0)) +
                  Element("since", Attribute("time", static_cast<unsigned long long>(start)) + nothing) +
                  Element("this_week", nothing + Attribute("weektime", 0)) +
                  Element("this_month", nothing + Attribute("monthtime", 0)) + Element("this_year", nothing));
}

std::string Item(const std::string& device, const std::string& apn, long start, long end,
                 unsigned long long sent, unsigned long long received)
{
    const auto moment = [](long value) { return static_cast<unsigned long long>(value); };
    return Element("item", Attribute("device", device) + Attribute("apn", apn) +
                               Attribute("starttime", moment(start)) + Attribute("endtime", moment(end)) +
                               Attribute("time", moment(end - start)) + Attribute("uploaded", sent) +
                               Attribute("downloaded", received) + Attribute("unitprice", 0) +
                               Attribute("fee", 0));
}

class DaysOfTraffic : public testing::Test
{
protected:
    void SetUp() override
    {
        TestClock::Reset(TUESDAY_30_DECEMBER_2025 + NOON - HALF_HOUR);
        FakePlatform::Reset();
        FakePlatform::SetUserDataDirectory(m_directory.Path() + "/");
        FakePlatform::SetModuleDirectory(m_directory.Path() + "/");
        Start();
    }

    void TearDown() override
    {
        if (m_plugin) Stop();
    }

    void Start()
    {
        m_module = dlopen(NETINFO_MODULE, RTLD_NOW | RTLD_LOCAL);
        ASSERT_TRUE(m_module) << dlerror();
        const auto create = reinterpret_cast<IBasePlugin* (*)()>(dlsym(m_module, "CreatePlugin"));
        ASSERT_TRUE(create);
        m_plugin = create();
        ASSERT_TRUE(m_plugin);
        m_plugin->SetPluginContainer(&m_container);
        ASSERT_TRUE(m_plugin->Init());

        IBaseInterface* service = nullptr;
        IBaseInterface* record = nullptr;
        ASSERT_TRUE(m_plugin->QueryInterface(NETINFO_INTERFACE_SERVICE, &service));
        ASSERT_TRUE(m_plugin->QueryInterface(NETINFO_INTERFACE_RECORD, &record));
        m_service = static_cast<INetInfoService*>(service);
        m_record = static_cast<INetInfoRecord*>(record);
        ASSERT_TRUE(m_service->RegisterCallbackFunc(&CountChange));
        ASSERT_TRUE(TestClock::Poll());
    }

    void Stop()
    {
        m_plugin->OnDestroy();
        const auto release = reinterpret_cast<void (*)()>(dlsym(m_module, "ReleasePlugin"));
        release();
        m_plugin = nullptr;
        dlclose(m_module);
    }

    void Report(const std::string& device, const std::string& profile, int type, int state)
    {
        m_connections.SetDevices({{.name = device, .type = type}});
        m_connections.Report({{.device = device, .profile = profile, .state = state}});
    }

    /// One heartbeat half an hour after the last.
    void BeatAfterHalfAnHour()
    {
        TestClock::AdvanceSeconds(HALF_HOUR);
        ASSERT_TRUE(TestClock::Poll());
    }

    std::string DataFile() const { return nettest::ReadFile(m_directory.File("NetInfo.dat")); }

    nettest::TempDir m_directory;
    nettest::FakeConnectionManager m_connections;
    nettest::FakeDeviceManager m_devices;
    nettest::FakeContainer m_container{&m_connections, &m_devices};
    void* m_module = nullptr;
    IBasePlugin* m_plugin = nullptr;
    INetInfoService* m_service = nullptr;
    INetInfoRecord* m_record = nullptr;
};

TEST_F(DaysOfTraffic, KeepsSixDaysOfTrafficInTheFileToTheByte)
{
    // Given a modem that has moved some bytes before it is connected on a Tuesday at noon.
    constexpr unsigned long long RECEIVED = 1'000'000;  // per half hour
    constexpr unsigned long long SENT = 10'000;
    constexpr unsigned long long BEATS = 6 * 48;  // after the one that opens the connection
    constexpr long START = TUESDAY_30_DECEMBER_2025 + NOON - HALF_HOUR;
    constexpr long CONNECTED = TUESDAY_30_DECEMBER_2025 + NOON;
    constexpr long LAST_BEAT = MONDAY_5_JANUARY_2026 + NOON;
    FakePlatform::SetDialups({{.handle = 7, .name = "Modem/1/", .received = 7'000, .sent = 300}});
    Report("Modem/1/", "internet", DIAL_UP, 1);

    // When it is online until the next Monday at noon, over New Year and over the start of a week.
    ASSERT_NO_FATAL_FAILURE(BeatAfterHalfAnHour());
    for (unsigned long long beat = 1; beat <= BEATS; ++beat) {
        FakePlatform::SetDialupCounters("Modem/1/", 7'000 + beat * RECEIVED, 300 + beat * SENT);
        ASSERT_NO_FATAL_FAILURE(BeatAfterHalfAnHour());
    }
    const std::string whileConnected = DataFile();
    Report("Modem/1/", "internet", DIAL_UP, 0);
    ASSERT_NO_FATAL_FAILURE(BeatAfterHalfAnHour());

    // Then nothing was written while the connection lived, and the end of it wrote every total.
    EXPECT_EQ(whileConnected, HEADER + "<xml>\r\n</xml>\r\n");

    constexpr unsigned long long MONDAY_BEATS = 25;  // 00:00, 00:30 ... 12:00
    constexpr unsigned long long WEEK_BEATS = MONDAY_BEATS + 48;
    constexpr unsigned long long YEAR_BEATS = MONDAY_BEATS + 4 * 48;
    const auto traffic = [](unsigned long long beats) {
        return Attribute("uploaded", beats * SENT) + Attribute("downloaded", beats * RECEIVED);
    };
    const auto seconds = [](unsigned long long beats) { return beats * HALF_HOUR; };
    const std::string dialUp =
        Transfer("Dial-up",
                 Element("today", traffic(MONDAY_BEATS) + Attribute("todaytime", seconds(MONDAY_BEATS)) +
                                      Attribute("time", MONDAY_5_JANUARY_2026) +
                                      Attribute("Lastcntime", seconds(BEATS))) +
                     Element("since", Attribute("time", START) + traffic(BEATS) +
                                          Attribute("sincetime", seconds(BEATS))) +
                     Element("this_week", traffic(WEEK_BEATS) + Attribute("weektime", seconds(WEEK_BEATS)) +
                                              Attribute("time", SUNDAY_4_JANUARY_2026)) +
                     Element("this_month", traffic(YEAR_BEATS) + Attribute("monthtime", seconds(YEAR_BEATS)) +
                                               Attribute("time", THURSDAY_1_JANUARY_2026)) +
                     Element("this_year", traffic(YEAR_BEATS) + Attribute("time", THURSDAY_1_JANUARY_2026) +
                                              Attribute("yeartime", seconds(YEAR_BEATS))));
    const std::string modemItem =
        Item("Modem/1/", "internet", CONNECTED, LAST_BEAT, BEATS * SENT, BEATS * RECEIVED);
    EXPECT_EQ(
        DataFile(),
        Document(dialUp + UntouchedTransfer("WiFi", START) + UntouchedTransfer("ADSL", START), modemItem));

    // And the host was told of every heartbeat of the connection and once of its end, for each type.
    EXPECT_THAT(g_changes, testing::ElementsAre(
                               testing::Pair(std::pair(false, 0), 1), testing::Pair(std::pair(false, 1), 1),
                               testing::Pair(std::pair(false, 4), 1),
                               testing::Pair(std::pair(true, DIAL_UP), static_cast<int>(BEATS) + 1)));
}

TEST_F(DaysOfTraffic, KeepsConnectedTimeInTheFirstTypeWhicheverTypeIsConnected)
{
    // Given a wireless link whose 32-bit counter is about to wrap.
    constexpr long START = TUESDAY_30_DECEMBER_2025 + NOON - HALF_HOUR;
    FakePlatform::SetRows({{.description = "/wlan0/1/", .received = 4'294'967'000U, .sent = 5'000}});
    Report("/wlan0/1/", "home", WIFI, 1);

    // When it moves 395 bytes over the wrap and then 1,000 more, and the host ends the plug-in.
    ASSERT_NO_FATAL_FAILURE(BeatAfterHalfAnHour());
    FakePlatform::SetRowCounters("/wlan0/1/", 100, 5'010);
    ASSERT_NO_FATAL_FAILURE(BeatAfterHalfAnHour());
    FakePlatform::SetRowCounters("/wlan0/1/", 1'100, 5'030);
    ASSERT_NO_FATAL_FAILURE(BeatAfterHalfAnHour());
    Stop();

    // Then the traffic is in the totals of WiFi, whose day, week, month and year markers never move, so
    // that each heartbeat begins them anew; the time is in the totals of the first type.
    constexpr unsigned long long CONNECTED = TUESDAY_30_DECEMBER_2025 + NOON;
    const std::string nothing = Attribute("uploaded", 0) + Attribute("downloaded", 0);
    const std::string dialUp = Transfer(
        "Dial-up",
        Element("today", nothing + Attribute("todaytime", 3600) + Attribute("time", CONNECTED) +
                             Attribute("Lastcntime", 3600)) +
            Element("since", Attribute("time", START) + nothing + Attribute("sincetime", 3600)) +
            Element("this_week",
                    nothing + Attribute("weektime", 3600) + Attribute("time", SUNDAY_28_DECEMBER_2025)) +
            Element("this_month", nothing + Attribute("monthtime", 3600) +
                                      Attribute("time", TUESDAY_30_DECEMBER_2025 - 29 * DAY)) +
            Element("this_year", nothing + Attribute("time", CONNECTED) + Attribute("yeartime", 3600)));
    const std::string last = Attribute("uploaded", 20) + Attribute("downloaded", 1'000);
    const std::string wifi = Transfer(
        "WiFi", Element("today", last + Attribute("todaytime", 0)) +
                    Element("since", Attribute("time", START) + Attribute("uploaded", 30) +
                                         Attribute("downloaded", 1'395)) +
                    Element("this_week", last + Attribute("weektime", 0)) +
                    Element("this_month", last + Attribute("monthtime", 0)) + Element("this_year", last));
    EXPECT_EQ(DataFile(), Document(dialUp + wifi + UntouchedTransfer("ADSL", START),
                                   Item("/wlan0/1/", "home", TUESDAY_30_DECEMBER_2025 + NOON,
                                        TUESDAY_30_DECEMBER_2025 + NOON + 2 * HALF_HOUR, 30, 1'395)));
}

TEST_F(DaysOfTraffic, GoesOnWithTheTotalsOfThePreviousRun)
{
    FakePlatform::SetRows({{.description = "/eth0/1/", .received = 1, .sent = 1}});
    Report("/eth0/1/", "office", 4, 1);
    ASSERT_NO_FATAL_FAILURE(BeatAfterHalfAnHour());
    FakePlatform::SetRowCounters("/eth0/1/", 501, 51);
    ASSERT_NO_FATAL_FAILURE(BeatAfterHalfAnHour());
    Stop();

    Start();
    FakePlatform::SetRowCounters("/eth0/1/", 90'000, 9'000);  // moved while nobody looked
    Report("/eth0/1/", "office", 4, 1);
    ASSERT_NO_FATAL_FAILURE(BeatAfterHalfAnHour());
    FakePlatform::SetRowCounters("/eth0/1/", 90'500, 9'050);
    ASSERT_NO_FATAL_FAILURE(BeatAfterHalfAnHour());

    nis::REPORT since;
    m_service->GetSinceReport(since, 4);
    EXPECT_EQ(since.ullDownloaded, 1'000U);
    EXPECT_EQ(since.ullUploaded, 100U);

    IConnRecord* const records = m_record->GetAllConnRecord();
    ASSERT_TRUE(records);
    EXPECT_EQ(records->GetAllRecordCount(), 2);
    EXPECT_STREQ(records->GetAPN(), "office");
    EXPECT_STREQ(records->GetDownloadData(), "500");
    records->Release();
}

TEST_F(DaysOfTraffic, CountsAnHourSecondBySecond)
{
    FakePlatform::SetRows({{.description = "/eth0/1/", .received = 1, .sent = 1}});
    Report("/eth0/1/", "office", 4, 1);
    ASSERT_TRUE(TestClock::Beat());

    constexpr unsigned int HOUR = 3600;
    for (unsigned int second = 1; second <= HOUR; ++second) {
        FakePlatform::SetRowCounters("/eth0/1/", 1 + second * 1'000, 1 + second * 10);
        ASSERT_TRUE(TestClock::Beat());
    }

    nis::SNAPSHOT total;
    m_service->GetSnapShot(total, 4);
    EXPECT_EQ(total.ullDL, HOUR * 1'000ULL);
    EXPECT_EQ(total.ullUL, HOUR * 10ULL);
    EXPECT_EQ(total.ulDLSpeed, 1'000U);
    EXPECT_EQ(total.ulMaxULSpeed, 10U);
    EXPECT_EQ(total.ulConnectTime, HOUR);
}

}  // namespace
