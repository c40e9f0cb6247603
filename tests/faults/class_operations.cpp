// One operation of the classes in a fresh process, which memory may fail: `class_operations NAME`. Without a
// name the names, a line each. Exit code: 0 done, 3 ended by a failure of the library or std::bad_alloc, 4 by
// another.

#include <lintrix/lintrix.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <sstream>

using namespace Velmar::Lintrix;

namespace {

constexpr int kSize = 30;

Matrix dense(int rows, int cols)
{
    Matrix A(rows, cols);
    for (int j = 0; j < cols; ++j)
        for (int i = 0; i < rows; ++i) A(i, j) = 1.0 / (1.0 + i + 2.0 * j);
    return A;
}

Matrix square()
{
    Matrix A = dense(kSize, kSize);
    for (int i = 0; i < kSize; ++i) A(i, i) += kSize;
    return A;
}

Matrix definite()
{
    const Matrix A = square();
    return A * A.Transpose();
}

SparseMatrix laplacian(bool symmetric)
{
    SparseAssembler entries(kSize, kSize,
                            {.storage = symmetric ? AssemblyStorage::Symmetric : AssemblyStorage::General});
    for (int i = 0; i < kSize; ++i) {
        entries.Add(i, i, 4.0);
        if (i + 1 < kSize) entries.Add(i, i + 1, -1.0);
        if (i + 1 < kSize && !symmetric) entries.Add(i + 1, i, -1.5);
    }
    return entries.Assemble();
}

CSparseMatrix complexLaplacian(bool hermitian)
{
    CSparseAssembler entries(kSize, kSize,
                             {.storage = hermitian ? AssemblyStorage::Hermitian : AssemblyStorage::General});
    for (int i = 0; i < kSize; ++i) {
        entries.Add(i, i, 4.0);
        if (i + 1 < kSize) entries.Add(i, i + 1, {-1.0, 0.5});
        if (i + 1 < kSize && !hermitian) entries.Add(i + 1, i, {-1.5, 0.5});
    }
    return entries.Assemble();
}

void archive(const Matrix& A, bool json)
{
    SerializationInfo info;
    A.GetObjectData(info, StreamingContext());
    std::stringstream stream;
    if (json) {
        WriteArchiveJson(stream, info);
        ReadArchiveJson(stream);
    } else {
        WriteArchive(stream, info);
        ReadArchive(stream);
    }
}

void matrixMarket(const SparseMatrix& A)
{
    std::stringstream text;
    WriteMatrixMarket(text, A);
    ReadMatrixMarket(text);
}

CMatrix complexSquare()
{
    return CMatrix(square(), dense(kSize, kSize));
}

CVector complexOnes()
{
    return CVector(kSize, Complex(1.0, -1.0));
}

void archive(const CMatrix& A)
{
    FromArchive<CMatrix>(ToArchive(A));
}

struct Operation {
    const char* name;
    void (*run)();
};

const Vector ones(kSize, 1.0); // made before main, where memory does not fail yet

const Operation kOperations[] = {
    {"Matrix.Copy", [] { square().Clone(); }},
    {"Matrix.Sum", [] { square() + square(); }},
    {"Matrix.Product", [] { square() * square(); }},
    {"Matrix.ProductWithVector", [] { square() * ones; }},
    {"Matrix.Transpose", [] { dense(40, 20).Transpose(); }},
    {"Matrix.Resize", [] { square().Resize(50, 60); }},
    {"Matrix.InsertRow", [] { square().InsertRow(3); }},
    {"Matrix.DeleteColumn", [] { square().DeleteColumn(3); }},
    {"Matrix.SortRows", [] { square().SortRows(2, SortOrder::Descending); }},
    {"Matrix.Concatenate", [] { Matrix::Concatenate(square(), square()); }},
    {"Matrix.Correlation", [] { dense(40, 5).CorrelationMatrix(); }},
    {"Matrix.NormalizeCols", [] { square().NormalizeCols(NormalizeMode::ZScores); }},
    {"Matrix.FillRandom", [] { square().FillRandom(); }},
    {"Matrix.Norm", [] { square().Norm(NormType::FrobeniusNorm); }},
    {"Matrix.Text", [] { square().ToString("E5"); }},
    {"Matrix.Bytes", [] { Matrix(kSize, kSize).Data(square().Data()); }},
    {"Matrix.Array", [] { square().ToArray(); }},
    {"Matrix.Hash", [] { square().GetHashCode(); }},
    {"Matrix.Archive", [] { archive(square(), false); }},
    {"Matrix.ArchiveJson", [] { archive(square(), true); }},
    {"Matrix.SolveSquare", [] { square().Solve(dense(kSize, 2)); }},
    {"Matrix.SolveTall", [] { dense(40, 5).Solve(dense(40, 2)); }},
    {"Matrix.SolveWide", [] { dense(5, 40).Solve(dense(5, 2)); }},
    {"Matrix.Inverse", [] { square().Inverse(); }},
    {"Matrix.Determinant", [] { square().Determinant(); }},
    {"Matrix.Rank", [] { square().Rank(); }},
    {"Matrix.PseudoInverse", [] { dense(20, 10).PseudoInverse(); }},
    {"Vector.Sum", [] { ones + ones; }},
    {"Vector.DotProduct", [] { ones.DotProduct(Vector(kSize, 2.0)); }},
    {"Vector.Text", [] { ones.ToString("F2"); }},
    {"Vector.ToMatrix", [] { ones.ToMatrix(); }},
    {"Matrix.ToCMatrix", [] { square().ToCMatrix(); }},
    {"CMatrix.Copy", [] { complexSquare().Clone(); }},
    {"CMatrix.Sum", [] { complexSquare() + complexSquare(); }},
    {"CMatrix.Product", [] { complexSquare() * complexSquare(); }},
    {"CMatrix.ProductWithReal", [] { complexSquare() * square(); }},
    {"CMatrix.ProductWithVector", [] { complexSquare().Times(complexOnes()); }},
    {"CMatrix.Adjoint", [] { complexSquare().Adjoint(); }},
    {"CMatrix.Parts", [] { complexSquare().Imag(); }},
    {"CMatrix.Resize", [] { complexSquare().Resize(50, 60); }},
    {"CMatrix.ReorderRows",
     [] {
         CMatrix(2, 2).ReorderRows({1, 0});
     }},
    {"CMatrix.DeleteRow", [] { complexSquare().DeleteRow(3); }},
    {"CMatrix.Concatenate", [] { CMatrix::Concatenate(complexSquare(), complexSquare()); }},
    {"CMatrix.NormalizeRows", [] { complexSquare().NormalizeRows(NormalizeMode::UnitLength); }},
    {"CMatrix.Norm", [] { complexSquare().Norm(NormType::InfinityNorm); }},
    {"CMatrix.Text", [] { complexSquare().ToString("E5"); }},
    {"CMatrix.Bytes", [] { CMatrix(2, 2).Data(complexSquare().Data()); }},
    {"CMatrix.Array", [] { complexSquare().ToArray(); }},
    {"CMatrix.Archive", [] { archive(complexSquare()); }},
    {"CVector.Sum", [] { complexOnes() + complexOnes(); }},
    {"CVector.Quotient", [] { 2.0 / complexOnes(); }},
    {"CVector.DotProduct", [] { complexOnes().DotProduct(complexOnes()); }},
    {"CVector.Resize", [] { complexOnes().Resize(kSize); }},
    {"CVector.Text", [] { complexOnes().ToString("F2"); }},
    {"CVector.ToCMatrix", [] { complexOnes().ToCMatrix(); }},
    {"LU.Factors", [] { LU(square()).GetPivots(); }},
    {"QR.Pivoting", [] { QR(square(), true).R(); }},
    {"LQ.Factor", [] { LQ(dense(10, 20)).L(); }},
    {"Cholesky.Solve", [] { Cholesky(definite()).Solve(dense(kSize, 1)); }},
    {"SVD.Vectors", [] { SVD(dense(20, 30)).V(); }},
    {"SymEigen.Vectors", [] { SymEigen(definite()).Eigenvectors(); }},
    {"Eigen.Vectors", [] { Eigen(square(), true, true).LeftEigenvectors(); }},
    {"CLU.Inverse", [] { CLU(complexSquare()).Inverse(); }},
    {"CQR.Pivoting", [] { CQR(complexSquare(), true).Q(); }},
    {"CLQ.Solve", [] { CLQ(complexSquare()).Solve(complexSquare()); }},
    {"CCholesky.Factor", [] { CCholesky(complexSquare()).L(); }},
    {"CSVD.PseudoInverse", [] { CSVD(complexSquare()).PseudoInverse(); }},
    {"CSymEigen.Vectors", [] { CSymEigen(complexSquare()).Eigenvectors(); }},
    {"CEigen.Vectors", [] { CEigen(complexSquare(), true, true).LeftEigenvectors(); }},
    {"CMatrix.Solve", [] { complexSquare().Solve(complexSquare()); }},
    {"CMatrix.Divide", [] { complexSquare() / complexSquare(); }},
    {"SparseMatrix.FromDense", [] { SparseMatrix{square()}; }},
    {"SparseMatrix.Assemble", [] { laplacian(true); }},
    {"SparseMatrix.Insert", [] { laplacian(false)(0, kSize - 1) = 1.0; }},
    {"SparseMatrix.Sum", [] { laplacian(false) + laplacian(false); }},
    {"SparseMatrix.Product", [] { laplacian(false) * laplacian(false); }},
    {"SparseMatrix.ProductWithVector", [] { laplacian(true) * ones; }},
    {"SparseMatrix.VectorTimes", [] { ones* laplacian(false); }},
    {"SparseMatrix.Transpose", [] { laplacian(false).Transpose(); }},
    {"SparseMatrix.MatrixMarket", [] { matrixMarket(laplacian(true)); }},
    {"SparseSolver.Unsymmetric",
     [] {
         const SparseMatrix A = laplacian(false);
         SparseSolver(A).Solve(ones);
     }},
    {"SparseSolver.Symmetric",
     [] {
         const SparseMatrix A = laplacian(true);
         SparseSolver(A).Solve(ones);
     }},
    {"SparseSolver.PositiveDefinite",
     [] {
         const SparseMatrix A = laplacian(true);
         SparseSolver solver(A);
         solver.MatrixType(MatrixType::PositiveDefinite);
         solver.Solve(dense(kSize, 3));
     }},
    {"SparseSolver.NestedDissection",
     [] {
         const SparseMatrix A = laplacian(true);
         SparseSolver solver(A);
         solver.FillInReducingMethod(FillInReducingMethod::NestedDissection);
         solver.Solve(ones);
     }},
    {"CSparseSolver.Unsymmetric",
     [] {
         const CSparseMatrix A = complexLaplacian(false);
         CSparseSolver(A).Solve(CVector(kSize, 1.0));
     }},
    {"CSparseSolver.PositiveDefinite",
     [] {
         const CSparseMatrix A = complexLaplacian(true);
         CSparseSolver solver(A);
         solver.MatrixType(MatrixType::PositiveDefinite);
         solver.Solve(CMatrix(kSize, 3));
     }},
    {"SparseSVD.Triplets", [] { SparseSVD(laplacian(false), 2, 1e-6); }},
    {"Configuration.FreeBuffers",
     [] {
         ones* laplacian(false);
         TrellConfiguration::FreeBuffers();
     }},
};

int run(const Operation& operation)
{
    try {
        operation.run();
    } catch (const MatrixException& failure) {
        std::fputs(failure.what(), stderr);
        return 3;
    } catch (const std::bad_alloc& failure) {
        std::fputs(failure.what(), stderr);
        return 3;
    } catch (const std::exception& failure) {
        std::fputs(failure.what(), stderr);
        return 4;
    }
    return 0;
}

} // namespace

int main(int count, char** arguments)
{
    for (const Operation& operation : kOperations) {
        if (count == 1) std::puts(operation.name);
        if (count == 2 && std::strcmp(operation.name, arguments[1]) == 0) return run(operation);
    }
    return count == 1 ? 0 : 1;
}
