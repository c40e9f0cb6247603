// Long random runs of operations on one object, against a literal model: rows of numbers in nested vectors.
// Each operation is first tried without memory, and must leave the object as it was where it asks for any.

#include "tests/complex/complex_support.h"

#include <lintrix/foundation/archive.h>

#include <algorithm>
#include <functional>
#include <numeric>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;

constexpr int kSeeds = 20, kSteps = 300, kLargest = 12;

// ---- matrices

struct MatrixModel {
    std::vector<std::vector<Complex>> rows;
    std::size_t cols;

    std::size_t height() const { return rows.size(); }
    std::vector<std::uint64_t> bits() const
    {
        std::vector<Complex> cells;
        for (std::size_t c = 0; c < cols; ++c) {
            for (const auto& row : rows) cells.push_back(row[c]);
        }
        return bitsOfCells(cells);
    }
    void resize(std::size_t m, std::size_t n)
    {
        for (auto& row : rows) row.resize(n);
        rows.resize(m, std::vector<Complex>(n));
        cols = n;
    }
    template <class Function>
    void each(Function f)
    {
        for (auto& row : rows) std::transform(row.begin(), row.end(), row.begin(), f);
    }
    MatrixModel transposed() const
    {
        MatrixModel result{std::vector<std::vector<Complex>>(cols, std::vector<Complex>(height())), height()};
        for (std::size_t r = 0; r < height(); ++r) {
            for (std::size_t c = 0; c < cols; ++c) result.rows[c][r] = rows[r][c];
        }
        return result;
    }
};

class Dice {
public:
    explicit Dice(std::uint64_t seed) : generator_(seed) {}
    int below(std::size_t end) { return static_cast<int>(generator_() % end); }
    std::size_t index(std::size_t end) { return generator_() % end; }
    Complex cell()
    {
        return generator_() % 8 == 0 ? kOddCells[index(kOddCells.size())] : randomCells(1, generator_)[0];
    }
    std::vector<Complex> cells(std::size_t count)
    {
        std::vector<Complex> result(count);
        for (Complex& z : result) z = cell();
        return result;
    }
    std::vector<std::int32_t> permutation(std::size_t n)
    {
        std::vector<std::int32_t> places(n);
        std::iota(places.begin(), places.end(), 0);
        std::shuffle(places.begin(), places.end(), generator_);
        return places;
    }

private:
    std::mt19937_64 generator_;
};

// One operation on both sides: draws its arguments, changes the model at once, answers with what to do to the
// object.
using MatrixStep = std::function<void(CMatrix&)> (*)(MatrixModel&, Dice&);

const std::vector<MatrixStep> kMatrixSteps{
    [](MatrixModel& M, Dice& dice) -> std::function<void(CMatrix&)> { // write a row
        if (M.height() == 0) return [](CMatrix&) {};
        const std::size_t r = dice.index(M.height());
        const auto values = dice.cells(dice.index(kLargest));
        std::copy_n(values.begin(), std::min(values.size(), M.cols), M.rows[r].begin());
        return [=](CMatrix& A) { A.SetRow(static_cast<int>(r), values); };
    },
    [](MatrixModel& M, Dice& dice) -> std::function<void(CMatrix&)> { // write a column
        if (M.cols == 0) return [](CMatrix&) {};
        const std::size_t c = dice.index(M.cols);
        const Complex value = dice.cell();
        for (auto& row : M.rows) row[c] = value;
        return [=](CMatrix& A) { A.SetColumn(static_cast<int>(c), value); };
    },
    [](MatrixModel& M, Dice& dice) -> std::function<void(CMatrix&)> { // one cell
        if (M.height() == 0 || M.cols == 0) return [](CMatrix&) {};
        const std::size_t r = dice.index(M.height()), c = dice.index(M.cols);
        const Complex value = M.rows[r][c] = dice.cell();
        return [=](CMatrix& A) { A(static_cast<int>(r), static_cast<int>(c)) = value; };
    },
    [](MatrixModel& M, Dice& dice) -> std::function<void(CMatrix&)> { // swap rows, swap columns
        if (M.height() == 0 || M.cols == 0) return [](CMatrix&) {};
        const std::size_t r = dice.index(M.height()), s = dice.index(M.height());
        const std::size_t c = dice.index(M.cols), d = dice.index(M.cols);
        std::swap(M.rows[r], M.rows[s]);
        for (auto& row : M.rows) std::swap(row[c], row[d]);
        return [=](CMatrix& A) {
            A.SwapRows(static_cast<int>(r), static_cast<int>(s));
            A.SwapCols(static_cast<int>(c), static_cast<int>(d));
        };
    },
    [](MatrixModel& M, Dice& dice) -> std::function<void(CMatrix&)> { // insert a row
        if (M.height() >= kLargest) return [](CMatrix&) {};
        const int place = dice.below(M.height() + 1);
        M.rows.insert(M.rows.begin() + place, std::vector<Complex>(M.cols));
        return [=](CMatrix& A) { A.InsertRow(place); };
    },
    [](MatrixModel& M, Dice& dice) -> std::function<void(CMatrix&)> { // insert a column
        if (M.cols >= kLargest) return [](CMatrix&) {};
        const int place = dice.below(M.cols + 1);
        for (auto& row : M.rows) row.insert(row.begin() + place, Complex());
        ++M.cols;
        return [=](CMatrix& A) { A.InsertColumn(place); };
    },
    [](MatrixModel& M, Dice& dice) -> std::function<void(CMatrix&)> { // delete a row, the last one, too
        if (M.height() == 0) return [](CMatrix&) {};
        const int place = dice.below(M.height());
        M.rows.erase(M.rows.begin() + place);
        return [=](CMatrix& A) { A.DeleteRow(place); };
    },
    [](MatrixModel& M, Dice& dice) -> std::function<void(CMatrix&)> { // delete a column, the last one, too
        if (M.cols == 0) return [](CMatrix&) {};
        const int place = dice.below(M.cols);
        for (auto& row : M.rows) row.erase(row.begin() + place);
        --M.cols;
        return [=](CMatrix& A) { A.DeleteColumn(place); };
    },
    [](MatrixModel& M, Dice& dice) -> std::function<void(CMatrix&)> { // reorder rows
        const auto places = dice.permutation(M.height());
        MatrixModel before = M;
        for (std::size_t i = 0; i < places.size(); ++i) {
            M.rows[static_cast<std::size_t>(places[i])] = before.rows[i];
        }
        return [=](CMatrix& A) { A.ReorderRows(places); };
    },
    [](MatrixModel& M, Dice& dice) -> std::function<void(CMatrix&)> { // reorder columns
        const auto places = dice.permutation(M.cols);
        for (auto& row : M.rows) {
            const auto before = row;
            for (std::size_t j = 0; j < places.size(); ++j)
                row[static_cast<std::size_t>(places[j])] = before[j];
        }
        return [=](CMatrix& A) { A.ReorderCols(places); };
    },
    [](MatrixModel& M, Dice& dice) -> std::function<void(CMatrix&)> { // resize
        const std::size_t m = dice.index(kLargest) + 1, n = dice.index(kLargest) + 1;
        M.resize(m, n);
        return [=](CMatrix& A) { A.Resize(static_cast<int>(m), static_cast<int>(n)); };
    },
    [](MatrixModel& M, Dice&) -> std::function<void(CMatrix&)> { // transpose
        M = M.transposed();
        return [](CMatrix& A) { A = A.Transpose(); };
    },
    [](MatrixModel& M, Dice&) -> std::function<void(CMatrix&)> { // adjoint
        M = M.transposed();
        M.each([](Complex z) { return Complex(z.real(), -z.imag()); });
        return [](CMatrix& A) { A = A.Adjoint(); };
    },
    [](MatrixModel& M, Dice&) -> std::function<void(CMatrix&)> { // negate, conjugate
        M.each([](Complex z) { return Complex(-z.real(), z.imag()); });
        return [](CMatrix& A) { A = (-A).Conjugate(); };
    },
    [](MatrixModel& M, Dice& dice) -> std::function<void(CMatrix&)> { // cut, backwards or forwards
        if (M.height() == 0 || M.cols == 0) return [](CMatrix&) {};
        const int r0 = dice.below(M.height()), r1 = dice.below(M.height());
        const int c0 = dice.below(M.cols), c1 = dice.below(M.cols);
        MatrixModel part{{}, static_cast<std::size_t>(std::abs(c1 - c0)) + 1};
        for (int i = 0; i <= std::abs(r1 - r0); ++i) {
            part.rows.emplace_back();
            for (int j = 0; j <= std::abs(c1 - c0); ++j) {
                const int r = r1 < r0 ? r0 - i : r0 + i, c = c1 < c0 ? c0 - j : c0 + j;
                part.rows.back().push_back(M.rows[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)]);
            }
        }
        M = part;
        return [=](CMatrix& A) { A = A.SubMatrix(r0, r1, c0, c1); };
    },
    [](MatrixModel& M, Dice& dice) -> std::function<void(CMatrix&)> { // join a column vector on
        const auto values = dice.cells(dice.index(4) + 1);
        if (M.height() == 0 || M.cols == 0 || M.cols >= kLargest) return [](CMatrix&) {};
        M.resize(std::max(M.height(), values.size()), M.cols + 1);
        for (std::size_t r = 0; r < values.size(); ++r) M.rows[r].back() = values[r];
        return [=](CMatrix& A) { A = CMatrix::Concatenate(A, CVector(values)); };
    },
    [](MatrixModel&, Dice&) -> std::function<void(CMatrix&)> { // there and back: parts, archive, arrays
        return [](CMatrix& A) {
            if (A.Rows() == 0 || A.Cols() == 0) return;
            A = CMatrix(A.Real(), A.Imag());
            A = FromArchive<CMatrix>(ToArchive(A));
            A = A.ToArray();
        };
    },
};

TEST(RandomOperations, AMatrixFollowsTheModel)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    for (int seed = 0; seed < kSeeds; ++seed) {
        Dice dice(static_cast<std::uint64_t>(seed));
        MatrixModel model{std::vector<std::vector<Complex>>(3, std::vector<Complex>(3)), 3};
        CMatrix A;
        for (int step = 0; step < kSteps; ++step) {
            const std::size_t kind = dice.index(kMatrixSteps.size());
            const auto bits = bitsOf(A);
            const auto operation = kMatrixSteps[kind](model, dice);
            bool refused = false;
            {
                const FailingAllocator allocator(0);
                try {
                    operation(A);
                } catch (const NotEnoughMemoryException&) {
                    refused = true;
                }
            }
            if (refused) {
                ASSERT_EQ(bitsOf(A), bits) << "seed " << seed << ", step " << step << ", kind " << kind;
                operation(A);
            }
            ASSERT_EQ(static_cast<std::size_t>(A.Rows()), model.height());
            ASSERT_EQ(static_cast<std::size_t>(A.Cols()), model.cols);
            ASSERT_EQ(bitsOf(A), model.bits()) << "seed " << seed << ", step " << step << ", kind " << kind;
        }
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

// ---- vectors

using VectorModel = std::vector<Complex>;
using VectorStep = std::function<void(CVector&)> (*)(VectorModel&, Dice&);

const std::vector<VectorStep> kVectorSteps{
    [](VectorModel& m, Dice& dice) -> std::function<void(CVector&)> { // one element
        const std::size_t i = dice.index(m.size());
        const Complex value = m[i] = dice.cell();
        return [=](CVector& x) { x[static_cast<int>(i)] = value; };
    },
    [](VectorModel& m, Dice& dice) -> std::function<void(CVector&)> { // another length, or the same
        const std::size_t size = dice.index(kLargest) + 1;
        m.resize(size);
        return [=](CVector& x) { x.Resize(static_cast<int>(size)); };
    },
    [](VectorModel& m, Dice& dice) -> std::function<void(CVector&)> { // the same by the setter
        const std::size_t size = dice.index(kLargest) + 1;
        m.resize(size);
        return [=](CVector& x) { x.Length(static_cast<int>(size)); };
    },
    [](VectorModel& m, Dice&) -> std::function<void(CVector&)> { // the first half of the bytes
        for (std::size_t i = 0; i < m.size() / 2; ++i) m[i] = Complex();
        if (m.size() % 2 == 1) m[m.size() / 2].real(0.0);
        return [](CVector& x) { x.Clear(); };
    },
    [](VectorModel& m, Dice& dice) -> std::function<void(CVector&)> { // the bytes of another
        m = dice.cells(dice.index(kLargest) + 1);
        const auto data = CVector(m).Data();
        return [=](CVector& x) { x.Data(data); };
    },
    [](VectorModel& m, Dice& dice) -> std::function<void(CVector&)> { // plus and minus
        const auto other = dice.cells(m.size());
        for (std::size_t i = 0; i < m.size(); ++i) {
            m[i] = {m[i].real() + other[i].real(), m[i].imag() + other[i].imag()};
        }
        return [=](CVector& x) { x = x + CVector(other); };
    },
    [](VectorModel& m, Dice& dice) -> std::function<void(CVector&)> { // a scalar minus
        const Complex alpha = dice.cell();
        for (Complex& z : m) z = {alpha.real() - z.real(), alpha.imag() - z.imag()};
        return [=](CVector& x) { x = alpha - x; };
    },
    [](VectorModel& m, Dice&) -> std::function<void(CVector&)> { // a function
        std::transform(m.begin(), m.end(), m.begin(), [](Complex z) { return Complex(z.imag(), z.real()); });
        return [](CVector& x) { x = x.ApplyFunction([](Complex z) { return Complex(z.imag(), z.real()); }); };
    },
    [](VectorModel&, Dice&) -> std::function<void(CVector&)> { // there and back
        return [](CVector& x) {
            x = x.ToCMatrix().ColVector(0);
            x = FromArchive<CVector>(ToArchive(x));
            x = x.ToArray();
        };
    },
};

// Sums of NaN, infinite or opposite numbers: which NaN comes out is not told, so that one NaN is as good as
// another.
std::vector<std::uint64_t> bitsUpToNaN(const CVector& x)
{
    CVector result = x;
    for (int i = 0; i < x.Length(); ++i) {
        const auto part = [](double value) { return std::isnan(value) ? kNaN : value; };
        result[i] = {part(x[i].real()), part(x[i].imag())};
    }
    return bitsOf(result);
}

TEST(RandomOperations, AVectorFollowsTheModel)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    for (int seed = 0; seed < kSeeds; ++seed) {
        Dice dice(static_cast<std::uint64_t>(seed));
        VectorModel model(3);
        CVector x;
        for (int step = 0; step < kSteps; ++step) {
            const std::size_t kind = dice.index(kVectorSteps.size());
            const auto bits = bitsOf(x);
            const auto operation = kVectorSteps[kind](model, dice);
            bool refused = false;
            {
                const FailingAllocator allocator(0);
                try {
                    operation(x);
                } catch (const NotEnoughMemoryException&) {
                    refused = true;
                }
            }
            if (refused) {
                ASSERT_EQ(bitsOf(x), bits) << "seed " << seed << ", step " << step << ", kind " << kind;
                operation(x);
            }
            ASSERT_EQ(bitsUpToNaN(x), bitsUpToNaN(model))
                << "seed " << seed << ", step " << step << ", kind " << kind;
        }
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

} // namespace
} // namespace Velmar::Lintrix
