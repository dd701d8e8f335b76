#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "platform/common/GlobalFunction.h"
#include "store/DataMgr.h"
#include "tests/store/StoreTest.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TestClock.h"
#include "tests/support/Text.h"

namespace {

using namespace nettest;
using testing::ElementsAre;

bool g_failRename = false;
bool g_systemIsUTF8 = false;  ///< else the system's code page is Latin-1

U16String Decode(const std::string& text, bool utf8)
{
    U16String result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (!utf8 || byte < 0x80) {
            result.push_back(byte);
        } else if (byte >= 0xC2 && byte < 0xE0 && i + 1 < text.size()) {
            result.push_back(static_cast<unsigned short>((byte & 0x1F) << 6 | (text[++i] & 0x3F)));
        } else {
            result.push_back(0xFFFD);
        }
    }
    return result;
}

std::string Encode(const U16String& text, bool utf8)
{
    std::string result;
    for (const unsigned short unit : text) {
        if (unit < 0x80) {
            result.push_back(static_cast<char>(unit));
        } else if (!utf8) {
            result.push_back(unit < 0x100 ? static_cast<char>(unit) : '?');
        } else if (unit < 0x800) {
            result.push_back(static_cast<char>(0xC0 | unit >> 6));
            result.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
        } else {
            result.push_back(static_cast<char>(0xE0 | unit >> 12));
            result.push_back(static_cast<char>(0x80 | (unit >> 6 & 0x3F)));
            result.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
        }
    }
    return result;
}

bool IsUTF8(int nCodePage) { return nCodePage == 65001 || (nCodePage == 0 && g_systemIsUTF8); }

template <class Text, class Unit>
int Copy(const Text& text, Unit* buffer, int size)
{
    if (!buffer) return static_cast<int>(text.size());
    const auto length = std::min(text.size(), static_cast<std::size_t>(size));
    std::copy_n(text.begin(), length, buffer);
    buffer[length] = 0;
    return static_cast<int>(length);
}

}  // namespace

int CGlobalFunction::MultiByteToWideChar(const char* s, unsigned short* buffer, int size, int nCodePage)
{
    return Copy(Decode(s, IsUTF8(nCodePage)), buffer, size);
}

int CGlobalFunction::WideCharToMultiByte(const unsigned short* s, char* buffer, int size, int nCodePage)
{
    return Copy(Encode(U16String(s), IsUTF8(nCodePage)), buffer, size);
}

extern "C" int rename(const char* oldName, const char* newName) noexcept
{
    if (g_failRename) {
        errno = EACCES;
        return -1;
    }
    return renameat(AT_FDCWD, oldName, AT_FDCWD, newName);
}

namespace {

const std::string HEADER = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";

class FileInTheSystemCodePage : public StoreTest
{
protected:
    ~FileInTheSystemCodePage() override { g_failRename = g_systemIsUTF8 = false; }

    std::string LeftOver() const { return Path() + ".utf8"; }
    std::string Kept() const { return Path() + ".bad-" + std::to_string(TestClock::Now()); }

    const std::string m_latin =
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<xml><total><item apn=\"caf\xE9\" endtime=\"" +
        std::to_string(Moment("2026-03-18 14:00:00")) + "\"/></total></xml>\r\n";
    const std::string m_converted = Replaced(m_latin, "\xE9", "\xC3\xA9");

    static std::string Replaced(std::string text, const std::string& from, const std::string& to)
    {
        return text.replace(text.find(from), from.size(), to);
    }
};

TEST_F(FileInTheSystemCodePage, IsConvertedBehindANewDeclaration)
{
    GivenBytes(m_latin);

    CDataMgr store;

    EXPECT_EQ(File(), HEADER + m_converted);
    EXPECT_THAT(Files(), ElementsAre("NetInfo.dat"));
    ASSERT_EQ(ReadAll(store.GetAllConnRecord()).size(), 1U);
    EXPECT_EQ(ReadAll(store.GetAllConnRecord())[0].apn, "caf\xC3\xA9");
}

TEST_F(FileInTheSystemCodePage, IsConvertedOnlyOnce)
{
    GivenBytes(m_latin);
    CDataMgr store;
    const std::string saved = Saved(store);

    store.NetinfoFiletoUTF8();
    EXPECT_EQ(File(), saved);

    CDataMgr again;
    EXPECT_EQ(File(), saved);
}

TEST_F(FileInTheSystemCodePage, MayBeOfAnyLengthAroundThePiecesItIsReadIn)
{
    for (const std::size_t length : {9U, 10U, 11U, 1031U, 1032U, 1033U, 2054U, 2055U, 2056U, 5000U}) {
        SCOPED_TRACE(length);
        std::string text = "<xml/>";
        text.resize(length, '\xE9');
        std::string converted = "<xml/>";
        for (std::size_t i = 6; i < length; ++i)
            converted += "\xC3\xA9";
        GivenBytes(text);

        const CDataMgr store;

        EXPECT_EQ(File(), HEADER + converted);
    }
}

TEST_F(FileInTheSystemCodePage, LosesCharactersThatLieAcrossTwoPieces)
{
    g_systemIsUTF8 = true;
    const std::string replacement = "\xEF\xBF\xBD";
    const std::string filling(1021, ' ');
    GivenBytes("<xml><a>\xC3\xA9" + filling + "\xC3\xA9\xC3\xA9</a></xml>");

    const CDataMgr store;

    EXPECT_EQ(File(), HEADER + "<xml><a>" + replacement + replacement + filling + replacement + replacement +
                          "\xC3\xA9</a></xml>");
}

TEST_F(FileInTheSystemCodePage, FollowsOnTheFileThatAnInterruptedConversionLeft)
{
    for (const std::string& leftOver : {HEADER, std::string("left over "), HEADER + m_converted}) {
        SCOPED_TRACE(leftOver);
        WriteFile(LeftOver(), leftOver);
        GivenBytes(m_latin);

        const CDataMgr store;

        EXPECT_EQ(File(), leftOver + HEADER + m_converted);
        EXPECT_THAT(Files(), ElementsAre("NetInfo.dat"));
    }
}

TEST_F(FileInTheSystemCodePage, DropsALeftOverThatWouldSpoilIt)
{
    WriteFile(LeftOver(), HEADER + m_converted.substr(0, 60));
    GivenBytes(m_latin);

    const CDataMgr store;

    EXPECT_EQ(File(), HEADER + m_converted);
    EXPECT_THAT(Files(), ElementsAre("NetInfo.dat"));
}

TEST_F(FileInTheSystemCodePage, StaysAsItIsWhenTheLeftOverCannotBeFollowed)
{
    std::filesystem::create_directory(LeftOver());
    GivenBytes(m_latin);
    {
        CDataMgr store;

        EXPECT_EQ(File(), m_latin);
        EXPECT_EQ(ReadAll(store.GetAllConnRecord()).size(), 1U);
    }
    std::filesystem::remove(LeftOver());

    CDataMgr again;  // what was saved in between is converted now, the text as it was
    EXPECT_EQ(File().substr(0, HEADER.size()), HEADER);
    ASSERT_EQ(ReadAll(again.GetAllConnRecord()).size(), 1U);
    EXPECT_EQ(ReadAll(again.GetAllConnRecord())[0].apn, "caf\xC3\xA9");
}

TEST_F(FileInTheSystemCodePage, StaysAsItIsWhenItCannotBeReplaced)
{
    WriteFile(LeftOver(), HEADER);
    GivenBytes(m_latin);
    g_failRename = true;

    const CDataMgr store;

    EXPECT_EQ(File(), m_latin);
    EXPECT_EQ(ReadFile(LeftOver()), HEADER);
    EXPECT_THAT(Files(), ElementsAre("NetInfo.dat", "NetInfo.dat.utf8"));
}

TEST_F(FileInTheSystemCodePage, IsKeptInItsOriginalBytesWhenItDoesNotParse)
{
    const std::string damaged = m_latin.substr(0, m_latin.size() - 5);
    GivenBytes(damaged);

    const CDataMgr store;

    EXPECT_EQ(ReadFile(Kept()), damaged);
    EXPECT_EQ(File(), HEADER + "<xml>\r\n</xml>\r\n");
    EXPECT_EQ(Files().size(), 2U);
}

TEST_F(FileInTheSystemCodePage, IsKeptInItsOriginalBytesWhenItHasAnotherRoot)
{
    GivenBytes("<settings name=\"caf\xE9\"/>");

    const CDataMgr store;

    EXPECT_EQ(ReadFile(Kept()), "<settings name=\"caf\xE9\"/>");
}

TEST_F(FileInTheSystemCodePage, IsNotConvertedUpToAZeroByte)
{
    GivenBytes(m_latin + std::string("\0rest", 5));

    CDataMgr store;

    EXPECT_EQ(File(), m_latin + std::string("\0rest", 5));
    EXPECT_EQ(ReadAll(store.GetAllConnRecord()).size(), 1U);
}

TEST_F(FileInTheSystemCodePage, KeepsItsModeWhenConverted)
{
    GivenBytes(m_latin);
    ASSERT_EQ(chmod(Path().c_str(), 0640), 0);

    const CDataMgr store;

    struct stat status
    {};
    ASSERT_EQ(stat(Path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

TEST_F(FileInTheSystemCodePage, MayBeOneThatTheStoreWroteWithoutItsHeader)
{
    FakePlatform::SetUserDataDirectory(m_dir.File("later/"));
    {
        const CDataMgr store;
        std::filesystem::create_directory(m_dir.File("later"));
    }

    const CDataMgr again;

    EXPECT_EQ(ReadFile(m_dir.File("later/NetInfo.dat")),
              DataFile(EmptyTypes("2026-03-18 15:00:00") + "<total/>"));
}

TEST_F(FileInTheSystemCodePage, NamesItsPathInThatCodePage)
{
    FakePlatform::SetUserDataDirectory(m_dir.File("Ren\xE9/"));
    const CDataMgr store;

    EXPECT_EQ(store.GetDataFilePathName(), m_dir.File("Ren\xE9/NetInfo.dat"));
}

}  // namespace
