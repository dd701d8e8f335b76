// A module that makes a plug-in and has no way to end it.

extern "C" __attribute__((visibility("default"))) void* CreatePlugin();

void* CreatePlugin() { return nullptr; }
