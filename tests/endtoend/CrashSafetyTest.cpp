#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/common/SettingsFile.h"
#include "plugin/Interfaces.h"
#include "store/DataMgr.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/Soak.h"
#include "tests/support/SystemCalls.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestClock.h"
#include "tests/support/Text.h"

// Whatever is being written when the process is killed or the system refuses: the file holds the old content
// or the new, and the next start goes on from there. A child does the writing, and every system call that it
// makes is the last one, or fails, in turn.

namespace {

using nettest::Fault;
using nettest::SystemCall;
using nettest::TracedEnd;
namespace fs = std::filesystem;

constexpr std::time_t START = 1'773'842'400;

// The sanitizers look for other things than size, and take their time.
#ifdef NETINFO_SANITIZED
constexpr std::size_t LARGE = 4'000'000;  // bytes
#else
constexpr std::size_t LARGE = 20'000'000;
#endif

// What a child says about its writing, as its exit code.
constexpr int DONE = 0;
constexpr int NOT_SAID_TO_BE_DONE = 1;

bool g_inChild = false;

const std::string DECLARATION = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";
const std::string EMPTY = DECLARATION + "<xml>\r\n</xml>\r\n";

using Folder = std::map<std::string, std::string>;  ///< the content of each file, by name

bool IsLeftover(const std::string& name) { return name.find(".new~") != std::string::npos; }

/// One thing that is written, and what may be found when it was cut short.
class Writing
{
public:
    virtual ~Writing() = default;

    /// What the folder holds before.
    Folder before;
    /// What else it may hold when the writing was cut short, beside a new file.
    std::vector<Folder> between{};

    /// Writes, in a child: DONE or NOT_SAID_TO_BE_DONE.
    virtual int Write() = 0;
    /// The next start, in this process; `before` or what undisturbed writing leaves is in the folder again.
    virtual void StartAgain() = 0;

    void Restore() const
    {
        for (const auto& entry : fs::directory_iterator(m_folder.Path()))
            if (before.count(entry.path().filename()) == 0) fs::remove(entry.path());
        for (const auto& [name, content] : before)
            if (ReadFile(name) != content) nettest::WriteFile(m_folder.File(name), content);
    }
    Folder Now() const
    {
        Folder now;
        for (const auto& entry : fs::directory_iterator(m_folder.Path()))
            now[entry.path().filename()] = nettest::ReadFile(entry.path());
        return now;
    }
    std::string ReadFile(const std::string& name) const { return nettest::ReadFile(m_folder.File(name)); }
    std::string Path(const std::string& name) const { return m_folder.File(name); }
    std::string Directory() const { return m_folder.Path() + "/"; }

private:
    nettest::TempDir m_folder;
};

/// A store with a document of about `size` bytes, which has counted since it last saved.
class Save : public Writing
{
public:
    explicit Save(std::size_t size)
    {
        nettest::TestClock::Reset(START);
        nettest::FakePlatform::Reset();
        nettest::FakePlatform::SetUserDataDirectory(Directory());
        std::string document = DECLARATION + "<xml>\r\n<total>\r\n";
        while (document.size() < size) {
            document +=
                "<item device=\"ppp0\" apn=\"internet\" starttime=\"1773842400\" endtime=\"1773842400\" "
                "time=\"0\" uploaded=\"110\" downloaded=\"220\" unitprice=\"0\" fee=\"0\"/>\r\n";
            ++m_records;
        }
        nettest::WriteFile(Path("NetInfo.dat"), document + "</total>\r\n</xml>\r\n");
        m_store = std::make_unique<CDataMgr>();
        m_store->SaveFile();
        before = Now();
        m_store->StartNewConnect("ppp0", "internet");
        nis::SNAPSHOT increment;
        increment.nDevice = 0;
        increment.ullDL = 1'000;
        increment.ullUL = 100;
        m_store->UpdateData({increment}, false);
    }
    ~Save() override { Restore(); }  // small again before the store's own last save

    int Write() override
    {
        nettest::FakePlatform::ClearTraces();
        m_store->SaveFile();
        return nettest::FakePlatform::Traces().empty() ? DONE : NOT_SAID_TO_BE_DONE;
    }
    void StartAgain() override
    {
        const bool old = ReadFile("NetInfo.dat") == before.at("NetInfo.dat");
        const CDataMgr next;
        nis::REPORT since;
        next.GetSinceData(since, 0);
        EXPECT_EQ(since.ullDownloaded, old ? 0U : 1'000U);
        IConnRecord* const records = const_cast<CDataMgr&>(next).GetAllConnRecord();
        ASSERT_TRUE(records);
        EXPECT_EQ(records->GetAllRecordCount(), m_records + (old ? 0 : 1));
        records->Release();
    }
    CDataMgr& Store() { return *m_store; }

private:
    int m_records = 0;
    std::unique_ptr<CDataMgr> m_store;
};

/// A start of the store on the given files.
class Start : public Writing
{
public:
    explicit Start(Folder files)
    {
        nettest::TestClock::Reset(START);
        nettest::FakePlatform::Reset();
        nettest::FakePlatform::SetUserDataDirectory(Directory());
        before = std::move(files);
    }
    int Write() override
    {
        // The child ends without destroying it: that would save.
        [[maybe_unused]] const auto* const store = new CDataMgr;
        return NOT_SAID_TO_BE_DONE;
    }
    void StartAgain() override { const CDataMgr next; }
};

/// A setting stored in a file that has others.
class Setting : public Writing
{
public:
    Setting() { before = {{"DataUsageLimit.ini", "[uselimit]\nstartweekdate = 1\n"}}; }

    int Write() override
    {
        netinfo::SettingsFile file(Path("DataUsageLimit.ini"));
        return file.Set("uselimit", "startmonthdate", "14") ? DONE : NOT_SAID_TO_BE_DONE;
    }
    void StartAgain() override
    {
        netinfo::SettingsFile file(Path("DataUsageLimit.ini"));
        EXPECT_EQ(file.Get("uselimit", "startweekdate"), "1");
        EXPECT_TRUE(file.Set("uselimit", "startmonthdate", "14"));
        EXPECT_EQ(file.Get("uselimit", "startmonthdate"), "14");
    }
};

/// What is found when the file could not be read at a start: it is kept beside a new one.
std::vector<Folder> PutAside(const std::string& content)
{
    const std::string kept = "NetInfo.dat.bad-" + std::to_string(START);
    return {{{kept, content}}, {{kept, content}, {"NetInfo.dat", EMPTY}}};
}

struct Disturbance
{
    Fault fault;
    bool fromHereOn = false;  ///< every later call on files fails, too
};

/// Which calls of a writing are disturbed, and how.
enum class Extent
{
    All,
    Decisive  ///< killed around, or refused, where the content is written, flushed and put in place
};

/// What is written is flushed in the child alone, and there only where that is disturbed.
std::optional<Fault> Undisturbed(const SystemCall& call)
{
    if (call.number != SYS_fsync) return std::nullopt;
    return Fault{Fault::Kind::Fail, 0};
}

class CrashSafety : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string reason;
        if (!nettest::CanTraceSystemCalls(reason)) GTEST_SKIP() << reason;
    }

    /// Disturbs `writing` in every way; `writeAgain` is the next try of a process that goes on, if it has
    /// one.
    void DisturbEvery(Writing& writing, Extent extent, const std::function<void()>& writeAgain)
    {
        writing.Restore();
        const TracedEnd whole = Trace(
            writing,
            [](const SystemCall& call, std::size_t) -> std::optional<Fault> { return Undisturbed(call); });
        const Folder after = writing.Now();
        ASSERT_NE(after, writing.before);

        std::set<Folder> started;     // what a start has gone on from
        std::size_t filesBefore = 0;  // calls on files
        int kills = 0;
        int refusals = 0;
        for (std::size_t index = 0; index < whole.calls.size(); ++index) {
            const SystemCall& disturbed = whole.calls[index];
            if (disturbed.number == SYS_exit_group) continue;
            for (const Disturbance& disturbance : Disturbances(disturbed, extent)) {
                const bool isKill = disturbance.fault.kind == Fault::Kind::KillBefore ||
                                    disturbance.fault.kind == Fault::Kind::KillAfter;
                ++(isKill ? kills : refusals);
                SCOPED_TRACE(Describe(disturbed, index, disturbance));
                writing.Restore();
                // Calls for memory come and go from one writing to the next: calls on files count apart.
                const bool onFiles = disturbed.WorksOnFiles();
                std::size_t toGo = onFiles ? filesBefore : index;
                bool met = false;
                const TracedEnd end =
                    Trace(writing, [&](const SystemCall& call, std::size_t) -> std::optional<Fault> {
                        const bool counts = !onFiles || call.WorksOnFiles();
                        if (!met && counts && toGo-- == 0) {
                            met = true;
                            return disturbance.fault;
                        }
                        if (met && disturbance.fromHereOn && call.WorksOnFiles()) return disturbance.fault;
                        return Undisturbed(call);
                    });
                CheckFolder(writing, after, end, isKill);
                // A process that was killed starts again; one that was refused tries again.
                const bool isNew = started.insert(writing.Now()).second;
                if (!writeAgain || (isKill && (extent == Extent::All || isNew))) {
                    writing.StartAgain();
                } else {
                    writeAgain();
                    EXPECT_EQ(writing.Now(), after);
                }
                for (const auto& [name, content] : writing.Now())
                    EXPECT_FALSE(IsLeftover(name)) << name;
                if (HasFailure()) return;
            }
            filesBefore += disturbed.WorksOnFiles() ? 1U : 0U;
        }
        std::printf("%zu system calls; killed %d times, refused or cut short %d times\n", whole.calls.size(),
                    kills, refusals);
        EXPECT_GT(kills, 0);
        EXPECT_GT(refusals, 0);
    }

private:
    static TracedEnd Trace(Writing& writing, const nettest::OnSystemCall& onCall)
    {
        const auto work = [&] {
            g_inChild = true;
            return writing.Write();
        };
        return nettest::TraceWork(work, onCall);
    }

    static std::string Describe(const SystemCall& call, std::size_t index, const Disturbance& disturbance)
    {
        static const char* const KINDS[] = {"killed before", "killed after", "error", "shortened"};
        return "call " + std::to_string(index) + ", " + call.Name() + ": " +
               KINDS[static_cast<int>(disturbance.fault.kind)] + " " +
               std::to_string(disturbance.fault.error) + (disturbance.fromHereOn ? " from here on" : "");
    }

    static std::vector<Disturbance> Disturbances(const SystemCall& call, Extent extent)
    {
        static const std::set<std::string> DECISIVE = {"write", "fsync", "rename", "renameat", "renameat2"};

        if (extent == Extent::Decisive && DECISIVE.count(call.Name()) == 0) return {};
        std::vector<Disturbance> all = {{{Fault::Kind::KillBefore}}, {{Fault::Kind::KillAfter}}};
        if (!call.WorksOnFiles()) return all;
        for (const int error : {ENOSPC, EIO, EROFS, EACCES, EINTR}) {
            if (extent == Extent::Decisive && error != ENOSPC) continue;
            all.push_back({{Fault::Kind::Fail, error}});
        }
        for (const int error : {ENOSPC, EIO, EROFS, EACCES})
            if (extent == Extent::All) all.push_back({{Fault::Kind::Fail, error}, true});
        if (call.Name() == "write" || call.Name() == "read") {
            all.push_back({{Fault::Kind::Shorten}});
            if (extent == Extent::All) all.push_back({{Fault::Kind::Shorten}, true});
        }
        return all;
    }

    static void CheckFolder(const Writing& writing, const Folder& after, const TracedEnd& end, bool killed)
    {
        Folder now = writing.Now();
        const auto leftovers = std::erase_if(now, [](const auto& file) { return IsLeftover(file.first); });
        EXPECT_LE(leftovers, 1U);
        const bool isBetween =
            std::find(writing.between.begin(), writing.between.end(), now) != writing.between.end();
        EXPECT_TRUE(now == writing.before || now == after || isBetween)
            << "the content is neither old nor new";
        if (killed) {
            // Memory is asked for now and then, so that one writing makes a few calls more than another.
            const bool ended = end.calls.back().number == SYS_exit_group;
            EXPECT_TRUE(ended || end.status == -SIGKILL) << end.status;
            return;
        }
        EXPECT_GE(end.status, 0) << "ended by signal " << -end.status;
        EXPECT_TRUE(end.status != DONE || now == after) << "said to be done";
    }
};

}  // namespace

/// Takes the place of the C library's.
extern "C" int fsync(int fd) { return g_inChild ? static_cast<int>(syscall(SYS_fsync, fd)) : 0; }

TEST_F(CrashSafety, ASmallSaveLeavesTheOldDocumentOrTheNew)
{
    Save save(10'000);
    DisturbEvery(save, Extent::All, [&] { save.Store().SaveFile(); });
}

TEST_F(CrashSafety, ALargeSaveLeavesTheOldDocumentOrTheNew)
{
    Save save(LARGE);
    DisturbEvery(save, nettest::IsSoak() ? Extent::All : Extent::Decisive, [&] { save.Store().SaveFile(); });
}

TEST_F(CrashSafety, AStoredSettingLeavesTheOldFileOrTheNew)
{
    Setting setting;
    DisturbEvery(setting, Extent::All, nullptr);
}

TEST_F(CrashSafety, AFirstStartLeavesNoFileOrAWholeOne)
{
    Start start(Folder{});
    start.between = PutAside(EMPTY);
    DisturbEvery(start, Extent::All, nullptr);
}

TEST_F(CrashSafety, AConversionLeavesTheOldTextOrTheNew)
{
    const std::string text = "<xml>\r\n<total>\r\n<item apn=\"caf\xC3\xA9\"/>\r\n</total>\r\n</xml>\r\n";
    const std::string old = "<?xml version=\"1.0\"?>\r\n" + text;
    Start start(Folder{{"NetInfo.dat", old}});
    start.between = PutAside(old);
    for (const Folder& folder : PutAside(DECLARATION + old))
        start.between.push_back(folder);
    DisturbEvery(start, Extent::All, nullptr);
}

TEST_F(CrashSafety, AFileThatCannotBeReadIsNeverLost)
{
    Start start(Folder{{"NetInfo.dat", "no document at all"}});
    start.between = PutAside("no document at all");
    DisturbEvery(start, Extent::All, nullptr);
}
