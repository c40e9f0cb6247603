// Long random runs of operations on sparse matrices, side by side with a literal model. After each of them
// all that can be seen of an object is that of its model; what is refused is refused in the same words, and
// leaves the object as it was.

#include "tests/sparse/sparse_model.h"
#include "tests/sparse/sparse_support.h"

#include <lintrix/services/hardening.h>

#include <array>
#include <bit>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iterator>
#include <optional>
#include <typeinfo>

namespace Velmar::Lintrix::testing {
namespace {

constexpr int kWalks = 8, kSteps = 500; // of a dose
constexpr std::int32_t kLargest = 9;
constexpr TransposeMode kEveryMode[] = {TransposeMode::NotTransposed, TransposeMode::Transposed,
                                        TransposeMode::ConjugateTransposed};
constexpr auto kUnknownMode = static_cast<TransposeMode>(7);
constexpr double kLeast = 0x1p-1074;

int doses()
{
    const char* const told = std::getenv("LINTRIX_TORTURE_DOSES");
    return told != nullptr ? std::max(1, std::atoi(told)) : 30;
}

bool isInteger(double x)
{
    return std::abs(x) <= 0x1p20 && x == std::nearbyint(x);
}

/// NaN has one pattern here: which of them comes out is told nowhere.
std::uint64_t bitsUpToNaN(double x)
{
    return std::bit_cast<std::uint64_t>(std::isnan(x) ? kNaN : x);
}

/// What an operation ends in.
struct Outcome {
    std::string failure, text;
    bool operator==(const Outcome&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Outcome& outcome)
{
    return out << (outcome.failure.empty() ? "no failure" : outcome.failure) << " \"" << outcome.text << '"';
}

template <class Operation>
Outcome outcomeOf(Operation operation)
{
    try {
        operation();
        return {};
    } catch (const ArgumentException& e) {
        return {typeid(e).name() + (" " + e.ParamName()), e.what()};
    } catch (const std::exception& e) {
        return {typeid(e).name(), e.what()};
    }
}

// ---- one walk

template <class Twin>
class Walk {
public:
    using Sparse = typename Twin::Sparse;
    using Dense = typename Twin::Dense;
    using DenseVector = typename Twin::DenseVector;
    using Cell = typename Twin::Cell;
    using Model = SparseModel<Twin>;

    explicit Walk(std::uint64_t seed) : dice_(seed), palette_(below(3)) {}

    void step()
    {
        const auto number = static_cast<std::size_t>(below(static_cast<int>(std::size(kOperations))));
        const Operation operation = kOperations[number];
        lastName_ = operation.name;
        (this->*operation.run)();
        for (const Pair& pair : pairs_) expectSame(pair.object, pair.model);
    }
    const char* lastName() const { return lastName_; }

private:
    struct Pair {
        Sparse object;
        Model model;
    };
    struct Operation {
        const char* name;
        void (Walk::*run)();
    };
    static const Operation kOperations[];

    // -- dice

    int below(int end) { return static_cast<int>(dice_() % static_cast<unsigned>(end)); }
    bool chance(int percent) { return below(100) < percent; }
    std::int32_t size() { return 1 + below(kLargest); }
    Pair& anyPair() { return pairs_[static_cast<std::size_t>(below(std::ssize(pairs_)))]; }
    TransposeMode mode() { return kEveryMode[below(3)]; }

    double uniform() { return static_cast<double>(dice_() >> 11) * 0x1p-52 - 1.0; }
    double part()
    {
        static constexpr double odd[] = {0.0,  -0.0,   kNaN,        kInf,      -kInf, kLeast,
                                         -1.0, 1e-300, 0x1p-1030,   1e-15,     -1e-9, 0.5,
                                         1e-7, 0x1p10, -3 * kLeast, -0x1p-1022};
        if (palette_ == 2 && chance(40)) return odd[below(std::size(odd))];
        return palette_ == 0 || chance(20) ? below(9) - 4 : uniform();
    }
    Cell cell()
    {
        typename Twin::Parts parts{};
        for (double& x : parts) x = part();
        return Twin::cell(parts);
    }
    /// A factor: finite, since a rule of its own holds for each routine else.
    Cell factor()
    {
        static constexpr double plain[] = {0.0, 1.0, -1.0, 2.0, -3.0};
        if (chance(25)) return Cell(plain[below(2)]);
        typename Twin::Parts parts{};
        for (double& x : parts) x = palette_ == 0 || chance(60) ? plain[below(5)] : uniform();
        return Twin::cell(parts);
    }
    std::vector<Cell> cells(std::int32_t count)
    {
        std::vector<Cell> some(static_cast<std::size_t>(count));
        for (Cell& x : some) x = cell();
        return some;
    }

    // -- comparison

    static bool sameBits(Cell x, Cell y)
    {
        const auto p = Twin::parts(x), q = Twin::parts(y);
        return std::equal(p.begin(), p.end(), q.begin(),
                          [](double s, double t) { return bitsUpToNaN(s) == bitsUpToNaN(t); });
    }
    static bool isFinite(Cell x)
    {
        const auto parts = Twin::parts(x);
        return std::all_of(parts.begin(), parts.end(), [](double p) { return std::isfinite(p); });
    }
    static bool areIntegers(const std::vector<Cell>& some)
    {
        return std::all_of(some.begin(), some.end(), [](Cell x) {
            const auto parts = Twin::parts(x);
            return std::all_of(parts.begin(), parts.end(), isInteger);
        });
    }
    static bool holdsIntegers(const Model& A)
    {
        return areIntegers({A.a.begin(), A.a.begin() + A.numElements()});
    }

    static void expectSame(const Sparse& object, const Model& model)
    {
        ASSERT_EQ(object.Rows(), model.mRows);
        ASSERT_EQ(object.Cols(), model.mCols);
        ASSERT_EQ(object.NumElements(), model.numElements());
        ASSERT_EQ(object.Capacity(), model.mCells);
        ASSERT_LE(object.NumElements(), object.Capacity());
        ASSERT_EQ(bitsUpToNaN(object.GrowFactor()), bitsUpToNaN(model.growFactor)) << object.GrowFactor();
        ASSERT_EQ(Twin::flag(object), model.flag);
        const auto starts = object.RowPointers();
        ASSERT_EQ(starts.size(), static_cast<std::size_t>(model.mRows) + 1);
        ASSERT_TRUE(std::equal(starts.begin(), starts.end(), model.ia.begin()));
        const auto columns = object.ColumnIndices();
        ASSERT_TRUE(std::equal(columns.begin(), columns.end(), model.ja.begin()));
        const auto values = object.Values();
        ASSERT_EQ(values.size(), columns.size());
        for (std::size_t k = 0; k < values.size(); ++k) {
            ASSERT_TRUE(sameBits(values[k], model.a[k])) << k << ": " << values[k] << ", " << model.a[k];
        }
    }

    /// `exact`: all operands were integers, so that no order of additions rounds.
    static void expectAgrees(Cell got, const Tally<Twin>& want, bool exact)
    {
        if (want.copied) {
            ASSERT_TRUE(sameBits(got, want.value)) << got << ", " << want.value;
        } else if (!isFinite(want.value)) {
            ASSERT_FALSE(isFinite(got)) << got << ", " << want.value;
        } else if (exact) {
            ASSERT_EQ(got, want.value);
        } else {
            ASSERT_LE(Twin::magnitude(got - want.value), want.bound()) << got << ", " << want.value;
        }
    }

    /// Whether the operation passes, which it must on both sides or on neither.
    template <class OnObject, class OnModel>
    static bool bothPass(OnObject onObject, OnModel onModel)
    {
        const Outcome wanted = outcomeOf(onModel), got = outcomeOf(onObject);
        EXPECT_EQ(got, wanted);
        return got == Outcome() && wanted == Outcome();
    }

    // -- results of arithmetic

    /// The pattern is told, but for that of a transposed product that rounds: what nearly cancels may be
    /// kept.
    void expectResult(const Sparse& got, typename Model::Sparse want, bool exact, bool patternIsTold)
    {
        if (patternIsTold || exact) {
            const auto values = got.Values();
            ASSERT_EQ(values.size(), want.cells.size());
            for (std::size_t k = 0; k < values.size(); ++k) {
                ASSERT_NO_FATAL_FAILURE(expectAgrees(values[k], want.cells[k], exact));
                want.matrix.a[k] = values[k]; // within what rounding explains
            }
            return expectSame(got, want.matrix);
        }
        ASSERT_EQ(got.Rows(), want.matrix.mRows);
        ASSERT_EQ(got.Cols(), want.matrix.mCols);
        ASSERT_EQ(got.Capacity(), got.NumElements() + 1);
        ASSERT_NO_FATAL_FAILURE(expectCompressed(got));
        std::size_t k = 0;
        want.matrix.each([&](int r, int c, std::int32_t) {
            ASSERT_NO_FATAL_FAILURE(expectAgrees(got.Item(r, c), want.cells[k++], false));
        });
    }
    static void expectCompressed(const Sparse& A)
    {
        const auto starts = A.RowPointers(), columns = A.ColumnIndices();
        ASSERT_EQ(starts.front(), 1);
        for (std::size_t r = 0; r + 1 < starts.size(); ++r) {
            ASSERT_LE(starts[r], starts[r + 1]);
            for (auto k = static_cast<std::size_t>(starts[r] - 1);
                 k + 1 < static_cast<std::size_t>(starts[r + 1]); ++k) {
                ASSERT_TRUE(columns[k] >= 1 && columns[k] <= A.Cols());
                ASSERT_TRUE(k + 1 == static_cast<std::size_t>(starts[r]) || k == 0 ||
                            k == static_cast<std::size_t>(starts[r] - 1) || columns[k - 1] < columns[k]);
            }
        }
    }

    /// Now and then a result takes the place of an operand, with the values that came out: the next operation
    /// finds what arithmetic leaves behind. Values that grew out of hand do not.
    void keep(Sparse result, Model model)
    {
        if (!chance(25) || model.mRows > kLargest || model.mCols > kLargest) return;
        model.a.assign(result.Values().begin(), result.Values().end());
        model.a.resize(static_cast<std::size_t>(model.mCells));
        for (const Cell x : result.Values()) {
            if (isFinite(x) && Twin::magnitude(x) > 1e4) return;
        }
        Pair& place = anyPair();
        place.object = std::move(result);
        place.model = std::move(model);
    }

    template <class OnObject, class OnModel>
    void compute(OnObject onObject, OnModel onModel, bool exact, bool patternIsTold = true)
    {
        std::optional<Sparse> got;
        std::optional<typename Model::Sparse> want;
        if (!bothPass([&] { got.emplace(onObject()); }, [&] { want.emplace(onModel()); })) return;
        ASSERT_NO_FATAL_FAILURE(expectResult(*got, *want, exact, patternIsTold));
        if (patternIsTold || exact) keep(std::move(*got), std::move(want->matrix));
    }

    /// A result of which all is told, to the bit.
    template <class OnObject, class OnModel>
    void make(OnObject onObject, OnModel onModel)
    {
        std::optional<Sparse> got;
        std::optional<Model> want;
        if (!bothPass([&] { got.emplace(onObject()); }, [&] { want.emplace(onModel()); })) return;
        ASSERT_NO_FATAL_FAILURE(expectSame(*got, *want));
        Pair& place = anyPair();
        place.object = std::move(*got);
        place.model = std::move(*want);
    }

    // -- construction

    void construct()
    {
        const std::int32_t rows = below(20) == 0 ? -below(2) : size(), cols = below(20) == 0 ? 0 : size();
        const std::int32_t capacity = below(30) - 5;
        const float factor = growFactor();
        const bool flagged = chance(60);
        switch (below(6)) {
        case 0:
            return make([] { return Sparse(); },
                        [] { return Model::init(1, 1, 1, Twin::kFactorOfTheEmptyOne, false); });
        case 1:
            return make([&] { return Sparse(rows, cols); },
                        [&] { return Model::init(rows, cols, 100, 1.2F, false); });
        case 2:
            return make([&] { return Sparse(rows, cols, capacity); },
                        [&] { return Model::init(rows, cols, capacity, 1.2F, false); });
        case 3:
            return make([&] { return Sparse(rows, cols, capacity, factor); },
                        [&] { return Model::init(rows, cols, capacity, factor, false); });
        case 4:
            return make([&] { return Sparse(rows, flagged); },
                        [&] { return Model::init(rows, rows, 100, 1.2F, flagged); });
        default:
            return make([&] { return Sparse(rows, flagged, capacity, factor); },
                        [&] { return Model::init(rows, rows, capacity, factor, flagged); });
        }
    }

    void constructFromDense()
    {
        const std::int32_t rows = size(), cols = size();
        Dense dense(rows, cols);
        typename Model::DenseRows cells(static_cast<std::size_t>(rows));
        for (std::int32_t r = 0; r < rows; ++r) {
            for (std::int32_t c = 0; c < cols; ++c) {
                const Cell x = chance(40) ? cell() : Cell{};
                dense.Item(r, c, x);
                cells[static_cast<std::size_t>(r)].push_back(x);
            }
        }
        make([&] { return Sparse(dense); }, [&] { return Model::fromDense(cells, rows, cols); });
    }

    /// Compressed rows from either base; sometimes arrays that contradict one another.
    void constructFromArrays()
    {
        const std::int32_t base = below(2), rows = size(), cols = size();
        std::vector<Cell> A;
        std::vector<std::int32_t> IA{base}, JA;
        for (std::int32_t r = 0; r < rows; ++r) {
            for (std::int32_t c = 0; c < cols; ++c) {
                if (!chance(40)) continue;
                A.push_back(cell());
                JA.push_back(c + base);
            }
            IA.push_back(base + static_cast<std::int32_t>(A.size()));
        }
        switch (below(20)) {
        case 0:
            A.push_back(cell());
            break;
        case 1:
            IA[0] = 2 - 3 * below(2);
            break;
        case 2:
            ++IA.back();
            break;
        case 3:
            IA = {base}, A.clear(), JA.clear();
            break;
        default:
            break;
        }
        make([&] { return Sparse(A, IA, JA); }, [&] { return Model::fromArrays(A, IA, JA); });
    }

    // -- access

    std::int32_t index(std::int32_t end) { return below(end + 2) - (chance(10) ? 1 : 0); }

    void readItem()
    {
        const Pair& pair = anyPair();
        const std::int32_t r = index(pair.model.mRows), c = index(pair.model.mCols);
        Cell got{}, want{};
        bothPass([&] { got = pair.object.Item(r, c); }, [&] { want = pair.model.item(r, c); });
        EXPECT_TRUE(sameBits(got, want)) << r << ", " << c << ": " << got << ", " << want;
        EXPECT_EQ(outcomeOf([&] { got = pair.object(r, c); }), outcomeOf([&] { pair.model.item(r, c); }));
        EXPECT_TRUE(sameBits(got, want));
    }

    void writeItem()
    {
        Pair& pair = anyPair();
        const std::int32_t r = index(pair.model.mRows), c = index(pair.model.mCols);
        const Cell x = cell();
        if (chance(50)) {
            bothPass([&] { pair.object.Item(r, c, x); }, [&] { pair.model.setItem(r, c, x); });
        } else {
            bothPass([&] { pair.object(r, c) = x; }, [&] { pair.model.setItem(r, c, x); });
        }
    }

    void writeManyItems()
    {
        Pair& pair = anyPair();
        for (int k = below(30); k > 0; --k) {
            const std::int32_t r = below(pair.model.mRows), c = below(pair.model.mCols);
            const Cell x = cell();
            bothPass([&] { pair.object.Item(r, c, x); }, [&] { pair.model.setItem(r, c, x); });
        }
    }

    // -- editing

    void setRows()
    {
        Pair& pair = anyPair();
        const std::int32_t value = size();
        pair.object.Rows(value);
        pair.model.setRows(value);
    }
    void setCols()
    {
        Pair& pair = anyPair();
        const std::int32_t value = size();
        pair.object.Cols(value);
        pair.model.setCols(value);
    }
    void setCapacity()
    {
        Pair& pair = anyPair();
        const std::int32_t value = below(60) - 10;
        pair.object.Capacity(value);
        pair.model.setCapacity(value);
    }
    float growFactor()
    {
        static constexpr float factors[] = {0.2F,
                                            1.0F,
                                            1.1F,
                                            1.2F,
                                            1.5F,
                                            2.5F,
                                            4.0F,
                                            9.0F,
                                            -3.0F,
                                            std::numeric_limits<float>::quiet_NaN(),
                                            std::numeric_limits<float>::infinity()};
        return factors[below(std::size(factors))];
    }
    void setGrowFactor()
    {
        Pair& pair = anyPair();
        const float value = growFactor();
        pair.object.GrowFactor(value);
        pair.model.setGrowFactor(value);
    }
    void setFlag()
    {
        Pair& pair = anyPair();
        const bool value = chance(50);
        Twin::flag(pair.object, value);
        pair.model.flag = value;
    }
    double tolerance()
    {
        static constexpr double tolerances[] = {0.0, -0.0, 1e-15, 1e-9, -0.5, 0.5,
                                                1.0, -2.0, 5.0,   kNaN, kInf, kLeast};
        return tolerances[below(std::size(tolerances))];
    }
    void removeZeros()
    {
        Pair& pair = anyPair();
        const double t = tolerance();
        const bool excluded = chance(50);
        switch (below(3)) {
        case 0:
            pair.object.RemoveZeros();
            pair.model.removeZeros();
            break;
        case 1:
            pair.object.RemoveZeros(t);
            pair.model.removeZeros(t);
            break;
        default:
            pair.object.RemoveZeros(t, excluded);
            pair.model.removeZeros(t, excluded);
        }
    }

    // -- copies

    void copy()
    {
        Pair& from = anyPair();
        Pair& to = anyPair();
        Model copied = Model::copyOf(from.model);
        switch (below(5)) {
        case 0:
            to.object = from.object;
            break; // also to itself
        case 1:
            to.object = Sparse(std::as_const(from.object));
            break;
        case 2:
            to.object = from.object.Clone();
            break;
        case 3:
            to.object = std::any_cast<Sparse>(from.object.CloneableClone());
            break;
        default:
            to.object = +from.object;
        }
        to.model = std::move(copied);
    }

    void move()
    {
        Pair& pair = anyPair();
        Sparse taken = std::move(pair.object);
        EXPECT_EQ(pair.object.Rows(), pair.model.mRows);
        EXPECT_EQ(pair.object.Cols(), pair.model.mCols);
        expectSame(taken, pair.model);
        pair.object = std::move(taken);
    }

    // -- other forms

    void readBytes()
    {
        const Pair& pair = anyPair();
        EXPECT_EQ(pair.object.Data(), pair.model.data());
    }

    void writeBytes()
    {
        const std::vector<std::byte> bytes = anyPair().model.data();
        Pair& pair = anyPair();
        pair.object.Data(bytes);
        pair.model.setData(bytes);
    }

    void writeShortBytes()
    {
        Pair& pair = anyPair();
        std::vector<std::byte> bytes = anyPair().model.data();
        bytes.resize(static_cast<std::size_t>(below(static_cast<int>(bytes.size()))));
        EXPECT_EQ(outcomeOf([&] { pair.object.Data(bytes); }),
                  outcomeOf([] { throw IndexOutOfRangeException(); }));
    }

    /// The sizes of a refused form stay in the object, which is given new contents then.
    void writeBadSizes()
    {
        Pair& pair = anyPair();
        std::vector<std::byte> bytes = anyPair().model.data();
        std::int32_t sizes[] = {size(), size()};
        const int bad = below(2);
        sizes[bad] = -below(3);
        if (bad == 0 && chance(30)) sizes[1] = -1;
        std::memcpy(bytes.data(), sizes, sizeof sizes);
        EXPECT_EQ(outcomeOf([&] { pair.object.Data(bytes); }),
                  outcomeOf([&] { throw InvalidSizeException(bad == 0 ? kInvalidRows : kInvalidColumns); }));
        EXPECT_EQ(pair.object.Rows(), sizes[0]);
        EXPECT_EQ(pair.object.Cols(), sizes[1]);
        const std::vector<std::byte> good = pair.model.data();
        pair.object.Data(good);
        pair.model.setData(good);
    }

    static void expectSameArchive(const SerializationInfo& info, const Model& model)
    {
        const auto wanted = model.archive();
        ASSERT_EQ(info.Values().size(), wanted.size());
        for (std::size_t k = 0; k < wanted.size(); ++k) {
            const auto& [name, value] = info.Values()[k];
            ASSERT_EQ(name, wanted[k].first);
            ASSERT_EQ(value.index(), wanted[k].second.index()) << name;
            if (const auto* numbers = std::get_if<std::vector<double>>(&value)) {
                const auto& others = std::get<std::vector<double>>(wanted[k].second);
                ASSERT_TRUE(std::equal(numbers->begin(), numbers->end(), others.begin(), others.end(),
                                       [](double x, double y) { return bitsUpToNaN(x) == bitsUpToNaN(y); }));
            } else if (const auto* number = std::get_if<float>(&value)) {
                ASSERT_EQ(bitsUpToNaN(*number), bitsUpToNaN(std::get<float>(wanted[k].second)));
            } else {
                ASSERT_EQ(value, wanted[k].second) << name;
            }
        }
    }

    void archive()
    {
        const Pair& from = anyPair();
        const SerializationInfo info = ToArchive(from.object);
        ASSERT_NO_FATAL_FAILURE(expectSameArchive(info, from.model));
        Model restored = from.model;
        restored.restore();
        make([&] { return FromArchive<Sparse>(info); }, [&] { return restored; });
    }

    void toDense()
    {
        const Pair& pair = anyPair();
        typename Model::DenseRows want;
        std::optional<Dense> got;
        if (!bothPass([&] { got.emplace(pair.object.ToDense()); }, [&] { want = pair.model.toDense(); }))
            return;
        ASSERT_EQ(got->Rows(), pair.model.mRows);
        ASSERT_EQ(got->Cols(), pair.model.mCols);
        for (std::int32_t r = 0; r < got->Rows(); ++r) {
            for (std::int32_t c = 0; c < got->Cols(); ++c) {
                const Cell x = want[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)];
                ASSERT_TRUE(sameBits(got->Item(r, c), x)) << r << ", " << c << ": " << x;
            }
        }
    }

    void text()
    {
        const Pair& pair = anyPair();
        const std::locale locale;
        static constexpr const char* formats[] = {"F3", "F0", "G", "E2"};
        const std::string format = formats[below(4)], separator = chance(50) ? " " : "; ";
        std::string got, want;
        const auto told = [&](const std::string& f, const std::string& s, const char* right) {
            return [&, f, s, right] { want = pair.model.text(locale, f, s, "| ", right, right); };
        };
        switch (below(6)) {
        case 0:
            bothPass([&] { got = pair.object.ToString(); }, told("F3", " ", " |\n"));
            break;
        case 1:
            bothPass([&] { got = pair.object.ToString(format); }, told(format, " ", " |\n"));
            break;
        case 2:
            bothPass([&] { got = pair.object.ToString(format, separator); }, told(format, separator, " |\n"));
            break;
        case 3:
            bothPass([&] { got = pair.object.ToString(locale, format); }, told(format, " ", "|\n"));
            break;
        case 4:
            bothPass([&] { got = pair.object.ToString(format, separator, "<", ">", "."); },
                     [&] { want = pair.model.text(locale, format, separator, "<", ">", "."); });
            break;
        default:
            bothPass([&] { got = pair.object.ToString(locale, format, separator, "<", ">", "."); },
                     [&] { want = pair.model.text(locale, format, separator, "<", ">", "."); });
        }
        EXPECT_EQ(got, want);
    }

    void compare()
    {
        const Pair& first = anyPair();
        const Pair& second = anyPair();
        const double t = tolerance();
        bool got = false, want = false;
        bothPass([&] { got = first.object.IsEqual(second.object, t); },
                 [&] { want = first.model.isEqual(second.model, t); });
        EXPECT_EQ(got, want) << "tolerance " << t;
        if (Twin::kEqualsAnswers) { // never that they are equal
            EXPECT_FALSE(first.object.IsEqual(second.object));
            EXPECT_FALSE(first.object == second.object);
            EXPECT_TRUE(first.object != second.object);
            EXPECT_FALSE(first.object.Equals(second.object));
        } else {
            bothPass([&] { got = first.object.IsEqual(second.object); },
                     [&] { want = first.model.isEqual(second.model, 1e-9); });
            EXPECT_EQ(got, want);
            EXPECT_THROW((void)(first.object == second.object), NullReferenceException);
            EXPECT_THROW((void)(first.object != second.object), NullReferenceException);
        }
    }

    // -- arithmetic

    void add()
    {
        const Pair& A = anyPair();
        const Pair& B = anyPair();
        constexpr auto N = TransposeMode::NotTransposed;
        const auto one = Cell(1.0), minus = Cell(-1.0);
        const bool exact = holdsIntegers(A.model) && holdsIntegers(B.model);
        const Cell beta = factor();
        const TransposeMode transB = chance(3) ? kUnknownMode : mode();
        const auto sum = [&] { return Model::add(A.model, one, N, B.model); };
        const auto difference = [&] { return Model::add(A.model, minus, N, B.model); };
        switch (below(6)) {
        case 0:
            return compute([&] { return A.object + B.object; }, sum, exact);
        case 1:
            return compute([&] { return Sparse::Add(A.object, B.object); }, sum, exact);
        case 2:
            return compute([&] { return A.object - B.object; }, difference, exact);
        case 3:
            return compute([&] { return Sparse::Subtract(A.object, B.object); }, difference, exact);
        default:
            return compute([&] { return Sparse::Add(A.object, beta, transB, B.object); },
                           [&] { return Model::add(A.model, beta, transB, B.model); },
                           exact && areIntegers({beta}));
        }
    }

    void multiplySparse()
    {
        const Pair& A = anyPair();
        const Pair& B = anyPair();
        constexpr auto N = TransposeMode::NotTransposed;
        const bool exact = holdsIntegers(A.model) && holdsIntegers(B.model);
        const TransposeMode transA = chance(3) ? kUnknownMode : mode();
        const auto product = [&] { return Model::multiply(N, A.model, B.model); };
        switch (below(4)) {
        case 0:
            return compute([&] { return A.object * B.object; }, product, exact);
        case 1:
            return compute([&] { return Sparse::Multiply(A.object, B.object); }, product, exact);
        default:
            return compute([&] { return Sparse::Multiply(transA, A.object, B.object); },
                           [&] { return Model::multiply(transA, A.model, B.model); }, exact,
                           transA == TransposeMode::NotTransposed);
        }
    }

    void scale()
    {
        const Pair& A = anyPair();
        const Cell scalar = factor();
        const bool exact = holdsIntegers(A.model) && areIntegers({scalar});
        const auto multiple = [&] { return Model::multiply(A.model, scalar); };
        const auto negative = [&] { return Model::multiply(A.model, Cell(-1.0)); };
        switch (below(5)) {
        case 0:
            return compute([&] { return A.object * scalar; }, multiple, exact);
        case 1:
            return compute([&] { return scalar * A.object; }, multiple, exact);
        case 2:
            return compute([&] { return Sparse::Multiply(A.object, scalar); }, multiple, exact);
        case 3:
            return compute([&] { return -A.object; }, negative, exact);
        default:
            return compute([&] { return Sparse::Negate(A.object); }, negative, exact);
        }
    }

    void transpose()
    {
        const Pair& A = anyPair();
        make([&] { return A.object.Transpose(); }, [&] { return A.model.transposed(); });
    }

    // -- products with dense operands

    /// Marked symmetric and not square: the triangle may reach past the operands.
    static bool isOutOfBounds(const Model& A)
    {
        return Twin::kFlagReachesProducts && A.flag && A.mRows != A.mCols;
    }
    static DenseVector vectorOf(const std::vector<Cell>& x) { return DenseVector(x); }
    static void expectVector(const DenseVector& got, const typename Model::Tallies& want, bool exact)
    {
        ASSERT_EQ(static_cast<std::size_t>(got.Length()), want.size());
        for (std::size_t i = 0; i < want.size(); ++i) {
            ASSERT_NO_FATAL_FAILURE(expectAgrees(got.Item(static_cast<std::int32_t>(i)), want[i], exact));
        }
    }

    void multiplyVector()
    {
        const Pair& A = anyPair();
        if (isOutOfBounds(A.model)) return;
        const TransposeMode trans = chance(3) ? kUnknownMode : mode();
        const bool plain = trans == TransposeMode::NotTransposed;
        const std::int32_t right = plain ? A.model.mCols : A.model.mRows,
                           left = plain ? A.model.mRows : A.model.mCols;
        const std::vector<Cell> x = cells(chance(10) ? size() : right), y = cells(chance(10) ? size() : left);
        const Cell alpha = factor(), beta = factor();
        const bool exact =
            holdsIntegers(A.model) && areIntegers(x) && areIntegers(y) && areIntegers({alpha, beta});
        DenseVector target = vectorOf(y);
        typename Model::Tallies want;
        if (bothPass([&] { Sparse::Multiply(alpha, trans, A.object, vectorOf(x), beta, target); },
                     [&] { want = Model::multiply(alpha, trans, A.model, x, beta, y); })) {
            return expectVector(target, want, exact);
        }
        for (std::size_t i = 0; i < y.size(); ++i) {
            EXPECT_TRUE(sameBits(target.Item(static_cast<std::int32_t>(i)), y[i])) << "was refused";
        }
    }

    void multiplyVectorShortly()
    {
        const Pair& A = anyPair();
        if (isOutOfBounds(A.model)) return;
        const bool fromLeft = chance(50), named = chance(50);
        const std::vector<Cell> x = cells(chance(10) ? size() : fromLeft ? A.model.mRows : A.model.mCols);
        const DenseVector v = vectorOf(x);
        const std::vector<Cell> zeros(static_cast<std::size_t>(fromLeft ? A.model.mCols : A.model.mRows));
        std::optional<DenseVector> got;
        typename Model::Tallies want;
        const auto onObject = [&] {
            if (fromLeft) {
                got.emplace(named ? Sparse::Multiply(v, A.object) : v * A.object);
            } else {
                got.emplace(named ? Sparse::Multiply(A.object, v) : A.object * v);
            }
        };
        const auto onModel = [&] {
            want = Model::multiply(Cell(1.0),
                                   fromLeft ? TransposeMode::Transposed : TransposeMode::NotTransposed,
                                   A.model, x, Cell{}, zeros);
        };
        if (bothPass(onObject, onModel)) {
            expectVector(*got, want, holdsIntegers(A.model) && areIntegers(x));
        }
    }

    static Dense denseOf(const typename Model::DenseRows& columns, std::int32_t rows)
    {
        Dense dense(rows, static_cast<std::int32_t>(columns.size()));
        for (std::size_t c = 0; c < columns.size(); ++c) {
            for (std::int32_t r = 0; r < rows; ++r) {
                dense.Item(r, static_cast<std::int32_t>(c), columns[c][static_cast<std::size_t>(r)]);
            }
        }
        return dense;
    }
    static void expectDense(const Dense& got, const std::vector<typename Model::Tallies>& want, bool exact)
    {
        ASSERT_EQ(static_cast<std::size_t>(got.Cols()), want.size());
        for (std::size_t c = 0; c < want.size(); ++c) {
            ASSERT_EQ(static_cast<std::size_t>(got.Rows()), want[c].size());
            for (std::size_t r = 0; r < want[c].size(); ++r) {
                ASSERT_NO_FATAL_FAILURE(expectAgrees(
                    got.Item(static_cast<std::int32_t>(r), static_cast<std::int32_t>(c)), want[c][r], exact));
            }
        }
    }
    struct Columns {
        std::int32_t rows;
        typename Model::DenseRows cells;
        bool areIntegers;
        Dense dense() const { return denseOf(cells, rows); }
    };
    Columns columns(std::int32_t rows, std::int32_t cols)
    {
        Columns some{rows, {}, true};
        for (std::int32_t c = 0; c < cols; ++c) {
            some.cells.push_back(cells(rows));
            some.areIntegers = some.areIntegers && areIntegers(some.cells.back());
        }
        return some;
    }

    /// Of a rectangular A, transposed products take one column only: those of more have strides of their own.
    /// The hardened build refuses them all.
    void multiplyDense()
    {
        const Pair& A = anyPair();
        if (isOutOfBounds(A.model)) return;
        const TransposeMode trans = chance(3) ? kUnknownMode : mode();
        const bool plain = trans == TransposeMode::NotTransposed;
        const std::int32_t right = plain ? A.model.mCols : A.model.mRows,
                           left = plain ? A.model.mRows : A.model.mCols,
                           count = plain || left == right ? 1 + below(4) : 1;
        if (detail::kHardened && !plain && left != right) return;
        const Columns B = columns(chance(8) ? size() : right, count),
                      C = columns(chance(8) ? size() : left, plain && chance(8) ? size() : count);
        const Cell alpha = factor(), beta = factor();
        const bool exact =
            holdsIntegers(A.model) && B.areIntegers && C.areIntegers && areIntegers({alpha, beta});
        Dense target = C.dense();
        std::vector<typename Model::Tallies> want;
        if (bothPass([&] { Sparse::Multiply(alpha, trans, A.object, B.dense(), beta, target); },
                     [&] {
                         want =
                             Model::multiply(alpha, trans, A.model, B.cells, B.rows, beta, C.cells, C.rows);
                     })) {
            return expectDense(target, want, exact);
        }
        EXPECT_TRUE(identical(target, C.dense())) << "was refused";
    }

    void multiplyDenseShortly()
    {
        const Pair& A = anyPair();
        if (isOutOfBounds(A.model)) return;
        const bool named = chance(50);
        const Columns B = columns(chance(10) ? size() : A.model.mCols, 1 + below(4));
        const Dense dense = B.dense();
        const typename Model::DenseRows zeros(B.cells.size(),
                                              std::vector<Cell>(static_cast<std::size_t>(A.model.mRows)));
        std::optional<Dense> got;
        std::vector<typename Model::Tallies> want;
        const auto onModel = [&] {
            if (named && Twin::kNamedProductChecksRows && A.model.mCols != B.rows) {
                throw InvalidSizeException("Invalid number of rows for matrix B");
            }
            want = Model::multiply(Cell(1.0), TransposeMode::NotTransposed, A.model, B.cells, B.rows, Cell{},
                                   zeros, A.model.mRows);
        };
        if (bothPass([&] { got.emplace(named ? Sparse::Multiply(A.object, dense) : A.object * dense); },
                     onModel)) {
            expectDense(*got, want, holdsIntegers(A.model) && B.areIntegers);
        }
    }

    std::mt19937_64 dice_;
    int palette_; ///< what cells are drawn from: integers, any numbers, or odd ones among them
    const char* lastName_ = "none yet";
    std::array<Pair, 3> pairs_{Pair{Sparse(4, 5), Model::init(4, 5, 100, 1.2F, false)},
                               Pair{Sparse(4, true, 4, 1.5F), Model::init(4, 4, 4, 1.5F, true)},
                               Pair{Sparse(), Model::init(1, 1, 1, Twin::kFactorOfTheEmptyOne, false)}};
};

template <class Twin>
const typename Walk<Twin>::Operation Walk<Twin>::kOperations[] = {
    {"new", &Walk::construct},
    {"new from dense", &Walk::constructFromDense},
    {"new from arrays", &Walk::constructFromArrays},
    {"read Item", &Walk::readItem},
    {"read Item", &Walk::readItem},
    {"write Item", &Walk::writeItem},
    {"write Item", &Walk::writeItem},
    {"write Item", &Walk::writeItem},
    {"write many Items", &Walk::writeManyItems},
    {"Rows", &Walk::setRows},
    {"Cols", &Walk::setCols},
    {"Capacity", &Walk::setCapacity},
    {"GrowFactor", &Walk::setGrowFactor},
    {"flag", &Walk::setFlag},
    {"RemoveZeros", &Walk::removeZeros},
    {"copy", &Walk::copy},
    {"move", &Walk::move},
    {"read Data", &Walk::readBytes},
    {"write Data", &Walk::writeBytes},
    {"write short Data", &Walk::writeShortBytes},
    {"write bad sizes", &Walk::writeBadSizes},
    {"archive", &Walk::archive},
    {"ToDense", &Walk::toDense},
    {"ToString", &Walk::text},
    {"IsEqual", &Walk::compare},
    {"sum", &Walk::add},
    {"sum", &Walk::add},
    {"sparse product", &Walk::multiplySparse},
    {"sparse product", &Walk::multiplySparse},
    {"scalar multiple", &Walk::scale},
    {"Transpose", &Walk::transpose},
    {"product with a vector", &Walk::multiplyVector},
    {"short product with a vector", &Walk::multiplyVectorShortly},
    {"product with a dense matrix", &Walk::multiplyDense},
    {"short product with a dense matrix", &Walk::multiplyDenseShortly},
};

template <class Twin>
class SparseModelTest : public ::testing::Test {
};
TYPED_TEST_SUITE(SparseModelTest, SparseTwins);

TYPED_TEST(SparseModelTest, ObjectsFollowTheModelThroughRandomOperations)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    for (int seed = 0; seed < doses() * kWalks; ++seed) {
        Walk<TypeParam> walk(static_cast<std::uint64_t>(seed));
        for (int step = 0; step < kSteps; ++step) {
            walk.step();
            ASSERT_FALSE(this->HasFailure())
                << "seed " << seed << ", step " << step << ": " << walk.lastName();
        }
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

} // namespace
} // namespace Velmar::Lintrix::testing
