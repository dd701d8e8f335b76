#include "platform/common/GlobalFunction.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "platform/trace/TraceSrv.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace {

int g_traces = 0;

}  // namespace

// The program's own comes before the trace library's, for libCommon as for every other library.
void TraceSrv_Trace(int, const char*, const char*) { ++g_traces; }

namespace {

using nettest::U16;
using nettest::U16String;
using nettest::WriteFile;

U16String Units(std::u16string_view text) { return {text.begin(), text.end()}; }

/// A buffer as callers of the two-call pattern have it, with a guard behind it.
class Buffer
{
public:
    explicit Buffer(std::size_t size) : m_units(size + 1 + GUARD, 0x5A5A) {}

    unsigned short* Get() { return m_units.data(); }
    U16String Text() const { return m_units.data(); }
    /// Nothing behind the room for `size` units and a terminator was touched.
    bool IsIntact() const
    {
        return U16String(m_units.end() - GUARD, m_units.end()) == U16String(GUARD, 0x5A5A);
    }

private:
    static constexpr std::ptrdiff_t GUARD = 16;
    std::vector<unsigned short> m_units;
};

class GlobalFunctionTest : public testing::Test
{
protected:
    GlobalFunctionTest()
    {
        for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG", "XDG_DATA_HOME", "XDG_CONFIG_HOME"})
            unsetenv(variable);
        setenv("HOME", m_directory.File("home").c_str(), 1);
        setenv("NETINFO_CONFIG_DIR", m_directory.File("config").c_str(), 1);
        setenv("NETINFO_DATA_DIR", m_directory.File("data").c_str(), 1);
        setenv("NETINFO_MODULE_DIR", m_directory.File("module").c_str(), 1);
        std::filesystem::create_directory(m_directory.File("config"));
        std::filesystem::create_directory(m_directory.File("module"));
    }

    void WriteUserSettings(std::string_view text)
    {
        WriteFile(m_directory.File("config/DataUsageLimit.ini"), text);
    }
    void WriteModuleSettings(std::string_view text)
    {
        WriteFile(m_directory.File("module/DataUsageLimit.ini"), text);
    }

    /// Both calls of the pattern; the length that they agree on.
    static U16String Setting(const char* section, const char* key)
    {
        const U16String s = U16(section);
        const U16String k = U16(key);
        const int length = CGlobalFunction::GetSetting(s.c_str(), k.c_str(), nullptr, 0);
        Buffer buffer(static_cast<std::size_t>(length));
        EXPECT_EQ(CGlobalFunction::GetSetting(s.c_str(), k.c_str(), buffer.Get(), length), length);
        EXPECT_TRUE(buffer.IsIntact());
        return buffer.Text();
    }

    static bool Set(const char* section, const char* key, const U16String& value)
    {
        return CGlobalFunction::SetSetting(U16(section).c_str(), U16(key).c_str(), value.c_str());
    }

    /// The user data directory as the plug-in gets it and opens files in it.
    static std::string DataDirectoryThereAndBack()
    {
        std::array<unsigned short, 1024> buffer{};
        CGlobalFunction::GetUserDataDirectory(buffer.data(), 1024);
        const int length = CGlobalFunction::WideCharToMultiByte(buffer.data(), nullptr, 0, 0);
        std::string path(static_cast<std::size_t>(length), '\0');
        CGlobalFunction::WideCharToMultiByte(buffer.data(), path.data(), length, 0);
        return path;
    }

    nettest::TempDir m_directory;
};

TEST_F(GlobalFunctionTest, ReadsTheUsersSettings)
{
    WriteUserSettings("[uselimit]\nstartweekdate=1\nname=\xF0\x9F\x98\x80 caf\xC3\xA9\n");

    EXPECT_EQ(Setting("uselimit", "startweekdate"), U16("1"));
    EXPECT_EQ(Setting("UseLimit", "StartWeekDate"), U16("1"));
    EXPECT_EQ(Setting("uselimit", "name"), Units(u"\U0001F600 caf\u00E9"));
    EXPECT_EQ(Setting("uselimit", "startmonthdate"), U16String());
}

TEST_F(GlobalFunctionTest, FallsBackToTheModulesSettingsKeyByKey)
{
    WriteUserSettings("[uselimit]\nstartweekdate=1\nempty=\n");
    WriteModuleSettings("[uselimit]\nstartweekdate=2\nstartmonthdate=3\nempty=4\n");

    EXPECT_EQ(Setting("uselimit", "startweekdate"), U16("1"));
    EXPECT_EQ(Setting("uselimit", "startmonthdate"), U16("3"));
    EXPECT_EQ(Setting("uselimit", "empty"), U16String()) << "an empty value is the user's choice";
}

TEST_F(GlobalFunctionTest, ReadsTheModulesSettingsWhereTheUserHasNone)
{
    WriteModuleSettings("[uselimit]\nstartweekdate=2\n");

    EXPECT_EQ(Setting("uselimit", "startweekdate"), U16("2"));
}

TEST_F(GlobalFunctionTest, CutsASettingThatGrewBetweenTheTwoCalls)
{
    WriteUserSettings("[s]\nk=ab\xF0\x9F\x98\x80z\n");
    const U16String s = U16("s");
    const U16String k = U16("k");
    const U16String expected[] = {
        U16(""), U16("a"), U16("ab"), U16("ab"), Units(u"ab\U0001F600"), Units(u"ab\U0001F600z")};
    for (int size = 0; size < static_cast<int>(std::size(expected)); ++size) {
        SCOPED_TRACE(size);
        Buffer buffer(static_cast<std::size_t>(size));
        const U16String& kept = expected[size];
        EXPECT_EQ(CGlobalFunction::GetSetting(s.c_str(), k.c_str(), buffer.Get(), size),
                  static_cast<int>(kept.size()));
        EXPECT_EQ(buffer.Text(), kept);
        EXPECT_TRUE(buffer.IsIntact());
    }
}

TEST_F(GlobalFunctionTest, TerminatesTheBufferOfASettingThatHasGone)
{
    Buffer buffer(8);

    EXPECT_EQ(CGlobalFunction::GetSetting(U16("s").c_str(), U16("k").c_str(), buffer.Get(), 8), 0);

    EXPECT_EQ(buffer.Text(), U16String());
}

TEST_F(GlobalFunctionTest, LeavesABufferOfNegativeSizeAlone)
{
    WriteUserSettings("[s]\nk=value\n");
    unsigned short buffer[] = {'x', 0};

    EXPECT_EQ(CGlobalFunction::GetSetting(U16("s").c_str(), U16("k").c_str(), buffer, -1), 0);
    EXPECT_EQ(CGlobalFunction::MultiByteToWideChar("abc", buffer, INT_MIN, 65001), 0);
    EXPECT_EQ(CGlobalFunction::GetUserDataDirectory(buffer, 0), 0);
    EXPECT_EQ(buffer[0], 'x');
}

TEST_F(GlobalFunctionTest, HasNoSettingWithoutAName)
{
    WriteUserSettings("[s]\nk=value\n");

    EXPECT_EQ(CGlobalFunction::GetSetting(nullptr, U16("k").c_str(), nullptr, 0), 0);
    EXPECT_EQ(CGlobalFunction::GetSetting(U16("s").c_str(), nullptr, nullptr, 0), 0);
    EXPECT_FALSE(CGlobalFunction::SetSetting(nullptr, U16("k").c_str(), U16("v").c_str()));
    EXPECT_FALSE(CGlobalFunction::SetSetting(U16("s").c_str(), nullptr, U16("v").c_str()));
    EXPECT_FALSE(CGlobalFunction::SetSetting(U16("s").c_str(), U16("k").c_str(), nullptr));
}

TEST_F(GlobalFunctionTest, StoresASettingForTheUser)
{
    WriteModuleSettings("[s]\nk=default\n");
    std::filesystem::remove(m_directory.File("config"));
    ASSERT_EQ(Setting("s", "k"), U16("default"));

    ASSERT_TRUE(Set("s", "k", Units(u"\u20AC \U0001F600")));

    EXPECT_EQ(Setting("s", "k"), Units(u"\u20AC \U0001F600"));
    EXPECT_EQ(nettest::ReadFile(m_directory.File("config/DataUsageLimit.ini")),
              "[s]\nk = \xE2\x82\xAC \xF0\x9F\x98\x80\n");
    EXPECT_EQ(nettest::ReadFile(m_directory.File("module/DataUsageLimit.ini")), "[s]\nk=default\n");
}

TEST_F(GlobalFunctionTest, TellsWhenASettingCannotBeStored)
{
    std::filesystem::remove(m_directory.File("config"));
    WriteFile(m_directory.File("config"), "in the way");

    EXPECT_FALSE(Set("s", "k", U16("v")));

    EXPECT_GT(g_traces, 0) << "through the program's own trace function";
}

TEST_F(GlobalFunctionTest, TheSystemIsOfTypeZeroUnlessASettingSaysOtherwise)
{
    EXPECT_EQ(CGlobalFunction::GetOSType(), 0);
    struct
    {
        const char16_t* value;
        int type;
    } const cases[] = {{u"3", 3}, {u"-1", -1}, {u"Linux", 0}, {u"3x", 0}, {u"99999999999", 0}, {u"", 0}};
    for (const auto& c : cases) {
        ASSERT_TRUE(Set("platform", "ostype", Units(c.value)));
        EXPECT_EQ(CGlobalFunction::GetOSType(), c.type);
    }
}

TEST_F(GlobalFunctionTest, TheUserDataDirectoryExistsAfterwardsForTheUserAlone)
{
    umask(0);
    setenv("NETINFO_DATA_DIR", m_directory.File("new/data").c_str(), 1);

    EXPECT_EQ(DataDirectoryThereAndBack(), m_directory.File("new/data/"));

    for (const char* made : {"new", "new/data"}) {
        struct stat status
        {};
        ASSERT_EQ(stat(m_directory.File(made).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0700U);
    }
}

TEST_F(GlobalFunctionTest, TheUserDataDirectoryIsUnderTheHomeDirectoryByDefault)
{
    unsetenv("NETINFO_DATA_DIR");

    EXPECT_EQ(DataDirectoryThereAndBack(), m_directory.File("home/.local/share/netinfo/"));

    EXPECT_TRUE(std::filesystem::is_directory(m_directory.File("home/.local/share/netinfo")));
}

TEST_F(GlobalFunctionTest, TheUserDataDirectoryCountsTheTerminatorInItsSize)
{
    const std::string path = m_directory.File("data/");
    const int length = static_cast<int>(path.size());

    EXPECT_EQ(CGlobalFunction::GetUserDataDirectory(nullptr, 0), length);
    for (const int size : {1, 5, length, length + 1, length + 2}) {
        SCOPED_TRACE(size);
        Buffer buffer(static_cast<std::size_t>(size) - 1);
        const int expected = std::min(length, size - 1);
        EXPECT_EQ(CGlobalFunction::GetUserDataDirectory(buffer.Get(), size), expected);
        EXPECT_EQ(buffer.Text(), U16(path.substr(0, static_cast<std::size_t>(expected))));
        EXPECT_TRUE(buffer.IsIntact());
    }
}

TEST_F(GlobalFunctionTest, NamesAUserDataDirectoryThatCannotBeMade)
{
    // So that opening a file in it fails: with an empty path it would succeed in the working directory.
    WriteFile(m_directory.File("file"), "");
    setenv("NETINFO_DATA_DIR", m_directory.File("file/data").c_str(), 1);

    EXPECT_EQ(DataDirectoryThereAndBack(), m_directory.File("file/data/"));
    EXPECT_GT(g_traces, 0);
}

TEST_F(GlobalFunctionTest, TellsOfAUserDataDirectoryWhoseNameIsNoText)
{
    setenv("NETINFO_DATA_DIR", m_directory.File("caf\xE9").c_str(), 1);

    EXPECT_NE(DataDirectoryThereAndBack(), m_directory.File("caf\xE9/"));

    EXPECT_GT(g_traces, 0);
}

class PathThereAndBack : public GlobalFunctionTest, public testing::WithParamInterface<const char*>
{};

TEST_P(PathThereAndBack, KeepsEveryByteOfAUtf8Name)
{
    setenv("LANG", GetParam(), 1);
    const std::string path = m_directory.File("\xE2\x82\xAC caf\xC3\xA9/\xF0\x9F\x98\x80/");
    setenv("NETINFO_DATA_DIR", path.c_str(), 1);

    EXPECT_EQ(DataDirectoryThereAndBack(), path);

    EXPECT_TRUE(std::filesystem::is_directory(path));
    EXPECT_EQ(g_traces, 0);
}

INSTANTIATE_TEST_SUITE_P(Locales, PathThereAndBack,
                         testing::Values("", "C", "POSIX", "C.UTF-8", "xx_YY.UTF-8", "xx_YY",
                                         "xx_YY.ISO-8859-1", "xx_YY.KOI8-R"));

TEST_F(GlobalFunctionTest, TheModuleDirectoryIsTheLibrarysOwnByDefault)
{
    unsetenv("NETINFO_MODULE_DIR");
    void* library = dlopen("libCommon.so", RTLD_LAZY | RTLD_NOLOAD);
    ASSERT_TRUE(library);
    char origin[PATH_MAX];
    ASSERT_EQ(dlinfo(library, RTLD_DI_ORIGIN, origin), 0);
    dlclose(library);

    const int length = CGlobalFunction::GetModuleDirectory(nullptr, 0);
    Buffer buffer(static_cast<std::size_t>(length));
    EXPECT_EQ(CGlobalFunction::GetModuleDirectory(buffer.Get(), length), length);

    const auto folder = std::filesystem::canonical(origin).string() + "/";
    EXPECT_EQ(std::filesystem::canonical(nettest::Narrow(buffer.Text())).string() + "/", folder);
    EXPECT_EQ(buffer.Text().back(), '/');
    EXPECT_TRUE(buffer.IsIntact());
}

TEST_F(GlobalFunctionTest, TheModuleDirectoryMayBeElsewhere)
{
    const std::string path = m_directory.File("module/");
    const int length = static_cast<int>(path.size());
    Buffer buffer(path.size());

    EXPECT_EQ(CGlobalFunction::GetModuleDirectory(nullptr, 0), length);
    EXPECT_EQ(CGlobalFunction::GetModuleDirectory(buffer.Get(), length), length);

    EXPECT_EQ(buffer.Text(), U16(path));
    EXPECT_TRUE(buffer.IsIntact());
}

TEST_F(GlobalFunctionTest, ConversionsAnnounceTheLengthThatTheyGive)
{
    const std::string narrow[] = {"", "abc", "\xE2\x82\xAC\xF0\x9F\x98\x80", "\x80\xFF\xC3",
                                  std::string(5000, 'x')};
    for (const int codePage : {0, 65001, 1252, 932}) {
        for (const std::string& text : narrow) {
            SCOPED_TRACE(testing::Message() << codePage << ' ' << text.substr(0, 10));
            const int units = CGlobalFunction::MultiByteToWideChar(text.c_str(), nullptr, 0, codePage);
            Buffer wide(static_cast<std::size_t>(units));
            ASSERT_EQ(CGlobalFunction::MultiByteToWideChar(text.c_str(), wide.Get(), units, codePage), units);
            ASSERT_EQ(wide.Text().size(), static_cast<std::size_t>(units));
            ASSERT_TRUE(wide.IsIntact());

            const int bytes = CGlobalFunction::WideCharToMultiByte(wide.Get(), nullptr, 0, codePage);
            std::string back(static_cast<std::size_t>(bytes) + 2, 'Z');
            ASSERT_EQ(CGlobalFunction::WideCharToMultiByte(wide.Get(), back.data(), bytes, codePage), bytes);
            ASSERT_EQ(back.find('\0'), static_cast<std::size_t>(bytes));
            ASSERT_EQ(back.back(), 'Z');
        }
    }
}

TEST_F(GlobalFunctionTest, ConversionsCutAtAWholeCharacter)
{
    unsigned short wide[4] = {9, 9, 9, 9};
    EXPECT_EQ(CGlobalFunction::MultiByteToWideChar("a\xF0\x9F\x98\x80", wide, 2, 65001), 1);
    EXPECT_EQ(wide[0], 'a');
    EXPECT_EQ(wide[1], 0);
    EXPECT_EQ(wide[2], 9);

    char narrow[4] = {9, 9, 9, 9};
    EXPECT_EQ(CGlobalFunction::WideCharToMultiByte(Units(u"a\u20AC").c_str(), narrow, 3, 65001), 1);
    EXPECT_STREQ(narrow, "a");
    EXPECT_EQ(narrow[2], 9);
}

TEST_F(GlobalFunctionTest, ConversionsGiveNothingForNoTextAndForAnUnknownCodePage)
{
    unsigned short wide[] = {9, 9};
    char narrow[] = {9, 9};

    EXPECT_EQ(CGlobalFunction::MultiByteToWideChar(nullptr, nullptr, 0, 65001), 0);
    EXPECT_EQ(CGlobalFunction::WideCharToMultiByte(nullptr, nullptr, 0, 65001), 0);
    EXPECT_EQ(CGlobalFunction::MultiByteToWideChar("a", nullptr, 0, 99999), 0);
    EXPECT_EQ(CGlobalFunction::WideCharToMultiByte(U16("a").c_str(), nullptr, 0, -7), 0);
    EXPECT_EQ(CGlobalFunction::MultiByteToWideChar("a", wide, 1, 99999), 0);
    EXPECT_EQ(CGlobalFunction::WideCharToMultiByte(U16("a").c_str(), narrow, 1, -7), 0);
    EXPECT_EQ(wide[0], 0);
    EXPECT_EQ(narrow[0], 0);
}

}  // namespace
