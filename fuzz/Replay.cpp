// The main program of a fuzzer where the compiler has no fuzzing engine: feeds it files, once each.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/Text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void Replay(const std::filesystem::path& path)
{
    // A copy of exactly that length, so that a sanitizer sees a read behind it.
    const std::string content = nettest::ReadFile(path);
    const std::vector<std::uint8_t> input(content.begin(), content.end());
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);  // known also if this one ends the process
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

/// Every argument is an input, or a folder of inputs; fails if there is none at all.
int main(int count, char** words)
{
    int inputs = 0;
    for (const std::filesystem::path path : std::vector<std::string>(words + 1, words + count)) {
        if (!std::filesystem::is_directory(path)) {
            Replay(path);
            ++inputs;
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            Replay(entry.path());
            ++inputs;
        }
    }
    return inputs > 0 ? 0 : 1;
}
