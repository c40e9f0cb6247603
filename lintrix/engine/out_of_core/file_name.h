#pragma once
/// @file
/// Names of the files.

#include <lintrix/engine/call/factor_file.h>
#include <lintrix/engine/call/handle.h>

#include <string_view>

namespace Velmar::Lintrix::detail::engine {

/// Sets of files that may stand beside each other under one prefix; the numbers 0 to 99999.
inline constexpr int kFactorFileNumbers = 100000;

/// A prefix leaves room for five digits and an ending of four characters.
inline constexpr int kLongestPrefix = OutOfCoreTable::kPathLength - 5 - 4;

/// The prefix, a number and the ending of the array.
class FactorFileName {
public:
    FactorFileName(std::string_view prefix, int number, FactorFile file) noexcept;

    const char* text() const noexcept { return cells_; }

private:
    char cells_[OutOfCoreTable::kPathLength + 1];
};

} // namespace Velmar::Lintrix::detail::engine
