// CSVD, CSymEigen, CEigen, and the complex results of Eigen.

#include <lintrix/decompositions/eigen.h>
#include <lintrix/decompositions/svd.h>
#include <lintrix/decompositions/sym_eigen.h>

#include "tests/decompositions/cases.h"

#include <limits>
#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

using namespace std::complex_literals;

constexpr const char* kNotSquare = "Matrix is not square.";
constexpr const char* kIndex = "Row or column index exceeds matrix size.";
constexpr BalanceType kBalances[] = {BalanceType::None, BalanceType::Scale, BalanceType::Permute,
                                     BalanceType::Both};

CMatrix complexOf(const Matrix& A)
{
    CMatrix C(A.Rows(), A.Cols());
    for (int j = 0; j < A.Cols(); ++j) {
        for (int i = 0; i < A.Rows(); ++i) C(i, j) = A(i, j);
    }
    return C;
}

// The real 2n x 2n matrix [re -im; im re], which has the spectrum of a Hermitian A twice, and its singular
// values twice whatever A is.
Matrix doubled(const CMatrix& A)
{
    const int m = A.Rows(), n = A.Cols();
    Matrix D(2 * m, 2 * n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < m; ++i) {
            D(i, j) = D(m + i, n + j) = A(i, j).real();
            D(m + i, j) = A(i, j).imag();
            D(i, n + j) = -A(i, j).imag();
        }
    }
    return D;
}

Vector everySecond(const Vector& x)
{
    Vector y(x.Length() / 2);
    for (int i = 0; i < y.Length(); ++i) y(i) = x(2 * i);
    return y;
}

// The first `count` rows of VH; the others are zero.
CMatrix definedV(const CSVD& svd, int count)
{
    return svd.V()->SubMatrix(0, svd.V()->Rows() - 1, 0, count - 1);
}

// ---- singular values

TEST(CSVD, FactorsReproduceTheMatrixAndAreUnitary)
{
    forEachMatrix<CMatrix>(anyShape, [](const CMatrix& A) {
        const CSVD svd(A);
        const int count = std::min(A.Rows(), A.Cols());
        ASSERT_TRUE(svd.Succeeded());
        const CMatrix U = svd.U().value(), V = definedV(svd, count);
        EXPECT_LT(orthogonalityRatio(U), kResidualLimit);
        EXPECT_LT(orthogonalityRatio(V), kResidualLimit);
        EXPECT_TRUE(identical(svd.V().value(), naiveAdjoint(svd.VH().value())));
        CMatrix US(U);
        for (int j = 0; j < count; ++j) {
            for (int i = 0; i < U.Rows(); ++i) US(i, j) *= svd.SingularValue(j);
        }
        EXPECT_LT(differenceRatio(A, naiveProduct(US, naiveAdjoint(V))), kResidualLimit);
    });
}

TEST(CSVD, SingularValuesAreThoseOfTheDoubledRealMatrix)
{
    forEachMatrix<CMatrix>(anyShape, [](const CMatrix& A) {
        const Vector expected = everySecond(SVD(doubled(A), true).SingularValues());
        const int size = std::max(A.Rows(), A.Cols());
        EXPECT_LT(valuesRatio(expected, CSVD(A).SingularValues(), size, oneNorm(A)), kResidualLimit);
        EXPECT_LT(valuesRatio(expected, CSVD(A, true).SingularValues(), size, oneNorm(A)), kResidualLimit);
    });
}

TEST(CSVD, RealMatrixGivesItsOwnSingularValuesInARealS)
{
    const Matrix A = matrixWith({5, 3}, Spectrum::Geometric, kSeed);
    const CSVD svd(complexOf(A));
    static_assert(std::is_same_v<decltype(svd.S()), Matrix>);
    EXPECT_LT(valuesRatio(SVD(A).SingularValues(), svd.SingularValues(), 5, oneNorm(A)), kResidualLimit);
    EXPECT_EQ(svd.S().Rows(), 3);
    EXPECT_EQ(svd.S().Cols(), 3);
    EXPECT_LT(differenceRatio(complexOf(A), svd.U().value() * svd.S().ToCMatrix() * svd.VH().value()),
              kResidualLimit);
    EXPECT_LT(differenceRatio(complexOf(A), svd.U().value() * svd.S() * svd.VH().value()), kResidualLimit);
    const CSVD wide(complexOf(A.Transpose()));
    EXPECT_EQ(wide.S().Rows(), 3);
    EXPECT_EQ(wide.S().Cols(), 5);
}

TEST(CSVD, ValuesAloneHaveNoVectors)
{
    const CSVD svd(CMatrix{{1i, 2.0}, {3.0, 4i}}, true);
    EXPECT_EQ(svd.U(), std::nullopt);
    EXPECT_EQ(svd.V(), std::nullopt);
    EXPECT_EQ(svd.VH(), std::nullopt);
    EXPECT_EQ(svd.PseudoInverse(), std::nullopt);
    EXPECT_EQ(svd.PseudoInverse(0.5), std::nullopt);
    EXPECT_EQ(svd.Rank(), 2);
    expectFailure<IndexOutOfBoundsException>([&] { svd.SingularValue(2); }, kIndex);
    expectFailure<IndexOutOfBoundsException>([&] { svd.SingularValue(-1); }, kIndex);
}

TEST(CSVD, PseudoInverseFulfilsThePenroseConditions)
{
    forEachMatrix<CMatrix>(
        anyShape, [](const CMatrix& A) { expectPenroseConditions(A, CSVD(A).PseudoInverse().value()); });
    EXPECT_TRUE(identical(CMatrix{{0.5, 0.0}, {0.0, -0.25i}},
                          CMatrix{{2.0, 0.0}, {0.0, 4i}}.PseudoInverse().value()));
}

TEST(CSVD, RankCountsWhatIsAboveTheToleranceAndTheInverseKeepsWhatIsNotBelow)
{
    const CMatrix A{{3i, 0.0, 0.0}, {0.0, 2.0, 0.0}, {0.0, 0.0, 0.0}};
    const CSVD svd(A);
    EXPECT_EQ(svd.Rank(), 2);
    EXPECT_EQ(A.Rank(), 2);
    const double second = svd.SingularValue(1);
    EXPECT_EQ(svd.Rank(second), 1);
    EXPECT_EQ(svd.Rank(-second), 1);
    EXPECT_GT(std::abs((*svd.PseudoInverse(second))(1, 1)), 0.4); // one equal to the tolerance is inverted
    EXPECT_EQ((*svd.PseudoInverse(-2.5))(1, 1), 0.0);
    const CMatrix zero(3, 2);
    EXPECT_EQ(CSVD(zero).Rank(), 0);
    EXPECT_TRUE(std::isnan((*CSVD(zero).PseudoInverse())(0, 0).real()));
}

// max(m, n)*s[0]*2^-52, in either shape.
TEST(CSVD, DefaultToleranceGrowsWithTheLargerSide)
{
    for (const double second : {40.0, 60.0}) { // of 50
        CMatrix tall(50, 2);
        tall(0, 0) = 1i;
        tall(1, 1) = second * 0x1p-52;
        for (const CMatrix& A : {tall, tall.Transpose()}) {
            const bool counts = second > 50.0;
            EXPECT_EQ(A.Rank(), counts ? 2 : 1);
            EXPECT_EQ(CSVD(A).Rank(), counts ? 2 : 1);
            EXPECT_EQ(std::abs((*A.PseudoInverse())(1, 1)) > 1.0, counts);
        }
    }
}

// Of a single row U is 1 or -1, and no rounding but that of the quotients is left.
TEST(CSVD, PseudoInverseDividesTheVectorsByTheSingularValues)
{
    for (int k = 1; k <= 20; ++k) {
        const CMatrix A{{Complex(k, 1), Complex(1, -k), 3.0, Complex(0, k + 0.5)}};
        const CSVD svd(A);
        const double s = svd.SingularValue(0);
        const CMatrix VH = svd.VH().value(), inverse = svd.PseudoInverse().value();
        const Complex u = (*svd.U())(0, 0);
        ASSERT_EQ(u * u, 1.0);
        for (int j = 0; j < 4; ++j) {
            EXPECT_EQ(inverse(j, 0), Complex(VH(0, j).real() / s, -(VH(0, j).imag() / s)) * u.real());
        }
    }
}

TEST(CSVD, SingularValuesAreAsManyAsTheSmallerSideHasCells)
{
    for (const CMatrix& A : {CMatrix(5, 2, 1i), CMatrix(2, 5, 1i)}) {
        const CSVD svd(A);
        EXPECT_NO_THROW(svd.SingularValue(1));
        expectFailure<IndexOutOfBoundsException>([&] { svd.SingularValue(2); }, kIndex);
    }
}

// ---- Hermitian eigenvalues

std::vector<double> spread(int n)
{
    std::vector<double> eigenvalues;
    for (int i = 0; i < n; ++i) eigenvalues.push_back((i % 3 - 1.0) * (1.0 + i));
    return eigenvalues;
}

TEST(CSymEigen, EigenpairsFulfilTheirEquationAndFall)
{
    const Threads one(1);
    for (const int n : {1, 2, 3, 7, 64, 65, 130}) {
        SCOPED_TRACE(n);
        const CMatrix A = symmetricWith<CMatrix>(spread(n), kSeed);
        const CSymEigen eigen(A);
        ASSERT_TRUE(eigen.Succeeded());
        const CMatrix X = eigen.Eigenvectors().value();
        EXPECT_LT(orthogonalityRatio(X), kResidualLimit);
        CMatrix XD(X);
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) XD(i, j) *= eigen.Eigenvalue(j);
            if (j > 0) {
                EXPECT_LE(eigen.Eigenvalue(j), eigen.Eigenvalue(j - 1));
            }
        }
        EXPECT_LT(differenceRatio(naiveProduct(A, X), XD) * oneNorm(naiveProduct(A, X)) / oneNorm(A),
                  kResidualLimit);
        const Vector expected = everySecond(SymEigen(doubled(A), false).Eigenvalues());
        EXPECT_LT(valuesRatio(expected, eigen.Eigenvalues(), n, oneNorm(A)), kResidualLimit);
        EXPECT_LT(valuesRatio(expected, CSymEigen(A, false).Eigenvalues(), n, oneNorm(A)), kResidualLimit);
    }
}

TEST(CSymEigen, MembersBelongTogether)
{
    const CMatrix A{{2.0, 1i}, {-1i, 2.0}}; // 3 with (i, 1), 1 with (-i, 1)
    const CSymEigen eigen(A);
    static_assert(std::is_same_v<decltype(eigen.D()), Matrix>);
    EXPECT_EQ(eigen.Size(), 2);
    EXPECT_NEAR(eigen.Eigenvalue(0), 3.0, 8 * kEps);
    EXPECT_NEAR(eigen.Eigenvalue(1), 1.0, 8 * kEps);
    EXPECT_EQ(eigen.D()(0, 0), eigen.Eigenvalue(0));
    EXPECT_EQ(eigen.D()(1, 0), 0.0);
    const CVector x = eigen.Eigenvector(0).value();
    EXPECT_NEAR(std::abs(x(0) - 1i * x(1)), 0.0, 8 * kEps);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(x(i), (*eigen.Eigenvectors())(i, 0));
    expectFailure<IndexOutOfBoundsException>([&] { eigen.Eigenvalue(2); }, kIndex);
    const CSymEigen values(A, false);
    EXPECT_EQ(values.Eigenvectors(), std::nullopt);
    EXPECT_EQ(values.Eigenvector(1), std::nullopt);
    expectFailure<IndexOutOfBoundsException>([&] { values.Eigenvector(2); }, kIndex);
    expectFailure<NotSquareMatrixException>([] { CSymEigen{CMatrix(2, 3)}; }, kNotSquare);
}

TEST(CSymEigen, ReadsTheLowerTriangleAndTheRealDiagonal)
{
    CMatrix A = symmetricWith<CMatrix>(spread(7), kSeed), spoiled(A);
    for (int j = 0; j < 7; ++j) {
        for (int i = 0; i < j; ++i) spoiled(i, j) = {std::numeric_limits<double>::quiet_NaN(), 1e300};
        spoiled(j, j) += 1i;
    }
    EXPECT_TRUE(identical(CSymEigen(A).Eigenvalues(), CSymEigen(spoiled).Eigenvalues()));
}

// ---- general eigenvalues

// The largest ||A*x - w*x||_1 / (||A||_1*||x||_1*eps) over the pairs, without a factor of size.
double pairRatio(const CMatrix& A, const CVector& values, const CMatrix& vectors)
{
    double worst = 0.0;
    const CMatrix AX = naiveProduct(A, vectors);
    for (int k = 0; k < A.Rows(); ++k) {
        double residual = 0.0, length = 0.0;
        for (int i = 0; i < A.Rows(); ++i) {
            residual += std::abs(AX(i, k) - values(k) * vectors(i, k));
            length += std::abs(vectors(i, k));
        }
        const double ratio = residual == 0.0 ? 0.0 : residual / (oneNorm(A) * length * kEps);
        worst = ratio <= worst ? worst : ratio; // a NaN stays
    }
    return worst;
}

CVector conjugates(const CVector& x)
{
    CVector y(x);
    for (int i = 0; i < y.Length(); ++i) y(i) = std::conj(y(i));
    return y;
}

// U^H*A = D*U^H is A^H*U = U*conj(D).
template <class AnyEigen>
void expectEigenpairs(const CMatrix& A, const AnyEigen& eigen)
{
    EXPECT_TRUE(eigen.Succeeded());
    EXPECT_LT(pairRatio(A, eigen.Eigenvalues(), eigen.Eigenvectors().value()), kResidualLimit);
    EXPECT_LT(pairRatio(naiveAdjoint(A), conjugates(eigen.Eigenvalues()), eigen.LeftEigenvectors().value()),
              kResidualLimit);
}

// Errors are small against the scaled matrix: against A itself as well where its rows are alike in size.
bool isJudged(Spectrum spectrum, BalanceType balance)
{
    return spectrum != Spectrum::Graded || balance == BalanceType::None || balance == BalanceType::Permute;
}

TEST(CEigen, RightAndLeftEigenvectorsFulfilTheirEquations)
{
    const Threads one(1);
    for (const Shape& shape : squareShapes()) {
        for (const Spectrum spectrum : allSpectra()) {
            for (const BalanceType balance : kBalances) {
                if (!isJudged(spectrum, balance)) continue;
                SCOPED_TRACE(::testing::Message() << shape << ", " << spectrum);
                const CMatrix A = matrixWith<CMatrix>(shape, spectrum, kSeed);
                expectEigenpairs(A, CEigen(A, true, true, balance));
                const Matrix R = matrixWith(shape, spectrum, kSeed);
                expectEigenpairs(complexOf(R), Eigen(R, true, true, balance));
            }
        }
    }
}

// At the ends of the range; defective; a cyclic shift.
TEST(CEigen, HardMatricesHaveSmallResiduals)
{
    const Threads one(1);
    for (const double scale : {1e-140, 1e-20, 1.0, 1e20, 1e140}) {
        SCOPED_TRACE(scale);
        CMatrix A = matrixWith<CMatrix>({9, 9}, Spectrum::Random, kSeed);
        CMatrix jordan(9, 9), shift(9, 9);
        for (int j = 0; j < 9; ++j) {
            for (int i = 0; i < 9; ++i) A(i, j) *= scale;
            jordan(j, j) = (1.0 + 2i) * scale;
            if (j > 0) jordan(j - 1, j) = shift(j - 1, j) = scale;
        }
        shift(8, 0) = 1i * scale;
        for (const CMatrix& B : {A, jordan, shift}) {
            const CEigen eigen(B);
            EXPECT_LT(pairRatio(B, eigen.Eigenvalues(), eigen.Eigenvectors().value()), kResidualLimit);
        }
    }
}

TEST(CEigen, EigenvaluesOfATriangleStandOnItsDiagonal)
{
    const CMatrix A{{1i, 5.0, 7.0}, {0.0, -2.0, 3i}, {0.0, 0.0, 4.0 + 1i}};
    const CEigen eigen(A, false);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(eigen.Eigenvalue(i), A(i, i)); // the routine's order, unsorted
    EXPECT_EQ(eigen.D()(1, 1), -2.0);
    EXPECT_EQ(eigen.D()(0, 1), 0.0);
}

TEST(CEigen, RealMatricesHaveTheEigenvaluesOfTheRealClass)
{
    const Matrix A = matrixWith({7, 7}, Spectrum::Random, kSeed);
    const CVector ours = CEigen(complexOf(A)).Eigenvalues(), real = Eigen(A).Eigenvalues();
    for (int i = 0; i < 7; ++i) {
        double nearest = 1.0;
        for (int k = 0; k < 7; ++k) nearest = std::min(nearest, std::abs(ours(k) - real(i)));
        EXPECT_LT(nearest, 1e-12);
    }
}

template <class AnyEigen, class M>
void expectMembersBelongTogether(const M& A)
{
    const AnyEigen eigen(A, true, true);
    const int n = A.Rows();
    const CMatrix right = eigen.Eigenvectors().value(), left = eigen.LeftEigenvectors().value();
    for (int j = 0; j < n; ++j) {
        EXPECT_EQ(eigen.Eigenvalues()(j), eigen.Eigenvalue(j));
        EXPECT_EQ(eigen.D()(j, j), eigen.Eigenvalue(j));
        for (int i = 0; i < n; ++i) {
            EXPECT_EQ((*eigen.Eigenvector(j))(i), right(i, j));
            EXPECT_EQ((*eigen.LeftEigenvector(j))(i), left(i, j));
            if (i != j) {
                EXPECT_EQ(eigen.D()(i, j), 0.0);
            }
        }
    }
    const AnyEigen values(A, false);
    EXPECT_EQ(values.Eigenvectors(), std::nullopt);
    EXPECT_EQ(values.Eigenvector(0), std::nullopt);
    EXPECT_EQ(values.LeftEigenvectors(), std::nullopt);
    EXPECT_EQ(AnyEigen(A).LeftEigenvector(n - 1), std::nullopt);
    for (const int bad : {-1, n}) { // the index is looked at first
        expectFailure<IndexOutOfBoundsException>([&] { values.Eigenvector(bad); }, kIndex);
        expectFailure<IndexOutOfBoundsException>([&] { values.LeftEigenvector(bad); }, kIndex);
        expectFailure<IndexOutOfBoundsException>([&] { values.Eigenvalue(bad); }, kIndex);
    }
    expectFailure<NotSquareMatrixException>([] { AnyEigen{M(2, 3)}; }, kNotSquare);
}

TEST(CEigen, MembersBelongTogether)
{
    expectMembersBelongTogether<CEigen>(matrixWith<CMatrix>({5, 5}, Spectrum::Random, kSeed));
}

TEST(EigenVectors, MembersBelongTogether)
{
    expectMembersBelongTogether<Eigen>(matrixWith({6, 6}, Spectrum::Random, kSeed));
    expectMembersBelongTogether<Eigen>(Matrix{{0, -1}, {1, 0}});
}

TEST(EigenVectors, OfARotationAreConjugates)
{
    const Eigen eigen(Matrix{{0.6, -0.8}, {0.8, 0.6}});
    const CMatrix X = eigen.Eigenvectors().value();
    EXPECT_GT(eigen.Eigenvalue(0).imag(), 0.0);
    EXPECT_EQ(eigen.Eigenvalue(1), std::conj(eigen.Eigenvalue(0)));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(X(i, 1), std::conj(X(i, 0)));
}

TEST(EigenVectors, OfARealSpectrumHaveNoImaginaryParts)
{
    const Eigen eigen(symmetricWith({5, 4, 3, 2, 1, -1, -2}, kSeed)); // apart: rounding makes no pairs
    const CMatrix X = eigen.Eigenvectors().value();
    for (int j = 0; j < 7; ++j) {
        EXPECT_EQ(eigen.Eigenvalue(j).imag(), 0.0);
        for (int i = 0; i < 7; ++i) EXPECT_EQ(X(i, j).imag(), 0.0);
    }
}

// ---- graded matrices: cell (i, j) is scaled by d(i)*d(j) with d from 10^70 to 10^-70

CMatrix graded(const CMatrix& A)
{
    CMatrix G(A);
    const auto d = [n = A.Rows()](int i) {
        return std::pow(10.0, n == 1 ? 70.0 : 70.0 - 140.0 * i / (n - 1));
    };
    for (int j = 0; j < A.Cols(); ++j) {
        for (int i = 0; i < A.Rows(); ++i) G(i, j) *= d(i) * d(j);
    }
    return G;
}

TEST(ComplexSpectra, OfGradedMatricesFulfilTheirEquations)
{
    const Threads one(1);
    for (const int n : {1, 2, 9, 65}) {
        SCOPED_TRACE(n);
        const CMatrix A = graded(matrixWith<CMatrix>({n, n}, Spectrum::Random, kSeed));
        const CEigen eigen(A, true, true, BalanceType::None);
        expectEigenpairs(A, eigen);
        const CSVD svd(A);
        ASSERT_TRUE(svd.Succeeded());
        EXPECT_LT(orthogonalityRatio(svd.U().value()), kResidualLimit);
        EXPECT_LT(orthogonalityRatio(svd.V().value()), kResidualLimit);
        const CMatrix H = graded(symmetricWith<CMatrix>(spread(n), kSeed));
        const CSymEigen hermitian(H);
        ASSERT_TRUE(hermitian.Succeeded());
        CVector values(n);
        for (int i = 0; i < n; ++i) values(i) = hermitian.Eigenvalue(i);
        EXPECT_LT(pairRatio(H, values, hermitian.Eigenvectors().value()), kResidualLimit);
        EXPECT_LT(orthogonalityRatio(hermitian.Eigenvectors().value()), kResidualLimit);
    }
}

// ---- memory and life

template <class Spectra, class M, class Members>
void expectFailuresLeaveNothing(const M& A, Members members)
{
    EXPECT_GT(failEachAllocation([&] { members(Spectra(A)); }, [] { return true; }), 0);
}

TEST(ComplexSpectra, RefusedMemoryLeavesNothingBehind)
{
    const CMatrix A = symmetricWith<CMatrix>(spread(5), kSeed);
    expectFailuresLeaveNothing<CSVD>(
        A, [](const CSVD& svd) { svd.U(), svd.S(), svd.V(), svd.SingularValues(), svd.PseudoInverse(); });
    expectFailuresLeaveNothing<CSymEigen>(A, [](const CSymEigen& eigen) {
        eigen.Eigenvalues(), eigen.Eigenvectors(), eigen.Eigenvector(0), eigen.D();
    });
    const auto members = [](const auto& eigen) {
        eigen.Eigenvalues(), eigen.Eigenvectors(), eigen.Eigenvector(0), eigen.D();
    };
    expectFailuresLeaveNothing<CEigen>(A, members);
    expectFailuresLeaveNothing<Eigen>(matrixWith({5, 5}, Spectrum::Random, kSeed), members);
}

template <class Spectra>
void expectMovesAndReleases(const CMatrix& A)
{
    static_assert(!std::is_copy_constructible_v<Spectra> && std::is_nothrow_move_constructible_v<Spectra>);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    Spectra first(A), second(std::move(first));
    EXPECT_GT(TrellConfiguration::TotalMemory(), before);
    second.Dispose();
    second.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

TEST(ComplexSpectra, MoveAndGiveBackWhatTheyTook)
{
    const CMatrix A = symmetricWith<CMatrix>(spread(5), kSeed);
    expectMovesAndReleases<CSVD>(A);
    expectMovesAndReleases<CSymEigen>(A);
    expectMovesAndReleases<CEigen>(A);
}

TEST(ComplexSpectra, UseAfterReleaseIsRefusedWhenHardened)
{
    const CMatrix A = symmetricWith<CMatrix>(spread(3), kSeed);
    CSVD svd(A);
    CSymEigen hermitian(A);
    CEigen eigen(A);
    svd.Dispose(), hermitian.Dispose(), eigen.Dispose();
    expectRefusedWhenHardened([&] { svd.S(); });
    expectRefusedWhenHardened([&] { svd.U(); });
    expectRefusedWhenHardened([&] { svd.V(); });
    expectRefusedWhenHardened([&] { svd.Rank(1.0); });
    expectRefusedWhenHardened([&] { svd.PseudoInverse(); });
    expectRefusedWhenHardened([&] { svd.PseudoInverse(1.0); });
    expectRefusedWhenHardened([&] { hermitian.Eigenvalues(); });
    expectRefusedWhenHardened([&] { eigen.Eigenvalues(); });
    expectRefusedWhenHardened([&] { eigen.Eigenvectors(); });
}

} // namespace
} // namespace Velmar::Lintrix::testing
