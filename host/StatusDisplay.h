#pragma once

#include <poll.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "host/LiveOutput.h"
#include "host/LiveTable.h"
#include "host/Screen.h"
#include "host/Status.h"
#include "host/Style.h"

namespace netinfo {

/// What goes to standard output while somebody counts.
enum class RunOutput
{
    AsTable,   ///< redrawn on a terminal, else a line for each change
    AsGraphs,  ///< the same, with graphs of the speeds below the table
    AsJson,    ///< a line for each change
    Nothing    ///< for a service, whose lines a journal would keep
};

/// Shows the status of the connection types on standard output, as it changes, without ever waiting for its
/// reader: a table or a line that cannot be written now is left out. A terminal is given back as it was
/// whenever the display ends or pauses.
///
/// Threads: one.
/// Errors:  once nothing can be written any more, the display has ended.
class StatusDisplay
{
public:
    /// `hint` stands behind the time; it has to outlive the display.
    StatusDisplay(RunOutput output, const Style& style, std::string_view hint);
    ~StatusDisplay();
    StatusDisplay(const StatusDisplay&) = delete;
    StatusDisplay& operator=(const StatusDisplay&) = delete;

    /// True if there is a table to redraw, or if there are lines for changes; neither where nothing is shown.
    bool HasTable() const { return m_redraws; }
    bool HasLines() const { return !m_redraws && m_shows != RunOutput::Nothing; }
    /// Draws the table. Every type, at `moment`.
    void ShowTable(const std::vector<TypeStatus>& statuses, unsigned long long moment);
    /// Writes a line if the figures are not those of the last line of that type. `index` is that of the type
    /// among the connection types.
    void ShowChange(std::size_t index, const TypeStatus& status, unsigned long long moment);

    /// Stops the process, as the terminal asked. Nothing is shown when it goes on.
    void Pause();
    /// Says something on standard error, which may be the terminal of the table.
    void Tell(const std::string& message);

    /// What to wait for, and what to do when it has come.
    pollfd Waits() const;
    void Handle(short events);
    /// True once the reader has gone or nothing can be written.
    bool Ended() const { return m_ended; }
    /// That of the command; says what went wrong. A reader that has gone is one of the ways to end.
    int ExitCode() const;

private:
    void Begin();
    void End();

    const RunOutput m_shows;
    const bool m_redraws;
    const Style m_style;
    const std::string_view m_hint;
    LiveOutput m_output;
    Screen m_screen;
    SpeedHistories m_histories;
    std::array<TypeStatus, TRAFFIC_TYPES.size()> m_shown{};  ///< as of the last lines
    unsigned long long m_unshown = 0;                        ///< changes that a slow reader did not get
    bool m_ended = false;
};

}  // namespace netinfo
