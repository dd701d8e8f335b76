#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Program.h"
#include "tests/support/TempDir.h"

namespace nettest {

/// What a command left behind.
struct Outcome
{
    int exitCode;
    std::string text;    ///< on standard output
    std::string errors;  ///< on standard error
};

/// Tests of the built program, each in folders of its own.
struct ProgramTest : testing::Test
{
    TempDir directory;
    std::map<std::string, std::string> environment{
        {"NETINFO_DATA_DIR", directory.File("data")},
        {"NETINFO_CONFIG_DIR", directory.File("config")},
        {"XDG_STATE_HOME", directory.File("state")},
        {"HOME", directory.Path()},
        {"NETINFO_MODULE_DIR", directory.File("module")},
        {"XDG_RUNTIME_DIR", directory.File("runtime")},
        {"TERM", "xterm"},
        {"NO_COLOR", ""},
    };

    ProgramTest() { std::filesystem::create_directory(directory.File("runtime")); }

    std::string DataFile(const std::string& name) const { return directory.File("data/" + name); }

    std::unique_ptr<Program> Start(std::vector<std::string> words,
                                   Program::Output output = Program::Output::Pipe)
    {
        words.insert(words.begin(), NETINFO_PROGRAM);
        return std::make_unique<Program>(words, environment, output);
    }
    /// Runs a command to its end, with `input` on its standard input.
    Outcome Run(const std::vector<std::string>& words, const std::string& input = "")
    {
        const auto program = Start(words);
        program->Type(input);
        program->EndInput();
        const int exitCode = program->Wait();
        return {exitCode, program->Text(), program->Errors()};
    }
};

/// One line on standard error, nothing on standard output.
inline void ExpectComplaint(const Outcome& outcome, int exitCode, const std::string& part)
{
    EXPECT_EQ(outcome.exitCode, exitCode) << outcome.errors;
    EXPECT_EQ(outcome.text, "");
    EXPECT_THAT(outcome.errors, testing::StartsWith("netinfo: "));
    EXPECT_THAT(outcome.errors, testing::HasSubstr(part));
    EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1) << outcome.errors;
}

}  // namespace nettest
