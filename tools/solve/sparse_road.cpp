#include <tools/solve/solve_road.h>

#include <tools/input/dense_system.h>
#include <tools/input/matrix_file.h>
#include <tools/support/input_error.h>

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace Velmar::Lintrix::tools {

namespace {

constexpr double kQuietSeconds = 0.2; // of a factorization before its progress is worth showing
constexpr int kBarWidth = 30;         // characters

/// Right-hand sides with the probe's at the end.
template <class Cell>
struct RightHands {
    Columns<Cell> B;
    Columns<Cell> known; ///< the solutions of the last columns: the probe, and the ones before it
};

/// Of the whole matrix, as many as the file has, and again those that it mirrors. The triangle of a symmetric
/// one has them all and its whole diagonal.
template <class Matrix>
std::int64_t entriesOf(const MatrixMarketReader& reader, const Matrix& matrix)
{
    if (isTriangle(matrix)) return reader.Header().stored + matrix.NumElements() - matrix.Rows();
    return reader.EntriesRead();
}

template <class Cell>
SparseSystem<Cell> load(SystemFiles& files, SolveReport& report, std::optional<Columns<Cell>>& given)
{
    const MatrixMarketHeader& header = files.matrix.Header();
    requireSparseRoom(header, memoryLimit(), kIsComplex<Cell>);
    if (files.rightHands)
        requireSparseRoomBeside(header, files.rightHands->Header(), memoryLimit(), kIsComplex<Cell>);
    SparseRows<Cell> matrix = readRows<Cell>(files.matrix, MatrixMarketStorage::UpperTriangle);
    if (files.rightHands) given = readColumns<Cell>(*files.rightHands);
    report.entries = entriesOf(files.matrix, matrix);
    report.rightHands = given ? given->Cols() : 1;
    report.seconds.finish("read");
    return SparseSystem<Cell>(std::move(matrix));
}

/// A*(1, ..., 1) where none are given.
template <class Cell>
RightHands<Cell> assemble(const SparseRows<Cell>& A, const std::optional<Columns<Cell>>& given)
{
    const std::int32_t n = A.Rows(), count = given ? given->Cols() : 1;
    Columns<Cell> known = filledWith<Columns<Cell>>(1.0, n, given ? 1 : 2);
    copyColumns(probeSolution<Cell>(n), known, known.Cols() - 1);
    Columns<Cell> B(n, count + 1);
    if (given) copyColumns(*given, B, 0);
    copyColumns(A * known, B, count + 1 - known.Cols());
    return {std::move(B), std::move(known)};
}

/// What speaks against a type.
std::string_view contradiction(MatrixType type, bool complex)
{
    if (type == MatrixType::StructurallySymmetric) return "the pattern is not symmetric";
    if (!complex) return "the matrix is not symmetric";
    return type == MatrixType::PositiveDefinite ? "the matrix is not hermitian"
                                                : "the matrix is neither hermitian nor symmetric";
}

Road chooseRoad(const Traits& traits, const SparseOptions& options, const std::string& file, bool complex)
{
    if (!options.type) return firstRoad(traits);
    const std::optional<Road> road = firstRoad(*options.type, traits);
    if (road) return *road;
    throw InputError(file, fmt::format("{}, as --type says", contradiction(*options.type, complex)));
}

/// A bar on the terminal, once a factorization takes its time; written anew when it has grown.
std::function<void(int)> barFor(const std::string& file, Progress& progress)
{
    using Clock = std::chrono::steady_clock;
    return [&file, &progress, begin = Clock::now(), shown = 0](int percent) mutable {
        if (percent == 0) {
            begin = Clock::now();
            shown = 0;
        }
        if (percent == 100) return progress.erase();
        const int length = percent * kBarWidth / 100;
        if (length == shown || std::chrono::duration<double>(Clock::now() - begin).count() < kQuietSeconds)
            return;
        shown = length;
        progress.show(fmt::format("factorizing {}: [{:<{}}] {} %", file,
                                  std::string(static_cast<std::size_t>(length), '#'), kBarWidth, percent));
    };
}

template <class Cell>
void tell(const SparseAnswer<Cell>& answer, SolveReport& report)
{
    report.road = answer.roadName;
    if (answer.ordering) report.ordering = nameOf(*answer.ordering);
    report.tried = answer.tried;
    report.reason = answer.reason;
    report.residual = answer.residual;
    report.probeError = answer.probeError;
    report.maxError = answer.knownError;
    report.perturbedPivots = answer.perturbedPivots;
    report.refinementSteps = answer.refinementSteps;
    report.factorEntries = answer.factorEntries;
    if (!answer.ordering || answer.factorEntries == 0) return;
    report.factorBytes = static_cast<double>(sizeof(Cell)) * answer.factorEntries;
    if (answer.store == FactorStore::Files) report.coreMegabytes = answer.coreMegabytes;
}

template <class Cell>
Solution solveIn(SystemFiles& files, const SparseOptions& options, SolveReport& report, Progress& progress)
{
    std::optional<Columns<Cell>> given;
    SparseSystem<Cell> system = load<Cell>(files, report, given);
    progress.erase();
    const Road road = chooseRoad(system.traits(), options, report.matrix, kIsComplex<Cell>);
    const RightHands<Cell> rightHands = assemble<Cell>(system.matrix(), given);
    report.seconds.finish("assemble");

    SparseOptions told = options;
    told.settings.progress = barFor(report.matrix, progress);
    told.notice = [&](const std::string& text) {
        progress.erase();
        tellUser(fmt::format("{}: {}", report.matrix, text));
    };
    SparseAnswer<Cell> answer =
        solveSparse(system, rightHands.B, rightHands.known, road, told, report.seconds);
    progress.erase();
    tell(answer, report);
    if (answer.verdict == Verdict::Failed)
        return {{}, Verdict::Failed, "there is no good solution: " + answer.reason};
    return {std::move(answer.x), answer.verdict, {}};
}

} // namespace

Solution takeSparseRoad(SystemFiles& files, const SparseOptions& options, SolveReport& report,
                        Progress& progress)
{
    const bool complex = isComplex(files.matrix) || (files.rightHands && isComplex(*files.rightHands));
    return complex ? solveIn<ComplexNumber>(files, options, report, progress)
                   : solveIn<double>(files, options, report, progress);
}

} // namespace Velmar::Lintrix::tools
