#pragma once

#include <memory>
#include <mutex>
#include <string>

namespace spdlog::sinks {
class sink;
}

namespace netinfo {

/// The file that trace lines go to. It is made, with mode 0600, by the first line.
///
/// Threads: any.
/// Errors:  a line that cannot be written is dropped; the next one tries to open the file again.
class TraceFile
{
public:
    /// `$NETINFO_TRACE_FILE`, or `trace.log` in the user's state directory.
    static TraceFile& OfUser();

    /// The path as the user gave it may lead anywhere but to a pipe, which might hold the caller up. A place
    /// of our own (`isOwnPlace`) is made with mode 0700, and nothing but a file of the user is written to
    /// there, least of all a symbolic link. Where everybody can write, nothing is written to what another
    /// user may have put there.
    TraceFile(std::string path, bool isOwnPlace);
    ~TraceFile();
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

    /// Appends the time and `line`, and a line break.
    void Write(const std::string& line) noexcept;

private:
    std::unique_ptr<spdlog::sinks::sink> Open() const;

    const std::string m_path;
    const bool m_isOwnPlace;
    std::mutex m_mutex;                            ///< guards all below
    std::unique_ptr<spdlog::sinks::sink> m_pSink;  ///< null until opened, and after a failure
};

}  // namespace netinfo
