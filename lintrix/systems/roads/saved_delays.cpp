// A factor with delayed pivots in the sections of a file.

#include <lintrix/systems/roads/delayed_factor.h>
#include <lintrix/systems/roads/saved_cells.h>
#include <lintrix/systems/saved_system.h>

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

using namespace multifrontal;

namespace {

/// Section "ldl".
struct KeptLdl {
    std::int64_t panels = 0, rows = 0; ///< rows of all panels together
    std::int32_t replaced = 0, unused = 0;
};
static_assert(sizeof(KeptLdl) == 24);

/// Of a panel, in section "ldlsizes".
struct PanelSize {
    std::int32_t rows = 0, pivots = 0;
};

/// Exponents of scales, which are applied in pairs.
constexpr int kLargestExponent = 2048;

/// A block of two does not end where its panel does.
template <class Cell>
bool holdsTogether(const LdlParts<Cell>& parts, std::int64_t n)
{
    std::int64_t pivots = 0;
    for (const FrontPanel<Cell>& panel : parts.panels) {
        const bool isInRange =
            std::ranges::all_of(panel.rows, [n](std::int32_t row) { return row >= 0 && row < n; });
        pivots += panel.pivots;
        if (!isInRange || pivots > n) return false;
        for (std::int32_t k = panel.firstPivot; k < panel.firstPivot + panel.pivots; ++k)
            if (parts.pivots.below[k] != Cell() && ++k == panel.firstPivot + panel.pivots) return false;
    }
    return pivots == n && isPermutation(parts.vertexAt) && std::ranges::all_of(parts.exponents, [](int e) {
               return e >= -kLargestExponent && e <= kLargestExponent;
           });
}

/// Their rows, which stand one behind the other. @throws as `requireWhole`
template <class Cell>
std::vector<FrontPanel<Cell>> panelsOf(const KeptLdl& kept, SectionReader& file)
{
    const auto sizes = taken<PanelSize>(file, "ldlsizes", kept.panels);
    std::vector<FrontPanel<Cell>> panels(sizes.size());
    std::int64_t rows = 0, pivots = 0;
    for (std::size_t k = 0; k < sizes.size(); ++k) {
        const auto [size, own] = sizes[k];
        if (own < 0 || size < own || (rows += size) > kept.rows) requireWhole(file.Contradiction());
        panels[k].pivots = own;
        panels[k].firstPivot = static_cast<std::int32_t>(pivots);
        pivots += own;
    }
    if (rows != kept.rows) requireWhole(file.Contradiction());
    const auto all = taken<std::int32_t>(file, "ldlrows", kept.rows);
    auto next = all.begin();
    for (std::size_t k = 0; k < sizes.size(); ++k) {
        panels[k].rows.assign(next, next + sizes[k].rows);
        next += sizes[k].rows;
    }
    return panels;
}

} // namespace

template <class Cell>
void DelayedFactor<Cell>::save(SectionWriter& file) const
{
    std::vector<PanelSize> sizes;
    std::vector<std::int32_t> rows;
    for (const FrontPanel<Cell>& panel : ldl_->panels()) {
        sizes.push_back({static_cast<std::int32_t>(panel.rows.size()), panel.pivots});
        rows.insert(rows.end(), panel.rows.begin(), panel.rows.end());
    }
    file.AddOne("ldl", KeptLdl{std::ssize(sizes), std::ssize(rows), ldl_->replaced(), 0});
    file.Add("ldlexp", ldl_->exponents());
    file.Add("ldlat", ldl_->vertexAt());
    file.Add("ldlsizes", std::span<const PanelSize>(sizes));
    file.Add("ldlrows", std::span<const std::int32_t>(rows));
    file.Add("ldldiag", std::span<const Cell>(ldl_->pivots().diagonal));
    file.Add("ldlbelow", std::span<const Cell>(ldl_->pivots().below));
    for (const FrontPanel<Cell>& panel : ldl_->panels())
        file.Add("ldlpanel", std::span<const Cell>(panel.lower.get(), panel.rows.size() * panel.pivots));
}

template <class Cell>
std::unique_ptr<DelayedFactor<Cell>> DelayedFactor<Cell>::load(const SparseOf<Cell>& A, bool hermitian,
                                                               SectionReader& file)
{
    const std::int64_t n = A.Rows();
    KeptLdl kept{};
    requireWhole(file.TakeOne("ldl", kept));
    if (kept.panels < 0 || kept.replaced < 0 || kept.unused != 0) requireWhole(file.Contradiction());
    LdlParts<Cell> parts;
    parts.exponents = taken<int>(file, "ldlexp", n);
    parts.vertexAt = taken<std::int32_t>(file, "ldlat", n);
    parts.panels = panelsOf<Cell>(kept, file);
    parts.pivots = {taken<Cell>(file, "ldldiag", n), taken<Cell>(file, "ldlbelow", n), kept.replaced};
    if (!holdsTogether(parts, n)) requireWhole(file.Contradiction());
    for (FrontPanel<Cell>& panel : parts.panels)
        panel.lower = takenBlock<Cell>(file, "ldlpanel", std::ssize(panel.rows) * panel.pivots);
    return std::unique_ptr<DelayedFactor>(
        new DelayedFactor(A, hermitian, MultifrontalLDL<Cell>(std::move(parts), hermitian)));
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template void DelayedFactor<Cell>::save(SectionWriter&) const;                                           \
    template std::unique_ptr<DelayedFactor<Cell>> DelayedFactor<Cell>::load(const SparseOf<Cell>&, bool,     \
                                                                            SectionReader&);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(Complex)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::roads
