#pragma once
/// @file
/// A test matrix as its caller holds it, and a factor of it as solve, refinement and the iterations use it.

#include <lintrix/engine/solution/direct_solve.h>
#include <lintrix/engine/solution/preconditioner.h>
#include <lintrix/engine/solution/sparse_operator.h>

#include "tests/engine/factorization/factorization_case.h"

#include <cstddef>
#include <vector>

namespace Velmar::Lintrix::testing {

/// Row starts and columns counted from 1.
template <class T>
struct CallersCopy {
    CallersCopy(const TestMatrix<T>& A, Kind kind)
        : ia(A.starts), ja(A.columns), a(A.values), storage(kind == Kind::Unsymmetric ? Storage::General
                                                            : kind == Kind::Symmetric ? Storage::Symmetric
                                                                                      : Storage::Hermitian)
    {
        for (int& start : ia) ++start;
        for (int& column : ja) ++column;
    }
    int order() const { return static_cast<int>(ia.size()) - 1; }
    CallersMatrix<T> view(bool transposed = false) const
    {
        return {order(), ia.data(), ja.data(), a.data(), storage, transposed};
    }

    std::vector<int> ia, ja;
    std::vector<T> a;
    Storage storage;
};

/// The operator with its work space.
template <class T>
struct OwnedOperator {
    OwnedOperator(const CallersMatrix<T>& matrix, int threads)
        : work(static_cast<std::size_t>(SparseOperator<T>::workBytes(matrix, threads, true)) / 16 + 1),
          view(matrix, threads, reinterpret_cast<std::byte*>(work.data()))
    {
    }
    std::vector<long double> work;
    SparseOperator<T> view;
};

/// A factored matrix and the solve with it.
template <class T>
struct StoredSystem {
    StoredSystem(const Graph& graph, const TestMatrix<T>& matrix, FactorRules rules, int threads,
                 bool transposed = false)
        : c(graph, matrix, rules, 16, 1),
          work(static_cast<std::size_t>(DirectSolve<T>::workSize(c.stored(), {}, threads, kSides))),
          solver(c.stored(), {c.p.ordering.positionOf, {}, {}, {}}, {}, transposed, threads, work.data())
    {
        EXPECT_FALSE(c.factorizeIt().failure);
    }
    Preconditioner<T> preconditioner(int count) const
    {
        return [this, count](const T* r, T* z) { solver.solve(r, z, count); };
    }

    static constexpr int kSides = 20;
    FactorizationCase<T> c;
    std::vector<T> work;
    DirectSolve<T> solver;
};

template <class T>
std::vector<T> randomVector(std::size_t size, unsigned seed)
{
    std::mt19937 random(seed);
    std::vector<T> x(size);
    std::generate(x.begin(), x.end(), [&] { return randomValue<T>(random); });
    return x;
}

/// Largest |x - y| over largest |y|.
template <class T>
double relativeDifference(const std::vector<T>& x, const std::vector<T>& y)
{
    double difference = 0.0, norm = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double d = std::abs(x[i] - y[i]);
        difference = d <= difference ? difference : d; // keeps what is no number
        norm = std::max<double>(norm, std::abs(y[i]));
    }
    return difference / norm;
}

template <class T>
inline constexpr double kEpsilon = std::numeric_limits<RealOf<T>>::epsilon();

} // namespace Velmar::Lintrix::testing
