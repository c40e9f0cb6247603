#pragma once
/// @file
/// Compressed rows of any kind that Python hands over.

#include "arrays.h"

#include <lintrix/foundation/failures.h>

#include <complex>
#include <cstdint>
#include <type_traits>
#include <variant>

namespace Velmar::Lintrix::python {

/// Holds the arrays while the library reads them, which may be without the interpreter's lock.
class Rows {
public:
    /// Values of one of the two cells, contiguous; indices of 32 or 64 bits, both alike.
    /// @throws ArgumentException  the arrays are others, or of wrong length
    Rows(std::int64_t rows, std::int64_t cols, const py::array& values, const py::array& columns,
         const py::array& starts);

    /// Values, columns and row pointers, as they were handed over.
    py::tuple arrays() const { return py::make_tuple(values_, columns_, starts_); }
    bool isComplex() const { return view_.index() >= 2; }

    /// @throws as `sparseOf`; ArgumentException  the cells are others
    template <class Cell>
    SparseFor<Cell> matrix() const
    {
        return std::visit(
            [](const auto& view) -> SparseFor<Cell> {
                if constexpr (std::is_same_v<decltype(view.values), const Cell*>)
                    return sparseOf(view);
                else
                    throw ArgumentException("The matrix has cells of another type.", "A");
            },
            view_);
    }

private:
    template <class Index>
    using ComplexView = RowsView<std::complex<double>, Index>;
    using View = std::variant<RowsView<double, std::int32_t>, RowsView<double, std::int64_t>,
                              ComplexView<std::int32_t>, ComplexView<std::int64_t>>;

    py::array values_, columns_, starts_;
    View view_{};
};

} // namespace Velmar::Lintrix::python
