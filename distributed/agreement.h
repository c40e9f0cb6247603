#pragma once
/// @file
/// Several processes fail together or not at all.

#include <mpi.h>

#include <concepts>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>

namespace Velmar::Lintrix::Distributed {

/// What failed on one rank, as all of them learn it. what() is the same everywhere.
class DistributedFailure : public std::runtime_error {
public:
    DistributedFailure(int rank, const std::string& text) : std::runtime_error(text), rank_(rank) {}
    int Rank() const noexcept { return rank_; } ///< the lowest rank that failed

private:
    int rank_;
};

/// A communicator whose processes agree on failure after each phase. A process that alone left a phase by an
/// exception would leave the others waiting for it in the next exchange, so the rule is: what can fail stands
/// in `reach` and exchanges nothing; what exchanges stands outside and cannot fail.
class Agreement {
public:
    explicit Agreement(MPI_Comm comm) : comm_(comm)
    {
        MPI_Comm_rank(comm, &rank_);
        MPI_Comm_size(comm, &ranks_);
    }

    MPI_Comm comm() const noexcept { return comm_; }
    int rank() const noexcept { return rank_; }
    int ranks() const noexcept { return ranks_; }
    bool isRoot() const noexcept { return rank_ == 0; }

    /// Does this rank's work and waits for that of the others. @throws DistributedFailure on every rank,
    /// where the work of one failed
    template <std::invocable Work>
    void reach(Work work) const
    {
        Fault fault;
        try {
            work();
        } catch (const std::bad_alloc&) {
            fault.kind = Fault::Memory;
        } catch (const std::exception& failure) {
            fault.note(failure);
        }
        settle(fault);
    }
    /// The same of work that rank 0 does alone.
    template <std::invocable Work>
    void reachAtRoot(Work work) const
    {
        reach([&] {
            if (isRoot()) work();
        });
    }

    /// @name The largest, or smallest, of all ranks; a NaN counts as infinite
    /// @{
    double largest(double value) const;
    long long largest(long long value) const;
    long long smallest(long long value) const;
    /// @}
    /// Of all ranks, in the order of the ranks.
    long long sum(long long value) const;
    /// Of the ranks before this one.
    long long sumBefore(long long value) const;

private:
    /// Takes no memory, which may be what failed.
    struct Fault {
        enum Kind { None, Memory, Told } kind = None;
        char text[1024] = "";
        void note(const std::exception& failure) noexcept;
    };
    void settle(Fault& fault) const;

    MPI_Comm comm_;
    int rank_ = 0, ranks_ = 1;
};

} // namespace Velmar::Lintrix::Distributed
