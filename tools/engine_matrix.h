#pragma once
// A matrix in the form and under the type that the sparse direct solver takes.

#include <tools/matrix_facts.h>

#include <string_view>
#include <vector>

namespace Velmar::Lintrix::tools {

/// The solver's number for the type of a real matrix:
///  2   symmetric, and nothing seen speaks against positive definite: the diagonal is positive and each
///      |a_ij|^2 < a_ii a_jj
///  -2  any other symmetric matrix
///  1   symmetric pattern with a diagonal of non-zeros
///  11  any other
int typeOf(const SparseMatrix& matrix, const MatrixFacts& facts);

std::string_view typeInWords(int mtype);

/// Compressed rows that count from 1; of types 2 and -2 the upper triangle. Each row has its diagonal entry:
/// a zero where the matrix has none, which changes nothing that an analysis finds.
struct EngineMatrix {
    int mtype;
    std::vector<double> a;
    std::vector<std::int32_t> ia, ja;

    std::int32_t n() const noexcept { return static_cast<std::int32_t>(ia.size()) - 1; }
    /// As many entries as rows: the solver takes it as it is and analyses nothing.
    bool isDiagonal() const noexcept { return ja.size() + 1 == ia.size(); }
};

/// `matrix` has both triangles. @throws InputError  more entries than 32 bits count
EngineMatrix engineMatrixOf(const SparseMatrix& matrix, int mtype);

} // namespace Velmar::Lintrix::tools
