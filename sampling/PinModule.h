#pragma once

/// Keeps the library that holds this function in memory until the process ends, whatever is closed: a thread
/// that is left behind still has to run through its code. [any thread]
void PinModule();
