#include <unistd.h>

#include <cstdio>

#include "platform/common/Directories.h"
#include "platform/trace/TraceSrv.h"

// Says whose rights it has and which directories it would use, and traces a line.

/// The leak check may not look into a program with another user's rights, and its options are not read there.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options()
{
    return "detect_leaks=0";
}

int main()
{
    std::printf("user %u\n", geteuid());
    std::printf("data %s\n", netinfo::UserDataDirectory().c_str());
    std::printf("config %s\n", netinfo::ConfigDirectory().c_str());
    std::printf("state %s\n", netinfo::StateDirectory().c_str());
    std::printf("module %s\n", netinfo::ModuleDirectory().c_str());
    TraceSrv_Trace(4, "test", "a line");
    return 0;
}
