#pragma once
/// @file
/// One road through the direct solver: the assumption made of the matrix, and the engine driven accordingly.

#include <lintrix/engine/pardiso.h>
#include <lintrix/engine/solve_handle.h>
#include <lintrix/services/export.h>
#include <lintrix/services/section_file.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/structure/inertia.h>
#include <lintrix/systems/system_matrix.h>
#include <lintrix/systems/system_options.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace Velmar::Lintrix::detail::roads {

/// What is assumed of the matrix, each weaker than the one before it.
enum class Road {
    Cholesky,  ///< positive definite
    Symmetric, ///< L*D*L', or L*D*L^H of a hermitian matrix, pivots from the diagonal
    Delayed,   ///< pivots of one and two columns, which wait where they are too small; not by the engine
    Unmatched, ///< LU that keeps to the diagonal as it stands
    Matched,   ///< LU with matching and scaling: for any matrix
    Fronts,    ///< LU with exchanges of rows in a front, and columns that wait; without the engine
    Coarse,    ///< the same, with small pivots raised to 1e-6 and refinement to make good for it
    Pivoted,   ///< LU with exchanges of rows in all of a block, column by column and without the engine
    Dense,     ///< LU with exchanges of rows, in dense storage and without the engine
};

/// "sparse Cholesky", "sparse LDL'", "sparse LDL' with delayed pivots", "sparse
/// LU", "sparse LU with matching", "sparse LU with delayed pivots", "sparse LU with raised pivots", "sparse
/// LU with partial pivoting", "dense LU"; for a complex hermitian type (-4) "LDL^H" in place of "LDL'".
LINTRIX_TESTABLE std::string_view nameOf(Road road, int mtype);

/// What the road assumes of the matrix.
LINTRIX_TESTABLE MatrixType typeOf(Road road);

/// Whether rows and columns are scaled, by what the matching brings along.
LINTRIX_TESTABLE bool scales(Road road);

/// Where to go when `road` fails. None after the last one.
LINTRIX_TESTABLE std::optional<Road> roadAfter(Road road);

/// Of a factorization, as its analysis counts it.
struct RoadCost {
    std::int64_t entries = 0; ///< of L, diagonal included
    double operations = 0.0;
    double bytes = 0.0; ///< of analysis, factor and solve at least: with the factor in files, if that is less
    double bytesInMemory = 0.0, bytesWithFiles = 0.0; ///< of the whole run, forecast by the analysis
};

// Errors of the engine.
inline constexpr int kEngineNoMemory = -2;  ///< there is not enough memory
inline constexpr int kEngineNumeric = -4;   ///< a zero pivot, or no convergence
inline constexpr int kEngineSmallCore = -9; ///< the core is too small for factors in files
inline constexpr int kEngineNoFile = -10;   ///< a file of the factor cannot be made or opened
inline constexpr int kEngineTransfer = -11; ///< one cannot be written or read
inline constexpr int kTooMuchFill = -101;   ///< no error of the engine: a bound on its factors was passed

inline constexpr double kMegabyte = 1048576.0; ///< of the engine's figures

/// What the engine answered.
struct EngineAnswer {
    int error = 0;   ///< 0 is success
    int failing = 0; ///< the equation or the internal code of a failure
    int block = 0;   ///< of that equation, from 1, where the matrix was taken in blocks
};

/// Of a solve that tells sizes.
enum class Refining {
    Unasked, ///< by the steps that the factor takes by itself
    Once,    ///< by one of them
    Never,
};

/// A handle of the engine from analysis to release.
class LINTRIX_TESTABLE DirectRun {
public:
    /// `matrix` under the assumption of the road, which is one of the engine's; its arrays must outlive the
    /// run.
    DirectRun(Road road, const EngineMatrix& matrix, FillInReducingMethod ordering,
              const EngineSettings& settings);
    ~DirectRun();
    DirectRun(const DirectRun&) = delete;
    DirectRun& operator=(const DirectRun&) = delete;

    /// For solves alone, with the factor of this one and beside it, from another thread too; none where the
    /// factor is in files or there is no memory. This one must outlive it and keep its factor until then.
    std::unique_ptr<DirectRun> another() const;

    /// What `save` has added to a file, by the same arguments.
    /// @throws as `requireWhole`, NotEnoughMemoryException
    static std::unique_ptr<DirectRun> load(Road road, const EngineMatrix& matrix,
                                           FillInReducingMethod ordering, const EngineSettings& settings,
                                           SectionReader& file);
    /// Adds analysis and factor to a file.
    /// @throws InvalidOperationException  the factor is in files: "The factor of this system cannot be
    /// saved."
    void save(SectionWriter& file) const;

    /// For as many right-hand sides at a time. May be repeated, for another store.
    EngineAnswer analyse(FactorStore store, std::int32_t rightHands);
    EngineAnswer factorize();
    /// X with op(A)*X = B for all columns at once, elements as in A. By iteration where the strategy says so;
    /// with up to `steps` steps of refinement, where they are told.
    template <class Block>
    EngineAnswer solve(const Block& B, Block& X, TransposeMode op, std::optional<std::int32_t> steps = {})
    {
        if (steps) limitRefinement(*steps);
        return solve(B.Cols(), cellsOf(B).data(), cellsOf(X).data(), op, true);
    }
    /// The same of raw columns, refined as it is told.
    template <class Cell>
    EngineAnswer apply(std::int32_t columns, const Cell* b, Cell* x, TransposeMode op, Refining refining)
    {
        limitRefinement(refining == Refining::Once ? 1 : 0);
        return solve(columns, b, x, op, refining != Refining::Never);
    }

    FillInReducingMethod ordering() const
    {
        return static_cast<FillInReducingMethod>(parameters_[PardisoParameter::Ordering]);
    }
    int perturbedPivots() const { return parameters_[PardisoParameter::PerturbedPivots]; }
    int refinementSteps() const { return parameters_[PardisoParameter::RefinementSteps]; }
    /// Of a factorization, once it is analysed; nothing of a diagonal matrix.
    RoadCost cost() const;
    /// Of a solve for so many right-hand sides, once it is analysed.
    double solveOperations(std::int32_t rightHands) const;
    /// Of a symmetric or Hermitian matrix, by the signs of the pivots: that of the matrix that was
    /// factorized. None of other types, and none where the strategy lets the engine keep the factor of
    /// earlier values.
    std::optional<Inertia> inertia() const;
    /// Of L and U together; 0 where there are no factors, as of a diagonal matrix.
    int factorEntries() const { return std::max(parameters_[PardisoParameter::FactorNonZeros], 0); }

    FactorStore store() const
    {
        return parameters_[PardisoParameter::CoreMode] == 0 ? FactorStore::Memory : FactorStore::Files;
    }
    /// Of the whole run with the factor in memory, forecast by the analysis.
    double bytesInMemory() const { return kMegabyte * parameters_[PardisoParameter::InCoreMegabytes]; }
    /// Megabytes of it at least, with the factor in files.
    int leastMegabytes() const { return parameters_[PardisoParameter::OutOfCoreMegabytes]; }

private:
    explicit DirectRun(const DirectRun* host);
    void* const* handle() const { return guest_ ? guest_->Slots() : handle_.data(); }
    bool isDiagonal() const { return handle_[0] == nullptr; }

    /// How the engine reads op(A), which it knows as it stands and transposed: A^H*x = b is A'*y = conj(b)
    /// with x = conj(y), and where A^H or A' is A, the other of them is conj(A).
    struct Reading {
        bool transposed = false, conjugated = false;
    };
    Reading readingOf(TransposeMode op) const;
    void setTranspose(bool transposed);
    template <class Cell>
    EngineAnswer solve(std::int32_t columns, const Cell* b, Cell* x, TransposeMode op, bool refines);

    /// @throws as the listener of `WorkScope`
    EngineAnswer call(int phase, int nrhs, const void* b, void* x, double operations);
    EngineAnswer enter(int phase, int nrhs, const void* b, void* x);
    void limitRefinement(std::int32_t steps);

    std::array<void*, 64> handle_{};
    std::optional<SolveHandle> guest_{}; ///< in place of the handle
    std::array<int, PardisoParameters::kSlots> slots_{};
    PardisoParameters parameters_{slots_.data()};
    EngineMatrix matrix_;
    EngineSettings settings_;
    std::int64_t entries_ = 0; ///< of L, once it is analysed
};

} // namespace Velmar::Lintrix::detail::roads
