#include <tools/solve_road.h>

#include <tools/dense_system.h>
#include <tools/input_error.h>

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace Velmar::Lintrix::tools {

namespace {

constexpr double kQuietSeconds = 0.2; // of a factorization before its progress is worth showing
constexpr int kBarWidth = 30;         // characters

/// Right-hand sides with the probe's at the end.
struct RightHands {
    Matrix B;
    Matrix probe; ///< n x 1, the solution of the last column
};

/// Of the whole matrix. The reader does not count those that its triangle leaves out.
std::int64_t entriesOf(const MatrixMarketReader& reader, const SparseMatrix& matrix)
{
    if (!matrix.Symmetric()) return reader.EntriesRead();
    return reader.EntriesRead() + matrix.NumElements() - matrix.Rows();
}

SparseSystem load(SystemFiles& files, SolveReport& report, std::optional<Matrix>& given)
{
    requireSparseRoom(files.matrix.Header(), memoryLimit());
    if (files.rightHands)
        requireSparseRoomBeside(files.matrix.Header(), files.rightHands->Header(), memoryLimit());
    SparseMatrix matrix = files.matrix.ReadSparse();
    if (files.rightHands) given = files.rightHands->ReadDense();
    report.entries = entriesOf(files.matrix, matrix);
    report.rightHands = given ? given->Cols() : 1;
    report.seconds.finish("read");
    return SparseSystem(std::move(matrix));
}

/// A*(1, ..., 1) where none are given.
RightHands assemble(const SparseMatrix& A, const std::optional<Matrix>& given)
{
    const std::int32_t n = A.Rows(), count = given ? given->Cols() : 1;
    Matrix probe = probeSolution(n);
    Matrix B(n, count + 1);
    copyColumns(given ? *given : A * filledWith(1.0, n, 1), B, 0);
    copyColumns(A * probe, B, count);
    return {std::move(B), std::move(probe)};
}

Road chooseRoad(const SparseSystem& system, const SparseOptions& options, const std::string& file)
{
    if (!options.type) return firstRoad(system.traits());
    const std::optional<Road> road = firstRoad(*options.type, system.traits());
    if (road) return *road;
    throw InputError(file, *options.type == MatrixType::StructurallySymmetric
                               ? "the pattern is not symmetric, as --type says"
                               : "the matrix is not symmetric, as --type says");
}

/// A bar on the terminal, once a factorization takes its time.
std::function<void(int)> barFor(const std::string& file, Progress& progress)
{
    using Clock = std::chrono::steady_clock;
    return [&file, &progress, begin = Clock::now()](int percent) mutable {
        if (percent == 0) begin = Clock::now();
        if (percent == 100) return progress.erase();
        if (std::chrono::duration<double>(Clock::now() - begin).count() < kQuietSeconds) return;
        progress.show(fmt::format("factorizing {}: [{:<{}}] {} %", file,
                                  std::string(static_cast<std::size_t>(percent * kBarWidth / 100), '#'),
                                  kBarWidth, percent));
    };
}

std::string_view nameOf(FillInReducingMethod ordering)
{
    switch (ordering) {
    case FillInReducingMethod::MinimumDegree:
        return "minimum degree";
    case FillInReducingMethod::NestedDissection:
        return "nested dissection";
    case FillInReducingMethod::ParallelNestedDissection:
        break;
    }
    return "parallel nested dissection";
}

void tell(const SparseAnswer& answer, SolveReport& report)
{
    report.road = tools::nameOf(answer.road);
    report.ordering = nameOf(answer.ordering);
    report.tried = answer.tried;
    report.reason = answer.reason;
    report.residual = answer.residual;
    report.probeError = answer.probeError;
    report.perturbedPivots = answer.perturbedPivots;
    report.refinementSteps = answer.refinementSteps;
    report.factorEntries = answer.factorEntries;
}

} // namespace

Solution takeSparseRoad(SystemFiles& files, const SparseOptions& options, SolveReport& report,
                        Progress& progress)
{
    std::optional<Matrix> given;
    SparseSystem system = load(files, report, given);
    progress.erase();
    const Road road = chooseRoad(system, options, report.matrix);
    const RightHands rightHands = assemble(system.matrix(), given);
    report.seconds.finish("assemble");

    SparseOptions told = options;
    told.settings.progress = barFor(report.matrix, progress);
    SparseAnswer answer = solveSparse(system, rightHands.B, rightHands.probe, road, told, report.seconds);
    progress.erase();
    tell(answer, report);
    if (answer.x && !files.rightHands)
        report.maxError = largestDifference(*answer.x, filledWith(1.0, system.size(), 1));
    if (answer.verdict == Verdict::Failed)
        return {{}, Verdict::Failed, "there is no good solution: " + answer.reason};
    return {std::move(answer.x), answer.verdict, {}};
}

} // namespace Velmar::Lintrix::tools
