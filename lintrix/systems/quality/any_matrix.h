#pragma once
/// @file
/// A matrix, sparse or dense, as the loops of this folder read it.

#include <lintrix/dense/detail/dense_classes.h>
#include <lintrix/services/export.h>
#include <lintrix/sparse/compressed_matrix.h>

#include <complex>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// A in lines as it is stored: the compressed rows of a sparse matrix, the columns of a dense one. Owns
/// nothing and is good until the matrix changes.
///
/// The elements are those that Item tells. Of a matrix marked symmetric (Hermitian) the stored upper triangle
/// stands for the lower one, too, conjugated; what may be stored below the diagonal does not count, and an
/// imaginary part on the diagonal does.
template <class Cell>
class LINTRIX_TESTABLE AnyMatrix {
public:
    explicit AnyMatrix(const CompressedMatrix<Cell>& matrix);
    explicit AnyMatrix(const MatrixOf<Cell>& matrix);
    /// Compressed rows, one-based.
    AnyMatrix(std::int32_t rows, std::int32_t cols, const Cell* values, const std::int32_t* starts,
              const std::int32_t* places) noexcept
        : rows_(rows), cols_(cols), values_(values), starts_(starts), places_(places)
    {
    }

    std::int32_t rows() const noexcept { return rows_; }
    std::int32_t cols() const noexcept { return cols_; }
    bool isDense() const noexcept { return starts_ == nullptr; }
    bool isOneTriangle() const noexcept { return oneTriangle_; }
    std::int32_t lines() const noexcept { return isDense() ? cols_ : rows_; }
    /// Elements that are stored.
    std::int64_t elements() const noexcept;

    /// Calls work(place, value) for the elements of a line in their order; of a dense one only for the places
    /// first .. behind-1.
    template <class Work>
    [[gnu::always_inline]] void forElements(std::int32_t line, std::int32_t first, std::int32_t behind,
                                            const Work& work) const
    {
        if (isDense()) {
            const Cell* const column = values_ + std::int64_t{line} * rows_;
            for (std::int32_t i = first; i < behind; ++i) work(i, column[i]);
            return;
        }
        for (std::int64_t p = starts_[line] - 1; p < starts_[line + 1] - 1; ++p) {
            work(places_[p] - 1, values_[p]);
        }
    }

private:
    std::int32_t rows_, cols_;
    const Cell* values_;
    const std::int32_t* starts_ = nullptr; ///< one-based, of a sparse matrix
    const std::int32_t* places_ = nullptr; ///< one-based columns
    bool oneTriangle_ = false;
};

extern template class AnyMatrix<double>;
extern template class AnyMatrix<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
