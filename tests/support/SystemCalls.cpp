#include "tests/support/SystemCalls.h"

#include <sys/ptrace.h>
#include <sys/reg.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <map>
#include <stdexcept>

namespace nettest {
namespace {

const std::map<long, const char*>& FileCalls()
{
    static const std::map<long, const char*> names = {
        {SYS_openat, "openat"},
        {SYS_read, "read"},
        {SYS_pread64, "pread64"},
        {SYS_write, "write"},
        {SYS_pwrite64, "pwrite64"},
        {SYS_writev, "writev"},
        {SYS_close, "close"},
        {SYS_lseek, "lseek"},
        {SYS_fsync, "fsync"},
        {SYS_fdatasync, "fdatasync"},
        {SYS_ftruncate, "ftruncate"},
        {SYS_fallocate, "fallocate"},
        {SYS_fchmod, "fchmod"},
        {SYS_fchmodat, "fchmodat"},
        {SYS_fchown, "fchown"},
        {SYS_fchownat, "fchownat"},
        {SYS_fstat, "fstat"},
        {SYS_newfstatat, "newfstatat"},
        {SYS_statx, "statx"},
        {SYS_fcntl, "fcntl"},
        {SYS_flock, "flock"},
        {SYS_getdents64, "getdents64"},
        {SYS_readlinkat, "readlinkat"},
        {SYS_mkdirat, "mkdirat"},
        {SYS_mknodat, "mknodat"},
        {SYS_linkat, "linkat"},
        {SYS_symlinkat, "symlinkat"},
        {SYS_unlinkat, "unlinkat"},
        {SYS_renameat, "renameat"},
        {SYS_renameat2, "renameat2"},
#ifdef __x86_64__
        {SYS_open, "open"},
        {SYS_creat, "creat"},
        {SYS_stat, "stat"},
        {SYS_lstat, "lstat"},
        {SYS_access, "access"},
        {SYS_readlink, "readlink"},
        {SYS_mkdir, "mkdir"},
        {SYS_mknod, "mknod"},
        {SYS_link, "link"},
        {SYS_symlink, "symlink"},
        {SYS_unlink, "unlink"},
        {SYS_rename, "rename"},
        {SYS_chmod, "chmod"},
        {SYS_chown, "chown"},
        {SYS_truncate, "truncate"},
#endif
    };
    return names;
}

#ifdef __x86_64__
constexpr bool CAN_CHANGE_CALLS = true;

bool Poke(pid_t thread, int index, unsigned long value)
{
    return ptrace(PTRACE_POKEUSER, thread, sizeof(long) * static_cast<unsigned>(index), value) == 0;
}
/// At the entry of a call: it will do nothing.
void SkipCall(pid_t thread) { Poke(thread, ORIG_RAX, ~0UL); }
/// At the exit of a call: it reports this error.
void SetError(pid_t thread, int error)
{
    Poke(thread, RAX, static_cast<unsigned long>(-static_cast<long>(error)));
}
/// At the entry of a call.
void SetThirdArgument(pid_t thread, unsigned long value) { Poke(thread, RDX, value); }
#else
constexpr bool CAN_CHANGE_CALLS = false;

void SkipCall(pid_t) {}
void SetError(pid_t, int) {}
void SetThirdArgument(pid_t, unsigned long) {}
#endif

bool CanBeShortened(const SystemCall& call)
{
    const bool moves = call.number == SYS_read || call.number == SYS_write || call.number == SYS_pread64 ||
                       call.number == SYS_pwrite64;
    return moves && call.arguments[2] >= 2;
}

[[noreturn]] void Throw(const char* what)
{
    throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

/// One traced process with all its threads and children, from its first stop to the end of the last of them.
class Tracer
{
public:
    Tracer(pid_t first, const OnSystemCall& onCall) : m_first(first), m_onCall(onCall) {}
    ~Tracer()
    {
        for (const auto& [thread, pending] : m_threads)
            kill(thread, SIGKILL);
        while (!m_threads.empty())
            Wait();
    }
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;

    TracedEnd Run()
    {
        m_threads[m_first];
        int status = 0;
        if (waitpid(m_first, &status, 0) != m_first || !WIFSTOPPED(status)) Throw("no traced child");
        const unsigned long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL | PTRACE_O_TRACECLONE |
                                      PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACEEXEC;
        if (ptrace(PTRACE_SETOPTIONS, m_first, nullptr, options) != 0) Throw("PTRACE_SETOPTIONS");
        Continue(m_first, 0);
        while (!m_threads.empty())
            Wait();
        return std::move(m_end);
    }

private:
    void Wait()
    {
        int status = 0;
        const pid_t thread = waitpid(-1, &status, __WALL);
        if (thread < 0) {
            if (errno == EINTR) return;
            m_threads.clear();
            return;
        }
        if (WIFEXITED(status) || WIFSIGNALED(status)) {
            if (thread == m_first) m_end.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
            m_threads.erase(thread);
            return;
        }
        const bool isNew = m_threads.emplace(thread, std::nullopt).second;
        const int signal = WSTOPSIG(status);
        if (signal == (SIGTRAP | 0x80)) {
            OnCallStop(thread);
        } else if (status >> 16 != 0 || (isNew && signal == SIGSTOP)) {
            Continue(thread, 0);  // an event of the tracing itself
        } else {
            Continue(thread, signal);
        }
    }

    void OnCallStop(pid_t thread)
    {
        __ptrace_syscall_info info{};
        if (ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info) < 0) {
            Continue(thread, 0);
            return;
        }
        std::optional<Fault>& pending = m_threads[thread];
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
            SystemCall call;
            call.number = static_cast<long>(info.entry.nr);
            for (std::size_t i = 0; i < call.arguments.size(); ++i)
                call.arguments[i] = info.entry.args[i];
            call.thread = thread;
            pending = m_onCall(call, m_end.calls.size());
            m_end.calls.push_back(call);
            if (pending && pending->kind == Fault::Kind::KillBefore) kill(thread, SIGKILL);
            if (pending && pending->kind == Fault::Kind::Fail) SkipCall(thread);
            if (pending && pending->kind == Fault::Kind::Shorten && CanBeShortened(call))
                SetThirdArgument(thread, call.arguments[2] / 2);
        } else if (info.op == PTRACE_SYSCALL_INFO_EXIT) {
            if (pending && pending->kind == Fault::Kind::Fail) SetError(thread, pending->error);
            if (pending && pending->kind == Fault::Kind::KillAfter) kill(thread, SIGKILL);
            pending.reset();
        }
        Continue(thread, 0);
    }

    static void Continue(pid_t thread, int signal)
    {
        ptrace(PTRACE_SYSCALL, thread, nullptr,
               static_cast<unsigned long>(signal));  // it may be dead already
    }

    const pid_t m_first;
    const OnSystemCall& m_onCall;
    std::map<pid_t, std::optional<Fault>> m_threads;  ///< with the fault of the call that each is in
    TracedEnd m_end;
};

pid_t Fork(const std::function<void()>& child)
{
    const pid_t id = fork();
    if (id < 0) Throw("fork");
    if (id > 0) return id;

    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    child();
    _exit(127);
}

}  // namespace

std::string SystemCall::Name() const
{
    const auto found = FileCalls().find(number);
    return found == FileCalls().end() ? std::to_string(number) : found->second;
}

bool SystemCall::WorksOnFiles() const { return FileCalls().count(number) != 0; }

std::optional<std::string> SystemCall::Text(std::size_t index) const
{
    std::string text;
    unsigned long address = arguments.at(index);
    constexpr std::size_t PIECE = 256;  // divides a page, so that a piece is readable whole or not at all
    for (;;) {
        char piece[PIECE];
        iovec here{piece, PIECE - address % PIECE};
        iovec there{reinterpret_cast<void*>(address), here.iov_len};
        const ssize_t count = process_vm_readv(thread, &here, 1, &there, 1, 0);
        if (count <= 0) return std::nullopt;
        const std::size_t length = strnlen(piece, static_cast<std::size_t>(count));
        text.append(piece, length);
        if (length < static_cast<std::size_t>(count)) return text;
        address += length;
    }
}

bool CanTraceSystemCalls(std::string& reason)
{
    if (!CAN_CHANGE_CALLS) {
        reason = "the system calls of this processor cannot be changed";
        return false;
    }
    try {
        std::size_t seen = 0;
        const TracedEnd end = TraceWork([] { return syscall(SYS_getppid) == -1 && errno == EXDEV ? 7 : 8; },
                                        [&](const SystemCall& call, std::size_t) {
                                            ++seen;
                                            std::optional<Fault> fault;
                                            if (call.number == SYS_getppid)
                                                fault = Fault{Fault::Kind::Fail, EXDEV};
                                            return fault;
                                        });
        if (seen != 0 && end.status == 7) return true;
        reason = "processes cannot be traced here";
    } catch (const std::exception& e) {
        reason = std::string("processes cannot be traced here: ") + e.what();
    }
    return false;
}

TracedEnd TraceWork(const std::function<int()>& work, const OnSystemCall& onCall)
{
    const pid_t child = Fork([&] { _exit(work()); });
    return Tracer(child, onCall).Run();
}

TracedEnd TraceProgram(const std::vector<std::string>& words, const OnSystemCall& onCall)
{
    std::vector<char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const pid_t child = Fork([&] { execv(arguments[0], arguments.data()); });
    return Tracer(child, onCall).Run();
}

}  // namespace nettest
