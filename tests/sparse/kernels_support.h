#pragma once
/// @file
/// Random compressed rows with their dense twins, and the kernels by cell type.

#include "tests/support/failing_allocator.h"
#include "tests/support/matrices.h"
#include "tests/support/thread_setting.h"

#include <lintrix/services/buffer_pool.h>
#include <lintrix/services/threads.h>
#include <lintrix/sparse/kernels.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::testing {

using ComplexCell = std::complex<double>;
using Cells = ::testing::Types<double, ComplexCell>;
inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr char kGeneral[] = "GUNF";
inline constexpr char kSymmetric[] = "SUNF";

/// Column-major.
template <class Cell>
struct Dense {
    Dense(int r, int c, Cell value = Cell{0.0})
        : rows(r), cols(c), cells(static_cast<std::size_t>(r) * static_cast<std::size_t>(c), value)
    {
    }
    Cell& operator()(int r, int c) { return cells[at(r, c)]; }
    const Cell& operator()(int r, int c) const { return cells[at(r, c)]; }
    std::size_t at(int r, int c) const
    {
        return static_cast<std::size_t>(r) + static_cast<std::size_t>(rows) * static_cast<std::size_t>(c);
    }

    int rows, cols;
    std::vector<Cell> cells;
};

/// One-based compressed rows.
template <class Cell>
struct Rows {
    int rows = 0, cols = 0;
    std::vector<Cell> a;
    std::vector<int> ja, ia{1};

    void put(int column, Cell value)
    {
        ja.push_back(column + 1);
        a.push_back(value);
    }
    void endRow()
    {
        ia.push_back(static_cast<int>(a.size()) + 1);
        ++rows;
    }
    Dense<Cell> dense() const
    {
        Dense<Cell> D(rows, cols);
        for (int i = 0; i < rows; ++i) {
            for (int p = ia[i] - 1; p < ia[i + 1] - 1; ++p) D(i, ja[p] - 1) += a[p];
        }
        return D;
    }
    bool operator==(const Rows&) const = default;
};

/// rows(3, {{1, 2.0}, {0, 5.0}}, ...): the rows of a matrix with that many columns, columns from 0.
template <class Cell>
Rows<Cell> rowsOf(int cols, const std::vector<std::vector<std::pair<int, Cell>>>& elements)
{
    Rows<Cell> A;
    A.cols = cols;
    for (const auto& row : elements) {
        for (const auto& [column, value] : row) A.put(column, value);
        A.endRow();
    }
    return A;
}

class Source {
public:
    explicit Source(std::uint64_t seed) : generator_(seed) {}

    double uniform() { return static_cast<double>(generator_() >> 11) * 0x1p-52 - 1.0; }
    bool chance(double probability) { return uniform() < 2.0 * probability - 1.0; }
    template <class Cell>
    Cell cell()
    {
        if constexpr (std::is_same_v<Cell, double>) {
            return uniform();
        } else {
            const double re = uniform();
            return {re, uniform()};
        }
    }
    template <class Cell>
    std::vector<Cell> vector(int size)
    {
        std::vector<Cell> v;
        for (int i = 0; i < size; ++i) v.push_back(cell<Cell>());
        return v;
    }
    /// Each element is stored with that probability; every fifth row is empty. With `triangle`, elements
    /// below the diagonal are not stored.
    template <class Cell>
    Rows<Cell> rows(int m, int n, double density, bool triangle = false)
    {
        Rows<Cell> A;
        A.cols = n;
        for (int i = 0; i < m; ++i) {
            for (int j = triangle ? i : 0; i % 5 != 4 && j < n; ++j) {
                if (chance(density)) A.put(j, cell<Cell>());
            }
            A.endRow();
        }
        return A;
    }

private:
    std::mt19937_64 generator_;
};

inline double conjugated(double value)
{
    return value;
}
inline ComplexCell conjugated(const ComplexCell& value)
{
    return std::conj(value);
}

/// op(A) by the letter.
template <class Cell>
Dense<Cell> applied(char trans, const Dense<Cell>& A)
{
    if (trans == 'N') return A;
    Dense<Cell> T(A.cols, A.rows);
    for (int r = 0; r < A.rows; ++r) {
        for (int c = 0; c < A.cols; ++c) T(c, r) = trans == 'C' ? conjugated(A(r, c)) : A(r, c);
    }
    return T;
}

/// The full symmetric matrix of which `upper` is the triangle; not conjugated.
template <class Cell>
Dense<Cell> mirrored(Dense<Cell> upper)
{
    for (int r = 0; r < upper.rows; ++r) {
        for (int c = 0; c < r; ++c) upper(r, c) = upper(c, r);
    }
    return upper;
}

/// Is |own - expected| within the error of a sum of `terms` products of cells of size about 1?
template <class Cell>
void expectNear(const Cell& own, const Cell& expected, int terms)
{
    EXPECT_LE(std::abs(own - expected), 8.0 * kEps * (terms + 4) * (1.0 + std::sqrt(terms)));
}

template <class Cell>
void csrmv(const char* trans, const char* descriptor, const Rows<Cell>& A, Cell alpha,
           const std::vector<Cell>& x, Cell beta, std::vector<Cell>& y)
{
    const auto call = [&](auto kernel) {
        kernel(trans, A.rows, A.cols, alpha, descriptor, A.a.data(), A.ja.data(), A.ia.data(),
               A.ia.data() + 1, x.data(), beta, y.data());
    };
    if constexpr (std::is_same_v<Cell, double>) {
        call(mkl_dcsrmv);
    } else {
        call(mkl_zcsrmv);
    }
}

template <class Cell>
void csrmm(const char* trans, const char* descriptor, const Rows<Cell>& A, int n, Cell alpha,
           const std::vector<Cell>& B, int ldb, Cell beta, std::vector<Cell>& C, int ldc)
{
    const auto call = [&](auto kernel) {
        kernel(trans, A.rows, n, A.cols, alpha, descriptor, A.a.data(), A.ja.data(), A.ia.data(),
               A.ia.data() + 1, B.data(), ldb, beta, C.data(), ldc);
    };
    if constexpr (std::is_same_v<Cell, double>) {
        call(mkl_dcsrmm);
    } else {
        call(mkl_zcsrmm);
    }
}

template <class Cell>
void csradd(const char* trans, int request, const Rows<Cell>& A, Cell beta, const Rows<Cell>& B, Cell* c,
            int* jc, int* ic, int& info)
{
    const auto call = [&](auto kernel) {
        kernel(trans, request, 0, A.rows, A.cols, A.a.data(), A.ja.data(), A.ia.data(), beta, B.a.data(),
               B.ja.data(), B.ia.data(), c, jc, ic, 0, info);
    };
    if constexpr (std::is_same_v<Cell, double>) {
        call(mkl_dcsradd);
    } else {
        call(mkl_zcsradd);
    }
}

template <class Cell>
void csrmultcsr(const char* trans, int request, const Rows<Cell>& A, const Rows<Cell>& B, Cell* c, int* jc,
                int* ic, int& info)
{
    const auto call = [&](auto kernel) {
        kernel(trans, request, 0, A.rows, A.cols, B.cols, A.a.data(), A.ja.data(), A.ia.data(), B.a.data(),
               B.ja.data(), B.ia.data(), c, jc, ic, 0, info);
    };
    if constexpr (std::is_same_v<Cell, double>) {
        call(mkl_dcsrmultcsr);
    } else {
        call(mkl_zcsrmultcsr);
    }
}

/// Both passes; pass(request, c, jc, ic, info) is the kernel with all else bound. `counted` is the number of
/// elements after pass 1, when it is asked for.
template <class Cell, class Pass>
Rows<Cell> twoPasses(int rows, int cols, Pass pass, int* counted = nullptr)
{
    int info = 77;
    Rows<Cell> C;
    C.rows = rows;
    C.cols = cols;
    C.ia.assign(static_cast<std::size_t>(rows) + 1, -5);
    pass(1, nullptr, nullptr, C.ia.data(), info);
    EXPECT_EQ(info, 0);
    const int elements = C.ia.back() - 1;
    if (counted != nullptr) *counted = elements;
    C.a.assign(static_cast<std::size_t>(elements), Cell{kNaN});
    C.ja.assign(static_cast<std::size_t>(elements), -5);
    pass(2, C.a.data(), C.ja.data(), C.ia.data(), info);
    EXPECT_EQ(info, 0);
    C.a.resize(static_cast<std::size_t>(C.ia.back() - 1));
    C.ja.resize(C.a.size());
    return C;
}

template <class Cell>
Rows<Cell> sum(const char* trans, const Rows<Cell>& A, Cell beta, const Rows<Cell>& B)
{
    return twoPasses<Cell>(A.rows, A.cols, [&](int request, Cell* c, int* jc, int* ic, int& info) {
        csradd(trans, request, A, beta, B, c, jc, ic, info);
    });
}

template <class Cell>
Rows<Cell> product(const char* trans, const Rows<Cell>& A, const Rows<Cell>& B, int* counted = nullptr)
{
    const int rows = *trans == 'N' ? A.rows : A.cols;
    return twoPasses<Cell>(
        rows, B.cols,
        [&](int request, Cell* c, int* jc, int* ic, int& info) {
            csrmultcsr(trans, request, A, B, c, jc, ic, info);
        },
        counted);
}

/// Row pointers rise from 1, columns ascend strictly and are in range.
template <class Cell>
void expectWellFormed(const Rows<Cell>& A)
{
    ASSERT_EQ(A.ia[0], 1);
    for (int i = 0; i < A.rows; ++i) {
        ASSERT_LE(A.ia[i], A.ia[i + 1]);
        for (int p = A.ia[i] - 1; p < A.ia[i + 1] - 1; ++p) {
            ASSERT_GE(A.ja[p], p == A.ia[i] - 1 ? 1 : A.ja[p - 1] + 1);
            ASSERT_LE(A.ja[p], A.cols);
        }
    }
}

/// Runs `operation` with the first, second, ... request to the system failing, the pool being empty before
/// each, until none fails. `judge` is told each time whether a request failed. Returns the number of
/// requests.
template <class Operation, class Judge>
int failEachRequest(Operation operation, Judge judge)
{
    for (int k = 0;; ++k) {
        MKL_FreeBuffers();
        bool failed = false;
        {
            const FailingAllocator allocator(k);
            operation();
            failed = allocator.hasFailed();
        }
        judge(failed);
        if (!failed) return k;
        if (k > 1000) {
            ADD_FAILURE() << "the operation never passes";
            return k;
        }
    }
}

/// A pass of a kernel with each request for memory failing in turn: it passes, or says so in `info` and
/// touches nothing. pass(c, jc, ic, info) is the kernel with all else bound, `expected` the result. Returns
/// the number of requests. The pool's own table may fail without harm: the request then goes to the system.
template <class Cell, class Pass>
int expectUntouchedWithoutMemory(int request, const Rows<Cell>& expected, Pass pass)
{
    const std::vector<int> icBefore = request == 1 ? std::vector<int>(expected.ia.size(), -7) : expected.ia;
    std::vector<int> ic, jc;
    std::vector<Cell> c;
    int info = 0;
    return failEachRequest(
        [&] {
            ic = icBefore;
            jc.assign(expected.ja.size(), -7);
            c.assign(expected.a.size(), Cell{-7.0});
            info = 55;
            pass(c.data(), jc.data(), ic.data(), info);
        },
        [&](bool failed) {
            const bool passed = !failed || info == 0, filled = passed && request == 2;
            EXPECT_EQ(info, passed ? 0 : KernelNoMemory);
            EXPECT_EQ(ic, passed ? expected.ia : icBefore);
            EXPECT_EQ(jc, filled ? expected.ja : std::vector<int>(jc.size(), -7));
            EXPECT_EQ(c, filled ? expected.a : std::vector<Cell>(c.size(), Cell{-7.0}));
        });
}

} // namespace Velmar::Lintrix::testing
