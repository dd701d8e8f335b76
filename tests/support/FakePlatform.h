#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/support/Text.h"

namespace nettest {

/// A row of the scripted interface table.
struct FakeRow
{
    std::string description;    ///< from 256 bytes on it fills its field without a terminator
    unsigned int received = 0;  ///< bytes
    unsigned int sent = 0;      ///< bytes
    std::string mac{};          ///< 12 hexadecimal digits; empty: all zero
};

/// A scripted dial-up connection.
struct FakeDialup
{
    unsigned int handle = 0;
    std::string name;                 ///< from 132 units on it fills its field without a terminator
    unsigned long long received = 0;  ///< bytes
    unsigned long long sent = 0;      ///< bytes
    bool stateFails = false;
    bool statisticsFail = false;
    bool stateThrows = false;
    bool statisticsThrow = false;
};

struct FakeTrace
{
    int level;
    std::string module;
    std::string text;
};

/// The platform of a test program: scripted counters, settings, directories and a recorded trace, in the
/// place of the platform libraries' own, for the program and for every library it loads. Text conversion,
/// threads, mutexes and files stay the real ones. Safe to change while a heartbeat runs.
class FakePlatform
{
public:
    /// Nothing connected, no settings, no traces, no directories, OS type 0.
    static void Reset();

    static void SetRows(std::vector<FakeRow> rows);
    static void SetDialups(std::vector<FakeDialup> dialups);
    /// Changes the counters of the row with that description; false if there is none.
    static bool SetRowCounters(const std::string& description, unsigned int received, unsigned int sent);
    static bool SetDialupCounters(const std::string& name, unsigned long long received,
                                  unsigned long long sent);
    static void FailIfTable(bool fail);       ///< OS_DIALUP_GetIfTable returns an error
    static void NullIfTable(bool null);       ///< it returns success and no table
    static void ThrowOnIfTable(bool throws);  ///< it throws, as a careless host layer may
    static void ThrowOnEnumConnections(bool throws);
    /// Tables and lists claim that many entries, whatever they hold: 0 or less; none: their true number.
    static void ClaimCount(std::optional<int> count);
    /// Tables and lists handed out and not released yet.
    static int Unreleased();
    static int IfTableReads();

    static void SetSetting(const std::string& section, const std::string& key, const std::string& value);
    static std::string Setting(const std::string& section, const std::string& key);
    /// Directories with their trailing '/'; empty: the platform has none.
    static void SetUserDataDirectory(const std::string& directory);
    static void SetModuleDirectory(const std::string& directory);
    static void SetOSType(int type);

    static std::vector<FakeTrace> Traces();
    /// How many recorded traces have exactly this text.
    static int TraceCount(const std::string& text);
    static void ClearTraces();
};

}  // namespace nettest
