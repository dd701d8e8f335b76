#include "host/UsageRecorder.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "host/Limit.h"
#include "tests/host/FakeTraffic.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace {

using namespace netinfo;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr long long kNow = 1'714'557'600;  // 2024-05-01 10:00 UTC
constexpr long long kSecond = 1'000'000'000;
constexpr int kAdsl = 4;

HandedCounters g_handed;
int g_restless = 0;  ///< so many readings each find another hand-out

}  // namespace

/// In the place of the platform's.
netinfo::HandedCounters netinfo::ReadHandedCounters()
{
    if (g_restless > 0) {
        --g_restless;
        ++g_handed.number;
    }
    return g_handed;
}

namespace {

class UsageRecorderTest : public testing::Test
{
protected:
    void SetUp() override
    {
        setenv("NETINFO_CONFIG_DIR", m_directory.Path().c_str(), 1);
        setenv("NETINFO_MODULE_DIR", m_directory.Path().c_str(), 1);
        setenv("NETINFO_TRACE_FILE", m_directory.File("trace").c_str(), 1);
        HandedLink link{};
        link.index = 2;
        link.linkName = "eth0";
        link.deviceName = "/eth0/1/";
        link.type = ConnectionType::Adsl;
        link.carrierChanges = 1;
        g_handed = {1, {link}};
        g_restless = 0;
        Start();
    }
    void Start()
    {
        m_recorder.emplace(
            m_path, m_traffic, [this](const std::string& text) { m_told.push_back(text); },
            [this] { return m_now; });
    }
    /// The plug-in has counted so many bytes more.
    void Count(unsigned long long bytes)
    {
        nis::SNAPSHOT& total = m_traffic.snapshots[kAdsl];
        total.clkTime = 1;
        total.ullDL += bytes;
        HandedLink& link = g_handed.links.at(0);
        link.handed.received += bytes;
        ++g_handed.number;
        m_recorder->OnChange();
    }
    void Pass(long long seconds)
    {
        for (; seconds > 0; --seconds) {
            m_now.wall += 1;
            m_now.boot += kSecond;
            m_recorder->OnTick();
        }
    }
    /// What another process finds in the file.
    unsigned long long Committed() const
    {
        const auto reader = UsageLedger::OpenForReading(m_path);
        EXPECT_TRUE(reader);
        unsigned long long sum = 0;
        const auto rows = (*reader)->Read(0, kNow * 2);
        for (const UsageRow& row : *rows)
            sum += row.downloaded;
        return sum;
    }

    nettest::TempDir m_directory;
    const std::string m_path = m_directory.Path() + "/";
    nettest::FakeTraffic m_traffic;
    MeterTime m_now{kNow, 0};
    std::vector<std::string> m_told;
    std::optional<UsageRecorder> m_recorder;
};

TEST_F(UsageRecorderTest, CommitsEveryTenSeconds)
{
    Count(0);
    Count(100);
    Pass(9);
    EXPECT_EQ(0U, Committed());
    Pass(1);
    EXPECT_EQ(100U, Committed());
    Count(1);
    Pass(9);
    EXPECT_EQ(100U, Committed());
    Pass(1);
    EXPECT_EQ(101U, Committed());
    EXPECT_THAT(m_told, IsEmpty());
}

TEST_F(UsageRecorderTest, CommitsByTheClockThatIsNeverSet)
{
    Count(0);
    Count(100);
    m_now.wall -= 50'000;
    Pass(10);
    EXPECT_EQ(100U, Committed());
}

TEST_F(UsageRecorderTest, CommitsAtItsEnd)
{
    Count(0);
    Count(100);
    m_traffic.snapshots[kAdsl].ullDL += 7;
    g_handed.links.at(0).handed.received += 7;
    ++g_handed.number;
    m_recorder->Finish();
    EXPECT_EQ(107U, Committed()) << "with what no notification has told of yet";

    Count(1);
    m_recorder.reset();
    EXPECT_EQ(108U, Committed());
}

TEST_F(UsageRecorderTest, GoesOnFromTheMarksOfTheLastRun)
{
    Count(0);
    Count(100);
    m_recorder->Finish();
    g_handed.links.at(0).handed.received += 5'000;
    g_handed.links.at(0).origin = g_handed.links.at(0).handed;
    m_traffic.snapshots.clear();
    Start();
    m_recorder->Present({{2, "eth0", "/eth0/1/", "", ConnectionType::Adsl, false}});
    Count(0);
    EXPECT_TRUE((*m_recorder->Ledger()->Read(0, kNow * 2)).at(1).recovered);
    EXPECT_EQ(5'100U, Committed()) << "at once, for it may be days' worth";
}

TEST_F(UsageRecorderTest, TakesNoSampleWhoseFiguresMayNotBelongTogether)
{
    Count(0);
    g_restless = 1'000'000;
    Count(100);
    g_restless = 0;
    EXPECT_THAT(*m_recorder->Ledger()->Read(0, kNow * 2), IsEmpty());
    g_restless = 3;
    Count(10);
    EXPECT_EQ(110U, (*m_recorder->Ledger()->Read(0, kNow * 2)).at(0).downloaded);
}

TEST_F(UsageRecorderTest, SaysOnceThatNothingCanBeCommitted)
{
    Count(0);
    Count(100);
    ASSERT_EQ(0, std::system(("rm " + m_path + "usage.db* && mkdir " + m_path + "usage.db").c_str()));
    Pass(30);
    EXPECT_THAT(m_told, ElementsAre(HasSubstr("not a regular file")));
    Count(1);
    ASSERT_EQ(0, std::system(("rmdir " + m_path + "usage.db").c_str()));
    Pass(10);
    EXPECT_EQ(101U, Committed());
    EXPECT_THAT(m_told, SizeIs(1));
}

TEST_F(UsageRecorderTest, CountsOnWithoutALedger)
{
    m_recorder.reset();
    ASSERT_EQ(0, std::system(("rm -f " + m_path + "usage.db* && mkdir " + m_path + "usage.db").c_str()));
    Start();
    EXPECT_THAT(m_told, ElementsAre(testing::EndsWith("; usage is not recorded")));
    EXPECT_EQ(nullptr, m_recorder->Ledger());
    Count(100);
    m_recorder->Present({});
    Pass(30);
    m_recorder->Finish();
    EXPECT_THAT(m_told, SizeIs(1));
}

TEST_F(UsageRecorderTest, WarnsAndRunsTheUsersCommand)
{
    ASSERT_FALSE(StoreLimit({"1000", 1000, Period::Day, 80, std::nullopt}));
    nettest::WriteFile(m_directory.File("DataUsageLimit.ini"),
                       nettest::ReadFile(m_directory.File("DataUsageLimit.ini")) + "command=exit 9\n");
    m_recorder.reset();
    Start();
    Count(0);
    Count(799);
    Pass(20);
    EXPECT_THAT(m_told, IsEmpty());
    Count(1);
    Pass(10);
    ASSERT_FALSE(m_told.empty());
    EXPECT_EQ("80 % of the limit of 1000 per day is used: 200 B left for 1 day", m_told[0]);
    while (m_told.size() < 2)
        m_recorder->OnTick();
    EXPECT_EQ("the command of the limit ended with exit code 9", m_told[1]);
    EXPECT_THAT(nettest::ReadFile(m_directory.File("trace")), HasSubstr(m_told[0]));

    m_recorder.reset();
    Start();
    Pass(20);
    EXPECT_THAT(m_told, SizeIs(2)) << "not again after a restart";
}

TEST_F(UsageRecorderTest, SaysOnceThatTheLimitIsNotUnderstood)
{
    nettest::WriteFile(m_directory.File("DataUsageLimit.ini"), "[limit]\namount=lots\n");
    m_recorder.reset();
    Start();
    Pass(40);
    EXPECT_THAT(m_told, ElementsAre(HasSubstr("the limit in the settings is not understood")));
}

TEST(BootIdentity, IsTheSameThroughoutABoot)
{
    EXPECT_FALSE(BootIdentity().empty());
    EXPECT_EQ(BootIdentity(), BootIdentity());
}

}  // namespace
