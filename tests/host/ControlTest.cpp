// The built program as a service, asked over its socket.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/ControlClient.h"
#include "host/DataLock.h"
#include "host/Status.h"
#include "host/UsageLedger.h"
#include "tests/host/ProgramTest.h"
#include "tests/support/Text.h"

using netinfo::ControlClient;
using netinfo::Json;
using nettest::ExpectComplaint;
using nettest::Outcome;
using nettest::Program;
using testing::HasSubstr;
using testing::Not;

namespace {

struct ControlTest : nettest::ProgramTest
{
    const std::string data = directory.File("data") + "/";
    const std::string socketPath = directory.File("runtime/netinfo/control.sock");

    ControlTest()
    {
        environment["NETINFO_SCRIPT"] = "beat";
        environment["NETINFO_SCRIPT_LOG"] = directory.File("log");
        setenv("NETINFO_CONFIG_DIR", environment["NETINFO_CONFIG_DIR"].c_str(), 1);  // for clients in here
    }

    /// A service that listens.
    std::unique_ptr<Program> StartService()
    {
        auto service = Start({"run", "--module", NETINFO_SCRIPTED_MODULE}, Program::Output::Terminal);
        EXPECT_TRUE(service->WaitFor("Up since reset"));
        return service;
    }
    /// Puts traffic of now into the usage ledger.
    void AddUsage(unsigned long long downloaded, unsigned long long uploaded) const
    {
        std::filesystem::create_directories(data);
        const auto ledger = netinfo::UsageLedger::Open(data, {});
        ASSERT_TRUE(ledger);
        const long long now = std::time(nullptr);
        (*ledger)->Add({now - now % 3600, 1, "home", "wlan0", false, downloaded, uploaded, 0});
        EXPECT_FALSE((*ledger)->Commit({}));
    }
    std::unique_ptr<ControlClient> Client()
    {
        auto client = ControlClient::Find(data);
        EXPECT_TRUE(client) << client.Error().message;
        return client ? std::move(*client) : nullptr;
    }
};

}  // namespace

TEST_F(ControlTest, FindsNoServiceWhereNoneRuns)
{
    const auto missing = ControlClient::Find(data);
    ASSERT_TRUE(missing);
    EXPECT_EQ(*missing, nullptr);

    StartService()->Signal(SIGKILL);
    const auto dead = ControlClient::Find(data);
    ASSERT_TRUE(dead);
    EXPECT_EQ(*dead, nullptr);
}

TEST_F(ControlTest, TellsTheStatusOfEveryTypeAndWhoAnswers)
{
    const auto service = StartService();
    const auto client = Client();
    ASSERT_TRUE(client);
    EXPECT_EQ(client->Process(), service->Id());

    const auto document = client->Ask({"GET", "/v1/status"});

    ASSERT_TRUE(document) << document.Error().message;
    EXPECT_EQ((*document)["service"]["process"], service->Id());
    EXPECT_EQ((*document)["service"]["socket"], socketPath);
    EXPECT_EQ((*document)["data_directory"], data);
    ASSERT_EQ((*document)["types"].size(), 3U);
    const auto wifi = netinfo::StatusFrom((*document)["types"][1]);
    ASSERT_TRUE(wifi);
    EXPECT_EQ(wifi->type.name, "wifi");
    EXPECT_TRUE(wifi->connected);
    EXPECT_EQ(wifi->downloaded, 4096U);
    EXPECT_EQ(wifi->uploadedSinceReset, 7680U);
}

TEST_F(ControlTest, AnswersOneRequestAfterTheOther)
{
    const auto service = StartService();
    const auto client = Client();
    ASSERT_TRUE(client);
    for (int i = 0; i < 50; ++i)
        ASSERT_TRUE(client->Ask({"GET", "/v1/status"}));
}

TEST_F(ControlTest, RefusesWhatThereIsNot)
{
    const auto service = StartService();
    const auto client = Client();
    ASSERT_TRUE(client);

    EXPECT_EQ(client->Ask({"GET", "/v1/nothing"}).Error().message, "there is nothing at /v1/nothing");
    EXPECT_EQ(client->Ask({"DELETE", "/v1/status"}).Error().message, "/v1/status takes GET, not DELETE");
    const auto parameter = client->Ask({"GET", "/v1/status", {{"a b", "&="}}});
    EXPECT_EQ(parameter.Error().message, "/v1/status has no parameter 'a b'");
    EXPECT_EQ(parameter.Error().exitCode, netinfo::EXIT_USAGE);
}

TEST_F(ControlTest, KeepsTheSocketFromEveryoneElse)
{
    const auto service = StartService();
    struct stat status
    {};
    ASSERT_EQ(stat(socketPath.c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    ASSERT_EQ(stat(directory.File("runtime/netinfo").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
}

TEST_F(ControlTest, RemovesTheSocketAtItsEndAndTakesOverADeadOnes)
{
    const auto first = StartService();
    first->Signal(SIGKILL);
    first->Wait();
    EXPECT_TRUE(std::filesystem::exists(socketPath));

    const auto second = StartService();
    EXPECT_EQ(Client()->Process(), second->Id());
    second->Signal(SIGTERM);
    EXPECT_EQ(second->Wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(socketPath));
    EXPECT_EQ(second->Errors(), "");
}

// --- the commands, with and without a service ---

TEST_F(ControlTest, AnswersEveryCommandAsItAnswersItself)
{
    environment["NETINFO_SCRIPT"] = "";
    AddUsage(600, 30);
    const std::vector<std::vector<std::string>> commands{
        {"report"},
        {"history", "--since", "2024-05-01 12:00"},
        {"records"},
        {"records", "--last"},
        {"usage"},
        {"usage", "--by", "profile", "--top", "1"},
        {"usage", "--by", "type", "--csv"},
        {"limit", "set", "20GB", "--per", "day", "--warn", "90%", "--type", "wifi"},
        {"limit"},
        {"limit", "clear"},
        {"settings", "set", "week-start", "monday"},
        {"settings", "set", "link.eth7", "ignore"},
        {"settings", "get", "link.eth7"},
        {"settings"},
        {"records", "remove", "0-1", "--yes"},
        {"reset", "wifi", "--yes"},
        // what is refused
        {"history", "--since", "tomorrow"},
        {"records", "remove", "1", "3", "--yes"},
        {"reset", "cable", "--yes"},
        {"usage", "--by", "decade"},
        {"usage", "--last", "0"},
        {"limit", "set", "20G"},
        {"settings", "get", "colour"},
        {"settings", "set", "month-start", "29"},
    };
    const auto runAll = [&] {
        std::vector<Outcome> outcomes;
        for (std::vector<std::string> words : commands) {
            const bool module =
                words[0] == "report" || words[0] == "history" || words[0] == "records" || words[0] == "reset";
            if (module) words.insert(words.end(), {"--module", NETINFO_SCRIPTED_MODULE});
            outcomes.push_back(Run(words));
            if (words.back() == "--csv") continue;
            words.emplace_back("--json");
            outcomes.push_back(Run(words));
        }
        return outcomes;
    };

    const std::vector<Outcome> alone = runAll();
    const auto service = StartService();
    const std::string before = nettest::ReadFile(directory.File("log"));
    const std::vector<Outcome> asked = runAll();
    const std::string log = nettest::ReadFile(directory.File("log")).substr(before.size());

    ASSERT_EQ(asked.size(), alone.size());
    for (std::size_t i = 0; i < asked.size(); ++i) {
        EXPECT_EQ(asked[i].exitCode, alone[i].exitCode) << i << alone[i].text << alone[i].errors;
        EXPECT_EQ(asked[i].text, alone[i].text);
        EXPECT_EQ(asked[i].errors, alone[i].errors);
    }
    EXPECT_THAT(log, HasSubstr("reset 1\n"));
    EXPECT_THAT(log, HasSubstr("begin remove\nremove 0\nremove 1\nend remove\n"));
    EXPECT_THAT(log, Not(HasSubstr("create"))) << "a command has loaded the module beside the service";
}

TEST_F(ControlTest, ListsTheLinksWithAndWithoutAService)
{
    const Json alone = Json::parse(Run({"devices", "--json"}).text);
    const auto service = StartService();
    const Json asked = Json::parse(Run({"devices", "--json"}).text);
    ASSERT_EQ(asked["links"].size(), alone["links"].size());
    EXPECT_EQ(asked["links"][0]["link"], alone["links"][0]["link"]);
}

TEST_F(ControlTest, TellsWhatIsNotCommittedYet)
{
    const auto service = Start({"run", "--module", NETINFO_SCRIPTED_MODULE});
    ASSERT_TRUE(service->WaitFor("connected"));
    const auto client = Client();
    ASSERT_TRUE(client);
    const auto usage = client->Ask({"GET", "/v1/usage", {{"by", "type"}}});
    ASSERT_TRUE(usage) << usage.Error().message;
    EXPECT_EQ((*usage)["total"]["total"], 6144);
    EXPECT_EQ(Json::parse(Run({"usage", "--by", "type", "--json"}).text), *usage);
}

TEST_F(ControlTest, AsksTheUserAndNotTheService)
{
    environment["NETINFO_SCRIPT"] = "";
    const auto service = StartService();
    const Outcome no = Run({"reset", "wifi"}, "n\n");
    EXPECT_EQ(no.exitCode, 1);
    EXPECT_THAT(no.errors, HasSubstr("[y/N] netinfo: nothing was reset"));
    EXPECT_THAT(nettest::ReadFile(directory.File("log")), Not(HasSubstr("reset 1")));
    EXPECT_EQ(Run({"records", "remove", "1"}, "y\n").text, "1 record removed\n");
}

TEST_F(ControlTest, RefusesARemovalFromRecordsThatChangedMeanwhile)
{
    environment["NETINFO_SCRIPT"] = "";
    const auto service = StartService();
    const auto client = Client();
    ASSERT_TRUE(client);
    Json body;
    body["indexes"] = {0};
    body["count"] = 4;  // there are three
    EXPECT_EQ(client->Ask({"POST", "/v1/records/remove", {}, std::move(body)}).Error().message,
              "the records have changed meanwhile; look at them again");
    EXPECT_THAT(nettest::ReadFile(directory.File("log")), Not(HasSubstr("begin remove")));
}

TEST_F(ControlTest, RefusesBodiesThatMakeNoSense)
{
    environment["NETINFO_SCRIPT"] = "";
    const auto service = StartService();
    const auto client = Client();
    ASSERT_TRUE(client);
    const std::vector<std::array<std::string, 3>> cases{
        {"POST", "/v1/reset", R"({})"},
        {"POST", "/v1/reset", R"([])"},
        {"POST", "/v1/reset", R"({"type":["wifi"]})"},
        {"POST", "/v1/reset", R"({"type":"wifi","all":1})"},
        {"POST", "/v1/records/remove", R"({})"},
        {"POST", "/v1/records/remove", R"({"indexes":[]})"},
        {"POST", "/v1/records/remove", R"({"indexes":0})"},
        {"POST", "/v1/records/remove", R"({"indexes":["0"]})"},
        {"POST", "/v1/records/remove", R"({"indexes":[-1]})"},
        {"POST", "/v1/records/remove", R"({"indexes":[0.5]})"},
        {"POST", "/v1/records/remove", R"({"indexes":[3]})"},
        {"POST", "/v1/records/remove", R"({"indexes":[0,0]})"},
        {"POST", "/v1/records/remove", R"({"indexes":[0],"count":"3"})"},
        {"POST", "/v1/records/remove", R"({"indexes":[18446744073709551615]})"},
        {"PUT", "/v1/limit", R"({})"},
        {"PUT", "/v1/limit", R"({"amount":true})"},
        {"PUT", "/v1/limit", R"({"amount":"lots"})"},
        {"PUT", "/v1/settings", R"({"key":"colour","value":"blue"})"},
        {"PUT", "/v1/settings", R"({"key":"week-start","value":-1})"},
    };
    for (const auto& [method, path, text] : cases) {
        SCOPED_TRACE(path + text);
        const auto answer = client->Ask({method, path, {}, Json::parse(text)});
        ASSERT_FALSE(answer);
        EXPECT_EQ(answer.Error().exitCode, netinfo::EXIT_USAGE) << answer.Error().message;
    }
    EXPECT_EQ(client->Ask({"POST", "/v1/reset"}).Error().exitCode, netinfo::EXIT_USAGE);
    EXPECT_EQ(client->Ask({"GET", "/v1/records", {{"last", "2"}}}).Error().exitCode, netinfo::EXIT_USAGE);
    EXPECT_EQ(client->Ask({"GET", "/v1/history"}).Error().exitCode, netinfo::EXIT_USAGE);
    EXPECT_THAT(nettest::ReadFile(directory.File("log")), Not(HasSubstr("remove")));
}

// --- services that are not there, not ours, or not well ---

TEST_F(ControlTest, AnswersForItsOwnDataAlone)
{
    const auto first = StartService();
    environment["NETINFO_DATA_DIR"] = directory.File("other");
    EXPECT_EQ(Run({"usage", "--json"}).exitCode, 0) << "nobody counts there";
    const auto second = StartService();

    const auto one = ControlClient::Find(data);
    const auto two = ControlClient::Find(directory.File("other") + "/");
    ASSERT_TRUE(one);
    ASSERT_TRUE(two);
    EXPECT_EQ((*one)->Process(), first->Id());
    EXPECT_EQ((*two)->Process(), second->Id());
    EXPECT_EQ((*(*one)->Ask({"GET", "/v1/status"}))["data_directory"], data);
    EXPECT_EQ((*(*two)->Ask({"GET", "/v1/status"}))["data_directory"], directory.File("other") + "/");
}

TEST_F(ControlTest, IsFoundByItsDataWhateverTheRuntimeDirectory)
{
    const auto service = StartService();
    environment["XDG_RUNTIME_DIR"] = "";
    EXPECT_EQ(Run({"report"}).exitCode, 0);
    EXPECT_EQ(Run({"report", "--module", "/missing.so"}).exitCode, 0) << "the service has loaded one already";
}

TEST_F(ControlTest, ChangesNoOtherSettingsThanTheUserHas)
{
    const auto service = StartService();
    environment["NETINFO_CONFIG_DIR"] = directory.File("elsewhere");
    ExpectComplaint(
        Run({"settings", "set", "week-start", "monday"}), 1,
        "has its settings in " + directory.File("config") + "/, not in " + directory.File("elsewhere") + "/");
    EXPECT_FALSE(std::filesystem::exists(directory.File("config")));
    EXPECT_FALSE(std::filesystem::exists(directory.File("elsewhere")));
}

TEST_F(ControlTest, CountsOnWithoutASocket)
{
    std::filesystem::create_directory(directory.File("runtime/netinfo"));
    nettest::WriteFile(socketPath, "in the way");
    const auto service = StartService();
    ExpectComplaint(Run({"report"}), 1, "is in use by process " + std::to_string(service->Id()));
    EXPECT_EQ(Run({"usage"}).exitCode, 0);
    service->Signal(SIGTERM);
    EXPECT_EQ(service->Wait(), 0);
    EXPECT_THAT(service->Errors(),
                HasSubstr("the control socket " + socketPath + " cannot be made: something"));
    EXPECT_EQ(nettest::ReadFile(socketPath), "in the way");
}

TEST_F(ControlTest, IsGivenUpWhenItStandsStill)
{
    const auto service = StartService();
    service->Signal(SIGSTOP);
    ASSERT_TRUE(service->WaitForStop());

    ExpectComplaint(Run({"report"}), 1, "if it is stopped, kill -CONT " + std::to_string(service->Id()));
    ExpectComplaint(Run({"run", "--module", NETINFO_SCRIPTED_MODULE}), 1,
                    "is in use by process " + std::to_string(service->Id()));

    service->Signal(SIGCONT);
    EXPECT_EQ(Run({"report"}).exitCode, 0);
}
