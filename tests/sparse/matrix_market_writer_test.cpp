// The writer of Matrix Market files: what it writes, what it refuses, and that all of it comes back.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/dense/vector.h>
#include <lintrix/sparse/matrix_market.h>
#include <lintrix/sparse/sparse_assembler.h>

#include <tests/support/expect_failure.h>
#include <tests/support/files.h>

#include <gmock/gmock.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
const char* const kFinite = "Matrix Market files hold finite numbers only";

template <class Content>
std::string textOf(const Content& content)
{
    std::ostringstream out;
    WriteMatrixMarket(out, content);
    return out.str();
}

/// Finite doubles of all magnitudes, with the edges of the range first.
std::vector<double> anyValues(std::size_t count)
{
    std::mt19937_64 generator(11);
    std::vector<double> values{
        0.0,    -0.0,       0.1, 1.0 / 3.0, 1e22, 4.9406564584124654e-324, -1.7976931348623157e308,
        2e-308, 123456789.0};
    while (values.size() < count) {
        const auto value = std::bit_cast<double>(generator());
        if (std::isfinite(value)) values.push_back(value);
    }
    return values;
}

bool sameBits(double x, double y)
{
    return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y);
}

TEST(MatrixMarketWriter, DenseMatricesBecomeArraysWithTheShortestDigits)
{
    EXPECT_EQ(textOf(Matrix{{1.0, 1e300}, {-0.1, 2.5}}),
              "%%MatrixMarket matrix array real general\n2 2\n1\n-0.1\n1e+300\n2.5\n");
}

TEST(MatrixMarketWriter, ComplexArraysHaveTwoNumbersALine)
{
    EXPECT_EQ(textOf(CMatrix{{{1.0, -0.5}}, {{0.0, 1e300}}}),
              "%%MatrixMarket matrix array complex general\n2 1\n1 -0.5\n0 1e+300\n");
}

TEST(MatrixMarketWriter, EveryComplexCellComesBackBitByBit)
{
    const std::vector<double> values = anyValues(2000);
    CMatrix A(100, 10);
    for (int k = 0; k < 1000; ++k) {
        const auto at = 2 * static_cast<std::size_t>(k);
        A(k % 100, k / 100) = {values[at], values[at + 1]};
    }
    std::stringstream file(textOf(A));
    const CMatrix back = ReadMatrixMarketComplexDense(file);
    ASSERT_EQ(back.Rows(), 100);
    ASSERT_EQ(back.Cols(), 10);
    for (int k = 0; k < 1000; ++k) {
        EXPECT_TRUE(sameBits(back(k % 100, k / 100).real(), A(k % 100, k / 100).real()));
        EXPECT_TRUE(sameBits(back(k % 100, k / 100).imag(), A(k % 100, k / 100).imag()));
    }
}

TEST(MatrixMarketWriter, ComplexArraysThatNoFileHoldsAreRefused)
{
    expectFailure<ArgumentException>([&] { textOf(CMatrix{{{0.0, kNaN}}, {1.0}}); }, kFinite);
    expectFailure<ArgumentException>([&] { textOf(CMatrix{{1.0}, {{kInfinity, 0.0}}}); }, kFinite);
}

TEST(MatrixMarketWriter, SparseMatricesGoRowByRowWithStoredZeros)
{
    SparseAssembler entries(2, 3);
    entries.Add(1, 2, -7.5);
    entries.Add(0, 1, 0.0);
    entries.Add(1, 0, 3.0);
    EXPECT_EQ(textOf(entries.Assemble()),
              "%%MatrixMarket matrix coordinate real general\n2 3 3\n1 2 0\n2 1 3\n2 3 -7.5\n");
}

TEST(MatrixMarketWriter, SymmetricMatricesAreWrittenAsTheLowerTriangle)
{
    SparseAssembler entries(2, 2, {.storage = AssemblyStorage::Symmetric});
    entries.Add(0, 1, 4.0);
    entries.Add(1, 1, 5.0);
    EXPECT_EQ(textOf(entries.Assemble()),
              "%%MatrixMarket matrix coordinate real symmetric\n2 2 3\n1 1 0\n2 1 4\n2 2 5\n");
}

// The flag may be set on any matrix, but not every one can be told in a symmetric file.
TEST(MatrixMarketWriter, MarkedSymmetricButNoUpperTriangleIsRefusedBeforeAnythingIsWritten)
{
    SparseMatrix wide(2, 3), full({1, 2, 3, 4}, {0, 2, 4}, {0, 1, 0, 1}),
        upper({1, 2, 4}, {0, 2, 3}, {0, 1, 1});
    for (SparseMatrix* A : {&wide, &full, &upper}) A->Symmetric(true);
    std::ostringstream out;
    expectFailure<NotSquareMatrixException>([&] { WriteMatrixMarket(out, wide); }, "Matrix is not square.");
    expectFailure<ArgumentException>([&] { WriteMatrixMarket(out, full); },
                                     "A symmetric matrix has elements below its diagonal");
    EXPECT_EQ(out.str(), "");
    WriteMatrixMarket(out, upper);
    std::istringstream in(out.str());
    EXPECT_TRUE(ReadMatrixMarket(in).ToDense() == upper.ToDense());
}

TEST(MatrixMarketWriter, ComplexSparseMatricesHaveTwoNumbersAnEntryAndHermitianOnesTheLowerTriangle)
{
    CSparseMatrix A(2, 3);
    A(0, 2) = Complex(1, -2);
    A(1, 0) = 0.0;
    EXPECT_EQ(textOf(A), "%%MatrixMarket matrix coordinate complex general\n2 3 2\n1 3 1 -2\n2 1 0 0\n");
    CSparseMatrix H(2, true);
    H(0, 0) = 4.0;
    H(0, 1) = Complex(0.5, 3);
    EXPECT_EQ(textOf(H),
              "%%MatrixMarket matrix coordinate complex hermitian\n2 2 3\n1 1 4 0\n2 1 0.5 -3\n2 2 0 0\n");
}

TEST(MatrixMarketWriter, EveryComplexSparseValueComesBackBitByBit)
{
    const std::vector<double> values = anyValues(400);
    CSparseMatrix A(20, 20, 400), H(20, true);
    std::size_t next = 0;
    for (int i = 0; i < 20; ++i) {
        for (int j = 0; j < 10; ++j, next += 2) A(i, j) = Complex(values[next], values[next + 1]);
        for (int j = i + 1; j < 20; j += 3) H(i, j) = A(i, j % 10);
        H(i, i) = values[static_cast<std::size_t>(i)];
    }
    const auto expectBack = [](const CSparseMatrix& written) {
        std::istringstream in(textOf(written));
        const CSparseMatrix read = ReadMatrixMarketComplex(in);
        EXPECT_EQ(read.Hermitian(), written.Hermitian());
        ASSERT_EQ(read.NumElements(), written.NumElements());
        EXPECT_TRUE(std::ranges::equal(read.RowPointers(), written.RowPointers()));
        EXPECT_TRUE(std::ranges::equal(read.ColumnIndices(), written.ColumnIndices()));
        for (std::size_t k = 0; k < read.Values().size(); ++k) {
            EXPECT_TRUE(sameBits(read.Values()[k].real(), written.Values()[k].real())) << k;
            EXPECT_EQ(read.Values()[k].imag(), written.Values()[k].imag()) << k;
        }
    };
    expectBack(A);
    expectBack(H);
}

TEST(MatrixMarketWriter, ComplexSparseMatricesThatNoFileHoldsAreRefusedBeforeAnythingIsWritten)
{
    const auto refused = [](const CSparseMatrix& A, const char* text) {
        std::ostringstream out;
        expectFailure<ArgumentException>([&] { WriteMatrixMarket(out, A); }, text);
        EXPECT_EQ(out.str(), "");
    };
    CSparseMatrix A(2, 2);
    A(0, 1) = Complex(1, kNaN);
    refused(A, kFinite);
    CSparseMatrix H(2, true);
    H(1, 1) = Complex(1, 1e-300);
    refused(H, "A Hermitian matrix has a real diagonal");
    CSparseMatrix L(2, 2);
    L(1, 0) = 1.0;
    L.Hermitian(true);
    refused(L, "A Hermitian matrix has elements below its diagonal");
    CSparseMatrix R(2, 3);
    R.Hermitian(true);
    EXPECT_THROW(textOf(R), NotSquareMatrixException);
}

TEST(MatrixMarketWriter, EmptyMatricesHaveNoEntries)
{
    EXPECT_EQ(textOf(SparseMatrix(3, 2)), "%%MatrixMarket matrix coordinate real general\n3 2 0\n");
}

TEST(MatrixMarketWriter, EveryDenseValueComesBackBitByBit)
{
    const std::vector<double> values = anyValues(20000);
    Matrix matrix(5000, 4);
    for (int k = 0; k < 20000; ++k) matrix(k % 5000, k / 5000) = values[static_cast<std::size_t>(k)];
    std::istringstream in(textOf(matrix));
    const Matrix again = ReadMatrixMarketDense(in);
    for (int k = 0; k < 20000; ++k) {
        ASSERT_TRUE(sameBits(again(k % 5000, k / 5000), values[static_cast<std::size_t>(k)])) << k;
    }
}

TEST(MatrixMarketWriter, EverySparseValueComesBackBitByBit)
{
    const std::vector<double> values = anyValues(20000);
    SparseAssembler entries(200, 100);
    for (int k = 0; k < 20000; ++k) entries.Add(k / 100, k % 100, values[static_cast<std::size_t>(k)]);
    std::istringstream in(textOf(entries.Assemble()));
    const SparseMatrix again = ReadMatrixMarket(in);
    ASSERT_EQ(again.Values().size(), values.size());
    for (std::size_t k = 0; k < values.size(); ++k) ASSERT_TRUE(sameBits(again.Values()[k], values[k])) << k;
}

TEST(MatrixMarketWriter, TripletsOfEveryFieldAndSymmetryComeBack)
{
    using Field = MatrixMarketField;
    using Symmetry = MatrixMarketSymmetry;
    const std::vector<std::pair<Field, Symmetry>> kinds{{Field::Real, Symmetry::General},
                                                        {Field::Real, Symmetry::Symmetric},
                                                        {Field::Real, Symmetry::SkewSymmetric},
                                                        {Field::Integer, Symmetry::General},
                                                        {Field::Integer, Symmetry::Symmetric},
                                                        {Field::Integer, Symmetry::SkewSymmetric},
                                                        {Field::Pattern, Symmetry::General},
                                                        {Field::Pattern, Symmetry::Symmetric},
                                                        {Field::ComplexNumber, Symmetry::General},
                                                        {Field::ComplexNumber, Symmetry::Symmetric},
                                                        {Field::ComplexNumber, Symmetry::SkewSymmetric},
                                                        {Field::ComplexNumber, Symmetry::Hermitian}};
    for (const auto& [field, symmetry] : kinds) {
        MatrixMarketTriplets written{4, 4, field, symmetry, {2, 3, 2}, {0, 1, 0}, {1.0, 1.0, 1.0}};
        if (field != Field::Pattern) written.values = {-3.0, 9007199254740992.0, 0.0};
        if (field == Field::ComplexNumber) written.values[1] = {0.1, -1e-300};
        std::istringstream in(textOf(written));
        const MatrixMarketTriplets read = ReadMatrixMarketTriplets(in);
        EXPECT_EQ(read.field, field);
        EXPECT_EQ(read.symmetry, symmetry);
        EXPECT_EQ(read.rowIndices, written.rowIndices);
        EXPECT_EQ(read.colIndices, written.colIndices);
        EXPECT_EQ(read.values, written.values);
    }
}

TEST(MatrixMarketWriter, FilesEndingInGzAreCompressed)
{
    const Scratch scratch;
    const Matrix matrix{{1, 2}, {3, 4}};
    WriteMatrixMarket(scratch.at("a.mtx"), matrix);
    WriteMatrixMarket(scratch.at("a.mtx.gz"), matrix);
    EXPECT_EQ(contentOf(scratch.at("a.mtx")), textOf(matrix));
    EXPECT_EQ(contentOf(scratch.at("a.mtx.gz")).substr(0, 2), "\x1f\x8b");
    EXPECT_EQ(textOf(ReadMatrixMarketDense(scratch.at("a.mtx.gz"))), textOf(matrix));
}

TEST(MatrixMarketWriter, SinksAreGivenTheTextInPieces)
{
    const Matrix matrix(300, 300);
    std::string text;
    int pieces = 0;
    WriteMatrixMarket(
        [&](std::string_view piece) {
            text += piece;
            ++pieces;
        },
        matrix);
    EXPECT_EQ(text, textOf(matrix));
    EXPECT_GT(pieces, 1);
}

TEST(MatrixMarketWriter, ValuesThatAreNotFiniteAreRefusedBeforeAnythingIsWritten)
{
    const Scratch scratch;
    for (const double value : {kNaN, kInfinity, -kInfinity}) {
        SparseAssembler entries(2, 2);
        entries.Add(1, 1, value);
        const SparseMatrix sparse = entries.Assemble();
        const std::string path = scratch.at("a.mtx");
        expectFailure<ArgumentException>([&] { WriteMatrixMarket(path, sparse); }, kFinite);
        expectFailure<ArgumentException>([&] { WriteMatrixMarket(path, Matrix{{value}}); }, kFinite);
        for (const Complex cell : {Complex(value, 0.0), Complex(0.0, value)}) {
            const CMatrix matrix(1, 1, cell);
            expectFailure<ArgumentException>([&] { WriteMatrixMarket(path, matrix); }, kFinite);
        }
        const MatrixMarketTriplets triplets{.field = MatrixMarketField::ComplexNumber,
                                            .rowIndices = {0},
                                            .colIndices = {0},
                                            .values = {{0.0, value}}};
        expectFailure<ArgumentException>([&] { WriteMatrixMarket(path, triplets); }, kFinite);
    }
    EXPECT_THAT(scratch.names(), ::testing::IsEmpty());
}

TEST(MatrixMarketWriter, MatricesWithoutRowsOrColumnsAreRefusedBeforeAnythingIsWritten)
{
    const Scratch scratch;
    const std::string path = scratch.at("a.mtx"), text = "Invalid number of rows or columns.";
    CMatrix rowless(1, 3), columnless(3, 1);
    rowless.DeleteRow(0);
    columnless.DeleteColumn(0);
    for (const CMatrix& matrix : {rowless, columnless}) {
        expectFailure<InvalidSizeException>([&] { WriteMatrixMarket(path, matrix); }, text);
        expectFailure<InvalidSizeException>([&] { textOf(matrix); }, text);
    }
    const Matrix ofNothing = Vector(std::vector<double>{}).ToMatrix();
    expectFailure<InvalidSizeException>([&] { WriteMatrixMarket(path, ofNothing); }, text);
    EXPECT_THAT(scratch.names(), ::testing::IsEmpty());
}

TEST(MatrixMarketWriter, TripletsThatNoFileHoldsAreRefused)
{
    using T = MatrixMarketTriplets;
    using Field = MatrixMarketField;
    using Symmetry = MatrixMarketSymmetry;
    const auto general = [](Field field, std::vector<int> rows, std::vector<int> cols,
                            std::vector<Complex> values) {
        return T{2, 2, field, Symmetry::General, std::move(rows), std::move(cols), std::move(values)};
    };
    const auto with = [](Field field, Symmetry symmetry, int row, int col, Complex value) {
        return T{2, 2, field, symmetry, {row}, {col}, {value}};
    };
    const char* const kSizes = "Row indices, column indices and values should have equal size";
    const char* const kTriangle = "The entry is not in the triangle that its symmetry stores";
    const char* const kValue = "A value is not of the field or symmetry it is written in";
    const char* const kField = "The field does not go with the symmetry";
    const auto refused = [](const T& triplets, const char* text) {
        expectFailure<ArgumentException>([&] { textOf(triplets); }, text);
    };
    refused(general(Field::Real, {0}, {0, 1}, {1.0}), kSizes);
    refused(general(Field::Real, {0}, {0}, {}), kSizes);
    refused(with(Field::Real, Symmetry::Symmetric, 0, 1, 1.0), kTriangle);
    refused(with(Field::Real, Symmetry::SkewSymmetric, 1, 1, 1.0), kTriangle);
    refused(with(Field::Real, Symmetry::General, 0, 0, {1.0, 1.0}), kValue);
    refused(with(Field::Integer, Symmetry::General, 0, 0, 1.5), kValue);
    refused(with(Field::Integer, Symmetry::General, 0, 0, 1e300), kValue);
    refused(with(Field::ComplexNumber, Symmetry::Hermitian, 1, 1, {1.0, 1.0}), kValue);
    refused(with(Field::Real, Symmetry::Hermitian, 1, 1, 1.0), kField);
    refused(with(Field::Pattern, Symmetry::SkewSymmetric, 1, 0, 1.0), kField);
    expectFailure<IndexOutOfBoundsException>([&] { textOf(general(Field::Real, {2}, {0}, {1.0})); },
                                             "Row index exceeds matrix size.");
    expectFailure<IndexOutOfBoundsException>([&] { textOf(general(Field::Real, {0}, {-1}, {1.0})); },
                                             "Column index exceeds matrix size.");
    expectFailure<NotSquareMatrixException>([&] { textOf(T{.rows = 2, .symmetry = Symmetry::Symmetric}); },
                                            "Matrix is not square.");
    expectFailure<InvalidSizeException>([&] { textOf(T{.rows = 0}); }, "Invalid number of rows or columns.");
}

TEST(MatrixMarketWriter, WhatTheSystemRefusesIsTold)
{
    const Scratch scratch;
    expectFailure<FileFormatException>([&] { WriteMatrixMarket(scratch.at("none/a.mtx"), Matrix(1, 1)); },
                                       scratch.at("none/a.mtx") +
                                           ": cannot be opened: No such file or directory");
    expectFailure<FileFormatException>([] { WriteMatrixMarket("/dev/full", Matrix(200, 200)); },
                                       "/dev/full: cannot be written: No space left on device");
    expectFailure<FileFormatException>([] { WriteMatrixMarket("/dev/full", Matrix(1, 1)); },
                                       "/dev/full: cannot be written: No space left on device");
    std::ostringstream out;
    out.setstate(std::ios::badbit);
    expectFailure<FileFormatException>([&] { WriteMatrixMarket(out, Matrix(1, 1)); },
                                       "stream: cannot be written");
}

} // namespace
} // namespace Velmar::Lintrix::testing
