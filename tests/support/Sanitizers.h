// Sanitizers: what a test has to know of the build that it runs in.

#pragma once

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
