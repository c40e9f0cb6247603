#pragma once
/// @file
/// The sparse classes as types of typed tests: what each is made of, and where the twins differ.

#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>
#include <lintrix/foundation/function_objects.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <type_traits>

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

} // namespace Velmar::Lintrix::testing
