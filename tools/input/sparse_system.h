#pragma once
// A square sparse matrix in the storage that each road of the direct solver asks for, and what its values
// tell before anything is factorized.

#include <tools/input/sparse_rows.h>
#include <tools/support/memory_limit.h>

#include <lintrix/sparse/matrix_market.h>

#include <cstdint>
#include <optional>

namespace Velmar::Lintrix::tools {

/// Conditions that are seen without a factorization. None is sufficient but for the symmetry.
struct Traits {
    bool symmetric = false; ///< to the bit
    bool hermitian = false; ///< likewise; of a real matrix the same
    bool symmetricPattern = false;
    bool fullDiagonal = false;    ///< no element of the diagonal is zero
    bool positiveLooking = false; ///< hermitian, positive diagonal, and |a_ij|^2 < a_ii*a_jj for all i != j
    bool dominant = false;        ///< diagonally, by rows or by columns: LU is stable without exchanges

    /// One triangle says it all.
    bool mirrored() const noexcept { return symmetric || hermitian; }
};

/// Of a square matrix, a real one in either storage.
template <class Matrix>
Traits traitsOf(const Matrix& matrix);

/// Holds the form it was read in, and makes the other one when it is first asked for.
template <class Cell>
class SparseSystem {
public:
    /// Square; a real one in either storage, and a triangle has its whole diagonal.
    explicit SparseSystem(SparseRows<Cell> matrix);

    std::int32_t size() const noexcept { return size_; }
    const Traits& traits() const noexcept { return traits_; }
    /// The matrix as it was read, for products.
    const SparseRows<Cell>& matrix() const noexcept { return full_ ? *full_ : *upper_; }

    /// The upper triangle with the whole diagonal. @pre traits().mirrored()
    SparseRows<Cell>& upper();
    /// All elements.
    ///
    /// The engine takes a matrix with as many elements as rows for a diagonal one, and refuses fewer; so a
    /// matrix that sparse gets zeros where its diagonal has no element.
    SparseRows<Cell>& full();

private:
    std::int32_t size_;
    Traits traits_;
    std::optional<SparseRows<Cell>> upper_, full_;
};

SparseSystem(SparseMatrix)->SparseSystem<double>;
SparseSystem(CSparseMatrix)->SparseSystem<ComplexNumber>;

/// Refuses a matrix that takes more than `memory` bytes as it is read, with `beside` bytes for what is made
/// of it. @throws InputError  at the size line
void requireMatrixRoom(const MatrixMarketHeader& matrix, double beside, double memory = memoryLimit());

/// Refuses a system that takes more than `memory` bytes before anything is factorized, in real or complex
/// numbers. @throws InputError  at the size line
void requireSparseRoom(const MatrixMarketHeader& matrix, double memory, bool complex = false);
/// The same with right-hand sides, which must also fit the matrix.
void requireSparseRoomBeside(const MatrixMarketHeader& matrix, const MatrixMarketHeader& rightHands,
                             double memory, bool complex = false);

} // namespace Velmar::Lintrix::tools
