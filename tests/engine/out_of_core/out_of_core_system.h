#pragma once
/// @file
/// A system whose factor is several times the configured core, through the entry.

#include "tests/engine/engine_call.h"
#include "tests/engine/out_of_core/out_of_core_handle.h"

#include <lintrix/engine/call/matrix_type.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {

/// A grid of side^3 points, each joined to its neighbours, in the storage and the element of a type.
inline Rows gridOf(int side, int mtype)
{
    std::mt19937 random(static_cast<unsigned>(100 + mtype));
    std::uniform_real_distribution<double> uniform(-1, 1);
    const bool triangle = detail::engine::isSymmetricStorage(mtype),
               complex = detail::engine::isComplex(mtype);
    const bool definite = mtype == 2 || mtype == 4, hermitian = detail::engine::isHermitian(mtype);
    Rows A{side * side * side, {}, {1}, {}};
    const auto add = [&](int i, int j) {
        const bool onDiagonal = i == j;
        const double shift = definite ? 7. : mtype == -2 || mtype == -4 ? (i % 3 == 0 ? -7. : 7.) : 7.;
        A.ja.push_back(j + 1);
        A.a.push_back(uniform(random) + (onDiagonal ? shift : 0.));
        if (complex) A.a.push_back(onDiagonal && hermitian ? 0. : uniform(random) / 2);
    };
    for (int i = 0; i < A.n; ++i) {
        const int x = i % side, y = i / side % side, z = i / side / side;
        if (!triangle && z > 0) add(i, i - side * side);
        if (!triangle && y > 0) add(i, i - side);
        if (!triangle && x > 0) add(i, i - 1);
        add(i, i);
        if (x + 1 < side) add(i, i + 1);
        if (y + 1 < side) add(i, i + side);
        if (z + 1 < side) add(i, i + side * side);
        A.ia.push_back(static_cast<int>(A.ja.size()) + 1);
    }
    return A;
}

/// A number of the matrix or of a vector, whatever the element.
inline std::complex<double> numberAt(const std::vector<double>& values, std::size_t k, bool complex)
{
    return complex ? std::complex<double>(values[2 * k], values[2 * k + 1]) : std::complex<double>(values[k]);
}

/// The largest of |B - op(A) X| over |A| |X| + |B|, in the infinity norm, column by column.
inline double residualOf(const EngineCall& call, const std::vector<double>& b)
{
    const bool complex = detail::engine::isComplex(call.mtype),
               mirrored = detail::engine::isSymmetricStorage(call.mtype);
    const bool hermitian = detail::engine::isHermitian(call.mtype), transposed = call.iparm(12) == 1;
    const auto n = static_cast<std::size_t>(call.n);
    double worst = 0.;
    for (std::size_t c = 0; c < static_cast<std::size_t>(call.nrhs); ++c) {
        std::vector<std::complex<double>> r(n);
        double normA = 0., normX = 0., normB = 0., residual = 0.;
        const auto x = [&](std::size_t i) { return numberAt(call.x, c * n + i, complex); };
        for (std::size_t i = 0; i < n; ++i) r[i] = numberAt(b, c * n + i, complex);
        for (std::size_t i = 0; i < n; ++i) {
            normB = std::max(normB, std::abs(numberAt(b, c * n + i, complex)));
            normX = std::max(normX, std::abs(x(i)));
            for (int k = call.A.ia[i] - 1; k < call.A.ia[i + 1] - 1; ++k) {
                const auto j = static_cast<std::size_t>(call.A.ja[static_cast<std::size_t>(k)] - 1);
                const std::complex<double> a = numberAt(call.A.a, static_cast<std::size_t>(k), complex);
                normA = std::max(normA, 7. * std::abs(a));
                r[transposed ? j : i] -= a * x(transposed ? i : j);
                if (mirrored && i != j) r[j] -= (hermitian ? std::conj(a) : a) * x(i);
            }
        }
        for (const std::complex<double> value : r) residual = std::max(residual, std::abs(value));
        worst = std::max(worst, residual / (normA * normX + normB));
    }
    return worst;
}

/// The matrix with its arguments, out of core where the factor needs more than `megabytes`, and files in a
/// folder of their own.
class OutOfCoreSystem {
public:
    OutOfCoreSystem(int side, int mtype, int megabytes, int mode = 1) : call(gridOf(side, mtype), mtype)
    {
        environment.set("PATH", folder.at("factor"));
        environment.set("MAX_CORE_SIZE", std::to_string(megabytes));
        environment.set("KEEP_FILE", "0");
        call.set(60, mode);
        call.set(10, 8);
        call.set(21, 1);
        setRightSides(1);
    }
    void setRightSides(int count)
    {
        call.nrhs = count;
        const auto size = static_cast<std::size_t>(call.n) * static_cast<std::size_t>(count) *
                          (detail::engine::isComplex(call.mtype) ? 2 : 1);
        call.b.resize(size);
        call.x.assign(size, 0.);
        std::mt19937 random(5);
        std::uniform_real_distribution<double> uniform(-1, 1);
        for (double& value : call.b) value = uniform(random);
    }

    Folder folder;
    OutOfCoreEnvironment environment;
    EngineCall call;
};

/// Residuals that a solve leaves at most.
inline constexpr double kSolved = 1e-13;

/// The core that is told to be enough at least: a third of what the factor takes, or less.
inline int leastCore(int side, int mtype, int count = 1)
{
    OutOfCoreSystem system(side, mtype, 2000);
    system.setRightSides(count);
    EXPECT_EQ(system.call.run(11), 0);
    return system.call.iparm(63);
}

} // namespace Velmar::Lintrix::testing
