#include "host/PluginModule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "host/ConnectionManager.h"
#include "host/Container.h"
#include "host/DeviceManager.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

using netinfo::Container;
using netinfo::PluginModule;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

struct PluginModuleTest : testing::Test
{
    nettest::TempDir directory;
    Container container;

    void Script(const std::string& words)
    {
        setenv("NETINFO_SCRIPT", words.c_str(), 1);
        setenv("NETINFO_SCRIPT_LOG", directory.File("log").c_str(), 1);
    }
    std::vector<std::string> Log() const
    {
        std::istringstream text(nettest::ReadFile(directory.File("log")));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        return lines;
    }
    std::string Problem(const std::string& words, const std::string& path = NETINFO_SCRIPTED_MODULE)
    {
        Script(words);
        const auto module = PluginModule::Load(path, container);
        EXPECT_FALSE(module) << words;
        if (module) return {};
        EXPECT_EQ(module.Error().exitCode, netinfo::EXIT_FAILED);
        EXPECT_THAT(module.Error().message, Not(HasSubstr("\n")));
        return module.Error().message;
    }
};

}  // namespace

TEST_F(PluginModuleTest, StartsThePluginAndEndsItInOrder)
{
    Script("");
    {
        const auto module = PluginModule::Load(NETINFO_SCRIPTED_MODULE, container);
        ASSERT_TRUE(module);
        nis::REPORT report;
        (*module)->Traffic().GetTodayReport(report, 1);
        EXPECT_EQ(report.ullDownloaded, 11U * 1024U);
        IConnRecord* const records = (*module)->Records().GetAllConnRecord();
        EXPECT_EQ(records->GetAllRecordCount(), 3);
        records->Release();
    }
    EXPECT_THAT(Log(), ElementsAre("create", "container", "init", "no siblings", "query", "query", "records",
                                   "release records", "destroy", "release"));
}

TEST_F(PluginModuleTest, GivesThePluginItsSiblings)
{
    Script("");
    netinfo::ConnectionManager connections;
    netinfo::DeviceManager devices;
    Container withSiblings(connections, devices);
    {
        const auto module = PluginModule::Load(NETINFO_SCRIPTED_MODULE, withSiblings);
        ASSERT_TRUE(module);
        connections.Update({{netinfo::ToText16("/eth0/1/"), netinfo::ToText16("home"), 4}});
    }
    EXPECT_THAT(Log(), ElementsAre("create", "container", "init", "siblings", "query", "query",
                                   "state /eth0/1/ 1", "destroy", "release"));
}

TEST_F(PluginModuleTest, CanBeLoadedAgain)
{
    Script("");
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(PluginModule::Load(NETINFO_SCRIPTED_MODULE, container));
}

TEST_F(PluginModuleTest, SaysWhyAFileIsNoModule)
{
    nettest::WriteFile(directory.File("text.so"), "no module");

    EXPECT_THAT(Problem("", directory.File("missing.so")), HasSubstr("the module cannot be loaded: "));
    EXPECT_THAT(Problem("", directory.File("text.so")), HasSubstr("text.so"));
    EXPECT_THAT(Problem("", directory.Path()), HasSubstr("the module cannot be loaded: "));
    EXPECT_THAT(Problem("", "missing-without-folder.so"), HasSubstr("./missing-without-folder.so"));
}

TEST_F(PluginModuleTest, RefusesAModuleWithoutEntryPoints)
{
    EXPECT_THAT(Problem("", NETINFO_NO_PLUGIN), HasSubstr("has no CreatePlugin"));
    EXPECT_THAT(Problem("", NETINFO_HALF_PLUGIN), HasSubstr("has no ReleasePlugin"));
}

TEST_F(PluginModuleTest, RefusesAModuleThatMakesNoPlugin)
{
    EXPECT_THAT(Problem("no-plugin"), HasSubstr("makes no plug-in"));
    EXPECT_THAT(Log(), ElementsAre("create", "release"));
}

TEST_F(PluginModuleTest, EndsAPluginThatLacksAService)
{
    EXPECT_THAT(Problem("no-traffic"), HasSubstr("offers no traffic service"));
    EXPECT_THAT(Problem("no-records"), HasSubstr("offers no record service"));
    EXPECT_THAT(Problem("init-fails"), HasSubstr("cannot be started"));
    EXPECT_THAT(Log(), testing::Contains("destroy").Times(3));
    EXPECT_THAT(Log(), testing::Contains("release").Times(3));
}

TEST_F(PluginModuleTest, SurvivesAPluginThatThrowsAnywhere)
{
    for (const char* const call : {"create", "container", "init", "query"}) {
        EXPECT_THAT(Problem(std::string("throw-") + call), HasSubstr("throws while it starts: scripted"))
            << call;
        EXPECT_THAT(Problem(std::string("throw-odd-") + call), HasSubstr("throws while it starts")) << call;
    }
    for (const char* const call : {"throw-destroy", "throw-odd-destroy", "throw-release"}) {
        Script(call);
        EXPECT_TRUE(PluginModule::Load(NETINFO_SCRIPTED_MODULE, container)) << call;
    }
    EXPECT_THAT(Log(), testing::Contains("release").Times(11));
}

TEST_F(PluginModuleTest, IsExpectedBesideTheProgram)
{
    EXPECT_THAT(PluginModule::DefaultPath(), testing::EndsWith("/netinfo/NetInfoSrvPlugin.so"));
}
