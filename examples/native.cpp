// Rows, columns, blocks and entries as C++ has them: ranges, views and compound assignment.

#include <lintrix/lintrix.h>

#include <algorithm>
#include <iostream>
#include <numeric>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

using namespace Velmar::Lintrix;

namespace {

/// Any function of the standard library's that takes a span takes a vector, too.
double largest(std::span<const double> values)
{
    return *std::ranges::max_element(values);
}

/// The five-point stencil, row by row; the assembler takes elements in any order.
SparseMatrix stencil(int side)
{
    SparseAssembler entries(side * side, side * side);
    for (int i = 0; i < side; ++i) {
        for (int j = 0; j < side; ++j) {
            const int here = i * side + j;
            entries.Add(here, here, 4.0);
            if (i > 0) entries.Add(here, here - side, -1.0);
            if (i + 1 < side) entries.Add(here, here + side, -1.0);
            if (j > 0) entries.Add(here, here - 1, -1.0);
            if (j + 1 < side) entries.Add(here, here + 1, -1.0);
        }
    }
    return entries.Assemble();
}

} // namespace

int main()
{
    // Views: parts of a matrix, written where they stand.
    Matrix A(3, 4);
    std::iota(A.begin(), A.end(), 1.0);           // column after column
    A.RowView(0) *= 10.0;                         // a row
    A.ColView(3) = A.ColView(0);                  // a column from another
    A.View(1, 1, 2, 2) -= Matrix{{1, 1}, {1, 1}}; // a block
    for (double& x : A.DiagonalView()) x += 0.5;  // the diagonal as a range
    A.Print(std::cout);

    // Compound assignment needs no new block; a range goes where a span is wanted.
    Vector x{3, -1, 2};
    x *= 2.0;
    x += Vector(3, 1.0);
    std::ranges::sort(x);
    std::cout << "largest " << largest(x) << ", sum " << std::accumulate(x.begin(), x.end(), 0.0) << '\n';

    // Memory that is not ours can be looked at as a matrix.
    std::vector<double> samples{1, 2, 3, 4, 5, 6};
    const MatrixView<double> table(samples.data(), 2, 3, 2);
    table.RowView(1).Fill(0.0);
    std::cout << "the second row of the samples is gone: " << samples[1] + samples[3] + samples[5] << '\n';

    // A sparse matrix is a range of its entries.
    SparseMatrix S = stencil(3);
    for (auto [row, col, value] : S) {
        if (row != col) value *= 0.5;
    }
    S += SparseMatrix::Identity(S.Rows());
    std::cout << "norm " << S.Norm(NormType::InfinityNorm) << ", trace " << S.Diagonal().Sum() << '\n';

    // What does not fit is told with its sizes.
    try {
        A *= Matrix(3, 3);
    } catch (const SizeMismatchException& fault) {
        std::cout << fault.what() << '\n';
    }

    // A matrix to and from a file of any form; here by way of memory.
    std::string file;
    WriteMatrixFile(
        MatrixFileFormat::NumpyArchive, [&file](std::string_view bytes) { file += bytes; }, S);
    std::istringstream in(file);
    std::cout << "as scipy.sparse.load_npz would read it: "
              << MatrixFileReader(in, "s.npz").ReadSparse().NumElements() << " entries\n";
    return 0;
}
