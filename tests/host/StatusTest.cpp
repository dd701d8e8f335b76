#include "host/Status.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <string>
#include <vector>

#include "host/Format.h"
#include "host/Json.h"
#include "tests/host/FakeTraffic.h"

using netinfo::SameFigures;
using netinfo::StatusJson;
using netinfo::StatusLine;
using netinfo::StatusReader;
using netinfo::StatusTable;
using netinfo::TRAFFIC_TYPES;
using netinfo::TypeStatus;
using netinfo::Units;
using nettest::FakeTraffic;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr unsigned long long MOMENT = 1'714'557'603;

TypeStatus Idle(std::size_t index)
{
    TypeStatus status;
    status.type = TRAFFIC_TYPES.at(index);
    return status;
}

TypeStatus Busy(std::size_t index)
{
    TypeStatus status = Idle(index);
    status.connected = true;
    status.links = {"wlan0"};
    status.downSpeed = 1'048'063;  // the widest figure: 1023 KiB/s
    status.upSpeed = 2048;
    status.peakDown = 3 << 20;
    status.peakUp = 4096;
    status.downloaded = 5ULL << 30;
    status.uploaded = 6ULL << 20;
    status.seconds = 723;
    status.downloadedSinceReset = 7ULL << 40;
    status.uploadedSinceReset = 8ULL << 30;
    return status;
}

std::vector<TypeStatus> OneBusy() { return {Idle(0), Busy(1), Idle(2)}; }

std::string Joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

nis::SNAPSHOT Sample(unsigned speed, unsigned peak, unsigned seconds)
{
    nis::SNAPSHOT snapshot;
    snapshot.ulDLSpeed = speed;
    snapshot.ulULSpeed = speed / 2;
    snapshot.ulMaxDLSpeed = peak;
    snapshot.ulMaxULSpeed = peak / 2;
    snapshot.ulConnectTime = seconds;
    snapshot.clkTime = 1'000'000;
    return snapshot;
}

}  // namespace

TEST(StatusTable, ShowsEveryFigureOfEveryTypeAtSixtyColumns)
{
    EXPECT_EQ(Joined(StatusTable(OneBusy(), MOMENT, {.columns = 60})),
              "netinfo  2024-05-01 12:00:03  Ctrl-C ends\n"
              "                        Dial-up          WiFi          ADSL\n"
              "State                         -     connected             -\n"
              "Link                                    wlan0              \n"
              "Down                      0 B/s    1023 KiB/s         0 B/s\n"
              "Up                        0 B/s    2.00 KiB/s         0 B/s\n"
              "Peak down                 0 B/s    3.00 MiB/s         0 B/s\n"
              "Peak up                   0 B/s    4.00 KiB/s         0 B/s\n"
              "Downloaded                  0 B      5.00 GiB           0 B\n"
              "Uploaded                    0 B      6.00 MiB           0 B\n"
              "Time                   00:00:00      00:12:03      00:00:00\n"
              "Down since reset            0 B      7.00 TiB           0 B\n"
              "Up since reset              0 B      8.00 GiB           0 B\n");
}

TEST(StatusTable, NeverLeavesItsColumns)
{
    std::vector<TypeStatus> statuses{Busy(0), Busy(1), Busy(2)};
    for (TypeStatus& status : statuses) {
        status.links = {"a link with a rather long name", "漢字漢字漢字漢字漢字漢字漢字漢字", "\033[31m"};
        status.seconds = std::numeric_limits<unsigned>::max();
        status.downloaded = std::numeric_limits<unsigned long long>::max();
    }
    for (const std::size_t columns : {60U, 61U, 79U, 80U, 100U, 120U, 300U}) {
        for (const std::string& line : StatusTable(statuses, MOMENT, {.columns = columns}))
            EXPECT_LE(netinfo::Width(line), columns) << line;
    }
}

TEST(StatusTable, ShowsAmountsInTheUnitsAskedFor)
{
    const std::string decimal =
        Joined(StatusTable(OneBusy(), MOMENT, {.columns = 80, .style = {.units = Units::Si}}));
    EXPECT_THAT(decimal, HasSubstr("Down                             0 B/s            1.05 MB/s"));
    EXPECT_THAT(decimal, HasSubstr("Downloaded                         0 B              5.37 GB"));
    EXPECT_THAT(decimal, Not(HasSubstr("iB")));

    const std::string bytes =
        Joined(StatusTable(OneBusy(), MOMENT, {.columns = 80, .style = {.units = Units::Bytes}}));
    EXPECT_THAT(bytes, HasSubstr("Down                             0 B/s          1048063 B/s"));
    EXPECT_THAT(bytes, HasSubstr("Down since reset                   0 B      7696581394432 B"));
}

TEST(StatusTable, NeverCutsAnAmount)
{
    std::vector<TypeStatus> statuses = OneBusy();
    statuses[1].downloaded = 99'999'999'999;  // the longest that has room
    statuses[1].uploaded = 100'000'000'000;
    const std::string text =
        Joined(StatusTable(statuses, MOMENT, {.columns = 60, .style = {.units = Units::Bytes}}));

    EXPECT_THAT(text, HasSubstr("Downloaded                  0 B 99999999999 B           0 B\n"));
    EXPECT_THAT(text, HasSubstr("Uploaded                    0 B      93.1 GiB           0 B\n"));
    EXPECT_THAT(text, Not(HasSubstr("…")));
}

TEST(StatusTable, LeavesOutTheLeastImportantLines)
{
    const std::vector<std::string> all = StatusTable(OneBusy(), MOMENT, {.lines = 13});
    EXPECT_EQ(all.size(), 13U);
    const std::vector<std::string> some = StatusTable(OneBusy(), MOMENT, {.lines = 9});
    ASSERT_EQ(some.size(), 9U);
    EXPECT_THAT(Joined(some), HasSubstr("Time"));
    EXPECT_THAT(Joined(some), Not(HasSubstr("Peak")));
    EXPECT_THAT(Joined(some), Not(HasSubstr("reset")));
    EXPECT_EQ(StatusTable(OneBusy(), MOMENT, {.lines = netinfo::LEAST_STATUS_LINES}).back(), all[5]);
}

TEST(StatusTable, UsesMoreRoomForLongNames)
{
    std::vector<TypeStatus> statuses = OneBusy();
    statuses[1].links = {"Mobile internet"};

    EXPECT_THAT(Joined(StatusTable(statuses, MOMENT, {.columns = 60})), HasSubstr("Mobile inter…"));
    EXPECT_THAT(Joined(StatusTable(statuses, MOMENT, {.columns = 80})), HasSubstr("Mobile internet"));
    EXPECT_THAT(Joined(StatusTable(statuses, MOMENT, {.columns = 120})), HasSubstr("Mobile internet"));
}

TEST(StatusTable, NeverLetsANameSteerTheTerminal)
{
    std::vector<TypeStatus> statuses = OneBusy();
    statuses[1].links = {"a\033[2J\nb"};

    EXPECT_THAT(Joined(StatusTable(statuses, MOMENT, {.columns = 80})), Not(HasSubstr("\033")));
}

TEST(StatusTable, ColoursHeadingAndStateOnlyWhenAsked)
{
    const std::string plain = Joined(StatusTable(OneBusy(), MOMENT, {.columns = 80}));
    const std::string coloured =
        Joined(StatusTable(OneBusy(), MOMENT, {.columns = 80, .style = {.colour = true}}));

    EXPECT_THAT(plain, Not(HasSubstr("\033")));
    EXPECT_THAT(coloured, HasSubstr("\033[1m"));
    EXPECT_THAT(coloured, HasSubstr("connected\033[0m"));
}

TEST(StatusTable, TellsALinkThatIsUpFromAConnectionThatIsSampled)
{
    std::vector<TypeStatus> statuses = OneBusy();
    statuses[0].links = {"ppp0"};

    EXPECT_THAT(StatusTable(statuses, MOMENT, {.columns = 80})[2], HasSubstr("link up"));
}

TEST(StatusLine, IsOneLineForPeople)
{
    EXPECT_EQ(StatusLine(Busy(1), MOMENT),
              "2024-05-01 12:00:03  WiFi     connected (wlan0)  down 1023 KiB/s  up 2.00 KiB/s  "
              "peak 3.00 MiB/s / 4.00 KiB/s  connection 5.00 GiB / 6.00 MiB in 00:12:03  "
              "since reset 7.00 TiB / 8.00 GiB\n");
    EXPECT_EQ(StatusLine(Idle(2), MOMENT),
              "2024-05-01 12:00:03  ADSL     disconnected  down 0 B/s  up 0 B/s  peak 0 B/s / 0 B/s  "
              "connection 0 B / 0 B in 00:00:00  since reset 0 B / 0 B\n");
}

TEST(StatusLine, ShowsAmountsInTheUnitsAskedFor)
{
    EXPECT_THAT(StatusLine(Busy(1), MOMENT, Units::Si),
                HasSubstr("down 1.05 MB/s  up 2.05 kB/s  peak 3.15 MB/s / 4.10 kB/s  "
                          "connection 5.37 GB / 6.29 MB in 00:12:03  since reset 7.70 TB / 8.59 GB\n"));
    EXPECT_THAT(StatusLine(Busy(1), MOMENT, Units::Bytes),
                HasSubstr("connection 5368709120 B / 6291456 B in"));
}

TEST(StatusJson, HasEveryFigureInBytesAndSeconds)
{
    const std::string line = StatusJson(Busy(1), MOMENT);
    const netinfo::Json json = netinfo::Json::parse(line);

    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_EQ(json["time"], MOMENT);
    EXPECT_EQ(json["type"], "wifi");
    EXPECT_EQ(json["connected"], true);
    EXPECT_EQ(json["links"], netinfo::Json::array({"wlan0"}));
    EXPECT_EQ(json["download_speed"], 1'048'063);
    EXPECT_EQ(json["upload_speed"], 2048);
    EXPECT_EQ(json["peak_download_speed"], 3 << 20);
    EXPECT_EQ(json["peak_upload_speed"], 4096);
    EXPECT_EQ(json["downloaded"], 5ULL << 30);
    EXPECT_EQ(json["uploaded"], 6ULL << 20);
    EXPECT_EQ(json["seconds"], 723);
    EXPECT_EQ(json["since_reset"]["downloaded"], 7ULL << 40);
    EXPECT_EQ(json["since_reset"]["uploaded"], 8ULL << 30);
}

TEST(StatusJson, SurvivesANameThatIsNotUtf8)
{
    TypeStatus status = Busy(1);
    status.links = {"\xFF"};

    EXPECT_TRUE(netinfo::Json::accept(StatusJson(status, MOMENT)));
}

TEST(SameFigures, IgnoresTheTimeAndNothingElse)
{
    TypeStatus later = Busy(1);
    later.seconds += 1;
    EXPECT_TRUE(SameFigures(Busy(1), later));

    const std::vector<void (*)(TypeStatus&)> changes{
        [](TypeStatus& s) { s.connected = false; },
        [](TypeStatus& s) { s.links.clear(); },
        [](TypeStatus& s) { ++s.downSpeed; },
        [](TypeStatus& s) { ++s.upSpeed; },
        [](TypeStatus& s) { ++s.peakDown; },
        [](TypeStatus& s) { ++s.peakUp; },
        [](TypeStatus& s) { ++s.downloaded; },
        [](TypeStatus& s) { ++s.uploaded; },
        [](TypeStatus& s) { ++s.downloadedSinceReset; },
        [](TypeStatus& s) { ++s.uploadedSinceReset; },
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        TypeStatus changed = Busy(1);
        changes[i](changed);
        EXPECT_FALSE(SameFigures(Busy(1), changed)) << i;
    }
    EXPECT_FALSE(SameFigures(Idle(0), Idle(1)));
}

TEST(StatusReader, ReadsTheLiveConnectionAndTheTotalSinceReset)
{
    FakeTraffic traffic;
    traffic.snapshots[1] = Sample(700, 700, 5);
    traffic.snapshots[1].ullDL = 10;
    traffic.snapshots[1].ullUL = 20;
    traffic.since[1].ullDownloaded = 30;
    traffic.since[1].ullUploaded = 40;

    const TypeStatus status = StatusReader(traffic).Read(1);

    EXPECT_EQ(status.type.name, "wifi");
    EXPECT_TRUE(status.connected);
    EXPECT_EQ(status.downSpeed, 700U);
    EXPECT_EQ(status.upSpeed, 350U);
    EXPECT_EQ(status.downloaded, 10U);
    EXPECT_EQ(status.uploaded, 20U);
    EXPECT_EQ(status.seconds, 5U);
    EXPECT_EQ(status.downloadedSinceReset, 30U);
    EXPECT_EQ(status.uploadedSinceReset, 40U);
}

TEST(StatusReader, SeesATypeWithoutSampleAsDisconnected)
{
    FakeTraffic traffic;
    EXPECT_FALSE(StatusReader(traffic).Read(0).connected);
}

TEST(StatusReader, KeepsThePeakOfAConnectionAndStartsAnewWithTheNext)
{
    FakeTraffic traffic;
    StatusReader reader(traffic);
    const auto peakAt = [&](unsigned speed, unsigned peak, unsigned seconds) {
        traffic.snapshots[4] = Sample(speed, peak, seconds);
        return reader.Read(2).peakDown;
    };

    EXPECT_EQ(peakAt(100, 100, 1), 100U);
    EXPECT_EQ(peakAt(300, 900, 3), 900U);  // the second between was the fastest
    EXPECT_EQ(peakAt(200, 300, 4), 900U);
    EXPECT_EQ(peakAt(50, 50, 0), 50U);  // another connection

    traffic.snapshots.erase(4);
    EXPECT_EQ(reader.Read(2).peakDown, 0U);
}

TEST(StatusDocument, BecomesTheStatusAgain)
{
    netinfo::TypeStatus status;
    status.type = netinfo::TRAFFIC_TYPES[1];
    status.connected = true;
    status.links = {"eth0", "café"};
    status.downSpeed = 1;
    status.upSpeed = 2;
    status.peakDown = 3;
    status.peakUp = 4'000'000'000;
    status.downloaded = 5;
    status.uploaded = 0xFFFFFFFFFFFFFFFF;
    status.seconds = 7;
    status.downloadedSinceReset = 8;
    status.uploadedSinceReset = 9;

    const auto copy = netinfo::StatusFrom(netinfo::StatusDocument(status));

    ASSERT_TRUE(copy);
    EXPECT_TRUE(netinfo::SameFigures(*copy, status));
    EXPECT_EQ(copy->seconds, 7U);
}

TEST(StatusDocument, IsNoOtherDocument)
{
    netinfo::TypeStatus status;
    status.type = netinfo::TRAFFIC_TYPES[0];
    const netinfo::Json whole = netinfo::StatusDocument(status);
    EXPECT_TRUE(netinfo::StatusFrom(whole));
    for (const auto& [name, value] : whole.items()) {
        netinfo::Json other = whole;
        other[name] = netinfo::Json::object();
        EXPECT_FALSE(netinfo::StatusFrom(other)) << name;
        other.erase(name);
        EXPECT_FALSE(netinfo::StatusFrom(other)) << name;
    }
    EXPECT_FALSE(netinfo::StatusFrom(nullptr));
    netinfo::Json cable = whole;
    cable["type"] = "cable";
    EXPECT_FALSE(netinfo::StatusFrom(cable));
}
