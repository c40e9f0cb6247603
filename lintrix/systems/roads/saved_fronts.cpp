// An LU with delayed pivots in the sections of a file.

#include <lintrix/systems/roads/fronts_factor.h>
#include <lintrix/systems/roads/saved_cells.h>
#include <lintrix/systems/saved_system.h>

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

using namespace multifrontal;

namespace {

/// Section "mlu".
struct KeptFronts {
    std::int64_t panels = 0, rows = 0; ///< rows of all panels together
    std::int32_t replaced = 0, unused = 0;
};
static_assert(sizeof(KeptFronts) == 24);

/// Of a panel, in section "mlusizes".
struct PanelSize {
    std::int32_t rows = 0, pivots = 0;
};

/// Exponents of scales, which are applied in pairs.
constexpr int kLargestExponent = 2048;

bool areScales(const std::vector<int>& exponents)
{
    return std::ranges::all_of(exponents,
                               [](int e) { return e >= -kLargestExponent && e <= kLargestExponent; });
}

/// Their rows and columns, which stand one behind the other. @throws as `requireWhole`
template <class Cell>
std::vector<FrontPanel<Cell>> panelsOf(const KeptFronts& kept, std::int64_t n, SectionReader& file)
{
    const auto sizes = taken<PanelSize>(file, "mlusizes", kept.panels);
    std::int64_t all = 0, pivots = 0;
    for (const auto [size, own] : sizes) {
        pivots += own;
        if (own < 0 || size < own || pivots > n || (all += size) > kept.rows)
            requireWhole(file.Contradiction());
    }
    if (all != kept.rows || pivots != n) requireWhole(file.Contradiction());
    const auto rows = taken<std::int32_t>(file, "mlurows", all),
               columns = taken<std::int32_t>(file, "mlucols", all);
    const auto isOutside = [n](std::int32_t position) { return position < 0 || position >= n; };
    if (std::ranges::any_of(rows, isOutside) || std::ranges::any_of(columns, isOutside))
        requireWhole(file.Contradiction());
    std::vector<FrontPanel<Cell>> panels;
    auto row = rows.begin(), column = columns.begin();
    for (const auto [size, own] : sizes) {
        panels.push_back({{}, {}, {row, row + size}, {column, column + size}, own, 0});
        row += size;
        column += size;
    }
    return panels;
}

} // namespace

template <class Cell>
void FrontsFactor<Cell>::save(SectionWriter& file) const
{
    std::vector<PanelSize> sizes;
    std::vector<std::int32_t> rows, columns;
    for (const FrontPanel<Cell>& panel : lu_->panels()) {
        sizes.push_back({static_cast<std::int32_t>(panel.rows.size()), panel.pivots});
        rows.insert(rows.end(), panel.rows.begin(), panel.rows.end());
        columns.insert(columns.end(), panel.columns.begin(), panel.columns.end());
    }
    file.AddOne("mlu", KeptFronts{std::ssize(sizes), std::ssize(rows), lu_->replaced(), 0});
    file.Add("mlurexp", lu_->rowExponents());
    file.Add("mlucexp", lu_->columnExponents());
    file.Add("mlurat", lu_->rowPositions());
    file.Add("mlucat", lu_->columnPositions());
    file.Add("mlusizes", std::span<const PanelSize>(sizes));
    file.Add("mlurows", std::span<const std::int32_t>(rows));
    file.Add("mlucols", std::span<const std::int32_t>(columns));
    for (const FrontPanel<Cell>& panel : lu_->panels()) {
        const auto pivots = static_cast<std::size_t>(panel.pivots), left = panel.rows.size() - pivots;
        file.Add("mlulower", std::span<const Cell>(panel.lower.get(), panel.rows.size() * pivots));
        file.Add("mluupper", std::span<const Cell>(panel.upper.get(), pivots * left));
    }
}

template <class Cell>
std::unique_ptr<FrontsFactor<Cell>> FrontsFactor<Cell>::load(const SparseOf<Cell>& A, SectionReader& file)
{
    const std::int64_t n = A.Rows();
    KeptFronts kept{};
    requireWhole(file.TakeOne("mlu", kept));
    if (kept.panels < 0 || kept.replaced < 0 || kept.unused != 0) requireWhole(file.Contradiction());
    LuFrontParts<Cell> parts;
    parts.rowExponents = taken<int>(file, "mlurexp", n);
    parts.columnExponents = taken<int>(file, "mlucexp", n);
    parts.rowPositions = taken<std::int32_t>(file, "mlurat", n);
    parts.columnPositions = taken<std::int32_t>(file, "mlucat", n);
    parts.replaced = kept.replaced;
    if (!areScales(parts.rowExponents) || !areScales(parts.columnExponents) ||
        !isPermutation(parts.rowPositions) || !isPermutation(parts.columnPositions))
        requireWhole(file.Contradiction());
    parts.panels = panelsOf<Cell>(kept, n, file);
    for (FrontPanel<Cell>& panel : parts.panels) {
        panel.lower = takenBlock<Cell>(file, "mlulower", std::ssize(panel.rows) * panel.pivots);
        panel.upper = takenBlock<Cell>(file, "mluupper", std::int64_t{panel.left()} * panel.pivots);
    }
    return std::unique_ptr<FrontsFactor>(new FrontsFactor(A, MultifrontalLU<Cell>(std::move(parts))));
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template void FrontsFactor<Cell>::save(SectionWriter&) const;                                            \
    template std::unique_ptr<FrontsFactor<Cell>> FrontsFactor<Cell>::load(const SparseOf<Cell>&,             \
                                                                          SectionReader&);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(Complex)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::roads
