#pragma once
/// @file
/// The sparse classes as types of typed tests: what each is made of, and where the twins differ.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>
#include <lintrix/foundation/function_objects.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>

namespace Velmar::Lintrix::testing {

struct RealTwin {
    using Sparse = SparseMatrix;
    using Dense = Matrix;
    using DenseVector = Vector;
    using Cell = double;
    using Parts = std::array<double, 1>;

    /// Given to the matrix without arguments, before it is clamped.
    static constexpr float kFactorOfTheEmptyOne = 0.2F;
    static constexpr bool kCopyKeepsFlagAndFactor = true;
    /// Products with dense operands mirror the stored triangle, those of sparse matrices refuse it.
    static constexpr bool kFlagReachesProducts = true;
    static constexpr bool kNamedProductChecksRows = true;
    static constexpr bool kTextMeasuresStoredAlone = true;
    static constexpr bool kEqualsAnswers = false;
    static constexpr const char* kFlagKey = "symm";

    static bool flag(const Sparse& A) { return A.Symmetric(); }
    static void flag(Sparse& A, bool value) { A.Symmetric(value); }

    static Parts parts(Cell x) { return {x}; }
    static Cell cell(const Parts& parts) { return parts[0]; }
    static double magnitude(Cell x) { return std::abs(x); }
    static Cell conjugated(Cell x) { return x; }
    static Cell product(Cell x, Cell y) { return x * y; }
    /// Capacity of arrays that were full: `scaled` is the old one by the growth factor.
    static std::int32_t grown(std::int32_t scaled, std::int32_t old) { return std::max(scaled, old + 1); }
};

struct ComplexTwin {
    using Sparse = CSparseMatrix;
    using Dense = CMatrix;
    using DenseVector = CVector;
    using Cell = Complex;
    using Parts = std::array<double, 2>;

    static constexpr float kFactorOfTheEmptyOne = 1.2F;
    static constexpr bool kCopyKeepsFlagAndFactor = false;
    static constexpr bool kFlagReachesProducts = false;
    static constexpr bool kNamedProductChecksRows = false;
    static constexpr bool kTextMeasuresStoredAlone = false;
    static constexpr bool kEqualsAnswers = true;
    static constexpr const char* kFlagKey = "herm";

    static bool flag(const Sparse& A) { return A.Hermitian(); }
    static void flag(Sparse& A, bool value) { A.Hermitian(value); }

    static Parts parts(Cell x) { return {x.real(), x.imag()}; }
    static Cell cell(const Parts& parts) { return {parts[0], parts[1]}; }
    static double magnitude(Cell x) { return std::abs(x); }
    static Cell conjugated(Cell x) { return {x.real(), -x.imag()}; }
    static Cell product(Cell x, Cell y)
    {
        return {x.real() * y.real() - x.imag() * y.imag(), x.imag() * y.real() + x.real() * y.imag()};
    }
    /// The smaller of the two; but the element that is inserted has its slot.
    static std::int32_t grown(std::int32_t scaled, std::int32_t old)
    {
        const std::int32_t smaller = std::min(scaled, old + 1);
        return smaller > old ? smaller : old + 1;
    }
};

using SparseTwins = ::testing::Types<RealTwin, ComplexTwin>;

} // namespace Velmar::Lintrix::testing
