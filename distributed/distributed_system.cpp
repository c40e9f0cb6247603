#include <distributed/distributed_system.h>

#include <distributed/inverse_norm.h>
#include <distributed/judged_columns.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/services/memory_limit.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace Velmar::Lintrix::Distributed {

namespace {

/// A communicator of one's own, in which nobody else's messages are.
class OwnCommunicator {
public:
    explicit OwnCommunicator(MPI_Comm like) { MPI_Comm_dup(like, &comm_); }
    ~OwnCommunicator() { MPI_Comm_free(&comm_); }
    OwnCommunicator(const OwnCommunicator&) = delete;
    OwnCommunicator& operator=(const OwnCommunicator&) = delete;
    MPI_Comm get() const noexcept { return comm_; }

private:
    MPI_Comm comm_ = MPI_COMM_NULL;
};

bool isFinite(double cell)
{
    return std::isfinite(cell);
}
bool isFinite(const std::complex<double>& cell)
{
    return std::isfinite(cell.real()) && std::isfinite(cell.imag());
}

template <class Cell>
void requireSound(const OwnRows<Cell>& rows)
{
    const bool fits = rows.columns.size() == rows.values.size() && rows.starts.front() == 0 &&
                      std::ranges::is_sorted(rows.starts) &&
                      rows.starts.back() == static_cast<std::int64_t>(rows.values.size());
    if (!fits) throw ArgumentException("The starts of the rows do not fit the entries");
    if (std::ranges::any_of(rows.columns, [&](std::int32_t col) { return col < 0 || col >= rows.size; }))
        throw ArgumentException("An entry lies outside the matrix");
    if (!std::ranges::all_of(rows.values, [](const Cell& cell) { return isFinite(cell); }))
        throw ArgumentException("An element of the matrix is not finite");
}

void drawCell(double& cell, auto& next)
{
    cell = next();
}
void drawCell(std::complex<double>& cell, auto& next)
{
    const double real = next();
    cell = {real, next()};
}

/// The known solution: sizes in [1/2, 1), signs at random, the same on every rank.
template <class Cell>
std::vector<Cell> probeSolution(std::int32_t size)
{
    std::mt19937_64 generator(20240607);
    auto next = [&generator] {
        const std::uint64_t bits = generator();
        const double modulus = 0.5 + static_cast<double>(bits >> 12) * 0x1p-53;
        return (bits & 1) != 0 ? modulus : -modulus;
    };
    std::vector<Cell> z(static_cast<std::size_t>(size));
    for (Cell& cell : z) drawCell(cell, next);
    return z;
}

/// Of the ranks on the machine of this one.
double sumOnMachine(const Agreement& all, double value)
{
    MPI_Comm machine = MPI_COMM_NULL;
    MPI_Comm_split_type(all.comm(), MPI_COMM_TYPE_SHARED, all.rank(), MPI_INFO_NULL, &machine);
    MPI_Allreduce(MPI_IN_PLACE, &value, 1, MPI_DOUBLE, MPI_SUM, machine);
    MPI_Comm_free(&machine);
    return value;
}

constexpr int kMostSteps = 3;       ///< of refinement
constexpr double kWorthAStep = 0.5; ///< by so much a step has to lower a backward error
constexpr int kWholeVectors = 4;    ///< on every rank, for each column

} // namespace

template <class Cell>
class DistributedSystem<Cell>::Work {
public:
    Work(MPI_Comm comm, OwnRows<Cell> rows, DistributedOptions options)
        : comm_(comm), all_(comm_.get()), rows_(std::move(rows)), options_(std::move(options)),
          layout_(RowLayout::of(all_, rows_.size, rows_.first, rows_.Count()))
    {
        all_.reach([this] { requireSound(rows_); });
        norms_ = normsOf(all_, rows_);
    }

    const RowLayout& layout() const noexcept { return layout_; }
    double vectorBytes(std::int32_t columns) const noexcept
    {
        return static_cast<double>(sizeof(Cell)) * rows_.size * kWholeVectors * (columns + 1.0);
    }
    const std::optional<DistributedForecast>& forecast();
    DistributedAnswer<Cell> solve(std::span<const Cell> b, std::int32_t columns,
                                  const std::vector<Cell>* known);
    DistributedAnswer<Cell> solveKnown(std::span<const Cell> own, std::int32_t columns);

private:
    /// On the way to an answer; the probe's is the last column.
    struct Run {
        std::int32_t columns;           ///< with the probe's
        std::vector<Cell> b{};          ///< this rank's rows
        std::vector<Cell> x{}, probe{}; ///< whole
        JudgedColumns<Cell> judged{};
        std::vector<double> corrections{}; ///< the last ones, relative to x
        std::vector<int> finite{};         ///< whether all of the right-hand side is
        int steps = 0;
    };

    std::string structuralFault() const;
    void requireColumns(std::span<const Cell> own, std::int32_t columns) const;
    void requireRoom(std::int32_t columns) const;
    double allowed() const;
    void factorize(std::int32_t columns);
    Run begin(std::span<const Cell> b, std::int32_t columns) const;
    std::vector<Cell> gathered(const std::vector<Cell>& own, std::int32_t columns) const;
    std::vector<Cell> solved(const std::vector<Cell>& own, std::int32_t columns);
    void judge(Run& run) const;
    bool improve(Run& run);
    void tell(const Run& run, const std::vector<Cell>* known, DistributedAnswer<Cell>& answer) const;
    void done(std::string_view step) const
    {
        if (options_.stepDone) options_.stepDone(step);
    }
    static void lower(SystemAnswer<Cell>& told, Verdict verdict, const std::string& reason);

    OwnCommunicator comm_;
    Agreement all_;
    OwnRows<Cell> rows_;
    DistributedOptions options_;
    RowLayout layout_;
    MatrixNorms norms_{};
    std::optional<DirectEngine<Cell>> engine_{};
    std::optional<DistributedForecast> forecast_{};
    std::optional<Factorization> factorized_{};
    std::optional<double> condition_{};
};

/// Before the engine sees it: without entries it has no analysis.
template <class Cell>
std::string DistributedSystem<Cell>::Work::structuralFault() const
{
    const auto told = [this](std::string_view what, long long at) {
        return fmt::format("singular: {} {} of {} is zero", what, at + 1, rows_.size);
    };
    if (norms_.zeroRow < rows_.size) return told("row", norms_.zeroRow);
    return norms_.zeroColumn < rows_.size ? told("column", norms_.zeroColumn) : std::string();
}

template <class Cell>
const std::optional<DistributedForecast>& DistributedSystem<Cell>::Work::forecast()
{
    if (forecast_ || !structuralFault().empty()) return forecast_;
    if (!engine_) engine_.emplace(all_, rows_, options_.symmetric);
    forecast_ = engine_->analyse();
    done("analyse");
    return forecast_;
}

template <class Cell>
void DistributedSystem<Cell>::Work::requireColumns(std::span<const Cell> own, std::int32_t columns) const
{
    const bool alike = all_.smallest(columns) == all_.largest(static_cast<long long>(columns));
    all_.reach([&] {
        if (columns < 1 || !alike) throw InvalidSizeException("The ranks bring different numbers of columns");
        if (own.size() != static_cast<std::size_t>(rows_.Count()) * static_cast<std::size_t>(columns))
            throw SizeMismatchException("A rank brings other rows of a right-hand side than of the matrix");
    });
}

/// What a rank may still take: what it is allowed, else what is left of its machine, shared by need.
template <class Cell>
double DistributedSystem<Cell>::Work::allowed() const
{
    const double onMachine = sumOnMachine(all_, forecast_->bytesHere);
    const double left = MemoryLeft(options_.threads) * forecast_->bytesHere / onMachine;
    return std::min(options_.memory.value_or(left), left);
}

template <class Cell>
void DistributedSystem<Cell>::Work::requireRoom(std::int32_t columns) const
{
    const double held =
        static_cast<double>(sizeof(Cell) + sizeof(std::int32_t)) * static_cast<double>(rows_.values.size());
    const double taken = forecast_->bytesHere + vectorBytes(columns) + (options_.memory ? held : 0.0);
    const double room = allowed();
    all_.reach([&] {
        if (taken <= room) return;
        throw OperationFailedException(
            fmt::format("the factorization takes {:.1f} MB on rank {}, and {:.1f} MB are {} there",
                        taken / 1e6, all_.rank(), room / 1e6, room == options_.memory ? "allowed" : "left"));
    });
}

template <class Cell>
void DistributedSystem<Cell>::Work::factorize(std::int32_t columns)
{
    if (factorized_) return;
    requireRoom(columns);
    factorized_ = engine_->factorize(allowed());
    done("factorize");
    if (*factorized_ == Factorization::Singular) return;
    const double condition = norms_.one * inverseOneNorm(all_, rows_.size, *engine_);
    if (std::isfinite(condition)) condition_ = condition;
    done("check");
}

template <class Cell>
typename DistributedSystem<Cell>::Work::Run DistributedSystem<Cell>::Work::begin(std::span<const Cell> b,
                                                                                 std::int32_t columns) const
{
    Run run{columns + 1};
    const auto rows = static_cast<std::size_t>(rows_.Count());
    all_.reach([&] {
        run.probe = probeSolution<Cell>(rows_.size);
        run.b.assign(b.begin(), b.end());
        run.finite.assign(static_cast<std::size_t>(run.columns), 1);
        for (std::size_t at = 0; at < run.b.size(); ++at)
            if (!isFinite(run.b[at])) run.finite[at / rows] = 0;
        const std::vector<Cell> ofProbe = productOf(rows_, 1, run.probe.data());
        run.b.insert(run.b.end(), ofProbe.begin(), ofProbe.end());
    });
    MPI_Allreduce(MPI_IN_PLACE, run.finite.data(), run.columns, MPI_INT, MPI_MIN, all_.comm());
    for (std::size_t at = 0; at < run.b.size(); ++at)
        if (run.finite[at / rows] == 0) run.b[at] = Cell(); // serves the others
    return run;
}

/// All of what each rank has its rows of: on rank 0, and room for it on the others.
template <class Cell>
std::vector<Cell> DistributedSystem<Cell>::Work::gathered(const std::vector<Cell>& own,
                                                          std::int32_t columns) const
{
    std::vector<Cell> whole;
    all_.reach(
        [&] { whole.resize(static_cast<std::size_t>(rows_.size) * static_cast<std::size_t>(columns)); });
    layout_.gather(all_, columns, own.data(), whole.data());
    return whole;
}

template <class Cell>
std::vector<Cell> DistributedSystem<Cell>::Work::solved(const std::vector<Cell>& own, std::int32_t columns)
{
    std::vector<Cell> whole = gathered(own, columns);
    engine_->solve(columns, whole.data());
    broadcast(all_, rows_.size, columns, whole.data());
    return whole;
}

template <class Cell>
void DistributedSystem<Cell>::Work::judge(Run& run) const
{
    run.judged = judgedColumns(all_, rows_, norms_.infinity, run.columns, run.b.data(), run.x.data());
}

/// A step of refinement with the residual in twice the precision. Of each column the better solution stays;
/// whether another step is worth its while.
template <class Cell>
bool DistributedSystem<Cell>::Work::improve(Run& run)
{
    const auto rows = static_cast<std::size_t>(rows_.size), columns = static_cast<std::size_t>(run.columns);
    const std::vector<Cell> d = solved(run.judged.residual, run.columns);
    Run next{run.columns};
    all_.reach([&] {
        next.b = run.b;
        next.x = run.x;
        for (std::size_t at = 0; at < d.size(); ++at) next.x[at] += d[at];
        run.corrections = relativeDifferences(rows_.size, run.columns, next.x.data(), run.x.data());
    });
    MPI_Bcast(run.corrections.data(), run.columns, MPI_DOUBLE, 0, all_.comm());
    judge(next);
    bool isWorthMore = false;
    for (std::size_t j = 0; j < columns; ++j) {
        const double before = run.judged.componentwise[j], after = next.judged.componentwise[j];
        if (!(after < before) || !(next.judged.normwise[j] <= run.judged.normwise[j] + 0x1p-52)) {
            std::copy_n(run.x.begin() + static_cast<std::ptrdiff_t>(rows * j), rows,
                        next.x.begin() + static_cast<std::ptrdiff_t>(rows * j));
            continue;
        }
        isWorthMore = isWorthMore || after <= kWorthAStep * before;
    }
    run.x = std::move(next.x);
    ++run.steps;
    judge(run);
    return isWorthMore;
}

template <class Cell>
void DistributedSystem<Cell>::Work::lower(SystemAnswer<Cell>& told, Verdict verdict,
                                          const std::string& reason)
{
    if (verdict <= told.verdict) return;
    told.verdict = verdict;
    told.reason = reason;
    if (verdict == Verdict::Failed) told.complaint = "there is no good solution: " + reason;
}

template <class Cell>
void DistributedSystem<Cell>::Work::tell(const Run& run, const std::vector<Cell>* known,
                                         DistributedAnswer<Cell>& answer) const
{
    SystemAnswer<Cell>& told = answer.told;
    const std::int32_t asked = run.columns - 1;
    const auto rows = static_cast<std::size_t>(rows_.size), last = static_cast<std::size_t>(asked);
    double probe = relativeDifferences(rows_.size, 1, run.x.data() + rows * last, run.probe.data())[0];
    double error = 0.0;
    if (known != nullptr)
        error = std::ranges::max(relativeDifferences(rows_.size, asked, run.x.data(), known->data()));
    for (double* const figure : {&probe, &error}) MPI_Bcast(figure, 1, MPI_DOUBLE, 0, all_.comm());
    told.probeError = probe;
    if (known != nullptr) told.knownError = error;
    told.verdict = Verdict::Accurate;
    told.residual = *std::ranges::max_element(run.judged.normwise.begin(), run.judged.normwise.end() - 1);
    for (std::size_t j = 0; j < last; ++j) {
        const double backward = run.judged.normwise[j],
                     largest = std::max({probe, error, run.corrections[j]});
        ColumnQuality column{verdictOf(backward, largest),
                             backward,
                             run.judged.componentwise[j],
                             {},
                             reasonOf(backward, largest)};
        if (run.finite[j] == 0) column = {Verdict::Failed, NAN, NAN, {}, "the right-hand side is not finite"};
        lower(told, column.verdict, column.reason);
        told.columns.push_back(std::move(column));
    }
}

template <class Cell>
DistributedAnswer<Cell> DistributedSystem<Cell>::Work::solve(std::span<const Cell> b, std::int32_t columns,
                                                             const std::vector<Cell>* known)
{
    requireColumns(b, columns);
    DistributedAnswer<Cell> answer;
    SystemAnswer<Cell>& told = answer.told;
    told.road = options_.symmetric ? "distributed LDL'" : "distributed LU";
    told.verdict = Verdict::Accurate;
    if (!forecast()) {
        told.solutions = Solutions::Unknown;
        lower(told, Verdict::Failed, structuralFault());
        return answer;
    }
    told.ordering = forecast_->ordering;
    factorize(columns);
    if (*factorized_ == Factorization::Singular) {
        told.solutions = Solutions::Unknown;
        lower(told, Verdict::Failed, "singular: the factorization met a column without a pivot");
        return answer;
    }
    told.factorEntries = engine_->factorEntries();
    told.condition = condition_;
    Run run = begin(b, columns);
    run.x = solved(run.b, run.columns);
    done("solve");
    judge(run);
    while (improve(run) && run.steps < kMostSteps) {
    }
    told.refinementSteps = run.steps;
    tell(run, known, answer);
    all_.reach([&] {
        const auto size = static_cast<std::size_t>(rows_.size);
        for (std::size_t j = 0; j < static_cast<std::size_t>(columns); ++j) {
            const Cell* const own = run.x.data() + size * j + static_cast<std::size_t>(rows_.first);
            answer.x.insert(answer.x.end(), own, own + rows_.Count());
        }
    });
    done("check");
    return answer;
}

template <class Cell>
DistributedAnswer<Cell> DistributedSystem<Cell>::Work::solveKnown(std::span<const Cell> own,
                                                                  std::int32_t columns)
{
    requireColumns(own, columns);
    std::vector<Cell> copy, b;
    all_.reach([&] { copy.assign(own.begin(), own.end()); });
    std::vector<Cell> known = gathered(copy, columns);
    broadcast(all_, rows_.size, columns, known.data());
    all_.reach([&] { b = productOf(rows_, columns, known.data()); });
    return solve(b, columns, &known);
}

template <class Cell>
DistributedSystem<Cell>::DistributedSystem(MPI_Comm comm, OwnRows<Cell> rows, DistributedOptions options)
    : work_(std::make_unique<Work>(comm, std::move(rows), std::move(options)))
{
}

template <class Cell>
DistributedSystem<Cell>::~DistributedSystem() = default;

template <class Cell>
std::int32_t DistributedSystem<Cell>::Size() const noexcept
{
    return work_->layout().size();
}

template <class Cell>
const RowLayout& DistributedSystem<Cell>::Layout() const noexcept
{
    return work_->layout();
}

template <class Cell>
const std::optional<DistributedForecast>& DistributedSystem<Cell>::Forecast()
{
    return work_->forecast();
}

template <class Cell>
double DistributedSystem<Cell>::VectorBytes(std::int32_t columns) const noexcept
{
    return work_->vectorBytes(columns);
}

template <class Cell>
DistributedAnswer<Cell> DistributedSystem<Cell>::Solve(std::span<const Cell> rows, std::int32_t columns)
{
    return work_->solve(rows, columns, nullptr);
}

template <class Cell>
DistributedAnswer<Cell> DistributedSystem<Cell>::SolveKnown(std::span<const Cell> rows, std::int32_t columns)
{
    return work_->solveKnown(rows, columns);
}

template class DistributedSystem<double>;
template class DistributedSystem<std::complex<double>>;

} // namespace Velmar::Lintrix::Distributed
