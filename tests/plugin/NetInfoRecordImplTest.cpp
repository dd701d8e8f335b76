#include "plugin/NetInfoRecordImpl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/plugin/PluginFixture.h"

namespace {

using nettest::FakePlatform;
using nettest::ReadFile;
using nettest::TestClock;

/// The service with a running engine and three past connections behind it, the first of 1 byte, the second of
/// 2, the third of 3.
struct Records : PluginFixture
{
    Records()
    {
        CreateAndInit();
        service = RecordService();
        EXPECT_TRUE(TestClock::Poll());
        Connect("wlan0", WIFI, 1000, 500);
        Disconnect("wlan0");
        for (unsigned int bytes = 1; bytes <= 3; ++bytes) {
            connections.Report({{.device = "wlan0", .profile = "profile", .state = 1}});
            FakePlatform::SetRowCounters("wlan0", 1000, 500);
            EXPECT_TRUE(TestClock::Beat());
            FakePlatform::SetRowCounters("wlan0", 1000 + bytes, 500);
            EXPECT_TRUE(TestClock::Beat());
            Disconnect("wlan0");
            EXPECT_TRUE(TestClock::Beat());
        }
    }

    /// The download texts of a set, which ends.
    static std::vector<std::string> Downloads(IConnRecord* set)
    {
        std::vector<std::string> downloads;
        if (!set) return {"no set"};
        for (bool more = set->MoveFirst(); more; more = set->MoveNext())
            downloads.emplace_back(set->GetDownloadData());
        EXPECT_EQ(set->GetAllRecordCount(), static_cast<int>(downloads.size()));
        set->Release();
        return downloads;
    }
    using Texts = std::vector<std::string>;

    INetInfoRecord* service;
};

TEST(RecordsAlone, GivesNeutralAnswers)
{
    CNetInfoRecordImpl service(nullptr, nullptr);
    EXPECT_EQ(service.GetAllConnRecord(), nullptr);
    EXPECT_EQ(service.GetLastConnRecord(), nullptr);
    EXPECT_FALSE(service.BeginRemoveRecord());
    EXPECT_FALSE(service.RemoveRecord(0));
    EXPECT_FALSE(service.EndRemoveRecord());
    EXPECT_EQ(service.GetLastError(), 0);
}

TEST_F(Records, AreListedOldestFirst)
{
    EXPECT_EQ(Downloads(service->GetAllConnRecord()), (Texts{"1", "2", "3"}));
    EXPECT_EQ(Downloads(service->GetLastConnRecord()), Texts{"3"});
}

TEST_F(Records, AreGivenInSetsThatStandOnTheirFirstRecord)
{
    IConnRecord* const set = service->GetAllConnRecord();
    ASSERT_TRUE(set);
    EXPECT_STREQ(set->GetDownloadData(), "1");
    EXPECT_STREQ(set->GetAPN(), "profile");
    EXPECT_STREQ(set->GetConnectTime(), "1");
    EXPECT_STREQ(set->GetFee(), "0");
    set->Release();
}

TEST_F(Records, AreGivenInSetsThatTheHostOwns)
{
    IConnRecord* const set = service->GetAllConnRecord();
    ASSERT_TRUE(set);
    TearDownPlugin();
    EXPECT_STREQ(set->GetDownloadData(), "1");
    set->Release();
}

TEST_F(Records, AreRemovedInOneBatchAndSaved)
{
    EXPECT_TRUE(service->BeginRemoveRecord());
    EXPECT_TRUE(service->RemoveRecord(0));
    EXPECT_TRUE(service->RemoveRecord(2));
    EXPECT_EQ(Downloads(service->GetAllConnRecord()).size(), 3U);
    EXPECT_TRUE(service->EndRemoveRecord());

    EXPECT_EQ(Downloads(service->GetAllConnRecord()), Texts{"2"});
    const std::string file = ReadFile(directory.File("NetInfo.dat"));
    const std::size_t item = file.find("<item ");
    ASSERT_NE(item, std::string::npos);
    EXPECT_EQ(file.find("<item ", item + 1), std::string::npos);
    EXPECT_NE(file.find("downloaded=\"2\"", item), std::string::npos);
}

TEST_F(Records, AreForgottenByABatchThatBeginsAnew)
{
    service->BeginRemoveRecord();
    service->RemoveRecord(0);
    service->BeginRemoveRecord();
    service->EndRemoveRecord();
    EXPECT_EQ(Downloads(service->GetAllConnRecord()).size(), 3U);
}

TEST_F(Records, AreKeptWhenTheServiceIsReleased)
{
    service->Release();
    service = RecordService();
    EXPECT_EQ(Downloads(service->GetAllConnRecord()).size(), 3U);
}

}  // namespace
