#pragma once
/// @file
/// The enumerations of the library. The numeric values are part of the contract: callers store them. A value
/// outside the members is accepted by the type; what an operation then does is told with the operation.

#include <cstdint>

namespace Velmar::Lintrix {

/// How a flat source array is read by the constructors of the dense matrices.
enum class StorageOrder : std::int32_t {
    RowMajor = 0,    ///< one row after the other
    ColumnMajor = 1, ///< one column after the other
};

/// The order in which a sort leaves its keys.
enum class SortOrder : std::int32_t {
    Ascending = 0,  ///< smallest key first
    Descending = 1, ///< largest key first
};

/// The norms of a matrix.
enum class NormType : std::int32_t {
    FrobeniusNorm = 0, ///< square root of the sum of squares
    InfinityNorm = 1,  ///< largest absolute row sum
    OneNorm = 2,       ///< largest absolute column sum
    MaxAbsValue = 3,   ///< largest absolute element
};

/// What a vector is normalized to; see `Vector::Normalize` for what each mode does to a vector.
enum class NormalizeMode : std::int32_t {
    ZScores = 0,    ///< subtract the mean, divide by the standard deviation
    UnitLength = 1, ///< scale to Euclidean length 1
    MaximumOne = 2, ///< scale so that the element of largest magnitude is 1
};

/// Balancing of a matrix before its eigenvalues are computed.
enum class BalanceType : std::int32_t {
    None = 0,    ///< no balancing
    Scale = 1,   ///< diagonal scaling only
    Permute = 2, ///< permutation only
    Both = 3,    ///< permutation and scaling
};

/// How two matrices are put together.
enum class ConcatenateMode : std::int32_t {
    Horizontally = 0, ///< side by side
    Vertically = 1,   ///< one above the other
};

/// op(X) in a product or sum.
enum class TransposeMode : std::int32_t {
    NotTransposed = 0,       ///< X
    Transposed = 1,          ///< X transposed
    ConjugateTransposed = 2, ///< X conjugate-transposed
};

/// How the last run of a sparse solver ended: the engine's error number negated, and `OtherError` below -5.
enum class SolverStatus : std::int32_t {
    Success = 0,           ///< the last run ended well
    InputInconsistent = 1, ///< the input did not pass the engine's checks
    OutOfMemory = 2,       ///< the engine ran out of memory
    ReorderingProblem = 3, ///< the fill-in reducing step failed
    ZeroPivot = 4,         ///< a zero pivot stopped the factorization
    OtherError = 5,        ///< anything else
};

/// The ordering that keeps the factors of a sparse matrix sparse. The numbers go to the engine's parameter
/// array as they are; so 1 stays unassigned.
enum class FillInReducingMethod : std::int32_t {
    MinimumDegree = 0,            ///< by local degrees
    NestedDissection = 2,         ///< by separators of the whole graph
    ParallelNestedDissection = 3, ///< the same, on several threads
};

/// What a sparse solver may assume of its matrix.
enum class MatrixType : std::int32_t {
    Unsymmetric = 0,           ///< no symmetry assumed
    StructurallySymmetric = 1, ///< symmetric pattern, unsymmetric values
    PositiveDefinite = 2,      ///< symmetric (complex solver: Hermitian) positive definite
    Indefinite = 3,            ///< symmetric (complex solver: Hermitian) indefinite
};

/// When a sparse solver computes its factors anew.
enum class FactorizationStrategy : std::int32_t {
    ComputeAlways = 0,     ///< the numeric factorization is computed on each run
    ComputeWhenNeeded = 1, ///< iterate with the stored factors; factorize anew only when that fails
};

/// Beside the interface: which factorization answered `Matrix::Solve`.
enum class SolveRoad : std::int32_t {
    LU = 0,         ///< square
    QR = 1,         ///< more rows than columns: least squares
    LQ = 2,         ///< fewer rows than columns
    SingularLQ = 3, ///< square, but LU met an exact zero pivot: the result is not to be trusted
};

} // namespace Velmar::Lintrix
