#include "plugin/Records.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <type_traits>

#include "tests/support/Text.h"

namespace {

using nettest::U16;

TEST(Snapshot, IsEmptyWhenNew)
{
    const nis::SNAPSHOT snapshot;

    EXPECT_EQ(snapshot.nDevice, -1);
    EXPECT_TRUE(snapshot.strName.empty());
    EXPECT_EQ(snapshot.ullDL, 0U);
    EXPECT_EQ(snapshot.ullUL, 0U);
    EXPECT_EQ(snapshot.ulDLSpeed, 0U);
    EXPECT_EQ(snapshot.ulULSpeed, 0U);
    EXPECT_EQ(snapshot.ulMaxDLSpeed, 0U);
    EXPECT_EQ(snapshot.ulMaxULSpeed, 0U);
    EXPECT_EQ(snapshot.ulConnectTime, 0U);
    EXPECT_EQ(snapshot.ulReserved, 0U);
    EXPECT_EQ(snapshot.clkTime, 0);
}

TEST(Snapshot, CopiesItsName)
{
    nis::SNAPSHOT snapshot;
    snapshot.strName = U16("wlan0");

    const nis::SNAPSHOT constructed = snapshot;
    nis::SNAPSHOT assigned;
    assigned = snapshot;
    snapshot.strName[0] = 'x';

    EXPECT_EQ(constructed.strName, U16("wlan0"));
    EXPECT_EQ(assigned.strName, U16("wlan0"));
}

// Host and plug-in are built apart: an order that changes is an interface that breaks.
TEST(Snapshot, KeepsTheOrderOfItsFields)
{
    const nis::SNAPSHOT s;
    const void* const fields[] = {&s.nDevice,       &s.strName,    &s.ullDL,        &s.ullUL,
                                  &s.ulDLSpeed,     &s.ulULSpeed,  &s.ulMaxDLSpeed, &s.ulMaxULSpeed,
                                  &s.ulConnectTime, &s.ulReserved, &s.clkTime};
    for (std::size_t i = 1; i < std::size(fields); ++i)
        EXPECT_LT(fields[i - 1], fields[i]) << i;
    static_assert(sizeof s.nDevice == 4 && sizeof s.ullDL == 8 && sizeof s.ulDLSpeed == 4);
    static_assert(std::is_signed_v<decltype(s.nDevice)> && std::is_signed_v<decltype(s.clkTime)>);
    static_assert(std::is_unsigned_v<decltype(s.ulConnectTime)> && sizeof s.clkTime == 4);
}

TEST(Report, KeepsTheOrderAndSizesOfItsFields)
{
    static_assert(std::is_standard_layout_v<nis::REPORT>);
    static_assert(offsetof(nis::REPORT, nDevice) == 0);
    static_assert(offsetof(nis::REPORT, ullDownloaded) == 8);
    static_assert(offsetof(nis::REPORT, ullUploaded) == 16);
    static_assert(offsetof(nis::REPORT, ullTime) == 24);
    static_assert(offsetof(nis::REPORT, tmStart) == 32);
    static_assert(offsetof(nis::REPORT, tmEnd) == 36);
    static_assert(sizeof(nis::REPORT) == 40);

    const nis::REPORT report;
    EXPECT_EQ(report.nDevice, 0);
    EXPECT_EQ(report.ullDownloaded + report.ullUploaded + report.ullTime, 0U);
    EXPECT_EQ(report.tmStart, 0);
    EXPECT_EQ(report.tmEnd, 0);
}

TEST(ConnectionRecord, AssignsItsEightTexts)
{
    const tagConnRecord record{"0", "1", "2", "3", "4", "5", "6", "7"};
    tagConnRecord assigned;

    assigned = record;

    EXPECT_EQ(assigned.strAPN, "0");
    EXPECT_EQ(assigned.strStartTime, "1");
    EXPECT_EQ(assigned.strEndTime, "2");
    EXPECT_EQ(assigned.strConnectTime, "3");
    EXPECT_EQ(assigned.strUploadData, "4");
    EXPECT_EQ(assigned.strDownloadData, "5");
    EXPECT_EQ(assigned.strUnitPrice, "6");
    EXPECT_EQ(assigned.strFee, "7");
}

TEST(Change, IsAFlagAndAType)
{
    static_assert(sizeof(bool) == 1);
    static_assert(offsetof(NETINFO_CHANGE, bConnected) == 0);
    static_assert(offsetof(NETINFO_CHANGE, nValue) == 4);
    static_assert(sizeof(NETINFO_CHANGE) == 8);
    static_assert(NETINFO_MESSAGE_CHANGE == 8000);
}

}  // namespace
