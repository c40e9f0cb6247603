#include <lintrix/engine/factorization/elimination.h>

#include <lintrix/engine/call/division.h>
#include <lintrix/engine/factorization/panel_solve.h>
#include <lintrix/services/lapack.h>
#include <lintrix/services/processor_family.h>

#include <algorithm>
#include <complex>

#include <sched.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kEntriesAhead = 16;
constexpr int kMostByNumbers = 16; // rows of a single column that need no vectors

} // namespace

double multiplications(const FactorStructure& structure) noexcept
{
    double sum = 0.0;
    for (int J = 0; J < structure.supernodes(); ++J) {
        const double width = structure.width(J), below = structure.height(J) - width;
        sum += ownMultiplications(structure, J) + updateMultiplications(width, below, below);
    }
    return sum;
}

bool EliminationTeam::waitFor(int J) const
{
    constexpr int kSpins = 2000; // then let another thread have the core
    for (int spins = 0; !isFinished(J); ++spins) {
        if (hasFailed()) return false;
        processor_family::pause();
        if (spins > kSpins) sched_yield();
    }
    return true;
}

template <class T>
Eliminator<T>::Eliminator(const FactorPlan& plan, const FactorRules& rules, const T* values,
                          const Factor<T>& factor, EliminationTeam& team)
    : plan_(plan), structure_(plan.structure), rules_(rules), values_(values), factor_(factor), team_(team),
      subtractColumn_(columnUpdate<T>()), progress_(team.progress, plan.threads), work_(team.work),
      indexOf_(Scratch<int>::uninitialised(EliminationSizes(plan).indices)),
      rows_(Scratch<int>::uninitialised(EliminationSizes(plan).rows)),
      buffer_(Scratch<T>::uninitialised(EliminationSizes(plan).buffer)),
      scaled_(Scratch<T>::uninitialised(EliminationSizes(plan).scaled))
{
}

template <class T>
void Eliminator<T>::work(int thread, PositionRange within, Entries entries)
{
    const auto runs = static_cast<int>(plan_.runs.size());
    for (int run = team_.takeRun(); run < runs; run = team_.takeRun()) {
        const PositionRange own = plan_.runs[static_cast<std::size_t>(run)];
        const int last = std::min(own.last, within.last);
        for (int J = std::max(own.first, within.first), end; J <= last; J = end + 1) {
            end = lastTogether(structure_, J, last, kPanelsTogether);
            if (team_.hasFailed() || !eliminate(thread, J, end, within.first, entries)) return;
        }
    }
}

template <class T>
bool Eliminator<T>::eliminate(int thread, int first, int last, int firstSource, Entries entries)
{
    if (entries == Entries::ToBring) {
        for (int J = first; J <= last; ++J) gather(J);
    }
    indexRowsOf(first);
    return first == last ? eliminateAlone(thread, first, firstSource)
                         : eliminateTogether(thread, first, last, firstSource);
}

// Panels worked at together; each but the last is a descendant of those behind it.
template <class T>
bool Eliminator<T>::eliminateTogether(int thread, int first, int last, int firstSource)
{
    MergedDescendants descendants(plan_.descendants, first, last, {firstSource, last});
    while (descendants.next()) {
        const int K = descendants.source();
        if (!(K < first ? team_.waitFor(K) : complete(thread, K))) return false;
        update(first, last, descendants, factor_);
        if (team_.hasFailed()) return false;
    }
    return complete(thread, last);
}

// The same for one panel, as most of those of networks are.
template <class T>
bool Eliminator<T>::eliminateAlone(int thread, int J, int firstSource)
{
    const Panel panel = panelOf(J);
    for (const Descendant& descendant : plan_.descendants.of(J, {firstSource, J})) {
        if (!team_.waitFor(descendant.source)) return false;
        updateAlone(J, panel, descendant);
        if (team_.hasFailed()) return false;
    }
    return complete(thread, J);
}

template <class T>
void Eliminator<T>::takeUpdates(int first, int last, PositionRange sources, const Factor<T>& from)
{
    MergedDescendants descendants(plan_.descendants, first, last, sources);
    if (!descendants.next()) return;
    indexRowsOf(first);
    do {
        update(first, last, descendants, from);
    } while (!team_.hasFailed() && descendants.next());
}

template <class T>
void Eliminator<T>::indexRowsOf(int J)
{
    const std::span<const int> rows = structure_.rowsOf(J);
    for (int i = 0; i < structure_.height(J); ++i) indexOf_[rows[i]] = i;
}

template <class T>
bool Eliminator<T>::complete(int thread, int J)
{
    if (!factorBlock(J)) return false;
    team_.finish(J);
    if (!progress_.add(thread, std::int64_t{structure_.height(J)} * structure_.width(J))) {
        team_.fail(stopped());
        return false;
    }
    return hasDone(ownMultiplications(structure_, J));
}

template <class T>
bool Eliminator<T>::hasDone(double multiplications)
{
    if (work_.add(multiplications)) return true;
    team_.fail(stopped());
    return false;
}

template <class T>
void Eliminator<T>::gather(int J)
{
    const int height = structure_.height(J), width = structure_.width(J);
    T* const l = lower(J);
    std::fill_n(l, std::ptrdiff_t{height} * width, T(0));
    T* const u = unsymmetric() ? upper(J) : l;
    if (unsymmetric()) std::fill_n(u, std::ptrdiff_t{height - width} * width, T(0));
    if (width == 1) {
        bringColumn(J, l, u);
    } else {
        bringEntries(J, l, u);
    }
}

// The entry at k of the maps. They lie all over A: those to come, of this and the next supernodes, are
// brought near meanwhile.
template <class T>
T Eliminator<T>::entryAt(int k) const
{
    const std::span<const int> source = plan_.maps.source;
    const auto last = static_cast<int>(source.size()) - 1;
    __builtin_prefetch(values_ + source[std::min(k + kEntriesAhead, last)]);
    return values_[source[k]];
}

template <class T>
void Eliminator<T>::bringEntries(int J, T* l, T* u) const
{
    const int width = structure_.width(J), first = structure_.starts[J];
    const int* const rows = structure_.rowsOf(J).data();
    const double *const row = plan_.scaling.row.data(), *const column = plan_.scaling.column.data();
    const EntryMaps& maps = plan_.maps;
    for (int k = maps.firstEntry[J]; k < maps.firstEntry[J + 1]; ++k) {
        const bool mirrored = maps.place[k] < 0; // in U, or in the lower triangle for the upper
        const int cell = mirrored ? ~maps.place[k] : maps.place[k];
        T value = entryAt(k);
        if (row != nullptr) {
            const bool inU = mirrored && unsymmetric(); // a mirrored entry's factors are the same ones
            const int above = inU ? width : 0, ld = structure_.height(J) - above, behind = cell / ld;
            const int fromList = rows[above + cell - behind * ld], inBlock = first + behind;
            value = inU ? scaledBy(value, column[fromList], row[inBlock])
                        : scaledBy(value, column[inBlock], row[fromList]);
        }
        (mirrored ? u : l)[cell] = conjugate(value, mirrored && rules_.hermitian);
    }
}

// The same for a panel of one column, as those of networks are: places are rows.
template <class T>
void Eliminator<T>::bringColumn(int J, T* l, T* u) const
{
    const int at = structure_.starts[J];
    const int *const rows = structure_.rowsOf(J).data(), *const place = plan_.maps.place.data();
    const double *const row = plan_.scaling.row.data(), *const column = plan_.scaling.column.data();
    const bool isScaled = row != nullptr, isUnsymmetric = unsymmetric(), isHermitian = rules_.hermitian;
    const int end = plan_.maps.firstEntry[J + 1];
    for (int k = plan_.maps.firstEntry[J]; k < end; ++k) {
        const T value = entryAt(k);
        if (place[k] < 0 && isUnsymmetric) {
            const int i = ~place[k];
            u[i] = isScaled ? scaledBy(value, column[rows[i + 1]], row[at]) : value;
            continue;
        }
        const bool mirrored = place[k] < 0;
        const int i = mirrored ? ~place[k] : place[k];
        const T scaled = isScaled ? scaledBy(value, column[at], row[rows[i]]) : value;
        l[i] = conjugate(scaled, mirrored && isHermitian);
    }
}

// Where the rows of K below, from `from` on, stand in the list of the first panel at work. @return  how many
template <class T>
int Eliminator<T>::placeRows(int K, int from)
{
    const std::span<const int> rows = structure_.rowsBelow(K);
    const auto m = static_cast<int>(rows.size()) - from;
    const int* const rowsOfK = rows.data() + from;
    int* const row = rows_.get();
    for (int i = 0; i < m; ++i) row[i] = indexOf_[rowsOfK[i]];
    return m;
}

// The panels lose the product of K's rows with those of them that are columns of the panels.
template <class T>
void Eliminator<T>::update(int first, int last, const MergedDescendants& descendant, const Factor<T>& factor)
{
    const int K = descendant.source(), from = descendant.firstRow(), m = placeRows(K, from);
    const Target target = targetFor(first, last, descendant);
    if (hasDone(updateMultiplications(structure_.width(K), m, target.columns)))
        subtract(K, from, m, target, factor);
}

template <class T>
void Eliminator<T>::updateAlone(int J, const Panel& panel, const Descendant& descendant)
{
    const int K = descendant.source, from = descendant.first, columns = descendant.last - from;
    const int width = structure_.width(K), m = structure_.height(K) - width - from;
    if (!hasDone(updateMultiplications(width, m, columns))) return;
    if (width == 1 && columns == 1 && m <= kMostByNumbers) return updateColumn(panel, K, from, m);
    placeRows(K, from);
    Target target;
    addPanel(target, J, J, columns);
    subtract(K, from, m, target, factor_);
}

// One column gives to one.
template <class T>
void Eliminator<T>::updateColumn(const Panel& panel, int K, int from, int m)
{
    const int *const rows = structure_.rows.data() + structure_.rowStarts[K] + 1 + from, *const place =
                                                                                             indexOf_.get();
    const std::ptrdiff_t column = place[rows[0]];
    const T* const l = lower(K) + 1 + from;
    T* const cells = panel.lower + panel.height * column;
    if (panel.upper == nullptr) {
        const bool isCholesky = rules_.method == Method::Cholesky;
        const T other = conjugate(*l, isCholesky || rules_.hermitian);
        const T factor = isCholesky ? other : product(*lower(K), other);
        return subtractColumn_(l, nullptr, factor, rows, m, {cells, nullptr, place});
    }
    const T* const u = upper(K) + from;
    T* const upperCells = panel.upper + (panel.height - panel.width) * column - panel.width;
    subtractColumn_(l, u, *u, rows, m, {cells, upperCells, place});
}

template <class T>
void Eliminator<T>::subtract(int K, int from, int m, const Target& target, const Factor<T>& factor)
{
    const int height = structure_.height(K), width = structure_.width(K), below = height - width;
    const int* const row = rows_.get();
    const T* const l = lowerOf(factor, K) + width + from;
    if (!unsymmetric()) {
        const T* b = l;
        int ldb = height;
        if (rules_.method != Method::Cholesky || kComplex) {
            prepareRight(K, lowerOf(factor, K), l, height, target.columns);
            b = scaled_.get();
            ldb = target.columns;
        }
        subtractProduct<T>({l, height, b, ldb, m, target.columns, width, width + from},
                           {target.lowerPanels(), row}, true, buffer_.get());
        return;
    }
    const T* const u = upperOf(factor, K) + from;
    subtractProduct<T>({l, height, u, below, m, target.columns, width, width + from},
                       {target.lowerPanels(), row}, false, buffer_.get());
    subtractProduct<T>({u, below, l, height, m, target.columns, width, from}, {target.upperPanels(), row},
                       false, buffer_.get());
}

template <class T>
typename Eliminator<T>::Target Eliminator<T>::targetFor(int first, int last,
                                                        const MergedDescendants& descendant) const
{
    Target target;
    for (int J = first; J <= last; ++J) {
        if (const int columns = descendant.columns(J - first); columns > 0)
            addPanel(target, first, J, columns);
    }
    return target;
}

template <class T>
void Eliminator<T>::addPanel(Target& target, int first, int J, int columns) const
{
    const int before = structure_.starts[J] - structure_.starts[first];
    const int width = structure_.width(J), ld = structure_.height(J), below = ld - width;
    const auto origin = [before](std::ptrdiff_t rowsAbove, std::ptrdiff_t ldOfPanel) {
        return rowsAbove + ldOfPanel * before;
    };
    target.lower[target.panels] = {lower(J) - origin(before, ld), ld, columns, target.columns};
    target.columns += columns;
    if (unsymmetric())
        target.upper[target.panels] = {upper(J) - origin(before + width, below), below, columns,
                                       target.columns};
    ++target.panels;
}

// What a symmetric update multiplies K's rows with: k rows of L, conjugated for Hermitian, times D.
template <class T>
void Eliminator<T>::prepareRight(int K, const T* block, const T* l, int ld, int k)
{
    const int width = structure_.width(K);
    const bool hasD = rules_.method != Method::Cholesky;
    if (hasD && width == 1) {
        std::transform(l, l + k, scaled_.get(),
                       [&](T value) { return product(*block, conjugate(value, rules_.hermitian)); });
        return;
    }
    if (hasD) {
        multiplyByPivots(block, ld, width, exchangesOf(K), rules_.hermitian, l, ld, k, scaled_.get(), k);
        return;
    }
    for (int p = 0; p < width; ++p) {
        const T* const column = l + std::ptrdiff_t{ld} * p;
        std::transform(column, column + k, scaled_.get() + std::ptrdiff_t{k} * p,
                       [](T value) { return conjugate(value); });
    }
}

template <class T>
bool Eliminator<T>::factorBlock(int J)
{
    switch (rules_.method) {
    case Method::RowPivoting:
    case Method::CompletePivoting:
        return structure_.width(J) == 1 ? factorColumn(J) : factorLu(J);
    case Method::Cholesky:
        return factorCholesky(J);
    case Method::DiagonalPivoting:
    case Method::BunchKaufman:
        break;
    }
    return factorSymmetric(J);
}

template <class T>
bool Eliminator<T>::failAt(int J, int info)
{
    team_.fail({Error::Numeric, structure_.starts[J] + info});
    return false;
}

// L*U of the block; L's panel takes the column exchanges and U's inverse, U's panel the row exchanges and
// L's inverse.
template <class T>
bool Eliminator<T>::factorLu(int J)
{
    const int height = structure_.height(J), width = structure_.width(J), below = height - width;
    T *const block = lower(J), *const u = upper(J);
    int *const rowExchange = exchangesOf(J), *const columnExchange =
                                                 factor_.columnExchange + structure_.starts[J];
    if (rules_.method == Method::CompletePivoting) {
        pivots_ += pivotCompletely(block, height, width, rules_.eps, rowExchange, columnExchange);
        exchangeColumns(columnExchange, width, block + width, height, below);
    } else {
        int info = 0;
        lapack::getrf(width, width, block, height, rowExchange, info);
        if (info > 0) return failAt(J, info);
    }
    solveFromRight(RightFactor::Upper, block, height, width, block + width, height, below);
    exchangeColumns(rowExchange, width, u, below, below);
    solveFromRight(RightFactor::LowerTransposedUnit, block, height, width, u, below, below);
    return true;
}

// The same of a single column: nothing changes places, and U's panel stays as it is.
template <class T>
bool Eliminator<T>::factorColumn(int J)
{
    const int height = structure_.height(J), at = structure_.starts[J];
    T* const column = lower(J);
    if (rules_.method == Method::CompletePivoting) {
        pivots_ += pivotCompletely(column, height, 1, rules_.eps, factor_.rowExchange + at,
                                   factor_.columnExchange + at);
    } else {
        factor_.rowExchange[at] = 1;
        if (*column == T(0)) return failAt(J, 1);
    }
    divideByInverse(*column, column + 1, height - 1);
    return true;
}

template <class T>
bool Eliminator<T>::factorCholesky(int J)
{
    const int height = structure_.height(J), width = structure_.width(J);
    if (const int info = factorCholeskyPanel(lower(J), height, width); info > 0) return failAt(J, info);
    pivots_.positive += width;
    return true;
}

template <class T>
bool Eliminator<T>::factorSymmetric(int J)
{
    const int height = structure_.height(J), width = structure_.width(J), below = height - width;
    T *const block = lower(J), *const panel = block + width;
    int* const exchange = exchangesOf(J);
    const bool hermitian = rules_.hermitian;
    pivots_ += rules_.method == Method::BunchKaufman
                   ? pivotBunchKaufman(block, height, width, rules_.eps, hermitian, exchange)
                   : pivotOnDiagonal(block, height, width, rules_.eps, hermitian, exchange);
    if (width == 1) { // nothing changes places
        divideByInverse(*block, panel, below);
        return true;
    }
    exchangeColumns(exchange, width, panel, height, below);
    solveFromRight(hermitian ? RightFactor::LowerAdjointUnit : RightFactor::LowerTransposedUnit, block,
                   height, width, panel, height, below);
    divideByPivots(block, height, width, exchange, hermitian, panel, height, below);
    return true;
}

// What is called from elsewhere: the rest is free to be inlined where it is called once.
#define LINTRIX_INSTANTIATE(T)                                                                               \
    template Eliminator<T>::Eliminator(const FactorPlan&, const FactorRules&, const T*, const Factor<T>&,    \
                                       EliminationTeam&);                                                    \
    template void Eliminator<T>::gather(int);                                                                \
    template void Eliminator<T>::takeUpdates(int, int, PositionRange, const Factor<T>&);                     \
    template void Eliminator<T>::work(int, PositionRange, Entries);
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
