#pragma once

namespace netinfo {

/// The whole program: reads the command line, runs the command, returns the exit code. Nothing is thrown.
int Main(int argc, char** argv);

}  // namespace netinfo
