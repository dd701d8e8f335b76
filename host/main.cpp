#include "host/CommandLine.h"

int main(int argc, char** argv) { return netinfo::Main(argc, argv); }
