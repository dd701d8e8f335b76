// A module that can be loaded and is no plug-in.

extern "C" __attribute__((visibility("default"))) int NothingOfInterest();

int NothingOfInterest() { return 0; }
