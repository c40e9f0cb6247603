// What each road has made, saved and loaded: the factor solves to the same bits.

#include <lintrix/foundation/failures.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/dense_factor.h>
#include <lintrix/systems/roads/quality.h>
#include <lintrix/systems/roads/road_runner.h>

#include "tests/support/files.h"
#include "tests/support/thread_setting.h"

#include <gtest/gtest.h>

#include <complex>
#include <cstring>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::roads;
using detail::MatrixOf;
using detail::SparseOf;
using Complex = std::complex<double>;

template <class Cell>
Cell cell(double real, double imaginary)
{
    if constexpr (std::is_same_v<Cell, double>)
        return real;
    else
        return {real, imaginary};
}

enum class Values { Hermitian, Symmetric, General };

/// A grid; hermitian and symmetric ones with a positive diagonal above the sum of the others.
template <class Cell>
SparseOf<Cell> gridOf(Values values, std::int32_t side)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    SparseOf<Cell> A(side * side, side * side);
    for (std::int32_t i = 0; i < A.Rows(); ++i) {
        A(i, i) = cell<Cell>(8.0, values == Values::Hermitian ? 0.0 : 1.0);
        for (const std::int32_t j : {i + 1, i + side}) {
            if (j >= A.Rows() || (j == i + 1 && j % side == 0)) continue;
            const Cell above = cell<Cell>(uniform(random), uniform(random));
            A(i, j) = above;
            if (values == Values::Hermitian) A(j, i) = cell<Cell>(std::real(above), -std::imag(above));
            if (values == Values::Symmetric) A(j, i) = above;
            if (values == Values::General) A(j, i) = cell<Cell>(uniform(random), uniform(random));
        }
    }
    return A;
}

/// A matrix, the probe for it, and what solves.
template <class Cell>
struct Case {
    explicit Case(const SparseOf<Cell>& A) : system(SparseOf<Cell>(A)), runner(system, options)
    {
        known = probeSolution<Cell>(A.Rows());
        B = productOf<Cell>(system.Matrix(), known, TransposeMode::NotTransposed);
    }
    Request<Cell> request(TransposeMode op = TransposeMode::NotTransposed) const { return {B, known, op}; }

    SystemOptions options;
    SystemMatrix<Cell> system;
    RoadRunner<Cell> runner;
    MatrixOf<Cell> known, B;
};

template <class Cell>
void save(const Case<Cell>& c, const Outcome<Cell>* outcome, const std::string& path)
{
    SectionWriter file(path, "test");
    c.runner.save(outcome, file);
    ASSERT_TRUE(file.Commit());
}

template <class Cell>
std::optional<Outcome<Cell>> load(Case<Cell>& c, const std::string& path)
{
    SectionReader file;
    EXPECT_FALSE(file.Open(path.c_str(), "test"));
    std::optional<Outcome<Cell>> outcome = c.runner.load(file);
    EXPECT_FALSE(file.End());
    return outcome;
}

template <class Cell>
void expectSameBits(const MatrixOf<Cell>& X, const MatrixOf<Cell>& Y)
{
    const auto x = cellsOf(X), y = cellsOf(Y);
    ASSERT_EQ(x.size(), y.size());
    EXPECT_EQ(std::memcmp(x.data(), y.data(), x.size_bytes()), 0);
}

template <class Cell>
void expectTheRoadComesBack(const Attempt& attempt, const SparseOf<Cell>& A, const Scratch& folder)
{
    Case<Cell> saved(A), loaded(A);
    Outcome<Cell> before = saved.runner.run(attempt, Reach::Far, saved.request());
    ASSERT_TRUE(before.factor);
    save<Cell>(saved, &before, folder.at("file"));
    std::optional<Outcome<Cell>> after = load<Cell>(loaded, folder.at("file"));
    ASSERT_TRUE(after && after->factor);
    EXPECT_EQ(after->attempt, before.attempt);
    EXPECT_EQ(after->roadName, before.roadName);
    EXPECT_EQ(after->ordering, before.ordering);
    EXPECT_EQ(after->perturbed, before.perturbed);
    EXPECT_EQ(after->factorEntries, before.factorEntries);
    EXPECT_EQ(after->cost.operations, before.cost.operations);
    for (const TransposeMode op :
         {TransposeMode::NotTransposed, TransposeMode::Transposed, TransposeMode::ConjugateTransposed}) {
        saved.runner.again(before, saved.request(op));
        loaded.runner.again(*after, loaded.request(op));
        ASSERT_TRUE(before.x && after->x);
        expectSameBits<Cell>(*before.x, *after->x);
    }
    EXPECT_EQ(loaded.runner.analyses() + loaded.runner.factorizations(), 0);
    saved.runner.refactorize(before, saved.request());
    loaded.runner.refactorize(*after, loaded.request());
    expectSameBits<Cell>(*before.x, *after->x);
    const bool isFrontal = attempt.road == Road::Delayed || attempt.road == Road::Fronts;
    EXPECT_EQ(loaded.runner.analyses(), isFrontal ? 1 : 0) << "its pivots decide on all else";
    EXPECT_EQ(loaded.runner.factorizations(), 1);
}

template <class Cell>
void expectAllRoadsComeBack()
{
    const Scratch folder;
    for (const int threads : {1, 2}) {
        const ThreadSetting setting(threads);
        for (const Road road : {Road::Cholesky, Road::Symmetric, Road::Delayed})
            expectTheRoadComesBack<Cell>(Attempt{road}, gridOf<Cell>(Values::Hermitian, 9), folder);
        for (const Road road : {Road::Symmetric, Road::Delayed})
            expectTheRoadComesBack<Cell>(Attempt{road}, gridOf<Cell>(Values::Symmetric, 9), folder);
        for (const Road road :
             {Road::Unmatched, Road::Matched, Road::Fronts, Road::Coarse, Road::Pivoted, Road::Dense})
            expectTheRoadComesBack<Cell>(Attempt{road}, gridOf<Cell>(Values::General, 9), folder);
        expectTheRoadComesBack<Cell>(Attempt{Road::Pivoted, {}, UnitsBy::Fit},
                                     gridOf<Cell>(Values::General, 9), folder);
    }
}

TEST(SavedRoads, OfRealMatricesComeBack)
{
    expectAllRoadsComeBack<double>();
}

TEST(SavedRoads, OfComplexMatricesComeBack)
{
    expectAllRoadsComeBack<Complex>();
}

// No handle of the engine stands behind it.
TEST(SavedRoads, OfADiagonalMatrixComesBack)
{
    const Scratch folder;
    SparseMatrix A(5, 5);
    for (std::int32_t i = 0; i < 5; ++i) A(i, i) = 2.0 + i;
    Case<double> saved(A), loaded(A);
    Outcome<double> before = saved.runner.run(Attempt{Road::Cholesky}, Reach::Far, saved.request());
    ASSERT_TRUE(before.factor && before.x);
    const Matrix x(*before.x);
    save<double>(saved, &before, folder.at("file"));
    std::optional<Outcome<double>> after = load<double>(loaded, folder.at("file"));
    ASSERT_TRUE(after && after->factor);
    loaded.runner.again(*after, loaded.request());
    expectSameBits<double>(x, *after->x);
}

TEST(SavedRoads, AForecastComesBackWithItsAnalysis)
{
    const Scratch folder;
    const SparseMatrix A = gridOf<double>(Values::General, 9);
    Case<double> saved(A), loaded(A);
    const RoadCost cost = saved.runner.forecast(Attempt{Road::Matched});
    save<double>(saved, nullptr, folder.at("file"));
    EXPECT_FALSE(load<double>(loaded, folder.at("file")));
    EXPECT_EQ(loaded.runner.forecast(Attempt{Road::Matched}).operations, cost.operations);
    const Outcome<double> one = saved.runner.run(Attempt{Road::Matched}, Reach::Far, saved.request());
    const Outcome<double> other = loaded.runner.run(Attempt{Road::Matched}, Reach::Far, loaded.request());
    expectSameBits<double>(*one.x, *other.x);
    EXPECT_EQ(loaded.runner.analyses(), 0);
}

TEST(SavedRoads, OfAMatrixThatDoesNotAllowThemAreRefused)
{
    const Scratch folder;
    Case<double> saved(gridOf<double>(Values::Hermitian, 5)), loaded(gridOf<double>(Values::General, 5));
    const Outcome<double> before = saved.runner.run(Attempt{Road::Cholesky}, Reach::Far, saved.request());
    save<double>(saved, &before, folder.at("file"));
    EXPECT_THROW(load<double>(loaded, folder.at("file")), SerializationException);
}

/// A factor that nobody has taught to be saved.
class Stranger final : public Factored<double> {
public:
    EngineAnswer solve(const Matrix&, Matrix&, TransposeMode, std::optional<std::int32_t>) override
    {
        return {};
    }
    double operations(std::int32_t) const override { return 0.0; }
    std::unique_ptr<Factored> another() override { return nullptr; }
};

TEST(SavedRoads, WithAFactorThatCannotBeSavedAreRefused)
{
    const Scratch folder;
    const Case<double> c(gridOf<double>(Values::General, 5));
    Outcome<double> outcome{.attempt = {Road::Matched}, .taken = true};
    outcome.factor = std::make_unique<Stranger>();
    SectionWriter file(folder.at("file"), "test");
    EXPECT_THROW(c.runner.save(&outcome, file), InvalidOperationException);
}

} // namespace
} // namespace Velmar::Lintrix::testing
