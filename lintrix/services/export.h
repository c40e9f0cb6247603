#pragma once
/// @file
/// What leaves the shared library. Everything is hidden unless marked.

#if defined(LINTRIX_STATIC)
#define LINTRIX_EXPORT
#else
/// A name of the public interface.
#define LINTRIX_EXPORT __attribute__((visibility("default")))
#endif

#if defined(LINTRIX_STATIC) || (defined(LINTRIX_BUILDING) && !defined(LINTRIX_TESTABLE_BUILD))
#define LINTRIX_TESTABLE
#elif defined(LINTRIX_INTERNALS_HIDDEN)
/// The command and the examples are compiled so: what reaches an internal name, be it through an inline
/// function of a public header, does not link, as it would not against a library built without its tests.
#define LINTRIX_TESTABLE __attribute__((visibility("hidden")))
#else
/// An internal name that the tests call: it leaves the library only when the tests are built beside it.
#define LINTRIX_TESTABLE __attribute__((visibility("default")))
#endif
