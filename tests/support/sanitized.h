#pragma once
/// @file
/// Whether this build reserves more address space than any limit leaves.

#if defined(__has_feature)
#define LINTRIX_HAS_FEATURE(x) __has_feature(x)
#else
#define LINTRIX_HAS_FEATURE(x) 0
#endif

/// 1 under the sanitizers that do.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define LINTRIX_SANITIZED_MEMORY 1
#else
#define LINTRIX_SANITIZED_MEMORY                                                                             \
    (LINTRIX_HAS_FEATURE(address_sanitizer) || LINTRIX_HAS_FEATURE(thread_sanitizer))
#endif
