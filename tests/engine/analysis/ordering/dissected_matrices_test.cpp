// Graphs of real matrices: whatever is square among the test data.

#include <lintrix/engine/analysis/graph/adjacency.h>
#include <lintrix/sparse/matrix_market.h>

#include "tests/engine/analysis/ordering/dissection_checks.h"
#include "tests/engine/analysis/symbolic/symbolic_pipeline.h"
#include "tests/support/files.h"

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

// The entries of A in compressed rows, as the file has them: of a symmetric matrix one triangle.
struct RealMatrix {
    std::vector<int> ia, ja;
};

RealMatrix load(const std::string& file)
{
    const auto matrix = ReadMatrixMarketTriplets(file);
    std::vector<std::vector<int>> rows(static_cast<std::size_t>(matrix.rows));
    for (std::size_t k = 0; k < matrix.rowIndices.size(); ++k)
        rows[static_cast<std::size_t>(matrix.rowIndices[k])].push_back(matrix.colIndices[k]);
    RealMatrix result{{0}, {}};
    for (const auto& row : rows) {
        result.ja.insert(result.ja.end(), row.begin(), row.end());
        result.ia.push_back(static_cast<int>(result.ja.size()));
    }
    return result;
}

std::vector<std::string> squareMatrices()
{
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(dataFile(""))) {
        const std::string name = entry.path().filename();
        if (name.find(".mtx") == std::string::npos) continue;
        const MatrixMarketReader reader(entry.path());
        if (reader.Header().rows == reader.Header().cols) files.push_back(name);
    }
    std::ranges::sort(files);
    return files;
}

OwnedGraph graphOf(const RealMatrix& matrix)
{
    SymmetrizedPattern adjacency;
    EXPECT_FALSE(adjacency.count({matrix.ia, matrix.ja}));
    OwnedGraph graph{std::vector<int>(matrix.ia.size()),
                     std::vector<int>(static_cast<std::size_t>(adjacency.entries()))};
    adjacency.write(graph.starts, graph.neighbours);
    return graph;
}

/// Every column of each supernode has the rows that plain elimination gives it.
void expectFactorOf(const Graph& graph, Pipeline factor)
{
    const FactorStructure structure = factor.structure();
    const auto columns = eliminated(graph, factor.ordering.view());
    for (int J = 0; J < structure.supernodes(); ++J) {
        for (int k = 0; k < structure.width(J); ++k) {
            const auto rows = structure.rowsOf(J).subspan(static_cast<std::size_t>(k));
            const int column = structure.starts[static_cast<std::size_t>(J)] + k;
            ASSERT_TRUE(std::ranges::equal(rows, columns[static_cast<std::size_t>(column)])) << column;
        }
    }
}

class DissectedMatrices : public ::testing::TestWithParam<std::string> {};

TEST_P(DissectedMatrices, NoEntryJoinsTwoIndependentParts)
{
    const OwnedGraph graph = graphOf(load(dataFile(GetParam())));
    for (const int parts : {1, 2, 3, 4, 8}) {
        SCOPED_TRACE(parts);
        expectSound(graph.view(), dissected(graph.view(), parts));
    }
}

// Parts and separators are each in postorder, but not all together.
TEST_P(DissectedMatrices, FactorIsThatOfPlainEliminationForAnyNumberOfParts)
{
    const OwnedGraph graph = graphOf(load(dataFile(GetParam())));
    for (const int parts : {1, 2, 3, 8}) {
        SCOPED_TRACE(parts);
        const Dissection cut = dissected(graph.view(), parts);
        if (!cut.list.wellFormed()) { // a tree that does not branch
            EXPECT_GT(parts, 1);
            continue;
        }
        const auto ranges = cut.list.ranges();
        const Pipeline factor(graph.view(), cut.ordering, 96, true, {ranges.begin(), ranges.end()});
        expectFactorOf(graph.view(), factor);
    }
}

INSTANTIATE_TEST_SUITE_P(TestData, DissectedMatrices, ::testing::ValuesIn(squareMatrices()),
                         [](const auto& parameter) {
                             std::string name = parameter.param;
                             std::ranges::replace_if(
                                 name, [](unsigned char c) { return !std::isalnum(c); }, '_');
                             return name;
                         });

} // namespace
} // namespace Velmar::Lintrix::testing
