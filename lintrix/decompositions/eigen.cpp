#include <lintrix/decompositions/eigen.h>

#include <lintrix/complex/access.h>
#include <lintrix/decompositions/detail/con_eigen.h>
#include <lintrix/dense/detail/kept.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

void allocate(Spectrum<double>& spectrum, std::int32_t n)
{
    spectrum.wr = Block<double>(n);
    spectrum.wi = Block<double>(n);
}
void allocate(Spectrum<Complex>& spectrum, std::int32_t n)
{
    spectrum.w = Block<Complex>(n);
}

Complex eigenvalue(const Spectrum<double>& spectrum, std::int64_t index)
{
    return {spectrum.wr[index], spectrum.wi[index]};
}
Complex eigenvalue(const Spectrum<Complex>& spectrum, std::int64_t index)
{
    return spectrum.w[index];
}

void release(Spectrum<double>& spectrum) noexcept
{
    spectrum.wr.reset();
    spectrum.wi.reset();
}
void release(Spectrum<Complex>& spectrum) noexcept
{
    spectrum.w.reset();
}

void compute(BalanceType balance, std::int32_t n, double* a, const Spectrum<double>& spectrum, double* vl,
             double* vr, double* scale, std::int32_t info)
{
    ConEigen(balance, vr, vl, n, a, spectrum.wr.get(), spectrum.wi.get(), vl, vr, scale, info);
}
void compute(BalanceType balance, std::int32_t n, Complex* a, const Spectrum<Complex>& spectrum, Complex* vl,
             Complex* vr, double* scale, std::int32_t info)
{
    CConEigen(balance, vr, vl, n, a, spectrum.w.get(), vl, vr, scale, info);
}

void unpack(const double* packed, const Spectrum<double>& spectrum, std::int32_t n, std::int32_t index,
            Complex* vector)
{
    unpackEigenvector(packed, spectrum.wi.get(), n, index, vector);
}
void unpack(const Complex* packed, const Spectrum<Complex>&, std::int32_t n, std::int32_t index,
            Complex* vector)
{
    std::copy_n(packed + std::int64_t{n} * index, n, vector);
}

} // namespace

template <class Cell>
GeneralEigen<Cell>::GeneralEigen(const MatrixOf<Cell>& matrix, bool rightEigenvectors, bool leftEigenvectors,
                                 BalanceType balance)
    : n(matrix.Rows())
{
    if (!matrix.IsSquare()) throw NotSquareMatrixException();

    const std::int64_t cells = AccessTo<Cell>::count(matrix);
    a = Block<Cell>::copyOf(AccessTo<Cell>::cells(matrix), cells);
    allocate(spectrum, n);
    if (rightEigenvectors) vr = Block<Cell>(cells);
    if (leftEigenvectors) vl = Block<Cell>(cells);
    scale = Block<double>(n);
    compute(balance, n, a.get(), spectrum, vl.get(), vr.get(), scale.get(), inf);
}

template <class Cell>
void GeneralEigen<Cell>::requireIndex(std::int32_t index) const
{
    if (index < 0 || index >= n) throw IndexOutOfBoundsException();
}

template <class Cell>
void GeneralEigen<Cell>::requireKept() const
{
    kept(scale);
}

template <class Cell>
CVector GeneralEigen<Cell>::Eigenvalues() const
{
    requireKept();
    Block<Complex> values(n);
    for (std::int64_t i = 0; i < n; ++i) values[i] = eigenvalue(spectrum, i);
    return AccessTo<Complex>::adopt(std::move(values), n);
}

template <class Cell>
Complex GeneralEigen<Cell>::Eigenvalue(std::int32_t index) const
{
    requireIndex(index);
    requireKept();
    return eigenvalue(spectrum, index);
}

template <class Cell>
CMatrix GeneralEigen<Cell>::D() const
{
    requireKept();
    CMatrix diagonal(n, n);
    for (std::int32_t i = 0; i < n; ++i) diagonal(i, i) = eigenvalue(spectrum, i);
    return diagonal;
}

template <class Cell>
std::optional<CMatrix> GeneralEigen<Cell>::unpackedAll(const Block<Cell>& packed) const
{
    requireKept();
    if (!packed) return std::nullopt;
    CMatrix vectors = AccessTo<Complex>::uninitialised(n, n);
    Complex* const cells = AccessTo<Complex>::cells(vectors);
    for (std::int32_t j = 0; j < n; ++j) unpack(packed.get(), spectrum, n, j, cells + std::int64_t{n} * j);
    return vectors;
}

template <class Cell>
std::optional<CVector> GeneralEigen<Cell>::unpacked(const Block<Cell>& packed, std::int32_t index) const
{
    requireIndex(index);
    requireKept();
    if (!packed) return std::nullopt;
    Block<Complex> vector(n);
    unpack(packed.get(), spectrum, n, index, vector.get());
    return AccessTo<Complex>::adopt(std::move(vector), n);
}

template <class Cell>
void GeneralEigen<Cell>::Dispose() noexcept
{
    release(spectrum);
    for (Block<Cell>* block : {&a, &vl, &vr}) block->reset();
    scale.reset();
}

template class GeneralEigen<double>;
template class GeneralEigen<Complex>;

} // namespace Velmar::Lintrix::detail
