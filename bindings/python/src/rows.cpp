#include "rows.h"

#include "module.h"

namespace Velmar::Lintrix::python {

namespace {

template <class T>
bool holds(const py::array& array)
{
    return py::array_t<T, py::array::c_style>::check_(array) && array.ndim() == 1;
}

template <class Cell, class Index>
RowsView<Cell, Index> viewOfRows(std::int64_t rows, std::int64_t cols, const py::array& values,
                                 const py::array& columns, const py::array& starts)
{
    if (starts.size() != rows + 1 || columns.size() != values.size())
        throw ArgumentException("The arrays of the matrix do not fit its size.", "A");
    return {rows,
            cols,
            values.size(),
            static_cast<const Cell*>(values.data()),
            static_cast<const Index*>(columns.data()),
            static_cast<const Index*>(starts.data())};
}

} // namespace

Rows::Rows(std::int64_t rows, std::int64_t cols, const py::array& values, const py::array& columns,
           const py::array& starts)
    : values_(values), columns_(columns), starts_(starts)
{
    const auto take = [&]<class Cell, class Index>(Cell, Index) {
        if (!holds<Cell>(values) || !holds<Index>(columns) || !holds<Index>(starts)) return false;
        view_ = viewOfRows<Cell, Index>(rows, cols, values, columns, starts);
        return true;
    };
    using Complex = std::complex<double>;
    const bool isTaken = take(0.0, std::int32_t{}) || take(0.0, std::int64_t{}) ||
                         take(Complex(), std::int32_t{}) || take(Complex(), std::int64_t{});
    if (!isTaken) throw ArgumentException("The arrays of the matrix are of another type.", "A");
}

void bindMatrices(py::module_& module)
{
    py::class_<Rows>(module, "Rows")
        .def(py::init<std::int64_t, std::int64_t, const py::array&, const py::array&, const py::array&>())
        .def_property_readonly("arrays", &Rows::arrays);
}

} // namespace Velmar::Lintrix::python
