#pragma once
/// @file
/// NumPy arrays as matrices of the library, and back.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_matrix.h>
#include <lintrix/systems/linear_system.h>

#include <pybind11/complex.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace Velmar::Lintrix::python {

namespace py = pybind11;

template <class Cell>
using MatrixFor = typename LinearSystem<Cell>::M;
template <class Cell>
using SparseFor = typename LinearSystem<Cell>::Sparse;

/// A dense array of native cells as it lies in memory: element (i, j) stands `i*rowStep + j*colStep` bytes
/// behind the first, on any address. It knows nothing of Python, whose array must outlive it.
template <class Cell>
struct DenseView {
    const char* data = nullptr;
    std::int64_t rows = 0, cols = 0, rowStep = 0, colStep = 0;
};

/// Arrays of one dimension are one column. The front lets no others in than of one and two.
template <class Cell>
DenseView<Cell> viewOf(const py::array_t<Cell, 0>& array)
{
    DenseView<Cell> view{reinterpret_cast<const char*>(array.data()), array.shape(0), 1, array.strides(0), 0};
    if (array.ndim() > 1) {
        view.cols = array.shape(1);
        view.colStep = array.strides(1);
    }
    return view;
}

/// The one copy that is made.
/// @throws InvalidSizeException  it is empty, or has more than 2^31 - 1 cells
template <class Cell>
MatrixFor<Cell> matrixOf(const DenseView<Cell>& view);

/// Compressed rows from 0, as they lie in memory.
template <class Cell, class Index>
struct RowsView {
    std::int64_t rows = 0, cols = 0, entries = 0;
    const Cell* values = nullptr;
    const Index* columns = nullptr;
    const Index* starts = nullptr; ///< rows + 1 of them
};

/// The one copy that is made. Columns that do not ascend are sorted, and entries at one place added up.
/// @throws InvalidSizeException   it has no rows or no columns, or too many
/// @throws NotSupportedException  it has too many entries
/// @throws ArgumentException      row pointers fall, or a column is outside the matrix
template <class Cell, class Index>
SparseFor<Cell> sparseOf(const RowsView<Cell, Index>& view);

/// A column-major array over cells that `owner` holds: nothing is copied.
template <class Cell>
py::array_t<Cell> arrayOver(std::shared_ptr<void> owner, std::intptr_t cells, std::int32_t rows,
                            std::int32_t cols)
{
    const auto release = [](void* held) { delete static_cast<std::shared_ptr<void>*>(held); };
    auto held = std::make_unique<std::shared_ptr<void>>(std::move(owner));
    const py::capsule base(held.get(), release);
    held.release();
    constexpr auto kCell = static_cast<py::ssize_t>(sizeof(Cell));
    return py::array_t<Cell>({py::ssize_t{rows}, py::ssize_t{cols}}, {kCell, kCell * rows},
                             reinterpret_cast<const Cell*>(cells), base);
}
template <class Cell, class Dense>
py::array_t<Cell> arrayOf(Dense&& matrix)
{
    const auto owner = std::make_shared<Dense>(std::move(matrix));
    return arrayOver<Cell>(owner, owner->DataPtr(), owner->Rows(), owner->Cols());
}

} // namespace Velmar::Lintrix::python
