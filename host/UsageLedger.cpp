#include "host/UsageLedger.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <string_view>
#include <utility>

#include "host/AddUp.h"
#include "host/Format.h"
#include "platform/files/Planted.h"

namespace netinfo {
namespace {

constexpr int APPLICATION = 0x4E495547;         // marks the file as a ledger: "NIUG"
constexpr long long LAST_HOUR = 253402297200;   // the last one of the year 9999
constexpr int BUSY_WAIT = 250;                  // milliseconds for another program to leave the file
constexpr long long TOLD_KEPT = 400LL * 86400;  // seconds: longer than any period of a limit
constexpr int LEAST_PAGE = 512;                 // bytes
constexpr int SANE_SCHEMA = 1000;               // a number beyond is no schema of the future

/// What makes a ledger of schema i - 1 one of schema i.
constexpr std::array<const char*, UsageLedger::SCHEMA> MIGRATIONS{
    "CREATE TABLE usage ("
    " hour INTEGER NOT NULL,"  // its first second, in seconds since 1970 UTC
    " type INTEGER NOT NULL,"
    " profile TEXT NOT NULL,"
    " link TEXT NOT NULL,"
    " recovered INTEGER NOT NULL,"
    " downloaded INTEGER NOT NULL,"
    " uploaded INTEGER NOT NULL,"
    " seconds INTEGER NOT NULL,"
    " PRIMARY KEY (hour, type, profile, link, recovered)) STRICT, WITHOUT ROWID",

    "CREATE TABLE mark ("
    " boot TEXT NOT NULL,"
    " link_index INTEGER NOT NULL,"
    " link TEXT NOT NULL,"
    " address BLOB NOT NULL,"
    " carrier_changes INTEGER NOT NULL,"
    " received INTEGER NOT NULL,"
    " sent INTEGER NOT NULL,"
    " PRIMARY KEY (link_index)) STRICT",

    "CREATE TABLE told ("
    " event TEXT NOT NULL,"
    " moment INTEGER NOT NULL,"
    " PRIMARY KEY (event)) STRICT, WITHOUT ROWID",
};

constexpr const char* READ_USAGE =
    "SELECT hour, type, profile, link, recovered, downloaded, uploaded, seconds FROM usage"
    " WHERE hour >= ? AND hour < ?";
constexpr const char* READ_MARKS =
    "SELECT boot, link_index, link, address, carrier_changes, received, sent FROM mark";
constexpr const char* READ_TOLD = "SELECT moment FROM told WHERE event = ?";

std::string LedgerPath(const std::string& directory) { return directory + "usage.db"; }

/// The code without what details it.
int Primary(int code) { return code & 0xFF; }

/// True if the code tells that the file's content is at fault, not what surrounds it.
bool MeansDamage(int code)
{
    switch (Primary(code)) {
        case SQLITE_ERROR:  // a table or column is missing
        case SQLITE_CORRUPT:
        case SQLITE_SCHEMA:
        case SQLITE_TOOBIG:
        case SQLITE_CONSTRAINT:
        case SQLITE_MISMATCH:
        case SQLITE_NOTADB:
            return true;
        default:
            return false;
    }
}

long long ToStored(unsigned long long value)
{
    constexpr auto most = static_cast<unsigned long long>(std::numeric_limits<long long>::max());
    return static_cast<long long>(std::min(value, most));
}

unsigned long long FromStored(long long value)
{
    return static_cast<unsigned long long>(std::max(value, 0LL));
}

/// A compiled statement. Once something has failed, nothing more happens.
class Statement
{
public:
    Statement(sqlite3* file, const char* text)
    {
        m_code = sqlite3_prepare_v2(file, text, -1, &m_statement, nullptr);
    }
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// Sets the parameters, the first to the first, and begins anew.
    template <class... Values>
    Statement& With(const Values&... values)
    {
        if (Code() != SQLITE_OK) return *this;
        m_code = sqlite3_reset(m_statement);
        int position = 0;
        (Bind(++position, values), ...);
        return *this;
    }
    /// True if there is a row, the next.
    bool Next()
    {
        if (m_code != SQLITE_OK && m_code != SQLITE_ROW) return false;
        m_code = sqlite3_step(m_statement);
        return m_code == SQLITE_ROW;
    }
    /// To its end: SQLITE_OK, or the code of what went wrong.
    int Run()
    {
        while (Next()) {}
        return Code();
    }
    int Code() const { return m_code == SQLITE_DONE || m_code == SQLITE_ROW ? SQLITE_OK : m_code; }

    long long Number(int column) const { return sqlite3_column_int64(m_statement, column); }
    std::string Text(int column) const
    {
        const void* const bytes = sqlite3_column_blob(m_statement, column);
        const auto length = static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column));
        return length == 0 ? std::string() : std::string(static_cast<const char*>(bytes), length);
    }

private:
    void Bind(int position, long long value) { Note(sqlite3_bind_int64(m_statement, position, value)); }
    void Bind(int position, const std::string& value)
    {
        Note(sqlite3_bind_text64(m_statement, position, value.data(), value.size(), SQLITE_TRANSIENT,
                                 SQLITE_UTF8));
    }
    void Bind(int position, const std::array<unsigned char, 6>& value)
    {
        Note(sqlite3_bind_blob(m_statement, position, value.data(), static_cast<int>(value.size()),
                               SQLITE_TRANSIENT));
    }
    void Note(int code)
    {
        if (m_code == SQLITE_OK) m_code = code;
    }

    sqlite3_stmt* m_statement = nullptr;  ///< owned
    int m_code;
};

int Execute(sqlite3* file, const std::string& text)
{
    return sqlite3_exec(file, text.c_str(), nullptr, nullptr, nullptr);
}

/// A number that the file keeps about itself; `code` receives what went wrong.
long long Pragma(sqlite3* file, const char* text, int& code)
{
    Statement statement(file, text);
    const long long value = statement.Next() ? statement.Number(0) : 0;
    code = statement.Code();
    return value;
}

Failure CannotRead(const std::string& directory, const std::string& reason)
{
    return {fmt::format("the usage ledger {} cannot be read: {}", Printable(LedgerPath(directory)), reason)};
}

constexpr int IS_EMPTY = -1;  ///< the file has nothing in it
constexpr int IS_NEWER = -2;  ///< the ledger is of a schema of the future

/// SQLITE_OK for a ledger that this program understands, SQLITE_NOTADB for what is no ledger, one of the two
/// above, or what went wrong.
int Recognise(sqlite3* file, int& schema)
{
    int code = SQLITE_OK;
    const long long tables = Pragma(file, "SELECT count(*) FROM sqlite_schema", code);
    if (code != SQLITE_OK) return code;
    const long long application = Pragma(file, "PRAGMA application_id", code);
    if (code != SQLITE_OK) return code;
    const long long version = Pragma(file, "PRAGMA user_version", code);
    if (code != SQLITE_OK) return code;

    schema = static_cast<int>(version);
    if (tables == 0 && application == 0 && version == 0) return IS_EMPTY;
    if (application != APPLICATION) return SQLITE_NOTADB;
    if (version < 1 || version > SANE_SCHEMA) return SQLITE_NOTADB;
    if (version > UsageLedger::SCHEMA) return IS_NEWER;
    return SQLITE_OK;
}

Failure TooNew(const std::string& directory, int schema)
{
    return {
        fmt::format("the usage ledger {} was written by a newer netinfo (schema {}, this one knows {}); "
                    "it was left as it is",
                    Printable(LedgerPath(directory)), schema, UsageLedger::SCHEMA)};
}

/// SQLITE_OK if every page of the file is sound.
int Check(sqlite3* file)
{
    Statement statement(file, "PRAGMA quick_check(1)");
    if (!statement.Next()) return statement.Code() != SQLITE_OK ? statement.Code() : SQLITE_CORRUPT;
    return statement.Text(0) == "ok" ? SQLITE_OK : SQLITE_CORRUPT;
}

int Migrate(sqlite3* file, int schema)
{
    if (schema == UsageLedger::SCHEMA) return SQLITE_OK;
    if (const int code = Execute(file, "BEGIN IMMEDIATE"); code != SQLITE_OK) return code;

    int code = Execute(file, fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {}", APPLICATION,
                                         UsageLedger::SCHEMA));
    for (std::size_t i = static_cast<std::size_t>(schema); i < MIGRATIONS.size(); ++i) {
        if (code == SQLITE_OK) code = Execute(file, MIGRATIONS.at(i));
    }
    if (code == SQLITE_OK) code = Execute(file, "COMMIT");
    if (code != SQLITE_OK) Execute(file, "ROLLBACK");
    return code;
}

bool Exists(const std::string& path)
{
    struct stat status
    {};
    return lstat(path.c_str(), &status) == 0;
}

void AddTo(UsageRow& sum, const UsageRow& row)
{
    AddUpTo(sum.downloaded, row.downloaded);
    AddUpTo(sum.uploaded, row.uploaded);
    AddUpTo(sum.seconds, row.seconds);
}

}  // namespace

UsageLedger::UsageLedger(std::string directory, Tell tell)
    : m_directory(std::move(directory)), m_tell(std::move(tell))
{}

UsageLedger::~UsageLedger() { Close(); }

void UsageLedger::Close()
{
    sqlite3_close(m_file);
    m_file = nullptr;
}

Result<std::unique_ptr<UsageLedger>> UsageLedger::Open(const std::string& directory, Tell tell)
{
    std::unique_ptr<UsageLedger> ledger(new UsageLedger(directory, std::move(tell)));
    if (auto failure = ledger->OpenFile()) return *failure;
    return ledger;
}

Result<std::unique_ptr<UsageLedger>> UsageLedger::OpenForReading(const std::string& directory)
{
    std::unique_ptr<UsageLedger> ledger(new UsageLedger(directory, {}));
    const std::string path = LedgerPath(directory);
    struct stat status
    {};
    if (stat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) return ledger;
        return CannotRead(directory, std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) return CannotRead(directory, "it is not a regular file");

    int code = sqlite3_open_v2(path.c_str(), &ledger->m_file,
                               SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    sqlite3_busy_timeout(ledger->m_file, BUSY_WAIT);
    int schema = 0;
    if (code == SQLITE_OK) code = Recognise(ledger->m_file, schema);
    if (code == IS_EMPTY) ledger->Close();
    if (code == IS_EMPTY || code == SQLITE_OK) return ledger;
    if (code == IS_NEWER) return TooNew(directory, schema);
    if (MeansDamage(code)) return CannotRead(directory, "it is damaged; netinfo run will set it aside");
    return CannotRead(directory, sqlite3_errstr(code));
}

/// Opens the file, in the place of one that is damaged a new one.
std::optional<Failure> UsageLedger::OpenFile()
{
    struct stat status
    {};
    if (stat(LedgerPath(m_directory).c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        return CannotRead(m_directory, "it is not a regular file");
    if (IsPlanted(LedgerPath(m_directory)))
        return CannotRead(m_directory,
                          "everybody can write to its directory, and another user has put it there");

    for (const bool again : {false, true}) {
        int schema = 0;
        const int code = Prepare(schema);
        if (code == SQLITE_OK) return std::nullopt;
        if (code == IS_NEWER) {
            Close();
            return TooNew(m_directory, schema);
        }
        if (again || !MeansDamage(code)) {
            const std::string reason = Reason(code);
            Close();
            return Failure{fmt::format("the usage ledger {} cannot be opened: {}",
                                       Printable(LedgerPath(m_directory)), reason)};
        }
        if (auto stuck = SetAside()) return stuck;
    }
    return std::nullopt;
}

/// Opens the file, makes it if it is not there, checks it, and brings it to the present schema.
int UsageLedger::Prepare(int& schema)
{
    const std::string path = LedgerPath(m_directory);
    // Made here, for SQLite would make it readable for others.
    const int made = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (made >= 0) close(made);

    int code = sqlite3_open_v2(path.c_str(), &m_file,
                               SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    if (code != SQLITE_OK) return code;
    sqlite3_busy_timeout(m_file, BUSY_WAIT);

    int recognised = Recognise(m_file, schema);
    struct stat status
    {};
    // SQLite takes less than a page of anything for a database without a page.
    const bool less = stat(path.c_str(), &status) == 0 && status.st_size > 0 && status.st_size < LEAST_PAGE;
    if (recognised == IS_EMPTY && less) recognised = SQLITE_NOTADB;
    if (recognised != SQLITE_OK && recognised != IS_EMPTY) return recognised;
    // Small pages: a commit every ten seconds writes whole ones. A transaction that a power cut takes back is
    // no harm, for the links' counters start anew then; what is in the file stays whole.
    code = Execute(m_file,
                   "PRAGMA page_size = 1024; PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
                   "PRAGMA cache_size = -256; PRAGMA cell_size_check = ON; PRAGMA trusted_schema = OFF");
    if (code == SQLITE_OK) code = Check(m_file);
    if (code == SQLITE_OK) code = Migrate(m_file, recognised == IS_EMPTY ? 0 : schema);
    for (const char* const text : {READ_USAGE, READ_MARKS, READ_TOLD}) {
        if (code == SQLITE_OK) code = Statement(m_file, text).Code();
    }
    return code;
}

/// What went wrong last, as far as the system or SQLite can tell.
std::string UsageLedger::Reason(int code) const
{
    const int error = m_file == nullptr ? 0 : sqlite3_system_errno(m_file);
    if (Primary(code) == SQLITE_CANTOPEN && error != 0) return std::strerror(error);
    return sqlite3_errstr(code);
}

/// Gives the damaged file and what SQLite keeps beside it another name.
std::optional<Failure> UsageLedger::SetAside()
{
    sqlite3_db_config(m_file, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    Close();
    const std::string path = LedgerPath(m_directory);
    long long second = std::time(nullptr);
    while (Exists(fmt::format("{}.bad-{}", path, second)))
        ++second;
    const std::string aside = fmt::format("{}.bad-{}", path, second);
    for (const char* const suffix : {"", "-wal", "-shm"}) {
        if (std::rename((path + suffix).c_str(), (aside + suffix).c_str()) == 0 || errno == ENOENT) continue;
        return Failure{fmt::format("the damaged usage ledger {}{} cannot be set aside: {}", Printable(path),
                                   suffix, std::strerror(errno))};
    }
    if (m_tell) m_tell(fmt::format("usage.db was damaged; it is kept as {}", Printable(aside)));
    m_marks.reset();
    return std::nullopt;
}

void UsageLedger::Add(const UsageRow& row)
{
    UsageRow added = row;
    added.hour = std::clamp(row.hour, 0LL, LAST_HOUR);
    const auto [place, isNew] =
        m_waiting.try_emplace({added.hour, added.type, added.profile, added.link, added.recovered}, added);
    if (!isNew) AddTo(place->second, added);
}

std::optional<Failure> UsageLedger::Commit(const std::vector<LinkMark>& marks)
{
    if (m_waiting.empty() && m_told.empty() && m_marks == marks) return std::nullopt;
    int moved = 0;
    if (m_file != nullptr) sqlite3_file_control(m_file, "main", SQLITE_FCNTL_HAS_MOVED, &moved);
    if (moved != 0) Close();  // somebody removed the file: they want a new one
    if (m_file == nullptr) {
        m_marks.reset();
        if (auto failure = OpenFile()) return failure;
    }
    int code = Write(marks);
    if (MeansDamage(code)) {
        if (auto failure = SetAside()) return failure;
        if (auto failure = OpenFile()) return failure;
        code = Write(marks);
    }
    if (code != SQLITE_OK) {
        return Failure{fmt::format("the usage ledger {} cannot be written: {}",
                                   Printable(LedgerPath(m_directory)), Reason(code))};
    }
    m_waiting.clear();
    m_told.clear();
    m_marks = marks;
    return std::nullopt;
}

/// One transaction: all of it is in the file afterwards, or nothing.
int UsageLedger::Write(const std::vector<LinkMark>& marks)
{
    int code = Execute(m_file, "BEGIN IMMEDIATE");
    if (code != SQLITE_OK) return code;

    Statement add(m_file,
                  "INSERT INTO usage VALUES (?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT DO UPDATE SET"
                  " downloaded = min(downloaded + excluded.downloaded, 9223372036854775807),"
                  " uploaded = min(uploaded + excluded.uploaded, 9223372036854775807),"
                  " seconds = min(seconds + excluded.seconds, 9223372036854775807)");
    for (const auto& [key, row] : m_waiting) {
        if (code != SQLITE_OK) break;
        code = add.With(row.hour, static_cast<long long>(row.type), row.profile, row.link,
                        static_cast<long long>(row.recovered), ToStored(row.downloaded),
                        ToStored(row.uploaded), ToStored(row.seconds))
                   .Run();
    }
    if (code == SQLITE_OK && m_marks != marks) {
        code = Execute(m_file, "DELETE FROM mark");
        Statement insert(m_file, "INSERT INTO mark VALUES (?, ?, ?, ?, ?, ?, ?)");
        for (const LinkMark& mark : marks) {
            if (code != SQLITE_OK) break;
            code = insert
                       .With(mark.boot, static_cast<long long>(mark.index), mark.linkName, mark.address,
                             static_cast<long long>(mark.carrierChanges), ToStored(mark.counted.received),
                             ToStored(mark.counted.sent))
                       .Run();
        }
    }
    for (const auto& [event, moment] : m_told) {
        if (code != SQLITE_OK) break;
        code = Statement(m_file, "DELETE FROM told WHERE moment < ?").With(moment - TOLD_KEPT).Run();
        if (code != SQLITE_OK) break;
        code = Statement(m_file, "INSERT OR REPLACE INTO told VALUES (?, ?)").With(event, moment).Run();
    }
    if (code == SQLITE_OK) code = Execute(m_file, "COMMIT");
    if (code != SQLITE_OK) Execute(m_file, "ROLLBACK");
    return code;
}

Result<std::vector<UsageRow>> UsageLedger::Read(long long from, long long to) const
{
    std::map<Key, UsageRow> rows;
    const auto add = [&](const UsageRow& row) {
        const auto [place, isNew] =
            rows.try_emplace({row.hour, row.type, row.profile, row.link, row.recovered}, row);
        if (!isNew) AddTo(place->second, row);
    };
    if (m_file != nullptr) {
        Statement statement(m_file, READ_USAGE);
        statement.With(std::max(from, 0LL), std::min(to, LAST_HOUR + 1));
        while (statement.Next()) {
            add({statement.Number(0), static_cast<int>(statement.Number(1)), statement.Text(2),
                 statement.Text(3), statement.Number(4) != 0, FromStored(statement.Number(5)),
                 FromStored(statement.Number(6)), FromStored(statement.Number(7))});
        }
        if (statement.Code() != SQLITE_OK) return CannotRead(m_directory, Reason(statement.Code()));
    }
    for (const auto& [key, row] : m_waiting) {
        if (row.hour >= from && row.hour < to) add(row);
    }
    std::vector<UsageRow> sorted;
    sorted.reserve(rows.size());
    for (auto& [key, row] : rows)
        sorted.push_back(std::move(row));
    return sorted;
}

Result<std::optional<long long>> UsageLedger::FirstHour() const
{
    std::optional<long long> first;
    if (!m_waiting.empty()) first = m_waiting.begin()->second.hour;
    if (m_file == nullptr) return first;

    Statement statement(m_file, "SELECT hour FROM usage WHERE hour >= 0 ORDER BY hour LIMIT 1");
    if (statement.Next()) first = std::min(first.value_or(LAST_HOUR), statement.Number(0));
    if (statement.Code() != SQLITE_OK) return CannotRead(m_directory, Reason(statement.Code()));
    return first;
}

Result<std::vector<LinkMark>> UsageLedger::Marks() const
{
    std::vector<LinkMark> marks;
    if (m_file == nullptr) return marks;

    Statement statement(m_file, READ_MARKS);
    while (statement.Next()) {
        LinkMark mark{statement.Text(0),
                      static_cast<int>(statement.Number(1)),
                      statement.Text(2),
                      {},
                      static_cast<unsigned int>(statement.Number(4)),
                      {FromStored(statement.Number(5)), FromStored(statement.Number(6))}};
        const std::string address = statement.Text(3);
        if (address.size() != mark.address.size()) continue;
        std::copy(address.begin(), address.end(), mark.address.begin());
        marks.push_back(std::move(mark));
    }
    if (statement.Code() != SQLITE_OK) return CannotRead(m_directory, Reason(statement.Code()));
    return marks;
}

Result<bool> UsageLedger::WasTold(const std::string& event) const
{
    if (m_told.contains(event)) return true;
    if (m_file == nullptr) return false;

    Statement statement(m_file, READ_TOLD);
    const bool told = statement.With(event).Next();
    if (statement.Code() != SQLITE_OK) return CannotRead(m_directory, Reason(statement.Code()));
    return told;
}

void UsageLedger::RememberTold(const std::string& event, long long moment) { m_told[event] = moment; }

}  // namespace netinfo
