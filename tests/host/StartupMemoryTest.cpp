#include "host/StartupMemory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace {

/// Kilobytes of code that the process holds in memory.
long CodeInMemory()
{
    std::ifstream maps("/proc/self/smaps");
    long held = 0;
    bool code = false;
    for (std::string line; std::getline(maps, line);) {
        std::istringstream words(line);
        std::string first;
        std::string second;
        words >> first >> second;
        if (first.find('-') != std::string::npos)
            code = second == "r-xp" && line.find('/') != std::string::npos;
        if (code && first == "Rss:") held += std::stol(second);
    }
    return held;
}

TEST(StartupMemory, GivesCodeBackThatIsNotRunAndRunsOnWithTheRest)
{
    const long before = CodeInMemory();
    ASSERT_GT(before, 0);

    netinfo::ReleaseStartupMemory();

    EXPECT_LT(CodeInMemory(), before);
    std::ostringstream text;
    text << 3.25 << ' ' << before;
    EXPECT_EQ("3.25 " + std::to_string(before), text.str());
    netinfo::ReleaseStartupMemory();
    EXPECT_THROW(throw std::string("still caught"), std::string);
}

}  // namespace
