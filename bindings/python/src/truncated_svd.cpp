#include "module.h"
#include "rows.h"
#include "watched_run.h"

#include <lintrix/systems/truncated_svd.h>

#include <pybind11/stl.h>

#include <complex>
#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>

namespace Velmar::Lintrix::python {

namespace {

using namespace pybind11::literals;

/// Vectors stay where the decomposition has them, which lives as long as an array over them.
template <class Cell>
py::dict toldOf(const std::shared_ptr<const TruncatedSVD<Cell>>& svd)
{
    const auto owner = std::const_pointer_cast<TruncatedSVD<Cell>>(svd);
    const TripletsCertificate& certificate = svd->Certificate();
    const auto arrayOfVectors = [&](const auto& matrix) {
        return arrayOver<Cell>(owner, matrix.DataPtr(), matrix.Rows(), matrix.Cols());
    };
    py::array_t<double> values(svd->S().Length());
    for (std::int32_t i = 0; i < svd->S().Length(); ++i) values.mutable_at(i) = svd->S()[i];
    return py::dict("u"_a = arrayOfVectors(svd->U()), "s"_a = values, "v"_a = arrayOfVectors(svd->V()),
                    "outcome"_a = NameOf(svd->Outcome()), "residuals"_a = svd->Residuals(),
                    "converged"_a = svd->Converged(), "restarts"_a = svd->Restarts(),
                    "products"_a = svd->Products(), "certainty"_a = NameOf(certificate.certainty),
                    "bound"_a = certificate.bound, "above"_a = certificate.above,
                    "recovered"_a = certificate.recovered, "reason"_a = certificate.reason);
}

/// `matrix` makes the matrix, which is given up again before the result is told.
template <class Cell, class Make>
py::dict decomposed(const Make& matrix, std::int32_t count,
                    const std::optional<py::array_t<Cell, py::array::c_style>>& start,
                    TruncatedSvdOptions options, std::optional<double> deadline)
{
    using V = typename TruncatedSVD<Cell>::V_;
    const std::stop_source stop;
    options.limits.stop = stop.get_token();
    const Cell* const guess = start ? start->data() : nullptr;
    const auto length = static_cast<std::size_t>(start ? start->size() : 0);
    std::shared_ptr<const TruncatedSVD<Cell>> svd;
    const auto work = [&] {
        const SparseFor<Cell> A = matrix();
        svd = guess
                  ? std::make_shared<const TruncatedSVD<Cell>>(A, count, V(std::span(guess, length)), options)
                  : std::make_shared<const TruncatedSVD<Cell>>(A, count, options);
    };
    runWatched(
        work, [stop]() mutable { stop.request_stop(); }, momentAfter(deadline));
    return toldOf<Cell>(svd);
}

TruncatedSvdOptions optionsOf(double tolerance, int basis, int block, int restarts,
                              std::optional<double> memoryBudget, std::uint64_t seed, bool certify,
                              const py::object& progress)
{
    TruncatedSvdOptions options;
    options.tolerance = tolerance;
    options.basis = basis;
    options.block = block;
    options.restarts = restarts;
    options.memoryBudget = memoryBudget;
    options.seed = seed;
    options.certify = certify;
    options.progress = listenerOf(progress);
    return options;
}

template <class Cell>
void bindDecomposition(py::module_& module, const char* name)
{
    using Start = std::optional<py::array_t<Cell, py::array::c_style>>;
    const auto ofRows = [](const Rows& rows, std::int32_t count, const Start& start,
                           const TruncatedSvdOptions& options, std::optional<double> deadline) {
        return decomposed<Cell>([&] { return rows.matrix<Cell>(); }, count, start, options, deadline);
    };
    const auto ofDense = [](const py::array_t<Cell, 0>& array, std::int32_t count, const Start& start,
                            const TruncatedSvdOptions& options, std::optional<double> deadline) {
        const auto matrix = [view = viewOf(array)] { return SparseFor<Cell>(matrixOf(view)); };
        return decomposed<Cell>(matrix, count, start, options, deadline);
    };
    module.def(name, ofRows);
    module.def(name, ofDense, py::arg().noconvert(), py::arg(), py::arg(), py::arg(), py::arg());
}

} // namespace

void bindTruncatedSvd(py::module_& module)
{
    py::class_<TruncatedSvdOptions>(module, "SvdOptions").def(py::init(&optionsOf));
    bindDecomposition<double>(module, "real_svd");
    bindDecomposition<std::complex<double>>(module, "complex_svd");
}

} // namespace Velmar::Lintrix::python
