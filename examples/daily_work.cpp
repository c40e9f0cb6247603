// What people do every day with matrices, a line each: the lines that docs/daily_work.md puts beside those of
// other libraries. Each is checked here by its result.

#include <lintrix/lintrix.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include <unistd.h>

using namespace Velmar::Lintrix;

namespace {

int right = 0, wrong = 0;

void check(bool holds, const char* what)
{
    ++(holds ? right : wrong);
    if (!holds) std::cout << "wrong: " << what << '\n';
}

bool near(double x, double y)
{
    return std::abs(x - y) <= 1e-12 * std::max({1.0, std::abs(x), std::abs(y)});
}

void makeMatrices()
{
    Matrix A(3, 4);
    Matrix B{{1, 2}, {3, 4}};
    Matrix I = Matrix::Identity(4);
    Vector x{1, 2, 3};
    Vector ones(4, 1.0);
    Matrix R(3, 3);
    R.FillRandom(0.0, 1.0, 15);
    CMatrix Z(B, 2.0 * B);
    std::vector<double> memory{1, 2, 3, 4, 5, 6};
    MatrixView<double> V(memory.data(), 2, 3, 2);
    check(A.Rows() == 3 && A.Cols() == 4, "sizes");
    check(I(3, 3) == 1.0 && I(0, 1) == 0.0, "identity");
    check(x.Length() == 3 && ones.Sum() == 4.0 && R.Norm(NormType::MaxAbsValue) <= 1.0, "vectors");
    check(Z(1, 0) == Complex(3, 6) && V(1, 2) == 6.0, "complex matrix and foreign memory");
}

void parts()
{
    Matrix A(3, 4), B{{1, 2}, {3, 4}};
    A(1, 2) = 5.0;
    A.RowView(1).Fill(2.0);
    A.ColView(0) = A.ColView(2);
    A.View(0, 1, 2, 2) = B;
    Matrix C = A.View(0, 0, 3, 3);
    C.DiagonalView() += Vector{1, 2, 3};
    Vector row = A.RowView(0);
    Matrix wide = Matrix::Concatenate(A, B);
    check(A(0, 2) == 2.0 && A(1, 3) == 2.0 && A(1, 0) == 2.0, "rows, columns, blocks");
    check(C(0, 0) == 1.0 && C(1, 1) == 5.0, "diagonal");
    check(row(1) == 1.0 && wide.Cols() == 6, "copies");
}

void arithmetic()
{
    Matrix A{{4, 1}, {2, 3}}, B{{1, 2}, {3, 4}};
    const CMatrix Z(B, B);
    Vector x{3, 1}, y{1, -1};
    Matrix C = A * B;
    C += 2.0 * A;
    C *= 0.5;
    Vector Ax = A * x;
    Matrix T = A.Transpose();
    CMatrix H = Z.Adjoint();
    Matrix P = Matrix::HadamardProduct(A, B);
    Matrix S = A.ApplyFunction([](double v) { return v * v; });
    double inner = x.DotProduct(y);
    double length = x.Norm();
    double largest = A.Norm(NormType::InfinityNorm);
    double frobenius = A.Norm(NormType::FrobeniusNorm);
    double trace = A.Trace();
    std::ranges::sort(x);
    double sum = std::accumulate(A.begin(), A.end(), 0.0);
    check(C(0, 0) == (7.0 + 8.0) / 2 && Ax(0) == 13.0, "products");
    check(T(0, 1) == 2.0 && H(0, 1) == Complex(3, -3) && P(1, 1) == 12.0 && S(0, 0) == 16.0, "by cells");
    check(inner == 2.0 && near(length, std::sqrt(10.0)) && largest == 5.0 && near(frobenius, std::sqrt(30.0)),
          "norms");
    check(trace == 7.0 && x(0) == 1.0 && sum == 10.0, "sums");
}

void decompositions()
{
    const Matrix A{{4, 1}, {1, 3}}, tall{{1, 0}, {1, 1}, {1, 2}};
    const Vector b{1, 2}, c{1, 2, 3};
    Matrix x = A.Solve(b);
    Matrix best = tall.Solve(c);
    double d = A.Determinant();
    Matrix inverse = A.Inverse();
    int rank = tall.Rank();
    Matrix pseudo = tall.PseudoInverse();
    LU lu(A);
    Matrix again = lu.Solve(b);
    Cholesky cholesky(A);
    QR qr(tall);
    SymEigen eigen(A);
    SVD svd(tall);
    check(near(x(0, 0), 1.0 / 11) && near(again(1, 0), 7.0 / 11), "solutions");
    check(near(best(0, 0), 1.0) && near(best(1, 0), 1.0) && near(d, 11.0), "least squares, determinant");
    check(near((inverse * A)(0, 0), 1.0) && rank == 2 && pseudo.Rows() == 2, "inverses");
    check(cholesky.Succeeded() && qr.R().Cols() == 2 && eigen.Succeeded() && svd.Succeeded(), "factors");
}

void sparse(const std::string& folder)
{
    SparseAssembler entries(3, 3);
    entries.Add(0, 0, 4.0);
    entries.Add(0, 2, 1.0);
    entries.Add(1, 1, 2.0);
    entries.Add(2, 2, 5.0);
    SparseMatrix S = entries.Assemble();
    for (auto [row, col, value] : S) value *= 2.0;
    S += SparseMatrix::Identity(3);
    S *= 0.5;
    const Vector x{1, 2, 3};
    Vector y = S * x;
    SparseMatrix T = S.Transpose();
    SparseMatrix P = S * T;
    Vector d = S.Diagonal();
    double norm = S.Norm(NormType::OneNorm);
    std::int32_t count = S.NumElements();
    Matrix full = S.ToDense();
    LinearSystem system(S);
    auto answer = system.Solve(Matrix(y));
    std::string told = answer.Explain();
    TruncatedSVD svd(S, 2);
    WriteMatrixFile(folder + "/s.npz", S);
    SparseMatrix U = MatrixFileReader(folder + "/s.npz").ReadSparse();
    WriteMatrixFile(folder + "/x.npy", full);
    Matrix V = MatrixFileReader(folder + "/x.npy").ReadDense();
    check(y(0) == 4.5 + 3.0 && T(2, 0) == 1.0 && P(0, 0) == 4.5 * 4.5 + 1.0, "sparse products");
    check(d(1) == 2.5 && norm == 6.5 && count == 4 && full(2, 2) == 5.5, "sparse figures");
    check(answer.verdict == Verdict::Accurate && near((*answer.x)(1, 0), 2.0) && !told.empty(),
          "sparse solution");
    check(svd.S().Length() == 2 && U(0, 2) == 1.0 && V == full, "singular values and files");
}

} // namespace

int main()
{
    makeMatrices();
    parts();
    arithmetic();
    decompositions();
    const std::string folder =
        std::filesystem::temp_directory_path() / ("lintrix_daily_work_" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    sparse(folder);
    std::filesystem::remove_all(folder);
    std::cout << right << " checks right, " << wrong << " wrong\n";
    return wrong == 0 ? 0 : 1;
}
