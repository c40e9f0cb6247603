#include <tools/eig/spectrum.h>

#include <lintrix/lintrix.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>

namespace Velmar::Lintrix::tools {

namespace {

using Values = std::vector<ComplexNumber>;

CMatrix complexOf(const Matrix& A)
{
    return A.ToCMatrix();
}
const CMatrix& complexOf(const CMatrix& A)
{
    return A;
}

/// Real eigenvalues, and one set of vectors for both sides; all NaN if the iteration failed.
template <class Decomposition>
Spectrum ofHermitian(const Decomposition& eigen, std::string_view method, bool left)
{
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    Spectrum spectrum{method, {}, complexOf(*eigen.Eigenvectors()), std::nullopt};
    for (std::int32_t i = 0; i < eigen.Size(); ++i) {
        spectrum.values.emplace_back(eigen.Succeeded() ? eigen.Eigenvalue(i) : kNaN);
    }
    if (left) spectrum.left = spectrum.right;
    return spectrum;
}

template <class Decomposition>
Spectrum ofGeneral(const Decomposition& eigen)
{
    Spectrum spectrum{"general", {}, *eigen.Eigenvectors(), eigen.LeftEigenvectors()};
    for (std::int32_t i = 0; i < eigen.Size(); ++i) spectrum.values.push_back(eigen.Eigenvalue(i));
    return spectrum;
}

bool isHermitian(const CMatrix& A)
{
    for (std::int32_t i = 0; i < A.Rows(); ++i) {
        if (A(i, i).imag() != 0.0) return false;
    }
    return A.IsHermitian(0.0);
}

Spectrum unsortedSpectrum(const Matrix& A, bool left)
{
    if (A.IsSymmetric(0.0)) return ofHermitian(SymEigen(A), "symmetric", left);
    return ofGeneral(Eigen(A, true, left));
}
Spectrum unsortedSpectrum(const CMatrix& A, bool left)
{
    if (isHermitian(A)) return ofHermitian(CSymEigen(A), "Hermitian", left);
    return ofGeneral(CEigen(A, true, left));
}

/// The place of each value among all. The members of a pair are alike in magnitude and stay as they are.
std::vector<std::int32_t> placesByMagnitude(const Values& values)
{
    std::vector<std::int32_t> order(values.size()), places(values.size());
    std::iota(order.begin(), order.end(), 0);
    const auto magnitude = [&values](std::int32_t i) {
        const double size = std::abs(values[static_cast<std::size_t>(i)]);
        return std::isnan(size) ? -1.0 : size;
    };
    std::ranges::stable_sort(order, std::ranges::greater(), magnitude);
    for (std::size_t k = 0; k < order.size(); ++k) {
        places[static_cast<std::size_t>(order[k])] = static_cast<std::int32_t>(k);
    }
    return places;
}

/// A power of two that brings the largest part of a cell to about 1.
double scaleOf(const CMatrix& A)
{
    double largest = 0.0;
    for (const ComplexNumber& cell : cellsOf(A)) {
        largest = std::max({largest, std::abs(cell.real()), std::abs(cell.imag())});
    }
    int exponent = 0;
    std::frexp(largest, &exponent);
    return std::ldexp(1.0, -std::clamp(exponent, -1000, 1000));
}

double lengthOf(std::span<const ComplexNumber> cells)
{
    double sum = 0.0;
    for (const ComplexNumber& cell : cells) sum += std::norm(cell);
    return std::sqrt(sum);
}

} // namespace

template <class Cell>
Spectrum spectrumOf(const Columns<Cell>& A, bool left)
{
    Spectrum spectrum = unsortedSpectrum(A, left);
    const std::vector<std::int32_t> places = placesByMagnitude(spectrum.values);
    const Values unsorted = spectrum.values;
    for (std::size_t i = 0; i < places.size(); ++i) {
        spectrum.values[static_cast<std::size_t>(places[i])] = unsorted[i];
    }
    spectrum.right.ReorderCols(places);
    if (spectrum.left) spectrum.left->ReorderCols(places);
    return spectrum;
}

template Spectrum spectrumOf<double>(const Matrix&, bool);
template Spectrum spectrumOf<ComplexNumber>(const CMatrix&, bool);

std::vector<double> residualsOf(const CMatrix& A, const Values& values, const CMatrix& vectors)
{
    const double scale = scaleOf(A);
    const CMatrix scaled = A * ComplexNumber(scale);
    const double norm = lengthOf(cellsOf(scaled));
    CMatrix residual = scaled * vectors;
    std::vector<double> residuals;
    for (std::int32_t j = 0; j < vectors.Cols(); ++j) {
        const auto r = columnCells(residual, j);
        const auto x = columnCells(vectors, j);
        for (std::size_t i = 0; i < r.size(); ++i) r[i] -= values[static_cast<std::size_t>(j)] * scale * x[i];
        const double length = lengthOf(r);
        residuals.push_back(length == 0.0 ? 0.0 : length / (norm * lengthOf(x)));
    }
    return residuals;
}

std::vector<double> leftResidualsOf(const CMatrix& A, const Values& values, const CMatrix& vectors)
{
    Values conjugates = values;
    for (ComplexNumber& value : conjugates) value = std::conj(value);
    return residualsOf(A.Adjoint(), conjugates, vectors);
}

} // namespace Velmar::Lintrix::tools
