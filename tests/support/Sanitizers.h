// Sanitizers: what a test has to know of the build that it runs in.

#pragma once

// GCC defines names for what clang has to be asked.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define __SANITIZE_ADDRESS__ 1
#endif
#if __has_feature(thread_sanitizer)
#define __SANITIZE_THREAD__ 1
#endif
#endif

namespace Test {

#if defined(__SANITIZE_THREAD__)
inline constexpr bool kThreadSanitizer = true;
#else
inline constexpr bool kThreadSanitizer = false;
#endif

/// Everything takes ten times as long: sizes that only show a cost may be smaller.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
inline constexpr bool kSlowBuild = true;
#else
inline constexpr bool kSlowBuild = false;
#endif

}  // namespace Test
