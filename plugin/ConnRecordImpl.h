#pragma once

#include <cstddef>
#include <vector>

#include "plugin/Interfaces.h"

/// A set of past connections with a cursor, as the store builds it and the host reads it.
///
/// Threads:   one thread at a time.
/// Ownership: made with `new` by the store, ended by the host through `Release()`. The texts that the getters
///            return live as long as the set does and is not added to.
/// Errors:    a getter past the end returns "", never null.
class CConnRecordImpl : public IConnRecord
{
public:
    CConnRecordImpl();
    CConnRecordImpl(const CConnRecordImpl&) = delete;
    CConnRecordImpl& operator=(const CConnRecordImpl&) = delete;

    void Release() override;
    int GetLastError() override;
    bool MoveFirst() override;
    bool MoveNext() override;
    const char* GetAPN() override;
    const char* GetStartTime() override;
    const char* GetEndTime() override;
    const char* GetConnectTime() override;
    const char* GetUploadData() override;
    const char* GetDownloadData() override;
    const char* GetUnitPrice() override;
    const char* GetFee() override;
    int GetAllRecordCount() override;

    /// Makes room for `count` records in all. [the building thread]
    void Reserve(std::size_t count);
    /// Appends a copy of `rec` and puts the cursor back on the first record, so that a set can be read
    /// without a `MoveFirst`. [the building thread]
    void AddRecord(const tagConnRecord& rec);
    /// The same for a record that is not needed any more. [the building thread]
    void AddRecord(tagConnRecord&& rec);

private:
    const char* Text(std::string tagConnRecord::*pField) const;

    std::vector<tagConnRecord> m_vecRecord;  ///< in the order added
    std::vector<tagConnRecord>::const_iterator m_itCursor;
};
