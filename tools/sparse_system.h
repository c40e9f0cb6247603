#pragma once
// A square sparse matrix in the storage that each road of the direct solver asks for, and what its values
// tell before anything is factorized.

#include <lintrix/lintrix.h>
#include <lintrix/sparse/matrix_market.h>

#include <cstdint>
#include <optional>

namespace Velmar::Lintrix::tools {

/// Conditions that are seen without a factorization. None is sufficient but for the symmetry.
struct Traits {
    bool symmetric = false; ///< to the bit
    bool symmetricPattern = false;
    bool fullDiagonal = false;    ///< no element of the diagonal is zero
    bool positiveLooking = false; ///< positive diagonal, and a_ij^2 < a_ii*a_jj for all i != j
    bool dominant = false;        ///< diagonally, by rows or by columns: LU is stable without exchanges
};

/// Holds the form it was read in, and makes the other one when it is first asked for.
class SparseSystem {
public:
    /// Square; with `Symmetric()` the upper triangle.
    explicit SparseSystem(SparseMatrix matrix);

    std::int32_t size() const noexcept { return size_; }
    const Traits& traits() const noexcept { return traits_; }
    /// The matrix as it was read, for products.
    const SparseMatrix& matrix() const noexcept { return upper_ ? *upper_ : *full_; }

    /// The upper triangle with the whole diagonal. @pre traits().symmetric
    SparseMatrix& upper();
    /// All elements.
    ///
    /// The engine takes a matrix with as many elements as rows for a diagonal one, and refuses fewer; so a
    /// matrix that sparse which is not diagonal gets zeros on its diagonal.
    SparseMatrix& full();

private:
    std::int32_t size_;
    std::optional<SparseMatrix> upper_, full_;
    Traits traits_;
};

/// Refuses a system that takes more than `memory` bytes before anything is factorized.
/// @throws InputError  at the size line
void requireSparseRoom(const MatrixMarketHeader& matrix, double memory);
/// The same with right-hand sides, which must also fit the matrix.
void requireSparseRoomBeside(const MatrixMarketHeader& matrix, const MatrixMarketHeader& rightHands,
                             double memory);

} // namespace Velmar::Lintrix::tools
