#include <tools/solve/solve_road.h>

#include <tools/input/dense_system.h>
#include <tools/input/matrix_file.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmar::Lintrix::tools {

namespace {

constexpr double kLongWork = 2e9; // operations; about a tenth of a second

template <class Cell>
void announce(LinearSystem<Cell>& system, std::string_view file, Progress& progress)
{
    const double operations = system.Forecast().operations;
    if (operations >= kLongWork) {
        progress.show(fmt::format("solving {}: {} x {}, {:.1f} Gflop", file, system.Rows(), system.Cols(),
                                  operations / 1e9));
    }
}

template <class Cell>
Solution solveIn(SystemFiles& files, const SystemOptions& limits, SolveReport& report, Progress& progress)
{
    requireRoom(files.matrix.Header(), MemoryLimit(), sizeof(Cell));
    if (const auto rightHands = headerOfRightHands(files))
        requireRoomBeside(files.matrix.Header(), *rightHands, MemoryLimit(), sizeof(Cell));
    Columns<Cell> A = readColumns<Cell>(files.matrix);
    const std::optional<Columns<Cell>> given = readRightHands<Cell>(files);
    progress.erase();
    report.entries = files.matrix.EntriesRead();
    report.rightHands = given ? given->Cols() : 1;
    report.seconds.finish("read");

    SystemOptions options;
    options.limits = limits.limits;
    options.memoryBudget = limits.memoryBudget;
    options.sameBits = limits.sameBits;
    options.stepDone = [&report](std::string_view step) { report.seconds.finish(step); };
    LinearSystem<Cell> system(std::move(A), options);
    report.seconds.finish("assemble");
    announce(system, report.matrix, progress);
    SystemAnswer<Cell> answer = answerOf<Cell>(system, given);
    progress.erase();
    return tell(answer, report);
}

} // namespace

Solution takeDenseRoad(SystemFiles& files, const SystemOptions& options, SolveReport& report,
                       Progress& progress)
{
    const bool complex = isComplex(files.matrix) || (files.rightHands && isComplex(*files.rightHands));
    return complex ? solveIn<ComplexNumber>(files, options, report, progress)
                   : solveIn<double>(files, options, report, progress);
}

} // namespace Velmar::Lintrix::tools
