#include "platform/trace/TraceFile.h"

#include <fcntl.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "platform/common/Directories.h"
#include "platform/files/Planted.h"

namespace netinfo {
namespace {

constexpr std::size_t LARGEST_FILE = std::size_t{1} << 20;  // bytes
constexpr std::size_t FILES_PUT_ASIDE = 2;

/// Makes the file if need be, so that the log library finds it with our mode, and throws unless it is one
/// that we want to write to; the library then does not open it. True for a file that can be put aside.
bool Prepare(const std::string& path, bool isOwnPlace)
{
    if (IsPlanted(path)) throw std::runtime_error("not a file of the user");
    // Nor may a link come there only now.
    struct stat own
    {};
    const bool isLink = lstat(path.c_str(), &own) == 0 && S_ISLNK(own.st_mode);
    const int links = isOwnPlace || !isLink ? O_NOFOLLOW : 0;
    const int descriptor =
        open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | links,
             S_IRUSR | S_IWUSR);
    if (descriptor < 0) throw std::runtime_error("the trace file cannot be opened");

    struct stat status
    {};
    const bool known = fstat(descriptor, &status) == 0;
    close(descriptor);
    const bool isFile = known && S_ISREG(status.st_mode);
    const bool isDevice = known && S_ISCHR(status.st_mode);
    if (isOwnPlace && (!isFile || status.st_uid != geteuid()))
        throw std::runtime_error("not a file of the user");
    if (!isFile && !isDevice) throw std::runtime_error("neither a file nor a device");
    return isFile;
}

}  // namespace

TraceFile& TraceFile::OfUser()
{
    // Never destroyed: threads may trace while the process ends.
    static TraceFile* const file = [] {
        const char* path = secure_getenv("NETINFO_TRACE_FILE");
        if (path && *path) return new TraceFile(path, false);
        const std::string directory = StateDirectory();
        return new TraceFile(directory.empty() ? directory : directory + "trace.log", true);
    }();
    return *file;
}

TraceFile::TraceFile(std::string path, bool isOwnPlace) : m_path(std::move(path)), m_isOwnPlace(isOwnPlace) {}

TraceFile::~TraceFile() = default;

void TraceFile::Write(const std::string& line) noexcept
{
    try {
        const std::lock_guard lock(m_mutex);
        try {
            if (!m_pSink) m_pSink = Open();
            m_pSink->log(spdlog::details::log_msg({}, spdlog::level::info, line));
            m_pSink->flush();
        } catch (const std::exception&) {
            m_pSink.reset();  // it may have closed its file for good
        }
    } catch (const std::exception&) {
        // A trace has nobody to complain to.
    }
}

std::unique_ptr<spdlog::sinks::sink> TraceFile::Open() const
{
    if (m_isOwnPlace) MakeDirectory(m_path.substr(0, m_path.rfind('/') + 1));
    const bool canBePutAside = Prepare(m_path, m_isOwnPlace);

    spdlog::file_event_handlers handlers;
    handlers.before_open = [isOwnPlace = m_isOwnPlace](const std::string& path) {
        Prepare(path, isOwnPlace);
    };
    std::unique_ptr<spdlog::sinks::sink> sink;
    if (canBePutAside) {
        sink = std::make_unique<spdlog::sinks::rotating_file_sink_st>(m_path, LARGEST_FILE, FILES_PUT_ASIDE,
                                                                      false, handlers);
    } else {
        sink = std::make_unique<spdlog::sinks::basic_file_sink_st>(m_path, false, handlers);
    }
    sink->set_formatter(std::make_unique<spdlog::pattern_formatter>("%Y-%m-%dT%H:%M:%S.%e%z %v"));
    return sink;
}

}  // namespace netinfo
