#include "module.h"
#include "rows.h"
#include "watched_run.h"

#include <lintrix/foundation/failures.h>
#include <lintrix/sparse/entries.h>
#include <lintrix/sparse/matrix_market.h>
#include <lintrix/systems/system_matrix.h>

#include <pybind11/stl.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::python {

namespace {

/// A matrix as it was read, with its indices counted from 0.
template <class Cell>
struct ReadRows {
    explicit ReadRows(SparseFor<Cell>&& sparse) : matrix(std::move(sparse))
    {
        const auto shifted = [](auto indices, std::vector<std::int32_t>& target) {
            target.resize(indices.size());
            std::transform(indices.begin(), indices.end(), target.begin(),
                           [](std::int32_t index) { return index - 1; });
        };
        shifted(matrix.ColumnIndices(), columns);
        shifted(matrix.RowPointers(), starts);
    }

    SparseFor<Cell> matrix;
    std::vector<std::int32_t> columns{}, starts{};
};

template <class T>
py::array vectorOver(const std::shared_ptr<void>& owner, const T* data, std::size_t size)
{
    const auto cells = reinterpret_cast<std::intptr_t>(data);
    return arrayOver<T>(owner, cells, static_cast<std::int32_t>(size), 1).reshape({-1});
}

template <class Cell>
py::object toldOf(const std::shared_ptr<ReadRows<Cell>>& read)
{
    const auto values = read->matrix.Values();
    return py::make_tuple(py::make_tuple(read->matrix.Rows(), read->matrix.Cols()),
                          vectorOver(read, values.data(), values.size()),
                          vectorOver(read, read->columns.data(), read->columns.size()),
                          vectorOver(read, read->starts.data(), read->starts.size()));
}

/// The file of one kind of cells.
template <class Cell>
class Reading {
public:
    explicit Reading(MatrixMarketReader& reader) : reader_(reader) {}

    /// Without the interpreter's lock.
    void run()
    {
        if (reader_.Header().form == MatrixMarketForm::Array)
            dense_ = dense();
        else
            rows_ = std::make_shared<ReadRows<Cell>>(sparse());
    }
    py::object told() { return rows_ ? toldOf<Cell>(rows_) : arrayOf<Cell>(*std::move(dense_)); }

private:
    static constexpr bool kIsReal = std::is_same_v<Cell, double>;
    static constexpr auto kBoth = MatrixMarketStorage::BothTriangles;

    MatrixFor<Cell> dense()
    {
        if constexpr (kIsReal)
            return reader_.ReadDense();
        else
            return reader_.ReadComplexDense();
    }
    SparseFor<Cell> sparse()
    {
        if constexpr (kIsReal)
            return reader_.ReadSparse(kBoth);
        else
            return reader_.ReadComplexSparse(kBoth);
    }

    MatrixMarketReader& reader_;
    std::optional<MatrixFor<Cell>> dense_{};
    std::shared_ptr<ReadRows<Cell>> rows_{};
};

/// An array, or the shape and the three arrays of compressed rows.
py::object readMatrixMarket(const std::string& path)
{
    std::stop_source stop;
    const auto goOn = [token = stop.get_token()](const MatrixMarketProgress&) {
        if (token.stop_requested()) throw OperationFailedException("The operation was stopped.");
    };
    std::optional<MatrixMarketReader> reader;
    std::optional<Reading<double>> real;
    std::optional<Reading<std::complex<double>>> complex;
    const auto work = [&] {
        reader.emplace(path, goOn);
        if (reader->Header().field == MatrixMarketField::ComplexNumber)
            complex.emplace(*reader).run();
        else
            real.emplace(*reader).run();
    };
    runWatched(work, [&] { stop.request_stop(); });
    return real ? real->told() : complex->told();
}

template <class Sparse>
MatrixMarketSymmetry storedSymmetryOf(const Sparse& matrix)
{
    if (matrix.Rows() != matrix.Cols()) return MatrixMarketSymmetry::General;
    const MatrixSymmetry found = SymmetryOf(matrix);
    if (found.values) return MatrixMarketSymmetry::Symmetric;
    if (found.conjugated) return MatrixMarketSymmetry::Hermitian;
    return found.opposite ? MatrixMarketSymmetry::SkewSymmetric : MatrixMarketSymmetry::General;
}

/// The entries that a file holds: of a symmetric matrix the lower triangle, of a skew-symmetric one without
/// its diagonal.
template <class Cell>
MatrixMarketTriplets tripletsOf(const SparseFor<Cell>& matrix, bool general)
{
    MatrixMarketTriplets triplets{matrix.Rows(), matrix.Cols()};
    if constexpr (!std::is_same_v<Cell, double>) triplets.field = MatrixMarketField::ComplexNumber;
    if (!general) triplets.symmetry = storedSymmetryOf(matrix);
    const bool isWhole = triplets.symmetry == MatrixMarketSymmetry::General;
    const std::int32_t below = triplets.symmetry == MatrixMarketSymmetry::SkewSymmetric ? 1 : 0;
    ForEachEntry(matrix, [&](std::int32_t row, std::int32_t col, Cell value) {
        if (!isWhole && row < col + below) return;
        triplets.rowIndices.push_back(row);
        triplets.colIndices.push_back(col);
        triplets.values.emplace_back(value);
    });
    return triplets;
}

void writeSparse(const std::string& path, const Rows& rows, bool general)
{
    const auto work = [&] {
        const MatrixMarketTriplets triplets =
            rows.isComplex() ? tripletsOf<std::complex<double>>(rows.matrix<std::complex<double>>(), general)
                             : tripletsOf<double>(rows.matrix<double>(), general);
        WriteMatrixMarket(path, triplets);
    };
    runWatched(work, [] {});
}

template <class Cell>
void writeDense(const std::string& path, const py::array_t<Cell, 0>& array)
{
    const DenseView<Cell> view = viewOf(array);
    runWatched([&] { WriteMatrixMarket(path, matrixOf(view)); }, [] {});
}

} // namespace

void bindMatrixMarket(py::module_& module)
{
    module.def("read_matrix_market", &readMatrixMarket);
    module.def("write_sparse", &writeSparse);
    module.def("write_dense", &writeDense<double>, py::arg(), py::arg().noconvert());
    module.def("write_dense", &writeDense<std::complex<double>>, py::arg(), py::arg().noconvert());
}

} // namespace Velmar::Lintrix::python
