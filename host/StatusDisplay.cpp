#include "host/StatusDisplay.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "host/Output.h"

namespace netinfo {
namespace {

constexpr int LAST_WORDS = 1000;  // milliseconds for a reader to take what still waits

}  // namespace

StatusDisplay::StatusDisplay(RunOutput output, const Style& style, std::string_view hint)
    : m_shows(output),
      m_redraws((output == RunOutput::AsTable || output == RunOutput::AsGraphs) && CanRedraw(STDOUT_FILENO)),
      m_style(style),
      m_hint(hint),
      m_output(STDOUT_FILENO)
{
    for (std::size_t i = 0; i < m_shown.size(); ++i)
        m_shown[i].type = TRAFFIC_TYPES[i];
}

StatusDisplay::~StatusDisplay() { End(); }

void StatusDisplay::Begin()
{
    if (m_redraws) m_output.Send(m_screen.Begin());
}

void StatusDisplay::End()
{
    m_output.Send(m_screen.End());
    m_output.Finish(LAST_WORDS);
}

void StatusDisplay::ShowTable(const std::vector<TypeStatus>& statuses, unsigned long long moment)
{
    if (!m_redraws) return;
    for (std::size_t i = 0; i < statuses.size(); ++i)
        m_histories.at(i).Note(moment, {statuses[i].downSpeed, statuses[i].upSpeed});
    if (!m_output.Idle()) return;  // the terminal still takes the previous table

    const TerminalSize size = SizeOfTerminal(STDOUT_FILENO);
    const TableFrame frame{.columns = size.columns, .lines = size.rows - 1, .style = m_style, .hint = m_hint};
    const bool graphs = m_shows == RunOutput::AsGraphs;
    Begin();
    m_output.Send(m_screen.Draw(
        graphs ? LiveTable(statuses, m_histories, moment, frame) : StatusTable(statuses, moment, frame),
        size.rows));
}

void StatusDisplay::ShowChange(std::size_t index, const TypeStatus& status, unsigned long long moment)
{
    if (!HasLines()) return;
    if (SameFigures(status, m_shown.at(index))) return;
    m_shown[index] = status;

    const bool json = m_shows == RunOutput::AsJson;
    std::string text = json ? StatusJson(status, moment) : StatusLine(status, moment, m_style.units);
    if (m_unshown != 0 && !json) text = fmt::format("({} changes not shown)\n{}", m_unshown, text);
    if (m_output.Send(text)) {
        m_unshown = 0;
    } else {
        ++m_unshown;
    }
}

void StatusDisplay::Pause()
{
    End();
    raise(SIGSTOP);
}

void StatusDisplay::Tell(const std::string& message)
{
    End();
    Complain(message);
}

pollfd StatusDisplay::Waits() const
{
    // Without POLLOUT it still tells that the other end is gone, which is nothing to who has nothing to say.
    if (m_shows == RunOutput::Nothing) return {-1, 0, 0};
    return {m_output.Descriptor(), static_cast<short>(m_output.Idle() ? 0 : POLLOUT), 0};
}

void StatusDisplay::Handle(short events)
{
    if ((events & POLLOUT) != 0) m_output.Flush();
    if ((events & (POLLERR | POLLHUP)) != 0) m_ended = true;
    if (m_output.Error() != 0) m_ended = true;
}

int StatusDisplay::ExitCode() const
{
    const int error = m_output.Error();
    if (error == 0 || error == EPIPE || error == EIO) return EXIT_DONE;
    return Fail({fmt::format("the output cannot be written: {}", std::strerror(error))});
}

}  // namespace netinfo
