// What programs get of every command, held to the schemas beside the documents.

#include <gtest/gtest.h>

#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "host/ControlClient.h"
#include "host/UsageLedger.h"
#include "tests/host/ProgramTest.h"
#include "tests/packaging/HelpPages.h"
#include "tests/support/Text.h"

using Json = nlohmann::json;
using Words = std::vector<std::string>;

namespace {

const std::string SCHEMAS = NETINFO_SOURCE_DIR "/docs/schema/";

Json ReadSchema(const std::string& name) { return Json::parse(nettest::ReadFile(SCHEMAS + name + ".json")); }

/// The schema without room for members that it does not tell of.
Json Closed(Json schema)
{
    std::deque<Json*> unseen{&schema};
    while (!unseen.empty()) {
        Json& part = *unseen.front();
        unseen.pop_front();
        if (part.is_object() && part.contains("properties") && part.contains("required"))
            part["additionalProperties"] = false;
        for (Json& inner : part) {
            if (inner.is_structured()) unseen.push_back(&inner);
        }
    }
    return schema;
}

/// What is wrong with `document`; empty: nothing.
std::string Problems(const Json& schema, const Json& document)
{
    valijson::Schema parsed;
    valijson::SchemaParser().populateSchema(valijson::adapters::NlohmannJsonAdapter(schema), parsed);
    valijson::ValidationResults results;
    if (valijson::Validator().validate(parsed, valijson::adapters::NlohmannJsonAdapter(document), &results))
        return "";
    std::string text;
    for (valijson::ValidationResults::Error error; results.popError(error);) {
        for (const std::string& place : error.context)
            text += place;
        text += ": " + error.description + "\n";
    }
    return text;
}

struct JsonOutput : nettest::ProgramTest
{
    JsonOutput()
    {
        environment["NETINFO_SCRIPT"] = "beat";
        std::filesystem::create_directories(directory.File("data"));
        const auto ledger = netinfo::UsageLedger::Open(directory.File("data") + "/", {});
        const long long now = std::time(nullptr);
        (*ledger)->Add({now - now % 3600, 1, "home", "wlan0", false, 1 << 30, 1 << 20, 60});
        (*ledger)->Add({now - now % 3600 - 7200, 4, "eth0", "eth0", true, 1 << 20, 1 << 10, 60});
        EXPECT_FALSE((*ledger)->Commit({}));
    }

    void ExpectToFit(const std::string& schema, const std::string& text)
    {
        EXPECT_EQ(Problems(Closed(ReadSchema(schema)), Json::parse(text)), "") << schema << ": " << text;
        m_seen.insert(schema);
    }
    /// Runs a command that needs the module, and holds its output to a schema.
    void Check(const std::string& schema, Words words, bool needsModule = false)
    {
        SCOPED_TRACE(testing::PrintToString(words));
        words.emplace_back("--json");
        if (needsModule) words.insert(words.end(), {"--module", NETINFO_SCRIPTED_MODULE});
        const nettest::Outcome outcome = Run(words);
        ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
        ExpectToFit(schema, outcome.text);
    }

    std::set<std::string> m_seen;  ///< schemas that were held against something
};

}  // namespace

TEST_F(JsonOutput, OfEveryCommandFitsItsSchema)
{
    Check("report", {"report"}, true);
    Check("history", {"history", "--since", "7d"}, true);
    Check("records", {"records"}, true);
    Check("records", {"records", "--last"}, true);
    Check("records-remove", {"records", "remove", "0-1", "--yes"}, true);
    Check("reset", {"reset", "wifi", "--yes"}, true);
    for (const char* const by : {"hour", "day", "week", "month", "year", "type", "profile"}) {
        Check("usage", {"usage", "--by", by});
        Check("usage",
              {"usage", "--by", by, "--from", "2d", "--to", "2100-01-01", "--type", "wifi", "--top", "3"});
    }
    Check("limit", {"limit"});
    Check("summary", {});
    Check("limit", {"limit", "set", "5GB", "--type", "wifi"});
    Check("summary", {});
    Check("limit", {"limit", "set", "500MB", "--per", "day"});
    Check("limit", {"limit"});
    Check("limit", {"limit", "clear"});
    Check("settings", {"settings"});
    Check("settings", {"settings", "list"});
    Check("setting", {"settings", "set", "link.eth7", "ignore"});
    Check("setting", {"settings", "get", "link.eth7"});
    Check("settings", {"settings"});
    Check("devices", {"devices"});

    const auto program = Start({"run", "--json", "--module", NETINFO_SCRIPTED_MODULE});
    ASSERT_TRUE(program->WaitFor("\n"));
    setenv("NETINFO_CONFIG_DIR", environment["NETINFO_CONFIG_DIR"].c_str(), 1);
    const auto client = netinfo::ControlClient::Find(directory.File("data") + "/");
    ASSERT_TRUE(client);
    const auto status = (*client)->Ask({"GET", "/v1/status"});
    ASSERT_TRUE(status) << status.Error().message;
    ExpectToFit("status", status->dump());
    Check("summary", {});
    const auto view = Start({"live", "--json"});
    ASSERT_TRUE(view->WaitFor("\n"));
    for (nettest::Program* const lines : {view.get(), program.get()}) {
        lines->Signal(SIGTERM);
        ASSERT_EQ(lines->Wait(), 0);
        ExpectToFit("run", lines->Text().substr(0, lines->Text().find('\n')));
    }

    std::set<std::string> schemas;
    for (const auto& file : std::filesystem::directory_iterator(SCHEMAS))
        schemas.insert(file.path().stem());
    EXPECT_EQ(m_seen, schemas);
}

TEST_F(JsonOutput, OfEveryCommandThatHasItIsHeldToASchema)
{
    for (const nettest::HelpPage& page : nettest::ReadHelpPages()) {
        if (!page.options.contains("--json")) continue;
        const std::string name = page.command.empty() ? "netinfo --json" : page.Name().substr(8);
        bool found = false;
        for (const auto& file : std::filesystem::directory_iterator(SCHEMAS)) {
            const std::string title = ReadSchema(file.path().stem())["title"];
            found |= title.find(name) != std::string::npos;
        }
        EXPECT_TRUE(found) << page.Name();
    }
}

TEST_F(JsonOutput, FitsNoSchemaOnceAMemberHasVanishedOrJoined)
{
    const Json schema = Closed(ReadSchema("report"));
    Json report = Json::parse(Run({"report", "--json", "--module", NETINFO_SCRIPTED_MODULE}).text);
    ASSERT_EQ(Problems(schema, report), "");

    Json less = report;
    less["types"][1]["week"].erase("uploaded");
    EXPECT_NE(Problems(schema, less), "");
    Json more = report;
    more["types"][2]["today"]["fee"] = 0;
    EXPECT_NE(Problems(schema, more), "");
    EXPECT_EQ(Problems(ReadSchema("report"), more), "");  // readers are not to mind what joins
    Json other = report;
    other["types"][0]["year"]["downloaded"] = "1024";
    EXPECT_NE(Problems(schema, other), "");
}
