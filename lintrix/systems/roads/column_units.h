#pragma once
/// @file
/// Right-hand sides in units of their own: what is solved for is near 1, whatever the caller's numbers are.

#include <lintrix/services/export.h>
#include <lintrix/systems/roads/columns.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// Powers of two by which columns are divided, so that their largest element is between 1/2 and 1. A system
/// is linear, so that its solution is the same to the bit, but for what over- and underflows in other units;
/// and tiny or huge right-hand sides have the residuals, the bounds and the refinement of all others. A
/// column with an element that is no finite number has no solution: 0 stands in its place, so that the others
/// are not touched.
template <class Cell>
class LINTRIX_TESTABLE ColumnUnits {
public:
    /// `ofMatrix`: the power of two by which A has been divided, so that solutions are in the units of B over
    /// that.
    explicit ColumnUnits(const MatrixOf<Cell>& B, int ofMatrix = 0);

    bool allFinite() const { return !lacksOne_; }
    /// Of the given right-hand sides, number j.
    bool isFinite(std::size_t j) const;
    /// Right-hand sides to these units.
    void divide(MatrixOf<Cell>& B) const;
    /// Solutions to the caller's; NaN where there was no finite number.
    void multiply(MatrixOf<Cell>& X) const;
    /// What is left of X in these units once it has been in the caller's, where numbers may over- or
    /// underflow.
    MatrixOf<Cell> thereAndBack(MatrixOf<Cell> X) const;
    /// Takes X there and back. @return  how much that has changed each column, relative to what it is then:
    /// infinite where nothing is left
    std::vector<double> takeThereAndBack(MatrixOf<Cell>& X) const;

private:
    std::vector<int> exponents_;
    int ofMatrix_;
    bool lacksOne_ = false;
};

} // namespace Velmar::Lintrix::detail::roads
