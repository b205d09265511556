#pragma once

/// SUPPORT_ASAN is 1 where AddressSanitizer owns the heap, else 0: g++ and clang each say it their
/// way.

#if defined(__has_feature)
#define SUPPORT_ASAN __has_feature(address_sanitizer)
#elif defined(__SANITIZE_ADDRESS__)
#define SUPPORT_ASAN 1
#else
#define SUPPORT_ASAN 0
#endif
