#include "module.h"
#include "rows.h"
#include "watched_run.h"

#include <lintrix/systems/linear_system.h>

#include <pybind11/stl.h>

#include <complex>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace Velmar::Lintrix::python {

namespace {

using namespace pybind11::literals;

/// What Python's front asks for, with its own defaults.
struct Options {
    std::optional<int> type{}, ordering{};
    int refine = 0, errorBounds = 4;
    bool certainInertia = false, reuseFactor = false, sameBits = false, outOfCore = false;
    std::optional<double> memoryBudget{};
    py::object progress = py::none();

    SystemOptions forSystem() const
    {
        SystemOptions options;
        if (type) options.type = static_cast<MatrixType>(*type);
        if (ordering) options.ordering = static_cast<FillInReducingMethod>(*ordering);
        options.engine.refine = refine;
        options.errorBounds = errorBounds;
        options.certainInertia = certainInertia;
        options.reuseFactor = reuseFactor;
        options.sameBits = sameBits;
        options.outOfCore = outOfCore;
        options.memoryBudget = memoryBudget;
        options.progress = listenerOf(progress);
        return options;
    }
};

py::tuple toldOf(const ColumnQuality& column)
{
    return py::make_tuple(NameOf(column.verdict), column.backwardError, column.componentwiseError,
                          column.errorBound, column.reason);
}

py::object toldOf(const std::optional<CertainInertia>& inertia)
{
    if (!inertia) return py::none();
    return py::make_tuple(inertia->positive, inertia->negative, inertia->uncertain, inertia->bound);
}

/// All of an answer but x, by the names of the class `Verdict` of Python's front.
template <class Cell>
py::dict toldOf(const SystemAnswer<Cell>& answer)
{
    py::list columns;
    for (const ColumnQuality& column : answer.columns) columns.append(toldOf(column));
    const auto name = [](const auto& held) { return held ? py::cast(NameOf(*held)) : py::none(); };
    return py::dict("status"_a = NameOf(answer.verdict), "reason"_a = answer.reason, "columns"_a = columns,
                    "residual"_a = answer.residual, "normal_residual"_a = answer.normalResidual,
                    "probe_error"_a = answer.probeError, "condition"_a = answer.condition,
                    "inertia"_a = toldOf(answer.inertia), "solutions"_a = name(answer.solutions),
                    "road"_a = answer.road, "tried"_a = answer.tried, "ordering"_a = name(answer.ordering),
                    "perturbed_pivots"_a = answer.perturbedPivots,
                    "refinement_steps"_a = answer.refinementSteps, "krylov_steps"_a = answer.krylovSteps,
                    "reused_factor"_a = answer.reusedFactor, "factor_entries"_a = answer.factorEntries,
                    "in_files"_a = answer.store == FactorStore::Files,
                    "explanations"_a = py::make_tuple(answer.Explain(0), answer.Explain(1)));
}

py::dict toldOf(const SystemForecast& forecast)
{
    return py::dict(
        "factor_entries"_a = forecast.factorEntries, "operations"_a = forecast.operations,
        "bytes_in_memory"_a = forecast.bytesInMemory, "bytes_with_files"_a = forecast.bytesWithFiles,
        "factorize_seconds"_a = forecast.seconds.factorize, "solve_seconds"_a = forecast.seconds.solve);
}

const char* wordFor(SystemChange change)
{
    switch (change) {
    case SystemChange::None:
        return "none";
    case SystemChange::Values:
        return "values";
    default:
        return "pattern";
    }
}

/// Work that knows no stop; it is short beside the phases of a system.
void runToItsEnd(const std::function<void()>& work)
{
    runWatched(work, [] {});
}

/// A system, and the way to end its phases.
template <class Cell>
class System {
public:
    System(const Rows& rows, const Options& options) : System(options, [&] { return rows.matrix<Cell>(); }) {}
    System(const py::array_t<Cell, 0>& array, const Options& options)
        : System(options, [view = viewOf(array)] { return matrixOf(view); })
    {
    }
    System(LinearSystem<Cell> system) : system_(std::move(system)) {}

    static std::unique_ptr<System> load(const std::string& path, const Options& options)
    {
        SystemOptions asked = options.forSystem();
        std::stop_source stop;
        asked.limits.stop = stop.get_token();
        std::optional<LinearSystem<Cell>> loaded;
        runWatched([&] { loaded = LinearSystem<Cell>::Load(path, asked); }, [&] { stop.request_stop(); });
        return std::make_unique<System>(*std::move(loaded));
    }

    py::tuple shape() const { return py::make_tuple(system_->Rows(), system_->Cols()); }
    int analyses() const { return system_->Analyses(); }
    int factorizations() const { return system_->Factorizations(); }

    py::dict forecast(std::optional<double> deadline)
    {
        SystemForecast forecast;
        stop_.run([&] { forecast = system_->Forecast(); }, momentAfter(deadline));
        return toldOf(forecast);
    }
    std::string_view factorize(std::optional<double> deadline)
    {
        Verdict verdict{};
        stop_.run([&] { verdict = system_->Factorize(); }, momentAfter(deadline));
        return NameOf(verdict);
    }
    /// x as an array over the cells of the answer, or nothing, and what is told of it.
    py::tuple solve(const py::array_t<Cell, 0>& b, int op, std::optional<double> deadline)
    {
        const DenseView<Cell> view = viewOf(b);
        SystemAnswer<Cell> answer;
        const auto work = [&] { answer = system_->Solve(matrixOf(view), static_cast<TransposeMode>(op)); };
        stop_.run(work, momentAfter(deadline));
        py::object x = py::none();
        if (answer.x) x = arrayOf<Cell>(*std::move(answer.x));
        return py::make_tuple(x, toldOf(answer));
    }
    const char* update(const Rows& rows)
    {
        SystemChange change{};
        stop_.run([&] { change = system_->Update(rows.matrix<Cell>()); }, {});
        return wordFor(change);
    }
    void save(const std::string& path)
    {
        stop_.run([&] { system_->Save(path); }, {});
    }

private:
    template <class Make>
    System(const Options& options, const Make& make)
    {
        SystemOptions asked = options.forSystem();
        runToItsEnd([&] { system_.emplace(make(), std::move(asked)); });
    }

    std::optional<LinearSystem<Cell>> system_{};
    SharedStop stop_{[this](const RunLimits& limits) { system_->Limits(limits); }};
};

template <class Cell>
void bindSystem(py::module_& module, const char* name)
{
    using Self = System<Cell>;
    py::class_<Self>(module, name)
        .def(py::init<const Rows&, const Options&>())
        .def(py::init<const py::array_t<Cell, 0>&, const Options&>(), py::arg().noconvert(), py::arg())
        .def_static("load", &Self::load)
        .def_property_readonly("shape", &Self::shape)
        .def_property_readonly("analyses", &Self::analyses)
        .def_property_readonly("factorizations", &Self::factorizations)
        .def("forecast", &Self::forecast)
        .def("factorize", &Self::factorize)
        .def("solve", &Self::solve, py::arg().noconvert(), py::arg(), py::arg())
        .def("update", &Self::update)
        .def("save", &Self::save);
}

} // namespace

void bindSystems(py::module_& module)
{
    py::class_<Options>(module, "Options")
        .def(py::init())
        .def_readwrite("type", &Options::type)
        .def_readwrite("ordering", &Options::ordering)
        .def_readwrite("refine", &Options::refine)
        .def_readwrite("error_bounds", &Options::errorBounds)
        .def_readwrite("certain_inertia", &Options::certainInertia)
        .def_readwrite("reuse_factor", &Options::reuseFactor)
        .def_readwrite("same_bits", &Options::sameBits)
        .def_readwrite("out_of_core", &Options::outOfCore)
        .def_readwrite("memory_budget", &Options::memoryBudget)
        .def_readwrite("progress", &Options::progress);
    bindSystem<double>(module, "RealSystem");
    bindSystem<std::complex<double>>(module, "ComplexSystem");
}

} // namespace Velmar::Lintrix::python
