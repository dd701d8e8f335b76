#include "host/UsageLedger.h"

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "tests/host/OrdinaryUser.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace {

using namespace netinfo;
using nettest::ReadFile;
using nettest::WriteFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr long long kHour = 3600;
constexpr long long kNoon = 1'714'557'600;
constexpr long long kEver = 253'402'300'800;

UsageRow Row(long long hour, unsigned long long downloaded, unsigned long long uploaded = 0,
             unsigned long long seconds = 0)
{
    return {hour, 4, "uplink", "eth0", false, downloaded, uploaded, seconds};
}

LinkMark Mark(int index)
{
    return {
        "boot", index, "eth" + std::to_string(index), {2, 0, 0, 0, 0, 0xFF}, 0xFFFFFFFF, {7'000'000'000, 8}};
}

class UsageLedgerTest : public testing::Test
{
protected:
    std::unique_ptr<UsageLedger> Opened()
    {
        auto ledger = UsageLedger::Open(m_path, [this](const std::string& text) { m_told.push_back(text); });
        EXPECT_TRUE(ledger) << (ledger ? "" : ledger.Error().message);
        return ledger ? std::move(*ledger) : nullptr;
    }
    std::string OpenError()
    {
        const auto ledger = UsageLedger::Open(m_path, {});
        return ledger ? "" : ledger.Error().message;
    }
    static std::vector<UsageRow> Rows(const UsageLedger& ledger)
    {
        const auto rows = ledger.Read(0, kEver);
        EXPECT_TRUE(rows) << (rows ? "" : rows.Error().message);
        return rows ? *rows : std::vector<UsageRow>();
    }
    static void Commit(UsageLedger& ledger, const std::vector<LinkMark>& marks = {})
    {
        const auto failure = ledger.Commit(marks);
        EXPECT_FALSE(failure) << failure->message;
    }
    /// SQL of the test's own, on the file.
    void Execute(const std::string& text)
    {
        sqlite3* file = nullptr;
        ASSERT_EQ(SQLITE_OK, sqlite3_open(File().c_str(), &file));
        char* error = nullptr;
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(file, text.c_str(), nullptr, nullptr, &error)) << error;
        sqlite3_close(file);
    }
    std::string File(const std::string& suffix = "") const { return m_path + "usage.db" + suffix; }
    std::vector<std::string> SetAside() const
    {
        std::vector<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(m_path)) {
            const std::string name = entry.path().filename();
            if (name.find(".bad-") != std::string::npos) files.push_back(name);
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    nettest::TempDir m_directory;
    const std::string m_path = m_directory.Path() + "/";
    std::vector<std::string> m_told;
};

// ---- rows, marks, what was told ---------------------------------------------------------------------------

TEST_F(UsageLedgerTest, AddsUpTheRowsOfAnHour)
{
    const auto ledger = Opened();
    ledger->Add(Row(kNoon, 100, 10, 1));
    Commit(*ledger);
    ledger->Add(Row(kNoon, 5, 6, 7));
    ledger->Add(Row(kNoon, 1, 1, 1));
    ledger->Add(Row(kNoon + kHour, 2, 3, 4));
    Commit(*ledger);

    EXPECT_THAT(Rows(*ledger), ElementsAre(Row(kNoon, 106, 17, 9), Row(kNoon + kHour, 2, 3, 4)));
}

TEST_F(UsageLedgerTest, KeepsApartWhatDiffersInAnything)
{
    std::vector<UsageRow> rows(6, Row(kNoon, 1, 2, 3));
    rows[1].hour += kHour;
    rows[2].type = 0;
    rows[3].profile = "another";
    rows[4].link = "eth1";
    rows[5].recovered = true;
    const auto ledger = Opened();
    for (const UsageRow& row : rows)
        ledger->Add(row);
    Commit(*ledger);

    EXPECT_THAT(Rows(*Opened()), testing::UnorderedElementsAreArray(rows));
}

TEST_F(UsageLedgerTest, ReadsWhatWaitsAsWell)
{
    const auto ledger = Opened();
    ledger->Add(Row(kNoon, 100));
    Commit(*ledger);
    ledger->Add(Row(kNoon, 1));
    ledger->Add(Row(kNoon - kHour, 2));

    EXPECT_THAT(Rows(*ledger), ElementsAre(Row(kNoon - kHour, 2), Row(kNoon, 101)));
    EXPECT_EQ(kNoon - kHour, ledger->FirstHour().operator*());
}

TEST_F(UsageLedgerTest, ReadsHoursByTheirStart)
{
    const auto ledger = Opened();
    for (int i = 0; i < 5; ++i)
        ledger->Add(Row(kNoon + i * kHour, 1));
    Commit(*ledger);
    ledger->Add(Row(kNoon + 5 * kHour, 1));

    EXPECT_THAT(*ledger->Read(kNoon + kHour, kNoon + 3 * kHour), SizeIs(2));
    EXPECT_THAT(*ledger->Read(kNoon + 1, kNoon + kHour), IsEmpty());
    EXPECT_THAT(*ledger->Read(kNoon + 5 * kHour, kEver), SizeIs(1));
    EXPECT_THAT(*ledger->Read(kNoon + 6 * kHour, kEver), IsEmpty());
}

TEST_F(UsageLedgerTest, DropsWhatWasNotCommitted)
{
    auto ledger = Opened();
    ledger->Add(Row(kNoon, 100));
    Commit(*ledger, {Mark(1)});
    ledger->Add(Row(kNoon, 1));
    ledger.reset();

    ledger = Opened();
    EXPECT_THAT(Rows(*ledger), ElementsAre(Row(kNoon, 100)));
    EXPECT_THAT(*ledger->Marks(), ElementsAre(Mark(1)));
}

TEST_F(UsageLedgerTest, ReplacesTheMarksWithEachCommit)
{
    const auto ledger = Opened();
    EXPECT_THAT(*ledger->Marks(), IsEmpty());
    Commit(*ledger, {Mark(1), Mark(2)});
    EXPECT_THAT(*ledger->Marks(), ElementsAre(Mark(1), Mark(2)));
    Commit(*ledger, {Mark(3)});
    EXPECT_THAT(*ledger->Marks(), ElementsAre(Mark(3)));
    Commit(*ledger, {});
    EXPECT_THAT(*ledger->Marks(), IsEmpty());
}

TEST_F(UsageLedgerTest, KeepsTextsOfAnyBytes)
{
    UsageRow odd = Row(kNoon, 1);
    odd.profile = "caf\xC3\xA9 \xFF'; DROP TABLE usage; --";
    odd.link = "";
    const auto ledger = Opened();
    ledger->Add(odd);
    Commit(*ledger);

    EXPECT_THAT(Rows(*ledger), ElementsAre(odd));
}

TEST_F(UsageLedgerTest, StaysAtTheLargestNumberThatItCanHold)
{
    const auto ledger = Opened();
    for (int i = 0; i < 3; ++i) {
        ledger->Add(Row(kNoon, 0xFFFFFFFFFFFFFFFF, 0x7000000000000000));
        Commit(*ledger);
    }
    EXPECT_THAT(Rows(*ledger), ElementsAre(Row(kNoon, 0x7FFFFFFFFFFFFFFF, 0x7FFFFFFFFFFFFFFF)));
    ledger->Add(Row(kNoon, 0xFFFFFFFFFFFFFFFF));
    EXPECT_EQ(0xFFFFFFFFFFFFFFFF, Rows(*ledger).at(0).downloaded);
}

TEST_F(UsageLedgerTest, KeepsHoursWithinTheCalendar)
{
    const auto ledger = Opened();
    ledger->Add(Row(-kHour, 1));
    ledger->Add(Row(0x7FFFFFFFFFFFFFFF, 2));
    Commit(*ledger);

    EXPECT_THAT(Rows(*ledger), ElementsAre(Row(0, 1), Row(kEver - kHour, 2)));
}

TEST_F(UsageLedgerTest, RemembersWhatWasTold)
{
    auto ledger = Opened();
    EXPECT_FALSE(*ledger->WasTold("warning"));
    ledger->RememberTold("warning", kNoon);
    EXPECT_TRUE(*ledger->WasTold("warning"));
    Commit(*ledger);
    ledger->RememberTold("limit", kNoon);
    ledger = Opened();
    EXPECT_TRUE(*ledger->WasTold("warning"));
    EXPECT_FALSE(*ledger->WasTold("limit")) << "not committed, so it will be told again";

    ledger->RememberTold("another", kNoon + 500 * 24 * kHour);
    Commit(*ledger);
    EXPECT_FALSE(*ledger->WasTold("warning")) << "nobody asks after more than a year";
}

TEST_F(UsageLedgerTest, WritesNothingWhenNothingChanged)
{
    const auto ledger = Opened();
    ledger->Add(Row(kNoon, 1));
    Commit(*ledger, {Mark(1)});
    const auto before = std::filesystem::file_size(File("-wal"));
    Commit(*ledger, {Mark(1)});
    EXPECT_EQ(before, std::filesystem::file_size(File("-wal")));
}

// ---- the file ---------------------------------------------------------------------------------------------

TEST_F(UsageLedgerTest, IsForItsUserAlone)
{
    const mode_t before = umask(0);
    const auto ledger = Opened();
    ledger->Add(Row(kNoon, 1));
    Commit(*ledger);
    umask(before);
    for (const char* const suffix : {"", "-wal", "-shm"}) {
        struct stat status
        {};
        ASSERT_EQ(0, stat(File(suffix).c_str(), &status)) << suffix;
        EXPECT_EQ(0600U, status.st_mode & 0777U) << suffix;
    }
}

TEST_F(UsageLedgerTest, CanBeReadWhileItIsWritten)
{
    const auto ledger = Opened();
    ledger->Add(Row(kNoon, 1));
    Commit(*ledger);
    const auto reader = UsageLedger::OpenForReading(m_path);
    ASSERT_TRUE(reader);
    EXPECT_THAT(Rows(**reader), ElementsAre(Row(kNoon, 1)));

    ledger->Add(Row(kNoon, 1));
    Commit(*ledger);
    EXPECT_THAT(Rows(**reader), ElementsAre(Row(kNoon, 2)));
}

TEST_F(UsageLedgerTest, ReadsAsEmptyWhereThereIsNone)
{
    const auto reader = UsageLedger::OpenForReading(m_path);
    ASSERT_TRUE(reader);
    EXPECT_THAT(Rows(**reader), IsEmpty());
    EXPECT_FALSE(*(*reader)->FirstHour());
    EXPECT_THAT(*(*reader)->Marks(), IsEmpty());
    EXPECT_FALSE(*(*reader)->WasTold("x"));
    EXPECT_FALSE(std::filesystem::exists(File())) << "reading makes nothing";

    WriteFile(File(), "");
    EXPECT_TRUE(UsageLedger::OpenForReading(m_path));
    EXPECT_EQ("", ReadFile(File()));
}

TEST_F(UsageLedgerTest, MigratesEverySchemaBeforeThePresent)
{
    for (int schema = 1; schema <= UsageLedger::SCHEMA; ++schema) {
        SCOPED_TRACE(schema);
        std::filesystem::remove(File());
        std::string text =
            "CREATE TABLE usage (hour INTEGER NOT NULL, type INTEGER NOT NULL, profile TEXT NOT NULL,"
            " link TEXT NOT NULL, recovered INTEGER NOT NULL, downloaded INTEGER NOT NULL,"
            " uploaded INTEGER NOT NULL, seconds INTEGER NOT NULL,"
            " PRIMARY KEY (hour, type, profile, link, recovered)) STRICT, WITHOUT ROWID;"
            "INSERT INTO usage VALUES (1714557600, 4, 'uplink', 'eth0', 0, 100, 10, 1);"
            "PRAGMA application_id = 0x4E495547;";
        if (schema >= 2) {
            text +=
                "CREATE TABLE mark (boot TEXT NOT NULL, link_index INTEGER NOT NULL, link TEXT NOT NULL,"
                " address BLOB NOT NULL, carrier_changes INTEGER NOT NULL, received INTEGER NOT NULL,"
                " sent INTEGER NOT NULL, PRIMARY KEY (link_index)) STRICT;"
                "INSERT INTO mark VALUES ('boot', 2, 'eth0', x'020000000001', 3, 500, 50);";
        }
        if (schema >= 3) {
            text +=
                "CREATE TABLE told (event TEXT NOT NULL, moment INTEGER NOT NULL, PRIMARY KEY (event))"
                " STRICT, WITHOUT ROWID;"
                "INSERT INTO told VALUES ('warning', 1714557600);";
        }
        Execute(text + "PRAGMA user_version = " + std::to_string(schema));
        {
            const auto reader = UsageLedger::OpenForReading(m_path);
            ASSERT_TRUE(reader);
            EXPECT_THAT(Rows(**reader), ElementsAre(Row(kNoon, 100, 10, 1))) << "before it is migrated";
        }
        const auto ledger = Opened();
        ASSERT_NE(nullptr, ledger);
        EXPECT_THAT(Rows(*ledger), ElementsAre(Row(kNoon, 100, 10, 1)));
        EXPECT_THAT(*ledger->Marks(), SizeIs(schema >= 2 ? 1 : 0));
        EXPECT_EQ(schema >= 3, *ledger->WasTold("warning"));
        ledger->Add(Row(kNoon, 1));
        ledger->RememberTold("limit", kNoon);
        Commit(*ledger, {Mark(7)});
        EXPECT_THAT(Rows(*ledger), ElementsAre(Row(kNoon, 101, 10, 1)));
        EXPECT_THAT(m_told, IsEmpty());
    }
}

TEST_F(UsageLedgerTest, RefusesASchemaOfTheFutureAndLeavesItAlone)
{
    Opened();
    Execute("PRAGMA user_version = 4; CREATE TABLE later (x)");
    const std::string before = ReadFile(File());

    EXPECT_THAT(OpenError(), HasSubstr("was written by a newer netinfo (schema 4, this one knows 3)"));
    const auto reader = UsageLedger::OpenForReading(m_path);
    ASSERT_FALSE(reader);
    EXPECT_THAT(reader.Error().message, HasSubstr("newer netinfo"));
    EXPECT_EQ(before, ReadFile(File()));
    EXPECT_THAT(SetAside(), IsEmpty());
}

// ---- damage -----------------------------------------------------------------------------------------------

TEST_F(UsageLedgerTest, SetsAsideWhatIsNoLedger)
{
    const std::vector<std::string> contents = {
        "x", "not a database, but a text of some length\n", std::string(100'000, '\0'),
        "SQLite format 3" + std::string(1, '\0') + std::string(4000, 'x')};
    for (const std::string& content : contents) {
        SCOPED_TRACE(content.substr(0, 20));
        WriteFile(File(), content);
        m_told.clear();
        auto ledger = Opened();
        ASSERT_NE(nullptr, ledger);
        ASSERT_THAT(m_told, SizeIs(1));
        EXPECT_THAT(m_told[0], StartsWith("usage.db was damaged; it is kept as " + m_path + "usage.db.bad-"));
        EXPECT_EQ(content, ReadFile(m_told[0].substr(m_told[0].find('/'))));
        ledger->Add(Row(kNoon, 1));
        Commit(*ledger);
        EXPECT_THAT(Rows(*ledger), ElementsAre(Row(kNoon, 1)));
    }
    EXPECT_THAT(SetAside(), SizeIs(contents.size())) << "none takes the place of another";
}

TEST_F(UsageLedgerTest, SetsAsideSomebodyElsesDatabase)
{
    Execute("CREATE TABLE usage (hour INTEGER); INSERT INTO usage VALUES (1)");
    Opened();
    EXPECT_THAT(m_told, SizeIs(1));
    Execute("PRAGMA user_version = 2000000000");
    Opened();
    EXPECT_THAT(m_told, SizeIs(2)) << "no schema has such a number";
    Execute("DROP TABLE mark");
    Opened();
    EXPECT_THAT(m_told, SizeIs(3));
}

TEST_F(UsageLedgerTest, SetsAsideTheLogTogetherWithTheFile)
{
    WriteFile(File(), "no database");
    WriteFile(File("-wal"), "its log");
    WriteFile(File("-shm"), "its index");
    Opened();
    const auto files = SetAside();
    ASSERT_FALSE(files.empty());
    EXPECT_EQ("no database", ReadFile(m_path + files[0]));
    EXPECT_THAT(files, testing::Contains(files[0] + "-wal"));
    EXPECT_EQ("its log", ReadFile(m_path + files[0] + "-wal"));
}

/// Fills many pages.
void Fill(UsageLedger& ledger, int hours)
{
    for (int i = 0; i < hours; ++i) {
        UsageRow row = Row(kNoon + i * kHour, 1'000'000 + static_cast<unsigned>(i));
        row.profile = "profile " + std::to_string(i % 7);
        ledger.Add(row);
    }
    std::vector<LinkMark> marks;
    for (int i = 0; i < 50; ++i)
        marks.push_back(Mark(i));
    ledger.RememberTold("warning", kNoon);
    EXPECT_FALSE(ledger.Commit(marks));
}

TEST_F(UsageLedgerTest, SurvivesDamageOnAnyPage)
{
    {
        const auto ledger = Opened();
        Fill(*ledger, 500);
    }
    const std::string sound = ReadFile(File());
    const auto rows = Rows(*Opened());
    ASSERT_GT(sound.size(), 20'000U);
    constexpr std::size_t kPage = 1024;
    std::mt19937_64 random(1);
    std::size_t setAside = 0;
    for (std::size_t page = 0; page < sound.size() / kPage; ++page) {
        for (const int kind : {0, 1, 2}) {
            SCOPED_TRACE(testing::Message() << "page " << page << ", kind " << kind);
            for (const auto& entry : std::filesystem::directory_iterator(m_path))
                std::filesystem::remove(entry);
            std::string damaged = sound;
            const auto start = damaged.begin() + static_cast<std::ptrdiff_t>(page * kPage);
            if (kind == 0) std::fill_n(start, kPage, '\0');
            if (kind == 1) std::generate_n(start, kPage, [&] { return static_cast<char>(random()); });
            if (kind == 2) std::generate_n(start + 8, 16, [&] { return static_cast<char>(random()); });
            WriteFile(File(), damaged);
            m_told.clear();

            const auto reader = UsageLedger::OpenForReading(m_path);
            if (reader) {
                [[maybe_unused]] const auto rowsOrFailure = (*reader)->Read(0, kEver);
            }
            const auto ledger = UsageLedger::Open(m_path, [&](const std::string& t) { m_told.push_back(t); });
            if (!ledger) {  // byte 60 of page 0 may tell of a newer schema
                EXPECT_EQ(0U, page);
                continue;
            }
            (*ledger)->Add(Row(kNoon, 5));
            EXPECT_FALSE((*ledger)->Commit({Mark(3)}));
            EXPECT_THAT(*(*ledger)->Marks(), ElementsAre(Mark(3)));
            if (m_told.empty()) {
                EXPECT_EQ(rows.size(), Rows(**ledger).size() - 1);
            } else {
                EXPECT_THAT(Rows(**ledger), ElementsAre(Row(kNoon, 5)));
                EXPECT_EQ(damaged, ReadFile(m_path + SetAside().at(0)));
                ++setAside;
            }
        }
    }
    EXPECT_GT(setAside, sound.size() / kPage);
}

TEST_F(UsageLedgerTest, SurvivesAFileThatWasCutAnywhere)
{
    {
        const auto ledger = Opened();
        Fill(*ledger, 500);
    }
    const std::string sound = ReadFile(File());
    const auto rows = Rows(*Opened());
    for (std::size_t size = 0; size < sound.size(); size += size < 2048 ? 37 : 1001) {
        SCOPED_TRACE(size);
        for (const auto& entry : std::filesystem::directory_iterator(m_path))
            std::filesystem::remove(entry);
        WriteFile(File(), sound.substr(0, size));
        m_told.clear();
        const auto ledger = Opened();
        ASSERT_NE(nullptr, ledger);
        EXPECT_THAT(m_told, SizeIs(size == 0 ? 0 : 1));
        ledger->Add(Row(kNoon, 5));
        Commit(*ledger);
        EXPECT_THAT(Rows(*ledger), ElementsAre(Row(kNoon, 5)));
    }
}

TEST_F(UsageLedgerTest, SurvivesALogThatWasCutAnywhere)
{
    const auto ledger = Opened();
    for (int i = 0; i < 20; ++i) {
        ledger->Add(Row(kNoon, 1));
        Commit(*ledger, {Mark(i)});
    }
    const std::string file = ReadFile(File());
    const std::string log = ReadFile(File("-wal"));
    nettest::TempDir other;
    const std::string path = other.Path() + "/";
    unsigned long long last = 0;
    constexpr std::size_t kStep = 487;
    for (std::size_t size = log.size() % kStep; size <= log.size(); size += kStep) {
        SCOPED_TRACE(size);
        for (const auto& entry : std::filesystem::directory_iterator(path))
            std::filesystem::remove(entry);
        WriteFile(path + "usage.db", file);
        WriteFile(path + "usage.db-wal", log.substr(0, size));
        std::vector<std::string> told;
        auto cut = UsageLedger::Open(path, [&](const std::string& text) { told.push_back(text); });
        ASSERT_TRUE(cut);
        EXPECT_THAT(told, IsEmpty());
        const auto rows = Rows(**cut);
        const unsigned long long now = rows.empty() ? 0 : rows.at(0).downloaded;
        EXPECT_GE(now, last) << "whole commits, one after the other";
        const auto marks = (*cut)->Marks();
        if (now != 0) {
            ASSERT_THAT(*marks, SizeIs(1));
            EXPECT_EQ(now, static_cast<unsigned long long>(marks->at(0).index) + 1)
                << "rows and marks are of one moment";
        }
        last = now;
    }
    EXPECT_EQ(20U, last);
}

TEST_F(UsageLedgerTest, FindsDamageWhileItWrites)
{
    auto ledger = Opened();
    Fill(*ledger, 8000);  // more than fits the cache
    ledger.reset();
    ledger = Opened();
    const int pages = static_cast<int>(std::filesystem::file_size(File()) / 1024);
    std::string damaged = ReadFile(File());
    std::fill(damaged.begin() + 1024, damaged.begin() + 1024 * (pages - 1), '\x5A');
    WriteFile(File(), damaged);

    for (int i = 0; i < 8000; i += 200)
        ledger->Add(Row(kNoon + i * kHour, 5));
    Commit(*ledger, {Mark(1)});
    EXPECT_THAT(m_told, SizeIs(1));
    EXPECT_THAT(Rows(*ledger), SizeIs(40)) << "what waited is in the new one";
    EXPECT_THAT(*ledger->Marks(), ElementsAre(Mark(1)));
}

// ---- what surrounds it ------------------------------------------------------------------------------------

TEST_F(UsageLedgerTest, FailsInADirectoryThatCannotBeWritten)
{
    const nettest::OrdinaryUser user(m_path);
    chmod(m_path.c_str(), 0500);
    const std::string error = OpenError();
    chmod(m_path.c_str(), 0700);
    EXPECT_THAT(error, HasSubstr("the usage ledger " + File() + " cannot be opened: "));
}

TEST_F(UsageLedgerTest, KeepsWhatItCannotWriteForLater)
{
    const auto ledger = Opened();
    ledger->Add(Row(kNoon, 1));
    sqlite3* other = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(File().c_str(), &other));
    sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    const auto failure = ledger->Commit({Mark(1)});
    ASSERT_TRUE(failure);
    EXPECT_THAT(failure->message, HasSubstr("cannot be written: database is locked"));
    sqlite3_close(other);

    ledger->Add(Row(kNoon, 2));
    Commit(*ledger, {Mark(2)});
    EXPECT_THAT(Rows(*Opened()), ElementsAre(Row(kNoon, 3)));
    EXPECT_THAT(*Opened()->Marks(), ElementsAre(Mark(2)));
}

TEST_F(UsageLedgerTest, BeginsANewFileWhenSomebodyTookItAway)
{
    const auto ledger = Opened();
    ledger->Add(Row(kNoon, 1));
    Commit(*ledger, {Mark(1)});
    for (const char* const suffix : {"", "-wal", "-shm"})
        std::filesystem::remove(File(suffix));
    ledger->Add(Row(kNoon, 2));
    Commit(*ledger, {Mark(1)});

    EXPECT_THAT(Rows(*Opened()), ElementsAre(Row(kNoon, 2)));
    EXPECT_THAT(*Opened()->Marks(), ElementsAre(Mark(1)));
}

TEST_F(UsageLedgerTest, RefusesWhatIsNoRegularFile)
{
    mkdir(File().c_str(), 0700);
    EXPECT_THAT(OpenError(), HasSubstr("not a regular file"));
    EXPECT_FALSE(UsageLedger::OpenForReading(m_path));
    rmdir(File().c_str());
    mkfifo(File().c_str(), 0600);
    EXPECT_THAT(OpenError(), HasSubstr("not a regular file"));
    EXPECT_FALSE(UsageLedger::OpenForReading(m_path));
}

TEST_F(UsageLedgerTest, RefusesASecondNameOfAFileWhereEverybodyCanWrite)
{
    Opened();
    ASSERT_EQ(link(File().c_str(), File("-other").c_str()), 0);
    EXPECT_TRUE(UsageLedger::Open(m_path, {}));  // in a directory of the user's own it is his own doing

    ASSERT_EQ(chmod(m_path.c_str(), 01777), 0);
    EXPECT_THAT(OpenError(), HasSubstr("another user has put it there"));
}

TEST_F(UsageLedgerTest, IsReadWithTheLogOfAHostThatWasKilled)
{
    const auto ledger = Opened();
    ledger->Add(Row(kNoon, 7));
    Commit(*ledger);
    nettest::TempDir other;
    const std::string path = other.Path() + "/";
    WriteFile(path + "usage.db", ReadFile(File()));
    WriteFile(path + "usage.db-wal", ReadFile(File("-wal")));

    const auto reader = UsageLedger::OpenForReading(path);
    ASSERT_TRUE(reader);
    EXPECT_THAT(Rows(**reader), ElementsAre(Row(kNoon, 7)));
}

}  // namespace
