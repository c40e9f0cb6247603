#include <lintrix/engine/call/parameters.h>

#include <lintrix/engine/call/matrix_type.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// A default by class of matrix.
struct Default {
    Parameter parameter;
    int structurallySymmetric = 0;
    int definite = 0;
    int indefinite = 0;
    int unsymmetric = 0;
};

constexpr Default kDefaults[] = {
    {Parameter::Ordering, 2, 2, 2, 2},
    {Parameter::IterativePath},
    {Parameter::PermutationUse},
    {Parameter::SolutionPlace},
    {Parameter::RefinementSteps},
    {Parameter::RefinementLimit},
    {Parameter::Unread9},
    {Parameter::PivotExponent, 13, 0, 8, 13},
    {Parameter::Scaling, 0, 0, 0, 1},
    {Parameter::Transpose},
    {Parameter::Matching, 0, 0, 0, 1},
    {Parameter::PerturbedPivots},
    {Parameter::FactorNonZeros, -1, -1, -1, -1},
    {Parameter::Gigaflops, -1, -1, -1, -1},
    {Parameter::IterationResult},
    {Parameter::SymmetricPivoting, 0, 0, 1, 0},
    {Parameter::PositivePivots},
    {Parameter::NegativePivots},
    {Parameter::Unread24},
    {Parameter::Unread25},
    {Parameter::PartExponent},
    {Parameter::OutOfCore},
};

constexpr int valueFor(const Default& row, MatrixClass matrix) noexcept
{
    switch (matrix) {
    case MatrixClass::StructurallySymmetric:
        return row.structurallySymmetric;
    case MatrixClass::Indefinite:
        return row.indefinite;
    case MatrixClass::Unsymmetric:
        return row.unsymmetric;
    case MatrixClass::Definite:
    case MatrixClass::Unknown:
        break; // an unknown type goes no further than the input check
    }
    return row.definite;
}

} // namespace

void applyDefaults(int mtype, Parameters parameters) noexcept
{
    const MatrixClass matrix = classOf(mtype);
    for (const Default& row : kDefaults) parameters[row.parameter] = valueFor(row, matrix);
}

} // namespace Velmar::Lintrix::detail::engine
