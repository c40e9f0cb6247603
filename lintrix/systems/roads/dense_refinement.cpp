#include <lintrix/systems/roads/dense_refinement.h>

#include <lintrix/systems/quality/augmented_refinement.h>
#include <lintrix/systems/quality/vector_norms.h>
#include <lintrix/systems/roads/columns.h>

#include <algorithm>
#include <cstdint>
#include <optional>

namespace Velmar::Lintrix::detail::roads {

namespace {

template <class Cell>
AugmentedEquations<Cell> equationsOf(const MatrixOf<Cell>& A, const DenseReflections<Cell>& factors)
{
    const AnyMatrix<Cell> view(A);
    const bool isWide = A.Rows() < A.Cols();
    constexpr TransposeMode plain = TransposeMode::NotTransposed,
                            adjoint = TransposeMode::ConjugateTransposed;
    return {view, isWide ? adjoint : plain, view, isWide ? plain : adjoint,
            [&factors](std::int32_t columns, Cell* F, Cell* G) { factors.solveAugmented(columns, F, G); }};
}

template <class Cell>
std::vector<double> columnNorms(const MatrixOf<Cell>& A)
{
    std::vector<double> norms;
    for (std::int32_t k = 0; k < A.Cols(); ++k)
        norms.push_back(euclideanNorm(columnCells(A, k).data(), A.Rows()));
    return norms;
}

} // namespace

template <class Cell>
std::vector<double> refineAndBound(const MatrixOf<Cell>& A, const DenseReflections<Cell>& factors,
                                   const MatrixOf<Cell>& B, MatrixOf<Cell>& X)
{
    constexpr std::int32_t kTogether = 16;
    const AugmentedEquations<Cell> equations = equationsOf(A, factors);
    const SolveQuality solves{static_cast<double>(factors.longer()), factors.condition()};
    const bool isWide = A.Rows() < A.Cols();
    const std::vector<double> norms = isWide ? std::vector<double>() : columnNorms<Cell>(A);
    std::vector<double> bounds;
    for (std::int32_t first = 0; first < X.Cols(); first += kTogether) {
        const std::int32_t count = std::min(kTogether, X.Cols() - first);
        const std::vector<RefinedColumn> refined =
            refine(equations, isWide, count, columnCells(B, first).data(), columnCells(X, first).data());
        for (std::int32_t j = 0; j < count; ++j) {
            const Cell* const x = columnCells(X, first + j).data();
            const auto terms = isWide ? std::nullopt : std::optional(solutionTerms(norms, x));
            bounds.push_back(boundOf(refined[static_cast<std::size_t>(j)], solves, terms));
        }
    }
    return bounds;
}

template std::vector<double> refineAndBound(const Matrix&, const DenseReflections<double>&, const Matrix&,
                                            Matrix&);
template std::vector<double> refineAndBound(const CMatrix&, const DenseReflections<Complex>&, const CMatrix&,
                                            CMatrix&);

} // namespace Velmar::Lintrix::detail::roads
