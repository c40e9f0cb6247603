#pragma once
/// @file
/// The distributed direct solver, MUMPS: an instance of it and what its numbers mean.
///
/// Amestoy, Duff, L'Excellent, Koster, "A fully asynchronous multifrontal solver using distributed dynamic
/// scheduling", SIAM J. Matrix Anal. Appl. 23 (2001).

#include <distributed/own_rows.h>

#include <lintrix/foundation/enumerations.h>

#include <complex>
#include <cstdint>
#include <memory>
#include <string>

namespace Velmar::Lintrix::Distributed {

/// What a factorization is going to take, before any number is computed.
struct DistributedForecast {
    double bytesHere = 0.0;    ///< on this rank
    double bytesLargest = 0.0; ///< on the rank that takes most
    double bytesAll = 0.0;     ///< on all of them
    double operations = 0.0;
    std::int64_t factorEntries = 0;
    FillInReducingMethod ordering = FillInReducingMethod::NestedDissection;
};

/// How a factorization ended.
enum class Factorization { Done, Singular };

/// All members are called by all ranks together, and fail on all of them with the same DistributedFailure.
template <class Cell>
class DirectEngine {
public:
    /// `symmetric`: A = A^T, also of a complex matrix; of its rows the upper triangle is taken.
    DirectEngine(const Agreement& all, const OwnRows<Cell>& rows, bool symmetric);
    ~DirectEngine();
    DirectEngine(const DirectEngine&) = delete;
    DirectEngine& operator=(const DirectEngine&) = delete;

    DistributedForecast analyse();
    /// Within so many bytes on this rank, where more than its forecast are wanted for delayed pivots.
    Factorization factorize(double bytes);
    std::int64_t factorEntries() const;

    /// A*X = B, or A^T*X = B: columns of all rows on rank 0, where X takes the place of B.
    void solve(std::int32_t columns, Cell* cells, bool transposed = false);

private:
    struct Instance;
    /// One of the engine's jobs; its INFOG(1).
    int run(int job);
    [[noreturn]] void fail(int code) const;
    /// Whether twice the room for delayed pivots fits into so many bytes, on every rank.
    bool mayGrow(double bytes);

    const Agreement& all_;
    std::unique_ptr<Instance> instance_;
};

/// What INFOG(1) and INFOG(2) of a failed job say.
std::string engineFaultInWords(int code, int detail);

} // namespace Velmar::Lintrix::Distributed
