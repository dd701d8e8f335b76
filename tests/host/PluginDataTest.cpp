// The built program with the plug-in itself, on data files made for the test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "host/Json.h"
#include "tests/host/ProgramTest.h"
#include "tests/support/Text.h"

using netinfo::Json;
using nettest::ExpectComplaint;
using nettest::Outcome;
using nettest::Program;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

struct PluginData : nettest::ProgramTest
{
    const std::time_t now = std::time(nullptr);

    std::string Moment(long long secondsAgo) const { return std::to_string(now - secondsAgo); }

    std::string Record(const std::string& profile, long long endedAgo, unsigned long long bytes) const
    {
        const std::string text = std::to_string(bytes);
        return "<item device=\"/" + profile + "/1/\" apn=\"" + profile + "\" starttime=\"" +
               Moment(endedAgo + 60) + "\" endtime=\"" + Moment(endedAgo) + "\" time=\"60\" uploaded=\"" +
               text + "\" downloaded=\"" + text + "\" unitprice=\"0\" fee=\"0\"/>\r\n";
    }
    /// A data file with these totals for WiFi since the reset, and these records.
    void Store(const std::string& records)
    {
        std::filesystem::create_directories(directory.File("data"));
        nettest::WriteFile(DataFile("NetInfo.dat"),
                           "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<xml>\r\n"
                           "<transfer type=\"Dial-up\"/>\r\n"
                           "<transfer type=\"WiFi\"><today/><since time=\"" +
                               Moment(1000) +
                               "\" uploaded=\"700\" downloaded=\"900\" sincetime=\"50\"/></transfer>\r\n"
                               "<total>\r\n" +
                               records + "</total>\r\n</xml>\r\n");
    }
    /// Keeps the traffic of the machine that runs the test out of the data.
    void CountNoLink()
    {
        std::string rules = "[links]\n";
        for (const auto& link : std::filesystem::directory_iterator("/sys/class/net"))
            rules += link.path().filename().string() + "=ignore\n";
        std::filesystem::create_directories(directory.File("config"));
        nettest::WriteFile(directory.File("config/DataUsageLimit.ini"), rules);
    }
    /// The data directory and everything in it.
    std::map<std::string, std::filesystem::file_time_type> FilesAndTheirTimes() const
    {
        const std::string data = directory.File("data");
        std::map<std::string, std::filesystem::file_time_type> times;
        times[data] = std::filesystem::last_write_time(data);
        for (const auto& entry : std::filesystem::directory_iterator(data))
            times[entry.path()] = entry.last_write_time();
        return times;
    }
    std::string File() const { return nettest::ReadFile(DataFile("NetInfo.dat")); }

    Json Answer(std::vector<std::string> words)
    {
        words.emplace_back("--json");
        const Outcome outcome = Run(words);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        EXPECT_EQ(outcome.errors, "");
        return Json::parse(outcome.text, nullptr, false);
    }
    std::vector<std::string> Profiles()
    {
        std::vector<std::string> profiles;
        const Json answer = Answer({"records"});
        for (const Json& record : answer["records"])
            profiles.push_back(record["profile"]);
        return profiles;
    }
};

}  // namespace

TEST_F(PluginData, BeginsWithNothing)
{
    const Json report = Answer({"report"});
    for (const Json& type : report["types"])
        EXPECT_EQ(type["since_reset"]["downloaded"], 0);
    EXPECT_THAT(Profiles(), ElementsAre());
    EXPECT_EQ(Answer({"history", "--since", "7d"})["downloaded"], 0);
    EXPECT_FALSE(std::filesystem::exists(directory.File("data"))) << "they only read";

    Answer({"reset", "wifi", "--yes"});
    EXPECT_THAT(File(), StartsWith("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>"));
}

TEST_F(PluginData, ReportsWhatIsStored)
{
    Store("");
    const Json since = Answer({"report"})["types"][1]["since_reset"];

    EXPECT_EQ(since["downloaded"], 900);
    EXPECT_EQ(since["uploaded"], 700);
    EXPECT_EQ(since["seconds"], 50);
    EXPECT_EQ(since["start"], now - 1000);
}

TEST_F(PluginData, StaysTheSameThroughCommandsThatOnlyRead)
{
    Store(Record("a", 900, 10) + Record("b", 500, 20));
    const auto before = FilesAndTheirTimes();
    const std::string content = File();

    Answer({"report"});
    Answer({"records"});
    Answer({"records", "--last"});
    Answer({"history", "--since", "7d"});
    Answer({"usage"});
    Answer({"limit"});
    Answer({"settings"});
    Answer({"devices"});

    EXPECT_EQ(FilesAndTheirTimes(), before);
    EXPECT_EQ(File(), content);
    EXPECT_TRUE(std::filesystem::is_empty(directory.File("runtime"))) << "the copy is gone";
}

TEST_F(PluginData, SumsTheHistoryOfWhatEndedSince)
{
    Store(Record("old", 3 * 86400, 1000) + Record("new", 2 * 86400, 10));

    EXPECT_EQ(Answer({"history", "--since", "60h"})["downloaded"], 10);
    EXPECT_EQ(Answer({"history", "--since", "7d"})["downloaded"], 1010);
    EXPECT_EQ(Answer({"history", "--since", "7d"})["seconds"], 120);
}

TEST_F(PluginData, LosesExactlyTheRecordsThatWereNamed)
{
    Store(Record("a", 900, 1) + Record("b", 800, 2) + Record("c", 700, 3) + Record("d", 600, 4));

    EXPECT_EQ(Answer({"records", "remove", "0", "2", "--yes"})["removed"], Json::array({0, 2}));

    EXPECT_THAT(Profiles(), ElementsAre("b", "d"));
    EXPECT_EQ(Answer({"records", "--last"})["records"][0]["index"], 1);
}

TEST_F(PluginData, KeepsEveryRecordWhenOneIndexIsWrong)
{
    Store(Record("a", 900, 1) + Record("b", 800, 2));

    ExpectComplaint(Run({"records", "remove", "0", "2", "--yes"}), 2,
                    "there is no record 2; the last one is 1");

    EXPECT_THAT(Profiles(), ElementsAre("a", "b"));
}

TEST_F(PluginData, StartsATypeAnewOnReset)
{
    Store(Record("a", 900, 1) + Record("b", 800, 2));

    EXPECT_EQ(Answer({"reset", "wifi", "--yes"})["reset"], "wifi");

    const Json since = Answer({"report"})["types"][1]["since_reset"];
    EXPECT_EQ(since["downloaded"], 0);
    EXPECT_GE(since["start"], now);
    EXPECT_THAT(Profiles(), ElementsAre("b"));
}

TEST_F(PluginData, ShowsDamagedRecordsAsTheyStand)
{
    Store("<item device=\"\" apn=\"&lt;x&gt;\" starttime=\"soon\" endtime=\"" + Moment(60) +
          "\" time=\"-1\" uploaded=\"1e3\" downloaded=\"99999999999999999999999\"/>\r\n");

    const Json record = Answer({"records"})["records"][0];
    EXPECT_EQ(record["profile"], "<x>");
    EXPECT_EQ(record["start_time"], "soon");
    EXPECT_EQ(record["downloaded"], "99999999999999999999999");
    EXPECT_EQ(record["fee"], "");
    EXPECT_EQ(record["numbers"].size(), 1U);

    EXPECT_THAT(Run({"records"}).text, HasSubstr("1e3"));
}

TEST_F(PluginData, AreKeptWhenTheyAreDamaged)
{
    std::filesystem::create_directories(directory.File("data"));
    const std::string damaged = "\xEF\xBB\xBF<xml><transfer type=\"WiFi\"><since";
    nettest::WriteFile(DataFile("NetInfo.dat"), damaged);

    const Outcome reader = Run({"report"});
    EXPECT_EQ(reader.exitCode, 0);
    EXPECT_EQ(reader.errors,
              "netinfo: NetInfo.dat is damaged; netinfo run will set it aside and begin a new one\n");
    EXPECT_EQ(File(), damaged);

    const Outcome outcome = Run({"reset", "wifi", "--yes"});

    EXPECT_EQ(outcome.exitCode, 0);
    ASSERT_THAT(outcome.errors, StartsWith("netinfo: NetInfo.dat was damaged; it is kept as "));
    const std::size_t at = outcome.errors.find('/');
    const std::string kept = outcome.errors.substr(at, outcome.errors.size() - at - 1);
    EXPECT_THAT(kept, StartsWith(DataFile("NetInfo.dat.bad-")));
    EXPECT_EQ(nettest::ReadFile(kept), damaged);
    EXPECT_EQ(Run({"report"}).errors, "");
}

TEST_F(PluginData, BelongToTheProcessThatCounts)
{
    Store(Record("a", 900, 1));
    CountNoLink();
    const auto running = Start({"run"}, Program::Output::Terminal);
    ASSERT_TRUE(running->WaitFor("Up since reset"));

    ExpectComplaint(Run({"run"}), 1, "is in use by process " + std::to_string(running->Id()));
    EXPECT_EQ(Profiles(), std::vector<std::string>{"a"}) << "it answers";
    EXPECT_EQ(Answer({"records", "remove", "0", "--yes"})["removed"], Json::array({0}));
    EXPECT_THAT(Profiles(), ElementsAre()) << "it has removed the record";

    running->Signal(SIGTERM);
    EXPECT_EQ(running->Wait(), 0);
    EXPECT_EQ(running->Errors(), "");
    EXPECT_THAT(Profiles(), ElementsAre()) << "it has saved that";
}

TEST_F(PluginData, AreSavedWhenTheTerminalIsClosed)
{
    Store(Record("a", 900, 1));
    std::filesystem::last_write_time(DataFile("NetInfo.dat"), std::filesystem::file_time_type{});
    const auto running = Start({"run"}, Program::Output::Terminal);
    ASSERT_TRUE(running->WaitFor("Up since reset"));

    running->CloseOutput();

    EXPECT_EQ(running->Wait(), 0);
    EXPECT_THAT(File(), HasSubstr("<transfer type=\"ADSL\">"));  // which the file did not have before
}

TEST_F(PluginData, AreReadWhereNothingCanBeWritten)
{
    Store(Record("a", 900, 1));
    const std::string data = directory.File("data");
    ASSERT_EQ(chmod(data.c_str(), 0500), 0);
    EXPECT_EQ(Profiles(), std::vector<std::string>{"a"});
    ASSERT_EQ(chmod(data.c_str(), 0700), 0);
}

TEST_F(PluginData, AreNotCopiedWhereThereIsNoPlaceForACopy)
{
    Store(Record("a", 900, 1));
    environment["XDG_RUNTIME_DIR"] = "";
    environment["TMPDIR"] = directory.File("missing");
    ExpectComplaint(Run({"report"}), 1, "no directory for a copy of the data can be made");
}
