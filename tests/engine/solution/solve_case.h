#pragma once
/// @file
/// Systems of every matrix type and element, and calls of the entry that solve them.

#include <lintrix/engine/call/matrix_type.h>
#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/pardiso.h>

#include "tests/engine/engine_call.h"

#include <algorithm>
#include <array>
#include <complex>
#include <cstddef>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {

using detail::engine::conjugate;
using detail::engine::isHermitian;
using detail::engine::isSymmetricStorage;
using detail::engine::kIsComplex;
using detail::engine::RealOf;

/// A pattern and what its values are like. Off-diagonal entries are random; the diagonal makes each row
/// dominant, `diagonal` being its sign by row (0: there is a zero).
struct Shape {
    std::string name;
    int n;
    std::vector<std::pair<int, int>> pairs; ///< (i, j), i < j: both entries are there
    std::vector<int> diagonal;
    double spread = 0.0; ///< rows and columns are multiplied by 10^u, u in -spread .. spread
};

inline Shape shapeOf(std::string name, int n, std::vector<std::pair<int, int>> pairs)
{
    return {std::move(name), n, std::move(pairs), std::vector<int>(static_cast<std::size_t>(n), 1)};
}

/// x * y * z points, each joined to its neighbours.
inline Shape gridShape(int x, int y, int z)
{
    std::vector<std::pair<int, int>> pairs;
    for (int k = 0; k < z; ++k) {
        for (int j = 0; j < y; ++j) {
            for (int i = 0; i < x; ++i) {
                const int v = i + x * (j + y * k);
                if (i + 1 < x) pairs.emplace_back(v, v + 1);
                if (j + 1 < y) pairs.emplace_back(v, v + x);
                if (k + 1 < z) pairs.emplace_back(v, v + x * y);
            }
        }
    }
    return shapeOf("grid", x * y * z, std::move(pairs));
}

/// A grid, and constraints that each tie a few of its points: zeros on the diagonal.
inline Shape saddleShape()
{
    Shape shape = gridShape(8, 8, 1);
    shape.name = "saddle";
    for (int c = 0; c < 12; ++c, ++shape.n) {
        for (int k = 0; k < 3; ++k) shape.pairs.emplace_back(5 * c + k, shape.n);
        shape.diagonal.push_back(0);
    }
    return shape;
}

/// One row and column full, at either end.
inline Shape arrowShape(int full)
{
    Shape shape = gridShape(40, 1, 1);
    shape.name = "arrow";
    for (int i = 0; i < 40; ++i) {
        if (std::abs(i - full) > 1) shape.pairs.emplace_back(std::min(i, full), std::max(i, full));
    }
    return shape;
}

inline Shape scatteredShape()
{
    Shape shape = gridShape(5, 5, 1);
    shape.name = "disconnected";
    shape.n = 60; // points 25 to 29 stand alone, the rest in a ring
    for (int i = 30; i < 60; ++i)
        shape.pairs.emplace_back(std::min(i, i == 59 ? 30 : i + 1), i == 59 ? 59 : i + 1);
    shape.diagonal.assign(60, 1);
    return shape;
}

inline std::vector<Shape> allShapes()
{
    std::vector<Shape> shapes{gridShape(2, 1, 1), gridShape(3, 1, 1), gridShape(13, 11, 1),
                              gridShape(6, 5, 7), arrowShape(0),      arrowShape(39),
                              scatteredShape()};
    Shape spread = gridShape(12, 12, 1);
    spread.name = "badly scaled";
    spread.spread = 4.0;
    shapes.push_back(spread);
    return shapes;
}

/// A system in the caller's arrays.
template <class T>
struct System {
    int mtype = 0, n = 0;
    std::vector<int> ia{1}, ja;
    std::vector<T> a;

    void put(int j, T value)
    {
        ja.push_back(j + 1);
        a.push_back(value);
    }
    void endRow() { ia.push_back(static_cast<int>(ja.size()) + 1); }

    /// Calls visit(i, j, value) for all entries of op(A), also those that the upper triangle stands for.
    template <class Visit>
    void forEach(bool transposed, const Visit& visit) const
    {
        for (int i = 0; i < n; ++i) {
            for (int k = ia[static_cast<std::size_t>(i)] - 1; k < ia[static_cast<std::size_t>(i) + 1] - 1;
                 ++k) {
                const auto place = static_cast<std::size_t>(k);
                const int j = ja[place] - 1;
                transposed ? visit(j, i, a[place]) : visit(i, j, a[place]);
                if (isSymmetricStorage(mtype) && i != j) visit(j, i, conjugate(a[place], isHermitian(mtype)));
            }
        }
    }
};

template <class T>
T randomNumber(std::mt19937& random)
{
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    const auto re = static_cast<RealOf<T>>(uniform(random));
    if constexpr (kIsComplex<T>) {
        return {re, static_cast<RealOf<T>>(uniform(random))};
    } else {
        return re;
    }
}

/// The values that a shape has in a matrix of this type.
template <class T>
System<T> systemOf(const Shape& shape, int mtype, unsigned seed = 1)
{
    std::mt19937 random(seed);
    const auto n = static_cast<std::size_t>(shape.n);
    std::vector<std::map<int, T>> rows(n);
    std::vector<double> sums(n);
    for (const auto& [i, j] : shape.pairs) {
        const T upper = randomNumber<T>(random);
        const T lower =
            isSymmetricStorage(mtype) ? conjugate(upper, isHermitian(mtype)) : randomNumber<T>(random);
        rows[static_cast<std::size_t>(i)][j] = upper;
        rows[static_cast<std::size_t>(j)][i] = lower;
        sums[static_cast<std::size_t>(i)] += std::abs(upper);
        sums[static_cast<std::size_t>(j)] += std::abs(lower);
    }
    std::uniform_real_distribution<double> exponent(-shape.spread, shape.spread);
    std::vector<double> factor(n);
    for (std::size_t i = 0; i < n; ++i) {
        factor[i] = shape.spread == 0.0 ? 1.0 : std::exp2(std::round(3.3 * exponent(random)));
        const bool negative = (mtype < 0 || mtype == 6) && i % 3 == 0;
        rows[i][static_cast<int>(i)] =
            T(static_cast<RealOf<T>>((sums[i] + 1.0) * shape.diagonal[i] * (negative ? -1 : 1)));
    }
    System<T> system{mtype, shape.n, {1}, {}, {}};
    for (std::size_t i = 0; i < n; ++i) {
        for (const auto& [j, value] : rows[i]) {
            if (isSymmetricStorage(mtype) && j < static_cast<int>(i)) continue;
            const double scale = factor[i] * factor[static_cast<std::size_t>(j)];
            system.put(j, value * static_cast<RealOf<T>>(scale));
        }
        system.endRow();
    }
    return system;
}

/// The entry with the arrays of one system. Defaults by `iparm(1)` 1 and what most callers choose by type;
/// what is held at the end is released.
template <class T>
class SolveCall {
public:
    explicit SolveCall(System<T> given, int sides = 1) : A(std::move(given)), nrhs(sides)
    {
        const bool unsymmetric = A.mtype == 11 || A.mtype == 13;
        const bool indefinite = A.mtype < 0 || A.mtype == 6;
        set(1, 1);
        set(2, 2);
        set(10, indefinite ? 8 : 13);
        set(11, unsymmetric ? 1 : 0);
        set(13, unsymmetric ? 1 : 0);
        set(21, indefinite ? 1 : 0);
        set(28, sizeof(RealOf<T>) == sizeof(float) ? 1 : 0);
        std::mt19937 random(7);
        b.resize(size());
        x.resize(size());
        std::generate(b.begin(), b.end(), [&] { return randomNumber<T>(random); });
    }
    ~SolveCall()
    {
        set(12, 0);
        EXPECT_EQ(run(-1), 0);
        EXPECT_EQ(pt[0], nullptr);
    }
    SolveCall(const SolveCall&) = delete;
    SolveCall& operator=(const SolveCall&) = delete;

    std::size_t size() const { return static_cast<std::size_t>(A.n) * static_cast<std::size_t>(nrhs); }
    int iparm(int k) const { return parameters[static_cast<std::size_t>(k) - 1]; }
    void set(int k, int value) { parameters[static_cast<std::size_t>(k) - 1] = value; }

    /// The error of one call, which must leave the indices as they are.
    int run(int phase)
    {
        const std::vector<int> ia = A.ia, ja = A.ja;
        int error = 4711;
        pardiso(pt.data(), maxfct, mnum, A.mtype, phase, A.n, A.a.data(), A.ia.data(), A.ja.data(),
                perm.data(), nrhs, parameters.data(), msglvl, b.data(), x.data(), error);
        EXPECT_EQ(A.ia, ia);
        EXPECT_EQ(A.ja, ja);
        return error;
    }

    /// The largest ||b - op(A) x|| / (||A|| ||x|| + ||b||) of the right-hand sides; infinity norms.
    double scaledResidual(const std::vector<T>& right, const std::vector<T>& solution) const
    {
        const bool transposed = iparm(12) == 1 && !isSymmetricStorage(A.mtype);
        const auto n = static_cast<std::size_t>(A.n);
        double worst = 0.0;
        std::vector<double> rowSums(n);
        A.forEach(transposed,
                  [&](int i, int, T value) { rowSums[static_cast<std::size_t>(i)] += std::abs(value); });
        const double normA = *std::max_element(rowSums.begin(), rowSums.end());
        for (std::size_t first = 0; first < size(); first += n) {
            std::vector<std::complex<double>> r(n);
            for (std::size_t i = 0; i < n; ++i) r[i] = right[first + i];
            A.forEach(transposed, [&](int i, int j, T value) {
                r[static_cast<std::size_t>(i)] -=
                    std::complex<double>(value) *
                    std::complex<double>(solution[first + static_cast<std::size_t>(j)]);
            });
            double residual = 0.0, normX = 0.0, normB = 0.0;
            for (std::size_t i = 0; i < n; ++i) {
                residual = std::max(residual, std::isnan(std::abs(r[i])) ? 1e300 : std::abs(r[i]));
                normX = std::max<double>(normX, std::abs(solution[first + i]));
                normB = std::max<double>(normB, std::abs(right[first + i]));
            }
            worst = std::max(worst, residual / (normA * normX + normB));
        }
        return worst;
    }
    double scaledResidual() const { return scaledResidual(b, x); }

    System<T> A;
    std::array<void*, 64> pt{};
    std::array<int, 64> parameters{};
    int maxfct = 1, mnum = 1, nrhs, msglvl = 0;
    std::vector<int> perm; ///< perm(new) = old, base 1; null where it is empty
    std::vector<T> b, x;
};

/// The types whose elements are like T.
template <class T>
std::vector<int> typesFor()
{
    return kIsComplex<T> ? std::vector<int>{3, 4, -4, 6, 13} : std::vector<int>{1, 2, -2, 11};
}

/// 1e-12 in double precision; as many units of the last place in single.
template <class T>
inline constexpr double kResidualLimit = 1e-12 * (std::numeric_limits<RealOf<T>>::epsilon() /
                                                  std::numeric_limits<double>::epsilon());

} // namespace Velmar::Lintrix::testing
