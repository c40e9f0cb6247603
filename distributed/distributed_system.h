#pragma once
/// @file
/// A sparse linear system on several machines: each rank brings its rows.

#include <distributed/direct_engine.h>
#include <distributed/own_products.h>

#include <lintrix/systems/linear_system.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::Distributed {

struct DistributedOptions {
    /// A = A^T, which is not looked for. A Hermitian complex matrix is not: it is factorized as unsymmetric,
    /// since the engine has no factorization for it.
    bool symmetric = false;
    std::optional<double> memory{};                   ///< bytes that a rank may hold
    int threads = 1;                                  ///< that BLAS uses on this rank
    std::function<void(std::string_view)> stepDone{}; ///< "analyse", "factorize", "solve", "check"
};

template <class Cell>
struct DistributedAnswer {
    SystemAnswer<Cell> told; ///< the same on every rank, without its `x`
    std::vector<Cell> x{};   ///< this rank's rows of the solution, column by column; none without a factor
};

/// A*X = B with a square A, of which each rank has a block of rows, in the order of the ranks; a rank may
/// have none. `Cell` is double or std::complex<double>.
///
/// Every rank calls every member, and all of them fail together: with DistributedFailure, whatever it was
/// that failed, and wherever. Destruction is a call of all ranks, too.
///
/// A solve takes, on every rank, whole vectors: see `VectorBytes`. The verdict is that of
/// `LinearSystem`, by the same limits: residuals in twice the precision, a known solution solved for beside,
/// and the size of the last correction.
template <class Cell>
class DistributedSystem {
public:
    /// The communicator is duplicated. @throws DistributedFailure  rows that do not fit each other, columns
    /// out of range, elements that are not finite
    DistributedSystem(MPI_Comm comm, OwnRows<Cell> rows, DistributedOptions options = {});
    ~DistributedSystem();
    DistributedSystem(const DistributedSystem&) = delete;
    DistributedSystem& operator=(const DistributedSystem&) = delete;

    std::int32_t Size() const noexcept;
    const RowLayout& Layout() const noexcept;

    /// Analyses, the first time. None of a matrix with a row or a column of zeros, of which nothing is
    /// factorized.
    const std::optional<DistributedForecast>& Forecast();
    /// What a solve of so many columns holds on every rank beside the factor, which no forecast counts: four
    /// whole vectors for each column and for the known solution beside them.
    double VectorBytes(std::int32_t columns = 1) const noexcept;

    /// B by rows, each rank's own: column by column, as many columns everywhere. Factorizes, the first time.
    /// @throws DistributedFailure  also where the forecast exceeds the memory that is allowed or left
    DistributedAnswer<Cell> Solve(std::span<const Cell> rows, std::int32_t columns = 1);
    /// Those of a solution that is known, with its error.
    DistributedAnswer<Cell> SolveKnown(std::span<const Cell> rows, std::int32_t columns = 1);

private:
    class Work;
    std::unique_ptr<Work> work_;
};

} // namespace Velmar::Lintrix::Distributed
