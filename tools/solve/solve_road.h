#pragma once
// What the two ways to a solution, dense and sparse, have in common for the command.

#include <tools/input/columns.h>
#include <tools/solve/solve_command.h>
#include <tools/solve/sparse_options.h>
#include <tools/support/output_file.h>
#include <tools/support/progress.h>
#include <tools/support/report.h>

#include <lintrix/lintrix.h>

#include <optional>
#include <string>
#include <variant>

namespace Velmar::Lintrix::tools {

/// The files of a system, read as far as their size lines.
struct SystemFiles {
    MatrixFileReader matrix;
    std::optional<MatrixFileReader> rightHands; ///< none: those in the matrix file, or b = A*(1, ..., 1)
};

/// What is told of the right-hand sides before they are read, wherever they stand; nothing without any.
std::optional<MatrixMarketHeader> headerOfRightHands(const SystemFiles& files);
/// The right-hand sides, wherever they stand, after the matrix.
template <class Cell>
std::optional<Columns<Cell>> readRightHands(SystemFiles& files);

struct Solution {
    std::optional<std::variant<Matrix, CMatrix>> x; ///< n x nrhs, where there is one to keep
    Verdict verdict = Verdict::Failed;
    std::string complaint;   ///< of a failed one, in words
    std::string explanation; ///< for people, in a few lines
};

/// The answer of a system in the command's words: figures to the report, and what is to be kept.
template <class Cell>
Solution tell(SystemAnswer<Cell>& answer, SolveReport& report);

/// The answer for right-hand sides or, without any, for those of (1, ..., 1).
/// @throws InputError  the library's failure, in the command's words
template <class Cell>
SystemAnswer<Cell> answerOf(LinearSystem<Cell>& system, const std::optional<Columns<Cell>>& given);

/// The end of a run: the solution to `out`, the report, and on standard error what is wrong or to be warned
/// of.
/// @returns the exit code  @throws InputError  a failing write
int conclude(const SolveOptions& options, SolveReport& report, const Solution& solution,
             std::optional<OutputFile>& out);

/// One line on standard error; when that cannot be written either, nobody is left to tell.
void tellUser(const std::string& text);

/// Both size lines are judged before any entry is read; then read, solve, judge, and tell the report.
/// Square systems by LU, tall ones in the least-squares sense by QR, wide ones with smallest norm by LQ. In
/// complex numbers where one of the files is complex.
/// @throws InputError  a bad file, sizes that do not fit, or limits of time and memory that `options` set
Solution takeDenseRoad(SystemFiles& files, const SystemOptions& options, SolveReport& report,
                       Progress& progress);
/// Square systems by the direct solver, others in the least-squares sense or with smallest norm, never made
/// dense. In complex numbers as above.
/// @throws InputError  as above, or a type that the values contradict
Solution takeSparseRoad(SystemFiles& files, const SparseOptions& options, SolveReport& report,
                        Progress& progress);

} // namespace Velmar::Lintrix::tools
