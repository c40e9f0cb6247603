// A system saved and loaded: the factor of the evening solves in the morning.

#include <lintrix/lintrix.h>

#include "tests/support/files.h"
#include "tests/support/thread_setting.h"

#include <gmock/gmock.h>

#include <complex>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Velmar::Lintrix::testing {
namespace {

using Complex = std::complex<double>;
using ::testing::HasSubstr;
using ::testing::StartsWith;

template <class Cell>
Cell cell(double real, double imaginary)
{
    if constexpr (std::is_same_v<Cell, double>)
        return real;
    else
        return {real, imaginary};
}

enum class Kind { Positive, Indefinite, Symmetric, ZeroDiagonal, Pattern, General };
constexpr Kind kKinds[] = {Kind::Positive,     Kind::Indefinite, Kind::Symmetric,
                           Kind::ZeroDiagonal, Kind::Pattern,    Kind::General};

/// A grid whose values are drawn; `seed` changes them, and not the pattern.
template <class Cell>
detail::SparseOf<Cell> gridOf(Kind kind, std::int32_t side, unsigned seed = 7)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    detail::SparseOf<Cell> A(side * side, side * side);
    for (std::int32_t i = 0; i < A.Rows(); ++i) {
        const bool negative = kind != Kind::Positive && i % 3 == 0;
        if (kind != Kind::ZeroDiagonal || i % 2 == 0)
            A(i, i) = cell<Cell>(negative ? -8.0 : 8.0, kind == Kind::Symmetric ? 1.0 : 0.0);
        for (const std::int32_t j : {i + 1, i + side}) {
            if (j >= A.Rows() || (j == i + 1 && j % side == 0)) continue;
            const Cell above = cell<Cell>(uniform(random), uniform(random));
            A(i, j) = above;
            if (kind == Kind::General && j == i + side) continue;
            const bool mirrored = kind != Kind::Pattern && kind != Kind::General;
            if (kind == Kind::Symmetric)
                A(j, i) = above;
            else
                A(j, i) = mirrored ? cell<Cell>(std::real(above), -std::imag(above))
                                   : cell<Cell>(uniform(random), uniform(random));
        }
    }
    return A;
}

template <class Cell>
detail::MatrixOf<Cell> sidesFor(std::int32_t n)
{
    detail::MatrixOf<Cell> B(n, 2);
    for (std::int32_t i = 0; i < n; ++i) {
        B(i, 0) = cell<Cell>(1.0 + i % 5, i % 3);
        B(i, 1) = cell<Cell>(1.0 / (i + 1.0), -1.0);
    }
    return B;
}

/// Of two systems the answers to the same question.
template <class Cell>
void expectSameAnswer(LinearSystem<Cell>& one, LinearSystem<Cell>& other,
                      TransposeMode op = TransposeMode::NotTransposed)
{
    const auto B = sidesFor<Cell>(one.Rows());
    const SystemAnswer<Cell> first = one.Solve(B, op), second = other.Solve(B, op);
    ASSERT_EQ(first.x.has_value(), second.x.has_value());
    if (first.x) {
        for (std::int32_t j = 0; j < B.Cols(); ++j) {
            for (std::int32_t i = 0; i < B.Rows(); ++i) {
                const Cell x = (*first.x)(i, j), y = (*second.x)(i, j);
                ASSERT_EQ(std::memcmp(&x, &y, sizeof x), 0) << i << ' ' << j;
            }
        }
    }
    EXPECT_EQ(first.verdict, second.verdict);
    EXPECT_EQ(first.Explain(), second.Explain());
    EXPECT_EQ(first.road, second.road);
    EXPECT_EQ(first.ordering, second.ordering);
    EXPECT_EQ(first.tried, second.tried);
    EXPECT_EQ(first.residual, second.residual);
    EXPECT_EQ(first.probeError, second.probeError);
    EXPECT_EQ(first.perturbedPivots, second.perturbedPivots);
    EXPECT_EQ(first.factorEntries, second.factorEntries);
    ASSERT_EQ(first.columns.size(), second.columns.size());
    for (std::size_t j = 0; j < first.columns.size(); ++j)
        EXPECT_EQ(first.columns[j].errorBound, second.columns[j].errorBound);
}

template <class Cell>
class SavedSystem : public ::testing::Test {
protected:
    static LinearSystem<Cell> loadedFrom(const std::string& path) { return LinearSystem<Cell>::Load(path); }

    const Scratch folder;
    const std::string path = folder.at("system");
};
using Cells = ::testing::Types<double, Complex>;
TYPED_TEST_SUITE(SavedSystem, Cells);

TYPED_TEST(SavedSystem, SolvesToTheSameBitsWithoutAFactorization)
{
    for (const int threads : {1, 2}) {
        const ThreadSetting setting(threads);
        for (const Kind kind : kKinds) {
            SCOPED_TRACE(static_cast<int>(kind));
            LinearSystem<TypeParam> saved(gridOf<TypeParam>(kind, 12));
            saved.Factorize();
            saved.Save(this->path);
            LinearSystem<TypeParam> loaded = this->loadedFrom(this->path);
            EXPECT_EQ(loaded.Rows(), 144);
            EXPECT_EQ(loaded.Traits().hermitian, saved.Traits().hermitian);
            EXPECT_EQ(loaded.Traits().positiveLooking, saved.Traits().positiveLooking);
            expectSameAnswer(saved, loaded);
            expectSameAnswer(saved, loaded, TransposeMode::ConjugateTransposed);
            EXPECT_EQ(loaded.Factorizations(), 0);
            EXPECT_EQ(loaded.Analyses(), 0);
        }
    }
}

/// Whose condition is that of its units.
TYPED_TEST(SavedSystem, InUnitsFarApartHasTheSameBounds)
{
    for (const Kind kind : {Kind::Pattern, Kind::General}) {
        SCOPED_TRACE(static_cast<int>(kind));
        auto A = gridOf<TypeParam>(kind, 12);
        for (std::int32_t i = 0; i < A.Rows(); ++i)
            for (std::int32_t j = 0; j < A.Cols(); ++j)
                if (const TypeParam a = A.Item(i, j); a != 0.0) A(i, j) = a * std::ldexp(1.0, i % 80);
        LinearSystem<TypeParam> saved(A);
        EXPECT_GT(saved.Solve(sidesFor<TypeParam>(A.Rows())).condition.value(), 1e12);
        saved.Save(this->path);
        LinearSystem<TypeParam> loaded = this->loadedFrom(this->path);
        expectSameAnswer(saved, loaded);
        EXPECT_EQ(loaded.Factorizations(), 0);
    }
}

TYPED_TEST(SavedSystem, GoesOnWithOtherValuesAfterTheAnalysisThatWasSaved)
{
    for (const Kind kind : {Kind::Positive, Kind::Symmetric, Kind::Pattern, Kind::General}) {
        SCOPED_TRACE(static_cast<int>(kind));
        LinearSystem<TypeParam> saved(gridOf<TypeParam>(kind, 12));
        saved.Factorize();
        saved.Save(this->path);
        LinearSystem<TypeParam> loaded = this->loadedFrom(this->path);
        EXPECT_EQ(loaded.Update(gridOf<TypeParam>(kind, 12)), SystemChange::None);
        for (LinearSystem<TypeParam>* system : {&saved, &loaded})
            EXPECT_EQ(system->Update(gridOf<TypeParam>(kind, 12, 8)), SystemChange::Values);
        // Saved between the update and the solve: the factor is one of earlier values.
        saved.Save(this->path);
        LinearSystem<TypeParam> again = this->loadedFrom(this->path);
        expectSameAnswer(saved, loaded);
        expectSameAnswer(saved, again);
        EXPECT_EQ(loaded.Analyses() + again.Analyses(), 0);
        EXPECT_EQ(loaded.Factorizations() * again.Factorizations(), 1);
        EXPECT_EQ(loaded.Update(gridOf<TypeParam>(kind, 5)), SystemChange::Pattern);
        EXPECT_EQ(loaded.Factorize(), Verdict::Accurate);
        EXPECT_EQ(loaded.Rows(), 25);
    }
}

TYPED_TEST(SavedSystem, OfOneThreadSolvesWithTwo)
{
    {
        const ThreadSetting one(1);
        LinearSystem<TypeParam> system(gridOf<TypeParam>(Kind::General, 20));
        system.Factorize();
        system.Save(this->path);
    }
    const ThreadSetting two(2);
    LinearSystem<TypeParam> loaded = this->loadedFrom(this->path);
    EXPECT_EQ(loaded.Solve(sidesFor<TypeParam>(400)).verdict, Verdict::Accurate);
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back(
            [&] { EXPECT_EQ(loaded.Solve(sidesFor<TypeParam>(400)).verdict, Verdict::Accurate); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(loaded.Factorizations(), 0);
}

TYPED_TEST(SavedSystem, ThatHasDoneNothingYetDoesItLater)
{
    LinearSystem<TypeParam> saved(gridOf<TypeParam>(Kind::Indefinite, 8));
    saved.Save(this->path);
    LinearSystem<TypeParam> fresh = this->loadedFrom(this->path);
    const double operations = saved.Forecast().operations;
    saved.Save(this->path);
    LinearSystem<TypeParam> analysed = this->loadedFrom(this->path);
    EXPECT_EQ(analysed.Forecast().operations, operations);
    EXPECT_EQ(analysed.Analyses(), 0);
    EXPECT_EQ(fresh.Forecast().operations, operations);
    EXPECT_EQ(fresh.Analyses(), 1);
    saved.Factorize();
    analysed.Factorize();
    fresh.Factorize();
    expectSameAnswer(saved, analysed);
    expectSameAnswer(saved, fresh);
}

// Nothing to solve with, and a singular one: the verdicts come back.
TYPED_TEST(SavedSystem, ThatIsSingularIsSoAfterwards)
{
    for (const bool byStructure : {true, false}) {
        auto A = gridOf<TypeParam>(Kind::General, 6);
        for (std::int32_t j = 0; j < A.Cols(); ++j) {
            const TypeParam above = A(4, j);
            if (byStructure && j != 0 && A(3, j) != TypeParam()) A(3, j) = TypeParam();
            if (!byStructure && (above != TypeParam() || A(3, j) != TypeParam())) A(3, j) = above;
        }
        LinearSystem<TypeParam> saved(A);
        saved.Factorize();
        saved.Save(this->path);
        LinearSystem<TypeParam> loaded = this->loadedFrom(this->path);
        EXPECT_EQ(loaded.Factorize(), saved.Factorize());
    }
}

// One that is marked behind its elements has no more of the diagonal than was stored.
TEST(SavedSystemOfATriangle, NeedNotHaveAllOfItsDiagonal)
{
    const Scratch folder;
    const std::string path = folder.at("system");
    for (const bool isSolvedFirst : {true, false}) {
        SparseMatrix A(6, 6);
        for (std::int32_t i = 0; i < 6; i += 2) A(i, i + 1) = 1.0 + i;
        A(0, 0) = 2.0;
        A(1, 4) = 0.5;
        A.Symmetric(true);
        LinearSystem<double> saved(A);
        if (isSolvedFirst) {
            EXPECT_EQ(saved.Factorize(), Verdict::Accurate);
        }
        saved.Save(path);
        LinearSystem<double> loaded = LinearSystem<double>::Load(path);
        expectSameAnswer(saved, loaded);
    }
}

TYPED_TEST(SavedSystem, OfADiagonalComesBack)
{
    detail::SparseOf<TypeParam> A(7, 7);
    for (std::int32_t i = 0; i < 7; ++i) A(i, i) = cell<TypeParam>(2.0 + i, 0.0);
    LinearSystem<TypeParam> saved(A);
    saved.Factorize();
    saved.Save(this->path);
    LinearSystem<TypeParam> loaded = this->loadedFrom(this->path);
    expectSameAnswer(saved, loaded);
}

TYPED_TEST(SavedSystem, IsRefusedWithAnyByteChangedOrCutOff)
{
    LinearSystem<TypeParam> saved(gridOf<TypeParam>(Kind::General, 3));
    saved.Factorize();
    saved.Save(this->path);
    const std::string content = contentOf(this->path);
    for (std::size_t byte = 0; byte < content.size(); ++byte) {
        std::string changed = content;
        changed[byte] = static_cast<char>(changed[byte] ^ 0x21);
        EXPECT_THROW(this->loadedFrom(this->folder.file("changed", changed)), SerializationException) << byte;
        EXPECT_THROW(this->loadedFrom(this->folder.file("changed", content.substr(0, byte))),
                     SerializationException)
            << byte;
    }
    EXPECT_THROW(this->loadedFrom(this->folder.file("changed", content + "x")), SerializationException);
}

TYPED_TEST(SavedSystem, ThatIsNotSquareAndSparseIsNotSaved)
{
    detail::SparseOf<TypeParam> tall(3, 2);
    tall(0, 0) = cell<TypeParam>(1.0, 0.0);
    LinearSystem<TypeParam> rectangular(tall), dense(detail::MatrixOf<TypeParam>(3, 3));
    for (LinearSystem<TypeParam>* system : {&rectangular, &dense}) {
        try {
            system->Save(this->path);
            FAIL();
        } catch (const InvalidOperationException& e) {
            EXPECT_STREQ(e.what(), "Only square sparse systems can be saved.");
        }
    }
    EXPECT_FALSE(std::filesystem::exists(this->path));
}

/// What loading says.
template <class Cell>
std::string refusalOf(const std::string& path)
{
    try {
        LinearSystem<Cell>::Load(path);
    } catch (const SerializationException& e) {
        return e.what();
    } catch (const OperationFailedException& e) {
        return e.what();
    }
    return "loaded";
}

TEST(SavedSystemFile, IsToldByWhatIsWrongAndWhere)
{
    const Scratch folder;
    const std::string path = folder.at("system");
    LinearSystem<double> saved(gridOf<double>(Kind::General, 3));
    saved.Factorize();
    saved.Save(path);
    const std::string content = contentOf(path);
    const auto changed = [&](std::size_t byte, char value) {
        std::string copy = content;
        copy[byte] = value;
        return refusalOf<double>(folder.file("changed", copy));
    };
    EXPECT_EQ(refusalOf<Complex>(path),
              "Saved system, section 'head', byte 16: its numbers are of another kind.");
    EXPECT_EQ(changed(0, 'x'), "Saved system, section 'head', byte 0: this is no saved system.");
    EXPECT_EQ(changed(8, 1), "Saved system, section 'head', byte 8: it comes from a machine with another "
                             "order of bytes.");
    EXPECT_EQ(changed(12, 2), "Saved system, section 'head', byte 12: it has another version.");
    EXPECT_EQ(changed(48, 8), "Saved system, section 'matrix', byte 24: its check sum is another one.");
    EXPECT_EQ(refusalOf<double>(folder.file("changed", content.substr(0, 50))),
              "Saved system, section 'matrix', byte 24: the file ends here.");
    EXPECT_EQ(refusalOf<double>(folder.at("none")), "'" + folder.at("none") + "' could not be opened.");
    EXPECT_EQ(refusalOf<double>(folder.at("")), "'" + folder.at("") + "' could not be opened.");
}

TEST(SavedSystemFile, IsNotWrittenWhereItCannotBe)
{
    const Scratch folder;
    LinearSystem<double> system(gridOf<double>(Kind::General, 3));
    for (const std::string& path : {folder.at("none/file"), folder.at(""), std::string("/proc/file")}) {
        try {
            system.Save(path);
            FAIL() << path;
        } catch (const OperationFailedException& e) {
            EXPECT_EQ(e.Message(), "The system could not be saved to '" + path + "'.");
        }
    }
    EXPECT_TRUE(folder.names().empty());
}

// A limit on the size of files is a disk that is full after so many bytes.
TEST(SavedSystemFile, OnAFullDiskLeavesTheOneBefore)
{
    const Scratch folder;
    const std::string path = folder.file("system", "before");
    LinearSystem<double> system(gridOf<double>(Kind::General, 5));
    system.Factorize();
    for (const rlim_t size : {0U, 30U, 200U, 1000U}) {
        const pid_t child = ::fork();
        if (child == 0) {
            const rlimit limit{.rlim_cur = size, .rlim_max = size};
            ::setrlimit(RLIMIT_FSIZE, &limit);
            try {
                system.Save(path);
            } catch (const OperationFailedException&) {
                ::_exit(0);
            }
            ::_exit(1);
        }
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << size;
        EXPECT_EQ(contentOf(path), "before");
        EXPECT_EQ(folder.names(), std::vector<std::string>{"system"});
    }
}

TEST(SavedSystemFile, OfAFactorInFilesIsNotWritten)
{
    const Scratch folder;
    ASSERT_EQ(setenv("MKL_PARDISO_OOC_PATH", folder.at("ooc").c_str(), 1), 0);
    ASSERT_EQ(setenv("MKL_PARDISO_OOC_KEEP_FILE", "0", 1), 0);
    {
        SystemOptions options;
        options.outOfCore = true;
        LinearSystem<double> system(gridOf<double>(Kind::General, 8), options);
        ASSERT_EQ(system.Factorize(), Verdict::Accurate);
        EXPECT_THROW(system.Save(folder.at("system")), InvalidOperationException);
        EXPECT_FALSE(std::filesystem::exists(folder.at("system")));
        EXPECT_EQ(system.Factorize(), Verdict::Accurate);
    }
    EXPECT_TRUE(folder.names().empty());
    unsetenv("MKL_PARDISO_OOC_PATH");
    unsetenv("MKL_PARDISO_OOC_KEEP_FILE");
}

TEST(SavedSystemFile, IsLoadedUnderOtherOptions)
{
    const Scratch folder;
    LinearSystem<double> saved(gridOf<double>(Kind::General, 8));
    saved.Factorize();
    saved.Save(folder.at("system"));
    SystemOptions options;
    options.errorBounds = 0;
    LinearSystem<double> loaded = LinearSystem<double>::Load(folder.at("system"), options);
    const auto answer = loaded.Solve(sidesFor<double>(64));
    EXPECT_EQ(answer.verdict, Verdict::Accurate);
    EXPECT_FALSE(answer.columns.front().errorBound);
    options.type = MatrixType::PositiveDefinite;
    EXPECT_THROW(LinearSystem<double>::Load(folder.at("system"), options), ArgumentException);
}

// Eliminated as an unsymmetric matrix, it has both triangles by then, and is still the matrix that it was.
TEST(SavedSystemFile, OfATriangleIsStillTheSameMatrix)
{
    const Scratch folder;
    SparseMatrix A(30, 30);
    A.Symmetric(true);
    for (std::int32_t i = 0; i < 30; ++i) {
        A(i, i) = 4.0;
        if (i + 2 < 30) A(i, i + 2) = -1.0;
    }
    for (const std::optional<MatrixType> type : {std::optional<MatrixType>(), {MatrixType::Unsymmetric}}) {
        SystemOptions options;
        options.type = type;
        LinearSystem<double> saved(A, options);
        saved.Factorize();
        saved.Save(folder.at("system"));
        LinearSystem<double> loaded = LinearSystem<double>::Load(folder.at("system"), options);
        expectSameAnswer(saved, loaded);
        EXPECT_EQ(saved.Update(A), SystemChange::None);
        EXPECT_EQ(loaded.Update(A), SystemChange::None);
        EXPECT_EQ(loaded.Factorizations(), 0);
        A(3, 3) = type ? 5.0 : 6.0;
        EXPECT_EQ(saved.Update(A), SystemChange::Values);
        EXPECT_EQ(loaded.Update(A), SystemChange::Values);
        expectSameAnswer(saved, loaded);
        EXPECT_EQ(loaded.Analyses(), 0);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
