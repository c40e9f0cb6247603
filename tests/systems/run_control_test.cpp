// A run that is stopped, late, or watched: nothing of it stays, and it tells how far it has come.

#include <tests/support/files.h>
#include <tests/systems/grids.h>

#include <lintrix/lintrix.h>
#include <lintrix/services/work.h>

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <complex>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using Complex = std::complex<double>;
using Clock = std::chrono::steady_clock;
using Told = std::vector<std::pair<double, double>>;

template <class A>
using SystemOf = decltype(LinearSystem(std::declval<A>(), SystemOptions()));

/// What a solve throws, or nothing.
std::string failureOf(const std::function<void()>& work)
{
    try {
        work();
    } catch (const OperationFailedException& failure) {
        return failure.what();
    }
    return {};
}

template <class A>
auto rightSide(const A& matrix)
{
    using M =
        std::conditional_t<std::is_same_v<A, SparseMatrix> || std::is_same_v<A, Matrix>, Matrix, CMatrix>;
    return spread<M>(matrix.Rows(), 2);
}

template <class Answer>
void expectSame(const Answer& answer, const Answer& undisturbed)
{
    EXPECT_EQ(answer.verdict, undisturbed.verdict);
    EXPECT_EQ(answer.road, undisturbed.road);
    EXPECT_EQ(answer.tried, undisturbed.tried);
    ASSERT_EQ(answer.x.has_value(), undisturbed.x.has_value());
    if (answer.x) {
        EXPECT_LE(largestDifference(*answer.x, *undisturbed.x), 1e-9);
    }
}

/// A system whose k-th word of progress stops it.
template <class A>
struct Watched {
    explicit Watched(const A& matrix, SystemOptions options = {}) : system(matrix, listening(options)) {}

    SystemOptions listening(SystemOptions options)
    {
        options.progress = [this](double done, double all) {
            told.emplace_back(done, all);
            if (told.size() == stopAt) source.request_stop();
        };
        return options;
    }
    void stopAfter(std::size_t words)
    {
        told.clear();
        stopAt = words;
        source = std::stop_source();
        system.Limits({.stop = source.get_token()});
    }
    /// How many words there are depends on the team. At the last one all is done, which is too late for a
    /// stop.
    template <class M>
    void expectStop(const M& B)
    {
        const std::string failure = failureOf([&] { system.Solve(B); });
        if (failure.empty()) {
            EXPECT_EQ(told.back().first, told.back().second);
        } else {
            EXPECT_EQ(failure, "The operation was stopped.");
            EXPECT_EQ(told.size(), stopAt) << "nothing is told after a stop";
        }
        stopNeverMore();
    }
    void stopNeverMore()
    {
        stopAt = 0;
        system.Limits({});
    }

    Told told;
    std::size_t stopAt = 0;
    std::stop_source source;
    SystemOf<A> system;
};

/// Each word of a solve in turn is its last one; `prepare` brings a system to where the solve begins.
template <class A>
void stopEverywhere(
    const A& matrix, const SystemOptions& options,
    const std::function<void(SystemOf<A>&)>& prepare = [](SystemOf<A>&) {})
{
    const auto B = rightSide(matrix);
    Watched<A> calm(matrix, options);
    prepare(calm.system);
    calm.told.clear();
    const auto undisturbed = calm.system.Solve(B);
    const std::size_t words = calm.told.size();
    ASSERT_GE(words, 1U);
    for (std::size_t k = 1; k < words; k += 1 + words / 12) {
        SCOPED_TRACE("word " + std::to_string(k) + " of " + std::to_string(words));
        Watched<A> watched(matrix, options);
        prepare(watched.system);
        watched.stopAfter(k);
        watched.expectStop(B);
        expectSame(watched.system.Solve(B), undisturbed);
    }
}

TEST(StoppedRun, LeavesTheSystemAsItWas)
{
    stopEverywhere(grid<double>(16, GridKind::Positive), {});
    stopEverywhere(grid<double>(16, GridKind::Convective), {});
    stopEverywhere(grid<double>(8, GridKind::ZeroDiagonal), {});
    stopEverywhere(grid<Complex>(16, GridKind::Positive), {});
    stopEverywhere(grid<Complex>(16, GridKind::Convective), {});
}

TEST(StoppedRun, LeavesARectangularSystemAsItWas)
{
    stopEverywhere(strip<double>(200, 100), {});
    stopEverywhere(strip<double>(100, 200), {});
    stopEverywhere(strip<Complex>(200, 100), {});
}

TEST(StoppedRun, LeavesADenseSystemAsItWas)
{
    stopEverywhere(grid<double>(6, GridKind::Convective).ToDense(), {});
    stopEverywhere(grid<Complex>(6, GridKind::Convective).ToDense(), {});
}

TEST(StoppedRun, LeavesADenseRectangleAsItWas)
{
    stopEverywhere(strip<double>(300, 150).ToDense(), {});
    stopEverywhere(strip<double>(150, 300).ToDense(), {});
    stopEverywhere(strip<Complex>(200, 100).ToDense(), {});
}

TEST(StoppedRun, OfIterationsWithAFactor)
{
    SystemOptions options;
    options.engine.strategy = FactorizationStrategy::ComputeWhenNeeded;
    stopEverywhere(grid<double>(16, GridKind::Positive), options);
    stopEverywhere(grid<double>(16, GridKind::Convective), options);
}

TEST(StoppedRun, WithTheFactorInFiles)
{
    const Scratch folder;
    setenv("MKL_PARDISO_OOC_PATH", folder.at("factor").c_str(), 1);
    SystemOptions options;
    options.outOfCore = true;
    stopEverywhere(grid<double>(16, GridKind::Positive), options);
    stopEverywhere(grid<double>(16, GridKind::Convective), options);
    unsetenv("MKL_PARDISO_OOC_PATH");
}

TEST(StoppedRun, AfterNewValues)
{
    const SparseMatrix A = grid<double>(16, GridKind::Convective);
    SparseMatrix scaled = A;
    for (std::int32_t i = 0; i < A.Rows(); ++i) scaled(i, i) = 6.0;
    stopEverywhere<SparseMatrix>(A, {}, [&scaled](LinearSystem<double>& system) {
        system.Factorize();
        EXPECT_EQ(system.Update(scaled), SystemChange::Values);
    });
}

template <class A>
void expectFactorKept(const A& matrix)
{
    const auto B = rightSide(matrix);
    Watched<A> watched(matrix);
    const auto first = watched.system.Solve(B);
    watched.told.clear();
    watched.system.Solve(B);
    const std::size_t words = watched.told.size();
    ASSERT_GE(words, 2U);
    for (std::size_t k = 1; k < words; ++k) {
        watched.stopAfter(k);
        watched.expectStop(B);
        expectSame(watched.system.Solve(B), first);
    }
    EXPECT_EQ(watched.system.Factorizations(), 1);
    EXPECT_EQ(watched.system.Analyses(), 1);
}

TEST(StoppedRun, KeepsAFactorThatStood)
{
    expectFactorKept(grid<double>(16, GridKind::Positive));
    expectFactorKept(grid<Complex>(16, GridKind::Convective));
}

TEST(StoppedRun, OfAFactorizationKeepsAnAnalysisThatStood)
{
    const SparseMatrix A = grid<double>(40, GridKind::Positive);
    Watched<SparseMatrix> watched(A);
    watched.system.Forecast();
    watched.stopAfter(1);
    const Vector b(A.Rows());
    EXPECT_EQ(failureOf([&] { watched.system.Solve(b); }), "The operation was stopped.");
    watched.stopNeverMore();
    EXPECT_EQ(watched.system.Solve(b).verdict, Verdict::Accurate);
    EXPECT_EQ(watched.system.Analyses(), 1);
}

TEST(StoppedRun, BeforeItBegins)
{
    Watched<SparseMatrix> watched(grid<double>(8, GridKind::Positive));
    watched.stopAfter(0);
    watched.source.request_stop();
    for (const auto& phase : std::vector<std::function<void()>>{[&] { watched.system.Forecast(); },
                                                                [&] { watched.system.Factorize(); }})
        EXPECT_EQ(failureOf(phase), "The operation was stopped.");
    EXPECT_THROW(watched.system.Solve(Matrix(3, 1)), SizeMismatchException) << "the check of sizes is first";
    EXPECT_EQ(watched.system.Analyses(), 0);
}

struct Interrupted : std::exception {};

/// Ends the work at the ask of this number; at none, if it is 0.
class Patience final : public detail::WorkListener {
public:
    explicit Patience(int last) : last_(last) {}

    void expect(double) noexcept override {}
    bool hear(double) noexcept override
    {
        const int asked = ++asked_;
        return last_ == 0 || asked < last_;
    }
    void require() const override
    {
        if (last_ != 0 && asked_ >= last_) throw Interrupted();
    }
    int asked() const { return asked_; }

private:
    const int last_;
    std::atomic<int> asked_ = 0;
};

/// How often `work` asks whether it goes on.
template <class Work>
int asksOf(const Work& work)
{
    Patience patience(0);
    const detail::WorkScope scope(patience);
    work();
    return patience.asked();
}

/// Whether `work` was ended at ask k; nothing else may come out of it.
template <class Work>
bool isInterrupted(int k, const Work& work)
{
    Patience patience(k);
    const detail::WorkScope scope(patience);
    try {
        work();
    } catch (const Interrupted&) {
        return true;
    }
    return false;
}

/// Each ask of a solve in turn is its last one, and then the system is as it was.
template <class A>
void stopAtEachAsk(const A& matrix, std::int32_t columns = 2)
{
    using M =
        std::conditional_t<std::is_same_v<A, SparseMatrix> || std::is_same_v<A, Matrix>, Matrix, CMatrix>;
    const M B = spread<M>(matrix.Rows(), columns);
    SystemOf<A> calm(matrix);
    auto undisturbed = calm.Solve(B);
    const int asks = asksOf([&] { SystemOf<A>(matrix).Solve(B); });
    for (int k = 1; k <= asks; ++k) {
        SCOPED_TRACE("ask " + std::to_string(k) + " of " + std::to_string(asks));
        SystemOf<A> system(matrix);
        isInterrupted(k, [&] { expectSame(system.Solve(B), undisturbed); });
        expectSame(system.Solve(B), undisturbed);
    }
}

/// Of a chain with a few long couplings: little is eliminated, and much of the time goes to its order.
SparseMatrix network(std::int32_t n)
{
    SparseMatrix A(n, n);
    for (std::int32_t i = 0; i < n; ++i) {
        A(i, i) = 3.0 + 0.01 * (i % 5);
        A(i, (i + 1) % n) = -1.0;
        if (i % 9 == 0) A(i, (7 * i + 3) % n) = 0.5;
    }
    return A;
}

TEST(StoppedRun, AtEachAskOfASparseSystem)
{
    stopAtEachAsk(grid<double>(10, GridKind::Positive));
    stopAtEachAsk(grid<double>(10, GridKind::Convective));
    stopAtEachAsk(grid<double>(6, GridKind::ZeroDiagonal));
    stopAtEachAsk(grid<Complex>(8, GridKind::Convective));
    stopAtEachAsk(network(200));
}

TEST(StoppedRun, AtEachAskOfAnother)
{
    stopAtEachAsk(strip<double>(60, 30));
    stopAtEachAsk(strip<double>(30, 60));
    stopAtEachAsk(grid<double>(5, GridKind::Convective).ToDense());
    stopAtEachAsk(grid<Complex>(5, GridKind::Convective).ToDense());
}

TEST(StoppedRun, AsksInEachStepOfAnAnalysis)
{
    constexpr int kSteps = 20;
    const SparseMatrix A = grid<double>(30, GridKind::Positive), Z = grid<double>(30, GridKind::ZeroDiagonal);
    for (const SparseMatrix& matrix : {A, Z})
        EXPECT_GE(asksOf([&] { LinearSystem(matrix).Forecast(); }), kSteps);
    EXPECT_GE(asksOf([] { LinearSystem(network(600)).Forecast(); }), kSteps);
}

TEST(StoppedRun, AsksForEachOfManyColumns)
{
    constexpr std::int32_t kColumns = 300;
    const SparseMatrix A = grid<double>(12, GridKind::Positive);
    const Matrix B = spread<Matrix>(A.Rows(), kColumns);
    EXPECT_GE(asksOf([&] { LinearSystem(A).Solve(B); }), 3 * kColumns) << "units, residuals, errors";
}

/// A panel and the columns behind it are eliminated in stretches, with pivots that are those of one piece.
template <class M>
void expectPanels(std::int32_t n)
{
    M A = spread<M>(n, n);
    for (std::int32_t i = 0; i < n; ++i) A((i + n / 2) % n, i) += 2.0;
    const M B = spread<M>(n, 3);
    LinearSystem system(A);
    EXPECT_GE(asksOf([&] { EXPECT_EQ(system.Solve(B).verdict, Verdict::Accurate); }), 10);
    EXPECT_TRUE(isInterrupted(8, [&] { LinearSystem(A).Factorize(); }));
}

TEST(StoppedRun, AsksBetweenPanelsOfADenseMatrix)
{
    expectPanels<Matrix>(700);
    expectPanels<CMatrix>(600);
}

TEST(StoppedRun, OfASavingLeavesTheFileThatStood)
{
    const Scratch folder;
    const std::string path = folder.at("system");
    const SparseMatrix A = grid<double>(16, GridKind::Positive);
    LinearSystem system(A);
    system.Factorize();
    EXPECT_TRUE(isInterrupted(3, [&] { system.Save(path); }));
    EXPECT_FALSE(std::filesystem::exists(path));
    system.Save(path);
    for (int k = 1; isInterrupted(k, [&] { system.Save(path); }); ++k)
        EXPECT_EQ(LinearSystem<double>::Load(path).Solve(rightSide(A)).verdict, Verdict::Accurate);
    int stops = 0;
    while (isInterrupted(stops + 1, [&] { LinearSystem<double>::Load(path); })) ++stops;
    EXPECT_GE(stops, 5);
}

TEST(StoppedRun, OfASavingTellsTheStop)
{
    const Scratch folder;
    Watched<SparseMatrix> watched(grid<double>(8, GridKind::Positive));
    watched.system.Factorize();
    watched.stopAfter(0);
    watched.source.request_stop();
    EXPECT_EQ(failureOf([&] { watched.system.Save(folder.at("system")); }), "The operation was stopped.");
    SystemOptions late;
    late.limits.deadline = Clock::now();
    EXPECT_EQ(failureOf([&] { LinearSystem<double>::Load(folder.at("none"), late); }),
              "The deadline has passed.");
}

TEST(LateRun, TellsTheDeadline)
{
    const SparseMatrix A = grid<double>(8, GridKind::Positive);
    SystemOptions options;
    options.limits.deadline = Clock::now();
    LinearSystem system(A, options);
    EXPECT_EQ(failureOf([&] { system.Solve(rightSide(A)); }), "The deadline has passed.");
    system.Limits({.deadline = Clock::now() + std::chrono::hours(1)});
    EXPECT_EQ(system.Solve(rightSide(A)).verdict, Verdict::Accurate);
}

TEST(LateRun, EndsOnItsWay)
{
    const SparseMatrix A = grid<double>(16, GridKind::Positive);
    const auto deadline = Clock::now() + std::chrono::milliseconds(200);
    SystemOptions options;
    options.limits.deadline = deadline;
    options.progress = [deadline](double, double) {
        while (Clock::now() < deadline) {
        } // until it has passed
    };
    LinearSystem system(A, options);
    EXPECT_EQ(failureOf([&] { system.Factorize(); }), "The deadline has passed.");
}

/// Both numbers rise, the first up to the second.
void expectProgress(const Told& told)
{
    ASSERT_FALSE(told.empty());
    for (std::size_t k = 0; k < told.size(); ++k) {
        EXPECT_LE(told[k].first, told[k].second);
        if (k == 0) continue;
        EXPECT_LE(told[k - 1].first, told[k].first);
        EXPECT_LE(told[k - 1].second, told[k].second);
    }
    EXPECT_EQ(told.back().first, told.back().second);
}

template <class A>
void expectProgressOf(const A& matrix)
{
    Watched<A> watched(matrix);
    watched.system.Solve(rightSide(matrix));
    expectProgress(watched.told);
    watched.told.clear();
    watched.system.Solve(rightSide(matrix));
    expectProgress(watched.told);
}

TEST(Progress, RisesToAllThereIs)
{
    for (const GridKind kind : {GridKind::Positive, GridKind::Convective, GridKind::ZeroDiagonal}) {
        expectProgressOf(grid<double>(30, kind));
        expectProgressOf(grid<Complex>(30, kind));
    }
    expectProgressOf(strip<double>(200, 100));
    expectProgressOf(strip<Complex>(100, 200));
    expectProgressOf(grid<double>(6, GridKind::Convective).ToDense());
}

TEST(Progress, GoesByTheForecast)
{
    const SparseMatrix A = grid<double>(120, GridKind::Positive);
    Watched<SparseMatrix> watched(A);
    const double forecast = watched.system.Forecast().operations;
    expectProgress(watched.told);
    watched.told.clear();
    watched.system.Factorize();
    expectProgress(watched.told);
    EXPECT_GE(watched.told.back().second, forecast);
    EXPECT_LE(watched.told.back().second, 2.0 * forecast) << "a factor and two solves or so";
    EXPECT_GE(watched.told.size(), 10U);
}

TEST(Progress, WhatTheCallbackThrowsEndsTheRun)
{
    const SparseMatrix A = grid<double>(16, GridKind::Positive);
    bool throws = true;
    SystemOptions options;
    options.progress = [&throws](double, double) {
        if (throws) throw std::runtime_error("enough");
    };
    LinearSystem system(A, options);
    EXPECT_THROW(system.Solve(rightSide(A)), std::runtime_error);
    throws = false;
    EXPECT_EQ(system.Solve(rightSide(A)).verdict, Verdict::Accurate);
}

} // namespace
} // namespace Velmar::Lintrix::testing
