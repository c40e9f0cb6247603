#pragma once
/// @file
/// A literal model of the sparse matrices: three plain arrays, and every operation in the plainest steps that
/// lead to what it promises. It shares nothing with the library but the failure types and the text of a
/// number.
///
/// Results of kernels, whose order of additions is free, are told as a `Tally` for each cell: a value, and
/// how far another order may lead from it.

#include "tests/sparse/sparse_twin.h"

#include <lintrix/foundation/archive.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/foundation/number_format.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <locale>
#include <string>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {

/// A cell that was summed up, or copied.
template <class Twin>
struct Tally {
    using Cell = typename Twin::Cell;

    static Tally copyOf(Cell x) { return {x, 0.0, 0, true}; }
    void add(Cell term, double size)
    {
        value += term;
        weight += size;
        ++terms;
        copied = false;
    }
    /// By how much another order of the operations may differ: each of them errs by half a unit at most, and
    /// by half the least number where it underflows.
    double bound() const { return 4.0 * (terms + 3) * (0x1p-53 * weight + 0x1p-1070); }

    Cell value{};
    double weight = 0.0; ///< the magnitudes of the terms
    int terms = 0;
    bool copied = false; ///< the very bits
};

template <class Twin>
struct SparseModel {
    using Cell = typename Twin::Cell;
    using Tallies = std::vector<Tally<Twin>>;
    using DenseRows = std::vector<std::vector<Cell>>;
    using Ints = std::vector<std::int32_t>;

    std::int32_t mRows = 0, mCols = 0, mCells = 0;
    std::vector<Cell> a; ///< with spare slots, as many as `mCells` tells or more
    Ints ia, ja;         ///< one-based
    float growFactor = 0.0F;
    bool flag = false;

    // ---- making

    static float clamped(float value)
    {
        return std::isnan(value) ? value : std::max(std::min(4.0F, value), 1.0F);
    }

    static SparseModel init(std::int32_t rows, std::int32_t cols, std::int32_t capacity, float factor,
                            bool flagged)
    {
        requireSizes(rows, cols);
        SparseModel A;
        A.mRows = rows;
        A.mCols = cols;
        A.mCells = capacity > rows ? capacity : rows;
        A.resizeSlots(A.mCells);
        A.ia.assign(at(rows + 1), 1);
        for (int i = 0; flagged && i < rows; ++i) {
            A.a[at(i)] = Cell{};
            A.ja[at(i)] = i + 1;
            A.ia[at(i)] = i + 1;
        }
        if (flagged) A.ia[at(rows)] = rows + 1;
        A.flag = flagged;
        A.growFactor = clamped(factor);
        return A;
    }

    static SparseModel fromDense(const DenseRows& dense, std::int32_t rows, std::int32_t cols)
    {
        SparseModel A;
        A.mRows = rows;
        A.mCols = cols;
        A.ia = {1};
        for (int r = 0; r < rows; ++r) {
            for (int c = 0; c < cols; ++c) {
                if (dense[at(r)][at(c)] == Cell{}) continue;
                A.a.push_back(dense[at(r)][at(c)]);
                A.ja.push_back(c + 1);
            }
            A.ia.push_back(static_cast<std::int32_t>(A.a.size()) + 1);
        }
        A.mCells = A.numElements();
        return A;
    }

    static SparseModel fromArrays(const std::vector<Cell>& A, const Ints& IA, const Ints& JA)
    {
        if (A.size() != JA.size()) {
            throw ArgumentException("Array JA should have equal size with array A", "JA");
        }
        SparseModel M;
        M.mRows = static_cast<std::int32_t>(IA.size()) - 1;
        const std::int32_t base = IA[0];
        if (base != 0 && base != 1) {
            throw ArgumentException("Arrays should be zero based or one based", "IA");
        }
        M.mCells = IA.back() - base;
        if (M.mCells != static_cast<std::int32_t>(A.size())) {
            throw ArgumentException("Array IA defines different number of elements than array A");
        }
        std::int32_t highest = 0;
        for (const std::int32_t j : JA) highest = std::max(highest, j);
        M.mCols = highest + 1 - base;
        requireSizes(M.mRows, M.mCols);
        M.a = A;
        for (const std::int32_t i : IA) M.ia.push_back(i + 1 - base);
        for (const std::int32_t j : JA) M.ja.push_back(j + 1 - base);
        M.growFactor = 1.2F;
        return M;
    }

    static SparseModel copyOf(const SparseModel& source)
    {
        SparseModel A = init(source.mRows, source.mCols, source.mCells, source.growFactor, false);
        A.ia = Ints(source.ia.begin(), source.ia.begin() + source.mRows + 1);
        std::copy_n(source.a.begin(), source.numElements(), A.a.begin());
        std::copy_n(source.ja.begin(), source.numElements(), A.ja.begin());
        if (Twin::kCopyKeepsFlagAndFactor) {
            A.flag = source.flag;
            A.growFactor = source.growFactor;
        }
        return A;
    }

    /// From ready arrays, without spare slots: one is added, so that the capacity that is told is there.
    static SparseModel adopted(std::int32_t rows, std::int32_t cols, std::vector<Cell> values, Ints starts,
                               Ints columns)
    {
        SparseModel A;
        A.mRows = rows;
        A.mCols = cols;
        A.mCells = starts.back();
        A.growFactor = 1.2F;
        A.a = std::move(values);
        A.ia = std::move(starts);
        A.ja = std::move(columns);
        A.resizeSlots(A.mCells);
        return A;
    }

    // ---- looking

    std::int32_t numElements() const { return ia[at(mRows)] - ia[0]; }
    std::int32_t begin(std::int32_t row) const { return ia[at(row)] - 1; }
    std::int32_t end(std::int32_t row) const { return ia[at(row + 1)] - 1; }

    /// visit(row, column, slot), row after row.
    template <class Visit>
    void each(Visit visit) const
    {
        for (int r = 0; r < mRows; ++r) {
            for (std::int32_t k = begin(r); k < end(r); ++k) visit(r, ja[at(k)] - 1, k);
        }
    }

    /// Cell by cell, as far as is stored; nothing is mirrored.
    DenseRows storedCells() const
    {
        DenseRows cells(at(mRows), std::vector<Cell>(at(mCols)));
        each([&](int r, int c, std::int32_t k) { cells[at(r)][at(c)] = a[at(k)]; });
        return cells;
    }

    Cell item(std::int32_t row, std::int32_t col) const
    {
        if (flag && row > col) return Twin::conjugated(item(col, row));
        requireIndices(row, col);
        const std::int32_t q = scan(row, col);
        return q < end(row) && ja[at(q)] - 1 == col ? a[at(q)] : Cell{};
    }

    DenseRows toDense() const
    {
        DenseRows dense(at(mRows), std::vector<Cell>(at(mCols)));
        const auto set = [&](int r, int c, Cell x) {
            requireIndices(r, c);
            dense[at(r)][at(c)] = x;
        };
        each([&](int r, int c, std::int32_t k) {
            set(r, c, a[at(k)]);
            if (flag && r != c) set(c, r, Twin::conjugated(a[at(k)]));
        });
        return dense;
    }

    std::vector<std::byte> data() const
    {
        std::vector<std::byte> bytes;
        const auto append = [&bytes](const void* from, std::size_t count) {
            const auto* first = static_cast<const std::byte*>(from);
            bytes.insert(bytes.end(), first, first + count);
        };
        append(&mRows, 4);
        append(&mCols, 4);
        append(ia.data(), 4 * at(mRows + 1));
        append(a.data(), sizeof(Cell) * at(numElements()));
        append(ja.data(), 4 * at(numElements()));
        return bytes;
    }

    std::vector<std::pair<std::string, SerializationInfo::Value>> archive() const
    {
        std::vector<double> values;
        for (int k = 0; k < numElements(); ++k) {
            for (const double part : Twin::parts(a[at(k)])) values.push_back(part);
        }
        return {{"mRows", mRows},
                {"mCols", mCols},
                {"growFactor", growFactor},
                {Twin::kFlagKey, flag},
                {"_IA", Ints(ia.begin(), ia.begin() + mRows + 1)},
                {"_A", values},
                {"_JA", Ints(ja.begin(), ja.begin() + numElements())}};
    }

    /// Whether the stored elements agree within |tolerance|: a merge of two walks.
    bool isEqual(const SparseModel& other, double tolerance) const
    {
        struct Place {
            int row, col;
            Cell value;
        };
        const auto walkOf = [](const SparseModel& A) {
            std::vector<Place> walk;
            A.each([&](int r, int c, std::int32_t k) { walk.push_back({r, c, A.a[at(k)]}); });
            if (walk.empty()) {
                throw InvalidOperationException(
                    "The enumerator is positioned before the first element of the matrix.");
            }
            return walk;
        };
        const double t = std::abs(tolerance);
        const std::vector<Place> first = walkOf(*this), second = walkOf(other);
        const auto tooGreat = [t](Cell x) { return Twin::magnitude(x) > t; };
        std::size_t i = 0, j = 0;
        while (i < first.size() && j < second.size()) {
            const auto placeI = std::pair(first[i].row, first[i].col);
            const auto placeJ = std::pair(second[j].row, second[j].col);
            if (placeI < placeJ) {
                if (tooGreat(first[i++].value)) return false;
            } else if (placeJ < placeI) {
                if (tooGreat(second[j++].value)) return false;
            } else {
                if (tooGreat(first[i++].value - second[j++].value)) return false;
            }
        }
        for (; i < first.size(); ++i) {
            if (tooGreat(first[i].value)) return false;
        }
        for (; j < second.size(); ++j) {
            if (tooGreat(second[j].value)) return false;
        }
        return true;
    }

    std::string text(const std::locale& locale, const std::string& format, const std::string& separator,
                     const std::string& left, const std::string& right, const std::string& last) const
    {
        const auto formatted = [&](double x) { return FormatNumber(x, format, locale); };
        std::size_t width = 0;
        const auto measure = [&](Cell x) {
            for (const double part : Twin::parts(x)) width = std::max(width, formatted(part).size());
        };
        if (Twin::kTextMeasuresStoredAlone) {
            for (int k = 0; k < numElements(); ++k) measure(a[at(k)]);
        } else {
            for (int r = 0; r < mRows; ++r) {
                for (int c = 0; c < mCols; ++c) measure(item(r, c));
            }
        }
        const auto padded = [&](double x) {
            const std::string plain = formatted(x);
            return std::string(width - std::min(width, plain.size()), ' ') + plain;
        };
        std::string result;
        for (int r = 0; r < mRows; ++r) {
            result += left;
            for (int c = 0; c < mCols; ++c) {
                const auto parts = Twin::parts(item(r, c));
                if (parts.size() == 1) result += padded(parts[0]);
                if (parts.size() == 2) result += "(" + padded(parts[0]) + "," + padded(parts.back()) + "i)";
                if (c + 1 < mCols) result += separator;
            }
            if (r + 1 < mRows) result += right;
        }
        return result + last;
    }

    // ---- editing

    void setItem(std::int32_t row, std::int32_t col, Cell value)
    {
        if (flag && row > col) return setItem(col, row, Twin::conjugated(value));
        requireIndices(row, col);
        const std::int32_t q = scan(row, col);
        if (q < end(row) && ja[at(q)] - 1 == col) {
            a[at(q)] = value;
            return;
        }
        insertElement(q);
        a[at(q)] = value;
        ja[at(q)] = col + 1;
        for (int k = row + 1; k <= mRows; ++k) ++ia[at(k)];
    }

    void setRows(std::int32_t value)
    {
        if (value == mRows) return;
        ia.resize(at(value + 1));
        for (int i = mRows + 1; i <= value; ++i) ia[at(i)] = ia[at(mRows)];
        mRows = value;
        if (flag && mCols != value) setCols(value);
    }

    void setCols(std::int32_t value)
    {
        if (value == mCols) return;
        for (int i = 0; value < mCols && i < mRows; ++i) {
            for (std::int32_t q = begin(i); q < end(i);) {
                if (ja[at(q)] - 1 < value) {
                    ++q;
                    continue;
                }
                deleteElement(q);
                for (int k = i + 1; k <= mRows; ++k) --ia[at(k)];
            }
        }
        mCols = value;
        if (flag && mRows != value) setRows(value);
    }

    void setCapacity(std::int32_t value)
    {
        value = std::max(numElements(), value);
        if (value != mCells) resizeSlots(value);
        mCells = value;
    }

    void setGrowFactor(float value) { growFactor = clamped(value); }

    void removeZeros(double tolerance = 1e-15, bool excludeDiagonals = true)
    {
        const double t = std::abs(tolerance);
        for (int r = 0; r < mRows; ++r) {
            for (std::int32_t q = begin(r); q < end(r);) {
                if (!(Twin::magnitude(a[at(q)]) < t) || (excludeDiagonals && ja[at(q)] - 1 == r)) {
                    ++q;
                    continue;
                }
                deleteElement(q);
                for (int k = r + 1; k <= mRows; ++k) --ia[at(k)];
            }
        }
    }

    /// A byte form with sizes from 1 on, whole.
    void setData(const std::vector<std::byte>& bytes)
    {
        const std::byte* from = bytes.data();
        const auto take = [&from](void* to, std::size_t count) {
            if (count != 0) std::memcpy(to, from, count);
            from += count;
        };
        take(&mRows, 4);
        take(&mCols, 4);
        ia.resize(at(mRows + 1));
        take(ia.data(), 4 * at(mRows + 1));
        mCells = numElements();
        resizeSlots(mCells);
        take(static_cast<void*>(a.data()), sizeof(Cell) * at(mCells));
        take(ja.data(), 4 * at(mCells));
    }

    /// Restored from its archive: the spare capacity is not in it.
    void restore()
    {
        mCells = numElements();
        resizeSlots(mCells);
    }

    // ---- arithmetic

    struct Sparse {
        SparseModel matrix; ///< with the values of the tallies
        Tallies cells;      ///< one an element
    };

    static Sparse add(const SparseModel& A, Cell beta, TransposeMode mode, const SparseModel& B)
    {
        const Operand op = operand(mode, B);
        if (op.rows != A.mRows || op.cols != A.mCols) throw SizeMismatchException();
        TallyRows sum(at(A.mRows), std::vector<Entry>(at(A.mCols)));
        A.each([&](int r, int c, std::int32_t k) {
            sum[at(r)][at(c)] = {true, Tally<Twin>::copyOf(A.a[at(k)])};
        });
        B.each([&](int r, int c, std::int32_t k) {
            Entry& entry = mode == TransposeMode::NotTransposed ? sum[at(r)][at(c)] : sum[at(c)][at(r)];
            const Cell b = op.cell(B.a[at(k)]);
            if (entry.stored) entry.tally.weight = Twin::magnitude(entry.tally.value);
            entry.stored = true;
            entry.tally.add(Twin::product(beta, b), Twin::magnitude(beta) * Twin::magnitude(b));
        });
        return compressed(sum, A.mRows, A.mCols, [](const Entry& entry) { return entry.stored; });
    }

    /// op(A)*B: what cancels is kept in the plain mode, and dropped in the others.
    static Sparse multiply(TransposeMode mode, const SparseModel& A, const SparseModel& B)
    {
        if (Twin::kFlagReachesProducts && (A.flag || B.flag)) {
            throw NotSupportedException("Symmetrix matrices are not supported.");
        }
        const Operand op = operand(mode, A);
        if (B.mRows != op.cols) throw InvalidSizeException();
        TallyRows result(at(op.rows), std::vector<Entry>(at(B.mCols)));
        A.each([&](int r, int c, std::int32_t k) {
            const bool plain = mode == TransposeMode::NotTransposed;
            const int row = plain ? r : c, inner = plain ? c : r;
            const Cell v = op.cell(A.a[at(k)]);
            for (std::int32_t q = B.begin(inner); q < B.end(inner); ++q) {
                const Cell w = B.a[at(q)];
                Entry& entry = result[at(row)][at(B.ja[at(q)] - 1)];
                entry.stored = true;
                entry.tally.add(Twin::product(v, w), Twin::magnitude(v) * Twin::magnitude(w));
            }
        });
        return compressed(result, op.rows, B.mCols, [mode](const Entry& entry) {
            return mode == TransposeMode::NotTransposed ? entry.stored : !(entry.tally.value == Cell{});
        });
    }

    static Sparse multiply(const SparseModel& A, Cell scalar)
    {
        Sparse result{copyOf(A), {}};
        for (int k = 0; k < A.numElements(); ++k) {
            Tally<Twin> tally;
            const Cell x = A.a[at(k)];
            tally.add(Twin::product(x, scalar), Twin::magnitude(x) * Twin::magnitude(scalar));
            result.matrix.a[at(k)] = tally.value;
            result.cells.push_back(tally);
        }
        return result;
    }

    SparseModel transposed() const
    {
        Ints starts(at(mCols + 1)), columns(at(numElements())), counter(at(mCols + 1));
        std::vector<Cell> values(at(numElements()));
        for (int k = 0; k < numElements(); ++k) ++counter[at(ja[at(k)])];
        starts[0] = 1;
        for (int i = 1; i <= mCols; ++i) {
            starts[at(i)] = starts[at(i - 1)] + counter[at(i)];
            counter[at(i)] = 0;
        }
        counter[0] = 0;
        each([&](int r, int c, std::int32_t k) {
            const std::int32_t slot = starts[at(c)] + counter[at(c)] - 1;
            values[at(slot)] = a[at(k)];
            columns[at(slot)] = r + 1;
            ++counter[at(c)];
        });
        return adopted(mCols, mRows, std::move(values), std::move(starts), std::move(columns));
    }

    /// alpha*op(A)*x + beta*y.
    static Tallies multiply(Cell alpha, TransposeMode mode, const SparseModel& A, const std::vector<Cell>& x,
                            Cell beta, const std::vector<Cell>& y)
    {
        const Operand op = operand(mode, A);
        if (x.size() != at(op.cols) || y.size() != at(op.rows)) throw SizeMismatchException();
        return product(alpha, mode, A, x, beta, y);
    }

    /// alpha*op(A)*B + beta*C, column by column. B and C hold columns.
    static std::vector<Tallies> multiply(Cell alpha, TransposeMode mode, const SparseModel& A,
                                         const DenseRows& B, std::int32_t rowsOfB, Cell beta,
                                         const DenseRows& C, std::int32_t rowsOfC)
    {
        const Operand op = operand(mode, A);
        if (rowsOfB != op.cols || rowsOfC != op.rows || C.size() != B.size()) throw InvalidSizeException();
        std::vector<Tallies> columns;
        for (std::size_t j = 0; j < B.size(); ++j)
            columns.push_back(product(alpha, mode, A, B[j], beta, C[j]));
        return columns;
    }

private:
    struct Entry {
        bool stored = false;
        Tally<Twin> tally;
    };
    using TallyRows = std::vector<std::vector<Entry>>;

    /// op(A): its sizes, 0 for a mode that is none, and what becomes of a cell.
    struct Operand {
        std::int32_t rows, cols;
        bool conjugated;
        Cell cell(Cell x) const { return conjugated ? Twin::conjugated(x) : x; }
    };
    static Operand operand(TransposeMode mode, const SparseModel& A)
    {
        switch (mode) {
        case TransposeMode::NotTransposed:
            return {A.mRows, A.mCols, false};
        case TransposeMode::Transposed:
            return {A.mCols, A.mRows, false};
        case TransposeMode::ConjugateTransposed:
            return {A.mCols, A.mRows, true};
        }
        return {0, 0, false};
    }

    static std::size_t at(std::int32_t index) { return static_cast<std::size_t>(index); }

    static void requireSizes(std::int32_t rows, std::int32_t cols)
    {
        if (rows < 1) throw InvalidSizeException("Invalid number of rows.");
        if (cols < 1) throw InvalidSizeException("Invalid number of columns.");
    }
    void requireIndices(std::int32_t row, std::int32_t col) const
    {
        if (row < 0 || row >= mRows) throw IndexOutOfBoundsException("Row index exceeds matrix size.");
        if (col < 0 || col >= mCols) throw IndexOutOfBoundsException("Column index exceeds matrix size.");
    }

    std::int32_t scan(std::int32_t row, std::int32_t col) const
    {
        std::int32_t q = begin(row);
        while (q < end(row) && ja[at(q)] - 1 < col) ++q;
        return q;
    }

    void resizeSlots(std::int32_t slots)
    {
        a.resize(at(slots));
        ja.resize(at(slots), -1);
    }

    void insertElement(std::int32_t pos)
    {
        if (mCells <= numElements()) {
            const double scaled = std::nearbyint(double{growFactor} * double{static_cast<float>(mCells)});
            mCells = Twin::grown(std::isnan(scaled) ? INT_MIN : static_cast<std::int32_t>(scaled), mCells);
            resizeSlots(mCells);
        }
        std::copy_backward(a.begin() + pos, a.begin() + numElements(), a.begin() + numElements() + 1);
        std::copy_backward(ja.begin() + pos, ja.begin() + numElements(), ja.begin() + numElements() + 1);
    }

    void deleteElement(std::int32_t pos)
    {
        std::copy(a.begin() + pos + 1, a.begin() + numElements(), a.begin() + pos);
        std::copy(ja.begin() + pos + 1, ja.begin() + numElements(), ja.begin() + pos);
    }

    template <class IsKept>
    static Sparse compressed(const TallyRows& rows, std::int32_t rowCount, std::int32_t cols, IsKept isKept)
    {
        Sparse result;
        std::vector<Cell> values;
        Ints starts{1}, columns;
        for (const auto& row : rows) {
            for (std::int32_t c = 0; c < cols; ++c) {
                const Entry& entry = row[at(c)];
                if (!isKept(entry)) continue;
                values.push_back(entry.tally.value);
                columns.push_back(c + 1);
                result.cells.push_back(entry.tally);
            }
            starts.push_back(static_cast<std::int32_t>(values.size()) + 1);
        }
        result.matrix = adopted(rowCount, cols, std::move(values), std::move(starts), std::move(columns));
        return result;
    }

    static Tallies product(Cell alpha, TransposeMode mode, const SparseModel& A, const std::vector<Cell>& x,
                           Cell beta, const std::vector<Cell>& y)
    {
        Tallies result(y.size());
        for (std::size_t i = 0; i < y.size(); ++i) {
            if (beta == Cell{}) continue; // y is not read
            result[i].add(Twin::product(beta, y[i]), Twin::magnitude(beta) * Twin::magnitude(y[i]));
        }
        const Operand op = operand(mode, A);
        const auto addTo = [&](int to, Cell v, int from) {
            result[at(to)].add(Twin::product(alpha, Twin::product(v, x[at(from)])),
                               Twin::magnitude(alpha) * Twin::magnitude(v) * Twin::magnitude(x[at(from)]));
        };
        A.each([&](int r, int c, std::int32_t k) {
            const Cell v = op.cell(A.a[at(k)]);
            if (Twin::kFlagReachesProducts && A.flag) { // the upper triangle, and its mirror image
                if (c >= r) addTo(r, v, c);
                if (c > r) addTo(c, v, r);
            } else if (mode == TransposeMode::NotTransposed) {
                addTo(r, v, c);
            } else {
                addTo(c, v, r);
            }
        });
        return result;
    }
};

} // namespace Velmar::Lintrix::testing
