#include <lintrix/systems/roads/direct_run.h>

#include <lintrix/engine/analysis_summary.h>
#include <lintrix/engine/threaded_dissection.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/cells.h>
#include <lintrix/systems/run_control.h>

#include <cstddef>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

namespace {

/// What a road sets of the engine's parameters.
struct Setup {
    Road road;
    std::string_view name, hermitianName;
    MatrixType type;
    int pivotExponent, matching; ///< PivotExponent, Scaling and Matching
    int iteration;               ///< unit digit of IterativePath where factors are kept
};

constexpr std::array<Setup, 9> kSetups{{
    {Road::Cholesky, "sparse Cholesky", "sparse Cholesky", MatrixType::PositiveDefinite, 0, 0, 2},
    {Road::Symmetric, "sparse LDL'", "sparse LDL^H", MatrixType::Indefinite, 8, 0, 2},
    {Road::Delayed, "sparse LDL' with delayed pivots", "sparse LDL^H with delayed pivots",
     MatrixType::Indefinite, 0, 0, 0},
    {Road::Unmatched, "sparse LU", "sparse LU", MatrixType::StructurallySymmetric, 13, 0, 1},
    {Road::Matched, "sparse LU with matching", "sparse LU with matching", MatrixType::Unsymmetric, 13, 1, 1},
    {Road::Fronts, "sparse LU with delayed pivots", "sparse LU with delayed pivots", MatrixType::Unsymmetric,
     0, 0, 0},
    {Road::Coarse, "sparse LU with raised pivots", "sparse LU with raised pivots", MatrixType::Unsymmetric, 6,
     1, 1},
    {Road::Pivoted, "sparse LU with partial pivoting", "sparse LU with partial pivoting",
     MatrixType::Unsymmetric, 0, 0, 0},
    {Road::Dense, "dense LU", "dense LU", MatrixType::Unsymmetric, 0, 0, 0},
}};

const Setup& setupOf(Road road)
{
    return kSetups[static_cast<std::size_t>(road)];
}

constexpr int kComplexSymmetric = 6; // the one type of a triangle that is not hermitian

constexpr int kIterationTolerance = 6; // iterate to 10^-6 of the first residual

} // namespace

std::string_view nameOf(Road road, int mtype)
{
    return mtype == -4 ? setupOf(road).hermitianName : setupOf(road).name;
}

MatrixType typeOf(Road road)
{
    return setupOf(road).type;
}

bool scales(Road road)
{
    return setupOf(road).matching != 0;
}

std::optional<Road> roadAfter(Road road)
{
    switch (road) {
    case Road::Cholesky:
        return Road::Symmetric;
    case Road::Symmetric:
        return Road::Delayed;
    case Road::Delayed:
    case Road::Unmatched:
        return Road::Matched;
    case Road::Matched:
        return Road::Fronts;
    case Road::Fronts:
        return Road::Coarse;
    case Road::Coarse:
        return Road::Pivoted;
    case Road::Pivoted:
        return Road::Dense;
    case Road::Dense:
        break;
    }
    return std::nullopt;
}

DirectRun::DirectRun(Road road, const EngineMatrix& matrix, FillInReducingMethod ordering,
                     const EngineSettings& settings)
    : matrix_(matrix), settings_(settings)
{
    const Setup& setup = setupOf(road);
    using enum PardisoParameter;
    parameters_[CallersValues] = 1;
    parameters_[Ordering] = static_cast<int>(ordering);
    if (settings.strategy == FactorizationStrategy::ComputeWhenNeeded)
        parameters_[IterativePath] = 10 * kIterationTolerance + setup.iteration;
    parameters_[RefinementLimit] = settings.refine;
    parameters_[PivotExponent] = setup.pivotExponent;
    parameters_[Scaling] = parameters_[Matching] = setup.matching;
}

/// The engine solves with a diagonal matrix as it stands, and then there is nothing to share.
DirectRun::DirectRun(const DirectRun* host)
    : slots_(host->slots_), matrix_(host->matrix_), settings_(host->settings_), entries_(host->entries_)
{
    if (!host->isDiagonal()) guest_.emplace(host->handle_.data());
}

std::unique_ptr<DirectRun> DirectRun::another() const
{
    if (guest_) return nullptr;
    std::unique_ptr<DirectRun> guest(new DirectRun(this));
    return guest->guest_ && !guest->guest_->IsReady() ? nullptr : std::move(guest);
}

DirectRun::~DirectRun()
{
    if (guest_) return; // gives its own back
    parameters_[PardisoParameter::Transpose] =
        0; // else the release of a handle could be taken for that of a diagonal matrix
    enter(-1, 1, nullptr, nullptr);
}

RoadCost DirectRun::cost() const
{
    const std::optional<AnalysisSummary> summary = AnalysisView(handle()).Summary();
    if (!summary) return {};
    const double kilobytes = static_cast<double>(parameters_[PardisoParameter::AnalysisKept]) +
                             parameters_[PardisoParameter::FactorMemory];
    return {summary->lowerNonZeros, summary->operations,
            std::min(1024.0 * kilobytes, kMegabyte * leastMegabytes()), bytesInMemory(),
            kMegabyte * leastMegabytes()};
}

EngineAnswer DirectRun::analyse(FactorStore store, std::int32_t rightHands)
{
    parameters_[PardisoParameter::OutOfCore] = store == FactorStore::Files ? 2 : 0;
    parameters_[PardisoParameter::FactorNonZeros] = -1;
    const ThreadedDissectionScope byThreads;
    const EngineAnswer answer = call(11, rightHands, nullptr, nullptr, analysisOperations(matrix_.entries()));
    entries_ = cost().entries;
    return answer;
}

EngineAnswer DirectRun::factorize()
{
    return call(22, 1, nullptr, nullptr, cost().operations);
}

double DirectRun::solveOperations(std::int32_t rightHands) const
{
    const double each = matrix_.isComplex() ? 16.0 : 4.0; // of an entry of L, once downwards and once upwards
    return each * static_cast<double>(entries_) * rightHands;
}

std::optional<Inertia> DirectRun::inertia() const
{
    if (!matrix_.isTriangle() || matrix_.mtype == kComplexSymmetric) return std::nullopt;
    if (settings_.strategy == FactorizationStrategy::ComputeWhenNeeded) return std::nullopt;
    const int positive = parameters_[PardisoParameter::PositivePivots],
              negative = parameters_[PardisoParameter::NegativePivots];
    return Inertia{positive, negative, matrix_.n - positive - negative};
}

DirectRun::Reading DirectRun::readingOf(TransposeMode op) const
{
    const bool transposed = op != TransposeMode::NotTransposed,
               conjugated = op == TransposeMode::ConjugateTransposed;
    if (!matrix_.isTriangle()) return {transposed, conjugated};
    return {false, matrix_.mtype == kComplexSymmetric ? conjugated : transposed && !conjugated};
}

void DirectRun::setTranspose(bool transposed)
{
    parameters_[PardisoParameter::Transpose] = transposed ? 1 : 0;
}

void DirectRun::limitRefinement(std::int32_t steps)
{
    parameters_[PardisoParameter::RefinementLimit] = steps;
}

template <class Cell>
EngineAnswer DirectRun::solve(std::int32_t columns, const Cell* b, Cell* x, TransposeMode op, bool refines)
{
    parameters_[PardisoParameter::RefinementOff] = refines ? 0 : 1;
    const Reading reading = readingOf(op);
    setTranspose(reading.transposed);
    const double operations = solveOperations(columns);
    if (!reading.conjugated) return call(33, columns, b, x, operations);
    const std::span cells(x, static_cast<std::size_t>(matrix_.n) * static_cast<std::size_t>(columns));
    std::vector<Cell> turned(b, b + cells.size());
    for (Cell& cell : turned) cell = conjugate(cell);
    const EngineAnswer answer = call(33, columns, turned.data(), x, operations);
    for (Cell& cell : cells) cell = conjugate(cell);
    return answer;
}

template EngineAnswer DirectRun::solve(std::int32_t, const double*, double*, TransposeMode, bool);
template EngineAnswer DirectRun::solve(std::int32_t, const Complex*, Complex*, TransposeMode, bool);

EngineAnswer DirectRun::call(int phase, int nrhs, const void* b, void* x, double operations)
{
    const WorkStep step(operations);
    const EngineAnswer answer = enter(phase, nrhs, b, x);
    WorkScope::tell();
    return answer;
}

/// The engine reads the right-hand sides, and writes to them only where SolutionPlace asks for it.
EngineAnswer DirectRun::enter(int phase, int nrhs, const void* b, void* x)
{
    constexpr int kOne = 1;
    const int level = settings_.engineReport ? 1 : 0;
    int unused = 0, error = 0;
    int& failing = parameters_[PardisoParameter::FailingEquation];
    failing = 0;
    pardiso(guest_ ? guest_->Slots() : handle_.data(), kOne, kOne, matrix_.mtype, phase, matrix_.n, matrix_.a,
            matrix_.ia, matrix_.ja, &unused, nrhs, slots_.data(), level, const_cast<void*>(b), x, error);
    return {error, failing};
}

} // namespace Velmar::Lintrix::detail::roads
