#pragma once
// Eigenvalues and eigenvectors of a dense matrix, real or complex, and how well they fulfil their equations.

#include <tools/input/columns.h>

#include <complex>
#include <optional>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::tools {

/// A*right = right*diag(values), left^H*A = diag(values)*left^H; each vector has length 1. The values come by
/// falling magnitude, a conjugate pair with the positive imaginary part first, and at the end those that were
/// not found, NaN.
struct Spectrum {
    std::string_view method; ///< "symmetric", "Hermitian" or "general"
    std::vector<std::complex<double>> values;
    CMatrix right;
    std::optional<CMatrix> left; ///< where they were asked for
};

/// A symmetric or Hermitian A, to the last bit, is decomposed as such: its eigenvalues are real, and its
/// right eigenvectors are the left ones, too. `Cell` is double or complex.
template <class Cell>
Spectrum spectrumOf(const Columns<Cell>& A, bool left);

/// |A*x - w*x| / |A|_F for each pair of a value and a column, with Euclidean norms; that of left vectors is
/// that of the adjoint A and the conjugate values. A is scaled before it is multiplied, so that only results
/// that are not finite themselves overflow.
std::vector<double> residualsOf(const CMatrix& A, const std::vector<std::complex<double>>& values,
                                const CMatrix& vectors);
std::vector<double> leftResidualsOf(const CMatrix& A, const std::vector<std::complex<double>>& values,
                                    const CMatrix& vectors);

} // namespace Velmar::Lintrix::tools
