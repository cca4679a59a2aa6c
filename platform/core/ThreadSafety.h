// Macros for Clang's thread-safety attributes. They are empty under other compilers.
#pragma once

#if defined(__clang__)
#define HEVRA_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define HEVRA_THREAD_ATTRIBUTE(x)
#endif

#define HEVRA_CAPABILITY(x) HEVRA_THREAD_ATTRIBUTE(capability(x))
#define HEVRA_SCOPED_CAPABILITY HEVRA_THREAD_ATTRIBUTE(scoped_lockable)
#define HEVRA_GUARDED_BY(x) HEVRA_THREAD_ATTRIBUTE(guarded_by(x))
#define HEVRA_REQUIRES(...) HEVRA_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define HEVRA_ACQUIRE(...) HEVRA_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define HEVRA_RELEASE(...) HEVRA_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define HEVRA_EXCLUDES(...) HEVRA_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define HEVRA_NO_THREAD_SAFETY_ANALYSIS HEVRA_THREAD_ATTRIBUTE(no_thread_safety_analysis)
