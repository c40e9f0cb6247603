#pragma once
/// @file
/// Calls of the entry with arguments that a test changes one at a time, and small matrices for them.

#include <lintrix/engine/call/matrix_type.h>
#include <lintrix/engine/pardiso.h>
#include <lintrix/services/threads.h>

#include "tests/support/thread_setting.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {

/// A matrix in compressed rows, base 1.
struct Rows {
    int n = 0;
    std::vector<double> a;
    std::vector<int> ia, ja;
};

/// The tridiagonal matrix -1, 2, -1; with `upper` its upper triangle.
inline Rows tridiagonal(int n, bool upper = false)
{
    Rows A{n, {}, {1}, {}};
    for (int i = 1; i <= n; ++i) {
        for (int j = upper ? i : i - 1; j <= i + 1; ++j) {
            if (j < 1 || j > n) continue;
            A.ja.push_back(j);
            A.a.push_back(i == j ? 2. : -1.);
        }
        A.ia.push_back(static_cast<int>(A.ja.size()) + 1);
    }
    return A;
}

inline Rows diagonal(std::vector<double> values)
{
    Rows A{static_cast<int>(values.size()), std::move(values), {1}, {}};
    for (int i = 1; i <= A.n; ++i) {
        A.ja.push_back(i);
        A.ia.push_back(i + 1);
    }
    return A;
}

/// The five-point grid with a random, dominant matrix of the type.
inline Rows gridMatrix(int mtype, int side, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> uniform(-1., 1.);
    using namespace detail::engine;
    const bool complex = isComplex(mtype), upper = isSymmetricStorage(mtype);
    Rows A{side * side, {}, {1}, {}};
    for (int i = 0; i < A.n; ++i) {
        const int x = i % side, y = i / side;
        const auto add = [&](bool inside, int j) {
            if (!inside || (upper && j < i)) return;
            A.ja.push_back(j + 1);
            A.a.push_back(uniform(random) + (i == j ? 6. : 0.));
            if (complex) A.a.push_back(i == j && isHermitian(mtype) ? 0. : uniform(random));
        };
        add(y > 0, i - side);
        add(x > 0, i - 1);
        add(true, i);
        add(x + 1 < side, i + 1);
        add(y + 1 < side, i + side);
        A.ia.push_back(static_cast<int>(A.ja.size()) + 1);
    }
    return A;
}

/// The arguments of the entry, by default those of an analysis with the caller's values: nested dissection,
/// neither matching nor scaling. What is held at the end is released.
class EngineCall {
public:
    explicit EngineCall(Rows matrix, int type = 11) : A(std::move(matrix)), mtype(type), n(A.n)
    {
        set(1, 1);
        set(2, 2);
        b.assign(static_cast<std::size_t>(A.n) * 4, 1.);
        x.assign(static_cast<std::size_t>(A.n) * 4, 0.);
        perm.assign(static_cast<std::size_t>(A.n), 0);
    }
    ~EngineCall() { release(); }
    EngineCall(const EngineCall&) = delete;
    EngineCall& operator=(const EngineCall&) = delete;

    int run(int phase)
    {
        int error = 4711;
        pardiso(pt.data(), maxfct, mnum, mtype, phase, n, A.a.data(), A.ia.data(), A.ja.data(), perm.data(),
                nrhs, iparm_.data(), msglvl, b.data(), x.data(), error);
        return error;
    }
    /// The call's error and what it printed.
    struct Printed {
        int error;
        std::string text;
    };
    Printed runPrinting(int phase, int level)
    {
        msglvl = level;
        ::testing::internal::CaptureStdout();
        const int error = run(phase);
        msglvl = 0;
        return {error, ::testing::internal::GetCapturedStdout()};
    }
    void release()
    {
        set(12, 0);
        EXPECT_EQ(run(-1), 0);
        EXPECT_EQ(pt[0], nullptr);
    }

    int iparm(int k) const { return iparm_[static_cast<std::size_t>(k) - 1]; }
    void set(int k, int value) { iparm_[static_cast<std::size_t>(k) - 1] = value; }
    const std::array<int, 64>& allParameters() const { return iparm_; }

    std::array<void*, 64> pt{};
    Rows A;
    int maxfct = 1, mnum = 1, mtype, n, nrhs = 1, msglvl = 0;
    std::vector<double> b, x;
    std::vector<int> perm;

private:
    std::array<int, 64> iparm_{};
};

} // namespace Velmar::Lintrix::testing
