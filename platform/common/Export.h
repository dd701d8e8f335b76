#pragma once

/// Marks what a platform library offers; everything else in it is hidden.
#define NETINFO_PLATFORM_API __attribute__((visibility("default")))
