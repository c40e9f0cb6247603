// A heated plate: the five-point Laplacian of a square grid, put together from triplets in any order, applied
// to a field, kept as a compressed Matrix Market file and read again.

#include <lintrix/sparse/matrix_market.h>
#include <lintrix/sparse/sparse_assembler.h>

#include <filesystem>
#include <iostream>
#include <string>

using namespace Velmar::Lintrix;

namespace {

/// Each edge between neighbouring nodes p and q brings [[1, -1], [-1, 1]], as the spring of a chain does; the
/// lower halves are ignored because the storage is symmetric. The edges to the cold border add to the
/// diagonal alone.
SparseMatrix laplacian(int side)
{
    const int nodes = side * side;
    SparseAssembler entries(nodes, nodes,
                            {.storage = AssemblyStorage::Symmetric, .lower = LowerEntries::Ignore});
    const auto addEdge = [&entries](int p, int q) {
        for (const int i : {p, q}) {
            for (const int j : {p, q}) entries.Add(i, j, i == j ? 1.0 : -1.0);
        }
    };
    for (int i = 0; i < side; ++i) {
        for (int j = 0; j < side; ++j) {
            const int p = i * side + j;
            if (j + 1 < side) addEdge(p, p + 1);
            if (i + 1 < side) addEdge(p, p + side);
            const int atBorder = (i == 0) + (i + 1 == side) + (j == 0) + (j + 1 == side);
            if (atBorder > 0) entries.Add(p, p, atBorder);
        }
    }
    return entries.Assemble();
}

} // namespace

int main()
{
    const int side = 100;
    const SparseMatrix A = laplacian(side);
    std::cout << A.Rows() << " x " << A.Cols() << ", " << A.NumElements() << " elements stored\n";

    // A field that is 1 everywhere loses heat at the border only: 1 at each side, 2 in the corners.
    Matrix ones(side * side, 1);
    for (int k = 0; k < ones.Rows(); ++k) ones(k, 0) = 1.0;
    const Matrix loss = A * ones;
    std::cout << "loss: corner " << loss(0, 0) << ", side " << loss(1, 0) << ", inside " << loss(side + 1, 0)
              << '\n';

    const std::string file = "plate.mtx.gz";
    WriteMatrixMarket(file, A);
    const SparseMatrix again = ReadMatrixMarket(file);
    std::filesystem::remove(file);
    std::cout << "read again: " << (A.IsEqual(again, 0.0) ? "the same" : "another") << " matrix\n";
}
