#include <distributed/own_rows.h>

#include <algorithm>
#include <climits>
#include <numeric>
#include <stdexcept>
#include <type_traits>

namespace Velmar::Lintrix::Distributed {

namespace {

template <class Cell>
MPI_Datatype typeOf()
{
    return std::is_same_v<Cell, double> ? MPI_DOUBLE : MPI_C_DOUBLE_COMPLEX;
}

/// An entry as so many bytes, for the length of an exchange.
template <class Cell>
class EntryType {
public:
    EntryType()
    {
        MPI_Type_contiguous(sizeof(Entry<Cell>), MPI_BYTE, &type_);
        MPI_Type_commit(&type_);
    }
    ~EntryType() { MPI_Type_free(&type_); }
    EntryType(const EntryType&) = delete;
    EntryType& operator=(const EntryType&) = delete;
    MPI_Datatype get() const noexcept { return type_; }

private:
    MPI_Datatype type_ = MPI_DATATYPE_NULL;
};

/// Where each of so many pieces begins, and behind the last where they end; all are to fit MPI's counts.
std::vector<int> startsOf(const std::vector<int>& counts)
{
    if (std::accumulate(counts.begin(), counts.end(), std::int64_t{0}) > INT_MAX)
        throw std::length_error("more than 2147483647 entries on one rank: take more ranks");
    std::vector<int> starts(counts.size() + 1);
    std::partial_sum(counts.begin(), counts.end(), starts.begin() + 1);
    return starts;
}

/// What goes to which rank.
template <class Cell>
struct Parcels {
    std::vector<int> counts, starts;
    std::vector<Entry<Cell>> entries;
};

template <class Cell>
Parcels<Cell> parcelsFrom(const RowLayout& layout, int ranks, const std::vector<Entry<Cell>>& entries)
{
    std::vector<std::int64_t> sizes(static_cast<std::size_t>(ranks));
    for (const Entry<Cell>& entry : entries) ++sizes[static_cast<std::size_t>(layout.ownerOf(entry.row))];
    Parcels<Cell> parcels;
    for (const std::int64_t size : sizes)
        parcels.counts.push_back(static_cast<int>(std::min<std::int64_t>(size, INT_MAX)));
    parcels.starts = startsOf(parcels.counts);
    parcels.entries.resize(entries.size());
    std::vector<int> next = parcels.starts;
    for (const Entry<Cell>& entry : entries) {
        int& place = next[static_cast<std::size_t>(layout.ownerOf(entry.row))];
        parcels.entries[static_cast<std::size_t>(place++)] = entry;
    }
    return parcels;
}

template <class Cell>
OwnRows<Cell> compressed(std::int32_t size, std::int32_t first, std::int32_t count,
                         std::vector<Entry<Cell>>& entries)
{
    std::ranges::stable_sort(entries, [](const Entry<Cell>& a, const Entry<Cell>& b) {
        return a.row != b.row ? a.row < b.row : a.col < b.col;
    });
    OwnRows<Cell> rows{size, first};
    rows.starts.assign(static_cast<std::size_t>(count) + 1, 0);
    rows.columns.reserve(entries.size());
    rows.values.reserve(entries.size());
    for (std::size_t k = 0; k < entries.size(); ++k) {
        const Entry<Cell>& entry = entries[k];
        if (k > 0 && entries[k - 1].row == entry.row && entries[k - 1].col == entry.col) {
            rows.values.back() += entry.value;
            continue;
        }
        rows.columns.push_back(entry.col);
        rows.values.push_back(entry.value);
        ++rows.starts[static_cast<std::size_t>(entry.row - first) + 1];
    }
    std::partial_sum(rows.starts.begin(), rows.starts.end(), rows.starts.begin());
    return rows;
}

} // namespace

RowLayout RowLayout::even(std::int32_t size, int ranks)
{
    RowLayout layout;
    for (int rank = 0; rank <= ranks; ++rank)
        layout.firsts_.push_back(static_cast<std::int32_t>(std::int64_t{size} * rank / ranks));
    return layout;
}

RowLayout RowLayout::of(const Agreement& all, std::int32_t size, std::int32_t first, std::int32_t count)
{
    RowLayout layout;
    all.reach([&] { layout.firsts_.resize(static_cast<std::size_t>(all.ranks()) + 1); });
    MPI_Allgather(&first, 1, MPI_INT32_T, layout.firsts_.data(), 1, MPI_INT32_T, all.comm());
    layout.firsts_.back() = static_cast<std::int32_t>(all.largest(static_cast<long long>(size)));
    all.reach([&] {
        if (size < 1 || size != layout.size()) throw std::invalid_argument("the ranks name different sizes");
        if (layout.first(0) != 0 || count < 0 || std::int64_t{first} + count != layout.first(all.rank() + 1))
            throw std::invalid_argument("the rows of rank " + std::to_string(all.rank()) +
                                        " are not those between its neighbours'");
    });
    return layout;
}

int RowLayout::ownerOf(std::int32_t row) const
{
    return static_cast<int>(std::ranges::upper_bound(firsts_, row) - firsts_.begin()) - 1;
}

std::vector<int> RowLayout::counts() const
{
    std::vector<int> counts;
    for (std::size_t rank = 0; rank + 1 < firsts_.size(); ++rank)
        counts.push_back(firsts_[rank + 1] - firsts_[rank]);
    return counts;
}

template <class Cell>
void RowLayout::gather(const Agreement& all, std::int32_t columns, const Cell* own, Cell* whole) const
{
    std::vector<int> lengths;
    all.reach([&] { lengths = counts(); });
    const std::ptrdiff_t mine = count(all.rank()), rows = all.isRoot() ? size() : 0;
    for (std::int32_t j = 0; j < columns; ++j)
        MPI_Gatherv(own + mine * j, static_cast<int>(mine), typeOf<Cell>(), whole + rows * j, lengths.data(),
                    firsts_.data(), typeOf<Cell>(), 0, all.comm());
}

template <class Cell>
void RowLayout::scatter(const Agreement& all, std::int32_t columns, const Cell* whole, Cell* own) const
{
    std::vector<int> lengths;
    all.reach([&] { lengths = counts(); });
    const std::ptrdiff_t mine = count(all.rank()), rows = all.isRoot() ? size() : 0;
    for (std::int32_t j = 0; j < columns; ++j)
        MPI_Scatterv(whole + rows * j, lengths.data(), firsts_.data(), typeOf<Cell>(), own + mine * j,
                     static_cast<int>(mine), typeOf<Cell>(), 0, all.comm());
}

template <class Cell>
void broadcast(const Agreement& all, std::int32_t size, std::int32_t columns, Cell* cells)
{
    for (std::int32_t j = 0; j < columns; ++j)
        MPI_Bcast(cells + std::ptrdiff_t{size} * j, size, typeOf<Cell>(), 0, all.comm());
}

template <class Cell>
OwnRows<Cell> rowsFrom(const Agreement& all, const RowLayout& layout, std::vector<Entry<Cell>> entries)
{
    Parcels<Cell> sent;
    std::vector<int> counts, starts;
    std::vector<Entry<Cell>> own;
    all.reach([&] {
        sent = parcelsFrom(layout, all.ranks(), entries);
        std::vector<Entry<Cell>>().swap(entries);
        counts.resize(static_cast<std::size_t>(all.ranks()));
    });
    MPI_Alltoall(sent.counts.data(), 1, MPI_INT, counts.data(), 1, MPI_INT, all.comm());
    all.reach([&] {
        starts = startsOf(counts);
        own.resize(static_cast<std::size_t>(starts.back()));
    });
    const EntryType<Cell> type;
    MPI_Alltoallv(sent.entries.data(), sent.counts.data(), sent.starts.data(), type.get(), own.data(),
                  counts.data(), starts.data(), type.get(), all.comm());
    OwnRows<Cell> rows;
    all.reach(
        [&] { rows = compressed(layout.size(), layout.first(all.rank()), layout.count(all.rank()), own); });
    return rows;
}

using Complex = std::complex<double>;
template void RowLayout::gather(const Agreement&, std::int32_t, const double*, double*) const;
template void RowLayout::gather(const Agreement&, std::int32_t, const Complex*, Complex*) const;
template void RowLayout::scatter(const Agreement&, std::int32_t, const double*, double*) const;
template void RowLayout::scatter(const Agreement&, std::int32_t, const Complex*, Complex*) const;
template void broadcast(const Agreement&, std::int32_t, std::int32_t, double*);
template void broadcast(const Agreement&, std::int32_t, std::int32_t, Complex*);
template OwnRows<double> rowsFrom(const Agreement&, const RowLayout&, std::vector<Entry<double>>);
template OwnRows<Complex> rowsFrom(const Agreement&, const RowLayout&, std::vector<Entry<Complex>>);

} // namespace Velmar::Lintrix::Distributed
