#pragma once

namespace netinfo {

/// Gives back to the system what only the start needed: free memory at the end of the heap, and the pages of
/// programs and libraries that were run once. They stay in the system's cache and come back by themselves
/// where they are run again. [any thread]
void ReleaseStartupMemory();

}  // namespace netinfo
