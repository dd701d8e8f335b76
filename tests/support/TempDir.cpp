#include "tests/support/TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace nettest {

TempDir::TempDir()
{
    std::string pattern = std::filesystem::temp_directory_path() / "netinfo-test-XXXXXX";
    if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary directory can be made");
    m_path = pattern;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

}  // namespace nettest
