// Every request for memory of a solve refused in turn, on systems of all kinds.

#include "tests/support/refused_memory.h"

#include <lintrix/lintrix.h>

#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <exception>
#include <random>
#include <string>
#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

using Complex = std::complex<double>;

template <class Cell>
using MatrixOf = std::conditional_t<std::is_same_v<Cell, double>, Matrix, CMatrix>;
template <class Cell>
using SparseOf = std::conditional_t<std::is_same_v<Cell, double>, SparseMatrix, CSparseMatrix>;

/// Couplings to each side of a diagonal of the given size; `symmetric` ones, or some of one direction only.
template <class Cell>
SparseOf<Cell> bandOf(std::int32_t rows, std::int32_t cols, double diagonal, bool symmetric)
{
    std::mt19937_64 generator(5);
    std::uniform_real_distribution<double> uniform(0.5, 1.0);
    SparseOf<Cell> A(rows, cols);
    for (std::int32_t i = 0; i < rows; ++i) {
        const std::int32_t j = static_cast<std::int32_t>(std::int64_t{i} * cols / rows);
        A(i, j) = diagonal * uniform(generator);
        for (const std::int32_t k : {j + 1, j + 4}) {
            if (k >= cols) continue;
            A(i, k) = uniform(generator);
            if (symmetric) A(k, i) = Cell(A(i, k));
        }
    }
    return A;
}

/// The Laplacian of a path: the sum of its rows is zero.
SparseMatrix pathOf(std::int32_t n)
{
    SparseMatrix A(n, n);
    for (std::int32_t i = 0; i < n; ++i) {
        A(i, i) = i == 0 || i == n - 1 ? 1.0 : 2.0;
        if (i + 1 < n) A(i, i + 1) = A(i + 1, i) = -1.0;
    }
    return A;
}

/// A solve of op(A)*X = B for X = 1, by `system`, which may have been used before. What it tells must be true
/// whatever was refused: an accurate x is near 1, and one with many solutions solves its equations.
template <class Cell>
struct Trial {
    MatrixOf<Cell> B, ones;

    template <class AnyKind>
    Trial(const AnyKind& A, std::int32_t rows, std::int32_t cols) : B(rows, 2), ones(cols, 2)
    {
        for (std::int32_t j = 0; j < 2; ++j)
            for (std::int32_t i = 0; i < cols; ++i) ones(i, j) = 1.0;
        B = A * ones;
    }

    Verdict solve(LinearSystem<Cell>& system) const
    {
        const SystemAnswer<Cell> answer = system.Solve(B);
        if (answer.verdict == Verdict::Accurate && system.Rows() >= system.Cols()) {
            for (std::int32_t j = 0; j < 2; ++j)
                for (std::int32_t i = 0; i < ones.Rows(); ++i)
                    EXPECT_LT(std::abs((*answer.x)(i, j) - Cell(1.0)), 1e-9);
        }
        return answer.verdict;
    }
};

/// With the first, second, ... request refused, alone and with all that follow: the solve gives an answer or
/// raises that there is no memory, and nothing else; the same system then gives the answer that a new one
/// gives, and nothing is left when it is gone.
template <class Cell, class AnyKind>
void refuseEachRequest(const std::string& what, const AnyKind& A, bool isFactorized)
{
    SCOPED_TRACE(what + (isFactorized ? ", with a factor" : ""));
    constexpr int kMostRequests = 20000;
    const Trial<Cell> trial(A, A.Rows(), A.Cols());
    Verdict expected{};
    { // what is made once, such as the threads' buffers
        LinearSystem<Cell> system(A);
        expected = trial.solve(system);
    }
    for (const Refused refused : {Refused::One, Refused::Rest}) {
        bool reached = true;
        // Requests come by the hundred from the same places: past the first ones some are left out.
        for (int k = 0; reached && k < kMostRequests; k += 1 + k / 60) {
            const std::int64_t live = liveNewBlocks();
            {
                LinearSystem<Cell> system(A);
                if (isFactorized) trial.solve(system);
                std::exception_ptr failure;
                {
                    const FailingAllocator memory(k, refused);
                    try {
                        trial.solve(system);
                    } catch (const NotEnoughMemoryException&) {
                    } catch (...) {
                        failure = std::current_exception();
                    }
                    reached = memory.hasFailed();
                }
                EXPECT_FALSE(failure) << "another failure, request " << k;
                EXPECT_EQ(trial.solve(system), expected) << "request " << k;
            }
            EXPECT_EQ(liveNewBlocks(), live) << "request " << k;
        }
        EXPECT_FALSE(reached) << "the solve never passes";
    }
}

template <class Cell, class AnyKind>
void refuseEachRequest(const std::string& what, const AnyKind& A)
{
    for (const bool isFactorized : {false, true}) refuseEachRequest<Cell>(what, A, isFactorized);
}

class LinearSystemMemory : public ::testing::Test {
protected:
    LinearSystemMemory() { MKL_Set_Num_Threads(1); }
};

TEST_F(LinearSystemMemory, OfSparseSystemsIsTheirAnswerOrTheFailure)
{
    refuseEachRequest<double>("positive definite", bandOf<double>(30, 30, 9.0, true));
    refuseEachRequest<double>("symmetric", bandOf<double>(30, 30, 0.1, true));
    refuseEachRequest<double>("unsymmetric", bandOf<double>(30, 30, 9.0, false));
    refuseEachRequest<Complex>("complex symmetric", bandOf<Complex>(20, 20, 0.1, true));
    refuseEachRequest<Complex>("complex", bandOf<Complex>(20, 20, 9.0, false));
}

TEST_F(LinearSystemMemory, OfLargerOnesLikewise)
{
    refuseEachRequest<double>("by supernodes", bandOf<double>(900, 900, 9.0, false), false);
}

TEST_F(LinearSystemMemory, OfSingularSystemsLikewise)
{
    refuseEachRequest<double>("a path", pathOf(25));
    SparseMatrix hole(bandOf<double>(25, 25, 9.0, false));
    for (std::int32_t i = 0; i < 25; ++i) hole(i, 7) = 0.0;
    refuseEachRequest<double>("an empty column", hole);
}

TEST_F(LinearSystemMemory, OfSparseRectanglesLikewise)
{
    refuseEachRequest<double>("tall", bandOf<double>(40, 20, 9.0, false));
    refuseEachRequest<double>("wide", bandOf<double>(20, 40, 9.0, false));
    refuseEachRequest<Complex>("tall, complex", bandOf<Complex>(30, 15, 9.0, false));
}

TEST_F(LinearSystemMemory, OfDenseSystemsLikewise)
{
    refuseEachRequest<double>("square", Matrix(bandOf<double>(20, 20, 9.0, false).ToDense()));
    refuseEachRequest<double>("symmetric", Matrix(bandOf<double>(20, 20, 0.1, true).ToDense()));
    refuseEachRequest<double>("singular", Matrix(pathOf(12).ToDense()));
    refuseEachRequest<double>("tall", Matrix(bandOf<double>(30, 12, 9.0, false).ToDense()));
    refuseEachRequest<double>("wide", Matrix(bandOf<double>(12, 30, 9.0, false).ToDense()));
    refuseEachRequest<Complex>("complex", CMatrix(bandOf<Complex>(16, 16, 9.0, false).ToDense()));
}

} // namespace
} // namespace Velmar::Lintrix::testing
