#include <distributed/direct_engine.h>

#include <dmumps_c.h>
#include <zmumps_c.h>

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::Distributed {

namespace {

template <class Cell>
struct Mumps {
    using Structure = DMUMPS_STRUC_C;
    using Number = double;
    static void call(Structure& structure) { dmumps_c(&structure); }
};

template <>
struct Mumps<std::complex<double>> {
    using Structure = ZMUMPS_STRUC_C;
    using Number = mumps_double_complex;
    static void call(Structure& structure) { zmumps_c(&structure); }
};

constexpr int kBegin = -1, kEnd = -2, kAnalyse = 1, kFactorize = 2, kSolve = 3;
constexpr double kMillion = 1e6; // the engine's sizes in bytes, and in entries below zero

/// Of the workspace beyond the forecast, in per cent: pivots are delayed, and fronts grow.
constexpr int kRoomForDelays = 30, kMostRoom = 4000;

bool isSingular(int code)
{
    return code == -6 || code == -10;
}

bool wantsMoreRoom(int code)
{
    constexpr int codes[] = {-8, -9, -14, -15, -17, -20};
    return std::ranges::find(codes, code) != std::end(codes);
}

/// INFOG counts entries beyond the range of an int in millions, below zero.
std::int64_t entriesFrom(int count)
{
    return count >= 0 ? count : static_cast<std::int64_t>(-static_cast<double>(count) * kMillion);
}

/// The engine's ordering by INFOG(7): approximate minimum degree or fill, or a dissection.
FillInReducingMethod orderingFrom(int code)
{
    constexpr int byDegree[] = {0, 2, 6};
    return std::ranges::find(byDegree, code) != std::end(byDegree) ? FillInReducingMethod::MinimumDegree
                                                                   : FillInReducingMethod::NestedDissection;
}

} // namespace

template <class Cell>
struct DirectEngine<Cell>::Instance {
    typename Mumps<Cell>::Structure mumps{};
    std::vector<MUMPS_INT> rows, cols; ///< from 1, of this rank's entries
    std::vector<Cell> values;

    int& control(int number) { return mumps.icntl[number - 1]; }   ///< ICNTL(number)
    int told(int number) const { return mumps.infog[number - 1]; } ///< INFOG(number)

    void takeEntries(const OwnRows<Cell>& own, bool symmetric)
    {
        for (std::int32_t i = 0; i < own.Count(); ++i)
            for (std::int64_t k = own.starts[static_cast<std::size_t>(i)];
                 k < own.starts[static_cast<std::size_t>(i) + 1]; ++k) {
                const std::int32_t row = own.first + i, col = own.columns[static_cast<std::size_t>(k)];
                if (symmetric && col < row) continue;
                rows.push_back(row + 1);
                cols.push_back(col + 1);
                values.push_back(own.values[static_cast<std::size_t>(k)]);
            }
    }
};

template <class Cell>
DirectEngine<Cell>::DirectEngine(const Agreement& all, const OwnRows<Cell>& rows, bool symmetric) : all_(all)
{
    all.reach([&] {
        instance_ = std::make_unique<Instance>();
        instance_->takeEntries(rows, symmetric);
    });
    auto& mumps = instance_->mumps;
    mumps.comm_fortran = MPI_Comm_c2f(all.comm());
    mumps.par = 1; // rank 0 works, too
    mumps.sym = symmetric ? 2 : 0;
    if (const int code = run(kBegin); code < 0) {
        instance_.reset(); // it has not begun, and cannot be ended
        throw DistributedFailure(0, engineFaultInWords(code, 0));
    }
    for (int unit = 1; unit <= 4; ++unit) instance_->control(unit) = unit == 4 ? 0 : -1; // prints nothing
    instance_->control(14) = kRoomForDelays;
    instance_->control(18) = 3; // each rank brings its entries
    mumps.n = rows.size;
    mumps.nnz_loc = static_cast<MUMPS_INT8>(instance_->values.size());
    mumps.irn_loc = instance_->rows.data();
    mumps.jcn_loc = instance_->cols.data();
    mumps.a_loc = reinterpret_cast<typename Mumps<Cell>::Number*>(instance_->values.data());
}

template <class Cell>
DirectEngine<Cell>::~DirectEngine()
{
    run(kEnd);
}

template <class Cell>
int DirectEngine<Cell>::run(int job)
{
    if (!instance_) return 0;
    instance_->mumps.job = job;
    Mumps<Cell>::call(instance_->mumps);
    return instance_->told(1);
}

template <class Cell>
void DirectEngine<Cell>::fail(int code) const
{
    throw DistributedFailure(0, engineFaultInWords(code, instance_->told(2)));
}

template <class Cell>
DistributedForecast DirectEngine<Cell>::analyse()
{
    if (const int code = run(kAnalyse); code < 0) fail(code);
    const auto& mumps = instance_->mumps;
    const auto bytes = [](int millions) {
        return std::max(millions, 1) * kMillion;
    }; // a start of one is told as 0
    return {bytes(mumps.info[15 - 1]), bytes(instance_->told(16)),       bytes(instance_->told(17)),
            mumps.rinfog[1 - 1],       entriesFrom(instance_->told(20)), orderingFrom(instance_->told(7))};
}

/// Its forecast holds the room beyond, which would double.
template <class Cell>
bool DirectEngine<Cell>::mayGrow(double bytes)
{
    const double room = instance_->control(14) / 100.0;
    const double grown =
        instance_->mumps.info[15 - 1] * kMillion * (1.0 + 2.0 * room) / (1.0 + kRoomForDelays / 100.0);
    return all_.smallest(static_cast<long long>(grown <= bytes && room < kMostRoom / 100.0)) != 0;
}

template <class Cell>
Factorization DirectEngine<Cell>::factorize(double bytes)
{
    int code = run(kFactorize);
    while (wantsMoreRoom(code) && mayGrow(bytes)) {
        instance_->control(14) *= 2;
        code = run(kFactorize);
    }
    if (isSingular(code)) return Factorization::Singular;
    if (code < 0) fail(code);
    return Factorization::Done;
}

template <class Cell>
std::int64_t DirectEngine<Cell>::factorEntries() const
{
    return entriesFrom(instance_->told(29));
}

template <class Cell>
void DirectEngine<Cell>::solve(std::int32_t columns, Cell* cells, bool transposed)
{
    auto& mumps = instance_->mumps;
    mumps.rhs = reinterpret_cast<typename Mumps<Cell>::Number*>(cells);
    mumps.nrhs = columns;
    mumps.lrhs = mumps.n;
    instance_->control(9) = transposed ? 0 : 1;
    if (const int code = run(kSolve); code < 0) fail(code);
}

std::string engineFaultInWords(int code, int detail)
{
    switch (code) {
    case -5:
    case -7:
    case -13:
    case -22:
        return "there is not enough memory for the analysis or the factor on one of the ranks";
    case -8:
    case -9:
    case -11:
    case -14:
    case -15:
    case -17:
    case -19:
    case -20:
        return "so many pivots are delayed that the factor outgrows the memory of a rank";
    case -6:
    case -10:
        return "the matrix is singular";
    case -51:
    case -52:
        return "the graph of the matrix is too large for the ordering";
    case -53:
        return "the parts of the matrix on the ranks do not fit each other";
    default:
        return "the distributed solver failed with code " + std::to_string(code) + ", " +
               std::to_string(detail);
    }
}

template class DirectEngine<double>;
template class DirectEngine<std::complex<double>>;

} // namespace Velmar::Lintrix::Distributed
