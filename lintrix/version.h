#pragma once
/// @file
/// The version of the headers: what a program is compiled against. `LibraryVersion()` tells that of the
/// library in use at run time.
///
/// The three numbers stand here alone; the build, the library and its package take them from here.

#define LINTRIX_VERSION_MAJOR 0
#define LINTRIX_VERSION_MINOR 1
#define LINTRIX_VERSION_PATCH 0

/// One number to compare by: `#if LINTRIX_VERSION >= 10203` asks for 1.2.3 or newer.
#define LINTRIX_VERSION (LINTRIX_VERSION_MAJOR * 10000 + LINTRIX_VERSION_MINOR * 100 + LINTRIX_VERSION_PATCH)

/// "major.minor.patch".
#define LINTRIX_VERSION_STRING                                                                               \
    LINTRIX_DETAIL_DOTTED(LINTRIX_VERSION_MAJOR, LINTRIX_VERSION_MINOR, LINTRIX_VERSION_PATCH)

// Two steps, so that the numbers are put in before they become text.
#define LINTRIX_DETAIL_DOTTED(major, minor, patch) LINTRIX_DETAIL_DOTTED_TEXT(major, minor, patch)
#define LINTRIX_DETAIL_DOTTED_TEXT(major, minor, patch) #major "." #minor "." #patch
