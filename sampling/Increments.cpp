#include <algorithm>
#include <cstdio>
#include <string>

#include "device/DeviceMgr.h"
#include "platform/trace/TraceSrv.h"
#include "sampling/Statistic.h"

// How two samples of a counter become an increment. Many counters are 32 bits wide, so all are compared as
// such, and a counter that seems to have gone back has either wrapped or started anew.

namespace {

constexpr unsigned long long MODULUS = 0xFFFFFFFF;                // not 2^32: a full counter reads as 0
constexpr unsigned long long WRAP_LIMIT = 200 * 1024 * 1024 - 1;  // bytes; more in one step is no wrap
constexpr unsigned int SPEED_LIMIT = 500 * 1024 * 1024 - 1;       // bytes per second; more is worth a trace

void Trace(const std::string& strText) { TraceSrv_Trace(2, "NetInfoPlugin", strText.c_str()); }

/// One direction of one sample on its way to an increment; all in bytes.
struct COUNTER
{
    const char* pszName;         ///< "ullDL" or "ullUL", as the traces call it
    unsigned long long ullRaw;   ///< as read
    unsigned long long ullLast;  ///< at the previous heartbeat, folded
    unsigned long long ullNew;   ///< as read, folded; what is compared with ullLast
    unsigned long long ullDiff;  ///< the increment
};

/// A counter that reads 0 counts as one that has not moved.
COUNTER ReadCounter(const char* pszName, unsigned long long ullRaw, unsigned long long ullLast)
{
    COUNTER counter{pszName, ullRaw, ullLast % MODULUS, ullRaw % MODULUS, 0};
    if (counter.ullNew == 0 && counter.ullLast != 0) {
        Trace(std::string("newSnapShot.") + pszName + " is 0");
        counter.ullNew = counter.ullLast;
    }
    return counter;
}

/// A piece of a trace text, of at most SIZE - 1 characters.
template <std::size_t SIZE, typename... VALUES>
std::string Piece(const char* pszFormat, VALUES... values)
{
    char szPiece[SIZE] = {};
    std::snprintf(szPiece, sizeof szPiece, pszFormat, values...);
    return szPiece;
}

/// A 64-bit value as its two 32-bit words, the low one first.
template <std::size_t SIZE>
std::string Words(const char* pszFormat, const char* pszName, unsigned long long ullValue)
{
    return Piece<SIZE>(pszFormat, pszName, static_cast<unsigned long>(ullValue & 0xFFFFFFFF),
                       static_cast<unsigned long>(ullValue >> 32));
}

template <std::size_t SIZE>
std::string Detail(const COUNTER& counter)
{
    return Words<SIZE>("stNewSnapShot.%s=%08lx : %08lx", counter.pszName, counter.ullRaw) +
           Words<SIZE>(", stLastSnapShot.%s=%08lx : %08lx", counter.pszName, counter.ullLast) +
           Words<SIZE>(",stDiff.%s=%08lx : %08lx", counter.pszName, counter.ullDiff);
}

void TakeDifference(COUNTER& counter)
{
    if (counter.ullNew >= counter.ullLast) {
        counter.ullDiff = counter.ullNew - counter.ullLast;
        return;
    }
    counter.ullDiff = counter.ullNew + MODULUS - counter.ullLast;
    if (counter.ullDiff > WRAP_LIMIT) counter.ullDiff = 0;  // started anew
    const std::string strName = counter.pszName;
    Trace("stNewSnapShot." + strName + " < stLastSnapShot." + strName);
    Trace("stNewSnapShot.ullDL=" + Detail<500>(counter));  // this prefix for both directions
}

/// Bytes per second, the low 32 bits; 0 when no time has passed. A clock that went back makes the interval a
/// huge one.
unsigned int Speed(unsigned long long ullDiff, unsigned int ulInterval)
{
    if (ulInterval == 0) return 0;
    return static_cast<unsigned int>(ullDiff / ulInterval);
}

void TraceSpeed(const nis::SNAPSHOT& stIncrement, const COUNTER& upload, const COUNTER& download,
                unsigned int ulInterval)
{
    constexpr std::size_t SIZE = 5000;
    Trace("stNewSnapShot.ullDL=" + Detail<SIZE>(upload) +
          Piece<SIZE>("clkInterval=%d", static_cast<int>(ulInterval)) +
          Piece<SIZE>("ulULSpeed=%08lx", static_cast<unsigned long>(stIncrement.ulULSpeed)) +
          Detail<SIZE>(download) +
          Piece<SIZE>("ulDLSpeed=%08lx", static_cast<unsigned long>(stIncrement.ulDLSpeed)));
}

auto Named(const nis::SNAPSHOT& stWanted)
{
    return [&stWanted](const nis::SNAPSHOT& st) { return st.strName == stWanted.strName; };
}

/// The numbers of the last heartbeat's total; those of an empty one for a connection that had none.
nis::SNAPSHOT FindLast(const std::vector<nis::SNAPSHOT>& vecSnapShot, const nis::SNAPSHOT& stNew)
{
    nis::SNAPSHOT stLast;
    const auto found = std::find_if(vecSnapShot.rbegin(), vecSnapShot.rend(), Named(stNew));
    if (found == vecSnapShot.rend()) return stLast;
    stLast.ullDL = found->ullDL;
    stLast.ullUL = found->ullUL;
    stLast.ulDLSpeed = found->ulDLSpeed;
    stLast.ulULSpeed = found->ulULSpeed;
    stLast.clkTime = found->clkTime;
    return stLast;
}

/// Without its name.
nis::SNAPSHOT Increment(const nis::SNAPSHOT& stNew, const nis::SNAPSHOT& stLast)
{
    COUNTER download = ReadCounter("ullDL", stNew.ullDL, stLast.ullDL);
    COUNTER upload = ReadCounter("ullUL", stNew.ullUL, stLast.ullUL);
    TakeDifference(upload);
    TakeDifference(download);
    const unsigned int ulInterval =
        static_cast<unsigned int>(stNew.clkTime) - static_cast<unsigned int>(stLast.clkTime);

    nis::SNAPSHOT stIncrement;
    stIncrement.nDevice = stNew.nDevice;
    stIncrement.clkTime = stNew.clkTime;
    stIncrement.ullDL = download.ullDiff;
    stIncrement.ullUL = upload.ullDiff;
    stIncrement.ulDLSpeed = Speed(download.ullDiff, ulInterval);
    stIncrement.ulULSpeed = Speed(upload.ullDiff, ulInterval);
    stIncrement.ulMaxDLSpeed = std::max(stIncrement.ulDLSpeed, stLast.ulDLSpeed);
    stIncrement.ulMaxULSpeed = std::max(stIncrement.ulULSpeed, stLast.ulULSpeed);
    if (stIncrement.ulDLSpeed > SPEED_LIMIT || stIncrement.ulULSpeed > SPEED_LIMIT)
        TraceSpeed(stIncrement, upload, download, ulInterval);
    return stIncrement;
}

/// A connection that reads 0 both ways has nothing to say yet: it keeps its name, which is missing here, too,
/// and counts nothing.
nis::SNAPSHOT EmptyIncrement(const nis::SNAPSHOT& stNew)
{
    nis::SNAPSHOT stIncrement;
    stIncrement.nDevice = stNew.nDevice;
    stIncrement.clkTime = stNew.clkTime;
    return stIncrement;
}

}  // namespace

// The totals are read without their lock: this thread alone writes them.
void CStatistic::GetIncrement(std::vector<nis::SNAPSHOT>& vecIncrement) NETINFO_NO_THREAD_SAFETY_ANALYSIS
{
    if (!m_pDevice) return;
    m_pDevice->SnapShotPool().GiveBack(m_vecNew);
    if (!m_pDevice->GetSnapShot(m_vecNew)) return;

    const std::size_t nBefore = vecIncrement.size();
    for (nis::SNAPSHOT& stNew : m_vecNew) {
        if (stNew.ullUL == 0 && stNew.ullDL == 0) {
            vecIncrement.push_back(EmptyIncrement(stNew));
            Trace("stNewSnapShot == 0");
            continue;
        }
        const nis::SNAPSHOT* const pBase = FindBase(stNew, m_vecNew);
        stNew.clkTime = getclock();

        // A total counts from the start of the connection phase, where the base was taken: together they are
        // the counter as it was read last.
        nis::SNAPSHOT stLast = FindLast(m_vecSnapShot, stNew);
        if (pBase) {
            stLast.ullDL += pBase->ullDL;
            stLast.ullUL += pBase->ullUL;
        }
        vecIncrement.push_back(Increment(stNew, stLast));
    }
    // The samples are done with; till here they were told apart by the names that now move on.
    for (std::size_t i = 0; i < m_vecNew.size(); ++i)
        vecIncrement[nBefore + i].strName.swap(m_vecNew[i].strName);
}

/// The counters of `stNew`'s connection as the phase began; null for one that came up later. A base that
/// was taken while a counter still read 0 is no base: all are taken anew.
const nis::SNAPSHOT* CStatistic::FindBase(const nis::SNAPSHOT& stNew,
                                          const std::vector<nis::SNAPSHOT>& vecNew)
{
    const auto found = std::find_if(m_vecBase.begin(), m_vecBase.end(), Named(stNew));
    if (found == m_vecBase.end()) return nullptr;
    if (found->ullDL != 0 && found->ullUL != 0) return &*found;

    const auto position = static_cast<std::size_t>(found - m_vecBase.begin());
    m_vecBase = vecNew;
    Trace("pBaseSnapShot == 0");
    if (position < m_vecBase.size()) return &m_vecBase[position];
    return &*std::find_if(m_vecBase.begin(), m_vecBase.end(), Named(stNew));  // fewer connections than then
}
