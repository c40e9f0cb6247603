// What two ranks pay for an exchange, and what one computes meanwhile: rates that a projection rests on.
//
//     mpirun -np 2 ranks_exchange
//
// Told on one line of JSON: microseconds of an empty message one way, bytes a second of a message of 8 MB,
// and the operations a second of a product of matrices of a front's size, on one thread of each rank at once.

#include <lintrix/services/blas.h>

#include <mpi.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include <omp.h>

namespace {

/// Seconds of a message of so many bytes one way: the least of several rounds there and back.
double secondsOfMessage(int rank, int bytes, int rounds)
{
    std::vector<char> message(static_cast<std::size_t>(bytes) + 1);
    double least = 1e300;
    for (int round = 0; round < rounds; ++round) {
        MPI_Barrier(MPI_COMM_WORLD);
        const double start = MPI_Wtime();
        for (const int sender : {0, 1}) {
            if (rank == sender)
                MPI_Send(message.data(), bytes, MPI_CHAR, 1 - sender, 0, MPI_COMM_WORLD);
            else if (rank == 1 - sender)
                MPI_Recv(message.data(), bytes, MPI_CHAR, sender, 0, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
        }
        least = std::min(least, (MPI_Wtime() - start) / 2);
    }
    return least;
}

double operationsPerSecond(int n, int rounds)
{
    const auto cells = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
    std::vector<double> a(cells, 1.0), b(cells, 0.5), c(cells, 0.0);
    double least = 1e300;
    for (int round = 0; round < rounds; ++round) {
        MPI_Barrier(MPI_COMM_WORLD);
        const double start = MPI_Wtime();
        Velmar::Lintrix::detail::blas::gemm('N', 'N', n, n, n, 1.0, a.data(), n, b.data(), n, 0.0, c.data(),
                                            n);
        least = std::min(least, MPI_Wtime() - start);
    }
    return 2.0 * n * n * n / least;
}

} // namespace

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
    int rank = 0, ranks = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &ranks);
    omp_set_num_threads(1);
    if (ranks == 2) {
        constexpr int kMessage = 8 << 20, kFront = 1000;
        const double latency = secondsOfMessage(rank, 0, 2000);
        const double message = secondsOfMessage(rank, kMessage, 30);
        double rate = operationsPerSecond(kFront, 10);
        MPI_Allreduce(MPI_IN_PLACE, &rate, 1, MPI_DOUBLE, MPI_MIN, MPI_COMM_WORLD);
        if (rank == 0)
            std::printf("{\"latency_us\": %.2f, \"bytes_per_s\": %.3e, \"operations_per_s\": %.3e}\n",
                        1e6 * latency, kMessage / message, rate);
    } else if (rank == 0) {
        std::fprintf(stderr, "usage: mpirun -np 2 ranks_exchange\n");
    }
    MPI_Finalize();
    return ranks == 2 ? 0 : 2;
}
