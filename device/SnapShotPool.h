#pragma once

#include <string>
#include <utility>
#include <vector>

#include "plugin/Records.h"

/// Sampling records that have served, kept for the memory of their names: a heartbeat that is like the last
/// one takes from here what that one gave back, and allocates nothing.
///
/// Threads: one at a time.
/// Errors:  throws when memory runs out.
class CSnapShotPool
{
public:
    /// An empty record, with memory for a name if there is any.
    nis::SNAPSHOT Take()
    {
        nis::SNAPSHOT stEmpty;
        if (m_vecName.empty()) return stEmpty;
        stEmpty.strName.swap(m_vecName.back());
        m_vecName.pop_back();
        stEmpty.strName.clear();
        return stEmpty;
    }

    nis::SNAPSHOT Copy(const nis::SNAPSHOT& stFrom)
    {
        nis::SNAPSHOT stCopy = Take();
        stCopy = stFrom;
        return stCopy;
    }

    void GiveBack(nis::SNAPSHOT& st)
    {
        static const NAME strWithoutMemory;
        if (st.strName.capacity() > strWithoutMemory.capacity()) m_vecName.push_back(std::move(st.strName));
    }

    /// Leaves `vec` empty.
    void GiveBack(std::vector<nis::SNAPSHOT>& vec)
    {
        for (nis::SNAPSHOT& st : vec)
            GiveBack(st);
        vec.clear();
    }

private:
    using NAME = std::basic_string<unsigned short>;

    std::vector<NAME> m_vecName;
};
