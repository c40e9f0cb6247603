#pragma once
/// @file
/// Seeded matrices of every sort that a system can have, from harmless to singular.

#include <lintrix/complex/access.h>
#include <lintrix/dense/access.h>
#include <lintrix/sparse/sparse_assembler.h>
#include <lintrix/systems/cells.h>
#include <tests/systems/quality/reference.h>

#include <array>
#include <cmath>
#include <numeric>
#include <string_view>

namespace Velmar::Lintrix::testing {

enum class Sort {
    Unsymmetric,
    Dominant,   ///< structurally symmetric
    Definite,   ///< of a complex matrix hermitian
    Indefinite, ///< likewise
    SymmetricValues,
    SaddlePoint,
    NearlySingular,
    Singular,
    StructurallySingular,
    Graded,
    Arrow,
    Tridiagonal,
    Triangular,
    Signs,
    Hilbert,
};
inline constexpr std::array<std::string_view, 15> kSorts{
    "unsymmetric", "dominant", "definite", "indefinite",  "symmetric values", "saddle", "near",   "singular",
    "structural",  "graded",   "arrow",    "tridiagonal", "triangular",       "signs",  "hilbert"};

/// A matrix on its way: which places are stored, and what stands there.
template <class Cell>
class Draft {
public:
    Draft(int m, int n)
        : rows_(m), cols_(n), cells_(static_cast<std::size_t>(m) * static_cast<std::size_t>(n)),
          stored_(cells_.size()), left_(static_cast<std::size_t>(m)), right_(static_cast<std::size_t>(n))
    {
    }

    int rows() const { return rows_; }
    int cols() const { return cols_; }
    Cell at(int i, int j) const { return cells_[place(i, j)]; }
    bool isStored(int i, int j) const { return stored_[place(i, j)] != 0; }
    void set(int i, int j, Cell value)
    {
        cells_[place(i, j)] = value;
        stored_[place(i, j)] = 1;
    }
    void remove(int i, int j)
    {
        cells_[place(i, j)] = Cell();
        stored_[place(i, j)] = 0;
    }
    template <class Work>
    void forStored(Work work) const
    {
        for (int i = 0; i < rows_; ++i)
            for (int j = 0; j < cols_; ++j)
                if (isStored(i, j)) work(i, j, at(i, j));
    }

    /// Rows and columns by powers of two, whose exponents are kept.
    void scale(const std::vector<int>& left, const std::vector<int>& right)
    {
        left_ = left;
        right_ = right;
        forStored([&](int i, int j, Cell value) {
            const int exponent = left[static_cast<std::size_t>(i)] + right[static_cast<std::size_t>(j)];
            set(i, j, value * std::ldexp(1.0, exponent));
        });
    }
    const std::vector<int>& left() const { return left_; }
    const std::vector<int>& right() const { return right_; }

    /// `twice`: each element as the sum of two halves.
    detail::SparseOf<Cell> sparse(bool twice = false) const
    {
        detail::Assembler<Cell> entries(rows_, cols_);
        forStored([&](int i, int j, Cell value) {
            for (int half = 0; half < (twice ? 2 : 1); ++half) entries.Add(i, j, twice ? 0.5 * value : value);
        });
        return entries.Assemble();
    }
    detail::MatrixOf<Cell> dense() const
    {
        detail::MatrixOf<Cell> A(rows_, cols_);
        forStored([&A](int i, int j, Cell value) { A(i, j) = value; });
        return A;
    }
    QuadMatrix quad() const
    {
        QuadMatrix A(rows_, cols_);
        forStored([&A](int i, int j, Cell value) { A(i, j) = value; });
        return A;
    }

private:
    std::size_t place(int i, int j) const
    {
        return static_cast<std::size_t>(i) * static_cast<std::size_t>(cols_) + static_cast<std::size_t>(j);
    }

    int rows_, cols_;
    std::vector<Cell> cells_;
    std::vector<char> stored_;
    std::vector<int> left_, right_;
};

template <class Cell>
class DraftMaker {
public:
    explicit DraftMaker(Cells& cells) : cells_(cells) {}

    Draft<Cell> make(Sort sort, int n)
    {
        switch (sort) {
        case Sort::Unsymmetric:
            return unsymmetric(n, n);
        case Sort::Dominant:
            return dominant(n);
        case Sort::Definite:
            return definite(n);
        case Sort::Indefinite:
            return mirrored(n, true);
        case Sort::SymmetricValues:
            return mirrored(n, false);
        case Sort::SaddlePoint:
            return saddlePoint(n);
        case Sort::NearlySingular:
            return nearlySingular(n);
        case Sort::Singular:
            return singular(n);
        case Sort::StructurallySingular:
            return structurallySingular(n);
        case Sort::Graded:
            return graded(n);
        case Sort::Arrow:
            return arrow(n);
        case Sort::Tridiagonal:
            return tridiagonal(n);
        case Sort::Triangular:
            return triangular(n);
        case Sort::Signs:
            return signs(n);
        case Sort::Hilbert:
            break;
        }
        return hilbert(n);
    }

    /// A place in each row and column, and a few more; rows or columns without one where it is not square.
    Draft<Cell> unsymmetric(int m, int n, bool whole = false)
    {
        Draft<Cell> A(m, n);
        const std::vector<int> order =
            cells_.whole(0, 1) == 0 ? inOrder(std::max(m, n)) : shuffled(std::max(m, n));
        for (int k = 0; k < std::max(m, n); ++k)
            A.set(k % m, order[static_cast<std::size_t>(k)] % n, notZero(whole));
        const int more = std::max(m, n) * cells_.whole(0, 4);
        for (int k = 0; k < more; ++k) A.set(index(m), index(n), value(whole));
        return A;
    }

    /// By powers of two whose exponents, in decimal, are up to `decades`; hermitian matrices stay such.
    void scale(Draft<Cell>& A, int decades, bool alike, bool rows, bool columns)
    {
        const std::vector<int> left = exponents(A.rows(), rows ? decades : 0);
        A.scale(left, alike ? left : exponents(A.cols(), columns ? decades : 0));
    }

private:
    int index(int n) { return cells_.whole(0, n - 1); }
    Cell drawn() { return cells_.cell<Cell>(); }
    double realPower(double low, double high) { return std::pow(10.0, cells_.real(low, high)); }
    Cell value(bool whole) { return whole ? Cell(cells_.whole(-4, 4)) : drawn(); }
    Cell notZero(bool whole)
    {
        Cell found;
        do found = value(whole);
        while (found == Cell());
        return found;
    }

    static std::vector<int> inOrder(int n)
    {
        std::vector<int> order(static_cast<std::size_t>(n));
        std::iota(order.begin(), order.end(), 0);
        return order;
    }
    std::vector<int> shuffled(int n)
    {
        std::vector<int> order = inOrder(n);
        for (int k = n - 1; k > 0; --k)
            std::swap(order[static_cast<std::size_t>(k)], order[static_cast<std::size_t>(index(k + 1))]);
        return order;
    }
    std::vector<int> exponents(int n, int decades)
    {
        std::vector<int> found(static_cast<std::size_t>(n));
        for (int& exponent : found)
            exponent = static_cast<int>(std::lround(cells_.real(-decades, decades) * 3.3219));
        return found;
    }

    void setBoth(Draft<Cell>& A, int i, int j, Cell value, bool conjugated)
    {
        A.set(i, j, value);
        A.set(j, i, conjugated ? detail::conjugate(value) : value);
    }
    /// Couplings off the diagonal, which is left open.
    Draft<Cell> couplings(int n, bool conjugated, bool whole)
    {
        Draft<Cell> A(n, n);
        const int count = n * cells_.whole(1, 3), reach = cells_.whole(0, 1) == 0 ? n : 4;
        for (int k = 0; k < count && n > 1; ++k) {
            const int i = index(n), j = (i + cells_.whole(1, std::min(reach, n - 1))) % n;
            setBoth(A, i, j, value(whole), conjugated);
        }
        return A;
    }
    double rowSize(const Draft<Cell>& A, int i) const
    {
        double sum = 0.0;
        for (int j = 0; j < A.cols(); ++j)
            if (j != i) sum += std::abs(A.at(i, j));
        return sum;
    }

    Draft<Cell> dominant(int n)
    {
        Draft<Cell> A = couplings(n, false, false);
        A.forStored([&](int i, int j, Cell) { A.set(i, j, drawn()); });
        for (int i = 0; i < n; ++i)
            A.set(i, i,
                  (cells_.whole(0, 1) == 0 ? 1.0 : -1.0) *
                      Cell(rowSize(A, i) + cells_.real(0.0, 1.0) + 1e-3));
        return A;
    }
    Draft<Cell> definite(int n)
    {
        Draft<Cell> A = couplings(n, true, false);
        const double shift = cells_.whole(0, 2) == 0 ? realPower(-15.0, -3.0) : 1.0;
        for (int i = 0; i < n; ++i) A.set(i, i, Cell(rowSize(A, i) + shift));
        return A;
    }
    Draft<Cell> mirrored(int n, bool conjugated)
    {
        const bool whole = cells_.whole(0, 4) == 0;
        Draft<Cell> A = couplings(n, conjugated, whole);
        const int kind = cells_.whole(0, 2); // of the diagonal: full, with gaps, small
        for (int i = 0; i < n; ++i) {
            if (kind == 1 && cells_.whole(0, 1) == 0) continue;
            const Cell d = value(whole) * (kind == 2 ? realPower(-16.0, 0.0) : 1.0);
            A.set(i, i, conjugated ? Cell(std::real(d)) : d);
        }
        return A;
    }
    Draft<Cell> saddlePoint(int n)
    {
        const int constraints = n / cells_.whole(2, 4), free = n - constraints;
        Draft<Cell> A(n, n);
        const bool whole = cells_.whole(0, 3) == 0;
        const int gaps = cells_.whole(0, 2);
        for (int i = 0; i < free; ++i) {
            if (gaps == 0 || cells_.whole(0, 2) > 0) A.set(i, i, Cell(whole ? 2.0 : cells_.real(0.1, 2.0)));
            if (i > 0) setBoth(A, i, i - 1, value(whole) * 0.25, true);
        }
        for (int c = 0; c < constraints; ++c) {
            setBoth(A, free + c, c % free, notZero(whole), true);
            for (int k = 0; k < 2; ++k) setBoth(A, free + c, index(free), value(whole), true);
        }
        return A;
    }
    /// A row that is the sum of others but for a small change.
    Draft<Cell> nearlySingular(int n)
    {
        Draft<Cell> A = unsymmetric(n, n);
        if (n < 3) return A;
        const int last = index(n), one = (last + 1) % n, other = (last + 2) % n;
        const double change = realPower(-18.0, -6.0);
        for (int j = 0; j < n; ++j) {
            if (!A.isStored(one, j) && !A.isStored(other, j)) {
                A.remove(last, j);
                continue;
            }
            A.set(last, j, A.at(one, j) + A.at(other, j));
        }
        const int j = index(n);
        A.set(last, j, A.at(last, j) + change * notZero(false));
        return A;
    }
    /// Whole numbers; a row or a column that is the sum of two others, or the same as another.
    Draft<Cell> singular(int n)
    {
        Draft<Cell> A = unsymmetric(n, n, true);
        if (n < 3) {
            for (int i = 0; i < n; ++i)
                for (int j = 0; j < n; ++j) A.set(i, j, Cell(n == 1 ? 0.0 : (i + 1.0) * (j + 2.0)));
            return A;
        }
        const int last = index(n), one = (last + 1) % n, other = (last + 2) % n;
        const bool sum = cells_.whole(0, 1) == 0, byRows = cells_.whole(0, 1) == 0;
        for (int k = 0; k < n; ++k) {
            const auto entry = [&](int line) { return byRows ? A.at(line, k) : A.at(k, line); };
            const Cell value = entry(one) + (sum ? entry(other) : Cell());
            const int i = byRows ? last : k, j = byRows ? k : last;
            if (value == Cell())
                A.remove(i, j);
            else
                A.set(i, j, value);
        }
        return A;
    }
    /// Rows that share too few columns.
    Draft<Cell> structurallySingular(int n)
    {
        Draft<Cell> A = unsymmetric(n, n);
        const int rows = cells_.whole(1, n), columns = rows - 1;
        const std::vector<int> row = shuffled(n), col = shuffled(n);
        for (int i = 0; i < rows; ++i)
            for (int j = columns; j < n; ++j)
                A.remove(row[static_cast<std::size_t>(i)], col[static_cast<std::size_t>(j)]);
        return A;
    }
    Draft<Cell> graded(int n)
    {
        Draft<Cell> A = cells_.whole(0, 1) == 0 ? unsymmetric(n, n) : mirrored(n, true);
        const double ratio = std::pow(realPower(-20.0, -4.0), 0.5 / n);
        Draft<Cell> found(n, n);
        A.forStored([&](int i, int j, Cell value) { found.set(i, j, value * std::pow(ratio, i + j)); });
        return found;
    }
    Draft<Cell> arrow(int n)
    {
        Draft<Cell> A(n, n);
        const bool first = cells_.whole(0, 1) == 0, conjugated = cells_.whole(0, 1) == 0;
        const int hub = first ? 0 : n - 1;
        const double low = cells_.whole(0, 1) == 0 ? -12.0 : 0.0;
        for (int i = 0; i < n; ++i) {
            if (i != hub) setBoth(A, i, hub, notZero(false), conjugated);
            A.set(i, i, Cell(realPower(low, 0.0)));
        }
        return A;
    }
    Draft<Cell> tridiagonal(int n)
    {
        Draft<Cell> A(n, n);
        const int kind = cells_.whole(0, 3);
        // 2*cos(k*pi/(n + 1)) are the eigenvalues of the couplings.
        const double eigenvalue = 2.0 * std::cos(3.14159265358979323846 * cells_.whole(1, n) / (n + 1.0));
        const double shift = kind == 0 ? 2.0 : kind == 1 ? eigenvalue : cells_.real(0.0, 2.0);
        for (int i = 0; i < n; ++i) {
            A.set(i, i, kind == 3 ? drawn() : Cell(shift));
            if (i > 0) setBoth(A, i, i - 1, kind == 2 ? drawn() : Cell(-1.0), true);
        }
        return A;
    }
    /// Of large condition, or growth, without a small pivot.
    Draft<Cell> triangular(int n)
    {
        Draft<Cell> A(n, n);
        const int kind = cells_.whole(0, 2), size = std::min(n, kind == 2 ? 40 : n);
        for (int i = 0; i < n; ++i) {
            A.set(i, i, kind == 1 ? drawn() : Cell(1.0));
            for (int j = 0; j < i && i < size; ++j)
                if (kind == 2 || cells_.whole(0, 1) == 0) A.set(i, j, kind == 1 ? drawn() : Cell(-1.0));
            if (kind == 2) A.set(i, n - 1, Cell(1.0)); // elements of U grow to 2^(n-1)
        }
        return A;
    }
    /// No diagonal: what stands there after some steps has cancelled, or not.
    Draft<Cell> signs(int n)
    {
        Draft<Cell> A(n, n);
        const bool opposite = cells_.whole(0, 1) == 0;
        for (int i = 0; i < n && n > 1; ++i) {
            for (int k = 0; k < 2; ++k) {
                const int j = (i + cells_.whole(1, n - 1)) % n;
                const double sign = cells_.whole(0, 1) == 0 ? 1.0 : -1.0;
                A.set(i, j, Cell(sign));
                A.set(j, i, Cell(opposite ? -sign : cells_.whole(0, 1) == 0 ? 1.0 : -1.0));
            }
        }
        return A;
    }
    Draft<Cell> hilbert(int n)
    {
        const int size = std::min(n, 18), kind = cells_.whole(0, 1);
        Draft<Cell> A(size, size);
        for (int i = 0; i < size; ++i)
            for (int j = 0; j < size; ++j)
                A.set(i, j, Cell(kind == 0 ? 1.0 / (i + j + 1.0) : std::pow((i + 1.0) / size, j)));
        return A;
    }

    Cells& cells_;
};

/// Rows that can be matched with columns by elements that are not 0: paths that exchange.
template <class Cell>
class Matching {
public:
    explicit Matching(const Draft<Cell>& A) : A_(A), rowOf_(static_cast<std::size_t>(A.cols()), -1)
    {
        for (int i = 0; i < A.rows(); ++i) {
            seen_.assign(rowOf_.size(), 0);
            if (place(i)) ++size_;
        }
    }
    int size() const { return size_; }

private:
    bool place(int row)
    {
        for (int j = 0; j < A_.cols(); ++j) {
            const auto col = static_cast<std::size_t>(j);
            if (A_.at(row, j) == Cell() || std::exchange(seen_[col], 1) != 0) continue;
            if (rowOf_[col] >= 0 && !place(rowOf_[col])) continue;
            rowOf_[col] = row;
            return true;
        }
        return false;
    }

    const Draft<Cell>& A_;
    std::vector<int> rowOf_;
    std::vector<char> seen_{};
    int size_ = 0;
};

} // namespace Velmar::Lintrix::testing
