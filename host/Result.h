#pragma once

#include <string>
#include <utility>
#include <variant>

namespace netinfo {

/// Exit codes of every command.
inline constexpr int EXIT_DONE = 0;
inline constexpr int EXIT_FAILED = 1;
inline constexpr int EXIT_USAGE = 2;

/// Why a command ends without having done its work: one line for standard error, and the exit code.
struct Failure
{
    std::string message;  ///< without "netinfo: " and without a line end
    int exitCode = EXIT_FAILED;
};

/// A value, or the reason why there is none.
template <typename T>
class [[nodiscard]] Result
{
public:
    Result(T value) : m_content(std::move(value)) {}
    Result(Failure failure) : m_content(std::move(failure)) {}

    explicit operator bool() const { return std::holds_alternative<T>(m_content); }
    T& operator*() { return std::get<T>(m_content); }
    const T& operator*() const { return std::get<T>(m_content); }
    T* operator->() { return &std::get<T>(m_content); }
    const T* operator->() const { return &std::get<T>(m_content); }
    const Failure& Error() const { return std::get<Failure>(m_content); }

private:
    std::variant<T, Failure> m_content;
};

}  // namespace netinfo
