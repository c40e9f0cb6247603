#include <tools/solve/solve_road.h>

#include <tools/input/matrix_file.h>
#include <tools/input/sparse_room.h>
#include <tools/solve/factor_files.h>
#include <tools/support/input_error.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>

namespace Velmar::Lintrix::tools {

namespace {

constexpr double kQuietSeconds = 0.2; // of a solve before its progress is worth showing
constexpr int kBarWidth = 30;         // characters

bool isUpperTriangle(const SparseMatrix& matrix)
{
    return matrix.Symmetric();
}
bool isUpperTriangle(const CSparseMatrix&)
{
    return false;
}

/// Of the whole matrix, as many as the file has, and again those that it mirrors. The triangle of a symmetric
/// one has them all and its whole diagonal.
template <class Matrix>
std::int64_t entriesOf(const MatrixFileReader& reader, const Matrix& matrix)
{
    if (isUpperTriangle(matrix)) return reader.Header().stored + matrix.NumElements() - matrix.Rows();
    return reader.EntriesRead();
}

template <class Cell>
SparseRows<Cell> load(SystemFiles& files, SolveReport& report, std::optional<Columns<Cell>>& given)
{
    const MatrixMarketHeader& header = files.matrix.Header();
    requireSparseRoom(header, MemoryLimit(), kIsComplex<Cell>);
    if (const auto rightHands = headerOfRightHands(files))
        requireSparseRoomBeside(header, *rightHands, MemoryLimit(), kIsComplex<Cell>);
    SparseRows<Cell> matrix = readRows<Cell>(files.matrix, MatrixMarketStorage::UpperTriangle);
    given = readRightHands<Cell>(files);
    report.entries = entriesOf(files.matrix, matrix);
    report.rightHands = given ? given->Cols() : 1;
    report.seconds.finish("read");
    return matrix;
}

/// What speaks against a type.
std::string_view contradiction(MatrixType type, bool complex)
{
    if (type == MatrixType::StructurallySymmetric) return "the pattern is not symmetric";
    if (!complex) return "the matrix is not symmetric";
    return type == MatrixType::PositiveDefinite ? "the matrix is not hermitian"
                                                : "the matrix is neither hermitian nor symmetric";
}

/// A bar on the terminal, once a solve takes its time; written anew when its length is another.
std::function<void(double, double)> barFor(const std::string& file, Progress& progress)
{
    using Clock = std::chrono::steady_clock;
    return [&file, &progress, begin = Clock::now(), shown = 0](double done, double all) mutable {
        if (done == all) return progress.erase();
        const int length = static_cast<int>(done / all * kBarWidth);
        if (length == shown || std::chrono::duration<double>(Clock::now() - begin).count() < kQuietSeconds)
            return;
        shown = length;
        progress.show(fmt::format("solving {}: [{:<{}}] {:.0f} %", file,
                                  std::string(static_cast<std::size_t>(length), '#'), kBarWidth,
                                  100.0 * done / all));
    };
}

/// Of a budget all that is left may be used.
std::optional<int> megabytesIn(double left)
{
    return static_cast<int>(std::clamp(left / 1048576.0, 1.0, 0x1p30));
}

/// The options with the command's ways of telling and keeping.
SystemOptions optionsFor(const SparseOptions& options, SolveReport& report, Progress& progress)
{
    SystemOptions told = options.system;
    told.progress = barFor(report.matrix, progress);
    told.stepDone = [&report](std::string_view step) { report.seconds.finish(step); };
    told.openPlace = [core = options.coreMegabytes, bounded = told.memoryBudget.has_value()](double left) {
        return std::make_unique<FactorFiles>(bounded && !core ? megabytesIn(left) : core, left);
    };
    told.goesToFiles = [&](double needed, double left) {
        progress.erase();
        tellUser(fmt::format("{}: the factor needs {} and {} are left: it is kept in files", report.matrix,
                             bytesInWords(needed), bytesInWords(left)));
    };
    return told;
}

/// What was saved, with this matrix in the place of its own: where that is the same, the factor stands.
template <class Cell>
LinearSystem<Cell> goOnWith(const std::string& saved, const SparseRows<Cell>& matrix,
                            const SystemOptions& options)
try {
    LinearSystem<Cell> system = LinearSystem<Cell>::Load(saved, options);
    system.Update(matrix);
    return system;
} catch (const SerializationException& failure) {
    throw InputError(saved, failure.what());
} catch (const OperationFailedException& failure) {
    throw InputError(failure.what());
}

template <class Cell>
LinearSystem<Cell> assemble(SparseRows<Cell> matrix, const std::string& saved, const SystemOptions& options,
                            const std::string& file)
try {
    if (!saved.empty()) return goOnWith<Cell>(saved, matrix, options);
    return LinearSystem<Cell>(std::move(matrix), options);
} catch (const ArgumentException&) {
    throw InputError(file, fmt::format("{}, as --type says", contradiction(*options.type, kIsComplex<Cell>)));
}

/// For the next run.
template <class Cell>
void keep(const LinearSystem<Cell>& system, const std::string& file)
try {
    system.Save(file);
} catch (const InvalidOperationException&) {
    throw InputError(file, "the factor stands in files, and cannot be saved");
} catch (const OperationFailedException& failure) {
    throw InputError(failure.what());
}

template <class Cell>
Solution solveIn(SystemFiles& files, const SparseOptions& options, SolveReport& report, Progress& progress)
{
    std::optional<Columns<Cell>> given;
    SparseRows<Cell> matrix = load<Cell>(files, report, given);
    progress.erase();
    LinearSystem<Cell> system = assemble<Cell>(std::move(matrix), options.factor,
                                               optionsFor(options, report, progress), report.matrix);
    report.seconds.finish("assemble");
    SystemAnswer<Cell> answer = answerOf<Cell>(system, given);
    progress.erase();
    if (!options.saveFactor.empty() && answer.verdict != Verdict::Failed) {
        keep(system, options.saveFactor);
        report.seconds.finish("save");
    }
    return tell(answer, report);
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
