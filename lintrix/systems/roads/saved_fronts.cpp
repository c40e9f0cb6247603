// Factors with delayed pivots in the sections of a file.

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

/// Sections "ldl" and "mlu".
struct KeptFronts {
    std::int64_t panels = 0, rows = 0; ///< rows of all panels together
    std::int32_t replaced = 0, unused = 0;
};
static_assert(sizeof(KeptFronts) == 24);

/// Of a panel, in sections "ldlsizes" and "mlusizes".
struct PanelSize {
    std::int32_t rows = 0, pivots = 0;
};

using Indices = std::vector<std::int32_t>;

std::vector<int> takenScales(SectionReader& file, std::string_view name, std::int64_t n)
{
    constexpr int kLargestExponent = 2048; // they are applied in pairs
    auto exponents = taken<int>(file, name, n);
    const bool areScales =
        std::ranges::all_of(exponents, [](int e) { return e >= -kLargestExponent && e <= kLargestExponent; });
    if (!areScales) requireWhole(file.Contradiction());
    return exponents;
}

Indices takenPermutation(SectionReader& file, std::string_view name, std::int64_t n)
{
    Indices at = taken<std::int32_t>(file, name, n);
    if (!isPermutation(at)) requireWhole(file.Contradiction());
    return at;
}

/// @throws as `requireWhole`
std::vector<PanelSize> takenSizes(SectionReader& file, std::string_view name, const KeptFronts& kept,
                                  std::int64_t n)
{
    auto sizes = taken<PanelSize>(file, name, kept.panels);
    std::int64_t rows = 0, pivots = 0;
    for (const auto [size, own] : sizes)
        if (own < 0 || size < own || (rows += size) > kept.rows || (pivots += own) > n)
            requireWhole(file.Contradiction());
    if (rows != kept.rows || pivots != n) requireWhole(file.Contradiction());
    return sizes;
}

/// Without names and cells.
template <class Cell>
std::vector<FrontPanel<Cell>> panelsOf(std::span<const PanelSize> sizes)
{
    std::vector<FrontPanel<Cell>> panels(sizes.size());
    std::int32_t pivots = 0;
    for (std::size_t k = 0; k < sizes.size(); ++k) {
        panels[k].pivots = sizes[k].pivots;
        panels[k].firstPivot = std::exchange(pivots, pivots + sizes[k].pivots);
    }
    return panels;
}

/// Whether each position is a pivot's once, and what a panel leaves is eliminated by those behind it.
bool areEliminated(const Indices& names, std::span<const PanelSize> sizes, std::int64_t n)
{
    constexpr std::int32_t kNone = -1;
    Indices panelOf(static_cast<std::size_t>(n), kNone);
    std::size_t next = 0;
    for (std::int32_t k = 0; k < std::ssize(sizes); ++k) {
        for (std::int32_t i = 0; i < sizes[k].pivots; ++i) {
            const std::int32_t name = names[next + i];
            if (name < 0 || name >= n || std::exchange(panelOf[name], k) != kNone) return false;
        }
        next += static_cast<std::size_t>(sizes[k].rows);
    }
    next = 0;
    for (std::int32_t k = 0; k < std::ssize(sizes); ++k) {
        for (std::int32_t i = sizes[k].pivots; i < sizes[k].rows; ++i) {
            const std::int32_t name = names[next + i];
            if (name < 0 || name >= n || panelOf[name] <= k) return false;
        }
        next += static_cast<std::size_t>(sizes[k].rows);
    }
    return true;
}

template <class Cell>
std::vector<PanelSize> sizesOf(std::span<const FrontPanel<Cell>> panels)
{
    std::vector<PanelSize> sizes;
    for (const FrontPanel<Cell>& panel : panels) sizes.push_back({panel.size(), panel.pivots});
    return sizes;
}

/// Rows of all panels, or columns, one behind the other.
template <class Cell>
using Names = Indices FrontPanel<Cell>::*;

template <class Cell>
void addNames(SectionWriter& file, std::string_view name, std::span<const FrontPanel<Cell>> panels,
              Names<Cell> names)
{
    Indices all;
    for (const FrontPanel<Cell>& panel : panels)
        all.insert(all.end(), (panel.*names).begin(), (panel.*names).end());
    file.Add(name, std::span<const std::int32_t>(all));
}

/// @throws as `requireWhole`
template <class Cell>
void takeNames(SectionReader& file, std::string_view name, std::int64_t n, std::span<const PanelSize> sizes,
               std::vector<FrontPanel<Cell>>& panels, Names<Cell> names)
{
    std::int64_t rows = 0;
    for (const PanelSize& size : sizes) rows += size.rows;
    const Indices all = taken<std::int32_t>(file, name, rows);
    if (!areEliminated(all, sizes, n)) requireWhole(file.Contradiction());
    auto next = all.begin();
    for (std::size_t k = 0; k < sizes.size(); ++k) {
        (panels[k].*names).assign(next, next + sizes[k].rows);
        next += sizes[k].rows;
    }
}

template <class Fronts>
void addHead(SectionWriter& file, std::string_view name, const Fronts& fronts)
{
    std::int64_t rows = 0;
    for (const auto& panel : fronts.panels()) rows += panel.size();
    file.AddOne(name, KeptFronts{std::ssize(fronts.panels()), rows, fronts.replaced(), 0});
}

KeptFronts takenHead(SectionReader& file, std::string_view name)
{
    KeptFronts kept{};
    requireWhole(file.TakeOne(name, kept));
    if (kept.panels < 0 || kept.replaced < 0 || kept.unused != 0) requireWhole(file.Contradiction());
    return kept;
}

/// A block of two does not end where its panel does.
template <class Cell>
bool areBlocksWhole(const LdlParts<Cell>& parts)
{
    for (const FrontPanel<Cell>& panel : parts.panels) {
        const std::int32_t end = panel.firstPivot + panel.pivots;
        for (std::int32_t k = panel.firstPivot; k < end; ++k)
            if (parts.pivots.below[k] != Cell() && ++k == end) return false;
    }
    return true;
}

template <class Cell>
void saveFronts(const MultifrontalLDL<Cell>& ldl, SectionWriter& file)
{
    addHead(file, "ldl", ldl);
    file.Add("ldlexp", ldl.exponents());
    file.Add("ldlat", ldl.vertexAt());
    file.Add("ldlsizes", std::span<const PanelSize>(sizesOf<Cell>(ldl.panels())));
    addNames<Cell>(file, "ldlrows", ldl.panels(), &FrontPanel<Cell>::rows);
    file.Add("ldldiag", std::span<const Cell>(ldl.pivots().diagonal));
    file.Add("ldlbelow", std::span<const Cell>(ldl.pivots().below));
    for (const FrontPanel<Cell>& panel : ldl.panels())
        file.Add("ldlpanel", std::span<const Cell>(panel.lower.get(), panel.rows.size() * panel.pivots));
}

template <class Cell>
MultifrontalLDL<Cell> loadFronts(std::int64_t n, SectionReader& file, bool hermitian)
{
    const KeptFronts kept = takenHead(file, "ldl");
    LdlParts<Cell> parts;
    parts.exponents = takenScales(file, "ldlexp", n);
    parts.vertexAt = takenPermutation(file, "ldlat", n);
    const std::vector<PanelSize> sizes = takenSizes(file, "ldlsizes", kept, n);
    parts.panels = panelsOf<Cell>(sizes);
    takeNames<Cell>(file, "ldlrows", n, sizes, parts.panels, &FrontPanel<Cell>::rows);
    parts.pivots = {taken<Cell>(file, "ldldiag", n), taken<Cell>(file, "ldlbelow", n), kept.replaced};
    if (!areBlocksWhole(parts)) requireWhole(file.Contradiction());
    for (FrontPanel<Cell>& panel : parts.panels)
        panel.lower = takenBlock<Cell>(file, "ldlpanel", std::ssize(panel.rows) * panel.pivots);
    return MultifrontalLDL<Cell>(std::move(parts), hermitian);
}

template <class Cell>
void saveFronts(const MultifrontalLU<Cell>& lu, SectionWriter& file)
{
    addHead(file, "mlu", lu);
    file.Add("mlurexp", lu.rowExponents());
    file.Add("mlucexp", lu.columnExponents());
    file.Add("mlurat", lu.rowPositions());
    file.Add("mlucat", lu.columnPositions());
    file.Add("mlusizes", std::span<const PanelSize>(sizesOf<Cell>(lu.panels())));
    addNames<Cell>(file, "mlurows", lu.panels(), &FrontPanel<Cell>::rows);
    addNames<Cell>(file, "mlucols", lu.panels(), &FrontPanel<Cell>::columns);
    for (const FrontPanel<Cell>& panel : lu.panels()) {
        const auto pivots = static_cast<std::size_t>(panel.pivots), left = panel.rows.size() - pivots;
        file.Add("mlulower", std::span<const Cell>(panel.lower.get(), panel.rows.size() * pivots));
        file.Add("mluupper", std::span<const Cell>(panel.upper.get(), pivots * left));
    }
}

template <class Cell>
MultifrontalLU<Cell> loadFronts(std::int64_t n, SectionReader& file)
{
    const KeptFronts kept = takenHead(file, "mlu");
    LuFrontParts<Cell> parts;
    parts.rowExponents = takenScales(file, "mlurexp", n);
    parts.columnExponents = takenScales(file, "mlucexp", n);
    parts.rowPositions = takenPermutation(file, "mlurat", n);
    parts.columnPositions = takenPermutation(file, "mlucat", n);
    parts.replaced = kept.replaced;
    const std::vector<PanelSize> sizes = takenSizes(file, "mlusizes", kept, n);
    parts.panels = panelsOf<Cell>(sizes);
    takeNames<Cell>(file, "mlurows", n, sizes, parts.panels, &FrontPanel<Cell>::rows);
    takeNames<Cell>(file, "mlucols", n, sizes, parts.panels, &FrontPanel<Cell>::columns);
    for (FrontPanel<Cell>& panel : parts.panels) {
        panel.lower = takenBlock<Cell>(file, "mlulower", std::ssize(panel.rows) * panel.pivots);
        panel.upper = takenBlock<Cell>(file, "mluupper", std::int64_t{panel.left()} * panel.pivots);
    }
    return MultifrontalLU<Cell>(std::move(parts));
}

} // namespace

template <class Cell, class Fronts, class... Kind>
void FrontalFactor<Cell, Fronts, Kind...>::save(SectionWriter& file) const
{
    saveFronts(*fronts_, file);
}

template <class Cell, class Fronts, class... Kind>
std::unique_ptr<FrontalFactor<Cell, Fronts, Kind...>>
FrontalFactor<Cell, Fronts, Kind...>::load(const SparseOf<Cell>& A, Kind... kind, SectionReader& file)
{
    return std::unique_ptr<FrontalFactor>(
        new FrontalFactor(A, Made{loadFronts<Cell>(A.Rows(), file, kind...)}));
}

#define LINTRIX_INSTANTIATE(Cell, Fronts, ...)                                                               \
    template void FrontalFactor<Cell, Fronts __VA_OPT__(, ) __VA_ARGS__>::save(SectionWriter&) const;        \
    template std::unique_ptr<FrontalFactor<Cell, Fronts __VA_OPT__(, ) __VA_ARGS__>>                         \
    FrontalFactor<Cell, Fronts __VA_OPT__(, ) __VA_ARGS__>::load(const SparseOf<Cell>&,                      \
                                                                 __VA_ARGS__ __VA_OPT__(, ) SectionReader&);
LINTRIX_INSTANTIATE(double, MultifrontalLDL<double>, bool)
LINTRIX_INSTANTIATE(Complex, MultifrontalLDL<Complex>, bool)
LINTRIX_INSTANTIATE(double, MultifrontalLU<double>)
LINTRIX_INSTANTIATE(Complex, MultifrontalLU<Complex>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::roads
