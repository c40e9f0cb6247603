#include <tools/ordering_choice.h>

#include <tools/matrix_facts.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace Velmar::Lintrix::tools {

namespace {

/// Below this order the one takes as long as the other.
constexpr std::int32_t kSmallOrder = 2000;

/// Operations of the elimination, as the cube of the width, that pay for one element in nested dissection.
constexpr double kCubesPerElement = 2000.0;

/// The elements of a column, for the neighbours that a row does not name.
struct Columns {
    explicit Columns(const SparseMatrix& matrix) : starts(static_cast<std::size_t>(matrix.Cols()) + 1)
    {
        forEachEntry(matrix, [this](std::int32_t, std::int32_t col, double) {
            ++starts[static_cast<std::size_t>(col) + 1];
        });
        for (std::size_t j = 1; j < starts.size(); ++j) starts[j] += starts[j - 1];
        rows.resize(static_cast<std::size_t>(starts.back()));
        std::vector<std::int32_t> cursor(starts.begin(), starts.end() - 1);
        forEachEntry(matrix, [&](std::int32_t row, std::int32_t col, double) {
            rows[static_cast<std::size_t>(cursor[static_cast<std::size_t>(col)]++)] = row;
        });
    }

    std::vector<std::int32_t> starts, rows;
};

/// Levels of equal distance in the graph of A + A'.
class LevelSearch {
public:
    explicit LevelSearch(const SparseMatrix& matrix)
        : matrix_(matrix), columns_(matrix), visits_(static_cast<std::size_t>(matrix.Rows()))
    {
        leaveOutDense();
        queue_.reserve(visits_.size());
    }

    std::int32_t widestLevel()
    {
        std::int32_t widest = 0;
        for (std::int32_t i = 0; i < matrix_.Rows(); ++i) {
            if (visits_[static_cast<std::size_t>(i)] != kUnseen) continue;
            sweep(i, kFirstSweep); // the last unknown met is far from i
            widest = std::max(widest, sweep(queue_.back(), kSecondSweep));
        }
        return widest;
    }

private:
    static constexpr std::uint8_t kUnseen = 0, kFirstSweep = 1, kSecondSweep = 2, kLeftOut = 3;

    void leaveOutDense()
    {
        const double limit = std::max(16.0, 10.0 * std::sqrt(matrix_.Rows()));
        const auto starts = matrix_.RowPointers();
        for (std::size_t i = 0; i < visits_.size(); ++i) {
            const int degree = starts[i + 1] - starts[i] + columns_.starts[i + 1] - columns_.starts[i];
            if (degree / 2 > limit) visits_[i] = kLeftOut;
        }
    }

    /// All that is joined to `start`, in order of distance. @return the size of the widest level
    std::int32_t sweep(std::int32_t start, std::uint8_t mark)
    {
        queue_.clear();
        reach(start, mark);
        std::size_t widest = 0;
        for (std::size_t first = 0; first < queue_.size();) {
            const std::size_t end = queue_.size();
            widest = std::max(widest, end - first);
            for (; first < end; ++first) reachNeighbours(static_cast<std::size_t>(queue_[first]), mark);
        }
        return static_cast<std::int32_t>(widest);
    }

    void reachNeighbours(std::size_t i, std::uint8_t mark)
    {
        const auto starts = matrix_.RowPointers(), cols = matrix_.ColumnIndices();
        for (auto k = static_cast<std::size_t>(starts[i] - 1);
             k + 1 < static_cast<std::size_t>(starts[i + 1]); ++k) {
            reach(cols[k] - 1, mark);
        }
        for (auto k = static_cast<std::size_t>(columns_.starts[i]);
             k < static_cast<std::size_t>(columns_.starts[i + 1]); ++k) {
            reach(columns_.rows[k], mark);
        }
    }

    void reach(std::int32_t i, std::uint8_t mark)
    {
        std::uint8_t& visits = visits_[static_cast<std::size_t>(i)];
        if (visits >= mark) return;
        visits = mark;
        queue_.push_back(i);
    }

    const SparseMatrix& matrix_;
    Columns columns_;
    std::vector<std::uint8_t> visits_;
    std::vector<std::int32_t> queue_;
};

} // namespace

std::int32_t widthOf(const SparseMatrix& matrix)
{
    return LevelSearch(matrix).widestLevel();
}

FillInReducingMethod chooseOrdering(const SparseMatrix& matrix)
{
    if (matrix.Rows() < kSmallOrder) return FillInReducingMethod::MinimumDegree;
    const double width = widthOf(matrix);
    const bool pays = width * width * width > kCubesPerElement * matrix.NumElements();
    return pays ? FillInReducingMethod::NestedDissection : FillInReducingMethod::MinimumDegree;
}

} // namespace Velmar::Lintrix::tools
