#include <distributed/agreement.h>

#include <lintrix/foundation/failures.h>

#include <cmath>
#include <cstdio>
#include <limits>

namespace Velmar::Lintrix::Distributed {

namespace {

long long reduced(MPI_Comm comm, long long value, MPI_Op operation)
{
    MPI_Allreduce(MPI_IN_PLACE, &value, 1, MPI_LONG_LONG, operation, comm);
    return value;
}

} // namespace

void Agreement::Fault::note(const std::exception& failure) noexcept
{
    kind = dynamic_cast<const NotEnoughMemoryException*>(&failure) != nullptr ? Memory : Told;
    std::snprintf(text, sizeof text, "%s", failure.what());
}

void Agreement::settle(Fault& fault) const
{
    int first = fault.kind == Fault::None ? ranks_ : rank_;
    MPI_Allreduce(MPI_IN_PLACE, &first, 1, MPI_INT, MPI_MIN, comm_);
    if (first == ranks_) return;
    if (rank_ == first && fault.kind == Fault::Memory)
        std::snprintf(fault.text, sizeof fault.text, "there is not enough memory on rank %d", rank_);
    MPI_Bcast(fault.text, sizeof fault.text, MPI_CHAR, first, comm_);
    throw DistributedFailure(first, fault.text);
}

double Agreement::largest(double value) const
{
    if (std::isnan(value)) value = std::numeric_limits<double>::infinity();
    MPI_Allreduce(MPI_IN_PLACE, &value, 1, MPI_DOUBLE, MPI_MAX, comm_);
    return value;
}

long long Agreement::largest(long long value) const
{
    return reduced(comm_, value, MPI_MAX);
}

long long Agreement::smallest(long long value) const
{
    return reduced(comm_, value, MPI_MIN);
}

long long Agreement::sum(long long value) const
{
    return reduced(comm_, value, MPI_SUM);
}

long long Agreement::sumBefore(long long value) const
{
    long long before = 0;
    MPI_Exscan(&value, &before, 1, MPI_LONG_LONG, MPI_SUM, comm_);
    return rank_ == 0 ? 0 : before; // MPI leaves it undefined there
}

} // namespace Velmar::Lintrix::Distributed
