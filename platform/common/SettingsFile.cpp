#include "platform/common/SettingsFile.h"

#define SI_IMPLEMENTATION  // all of it here, nothing to link
#define SI_NO_CONVERSION   // UTF-8 in the file and here
#include <SimpleIni.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/common/Directories.h"
#include "platform/files/Descriptor.h"
#include "platform/files/FileStamp.h"
#include "platform/files/WholeFile.h"
#include "platform/trace/TraceSrv.h"

namespace netinfo {
namespace {

constexpr std::size_t LARGEST_FILE = std::size_t{1} << 20;  // bytes; more is no settings file
constexpr const char* BYTE_ORDER_MARK = "\xEF\xBB\xBF";

long long ClockNanoseconds(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

/// Traced with no lock held, for the trace is the host's and may ask for settings itself.
void Complain(const std::string& complaint)
{
    if (!complaint.empty()) TraceSrv_Trace(2, "Common", complaint.c_str());
}

std::string Reason(int error) { return std::generic_category().message(error); }

/// All of the file; nothing, with the reason in `errno`, if that fails or is more than settings would be.
std::optional<std::string> ReadText(int descriptor)
{
    std::string text;
    char piece[16384];
    for (;;) {
        const ssize_t count = read(descriptor, piece, sizeof piece);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) return text;
        text.append(piece, static_cast<std::size_t>(count));
        if (text.size() > LARGEST_FILE) {
            errno = EFBIG;
            return std::nullopt;
        }
    }
}

}  // namespace

long long MonotonicMilliseconds() { return ClockNanoseconds(CLOCK_MONOTONIC) / 1'000'000; }

/// The settings of one state of the file.
struct SettingsFile::Content
{
    /// Nothing for what is no text.
    static std::unique_ptr<Content> Parse(const std::string& text)
    {
        if (text.find('\0') != std::string::npos) return nullptr;

        auto content = std::make_unique<Content>();
        content->marked = text.starts_with(BYTE_ORDER_MARK);
        if (content->ini.LoadData(text) < 0) return nullptr;
        return content;
    }

    std::string Text()
    {
        std::string text;
        ini.Save(text, marked);
        return text;
    }

    using Entry = std::array<std::string, 3>;  // section, key, value

    std::vector<Entry> Entries() const
    {
        std::vector<Entry> entries;
        CSimpleIniA::TNamesDepend sections;
        ini.GetAllSections(sections);
        for (const auto& section : sections) {
            for (const auto& [key, value] : *ini.GetSection(section.pItem))
                entries.push_back({section.pItem, key.pItem, value});
        }
        return entries;
    }

    CSimpleIniA ini{true, false, false};  // UTF-8, one value for a key, which stands on one line
    bool marked = false;                  ///< begins with a byte-order mark
};

/// What was found when the file was read.
struct SettingsFile::State
{
    std::unique_ptr<Content> content;  ///< null: no such file, or none that can be read
    std::optional<FileStamp> stamp;    ///< of the file that was read; nothing if there was none
    bool settled = false;              ///< a later change of the file will show in its stamp
    std::string trouble;               ///< why a file that is there cannot be read

    static State Read(const std::string& path)
    {
        // Neither a pipe nor a terminal of that name may hold the caller up.
        const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
        State state;
        if (!file.IsOpen() && (errno == ENOENT || errno == ENOTDIR)) {
            state.settled = true;
            return state;
        }
        struct stat status
        {};
        if (!file.IsOpen() || fstat(file.Get(), &status) != 0) return Trouble(Reason(errno));
        if (!S_ISREG(status.st_mode)) return Trouble("not a regular file");

        const std::optional<std::string> text = ReadText(file.Get());
        if (!text) return Trouble(Reason(errno));
        state.content = Content::Parse(*text);
        if (!state.content) return Trouble("not a text file");

        // A file that changed just now may change again within the same tick of the file system's clock.
        state.stamp = FileStamp(status);
        state.settled = ClockNanoseconds(CLOCK_REALTIME) - state.stamp->changed > 2'000'000'000;
        return state;
    }

private:
    static State Trouble(std::string why)
    {
        State state;
        state.trouble = std::move(why);
        return state;
    }
};

SettingsFile::SettingsFile(std::string path, Clock clock)
    : m_path(std::move(path)), m_clock(std::move(clock)), m_pState(std::make_unique<State>())
{}

SettingsFile::~SettingsFile() = default;

std::optional<std::string> SettingsFile::Get(const std::string& section, const std::string& key)
{
    std::optional<std::string> result;
    std::string complaint;
    {
        const std::lock_guard lock(m_mutex);
        complaint = LookAgain();
        const char* value = nullptr;
        if (m_pState->content) value = m_pState->content->ini.GetValue(section.c_str(), key.c_str());
        if (value) result = value;
    }
    Complain(complaint);
    return result;
}

bool SettingsFile::Set(const std::string& section, const std::string& key, const std::string& value)
{
    std::string complaint;
    {
        const std::lock_guard lock(m_mutex);
        complaint = Store(section, key, value);
    }
    Complain(complaint);
    return complaint.empty();
}

/// Reads the file again if it has changed; it is looked at no more than once a second. Returns what there is
/// to complain about.
std::string SettingsFile::LookAgain()
{
    const long long now = m_clock();
    if (m_lookedAt && now - *m_lookedAt < LOOK_EVERY) return {};
    m_lookedAt = now;
    if (m_pState->settled && FileStamp::Of(m_path.c_str()) == m_pState->stamp) return {};

    *m_pState = State::Read(m_path);
    if (m_pState->trouble.empty()) m_complained = false;
    if (m_pState->trouble.empty() || m_complained) return {};
    m_complained = true;
    return "cannot read the settings file " + m_path + ": " + m_pState->trouble;
}

/// Returns what there is to complain about; nothing when the value is stored.
std::string SettingsFile::Store(const std::string& section, const std::string& key, const std::string& value)
{
    const std::string failure = "cannot store a setting in " + m_path + ": ";
    const std::string directory = std::filesystem::path(m_path).parent_path();
    if (!MakeDirectory(directory)) return failure + "no such directory";
    const Descriptor turn(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    while (turn.IsOpen() && flock(turn.Get(), LOCK_EX) != 0 && errno == EINTR) {}

    State state = State::Read(m_path);
    if (!state.trouble.empty()) return failure + state.trouble;
    if (!state.content) state.content = std::make_unique<Content>();
    if (state.content->ini.SetValue(section.c_str(), key.c_str(), value.c_str()) < 0)
        return failure + "no memory";

    const std::string text = state.content->Text();
    std::unique_ptr<Content> readBack = Content::Parse(text);
    if (!readBack || readBack->Entries() != state.content->Entries())
        return failure + "its name or value would not read back the same";

    if (!ReplaceFileWhole(m_path, text)) return failure + Reason(errno);
    *m_pState = State{std::move(readBack), FileStamp::Of(m_path.c_str()), false, {}};
    return {};
}

}  // namespace netinfo
