#pragma once

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "host/Result.h"
#include "platform/dialup/ByteCounters.h"

struct sqlite3;

namespace netinfo {

/// What one link moved in one hour, under one connection type and profile.
struct UsageRow
{
    long long hour = 0;  ///< its first second, in seconds since 1970-01-01 00:00 UTC
    int type = -1;       ///< connection type code
    std::string profile;
    std::string link;        ///< the kernel's name
    bool recovered = false;  ///< passed while nobody counted, and was found on the link's counter later
    unsigned long long downloaded = 0;  ///< bytes
    unsigned long long uploaded = 0;    ///< bytes
    unsigned long long seconds = 0;     ///< connected

    bool operator==(const UsageRow&) const = default;
};

/// How far a link's traffic is in the ledger, and what tells whether a link met later is the same one.
struct LinkMark
{
    std::string boot;  ///< identifies the run of the kernel, and the network namespace
    int index = 0;     ///< the kernel's number of the link
    std::string linkName;
    std::array<unsigned char, 6> address{};
    unsigned int carrierChanges = 0;  ///< how often the carrier came or went
    ByteCounters counted;             ///< the kernel's counters up to which all is in the ledger

    bool operator==(const LinkMark&) const = default;
};

/// The usage of every hour, in the SQLite file "usage.db" of the data directory. docs/usage-ledger.md
/// describes the file.
///
/// Additions wait in memory until the next commit writes them together with the links' marks in one
/// transaction: however the process ends, rows and marks are of one moment. What is read includes what waits.
///
/// Threads:   one at a time. Other processes may read the file meanwhile; the right to write it is that of
///            the data directory's lock.
/// Ownership: owns its connection to the file; what has not been committed is dropped at the end.
/// Units:     bytes, seconds, moments in seconds since 1970.
/// Errors:    a file that is damaged, or no ledger at all, is set aside as "usage.db.bad-<seconds>" and a new
///            one is begun; `tell` hears it. A file of a newer schema, or one that cannot be opened, is a
///            failure of `Open`. A commit that fails keeps what waits for the next one.
class UsageLedger
{
public:
    using Tell = std::function<void(const std::string&)>;

    static constexpr int SCHEMA = 3;

    /// Opens the ledger in `directory` (which ends with '/') for counting; makes it, or brings it to the
    /// present schema. `tell` is called at once or from inside `Commit`.
    static Result<std::unique_ptr<UsageLedger>> Open(const std::string& directory, Tell tell);
    /// Opens it for reading, changing nothing. Without a file there, or with an empty one, it reads as empty.
    static Result<std::unique_ptr<UsageLedger>> OpenForReading(const std::string& directory);
    ~UsageLedger();
    UsageLedger(const UsageLedger&) = delete;
    UsageLedger& operator=(const UsageLedger&) = delete;

    /// Adds to what the ledger has for that hour, type, profile and link.
    void Add(const UsageRow& row);
    /// Writes what waits and, in the place of those before, `marks`. Does nothing if nothing changed.
    std::optional<Failure> Commit(const std::vector<LinkMark>& marks);

    /// The rows of the hours that begin in [from, to), ascending.
    Result<std::vector<UsageRow>> Read(long long from, long long to) const;
    /// The first hour that has a row; none if there is none.
    Result<std::optional<long long>> FirstHour() const;
    /// The marks of the last commit.
    Result<std::vector<LinkMark>> Marks() const;

    /// Whether the user was told of `event`, an arbitrary text, ever before.
    Result<bool> WasTold(const std::string& event) const;
    /// Remembers with the next commit that the user was told of it at `moment`.
    void RememberTold(const std::string& event, long long moment);

private:
    using Key = std::tuple<long long, int, std::string, std::string, bool>;

    UsageLedger(std::string directory, Tell tell);
    std::optional<Failure> OpenFile();
    int Prepare(int& schema);
    std::optional<Failure> SetAside();
    int Write(const std::vector<LinkMark>& marks);
    std::string Reason(int code) const;
    void Close();

    const std::string m_directory;
    const Tell m_tell;
    sqlite3* m_file = nullptr;  ///< owned; null: there is no ledger to read
    std::map<Key, UsageRow> m_waiting;
    std::map<std::string, long long> m_told;       ///< since the last commit
    std::optional<std::vector<LinkMark>> m_marks;  ///< as last committed by this object
};

}  // namespace netinfo
