// Graphs of real matrices: whatever is square among the test data.

#include <lintrix/engine/adjacency.h>

#include "tests/engine/dissection_checks.h"

#include <lintrix/sparse/matrix_market.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

// The pattern of A in compressed rows.
struct RealMatrix {
    std::vector<int> ia, ja;
};

RealMatrix load(const std::string& file)
{
    const SparseMatrix matrix = MatrixMarketReader(file).ReadSparse(MatrixMarketStorage::BothTriangles);
    RealMatrix result;
    for (const int start : matrix.RowPointers()) result.ia.push_back(start - 1);
    for (const int column : matrix.ColumnIndices()) result.ja.push_back(column - 1);
    return result;
}

// Files that the reader refuses, complex ones, are left out.
bool isSquare(const std::string& file)
{
    try {
        const MatrixMarketReader reader(file);
        const MatrixMarketHeader& header = reader.Header();
        return header.rows == header.cols && header.field != MatrixMarketField::ComplexNumber;
    } catch (const FileFormatException&) {
        return false;
    }
}

std::vector<std::string> squareMatrices()
{
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(LINTRIX_TEST_DATA)) {
        const std::string name = entry.path().filename();
        if (name.find(".mtx") != std::string::npos && isSquare(entry.path())) files.push_back(name);
    }
    std::ranges::sort(files);
    return files;
}

class DissectedMatrices : public ::testing::TestWithParam<std::string> {};

TEST_P(DissectedMatrices, NoEntryJoinsTwoIndependentParts)
{
    const RealMatrix matrix = load(std::string(LINTRIX_TEST_DATA "/") + GetParam());
    SymmetrizedPattern adjacency;
    ASSERT_FALSE(adjacency.count({matrix.ia, matrix.ja}));
    OwnedGraph graph{std::vector<int>(matrix.ia.size()),
                     std::vector<int>(static_cast<std::size_t>(adjacency.entries()))};
    adjacency.write(graph.starts, graph.neighbours);
    for (const int parts : {1, 2, 3, 4, 8}) {
        SCOPED_TRACE(parts);
        expectSound(graph.view(), dissected(graph.view(), parts));
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
