#pragma once

/// Lock rules written where the compiler can check them: clang refuses an access that breaks one, other
/// compilers read nothing here.

#if defined(__clang__)
#define NETINFO_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define NETINFO_THREAD_ATTRIBUTE(x)
#endif

#define NETINFO_CAPABILITY(name) NETINFO_THREAD_ATTRIBUTE(capability(name))
#define NETINFO_SCOPED_CAPABILITY NETINFO_THREAD_ATTRIBUTE(scoped_lockable)
#define NETINFO_GUARDED_BY(mutex) NETINFO_THREAD_ATTRIBUTE(guarded_by(mutex))
#define NETINFO_REQUIRES(...) NETINFO_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define NETINFO_EXCLUDES(...) NETINFO_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define NETINFO_ACQUIRE(...) NETINFO_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define NETINFO_RELEASE(...) NETINFO_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define NETINFO_NO_THREAD_SAFETY_ANALYSIS NETINFO_THREAD_ATTRIBUTE(no_thread_safety_analysis)
