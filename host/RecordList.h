#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "host/Json.h"
#include "host/Style.h"
#include "plugin/Interfaces.h"

namespace netinfo {

/// A connection record with the index by which it can be removed.
struct IndexedRecord
{
    int index;
    tagConnRecord texts;  ///< as they stand in the data file, unchecked
};

/// Every record, oldest first; none when the data file has no record list.
std::vector<IndexedRecord> ReadRecords(INetInfoRecord& service);
/// The latest record, or none.
std::vector<IndexedRecord> ReadLastRecord(INetInfoRecord& service);
/// How many records there are.
int CountRecords(INetInfoRecord& service);

/// The records for people, in lines of at most `columns`. What is no number is shown as it stands.
std::string RecordTable(const std::vector<IndexedRecord>& records, Units units = Units::Iec,
                        std::size_t columns = std::numeric_limits<std::size_t>::max());
/// The records as the document of an answer, and back. Throws what the JSON library does for what is none.
Json RecordDocument(const std::vector<IndexedRecord>& records);
std::vector<IndexedRecord> RecordsFrom(const Json& document);
/// The records for programs: the texts, and those of them that are numbers once more as numbers.
std::string RecordJson(const std::vector<IndexedRecord>& records);

}  // namespace netinfo
