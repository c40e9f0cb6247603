#include <tools/solve/solve_road.h>

#include <tools/input/dense_system.h>
#include <tools/input/matrix_file.h>
#include <tools/solve/dense_solver.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmar::Lintrix::tools {

namespace {

constexpr double kLongWork = 2e9; // operations; about a tenth of a second

template <class Block>
struct DenseSystem {
    Block A, B;
    bool onesAreKnown; ///< B = A*(1, ..., 1), and no other solution can be the answer
};

template <class Cell>
DenseSystem<Columns<Cell>> load(SystemFiles& files, SolveReport& report, Progress& progress)
{
    using Block = Columns<Cell>;
    requireRoom(files.matrix.Header(), memoryLimit(), sizeof(Cell));
    if (files.rightHands) {
        requireRoomBeside(files.matrix.Header(), files.rightHands->Header(), memoryLimit(), sizeof(Cell));
    }
    Block A = readColumns<Cell>(files.matrix);
    std::optional<Block> given;
    if (files.rightHands) given = readColumns<Cell>(*files.rightHands);
    progress.erase();
    report.seconds.finish("read");

    Block B = given ? std::move(*given) : A * filledWith<Block>(1.0, A.Cols(), 1);
    report.entries = files.matrix.EntriesRead();
    report.rightHands = B.Cols();
    report.seconds.finish("assemble");
    // A wide system is answered by its shortest solution, which the ones are not.
    const bool onesAreKnown = !files.rightHands && A.Rows() >= A.Cols();
    return {std::move(A), std::move(B), onesAreKnown};
}

template <class Block>
void announce(const Block& A, std::string_view file, Progress& progress)
{
    const double m = A.Rows(), n = A.Cols(), p = std::min(m, n),
                 each = kIsComplex<ElementOf<Block>> ? 4.0 : 1.0;
    const double operations =
        each * (m == n ? 2.0 / 3.0 * n * n * n : 2.0 * p * p * (std::max(m, n) - p / 3.0));
    if (operations >= kLongWork) {
        progress.show(
            fmt::format("solving {}: {} x {}, {:.1f} Gflop", file, A.Rows(), A.Cols(), operations / 1e9));
    }
}

/// Residuals and errors; an answer that does not solve its system is told to be inaccurate, one without a
/// correct digit to be ill-conditioned.
template <class Block>
Quality check(const DenseSystem<Block>& system, Answer<Block>& answer, SolveReport& report)
{
    Quality quality;
    report.road = answer.road;
    report.probeError = answer.probeError;
    if (answer.status != Status::Solved) return quality;
    quality = judge(system.A, *answer.x, system.B);
    report.residual = quality.residual;
    report.normalResidual = quality.normalResidual;
    if (system.onesAreKnown) {
        report.maxError = largestDifference(*answer.x, filledWith<Block>(1.0, system.A.Cols(), 1));
    }
    quality.error = worseError(report.probeError.value_or(0.0), report.maxError);
    if (!(quality.judged() <= kPoor))
        answer.status = Status::Inaccurate;
    else if (!(quality.error < kNoDigit))
        answer.status = Status::IllConditioned;
    return quality;
}

template <class Cell>
Solution solveIn(SystemFiles& files, SolveReport& report, Progress& progress)
{
    const auto system = load<Cell>(files, report, progress);
    announce(system.A, report.matrix, progress);
    auto answer = solveDense(system.A, system.B);
    progress.erase();
    report.seconds.finish("solve");

    const Quality quality = check(system, answer, report);
    report.seconds.finish("check");
    if (answer.status != Status::Solved) {
        report.reason = nameOf(answer.status);
        return {{}, Verdict::Failed, explain(answer, system.A, quality)};
    }
    const Verdict verdict = verdictOf(quality.judged(), quality.error);
    if (verdict == Verdict::Degraded) report.reason = "ill-conditioned";
    return {std::move(answer.x), verdict, {}};
}

} // namespace

Solution takeDenseRoad(SystemFiles& files, SolveReport& report, Progress& progress)
{
    const bool complex = isComplex(files.matrix) || (files.rightHands && isComplex(*files.rightHands));
    return complex ? solveIn<ComplexNumber>(files, report, progress)
                   : solveIn<double>(files, report, progress);
}

} // namespace Velmar::Lintrix::tools
