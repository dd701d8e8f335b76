#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "store/DataMgr.h"
#include "tests/support/TempDir.h"

namespace nettest {

constexpr int DIALUP = 0;
constexpr int WIFI = 1;
constexpr int ADSL = 4;

/// A local date and time, "2026-03-18 15:00:00", as seconds since 1970; the time may be left out.
long Moment(const std::string& localTime);

/// The content of a data file with `elements` in its root. They are written one a line, with blanks in front
/// of an element and bare line feeds, and with moments as "@2026-03-18 15:00:00@"; all that is put into the
/// file's form here.
std::string DataFile(std::string_view elements);

/// `elements` in the file's form, without anything around them.
std::string Elements(std::string_view elements);

/// A connection record with no device and no access point.
std::string Item(long start, long end, unsigned long long uploaded, unsigned long long downloaded);

nis::SNAPSHOT Increment(int nDevice, unsigned long long uploaded, unsigned long long downloaded);

/// The six fields in declared order: type, downloaded, uploaded, seconds, start, end.
using ReportFields = std::tuple<int, unsigned long long, unsigned long long, unsigned long long, long, long>;
ReportFields Fields(const nis::REPORT& report);

/// A record as the host reads it.
struct Listed
{
    std::string apn, start, end, time, uploaded, downloaded, unitPrice, fee;
    bool operator==(const Listed&) const = default;
};
void PrintTo(const Listed& record, std::ostream* out);

/// What a set holds, from its first record on; ends the set. Fails the test for a null set.
std::vector<Listed> ReadAll(IConnRecord* set);

/// A data file in a folder of its own, on Wednesday 18 March 2026 at 15:00.
class StoreTest : public ::testing::Test
{
protected:
    StoreTest();

    std::string Path() const { return m_dir.File("NetInfo.dat"); }
    std::string File() const;
    /// What the file holds once `store` has saved.
    std::string Saved(CDataMgr& store) const;
    /// Makes the file, with `elements` in its root.
    void GivenFile(std::string_view elements) const;
    void GivenBytes(std::string_view content) const;
    /// The names of all files in the folder, sorted.
    std::vector<std::string> Files() const;
    /// Puts the clock on a local time.
    static void At(const std::string& localTime);

    TempDir m_dir;
};

/// A type as the construction makes it at the moment `since`, before any connection has marked its periods.
std::string EmptyType(const std::string& type, const std::string& since);

/// The three types that the construction makes.
std::string EmptyTypes(const std::string& since);

}  // namespace nettest
