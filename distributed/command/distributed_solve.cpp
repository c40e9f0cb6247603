#include <distributed/command/distributed_solve.h>

#include <distributed/distributed_system.h>
#include <distributed/market_part.h>

#include <tools/input/dense_system.h>
#include <tools/input/matrix_file.h>
#include <tools/solve/solve_road.h>
#include <tools/support/input_error.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::tools {

namespace {

using namespace Distributed;

/// What a run carries from step to step.
struct Session {
    const Agreement& all;
    const DistributedSolveOptions& options;
    MatrixMarketHeader matrix{};
    std::optional<MatrixFileReader> rightHands{}; ///< on rank 0, where there are some
    std::optional<OutputFile> out{};              ///< likewise
    SolveReport report{};
};

void requireSystem(const MatrixMarketHeader& header)
{
    if (header.form == MatrixMarketForm::Array)
        throw InputError(header.file, header.sizeLine,
                         "an array is a dense matrix, which lintrix solve takes on one machine");
    if (header.rows != header.cols)
        throw InputError(header.file, header.sizeLine,
                         fmt::format("a {} x {} matrix is not square: lintrix solve takes it on one machine",
                                     header.rows, header.cols));
}

/// All headers are judged before any entry is read. Whether the right-hand sides are complex, as all learn.
bool open(Session& run)
{
    const SolveOptions& options = run.options.common;
    Progress silent;
    run.all.reachAtRoot([&] {
        denseFormatOf(options.out); // what it refuses is refused before the work
        if (!options.out.empty()) run.out.emplace(options.out);
    });
    run.matrix = headerOf(run.all, options.matrix);
    int complex = run.matrix.field == MatrixMarketField::ComplexNumber ? 1 : 0;
    run.all.reachAtRoot([&] {
        requireSystem(run.matrix);
        if (options.rightHands.empty()) return;
        run.rightHands.emplace(openMatrix(options.rightHands, silent));
        requireSameRows(run.matrix, run.rightHands->Header());
        if (isComplex(*run.rightHands)) complex = 1;
    });
    MPI_Bcast(&complex, 1, MPI_INT, 0, run.all.comm());
    return complex != 0;
}

bool isSymmetric(const MatrixMarketHeader& header)
{
    return header.symmetry == MatrixMarketSymmetry::Symmetric;
}

template <class Cell>
OwnRows<Cell> readRows(Session& run, const RowLayout& layout)
{
    const bool compressed = isCompressed(run.all, run.matrix.file);
    if (compressed && run.all.isRoot() && run.all.ranks() > 1)
        tellUser(fmt::format("note: {} is compressed: rank 0 reads all of it", run.matrix.file));
    std::vector<Entry<Cell>> entries = readEntries<Cell>(run.all, run.matrix, compressed);
    run.report.entries = run.all.sum(static_cast<long long>(entries.size()));
    run.report.seconds.finish("read");
    return rowsFrom(run.all, layout, std::move(entries));
}

/// Each rank's rows of the right-hand sides that rank 0 reads.
template <class Cell>
std::vector<Cell> readRightHands(Session& run, const RowLayout& layout, std::int32_t& columns)
{
    std::optional<Columns<Cell>> whole;
    run.all.reachAtRoot([&] {
        whole = readColumns<Cell>(*run.rightHands);
        columns = whole->Cols();
    });
    MPI_Bcast(&columns, 1, MPI_INT32_T, 0, run.all.comm());
    std::vector<Cell> own;
    run.all.reach([&] {
        own.resize(static_cast<std::size_t>(layout.count(run.all.rank())) *
                   static_cast<std::size_t>(columns));
    });
    layout.scatter(run.all, columns, whole ? cellsOf(std::as_const(*whole)).data() : nullptr, own.data());
    return own;
}

/// Rank 0's.
template <class Cell>
Solution told(Session& run, const RowLayout& layout, DistributedAnswer<Cell>& answer)
{
    const bool hasSolution = answer.told.verdict != Verdict::Failed;
    run.all.reachAtRoot([&] {
        if (hasSolution && run.out) answer.told.x.emplace(layout.size(), run.report.rightHands);
    });
    if (hasSolution && !run.options.common.out.empty())
        layout.gather(run.all, run.report.rightHands, answer.x.data(),
                      answer.told.x ? cellsOf(*answer.told.x).data() : nullptr);
    return tell(answer.told, run.report);
}

std::string forecastInWords(const Session& run, const DistributedForecast& forecast, double vectorBytes)
{
    const bool json = run.options.common.json;
    if (json)
        return fmt::format(
            "{{\"matrix\": {}, \"rows\": {}, \"cols\": {}, \"entries\": {}, \"ranks\": {}, "
            "\"ordering\": {}, \"factor_entries\": {}, \"operations\": {}, "
            "\"bytes_largest_rank\": {}, \"bytes_all_ranks\": {}, \"bytes_vectors_each_rank\": {}, "
            "\"seconds\": {}}}\n",
            jsonString(run.report.matrix), run.matrix.rows, run.matrix.cols, run.report.entries,
            run.all.ranks(), jsonString(NameOf(forecast.ordering)), forecast.factorEntries,
            jsonNumber(forecast.operations), jsonNumber(forecast.bytesLargest), jsonNumber(forecast.bytesAll),
            jsonNumber(vectorBytes), asJson(run.report.seconds));
    return line("matrix", printable(run.report.matrix)) +
           line("size", fmt::format("{} x {}", run.matrix.rows, run.matrix.cols)) +
           line("entries", fmt::format("{}", run.report.entries)) +
           line("ranks", fmt::format("{}", run.all.ranks())) + line("ordering", NameOf(forecast.ordering)) +
           line("factor entries", fmt::format("{}", forecast.factorEntries)) +
           line("operations", numberInWords(forecast.operations)) +
           line("memory", fmt::format("{} on the rank that takes most, {} on all",
                                      bytesInWords(forecast.bytesLargest), bytesInWords(forecast.bytesAll))) +
           line("vectors", fmt::format("{} more on each rank, for {} right-hand sides",
                                       bytesInWords(vectorBytes), run.report.rightHands)) +
           line("seconds", asText(run.report.seconds));
}

template <class Cell>
int forecastOnly(Session& run, DistributedSystem<Cell>& system)
{
    const std::optional<DistributedForecast>& forecast = system.Forecast();
    run.all.reachAtRoot([&] {
        if (forecast)
            return writeReport(forecastInWords(run, *forecast, system.VectorBytes(run.report.rightHands)));
        tellUser(
            fmt::format("{}: there is nothing to factorize: a row or a column is zero", run.report.matrix));
    });
    return forecast ? 0 : 1;
}

template <class Cell>
int solve(Session& run)
{
    const SolveOptions& common = run.options.common;
    const RowLayout layout = RowLayout::even(run.matrix.rows, run.all.ranks());
    OwnRows<Cell> rows = readRows<Cell>(run, layout);
    std::int32_t columns = 1;
    std::vector<Cell> b;
    if (!common.rightHands.empty())
        b = readRightHands<Cell>(run, layout, columns);
    else
        run.all.reach([&] { b.assign(static_cast<std::size_t>(rows.Count()), Cell(1.0)); });
    run.report.rightHands = columns;
    run.report.seconds.finish("assemble");
    DistributedOptions options{isSymmetric(run.matrix), run.options.memory, run.options.threads, {}};
    options.stepDone = [&run](std::string_view step) { run.report.seconds.finish(step); };
    DistributedSystem<Cell> system(run.all.comm(), std::move(rows), std::move(options));
    if (run.options.forecast) return forecastOnly(run, system);
    DistributedAnswer<Cell> answer =
        common.rightHands.empty() ? system.SolveKnown(b, columns) : system.Solve(b, columns);
    const Solution solution = told(run, layout, answer);
    int code = 0;
    run.all.reachAtRoot([&] { code = conclude(common, run.report, solution, run.out); });
    MPI_Bcast(&code, 1, MPI_INT, 0, run.all.comm());
    return code;
}

} // namespace

int runDistributedSolve(const Agreement& all, const DistributedSolveOptions& options)
{
    Session run{all, options};
    const bool complex = open(run);
    run.report.matrix = run.matrix.file;
    run.report.rows = run.matrix.rows;
    run.report.cols = run.matrix.cols;
    run.report.ranks = all.ranks();
    return complex ? solve<ComplexNumber>(run) : solve<double>(run);
}

} // namespace Velmar::Lintrix::tools
