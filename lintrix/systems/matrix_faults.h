#pragma once
/// @file
/// Which rows and columns make a matrix singular.

#include <lintrix/services/export.h>

#include <cstdint>
#include <functional>
#include <string>

namespace Velmar::Lintrix {

/// What is wrong with a matrix, by its rows and columns: which are empty, free, too many or the same; where
/// the values alone make it singular, which are linearly dependent; which element is no number.
class LINTRIX_EXPORT MatrixFaults {
public:
    /// Nothing is wrong.
    MatrixFaults() = default;
    /// `inWords` tells of the faults it holds, rows and columns counted from its argument.
    explicit MatrixFaults(std::function<std::string(std::int32_t firstIndex)> inWords);

    bool Empty() const noexcept { return !inWords_; }
    /// In sentences, rows and columns counted from `firstIndex`: 0 as in the classes, 1 as in files.
    std::string InWords(std::int32_t firstIndex = 0) const;

private:
    std::function<std::string(std::int32_t firstIndex)> inWords_{};
};

} // namespace Velmar::Lintrix
