#pragma once
/// @file
/// A walk over the stored elements of a sparse matrix, row after row. Not for callers.

#include <lintrix/foundation/failures.h>
#include <lintrix/sparse/access.h>

#include <cstdint>

namespace Velmar::Lintrix::detail {

/// One stored element, independent of the matrix it came from. Row and column are counted from 0.
template <class Cell>
class SparseElement {
public:
    SparseElement(std::int32_t row, std::int32_t col, const Cell& value) noexcept
        : _row(row), _col(col), _value(value)
    {
    }

    std::int32_t Row() const noexcept { return _row; }
    std::int32_t Col() const noexcept { return _col; }
    const Cell& Value() const noexcept { return _value; }

    /// Row-major order of the places: -1, 0 or 1 as A stands before, at or behind B.
    static std::int32_t CompareOrder(const SparseElement& A, const SparseElement& B) noexcept
    {
        if (A._row != B._row) return A._row > B._row ? 1 : -1;
        if (A._col == B._col) return 0;
        return A._col > B._col ? 1 : -1;
    }

private:
    std::int32_t _row;
    std::int32_t _col;
    Cell _value;
};

/// A cursor, at first before the first element. The matrix is referred to, not owned: it must outlive the
/// cursor and not change during the walk. The element count is taken at construction, the arrays are read as
/// they are.
template <class Cell>
class SparseEnum {
public:
    explicit SparseEnum(const SparseOf<Cell>& matrix)
        : _matrix(&matrix), _ipHi(matrix.NumElements()), _base(SparseAccess::rowPointers(matrix)[0])
    {
    }
    explicit SparseEnum(SparseOf<Cell>&&) = delete;

    /// False behind the last element. The cursor then stays on it, and `Current` still tells it.
    bool MoveNext()
    {
        ++_ip;
        if (_ip >= _ipHi) {
            --_ip;
            return false;
        }
        const std::int32_t* ia = SparseAccess::rowPointers(*_matrix);
        while (_ip >= ia[_row + 1] - _base) { // the row is used up, or empty
            if (++_row >= _matrix->Rows()) return false;
        }
        return true;
    }

    /// Before the first element again.
    void Reset() noexcept
    {
        _row = 0;
        _col = 0;
        _ip = -1;
    }

    /// @throws InvalidOperationException  the cursor is on no element
    SparseElement<Cell> Current() const
    {
        if (_ip >= _ipHi) {
            throw InvalidOperationException(
                "The enumerator is positioned after the last element of the matrix.");
        }
        if (_ip < 0) {
            throw InvalidOperationException(
                "The enumerator is positioned before the first element of the matrix.");
        }
        return {_row, SparseAccess::columns(*_matrix)[_ip] - 1, SparseAccess::values(*_matrix)[_ip]};
    }

private:
    const SparseOf<Cell>* _matrix;
    std::int32_t _row = 0;
    std::int32_t _col = 0; ///< reserved
    std::int32_t _ip = -1; ///< slot, counted from 0
    std::int32_t _ipHi;
    std::int32_t _base;
};

using SparseMatrixElement = SparseElement<double>;
using SparseMatrixEnum = SparseEnum<double>;
using CSparseMatrixElement = SparseElement<Complex>;
using CSparseMatrixEnum = SparseEnum<Complex>;

} // namespace Velmar::Lintrix::detail
