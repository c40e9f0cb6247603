#include <tools/matrix_facts.h>

#include <algorithm>
#include <cmath>
#include <tuple>

namespace Velmar::Lintrix::tools {

namespace {

bool columnFirst(const Coordinate& x, const Coordinate& y)
{
    return std::tie(x.col, x.row) < std::tie(y.col, y.row);
}

bool samePlace(const Coordinate& x, const Coordinate& y)
{
    return x.row == y.row && x.col == y.col;
}

/// Compares each entry with the one at the mirrored place.
void findSymmetry(const std::vector<Coordinate>& entries, MatrixFacts& facts)
{
    std::vector<Coordinate> mirrored;
    mirrored.reserve(entries.size());
    for (const Coordinate& entry : entries) mirrored.push_back({entry.col, entry.row, entry.value});
    std::ranges::sort(mirrored, columnFirst);
    facts.symmetricPattern = std::ranges::equal(entries, mirrored, samePlace);
    if (!facts.symmetricPattern) return;
    const auto valuesAgree = [&](double sign) {
        return std::ranges::equal(entries, mirrored,
                                  [sign](const auto& x, const auto& y) { return x.value == sign * y.value; });
    };
    facts.symmetric = valuesAgree(1.0);
    facts.skewSymmetric = !facts.symmetric && valuesAgree(-1.0);
}

/// sqrt(sum x^2), scaled by the largest so that no square overflows.
double frobenius(const std::vector<Coordinate>& entries, double largest)
{
    if (largest == 0.0 || !std::isfinite(largest)) return largest;
    double sum = 0.0;
    for (const Coordinate& entry : entries) {
        const double scaled = entry.value / largest;
        sum += scaled * scaled;
    }
    return largest * std::sqrt(sum);
}

void findNorms(const std::vector<Coordinate>& entries, std::int32_t rows, std::int32_t cols,
               MatrixFacts& facts)
{
    std::vector<double> rowSums(static_cast<std::size_t>(rows)), colSums(static_cast<std::size_t>(cols));
    for (const Coordinate& entry : entries) {
        const double size = std::abs(entry.value);
        rowSums[static_cast<std::size_t>(entry.row)] += size;
        colSums[static_cast<std::size_t>(entry.col)] += size;
        facts.largestMagnitude = std::max(facts.largestMagnitude, size);
        if (size != 0.0 && (facts.smallestMagnitude == 0.0 || size < facts.smallestMagnitude)) {
            facts.smallestMagnitude = size;
        }
    }
    facts.infinityNorm = *std::ranges::max_element(rowSums);
    facts.oneNorm = *std::ranges::max_element(colSums);
    facts.frobeniusNorm = frobenius(entries, facts.largestMagnitude);
}

} // namespace

std::vector<Coordinate> mergedEntries(const MatrixMarket& file)
{
    std::vector<Coordinate> entries;
    entries.reserve(static_cast<std::size_t>(entryCount(file)));
    forEachEntry(file, [&](std::int32_t row, std::int32_t col, double value) {
        entries.push_back({row, col, value});
    });
    std::ranges::stable_sort(entries, columnFirst);
    std::size_t kept = 0;
    for (const Coordinate& entry : entries) {
        if (kept > 0 && samePlace(entries[kept - 1], entry)) {
            entries[kept - 1].value += entry.value;
        } else {
            entries[kept++] = entry;
        }
    }
    entries.resize(kept);
    return entries;
}

MatrixFacts factsOf(const std::vector<Coordinate>& entries, std::int32_t rows, std::int32_t cols)
{
    MatrixFacts facts;
    facts.entries = static_cast<std::int64_t>(entries.size());
    for (const Coordinate& entry : entries) {
        facts.storedZeros += entry.value == 0.0 ? 1 : 0;
        facts.diagonal += entry.row == entry.col ? 1 : 0;
        facts.lowerBandwidth = std::max(facts.lowerBandwidth, entry.row - entry.col);
        facts.upperBandwidth = std::max(facts.upperBandwidth, entry.col - entry.row);
    }
    findNorms(entries, rows, cols, facts);
    if (rows == cols) findSymmetry(entries, facts);
    return facts;
}

std::string_view symmetryInWords(const MatrixFacts& facts, std::int32_t rows, std::int32_t cols)
{
    if (rows != cols) return "rectangular";
    if (facts.symmetric) return "symmetric";
    if (facts.skewSymmetric) return "skew-symmetric";
    return facts.symmetricPattern ? "unsymmetric with a symmetric pattern" : "unsymmetric";
}

} // namespace Velmar::Lintrix::tools
