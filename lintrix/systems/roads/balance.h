#pragma once
/// @file
/// The units of equations and unknowns: powers of two that bring the elements of a matrix to one size.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/quality/any_matrix.h>
#include <lintrix/systems/quality/matrix_sizes.h>

#include <complex>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// How it is told whether the units are alike.
enum class UnitsBy {
    /// By the largest elements of rows and columns: a pass over the elements. Where a few rows and columns
    /// hold all of these, as those of a hub, it may be wrong.
    LargestElements,
    Fit, ///< by what is to be found: the passes that this takes
};

/// Of op(A)*x = b, exponents e so that, with unknowns of the sizes 2^e_j, all terms of an equation tend to be
/// of one size; the largest is 0. Nothing where units are alike.
///
/// They minimize the sum of (log2 |a_ij| + d_i + e_j)^2 over the elements that are not 0, so that they follow
/// every change of units: of L*A*R, L and R diagonal, they are those of A beside R^-1. Curtis, Reid, "On the
/// automatic scaling of matrices for Gaussian elimination", J. Inst. Maths Applics 10 (1972), whose conjugate
/// gradients take a few passes over the elements; where they have not converged by then, units are less
/// alike.
template <class Cell>
LINTRIX_TESTABLE std::vector<int> unitsOfUnknowns(const AnyMatrix<Cell>& A, TransposeMode op,
                                                  UnitsBy by = UnitsBy::LargestElements);

/// The same for whoever asks again: one matrix is read once, and fitted once, for both sides. From several
/// threads at once.
template <class Cell>
class LINTRIX_TESTABLE KnownUnits {
public:
    /// @pre  A has not changed since it was first asked for, or was forgotten
    const std::vector<int>& ofUnknowns(const AnyMatrix<Cell>& A, TransposeMode op, UnitsBy by);
    /// By the largest elements.
    bool areAlike(const AnyMatrix<Cell>& A);
    /// By which that is told. Good until they are forgotten.
    const MatrixSizes& sizes(const AnyMatrix<Cell>& A);
    void forget();

private:
    /// Exponents of equations or unknowns.
    struct Fitted {
        std::vector<int> exponents;
        bool differ = false;
    };

    void fit(const AnyMatrix<Cell>& A);

    std::mutex turn_{};
    std::optional<MatrixSizes> sizes_{};
    std::optional<Fitted> ofRows_{}, ofColumns_{};
    std::vector<int> none_{};
};

/// Of the power of two to divide cells by where their squares might leave the range of a double: it brings
/// them to its middle, and none out of it. 0 where they need not be divided, or one is not finite.
template <class Cell>
LINTRIX_TESTABLE int exponentToMiddle(std::span<const Cell> cells);

} // namespace Velmar::Lintrix::detail::roads
